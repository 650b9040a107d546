// The PNG decoder: files made by real encoders decoded pixel for pixel
// against their references, the accepted set and every refusal, truncation at
// every byte, and the memory a decode leaves behind.
#include <gtest/gtest.h>
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <algorithm>
#include <string>
#include <vector>
#include "toolkit/png.h"

namespace {

typedef std::vector<uint8_t> Bytes;

// ---- files ----

std::string CorpusDirectory() {
    std::string file = __FILE__;
    return file.substr(0, file.rfind('/')) + "/../png/";
}

Bytes ReadFile(const std::string &path) {
    Bytes bytes;
    FILE *file = fopen(path.c_str(), "rb");
    if (!file) return bytes;
    uint8_t buffer[4096];
    size_t count;
    while ((count = fread(buffer, 1, sizeof buffer, file)) > 0) {
        bytes.insert(bytes.end(), buffer, buffer + count);
    }
    fclose(file);
    return bytes;
}

std::vector<std::string> CorpusNames() {
    std::vector<std::string> names;
    DIR *directory = opendir(CorpusDirectory().c_str());
    if (!directory) return names;
    while (dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name.size() > 4 && name.compare(name.size() - 4, 4, ".png") == 0) {
            names.push_back(name.substr(0, name.size() - 4));
        }
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    return names;
}

// ---- decoding with counted memory ----

int32_t liveBlocks;

void *CountedAllocate(size_t size) {
    liveBlocks++;
    return malloc(size);
}

void CountedFree(void *pointer) {
    if (pointer) liveBlocks--;
    free(pointer);
}

struct Decoded {
    UIPNGResult result;
    int32_t width, height;
    std::vector<uint32_t> pixels;
};

// Decodes from a heap block of exactly the file's size, so that a read past
// the end is an AddressSanitizer report; checks that a refusal leaves nothing
// allocated and a decode nothing but the pixels.
Decoded Decode(const uint8_t *file, size_t size) {
    uint8_t *copy = (uint8_t *)malloc(size ? size : 1);
    if (size) memcpy(copy, file, size);
    liveBlocks = 0;
    Decoded decoded = {};
    uint32_t *pixels = (uint32_t *)1;
    decoded.result = UIPNGDecode(copy, size, &pixels, &decoded.width, &decoded.height,
                                 CountedAllocate, CountedFree);
    free(copy);
    if (decoded.result == UI_PNG_DECODED) {
        EXPECT_EQ(liveBlocks, 1) << "a decode leaves the pixels only";
        decoded.pixels.assign(pixels, pixels + (size_t)decoded.width * decoded.height);
        CountedFree(pixels);
    } else {
        EXPECT_EQ(liveBlocks, 0) << "a refusal leaves nothing allocated";
        EXPECT_EQ(pixels, nullptr);
        EXPECT_EQ(decoded.width, 0);
        EXPECT_EQ(decoded.height, 0);
    }
    return decoded;
}

Decoded Decode(const Bytes &file) { return Decode(file.data(), file.size()); }

// ---- building files ----
// Chunk CRCs and the Adler checksum are written as zeros: the decoder does
// not read them.

void Append(Bytes *to, const Bytes &bytes) { to->insert(to->end(), bytes.begin(), bytes.end()); }

void AppendBigEndian(Bytes *to, uint32_t value) {
    for (int32_t shift = 24; shift >= 0; shift -= 8) to->push_back((uint8_t)(value >> shift));
}

Bytes Chunk(const char *type, const Bytes &payload) {
    Bytes chunk;
    AppendBigEndian(&chunk, (uint32_t)payload.size());
    chunk.insert(chunk.end(), type, type + 4);
    Append(&chunk, payload);
    AppendBigEndian(&chunk, 0);
    return chunk;
}

struct Header {
    uint32_t width, height;
    uint8_t bitDepth, colourType, compressionMethod, filterMethod, interlaceMethod;
};

Bytes HeaderChunk(Header header) {
    Bytes payload;
    AppendBigEndian(&payload, header.width);
    AppendBigEndian(&payload, header.height);
    payload.push_back(header.bitDepth);
    payload.push_back(header.colourType);
    payload.push_back(header.compressionMethod);
    payload.push_back(header.filterMethod);
    payload.push_back(header.interlaceMethod);
    return Chunk("IHDR", payload);
}

const Bytes SIGNATURE = { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' };

// A file: the header chunk, the given chunks, the stream in one IDAT, IEND.
Bytes Png(Header header, const Bytes &stream, const std::vector<Bytes> &chunks = {}) {
    Bytes file = SIGNATURE;
    Append(&file, HeaderChunk(header));
    for (const Bytes &chunk : chunks) Append(&file, chunk);
    Append(&file, Chunk("IDAT", stream));
    Append(&file, Chunk("IEND", {}));
    return file;
}

Bytes Zlib(const Bytes &deflate) {
    Bytes stream(2 + deflate.size() + 4, 0);  // the checksum is left 0
    stream[0] = 0x78;
    stream[1] = 0x01;
    std::copy(deflate.begin(), deflate.end(), stream.begin() + 2);
    return stream;
}

// The rows in stored blocks of at most 65,535 bytes.
Bytes Stored(const Bytes &rows) {
    Bytes deflate;
    size_t position = 0;
    do {
        size_t length = std::min<size_t>(rows.size() - position, 65535);
        bool last = position + length == rows.size();
        deflate.push_back(last ? 1 : 0);
        deflate.push_back((uint8_t)length);
        deflate.push_back((uint8_t)(length >> 8));
        deflate.push_back((uint8_t)~length);
        deflate.push_back((uint8_t)(~length >> 8));
        deflate.insert(deflate.end(), rows.begin() + position, rows.begin() + position + length);
        position += length;
    } while (position < rows.size());
    return Zlib(deflate);
}

// Bits least significant first; Huffman codes most significant first.
struct BitWriter {
    Bytes bytes;
    int32_t used = 8;

    void Bits(uint32_t value, int32_t count) {
        for (int32_t i = 0; i < count; i++) {
            if (used == 8) {
                bytes.push_back(0);
                used = 0;
            }
            bytes.back() |= (uint8_t)((value >> i & 1) << used++);
        }
    }
    void Code(uint32_t code, int32_t length) {
        for (int32_t i = length - 1; i >= 0; i--) Bits(code >> i & 1, 1);
    }
    void BlockHeader(bool last, uint32_t type) {
        Bits(last, 1);
        Bits(type, 2);
    }
    // Symbols of the fixed literal/length code and the fixed distance code.
    void FixedLiteral(uint32_t symbol) {
        if (symbol < 144) Code(0x30 + symbol, 8);
        else if (symbol < 256) Code(0x190 + symbol - 144, 9);
        else if (symbol < 280) Code(symbol - 256, 7);
        else Code(0xC0 + symbol - 280, 8);
    }
    void FixedDistance(uint32_t symbol) { Code(symbol, 5); }
    // A dynamic block's counts, with a code length code in which all 19
    // symbols are 5 bits long, so that each one's code is its own number.
    void DynamicHeader(bool last, int32_t literalCount, int32_t distanceCount) {
        BlockHeader(last, 2);
        Bits(literalCount - 257, 5);
        Bits(distanceCount - 1, 5);
        Bits(19 - 4, 4);
        for (int32_t i = 0; i < 19; i++) Bits(5, 3);
    }
    void CodeLength(uint32_t symbol, uint32_t extra = 0, int32_t extraBits = 0) {
        Code(symbol, 5);
        Bits(extra, extraBits);
    }
};

// A grey image of 4 by 2: its rows are 2 times (filter byte + 4 bytes).
const Header GREY_4x2 = { 4, 2, 8, 0, 0, 0, 0 };
const size_t GREY_4x2_ROWS = 10;

UIPNGResult DecodeGrey4x2(const BitWriter &deflate) {
    return Decode(Png(GREY_4x2, Zlib(deflate.bytes))).result;
}

uint32_t Argb(const uint8_t *rgba) {
    return (uint32_t)rgba[3] << 24 | (uint32_t)rgba[0] << 16 | (uint32_t)rgba[1] << 8 | rgba[2];
}

}  // namespace

// ---- the corpus ----

TEST(PngCorpus, every_file_decodes_to_its_reference_pixels) {
    std::vector<std::string> names = CorpusNames();
    ASSERT_GE(names.size(), 20u) << "corpus missing from " << CorpusDirectory();
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        Bytes file = ReadFile(CorpusDirectory() + name + ".png");
        Bytes reference = ReadFile(CorpusDirectory() + name + ".rgba");
        Decoded decoded = Decode(file);
        ASSERT_EQ(decoded.result, UI_PNG_DECODED);
        ASSERT_EQ(reference.size(), decoded.pixels.size() * 4);
        size_t wrong = 0, first = 0;
        for (size_t i = 0; i < decoded.pixels.size(); i++) {
            if (decoded.pixels[i] != Argb(&reference[4 * i]) && !wrong++) first = i;
        }
        EXPECT_EQ(wrong, 0u) << "first at x " << first % decoded.width << ", y "
                             << first / decoded.width;

        int32_t width, height;
        EXPECT_TRUE(UIImageReadPNGSize(file.data(), file.size(), &width, &height));
        EXPECT_EQ(width, decoded.width);
        EXPECT_EQ(height, decoded.height);
    }
}

