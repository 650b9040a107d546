// The PNG decoder: files made by real encoders decoded pixel for pixel
// against their references, the accepted set and every refusal, truncation at
// every byte, and the memory a decode leaves behind.
#include <dirent.h>
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

// Decodes from a heap block of exactly the file's size, so that a read past
// the end is an AddressSanitizer report; checks that a refusal leaves nothing
// allocated and a decode nothing but the pixels.
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
        EXPECT_EQ(liveBlocks, 1) << "a decode leaves the pixels only";
        decoded.pixels.assign(pixels, pixels + (size_t)decoded.width * decoded.height);
        CountedFree(pixels);
    } else {
        EXPECT_EQ(liveBlocks, 0) << "a refusal leaves nothing allocated";
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
    // Symbols of the fixed literal/length code and the fixed distance code.
    void FixedLiteral(uint32_t symbol) {
        if (symbol < 144) Code(0x30 + symbol, 8);
        else if (symbol < 256) Code(0x190 + symbol - 144, 9);
        else if (symbol < 280) Code(symbol - 256, 7);
        else Code(0xC0 + symbol - 280, 8);
    }
    void FixedDistance(uint32_t symbol) { Code(symbol, 5); }
    void CodeLength(uint32_t symbol, uint32_t extra = 0, int32_t extraBits = 0) {
        Code(symbol, 5), Bits(extra, extraBits);
    }
};

// A block of the fixed codes holding these literal/length symbols.
BitWriter Fixed(const std::vector<uint32_t> &symbols, bool last = true) {
    BitWriter deflate;
    deflate.BlockHeader(last, 1);
    for (uint32_t symbol : symbols) deflate.FixedLiteral(symbol);
    return deflate;
}

// The head of a last dynamic block of 257 literal/length and one distance
// code, whose code length code gives all 19 symbols 5 bits, so that each
// one's code is its own number; the code lengths are to follow.
BitWriter Dynamic() {
    BitWriter deflate;
    deflate.BlockHeader(true, 2);
    deflate.Bits(0, 5), deflate.Bits(0, 5), deflate.Bits(19 - 4, 4);
    for (int32_t i = 0; i < 19; i++) deflate.Bits(5, 3);
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

// The file position of the last byte of deflate data: the zlib stream's fifth
// byte from the end, the Adler checksum being the last four.
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
    std::vector<std::string> names;
    if (DIR *directory = opendir(CorpusDirectory().c_str())) {
        while (dirent *entry = readdir(directory)) {
            std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".png") == 0)
                names.push_back(name.substr(0, name.size() - 4));
        }
        closedir(directory);
    }
    ASSERT_GE(names.size(), 20u) << "corpus missing from " << CorpusDirectory();
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        Bytes file = ReadCorpusFile(name + ".png"), reference = ReadCorpusFile(name + ".rgba");
        Decoded decoded = Decode(file);
        ASSERT_EQ(decoded.result, UI_PNG_DECODED);
        ASSERT_EQ(reference.size(), decoded.pixels.size() * 4);
        size_t wrong = 0, first = 0;
        for (size_t i = 0; i < decoded.pixels.size(); i++)
            if (decoded.pixels[i] != Argb(&reference[4 * i]) && !wrong++) first = i;
        EXPECT_EQ(wrong, 0u) << "first at x " << first % decoded.width << ", y " << first / decoded.width;
    }
}

