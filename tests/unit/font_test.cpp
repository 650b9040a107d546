// Text drawn with the blob this build baked: size selection, the "?"
// stand-in, word wrap and clipping.
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "tests/support/canvas.h"
#include "tests/support/shell_rig.h"
#include "toolkit/element.h"
#include "toolkit/font.h"
#include "toolkit/scale.h"

namespace {

const uint32_t TEXT_COLOUR = 0x00E8F0FF;

const std::string &Blob() {
    static std::string blob = TempHome::ReadWholeFile(LATHEMOOR_FONT_BLOB);
    return blob;
}

int32_t Word(const uint8_t *at) {
    int32_t value;
    memcpy(&value, at, 4);
    return value;
}

struct Glyph {
    int32_t xOffset, yOffset, advance, width, height, bitmap;
};

Glyph GlyphOf(const uint8_t *table, uint32_t code) {
    Glyph glyph;
    memcpy(&glyph, table + (code - 32) * 24, sizeof glyph);
    return glyph;
}

// Text as the toolkit holds it: bytes widened one by one.
std::vector<uint32_t> Wide(const char *text) {
    std::vector<uint32_t> wide((const uint8_t *)text, (const uint8_t *)text + strlen(text));
    wide.push_back(0);
    return wide;
}

// Draws text[from..to) glyph by glyph: the pen starts at penX and moves by each advance.
void DrawRun(Canvas *canvas, const uint8_t *table, int32_t penX, int32_t lineTop,
             const std::vector<uint32_t> &text, size_t from, size_t to, UIElement *clip = nullptr) {
    for (size_t i = from; i < to; i++)
        penX += UIDrawGlyph(&canvas->painter, uiFontBlob, table, penX, lineTop, text[i], TEXT_COLOUR, clip);
}

int32_t PixelWidth(const uint8_t *table, const char *text) {
    int32_t width = 0;
    for (const char *c = text; *c; c++) width += GlyphOf(table, (uint8_t)*c).advance;
    return width;
}

struct FontTest : ::testing::Test {
    int32_t savedScale = uiScale;
    void SetUp() override {
        ASSERT_NE(Blob(), "<none>") << "no font blob at " LATHEMOOR_FONT_BLOB;
        uiFontBlob = (const uint8_t *)Blob().data();
        uiScale = 100;
    }
    void TearDown() override { uiScale = savedScale, uiFontBlob = nullptr; }
    // The nominal size UIFontSelect chose, found by its glyph table.
    int32_t SelectedSize(int32_t fontClass) {
        const uint8_t *table = Table(fontClass);
        for (const uint8_t *row = uiFontBlob; Word(row); row += 16)
            if (uiFontBlob + Word(row + 8) == table) return Word(row);
        return -1;
    }
    const uint8_t *Table(int32_t fontClass) {
        int32_t lineHeight, boxHeight;
        return UIFontSelect(fontClass, &lineHeight, &boxHeight);
    }
};

TEST_F(FontTest, the_size_is_the_first_row_at_least_the_scaled_request) {
    EXPECT_EQ(SelectedSize(UI_FONT_SMALL), 8);
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 11);
    EXPECT_EQ(SelectedSize(7), 11);   // unknown classes are large
    uiScale = 140;   // asks for 12.6 -> 12
    EXPECT_EQ(SelectedSize(UI_FONT_MEDIUM), 12);
    uiScale = 300;   // 27 is not baked: the next, 28
    EXPECT_EQ(SelectedSize(UI_FONT_MEDIUM), 28);
    uiScale = 450;   // beyond the table: the last row
    EXPECT_EQ(SelectedSize(UI_FONT_SMALL), 32);
}

