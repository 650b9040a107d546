// The PNG decoder of the skin images, with its own inflate. It takes what a
// designer's export tool writes and refuses everything else; a refusal leaves
// nothing allocated. Chunk CRCs and the zlib Adler checksum are not read.
//
// Accepted: non-interlaced files of 1 to 30,000 pixels each way, with
// compression and filter method 0, and one of
//     colour type 0 (grey)        bit depth 8
//     colour type 2 (RGB)         bit depth 8
//     colour type 6 (RGBA)        bit depth 8
//     colour type 3 (palette)     bit depth 1, 2, 4 or 8, with a "PLTE"
// Refused among others: 16-bit samples, grey with alpha, Adam7 interlace.
//
// Pixels come out as 0xAARRGGBB, row by row from the top, with the alpha as
// the file has it (not premultiplied). Grey is g * 0x010101 with alpha 255.
// A palette's "tRNS" gives the alpha of its first entries; every other entry
// has alpha 255, and an index past the palette reads opaque black. The "tRNS"
// of a grey or RGB file is not applied: such files come out opaque.
#pragma once
#include <stddef.h>
#include <stdint.h>

enum {
    UI_PNG_MAX_SIDE = 30000,         // pixels, width and height alike
    UI_PNG_TABLE_ENTRIES = 32768,    // each of the two Huffman tables of the scratch block
};

// What became of a file: decoded, or the reason it was refused.
enum UIPNGResult {
    UI_PNG_DECODED = 0,
    // the file
    UI_PNG_NO_SIGNATURE,         // not the eight bytes every PNG begins with
    UI_PNG_NO_HEADER,            // the first chunk is not a whole "IHDR" of 13 bytes or more
    UI_PNG_BAD_DIMENSIONS,       // a side of 0 or over UI_PNG_MAX_SIDE
    UI_PNG_UNKNOWN_METHOD,       // compression or filter method other than 0
    UI_PNG_INTERLACED,           // Adam7
    UI_PNG_UNSUPPORTED_PIXELS,   // a colour type and bit depth outside the accepted set
    UI_PNG_BAD_PALETTE,          // "PLTE" not a multiple of 3 or over 256 entries; "tRNS" over 256
    UI_PNG_NO_PALETTE,           // colour type 3 without a "PLTE"
    UI_PNG_DATA_ENDS,            // "IEND" or the end of the data came before the image did
    // the zlib stream
    UI_PNG_BAD_ZLIB_HEADER,      // not deflate, or a window over 32 KiB
    UI_PNG_PRESET_DICTIONARY,
    // deflate
    UI_PNG_BAD_BLOCK_TYPE,       // block type 3
    UI_PNG_OVERSUBSCRIBED_CODE,  // code lengths that promise more codes than bits allow
    UI_PNG_BAD_CODE,             // bits that are no code of the table in use
    UI_PNG_REPEAT_WITHOUT_LENGTH,// code length symbol 16 before any length
    UI_PNG_LENGTHS_OVERRUN,      // a run of code lengths past HLIT + HDIST
    UI_PNG_BAD_LENGTH_SYMBOL,    // literal/length symbol 286 or 287
    UI_PNG_BAD_DISTANCE,         // distance symbol 30 or 31, or farther back than the output goes
    UI_PNG_OUTPUT_OVERRUN,       // more bytes than the image's rows hold
    UI_PNG_OUTPUT_SHORT,         // the last block ended before the rows were complete
    // the rows
    UI_PNG_BAD_FILTER,           // a row's filter byte is 5 or more
};

typedef void *(*UIAllocateFunction)(size_t size);
typedef void (*UIFreeFunction)(void *pointer);

// Decodes a whole PNG file. On success *pixels is a block of width * height
// colours made by allocate, for the caller to release; the scratch memory
// (the inflated rows and two tables of UI_PNG_TABLE_ENTRIES u32) is taken
// from allocate as well and given back to release before returning. On a
// refusal nothing is left allocated, *pixels is null and the sizes are 0.
UIPNGResult UIPNGDecode(const uint8_t *bytes, size_t size, uint32_t **pixels, int32_t *width,
                        int32_t *height, UIAllocateFunction allocate, UIFreeFunction release);

// UIPNGDecode, answering only whether the file was decoded.
bool UIImageDecodePNG(const uint8_t *bytes, size_t size, uint32_t **pixels, int32_t *width,
                      int32_t *height, UIAllocateFunction allocate, UIFreeFunction release);

// Reads the signature and the "IHDR" chunk only: true, with the size, when
// both are whole and the size is one the decoder accepts; else false and 0.
bool UIImageReadPNGSize(const uint8_t *bytes, size_t size, int32_t *width, int32_t *height);