// ---- the header ----

TEST(PngHeader, the_signature_then_a_whole_IHDR_of_13_bytes_or_more_must_begin_the_file) {
    Bytes good = Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS)));
    EXPECT_EQ(Decode(good.data(), 0).result, UI_PNG_NO_SIGNATURE);
    EXPECT_EQ(Decode(good.data(), 7).result, UI_PNG_NO_SIGNATURE);
    EXPECT_EQ(Decode(good.data(), 8 + 8 + 12).result, UI_PNG_NO_HEADER);
    const struct { size_t at; uint8_t value; UIPNGResult result; } CHANGES[] = {
        { 1, 'p', UI_PNG_NO_SIGNATURE },
        { 12, 'i', UI_PNG_NO_HEADER },  // "iHDR"
        { 11, 12, UI_PNG_NO_HEADER },   // a length of 12
    };
    for (const auto &change : CHANGES) {
        Bytes file = good;
        file[change.at] = change.value;
        EXPECT_EQ(Decode(file).result, change.result) << change.at;
    }

    // A longer header is read for its first 13 bytes and stepped over.
    Bytes header = HeaderChunk(GREY_4x2);
    Bytes payload(header.begin() + 8, header.end() - 4);
    payload.resize(20, 0xEE);
    Bytes file = SIGNATURE;
    Append(&file, Chunk("IHDR", payload));
    Append(&file, Chunk("IDAT", Stored(Bytes(GREY_4x2_ROWS))));
    EXPECT_EQ(Decode(file).result, UI_PNG_DECODED);
}

