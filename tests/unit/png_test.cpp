// The PNG decoder: real encoders' files against reference pixels, the
// refusals, truncation, and the memory a decode leaves behind.
#include <glob.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "tests/support/png_files.h"
#include "toolkit/png.h"

namespace {

std::string CorpusDirectory() {
    std::string file = __FILE__;
    return file.substr(0, file.rfind('/')) + "/../png/";
}

Bytes ReadCorpusFile(const std::string &name) {
    std::ifstream file(CorpusDirectory() + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

int32_t liveBlocks;
void *CountedAllocate(size_t size) { return liveBlocks++, malloc(size); }
void CountedFree(void *pointer) { liveBlocks -= pointer != nullptr, free(pointer); }

struct Decoded {
    UIPNGResult result;
    int32_t width, height;
    std::vector<uint32_t> pixels;
};

// Decodes from a heap block of exactly the file's size (so AddressSanitizer
// sees over-reads); a refusal must leave nothing allocated, a decode only the pixels.
Decoded Decode(const uint8_t *file, size_t size) {
    uint8_t *copy = (uint8_t *)malloc(size ? size : 1);
    if (size) memcpy(copy, file, size);
    liveBlocks = 0;
    Decoded decoded = {};
    uint32_t *pixels = (uint32_t *)1;
    decoded.result =
        UIPNGDecode(copy, size, &pixels, &decoded.width, &decoded.height, CountedAllocate, CountedFree);
    free(copy);
    if (decoded.result == UI_PNG_DECODED) {
        EXPECT_EQ(liveBlocks, 1);
        decoded.pixels.assign(pixels, pixels + (size_t)decoded.width * decoded.height);
        CountedFree(pixels);
    } else {
        EXPECT_EQ(liveBlocks, 0);
        EXPECT_EQ(pixels, nullptr);
        EXPECT_EQ(std::make_pair(decoded.width, decoded.height), std::make_pair(0, 0));
    }
    return decoded;
}

Decoded Decode(const Bytes &file) { return Decode(file.data(), file.size()); }

// Deflate bits least significant first; Huffman codes most significant first.
struct BitWriter {
    Bytes bytes;
    int32_t used = 8;

    void Bits(uint32_t value, int32_t count) {
        for (int32_t i = 0; i < count; i++) {
            if (used == 8) bytes.push_back(0), used = 0;
            bytes.back() |= (uint8_t)((value >> i & 1) << used++);
        }
    }
    void Code(uint32_t code, int32_t length) {
        for (int32_t i = length - 1; i >= 0; i--) Bits(code >> i & 1, 1);
    }
    void BlockHeader(bool last, uint32_t type) { Bits(last, 1), Bits(type, 2); }
    void FixedLiteral(uint32_t symbol) {
        if (symbol < 144) Code(0x30 + symbol, 8);
        else if (symbol < 256) Code(0x190 + symbol - 144, 9);
        else if (symbol < 280) Code(symbol - 256, 7);
        else Code(0xC0 + symbol - 280, 8);
    }
    void FixedDistance(uint32_t symbol) { Code(symbol, 5); }
};

BitWriter Fixed(const std::vector<uint32_t> &symbols, bool last = true) {
    BitWriter deflate;
    deflate.BlockHeader(last, 1);
    for (uint32_t symbol : symbols) deflate.FixedLiteral(symbol);
    return deflate;
}

// A grey image of 4 by 2: its rows are 2 times (filter byte + 4 bytes).
const PngHeader GREY_4x2 = {4, 2, 8, 0, 0, 0, 0};
const size_t GREY_4x2_ROWS = 10;

UIPNGResult DecodeGrey4x2(const BitWriter &deflate) {
    return Decode(Png(GREY_4x2, Zlib(deflate.bytes))).result;
}

uint32_t Argb(const uint8_t *rgba) {
    return (uint32_t)rgba[3] << 24 | (uint32_t)rgba[0] << 16 | (uint32_t)rgba[1] << 8 | rgba[2];
}

// The file position of the last deflate byte: the fifth from the end of the
// IDAT data, the Adler checksum being the last four.
size_t LastDeflateByte(const Bytes &file) {
    std::vector<size_t> positions;
    for (size_t at = 8; at + 8 <= file.size();) {
        size_t length = (size_t)file[at] << 24 | file[at + 1] << 16 | file[at + 2] << 8 | file[at + 3];
        if (memcmp(&file[at + 4], "IDAT", 4) == 0)
            for (size_t i = 0; i < length; i++) positions.push_back(at + 8 + i);
        at += 12 + length;
    }
    return positions.at(positions.size() - 5);
}

}  // namespace

TEST(PngCorpus, every_file_decodes_to_its_reference_pixels) {
    glob_t found = {};
    glob((CorpusDirectory() + "*.png").c_str(), 0, nullptr, &found);
    std::vector<std::string> paths(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    globfree(&found);
    ASSERT_GE(paths.size(), 20u) << "corpus missing from " << CorpusDirectory();
    for (const std::string &path : paths) {
        SCOPED_TRACE(path);
        std::string name = path.substr(CorpusDirectory().size(), path.size() - CorpusDirectory().size() - 4);
        Bytes file = ReadCorpusFile(name + ".png"), reference = ReadCorpusFile(name + ".rgba");
        Decoded decoded = Decode(file);
        ASSERT_EQ(decoded.result, UI_PNG_DECODED);
        ASSERT_EQ(reference.size(), decoded.pixels.size() * 4);
        size_t wrong = 0;
        for (size_t i = 0; i < decoded.pixels.size(); i++) wrong += decoded.pixels[i] != Argb(&reference[4 * i]);
        EXPECT_EQ(wrong, 0u);
    }
}

TEST(PngCorpus, a_file_cut_anywhere_before_its_last_deflate_byte_is_refused) {
    for (const char *name : {"py_split_idat", "py_handmade_deflate"}) {
        SCOPED_TRACE(name);
        Bytes file = ReadCorpusFile(std::string(name) + ".png");
        ASSERT_FALSE(file.empty());
        std::vector<uint32_t> whole = Decode(file).pixels;
        size_t last = LastDeflateByte(file);
        for (size_t size = 0; size < file.size(); size++) {
            Decoded decoded = Decode(file.data(), size);
            if (size <= last) ASSERT_NE(decoded.result, UI_PNG_DECODED) << "cut to " << size;
            else ASSERT_EQ(decoded.pixels, whole) << "cut to " << size;   // checksum and IEND unneeded
        }
    }
}

TEST(PngHeader, signature_header_sides_pixel_kinds_and_methods_outside_the_accepted_set_are_refused) {
    Bytes good = Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS)));
    EXPECT_EQ(Decode(good.data(), 7).result, UI_PNG_NO_SIGNATURE);
    EXPECT_EQ(Decode(good.data(), 8 + 8 + 12).result, UI_PNG_NO_HEADER);
    const struct { size_t at; uint8_t value; UIPNGResult result; } CHANGES[] = {
        {12, 'i', UI_PNG_NO_HEADER}, {26, 1, UI_PNG_UNKNOWN_METHOD}, {28, 1, UI_PNG_INTERLACED},
    };
    for (const auto &change : CHANGES) {
        Bytes file = good;
        file[change.at] = change.value;
        EXPECT_EQ(Decode(file).result, change.result) << change.at;
    }
    for (uint32_t side : {0u, 30000u, 30001u}) {
        bool accepted = side == 30000;
        Bytes wide = Png({side, 1, 8, 0, 0, 0, 0}, Stored(Bytes(accepted ? side + 1 : 1)));
        EXPECT_EQ(Decode(wide).result, accepted ? UI_PNG_DECODED : UI_PNG_BAD_DIMENSIONS) << side;
    }
    // Only 8-bit grey, RGB and RGBA, and palettes (the corpus has those): not
    // 16-bit grey nor grey with alpha, whatever the rows hold.
    EXPECT_EQ(Decode(Png({3, 2, 16, 0, 0, 0, 0}, Stored(Bytes(14)))).result, UI_PNG_UNSUPPORTED_PIXELS);
    EXPECT_EQ(Decode(Png({3, 2, 8, 4, 0, 0, 0}, Stored(Bytes(14)))).result, UI_PNG_UNSUPPORTED_PIXELS);
}