TEST_F(FontTest, codes_without_glyphs_draw_and_measure_as_a_question_mark) {
    const uint8_t *table = Table(UI_FONT_LARGE);
    std::vector<uint32_t> question = Wide("?");
    Canvas expected(40, 30);
    DrawRun(&expected, table, 10, 5, question, 0, 1);
    for (uint32_t code : {0x09u, 0x80u, 0xFFFFFFFFu}) {   // tabs are not whitespace here
        std::vector<uint32_t> text = {code, 0};
        EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_LARGE), UIMeasureText(question.data(), UI_FONT_LARGE));
        Canvas canvas(40, 30);
        DrawRun(&canvas, table, 10, 5, text, 0, 1);
        EXPECT_EQ(canvas.pixels, expected.pixels) << code;
    }
    std::vector<uint32_t> del = {127, 0};   // 127 has a glyph of its own
    Canvas canvas(40, 30);
    DrawRun(&canvas, table, 10, 5, del, 0, 1);
    EXPECT_NE(canvas.pixels, expected.pixels);
}

struct WrappedRun {
    size_t from, to;
    int32_t line;
};

// Wraps `label` into a box `width` wide and expects exactly these runs, each
// from the box's left on its line, and a measured height of `lines` lines.
void ExpectWrap(const char *label, int32_t width, std::vector<WrappedRun> runs, int32_t lines) {
    SCOPED_TRACE(label);
    int32_t lineHeight, boxHeight;
    const uint8_t *table = UIFontSelect(UI_FONT_LARGE, &lineHeight, &boxHeight);
    std::vector<uint32_t> text = Wide(label);
    Canvas canvas(200, 12 * lineHeight), expected(200, 12 * lineHeight);
    UIDrawText(&canvas.painter, text.data(), 3, 2, width, 0, TEXT_COLOUR, UI_ALIGN_WRAP, UI_FONT_LARGE,
               nullptr);
    for (const WrappedRun &run : runs)
        DrawRun(&expected, table, 3, 2 + run.line * lineHeight, text, run.from, run.to);
    EXPECT_EQ(canvas.pixels, expected.pixels);
    EXPECT_EQ(UIMeasureTextHeight(text.data(), width, UI_FONT_LARGE), lines * lineHeight);
}

TEST_F(FontTest, wrap_breaks_at_spaces_and_cuts_words_wider_than_the_box) {
    const uint8_t *table = Table(UI_FONT_LARGE);
    ExpectWrap("Sync Delay", PixelWidth(table, "Sync De"), {{0, 4, 0}, {5, 10, 1}}, 2);
    ExpectWrap("a bcdefgh", PixelWidth(table, "bcd"), {{0, 1, 0}, {2, 5, 1}, {5, 8, 2}, {8, 9, 3}}, 4);
    ExpectWrap("WWWW", 0, {{0, 1, 0}, {1, 2, 1}, {2, 3, 2}, {3, 4, 3}}, 4);   // one character per line
}

TEST_F(FontTest, the_clip_cuts_at_the_pixel_while_the_pen_advances) {
    uiScale = 150;
    const uint8_t *table = Table(UI_FONT_LARGE);
    std::vector<uint32_t> text = Wide("HHHH");
    Canvas whole(120, 60), clipped(120, 60);
    DrawRun(&whole, table, 2, 4, text, 0, 4);
    // Device sides are scaled one by one: x 3 -> 4, right (3 + 3) -> 9; y 2 -> 3, bottom 22 -> 33.
    UIElement clip = {};
    clip.x = 3, clip.width = 3, clip.y = 2, clip.height = 20;
    DrawRun(&clipped, table, 2, 4, text, 0, 4, &clip);
    for (int32_t y = 0; y < 60; y++)
        for (int32_t x = 0; x < 120; x++) {
            bool inside = x >= 4 && x < 9 && y >= 3 && y < 33;
            ASSERT_EQ(clipped.At(x, y), inside ? whole.At(x, y) : whole.background) << x << "," << y;
        }
    // Glyphs wholly outside the clip still return their advance.
    EXPECT_EQ(UIDrawGlyph(&clipped.painter, uiFontBlob, table, 60, 4, 'H', TEXT_COLOUR, &clip),
              GlyphOf(table, 'H').advance);
}

}  // namespace