TEST(PngHeader, sides_from_1_to_30000_are_accepted) {
    for (uint32_t side : { 0u, 1u, 30000u, 30001u, 0x80000000u }) {
        SCOPED_TRACE(side);
        bool accepted = side >= 1 && side <= 30000;
        Header wide = { side, 1, 8, 0, 0, 0, 0 }, tall = { 1, side, 8, 0, 0, 0, 0 };
        Bytes wideRows(accepted ? side + 1 : 1), tallRows(accepted ? 2 * side : 1);
        EXPECT_EQ(Decode(Png(wide, Stored(wideRows))).result,
                  accepted ? UI_PNG_DECODED : UI_PNG_BAD_DIMENSIONS);
        EXPECT_EQ(Decode(Png(tall, Stored(tallRows))).result,
                  accepted ? UI_PNG_DECODED : UI_PNG_BAD_DIMENSIONS);
    }
}

TEST(PngHeader, only_8_bit_grey_rgb_rgba_and_1_to_8_bit_palettes_are_accepted) {
    const std::vector<Bytes> palette = { Chunk("PLTE", Bytes(3 * 256, 0x40)) };
    for (uint8_t colourType = 0; colourType <= 8; colourType++) {
        for (uint8_t depth : { 0, 1, 2, 3, 4, 8, 16 }) {
            SCOPED_TRACE(testing::Message() << "colour type " << (int)colourType << ", depth "
                                            << (int)depth);
            bool accepted = ((colourType == 0 || colourType == 2 || colourType == 6) && depth == 8) ||
                            (colourType == 3 && (depth == 1 || depth == 2 || depth == 4 || depth == 8));
            int32_t channels = colourType == 2 ? 3 : colourType == 6 ? 4 : colourType == 4 ? 2 : 1;
            Header header = { 3, 2, depth, colourType, 0, 0, 0 };
            size_t stride = (3 * depth * channels + 7) / 8;
            Bytes file = Png(header, Stored(Bytes(2 * (stride + 1))), palette);
            EXPECT_EQ(Decode(file).result, accepted ? UI_PNG_DECODED : UI_PNG_UNSUPPORTED_PIXELS);
        }
    }
}