TEST(PngPalette, plte_sizes_and_trns_alphas_wherever_they_stand) {
    PngHeader eight = {2, 1, 8, 3, 0, 0, 0};
    Bytes rows = Stored({0, 0, 1});
    EXPECT_EQ(Decode(Png(eight, rows)).result, UI_PNG_NO_PALETTE);
    EXPECT_EQ(Decode(Png(eight, rows, {Chunk("PLTE", Bytes(768))})).result, UI_PNG_DECODED);
    EXPECT_EQ(Decode(Png(eight, rows, {Chunk("PLTE", Bytes(771))})).result, UI_PNG_BAD_PALETTE);

    // Indices 0 to 3 at 2 bits; three entries, two alphas: the rest opaque,
    // the index past the palette opaque black; tRNS may come before PLTE.
    PngHeader two = {4, 1, 2, 3, 0, 0, 0};
    Bytes palette = Chunk("PLTE", {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90});
    Bytes alpha = Chunk("tRNS", {0x00, 0x7F}), data = Stored({0, 0x1B});
    const std::vector<uint32_t> expected = {0x00102030, 0x7F405060, 0xFF708090, 0xFF000000};
    EXPECT_EQ(Decode(Png(two, data, {alpha, palette})).pixels, expected);
}

TEST(PngInflate, malformed_streams_and_filters_are_refused_by_name) {
    Bytes stream = Stored(Bytes(GREY_4x2_ROWS));
    stream[0] = 0x88, stream[1] = 0x01;   // a 64 KiB window
    EXPECT_EQ(Decode(Png(GREY_4x2, stream)).result, UI_PNG_BAD_ZLIB_HEADER);
    stream[0] = 0x78, stream[1] = 0x20;
    EXPECT_EQ(Decode(Png(GREY_4x2, stream)).result, UI_PNG_PRESET_DICTIONARY);
    BitWriter type3;
    type3.BlockHeader(true, 3);
    EXPECT_EQ(DecodeGrey4x2(type3), UI_PNG_BAD_BLOCK_TYPE);

    // The rows must come out exactly full, from a last block.
    EXPECT_EQ(Decode(Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS - 1)))).result, UI_PNG_OUTPUT_SHORT);
    EXPECT_EQ(Decode(Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS + 1)))).result, UI_PNG_OUTPUT_OVERRUN);
    std::vector<uint32_t> rows(GREY_4x2_ROWS + 1, 0);
    rows.back() = 256;   // the rows, then the end of a block that is not the last
    EXPECT_EQ(DecodeGrey4x2(Fixed(rows, false)), UI_PNG_DATA_ENDS);
    BitWriter longCopy = Fixed({0, 265});   // length 11 at distance 1: two bytes too many
    longCopy.Bits(0, 1), longCopy.FixedDistance(0), longCopy.FixedLiteral(256);
    EXPECT_EQ(DecodeGrey4x2(longCopy), UI_PNG_OUTPUT_OVERRUN);
    BitWriter farCopy = Fixed({0, 10, 20, 30, 40, 259});   // length 5 at distance 6: before the first byte
    farCopy.FixedDistance(4), farCopy.Bits(1, 1), farCopy.FixedLiteral(256);
    EXPECT_EQ(DecodeGrey4x2(farCopy), UI_PNG_BAD_DISTANCE);
    EXPECT_EQ(DecodeGrey4x2(Fixed({0, 286})), UI_PNG_BAD_LENGTH_SYMBOL);
    BitWriter lengthCode;   // a dynamic block of four code length codes of one bit
    lengthCode.BlockHeader(true, 2);
    lengthCode.Bits(0, 5), lengthCode.Bits(0, 5), lengthCode.Bits(0, 4);
    for (int32_t i = 0; i < 4; i++) lengthCode.Bits(1, 3);
    EXPECT_EQ(DecodeGrey4x2(lengthCode), UI_PNG_OVERSUBSCRIBED_CODE);
    Bytes filtered(GREY_4x2_ROWS);
    filtered[5] = 5;   // the second row's filter, one past Paeth (the corpus has all five)
    EXPECT_EQ(Decode(Png(GREY_4x2, Stored(filtered))).result, UI_PNG_BAD_FILTER);
}