TEST(PngCorpus, a_file_cut_anywhere_before_its_last_deflate_byte_is_refused) {
    for (const char *name : {"py_split_idat", "py_stored_blocks", "im_palette4", "py_handmade_deflate"}) {
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

TEST(PngHeader, signature_ihdr_sides_pixel_kinds_and_methods_outside_the_accepted_set_are_refused) {
    Bytes good = Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS)));
    EXPECT_EQ(Decode(good.data(), 7).result, UI_PNG_NO_SIGNATURE);
    EXPECT_EQ(Decode(good.data(), 8 + 8 + 12).result, UI_PNG_NO_HEADER);
    const struct { size_t at; uint8_t value; UIPNGResult result; } CHANGES[] = {
        {1, 'p', UI_PNG_NO_SIGNATURE}, {12, 'i', UI_PNG_NO_HEADER} /* "iHDR" */,
        {11, 12, UI_PNG_NO_HEADER} /* a length of 12 */, {26, 1, UI_PNG_UNKNOWN_METHOD},
        {27, 1, UI_PNG_UNKNOWN_METHOD}, {28, 1, UI_PNG_INTERLACED},
    };
    for (const auto &change : CHANGES) {
        Bytes file = good;
        file[change.at] = change.value;
        EXPECT_EQ(Decode(file).result, change.result) << change.at;
    }
    // A longer header is read for its first 13 bytes and stepped over.
    Bytes longer = PNG_SIGNATURE, payload(good.begin() + 16, good.begin() + 29);
    payload.resize(20, 0xEE);
    Append(&longer, Chunk("IHDR", payload));
    Append(&longer, Chunk("IDAT", Stored(Bytes(GREY_4x2_ROWS))));
    EXPECT_EQ(Decode(longer).result, UI_PNG_DECODED);
    int32_t width = -1, height = -1;
    EXPECT_FALSE(UIImageReadPNGSize(good.data(), 8 + 8 + 12, &width, &height));
    EXPECT_EQ(std::make_pair(width, height), std::make_pair(0, 0));

    for (uint32_t side : {0u, 1u, 30000u, 30001u, 0x80000000u}) {
        bool accepted = side >= 1 && side <= 30000;
        UIPNGResult expected = accepted ? UI_PNG_DECODED : UI_PNG_BAD_DIMENSIONS;
        Bytes wide = Png({side, 1, 8, 0, 0, 0, 0}, Stored(Bytes(accepted ? side + 1 : 1)));
        EXPECT_EQ(Decode(wide).result, expected) << side;
        EXPECT_EQ(Decode(Png({1, side, 8, 0, 0, 0, 0}, Stored(Bytes(accepted ? 2 * side : 1)))).result,
                  expected) << side;
        EXPECT_EQ(UIImageReadPNGSize(wide.data(), wide.size(), &width, &height), accepted) << side;
    }

    // Only 8-bit grey, RGB and RGBA, and palettes of 1 to 8 bits.
    const std::vector<Bytes> palette = {Chunk("PLTE", Bytes(3 * 256, 0x40))};
    for (uint8_t colourType = 0; colourType <= 8; colourType++) {
        for (uint8_t depth : {0, 1, 2, 3, 4, 8, 16}) {
            bool accepted = ((colourType == 0 || colourType == 2 || colourType == 6) && depth == 8) ||
                            (colourType == 3 && (depth == 1 || depth == 2 || depth == 4 || depth == 8));
            int32_t channels = colourType == 2 ? 3 : colourType == 6 ? 4 : colourType == 4 ? 2 : 1;
            size_t stride = (3 * depth * channels + 7) / 8;
            Bytes file = Png({3, 2, depth, colourType, 0, 0, 0}, Stored(Bytes(2 * (stride + 1))), palette);
            EXPECT_EQ(Decode(file).result, accepted ? UI_PNG_DECODED : UI_PNG_UNSUPPORTED_PIXELS)
                << "colour type " << (int)colourType << ", depth " << (int)depth;
        }
    }
}

