// lathemoor-fontbake FONT.ttf OUT.dat
//
// Bakes one typeface into the read-only blob the toolkit draws text from:
// codes 32 to 127 at each size of SIZES, as 8-bit coverage bitmaps.
//
// Layout of the blob (every number a little-endian i32, offsets from the
// start of the file):
//   size table    rows of {size, lineHeight, glyphTable, boxHeight}, ended by
//                 a row of four zeros
//   glyph tables  one per size, 96 records of {xOffset, yOffset, advance,
//                 width, height, bitmap}, record k for code 32 + k
//   bitmaps       width * height coverage bytes per glyph, top row first, no
//                 padding; a glyph without pixels points at the area's start
//
// The output depends only on the font file, this program and the FreeType
// it is built with, so two builds from the same sources give the same bytes.
// With LATHEMOOR_FONTBAKE_VERBOSE set in the environment it lists the line
// metrics it chose for each size.
#include <ft2build.h>
#include FT_FREETYPE_H

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

namespace {

// The nominal sizes the toolkit can ask for. The gaps are deliberate: text
// scales in steps, and each step costs a glyph table.
const int32_t SIZES[] = {8, 9, 10, 11, 12, 13, 15, 17, 18, 20, 21, 22, 24, 26, 28, 30, 32};
const int32_t SIZE_COUNT = sizeof(SIZES) / sizeof(SIZES[0]);

const int32_t FIRST_CODE = 32;
const int32_t GLYPH_COUNT = 96;          // codes 32..127
const int32_t CODE_BOX = 127;            // the typeface has nothing here; we draw a box
const int32_t SIZE_ROW_BYTES = 16;
const int32_t GLYPH_RECORD_WORDS = 6;
const int32_t GLYPH_TABLE_BYTES = GLYPH_COUNT * GLYPH_RECORD_WORDS * 4;

// A nominal size names the text's step on the scale, not its em: the glyphs
// are rendered with an em of size * 4 / 3 pixels (a point at 96 dpi), which
// gives a size-8 line about 13 pixels apart -- the spacing the interface's
// text boxes were laid out for.
const int32_t EM_NUMERATOR = 4, EM_DENOMINATOR = 3;

// Leading added to the face's ascender-to-descender span, as a fraction of
// the em. A tenth keeps wrapped lines apart without letting a paragraph
// fall apart.
const double LEADING_EM = 0.1;

// Coverage goes through this exponent before it is stored. The toolkit blends
// coverage as alpha straight in the display's gamma-encoded space, which makes
// light strokes on the dark interface look thinner and fainter than they are
// (half coverage of white shows at about a fifth of white's light). Lifting
// the mid-tones gives small light-on-dark text its true weight back; 0 and 255
// stay where they are, so the bitmaps keep their exact extent.
const double COVERAGE_EXPONENT = 1.0 / 1.45;

struct GlyphRecord {
    int32_t xOffset, yOffset, advance, width, height, bitmap;
};

struct BakedGlyph {
    GlyphRecord record;
    std::vector<uint8_t> pixels;   // width * height, top row first
};

struct BakedSize {
    int32_t size, lineHeight, boxHeight;
    BakedGlyph glyphs[GLYPH_COUNT];
};

uint8_t coverageCurve[256];

void BuildCoverageCurve() {
    for (int32_t i = 0; i < 256; i++) {
        coverageCurve[i] = (uint8_t)lround(255.0 * pow(i / 255.0, COVERAGE_EXPONENT));
    }
}

void PutWord(std::vector<uint8_t> *out, size_t at, int32_t value) {
    uint32_t v = (uint32_t)value;
    for (int32_t i = 0; i < 4; i++) (*out)[at + i] = (uint8_t)(v >> (8 * i));
}

// FreeType's 26.6 fixed point to whole pixels, rounding up or to nearest.
int32_t CeilPixels(FT_Pos value) { return (int32_t)((value + 63) >> 6); }
int32_t RoundPixels(FT_Pos value) { return (int32_t)((value + 32) >> 6); }

// Renders one code. `baseline` is the baseline's distance below the line top.
// Returns false when FreeType fails.
bool BakeGlyph(FT_Face face, int32_t code, int32_t baseline, BakedGlyph *glyph) {
    FT_UInt index = FT_Get_Char_Index(face, (FT_ULong)code);
    // Light hinting snaps only vertically: stems and x-heights land on whole
    // pixels (crisp at 10 to 13 pixels) while the letter shapes and spacing
    // stay as designed.
    if (FT_Load_Glyph(face, index, FT_LOAD_TARGET_LIGHT)) return false;
    if (FT_Render_Glyph(face->glyph, FT_RENDER_MODE_LIGHT)) return false;
    FT_GlyphSlot slot = face->glyph;
    const FT_Bitmap *bitmap = &slot->bitmap;
    if (bitmap->pixel_mode != FT_PIXEL_MODE_GRAY && bitmap->rows && bitmap->width) return false;

    glyph->record.advance = RoundPixels(slot->advance.x);
    glyph->record.width = (int32_t)bitmap->width;
    glyph->record.height = (int32_t)bitmap->rows;
    glyph->record.xOffset = slot->bitmap_left;
    glyph->record.yOffset = baseline - slot->bitmap_top;
    glyph->pixels.resize((size_t)bitmap->width * bitmap->rows);
    for (uint32_t row = 0; row < bitmap->rows; row++) {
        const uint8_t *source = bitmap->buffer + (ptrdiff_t)row * bitmap->pitch;
        for (uint32_t column = 0; column < bitmap->width; column++) {
            glyph->pixels[(size_t)row * bitmap->width + column] = coverageCurve[source[column]];
        }
    }
    if (glyph->record.width == 0 || glyph->record.height == 0) {
        glyph->record.width = glyph->record.height = 0;
        glyph->pixels.clear();
    }
    return true;
}

// Code 127 (delete) has no glyph in the typeface. It gets an outlined box as
// wide as a digit and as tall as a capital, so a stray control code shows as
// something rather than nothing.
void BakeBox(const BakedGlyph &digit, const BakedGlyph &capital, BakedGlyph *glyph) {
    int32_t height = capital.record.height;
    int32_t width = digit.record.advance - 2;
    if (width < 3) width = 3;
    int32_t stroke = height >= 20 ? 2 : 1;
    glyph->record.advance = digit.record.advance;
    glyph->record.xOffset = 1;
    glyph->record.yOffset = capital.record.yOffset;
    glyph->record.width = width;
    glyph->record.height = height;
    glyph->pixels.assign((size_t)width * height, 0);
    for (int32_t y = 0; y < height; y++) {
        for (int32_t x = 0; x < width; x++) {
            bool edge = x < stroke || y < stroke || x >= width - stroke || y >= height - stroke;
            if (edge) glyph->pixels[(size_t)y * width + x] = 255;
        }
    }
}

// Renders all codes at one size and chooses its line metrics.
bool BakeSize(FT_Face face, int32_t size, BakedSize *baked) {
    // 26.6 char size in points at 72 dpi equals pixels: size * 4/3 px em.
    FT_F26Dot6 em = (FT_F26Dot6)size * 64 * EM_NUMERATOR / EM_DENOMINATOR;
    if (FT_Set_Char_Size(face, 0, em, 72, 72)) return false;

    // Vertical metrics from the face's own ascender and descender, the span
    // it reserves for its tallest and deepest marks. Wrapped lines are that
    // span plus the leading apart. The single-line box is the hinted span
    // plus the same leading, split above and below, so the span -- and with
    // it the capitals, whose middle lies near the span's -- is centred in
    // the box.
    const FT_Size_Metrics *metrics = &face->size->metrics;
    int32_t ascender = CeilPixels(metrics->ascender);
    int32_t descender = CeilPixels(-metrics->descender);
    double emPixels = (double)em / 64.0;
    double span = (double)(face->ascender - face->descender) / face->units_per_EM * emPixels;
    int32_t leading = (int32_t)lround(LEADING_EM * emPixels);
    baked->size = size;
    baked->lineHeight = (int32_t)lround(span + LEADING_EM * emPixels);
    baked->boxHeight = ascender + descender + leading;
    int32_t baseline = leading / 2 + ascender;

    for (int32_t k = 0; k < GLYPH_COUNT; k++) {
        int32_t code = FIRST_CODE + k;
        if (code == CODE_BOX) continue;
        if (!BakeGlyph(face, code, baseline, &baked->glyphs[k])) {
            fprintf(stderr, "fontbake: cannot render code %d at size %d\n", code, size);
            return false;
        }
    }
    BakeBox(baked->glyphs['0' - FIRST_CODE], baked->glyphs['H' - FIRST_CODE],
            &baked->glyphs[CODE_BOX - FIRST_CODE]);
    return true;
}

// Lays the sizes out in the blob's format.
std::vector<uint8_t> WriteBlob(const std::vector<BakedSize> &sizes) {
    int32_t sizeTableBytes = (SIZE_COUNT + 1) * SIZE_ROW_BYTES;
    int32_t bitmapStart = sizeTableBytes + SIZE_COUNT * GLYPH_TABLE_BYTES;
    std::vector<uint8_t> out((size_t)bitmapStart, 0);
    for (int32_t s = 0; s < SIZE_COUNT; s++) {
        const BakedSize &baked = sizes[s];
        int32_t table = sizeTableBytes + s * GLYPH_TABLE_BYTES;
        size_t row = (size_t)s * SIZE_ROW_BYTES;
        PutWord(&out, row + 0, baked.size);
        PutWord(&out, row + 4, baked.lineHeight);
        PutWord(&out, row + 8, table);
        PutWord(&out, row + 12, baked.boxHeight);
        for (int32_t k = 0; k < GLYPH_COUNT; k++) {
            const BakedGlyph &glyph = baked.glyphs[k];
            int32_t bitmap = bitmapStart;
            if (!glyph.pixels.empty()) {
                bitmap = (int32_t)out.size();
                out.insert(out.end(), glyph.pixels.begin(), glyph.pixels.end());
            }
            size_t record = (size_t)table + (size_t)k * GLYPH_RECORD_WORDS * 4;
            const GlyphRecord &r = glyph.record;
            int32_t words[GLYPH_RECORD_WORDS] = {r.xOffset, r.yOffset, r.advance,
                                                 r.width,   r.height,  bitmap};
            for (int32_t w = 0; w < GLYPH_RECORD_WORDS; w++) {
                PutWord(&out, record + 4 * w, words[w]);
            }
        }
    }
    return out;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: lathemoor-fontbake FONT.ttf OUT.dat\n");
        return 2;
    }
    BuildCoverageCurve();
    FT_Library library;
    FT_Face face;
    if (FT_Init_FreeType(&library)) {
        fprintf(stderr, "fontbake: cannot start FreeType\n");
        return 1;
    }
    if (FT_New_Face(library, argv[1], 0, &face)) {
        fprintf(stderr, "fontbake: cannot open %s\n", argv[1]);
        return 1;
    }
    if (!FT_IS_SCALABLE(face)) {
        fprintf(stderr, "fontbake: %s is not a scalable typeface\n", argv[1]);
        return 1;
    }

