// PNG files made by hand, byte by byte, for the decoder's tests and for the
// custom skin files of the image tests. Chunk CRCs and the zlib Adler
// checksum are written as zeros: the decoder does not read them.
#pragma once
#include <stdint.h>

#include <algorithm>
#include <vector>

typedef std::vector<uint8_t> Bytes;

inline void Append(Bytes *to, const Bytes &bytes) { to->insert(to->end(), bytes.begin(), bytes.end()); }

inline void AppendBigEndian(Bytes *to, uint32_t value) {
    for (int32_t shift = 24; shift >= 0; shift -= 8) to->push_back((uint8_t)(value >> shift));
}

// Sized up front and filled in place: GCC 12 takes growing a vector byte by
// byte before inserting into it for an overflow.
inline Bytes Chunk(const char *type, const Bytes &payload) {
    Bytes chunk(12 + payload.size(), 0);
    for (int32_t i = 0; i < 4; i++)
        chunk[i] = (uint8_t)(payload.size() >> (24 - 8 * i)), chunk[4 + i] = (uint8_t)type[i];
    std::copy(payload.begin(), payload.end(), chunk.begin() + 8);
    return chunk;
}

struct PngHeader {
    uint32_t width, height;
    uint8_t bitDepth, colourType, compressionMethod, filterMethod, interlaceMethod;
};

inline Bytes HeaderChunk(PngHeader header) {
    Bytes payload;
    AppendBigEndian(&payload, header.width);
    AppendBigEndian(&payload, header.height);
    payload.insert(payload.end(), {header.bitDepth, header.colourType, header.compressionMethod,
                                   header.filterMethod, header.interlaceMethod});
    return Chunk("IHDR", payload);
}

const Bytes PNG_SIGNATURE = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

// A file: the header chunk, the given chunks, the stream in one IDAT, IEND.
inline Bytes Png(PngHeader header, const Bytes &stream, const std::vector<Bytes> &chunks = {}) {
    Bytes file = PNG_SIGNATURE;
    Append(&file, HeaderChunk(header));
    for (const Bytes &chunk : chunks) Append(&file, chunk);
    Append(&file, Chunk("IDAT", stream));
    Append(&file, Chunk("IEND", {}));
    return file;
}

// A zlib stream of 32 KiB window around raw deflate data.
inline Bytes Zlib(const Bytes &deflate) {
    Bytes stream(2 + deflate.size() + 4, 0);
    stream[0] = 0x78, stream[1] = 0x01;
    std::copy(deflate.begin(), deflate.end(), stream.begin() + 2);
    return stream;
}

// The rows (filter bytes included) in stored blocks of at most 65,535 bytes.
inline Bytes Stored(const Bytes &rows) {
    Bytes deflate;
    size_t position = 0;
    do {
        size_t length = std::min<size_t>(rows.size() - position, 65535);
        deflate.push_back(position + length == rows.size());
        deflate.insert(deflate.end(), {(uint8_t)length, (uint8_t)(length >> 8), (uint8_t)~length,
                                       (uint8_t)(~length >> 8)});
        deflate.insert(deflate.end(), rows.begin() + position, rows.begin() + position + length);
        position += length;
    } while (position < rows.size());
    return Zlib(deflate);
}