TEST(PngHeader, other_methods_and_adam7_interlace_are_refused) {
    Bytes rows = Stored(Bytes(GREY_4x2_ROWS));
    Header header = GREY_4x2;
    header.compressionMethod = 1;
    EXPECT_EQ(Decode(Png(header, rows)).result, UI_PNG_UNKNOWN_METHOD);
    header = GREY_4x2;
    header.filterMethod = 1;
    EXPECT_EQ(Decode(Png(header, rows)).result, UI_PNG_UNKNOWN_METHOD);
    header = GREY_4x2;
    header.interlaceMethod = 1;
    EXPECT_EQ(Decode(Png(header, rows)).result, UI_PNG_INTERLACED);
}

TEST(PngHeader, the_size_is_read_from_the_header_alone) {
    Bytes file = Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS)));
    int32_t width = -1, height = -1;
    EXPECT_TRUE(UIImageReadPNGSize(file.data(), 8 + 8 + 13, &width, &height));
    EXPECT_EQ(width, 4);
    EXPECT_EQ(height, 2);
    EXPECT_FALSE(UIImageReadPNGSize(file.data(), 8 + 8 + 12, &width, &height));
    EXPECT_EQ(width, 0);
    EXPECT_EQ(height, 0);
    Header tooWide = { 30001, 2, 8, 0, 0, 0, 0 };
    file = Png(tooWide, {});
    EXPECT_FALSE(UIImageReadPNGSize(file.data(), file.size(), &width, &height));
}

// ---- palettes ----

TEST(PngPalette, a_palette_image_needs_a_PLTE_of_whole_entries_up_to_256) {
    Header header = { 2, 1, 8, 3, 0, 0, 0 };
    Bytes rows = Stored({ 0, 0, 1 });
    EXPECT_EQ(Decode(Png(header, rows)).result, UI_PNG_NO_PALETTE);
    EXPECT_EQ(Decode(Png(header, rows, { Chunk("PLTE", Bytes(768)) })).result, UI_PNG_DECODED);
    EXPECT_EQ(Decode(Png(header, rows, { Chunk("PLTE", Bytes(771)) })).result, UI_PNG_BAD_PALETTE);
    EXPECT_EQ(Decode(Png(header, rows, { Chunk("PLTE", Bytes(7)) })).result, UI_PNG_BAD_PALETTE);
    Bytes palette = Chunk("PLTE", Bytes(6));
    EXPECT_EQ(Decode(Png(header, rows, { palette, Chunk("tRNS", Bytes(256)) })).result,
              UI_PNG_DECODED);
    EXPECT_EQ(Decode(Png(header, rows, { palette, Chunk("tRNS", Bytes(257)) })).result,
              UI_PNG_BAD_PALETTE);
    // A cut-off PLTE is no palette.
    Bytes cut = Png(header, rows, { palette });
    EXPECT_EQ(Decode(cut.data(), 8 + 25 + 8 + 5).result, UI_PNG_NO_PALETTE);
}

TEST(PngPalette, tRNS_sets_the_first_alphas_and_other_entries_are_opaque) {
    // Indices 0 to 3; the palette has three entries, tRNS two.
    Header header = { 4, 1, 2, 3, 0, 0, 0 };
    Bytes rows = Stored({ 0, 0x1B });  // 00 01 10 11
    Bytes palette = Chunk("PLTE", { 0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90 });
    Bytes alpha = Chunk("tRNS", { 0x00, 0x7F });
    const std::vector<uint32_t> expected = { 0x00102030, 0x7F405060, 0xFF708090, 0xFF000000 };
    EXPECT_EQ(Decode(Png(header, rows, { palette, alpha })).pixels, expected);
    // Wherever the chunks stand before IEND, even behind the data.
    Bytes file = SIGNATURE;
    Append(&file, HeaderChunk(header));
    Append(&file, alpha);
    Append(&file, Chunk("IDAT", rows));
    Append(&file, palette);
    Append(&file, Chunk("IEND", {}));
    EXPECT_EQ(Decode(file).pixels, expected);
}

// ---- the zlib stream ----

TEST(PngZlib, only_deflate_with_a_window_up_to_32k_and_no_preset_dictionary_is_accepted) {
    Bytes stream = Stored(Bytes(GREY_4x2_ROWS));
    const struct { uint8_t method, flags; UIPNGResult result; } CASES[] = {
        { 0x78, 0x01, UI_PNG_DECODED },       // 32 KiB window
        { 0x08, 0x1D, UI_PNG_DECODED },       // 256-byte window
        { 0x77, 0x01, UI_PNG_BAD_ZLIB_HEADER },  // method 7
        { 0x88, 0x01, UI_PNG_BAD_ZLIB_HEADER },  // 64 KiB window
        { 0x78, 0x20, UI_PNG_PRESET_DICTIONARY },
    };
    for (const auto &c : CASES) {
        stream[0] = c.method;
        stream[1] = c.flags;
        EXPECT_EQ(Decode(Png(GREY_4x2, stream)).result, c.result) << std::hex << (int)c.method;
    }
}