    std::vector<BakedSize> sizes(SIZE_COUNT);
    for (int32_t s = 0; s < SIZE_COUNT; s++) {
        if (!BakeSize(face, SIZES[s], &sizes[s])) return 1;
    }
    std::vector<uint8_t> blob = WriteBlob(sizes);
    FT_Done_Face(face);
    FT_Done_FreeType(library);

    // Written to a temporary name and renamed, so an interrupted build never
    // leaves a truncated blob that looks up to date.
    char temporary[4096];
    snprintf(temporary, sizeof(temporary), "%s.part", argv[2]);
    FILE *file = fopen(temporary, "wb");
    if (!file) {
        fprintf(stderr, "fontbake: cannot write %s\n", temporary);
        return 1;
    }
    bool written = fwrite(blob.data(), 1, blob.size(), file) == blob.size();
    written = fclose(file) == 0 && written;
    if (!written || rename(temporary, argv[2]) != 0) {
        fprintf(stderr, "fontbake: cannot write %s\n", argv[2]);
        remove(temporary);
        return 1;
    }
    if (getenv("LATHEMOOR_FONTBAKE_VERBOSE")) {
        for (const BakedSize &baked : sizes) {
            printf("size %2d lineHeight %2d boxHeight %2d\n", baked.size, baked.lineHeight,
                   baked.boxHeight);
        }
        printf("%zu bytes\n", blob.size());
    }
    return 0;
}
