// PNG decoding: the chunks (PNG 1.2), the zlib stream around the deflate data
// (RFC 1950), inflate (RFC 1951), the row filters, and the expansion into
// 0xAARRGGBB pixels. Read top to bottom it follows a file from its first byte
// to its last pixel.
#include "toolkit/png.h"

#include <string.h>

// ---- the file and its chunks ----

static const uint8_t PNG_SIGNATURE[8] = { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' };

enum {
    SIGNATURE_SIZE = 8,
    CHUNK_HEAD_SIZE = 8,  // length, then type
    CHUNK_CRC_SIZE = 4,
    HEADER_PAYLOAD_SIZE = 13,
    MAX_PALETTE_ENTRIES = 256,
};

enum {
    COLOUR_GREY = 0,
    COLOUR_RGB = 2,
    COLOUR_PALETTE = 3,
    COLOUR_RGBA = 6,
};

struct PNGHeader {
    uint32_t width, height;
    uint8_t bitDepth, colourType, compressionMethod, filterMethod, interlaceMethod;
    size_t chunksStart;  // where the chunk after "IHDR" begins
};

static uint32_t ReadBigEndian32(const uint8_t *p) {
    return (uint32_t)p[0] << 24 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 8 | p[3];
}

static bool IsChunkType(const uint8_t *chunk, const char *type) {
    return memcmp(chunk + 4, type, 4) == 0;
}

static UIPNGResult ReadHeader(const uint8_t *data, size_t size, PNGHeader *header) {
    if (size < SIGNATURE_SIZE || memcmp(data, PNG_SIGNATURE, SIGNATURE_SIZE)) {
        return UI_PNG_NO_SIGNATURE;
    }
    const uint8_t *chunk = data + SIGNATURE_SIZE;
    if (size < SIGNATURE_SIZE + CHUNK_HEAD_SIZE + HEADER_PAYLOAD_SIZE) return UI_PNG_NO_HEADER;
    uint32_t length = ReadBigEndian32(chunk);
    if (!IsChunkType(chunk, "IHDR") || length < HEADER_PAYLOAD_SIZE) return UI_PNG_NO_HEADER;

    const uint8_t *payload = chunk + CHUNK_HEAD_SIZE;
    header->width = ReadBigEndian32(payload);
    header->height = ReadBigEndian32(payload + 4);
    header->bitDepth = payload[8];
    header->colourType = payload[9];
    header->compressionMethod = payload[10];
    header->filterMethod = payload[11];
    header->interlaceMethod = payload[12];
    header->chunksStart = SIGNATURE_SIZE + CHUNK_HEAD_SIZE + (size_t)length + CHUNK_CRC_SIZE;
    if (header->width == 0 || header->height == 0 || header->width > UI_PNG_MAX_SIDE ||
        header->height > UI_PNG_MAX_SIDE) {
        return UI_PNG_BAD_DIMENSIONS;
    }
    return UI_PNG_DECODED;
}

static UIPNGResult CheckFormat(const PNGHeader *header) {
    if (header->compressionMethod != 0 || header->filterMethod != 0) return UI_PNG_UNKNOWN_METHOD;
    if (header->interlaceMethod != 0) return UI_PNG_INTERLACED;
    uint8_t depth = header->bitDepth;
    switch (header->colourType) {
    case COLOUR_GREY:
    case COLOUR_RGB:
    case COLOUR_RGBA:
        return depth == 8 ? UI_PNG_DECODED : UI_PNG_UNSUPPORTED_PIXELS;
    case COLOUR_PALETTE:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8 ? UI_PNG_DECODED
                                                                     : UI_PNG_UNSUPPORTED_PIXELS;
    default:
        return UI_PNG_UNSUPPORTED_PIXELS;  // grey with alpha (4) among them
    }
}

// Walks every chunk up to "IEND" or the end of the data for the palette and
// its alpha. Entries begin as opaque black; "tRNS" sets the alpha of the
// first entries in order, wherever it stands. A chunk cut off by the end of
// the data ends the walk.
static UIPNGResult ReadPalette(const uint8_t *data, size_t size, size_t position,
                               uint32_t *palette) {
    uint8_t alpha[MAX_PALETTE_ENTRIES];
    memset(alpha, 0xFF, sizeof alpha);
    bool found = false;
    for (int32_t i = 0; i < MAX_PALETTE_ENTRIES; i++) palette[i] = 0;

    while (position <= size && size - position >= CHUNK_HEAD_SIZE) {
        const uint8_t *chunk = data + position;
        size_t length = ReadBigEndian32(chunk);
        if (IsChunkType(chunk, "IEND")) break;
        if (length > size - position - CHUNK_HEAD_SIZE) break;
        const uint8_t *payload = chunk + CHUNK_HEAD_SIZE;

        if (IsChunkType(chunk, "PLTE")) {
            if (length % 3 || length > 3 * MAX_PALETTE_ENTRIES) return UI_PNG_BAD_PALETTE;
            for (size_t i = 0; i < length / 3; i++) {
                const uint8_t *rgb = payload + 3 * i;
                palette[i] = (uint32_t)rgb[0] << 16 | (uint32_t)rgb[1] << 8 | rgb[2];
            }
            found = true;
        } else if (IsChunkType(chunk, "tRNS")) {
            if (length > MAX_PALETTE_ENTRIES) return UI_PNG_BAD_PALETTE;
            memcpy(alpha, payload, length);
        }
        position += CHUNK_HEAD_SIZE + length + CHUNK_CRC_SIZE;
    }

    if (!found) return UI_PNG_NO_PALETTE;
    for (int32_t i = 0; i < MAX_PALETTE_ENTRIES; i++) palette[i] |= (uint32_t)alpha[i] << 24;
    return UI_PNG_DECODED;
}

// ---- the compressed stream: IDAT payloads, read as bits ----

// Hands out the payload bytes of the "IDAT" chunks one after the other,
// stepping over chunks of other kinds, and the bits of those bytes from the
// least significant up (RFC 1951, 3.1.1). Past "IEND" or the end of the data
// every byte reads as 0; taking any such bit sets `ended`, and each step of
// the decoder looks at the mark before trusting what it read. The bit buffer
// may hold such zero bytes ahead of need (`phantomBits`, at its top) without
// harm: only bits that are taken count.
struct PNGStream {
    const uint8_t *data;
    size_t size;
    size_t position;   // the next payload byte
    size_t chunkEnd;   // the end of the current chunk's payload (within the data)
    uint32_t bitBuffer;
    int32_t bitCount;     // bits in bitBuffer, the next one lowest
    int32_t phantomBits;  // how many of those, at the top, lie past the data
    bool atEnd;           // no payload byte is left
    bool ended;           // a bit past the data was taken: the error mark
};

__attribute__((noinline)) static void NextDataChunk(PNGStream *stream) {
    for (;;) {
        size_t next = stream->chunkEnd + CHUNK_CRC_SIZE;
        if (next > stream->size || stream->size - next < CHUNK_HEAD_SIZE) {
            stream->atEnd = true;
            return;
        }
        const uint8_t *chunk = stream->data + next;
        if (IsChunkType(chunk, "IEND")) {
            stream->atEnd = true;
            return;
        }
        size_t start = next + CHUNK_HEAD_SIZE;
        size_t length = ReadBigEndian32(chunk);
        if (length > stream->size - start) length = stream->size - start;
        stream->chunkEnd = start + length;
        if (IsChunkType(chunk, "IDAT") && length > 0) {
            stream->position = start;
            return;
        }
    }
}

// Tops the bit buffer up to at least `count` bits (count <= 24).
static inline void FillBits(PNGStream *stream, int32_t count) {
    while (stream->bitCount < count) {
        if (__builtin_expect(stream->position == stream->chunkEnd, 0)) {
            if (!stream->atEnd) NextDataChunk(stream);
            if (stream->atEnd) {
                stream->phantomBits += 8;
                stream->bitCount += 8;
                continue;
            }
        }
        stream->bitBuffer |= (uint32_t)stream->data[stream->position++] << stream->bitCount;
        stream->bitCount += 8;
    }
}

static inline void TakeBits(PNGStream *stream, int32_t count) {
    stream->bitBuffer >>= count;
    stream->bitCount -= count;
    if (stream->bitCount < stream->phantomBits) {
        stream->ended = true;
        stream->phantomBits = stream->bitCount;
    }
}

static uint32_t ReadBits(PNGStream *stream, int32_t count) {
    FillBits(stream, count);
    uint32_t value = stream->bitBuffer & ((1u << count) - 1);
    TakeBits(stream, count);
    return value;
}

// Drops what is left of the current byte.
static void AlignToByte(PNGStream *stream) {
    TakeBits(stream, stream->bitCount & 7);
}

// ---- zlib (RFC 1950) ----

enum {
    ZLIB_METHOD_DEFLATE = 8,
    ZLIB_MAX_WINDOW_BITS_LESS_8 = 7,  // CINFO: a window of 2^(CINFO + 8) bytes
    ZLIB_FLAG_PRESET_DICTIONARY = 0x20,
};

static UIPNGResult ReadZlibHeader(PNGStream *stream) {
    uint32_t method = ReadBits(stream, 8);
    uint32_t flags = ReadBits(stream, 8);
    if (stream->ended) return UI_PNG_DATA_ENDS;
    if ((method & 0x0F) != ZLIB_METHOD_DEFLATE || method >> 4 > ZLIB_MAX_WINDOW_BITS_LESS_8) {
        return UI_PNG_BAD_ZLIB_HEADER;
    }
    if (flags & ZLIB_FLAG_PRESET_DICTIONARY) return UI_PNG_PRESET_DICTIONARY;
    return UI_PNG_DECODED;
}

// ---- Huffman tables (RFC 1951, 3.2.2) ----

// A table indexed by a code's numeric value; the entry holds
// length << 16 | symbol, or 0 where no code has that value. In a code that is
// not over-subscribed no two codes share a value, whatever their lengths, so
// a decoder that shifts in one bit at a time stops at the first length that
// equals the entry's. Codes of up to maxLength bits have values below
// 2^maxLength: only that part of the table is filled, and bits that are no
// code by then are no code at all.
//
// The bit-by-bit search is the definition; `fast` caches its outcome for
// every combination of the next FAST_BITS stream bits, so that a code of up
// to that length costs one lookup. Longer codes take the search.
enum { FAST_BITS = 9 };
struct HuffmanTable {
    uint32_t *entries;   // room for every value of the longest codes the table may hold
    uint32_t maxLength;  // the longest code in use
    uint32_t fastBits;   // min(maxLength, FAST_BITS)
    uint32_t fast[1 << FAST_BITS];  // length << 16 | symbol, or 0: longer than fastBits
};

enum {
    MAX_CODE_LENGTH = 15,
    MAX_CODE_LENGTH_CODE_LENGTH = 7,  // the three bits a dynamic block gives each
    CODE_LENGTH_TABLE_ENTRIES = 1 << MAX_CODE_LENGTH_CODE_LENGTH,
};
static_assert(UI_PNG_TABLE_ENTRIES == 1 << MAX_CODE_LENGTH, "a table holds every 15-bit code");

static UIPNGResult BuildHuffmanTable(HuffmanTable *table, const uint8_t *lengths, int32_t count) {
    int32_t lengthCount[MAX_CODE_LENGTH + 1] = {};
    for (int32_t symbol = 0; symbol < count; symbol++) lengthCount[lengths[symbol]]++;
    lengthCount[0] = 0;

    // The first code of each length; `unused` counts the codes of this length
    // still free, and going below zero means over-subscription.
    uint32_t nextCode[MAX_CODE_LENGTH + 1];
    uint32_t code = 0;
    int32_t unused = 1;
    table->maxLength = 0;
    for (int32_t length = 1; length <= MAX_CODE_LENGTH; length++) {
        code = (code + lengthCount[length - 1]) << 1;
        nextCode[length] = code;
        unused = 2 * unused - lengthCount[length];
        if (unused < 0) return UI_PNG_OVERSUBSCRIBED_CODE;
        if (lengthCount[length]) table->maxLength = (uint32_t)length;
    }

    memset(table->entries, 0, ((size_t)1 << table->maxLength) * sizeof *table->entries);
    for (int32_t symbol = 0; symbol < count; symbol++) {
        uint32_t length = lengths[symbol];
        if (length) table->entries[nextCode[length]++] = length << 16 | (uint32_t)symbol;
    }

    table->fastBits = table->maxLength < (uint32_t)FAST_BITS ? table->maxLength : (uint32_t)FAST_BITS;
    for (uint32_t bits = 0; bits < 1u << table->fastBits; bits++) {
        uint32_t code = 0, found = 0;
        for (uint32_t length = 1; length <= table->fastBits && !found; length++) {
            code = code << 1 | (bits >> (length - 1) & 1);
            uint32_t entry = table->entries[code];
            if (entry >> 16 == length) found = entry;
        }
        table->fast[bits] = found;
    }
    return UI_PNG_DECODED;
}

// The next symbol, or -1 when the bits are no code of the table. Codes are
// read one bit at a time, most significant bit of the code first; the bits
// come from a local buffer topped up a byte at a time to the longest code,
// so that the loop itself does no reading. Only the bits of the code found
// are taken from the stream.
static inline int32_t DecodeSymbol(PNGStream *stream, const HuffmanTable *table) {
    FillBits(stream, (int32_t)table->maxLength);
    uint32_t found = table->fast[stream->bitBuffer & ((1u << table->fastBits) - 1)];
    if (found) {
        TakeBits(stream, (int32_t)(found >> 16));
        return (int32_t)(found & 0xFFFF);
    }
    uint32_t bits = stream->bitBuffer, code = 0;
    for (uint32_t length = 1; length <= table->maxLength; length++) {
        code = code << 1 | (bits & 1);
        bits >>= 1;
        uint32_t entry = table->entries[code];
        if (entry >> 16 == length) {
            TakeBits(stream, (int32_t)length);
            return (int32_t)(entry & 0xFFFF);
        }
    }
    return -1;
}

// ---- inflate (RFC 1951) ----

enum {
    BLOCK_STORED = 0,
    BLOCK_FIXED = 1,
    BLOCK_DYNAMIC = 2,
    END_OF_BLOCK = 256,
    FIRST_LENGTH_SYMBOL = 257,
    LAST_LENGTH_SYMBOL = 285,
    LAST_DISTANCE_SYMBOL = 29,
    FIXED_LITERAL_CODES = 288,
    FIXED_DISTANCE_CODES = 32,     // 30 and 31 have codes but no distance
    CODE_LENGTH_CODES = 19,
    MAX_LITERAL_CODES = 286 + 2,   // HLIT's five bits can say 288
    MAX_DISTANCE_CODES = 30 + 2,   // HDIST's five bits can say 32
};

static const uint16_t LENGTH_BASE[29] = {
    3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 15, 17, 19, 23, 27, 31,
    35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258,
};
static const uint8_t LENGTH_EXTRA_BITS[29] = {
    0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0,
};
static const uint16_t DISTANCE_BASE[30] = {
    1, 2, 3, 4, 5, 7, 9, 13, 17, 25, 33, 49, 65, 97, 129, 193,
    257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577,
};
static const uint8_t DISTANCE_EXTRA_BITS[30] = {
    0, 0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13,
};
// The order in which a dynamic block lists the lengths of the code length code.
static const uint8_t CODE_LENGTH_ORDER[CODE_LENGTH_CODES] = {
    16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15,
};

// The inflater writes straight into the rows' block: there is no window, and a
// distance may reach back to the first byte written.
struct Inflater {
    PNGStream *stream;
    uint8_t *out;
    size_t written, capacity;
    HuffmanTable literals, distances;
    bool tablesAreFixed;  // the tables still hold the fixed code from an earlier block
};

static UIPNGResult InflateStored(Inflater *z) {
    AlignToByte(z->stream);
    uint32_t length = ReadBits(z->stream, 16);
    ReadBits(z->stream, 16);  // NLEN, the complement of LEN, is not checked
    if (z->stream->ended) return UI_PNG_DATA_ENDS;
    if (length > z->capacity - z->written) return UI_PNG_OUTPUT_OVERRUN;
    for (uint32_t i = 0; i < length; i++) z->out[z->written++] = (uint8_t)ReadBits(z->stream, 8);
    return UI_PNG_DECODED;
}

// The compressed data of a fixed or dynamic block, up to its end-of-block code.
static UIPNGResult InflateCodes(Inflater *z) {
    PNGStream *stream = z->stream;
    uint8_t *out = z->out;
    for (;;) {
        if (stream->ended) return UI_PNG_DATA_ENDS;
        int32_t symbol = DecodeSymbol(stream, &z->literals);
        if (symbol < 0) return UI_PNG_BAD_CODE;
        if (symbol < END_OF_BLOCK) {
            if (z->written == z->capacity) return UI_PNG_OUTPUT_OVERRUN;
            out[z->written++] = (uint8_t)symbol;
            continue;
        }
        if (symbol == END_OF_BLOCK) return UI_PNG_DECODED;
        if (symbol > LAST_LENGTH_SYMBOL) return UI_PNG_BAD_LENGTH_SYMBOL;

        int32_t lengthIndex = symbol - FIRST_LENGTH_SYMBOL;
        size_t length = LENGTH_BASE[lengthIndex] + ReadBits(stream, LENGTH_EXTRA_BITS[lengthIndex]);
        int32_t distanceSymbol = DecodeSymbol(stream, &z->distances);
        if (distanceSymbol < 0) return UI_PNG_BAD_CODE;
        if (distanceSymbol > LAST_DISTANCE_SYMBOL) return UI_PNG_BAD_DISTANCE;
        size_t distance = DISTANCE_BASE[distanceSymbol] +
                          ReadBits(stream, DISTANCE_EXTRA_BITS[distanceSymbol]);
        if (distance == 0 || distance > z->written) return UI_PNG_BAD_DISTANCE;
        if (length > z->capacity - z->written) return UI_PNG_OUTPUT_OVERRUN;

        // A copy that overlaps its own output (distance < length) repeats the
        // last `distance` bytes, so it goes byte by byte; others in one move.
        const uint8_t *from = out + z->written - distance;
        uint8_t *to = out + z->written;
        if (distance >= length) {
            memcpy(to, from, length);
        } else {
            for (size_t i = 0; i < length; i++) to[i] = from[i];
        }
        z->written += length;
    }
}

static UIPNGResult InflateFixed(Inflater *z) {
    if (!z->tablesAreFixed) {
        uint8_t lengths[FIXED_LITERAL_CODES];
        int32_t symbol = 0;
        for (; symbol < 144; symbol++) lengths[symbol] = 8;
        for (; symbol < 256; symbol++) lengths[symbol] = 9;
        for (; symbol < 280; symbol++) lengths[symbol] = 7;
        for (; symbol < FIXED_LITERAL_CODES; symbol++) lengths[symbol] = 8;
        BuildHuffmanTable(&z->literals, lengths, FIXED_LITERAL_CODES);
        memset(lengths, 5, FIXED_DISTANCE_CODES);
        BuildHuffmanTable(&z->distances, lengths, FIXED_DISTANCE_CODES);
        z->tablesAreFixed = true;
    }
    return InflateCodes(z);
}

// Reads the block's code lengths as one sequence (a run may cross from the
// literal lengths into the distance lengths), builds both tables from them,
// then inflates the data.
static UIPNGResult InflateDynamic(Inflater *z) {
    PNGStream *stream = z->stream;
    int32_t literalCount = (int32_t)ReadBits(stream, 5) + 257;
    int32_t distanceCount = (int32_t)ReadBits(stream, 5) + 1;
    int32_t codeLengthCount = (int32_t)ReadBits(stream, 4) + 4;

    uint8_t codeLengthLengths[CODE_LENGTH_CODES] = {};
    for (int32_t i = 0; i < codeLengthCount; i++) {
        codeLengthLengths[CODE_LENGTH_ORDER[i]] = (uint8_t)ReadBits(stream, 3);
    }
    uint32_t codeLengthEntries[CODE_LENGTH_TABLE_ENTRIES];
    HuffmanTable codeLengthCode = {};
    codeLengthCode.entries = codeLengthEntries;
    UIPNGResult result = BuildHuffmanTable(&codeLengthCode, codeLengthLengths, CODE_LENGTH_CODES);
    if (result) return result;

    uint8_t lengths[MAX_LITERAL_CODES + MAX_DISTANCE_CODES];
    int32_t total = literalCount + distanceCount;
    for (int32_t i = 0; i < total;) {
        if (stream->ended) return UI_PNG_DATA_ENDS;
        int32_t symbol = DecodeSymbol(stream, &codeLengthCode);
        if (symbol < 0) return UI_PNG_BAD_CODE;
        if (symbol < 16) {
            lengths[i++] = (uint8_t)symbol;
            continue;
        }
        uint8_t repeated = 0;
        int32_t count;
        if (symbol == 16) {  // the previous length, 3 to 6 times
            if (i == 0) return UI_PNG_REPEAT_WITHOUT_LENGTH;
            repeated = lengths[i - 1];
            count = 3 + (int32_t)ReadBits(stream, 2);
        } else if (symbol == 17) {  // 3 to 10 zeros
            count = 3 + (int32_t)ReadBits(stream, 3);
        } else {  // 11 to 138 zeros
            count = 11 + (int32_t)ReadBits(stream, 7);
        }
        if (count > total - i) return UI_PNG_LENGTHS_OVERRUN;
        memset(lengths + i, repeated, (size_t)count);
        i += count;
    }

    z->tablesAreFixed = false;
    result = BuildHuffmanTable(&z->literals, lengths, literalCount);
    if (result) return result;
    result = BuildHuffmanTable(&z->distances, lengths + literalCount, distanceCount);
    if (result) return result;
    return InflateCodes(z);
}

// Inflates blocks until the one marked last; the output must then be exactly
// full. A refusal after the data ran out is reported as the data ending, since
// everything read past that point was made-up zeros.
static UIPNGResult Inflate(Inflater *z) {
    bool last;
    do {
        last = ReadBits(z->stream, 1);
        uint32_t type = ReadBits(z->stream, 2);
        UIPNGResult result;
        if (type == BLOCK_STORED) result = InflateStored(z);
        else if (type == BLOCK_FIXED) result = InflateFixed(z);
        else if (type == BLOCK_DYNAMIC) result = InflateDynamic(z);
        else result = UI_PNG_BAD_BLOCK_TYPE;
        if (z->stream->ended) return UI_PNG_DATA_ENDS;
        if (result) return result;
    } while (!last);
    return z->written == z->capacity ? UI_PNG_DECODED : UI_PNG_OUTPUT_SHORT;
}

// ---- the rows: filters, then pixels ----

enum {
    FILTER_NONE = 0,
    FILTER_SUB = 1,
    FILTER_UP = 2,
    FILTER_AVERAGE = 3,
    FILTER_PAETH = 4,
};

static uint8_t Paeth(int32_t a, int32_t b, int32_t c) {
    int32_t p = a + b - c;
    int32_t pa = p > a ? p - a : a - p;
    int32_t pb = p > b ? p - b : b - p;
    int32_t pc = p > c ? p - c : c - p;
    if (pa <= pb && pa <= pc) return (uint8_t)a;
    if (pb <= pc) return (uint8_t)b;
    return (uint8_t)c;
}

// Undoes the filters in place. Each row is its filter byte, then `stride`
// bytes; `distance` is the filters' step back to the corresponding byte of
// the previous pixel. Bytes left of the row and above the first row are 0:
// the first row reads a row of zeros, and each filter handles the first
// `distance` bytes, which have no left neighbour, before the rest.
static UIPNGResult Unfilter(uint8_t *rows, uint32_t height, size_t stride, size_t distance,
                            const uint8_t *zeros) {
    if (distance > stride) distance = stride;
    for (uint32_t y = 0; y < height; y++) {
        uint8_t *x = rows + y * (stride + 1) + 1;
        uint8_t filter = x[-1];
        const uint8_t *above = y ? x - (stride + 1) : zeros;
        size_t i;
        switch (filter) {
        case FILTER_NONE:
            break;
        case FILTER_SUB:
            for (i = distance; i < stride; i++) x[i] += x[i - distance];
            break;
        case FILTER_UP:
            for (i = 0; i < stride; i++) x[i] += above[i];
            break;
        case FILTER_AVERAGE:
            for (i = 0; i < distance; i++) x[i] += above[i] >> 1;
            for (; i < stride; i++) x[i] += (uint8_t)((x[i - distance] + above[i]) >> 1);
            break;
        case FILTER_PAETH:
            for (i = 0; i < distance; i++) x[i] += above[i];   // Paeth(0, b, 0) is b
            for (; i < stride; i++) {
                x[i] += Paeth(x[i - distance], above[i], above[i - distance]);
            }
            break;
        default:
            return UI_PNG_BAD_FILTER;
        }
    }
    return UI_PNG_DECODED;
}

static void ExpandPixels(const PNGHeader *header, const uint8_t *rows, size_t stride,
                         const uint32_t *palette, uint32_t *pixels) {
    uint32_t width = header->width;
    for (uint32_t y = 0; y < header->height; y++) {
        const uint8_t *x = rows + y * (stride + 1) + 1;
        uint32_t *out = pixels + (size_t)y * width;
        switch (header->colourType) {
        case COLOUR_GREY:
            for (uint32_t i = 0; i < width; i++) out[i] = 0xFF000000 | x[i] * 0x010101u;
            break;
        case COLOUR_RGB:
            for (uint32_t i = 0; i < width; i++, x += 3) {
                out[i] = 0xFF000000 | (uint32_t)x[0] << 16 | (uint32_t)x[1] << 8 | x[2];
            }
            break;
        case COLOUR_RGBA:
            for (uint32_t i = 0; i < width; i++, x += 4) {
                out[i] = (uint32_t)x[3] << 24 | (uint32_t)x[0] << 16 | (uint32_t)x[1] << 8 | x[2];
            }
            break;
        case COLOUR_PALETTE: {
            // Indices narrower than a byte lie most significant first.
            uint32_t depth = header->bitDepth, mask = (1u << depth) - 1;
            for (uint32_t i = 0; i < width; i++) {
                uint32_t bit = i * depth;
                uint32_t index = x[bit / 8] >> (8 - depth - bit % 8) & mask;
                out[i] = palette[index];
            }
            break;
        }
        }
    }
}

// ---- the decoder ----

UIPNGResult UIPNGDecode(const uint8_t *bytes, size_t size, uint32_t **pixels, int32_t *width,
                        int32_t *height, UIAllocateFunction allocate, UIFreeFunction release) {
    *pixels = NULL;
    *width = *height = 0;

    PNGHeader header;
    UIPNGResult result = ReadHeader(bytes, size, &header);
    if (result) return result;
    result = CheckFormat(&header);
    if (result) return result;

    uint32_t palette[MAX_PALETTE_ENTRIES];
    if (header.colourType == COLOUR_PALETTE) {
        result = ReadPalette(bytes, size, header.chunksStart, palette);
        if (result) return result;
    }

    // The stream starts as if at the end of a chunk whose CRC is followed by
    // the chunk after "IHDR".
    PNGStream stream = {};
    stream.data = bytes;
    stream.size = size;
    stream.chunkEnd = stream.position = header.chunksStart - CHUNK_CRC_SIZE;
    result = ReadZlibHeader(&stream);
    if (result) return result;

    uint32_t bitsPerPixel = header.bitDepth * (header.colourType == COLOUR_RGB    ? 3
                                               : header.colourType == COLOUR_RGBA ? 4
                                                                                  : 1);
    size_t stride = ((size_t)header.width * bitsPerPixel + 7) / 8;
    size_t filterDistance = bitsPerPixel < 8 ? 1 : bitsPerPixel / 8;
    size_t rowsSize = header.height * (stride + 1);

    // One scratch block: the two tables, then the rows.
    size_t tableBytes = UI_PNG_TABLE_ENTRIES * sizeof(uint32_t);
    uint8_t *scratch = (uint8_t *)allocate(2 * tableBytes + rowsSize);
    Inflater z = {};
    z.stream = &stream;
    z.literals.entries = (uint32_t *)scratch;
    z.distances.entries = (uint32_t *)(scratch + tableBytes);
    z.out = scratch + 2 * tableBytes;
    z.capacity = rowsSize;

    result = Inflate(&z);
    if (!result) {
        // The tables are done with: their first bytes serve as the row of
        // zeros above the image (a row is at most 120,000 bytes).
        memset(scratch, 0, stride);
        result = Unfilter(z.out, header.height, stride, filterDistance, scratch);
    }
    if (result) {
        release(scratch);
        return result;
    }

    *pixels = (uint32_t *)allocate((size_t)header.width * header.height * sizeof(uint32_t));
    ExpandPixels(&header, z.out, stride, palette, *pixels);
    release(scratch);
    *width = (int32_t)header.width;
    *height = (int32_t)header.height;
    return UI_PNG_DECODED;
}

bool UIImageDecodePNG(const uint8_t *bytes, size_t size, uint32_t **pixels, int32_t *width,
                      int32_t *height, UIAllocateFunction allocate, UIFreeFunction release) {
    return UIPNGDecode(bytes, size, pixels, width, height, allocate, release) == UI_PNG_DECODED;
}

bool UIImageReadPNGSize(const uint8_t *bytes, size_t size, int32_t *width, int32_t *height) {
    PNGHeader header;
    if (ReadHeader(bytes, size, &header)) {
        *width = *height = 0;
        return false;
    }
    *width = (int32_t)header.width;
    *height = (int32_t)header.height;
    return true;
}