TEST(PngPalette, plte_of_whole_entries_up_to_256_and_trns_alphas_wherever_they_stand) {
    PngHeader eight = {2, 1, 8, 3, 0, 0, 0};
    Bytes rows = Stored({0, 0, 1}), three = Chunk("PLTE", Bytes(6));
    EXPECT_EQ(Decode(Png(eight, rows)).result, UI_PNG_NO_PALETTE);
    const struct { Bytes plte, trns; UIPNGResult result; } CASES[] = {
        {Bytes(768), {}, UI_PNG_DECODED},     {Bytes(771), {}, UI_PNG_BAD_PALETTE},
        {Bytes(7), {}, UI_PNG_BAD_PALETTE},   {Bytes(6), Bytes(256), UI_PNG_DECODED},
        {Bytes(6), Bytes(257), UI_PNG_BAD_PALETTE},
    };
    for (const auto &c : CASES) {
        std::vector<Bytes> chunks = {Chunk("PLTE", c.plte)};
        if (!c.trns.empty()) chunks.push_back(Chunk("tRNS", c.trns));
        EXPECT_EQ(Decode(Png(eight, rows, chunks)).result, c.result) << c.plte.size() << ", " << c.trns.size();
    }
    Bytes cut = Png(eight, rows, {three});   // a cut-off PLTE is no palette
    EXPECT_EQ(Decode(cut.data(), 8 + 25 + 8 + 5).result, UI_PNG_NO_PALETTE);

    // Indices 0 to 3 at 2 bits; three entries, two alphas: the rest opaque,
    // the index past the palette opaque black. The chunks may follow the data.
    PngHeader two = {4, 1, 2, 3, 0, 0, 0};
    Bytes palette = Chunk("PLTE", {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90});
    Bytes alpha = Chunk("tRNS", {0x00, 0x7F}), data = Stored({0, 0x1B});
    const std::vector<uint32_t> expected = {0x00102030, 0x7F405060, 0xFF708090, 0xFF000000};
    EXPECT_EQ(Decode(Png(two, data, {palette, alpha})).pixels, expected);
    Bytes file = PNG_SIGNATURE;
    for (const Bytes &chunk : {HeaderChunk(two), alpha, Chunk("IDAT", data), palette, Chunk("IEND", {})})
        Append(&file, chunk);
    EXPECT_EQ(Decode(file).pixels, expected);
}