// ---- inflate ----

TEST(PngInflate, block_type_3_is_refused) {
    BitWriter deflate;
    deflate.BlockHeader(true, 3);
    EXPECT_EQ(DecodeGrey4x2(deflate), UI_PNG_BAD_BLOCK_TYPE);
}

TEST(PngInflate, the_rows_must_come_out_exactly_full) {
    EXPECT_EQ(Decode(Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS - 1)))).result, UI_PNG_OUTPUT_SHORT);
    EXPECT_EQ(Decode(Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS + 1)))).result,
              UI_PNG_OUTPUT_OVERRUN);

    BitWriter extraLiteral;
    extraLiteral.BlockHeader(true, 1);
    for (size_t i = 0; i <= GREY_4x2_ROWS; i++) extraLiteral.FixedLiteral(0);
    EXPECT_EQ(DecodeGrey4x2(extraLiteral), UI_PNG_OUTPUT_OVERRUN);

    BitWriter longCopy;
    longCopy.BlockHeader(true, 1);
    longCopy.FixedLiteral(0);
    longCopy.FixedLiteral(265);  // length 11 + 1 extra bit
    longCopy.Bits(0, 1);
    longCopy.FixedDistance(0);   // distance 1: 1 + 11 bytes, two too many
    longCopy.FixedLiteral(256);
    EXPECT_EQ(DecodeGrey4x2(longCopy), UI_PNG_OUTPUT_OVERRUN);
}

TEST(PngInflate, a_stream_cut_short_by_IEND_or_the_data_is_refused) {
    BitWriter notLast;
    notLast.BlockHeader(false, 1);
    for (size_t i = 0; i < GREY_4x2_ROWS; i++) notLast.FixedLiteral(0);
    notLast.FixedLiteral(256);
    EXPECT_EQ(DecodeGrey4x2(notLast), UI_PNG_DATA_ENDS);

    Bytes file = Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS)));
    EXPECT_EQ(Decode(file.data(), file.size() - 12 - 4 - 4 - 2).result, UI_PNG_DATA_ENDS);
}

TEST(PngInflate, copies_reach_back_to_the_first_byte_but_no_farther) {
    for (uint32_t distance : { 5u, 6u }) {
        BitWriter deflate;
        deflate.BlockHeader(true, 1);
        for (uint32_t i = 0; i < 5; i++) deflate.FixedLiteral(i ? 10 * i : 0);
        deflate.FixedLiteral(257 + 2);  // length 5
        deflate.FixedDistance(4);       // distances 5 and 6, one extra bit
        deflate.Bits(distance - 5, 1);
        deflate.FixedLiteral(256);
        Decoded decoded = Decode(Png(GREY_4x2, Zlib(deflate.bytes)));
        if (distance == 5) {
            const std::vector<uint32_t> expected = { 0xFF0A0A0A, 0xFF141414, 0xFF1E1E1E, 0xFF282828,
                                                     0xFF0A0A0A, 0xFF141414, 0xFF1E1E1E, 0xFF282828 };
            EXPECT_EQ(decoded.pixels, expected);
        } else {
            EXPECT_EQ(decoded.result, UI_PNG_BAD_DISTANCE);
        }
    }
}

TEST(PngInflate, length_symbols_286_287_and_distance_symbols_30_31_are_refused) {
    for (uint32_t symbol : { 286u, 287u }) {
        BitWriter deflate;
        deflate.BlockHeader(true, 1);
        deflate.FixedLiteral(0);
        deflate.FixedLiteral(symbol);
        EXPECT_EQ(DecodeGrey4x2(deflate), UI_PNG_BAD_LENGTH_SYMBOL);
    }
    for (uint32_t symbol : { 30u, 31u }) {
        BitWriter deflate;
        deflate.BlockHeader(true, 1);
        deflate.FixedLiteral(0);
        deflate.FixedLiteral(0);
        deflate.FixedLiteral(257);
        deflate.FixedDistance(symbol);
        EXPECT_EQ(DecodeGrey4x2(deflate), UI_PNG_BAD_DISTANCE);
    }
}