TEST(PngInflate, every_malformed_stream_and_filter_is_refused_by_name) {
    auto withZlibHeader = [](uint8_t method, uint8_t flags) {
        Bytes stream = Stored(Bytes(GREY_4x2_ROWS));
        stream[0] = method, stream[1] = flags;
        return Decode(Png(GREY_4x2, stream)).result;
    };
    EXPECT_EQ(withZlibHeader(0x08, 0x1D), UI_PNG_DECODED);           // a 256-byte window
    EXPECT_EQ(withZlibHeader(0x77, 0x01), UI_PNG_BAD_ZLIB_HEADER);   // method 7
    EXPECT_EQ(withZlibHeader(0x88, 0x01), UI_PNG_BAD_ZLIB_HEADER);   // a 64 KiB window
    EXPECT_EQ(withZlibHeader(0x78, 0x20), UI_PNG_PRESET_DICTIONARY);
    BitWriter type3;
    type3.BlockHeader(true, 3);
    EXPECT_EQ(DecodeGrey4x2(type3), UI_PNG_BAD_BLOCK_TYPE);

    // The rows must come out exactly full, from a last block.
    EXPECT_EQ(Decode(Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS - 1)))).result, UI_PNG_OUTPUT_SHORT);
    EXPECT_EQ(Decode(Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS + 1)))).result, UI_PNG_OUTPUT_OVERRUN);
    std::vector<uint32_t> zeros(GREY_4x2_ROWS + 1, 0);   // one literal too many
    EXPECT_EQ(DecodeGrey4x2(Fixed(zeros)), UI_PNG_OUTPUT_OVERRUN);
    zeros.back() = 256;   // the rows, then the end of a block that is not the last
    EXPECT_EQ(DecodeGrey4x2(Fixed(zeros, false)), UI_PNG_DATA_ENDS);
    Bytes stored = Png(GREY_4x2, Stored(Bytes(GREY_4x2_ROWS)));
    EXPECT_EQ(Decode(stored.data(), stored.size() - 12 - 4 - 4 - 2).result, UI_PNG_DATA_ENDS);
    BitWriter longCopy = Fixed({0, 265});   // length 11 at distance 1: two bytes too many
    longCopy.Bits(0, 1), longCopy.FixedDistance(0), longCopy.FixedLiteral(256);
    EXPECT_EQ(DecodeGrey4x2(longCopy), UI_PNG_OUTPUT_OVERRUN);

    for (uint32_t symbol : {286u, 287u}) EXPECT_EQ(DecodeGrey4x2(Fixed({0, symbol})), UI_PNG_BAD_LENGTH_SYMBOL);
    for (uint32_t symbol : {30u, 31u}) {
        BitWriter deflate = Fixed({0, 0, 257});
        deflate.FixedDistance(symbol);
        EXPECT_EQ(DecodeGrey4x2(deflate), UI_PNG_BAD_DISTANCE) << symbol;
    }

    BitWriter lengthCode;   // four code length codes of one bit
    lengthCode.BlockHeader(true, 2);
    lengthCode.Bits(0, 5), lengthCode.Bits(0, 5), lengthCode.Bits(0, 4);
    for (int32_t i = 0; i < 4; i++) lengthCode.Bits(1, 3);
    EXPECT_EQ(DecodeGrey4x2(lengthCode), UI_PNG_OVERSUBSCRIBED_CODE);
    BitWriter literals = Dynamic();   // three literals of one bit
    for (int32_t i = 0; i < 3; i++) literals.CodeLength(1);
    literals.CodeLength(18, 127, 7), literals.CodeLength(18, 105, 7);   // zeros to the last literal
    literals.CodeLength(1);                                              // the one distance code
    EXPECT_EQ(DecodeGrey4x2(literals), UI_PNG_OVERSUBSCRIBED_CODE);
    BitWriter repeatFirst = Dynamic(), overrun = Dynamic(), noCode = Dynamic();
    repeatFirst.CodeLength(16, 0, 2);
    EXPECT_EQ(DecodeGrey4x2(repeatFirst), UI_PNG_REPEAT_WITHOUT_LENGTH);
    overrun.CodeLength(18, 127, 7), overrun.CodeLength(18, 110, 7);   // 138 + 121 zeros of 258
    EXPECT_EQ(DecodeGrey4x2(overrun), UI_PNG_LENGTHS_OVERRUN);
    // Literal 0 is "0", end of block "10"; "11..." is no code.
    noCode.CodeLength(1), noCode.CodeLength(18, 127, 7), noCode.CodeLength(18, 255 - 138 - 11, 7);
    noCode.CodeLength(2), noCode.CodeLength(1);
    noCode.Code(0, 1), noCode.Bits(0xFFFF, 16);
    EXPECT_EQ(DecodeGrey4x2(noCode), UI_PNG_BAD_CODE);

    for (uint8_t filter : {4, 5, 6, 255}) {
        Bytes rows(GREY_4x2_ROWS);
        rows[5] = filter;   // the second row's
        EXPECT_EQ(Decode(Png(GREY_4x2, Stored(rows))).result,
                  filter <= 4 ? UI_PNG_DECODED : UI_PNG_BAD_FILTER) << (int)filter;
    }
}

TEST(PngInflate, copies_reach_back_to_the_first_byte_but_no_farther) {
    // Literals 0, 10, 20, 30, 40, then length 5 at distance 5 or 6 (symbol 4,
    // one extra bit): the first row's four pixels again, or one byte too far.
    for (uint32_t distance : {5u, 6u}) {
        BitWriter deflate = Fixed({0, 10, 20, 30, 40, 257 + 2});
        deflate.FixedDistance(4), deflate.Bits(distance - 5, 1), deflate.FixedLiteral(256);
        Decoded decoded = Decode(Png(GREY_4x2, Zlib(deflate.bytes)));
        const std::vector<uint32_t> rows = {0xFF0A0A0A, 0xFF141414, 0xFF1E1E1E, 0xFF282828,
                                            0xFF0A0A0A, 0xFF141414, 0xFF1E1E1E, 0xFF282828};
        EXPECT_EQ(decoded.result, distance == 5 ? UI_PNG_DECODED : UI_PNG_BAD_DISTANCE);
        EXPECT_EQ(decoded.pixels, distance == 5 ? rows : std::vector<uint32_t>());
    }
}