TEST(PngInflate, over_subscribed_codes_are_refused) {
    // Four code length codes of one bit.
    BitWriter lengthCode;
    lengthCode.BlockHeader(true, 2);
    lengthCode.Bits(0, 5);
    lengthCode.Bits(0, 5);
    lengthCode.Bits(0, 4);
    for (int32_t i = 0; i < 4; i++) lengthCode.Bits(1, 3);
    EXPECT_EQ(DecodeGrey4x2(lengthCode), UI_PNG_OVERSUBSCRIBED_CODE);

    // Three literals of one bit.
    BitWriter literals;
    literals.DynamicHeader(true, 257, 1);
    for (int32_t i = 0; i < 3; i++) literals.CodeLength(1);
    literals.CodeLength(18, 127, 7);  // 138 zeros
    literals.CodeLength(18, 105, 7);  // 116 zeros, to the last literal
    literals.CodeLength(1);           // the one distance code
    EXPECT_EQ(DecodeGrey4x2(literals), UI_PNG_OVERSUBSCRIBED_CODE);
}

TEST(PngInflate, code_length_runs_must_follow_a_length_and_stay_within_the_count) {
    BitWriter repeatFirst;
    repeatFirst.DynamicHeader(true, 257, 1);
    repeatFirst.CodeLength(16, 0, 2);
    EXPECT_EQ(DecodeGrey4x2(repeatFirst), UI_PNG_REPEAT_WITHOUT_LENGTH);

    BitWriter overrun;  // 257 + 1 lengths, 138 + 121 zeros
    overrun.DynamicHeader(true, 257, 1);
    overrun.CodeLength(18, 127, 7);
    overrun.CodeLength(18, 110, 7);
    EXPECT_EQ(DecodeGrey4x2(overrun), UI_PNG_LENGTHS_OVERRUN);
}

TEST(PngInflate, bits_that_are_no_code_of_an_incomplete_table_are_refused) {
    // Literal 0 is "0", end of block "10"; "11..." is no code.
    BitWriter deflate;
    deflate.DynamicHeader(true, 257, 1);
    deflate.CodeLength(1);
    deflate.CodeLength(18, 127, 7);
    deflate.CodeLength(18, 255 - 138 - 11, 7);
    deflate.CodeLength(2);
    deflate.CodeLength(1);
    deflate.Code(0, 1);
    deflate.Bits(0xFFFF, 16);
    EXPECT_EQ(DecodeGrey4x2(deflate), UI_PNG_BAD_CODE);
}

// ---- row filters ----

TEST(PngFilters, a_filter_byte_of_5_or_more_in_any_row_is_refused) {
    for (uint8_t filter : { 4, 5, 6, 255 }) {
        Bytes rows(GREY_4x2_ROWS);
        rows[5] = filter;  // the second row's
        EXPECT_EQ(Decode(Png(GREY_4x2, Stored(rows))).result,
                  filter <= 4 ? UI_PNG_DECODED : UI_PNG_BAD_FILTER)
            << (int)filter;
    }
}

// ---- truncation ----

// The file position of the last byte of deflate data: the zlib stream's fifth
// byte from the end, the Adler checksum being the last four.
size_t LastDeflateByte(const Bytes &file) {
    std::vector<size_t> positions;
    size_t position = 8;
    while (position + 8 <= file.size()) {
        size_t length = (size_t)file[position] << 24 | file[position + 1] << 16 |
                        file[position + 2] << 8 | file[position + 3];
        if (memcmp(&file[position + 4], "IDAT", 4) == 0) {
            for (size_t i = 0; i < length; i++) positions.push_back(position + 8 + i);
        }
        position += 12 + length;
    }
    return positions.at(positions.size() - 5);
}

TEST(PngTruncation, a_file_cut_anywhere_before_its_last_deflate_byte_is_refused) {
    for (const char *name : { "py_split_idat", "py_stored_blocks", "im_palette4", "py_handmade_deflate" }) {
        SCOPED_TRACE(name);
        Bytes file = ReadFile(CorpusDirectory() + name + ".png");
        ASSERT_FALSE(file.empty());
        std::vector<uint32_t> whole = Decode(file).pixels;
        size_t last = LastDeflateByte(file);
        for (size_t size = 0; size < file.size(); size++) {
            Decoded decoded = Decode(file.data(), size);
            if (size <= last) {
                ASSERT_NE(decoded.result, UI_PNG_DECODED) << "cut to " << size;
            } else {
                // The checksum and IEND are not needed.
                ASSERT_EQ(decoded.pixels, whole) << "cut to " << size;
            }
        }
    }
}
