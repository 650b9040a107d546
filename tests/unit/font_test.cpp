// Text: the baked blob's layout, size selection across scales, the "?"
// stand-in, single-line placement, word wrap (including words wider than the
// box), clipping and the blend of coverage. Drawn with the blob this build
// baked.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/canvas.h"
#include "tests/support/shell_rig.h"
#include "toolkit/element.h"
#include "toolkit/font.h"
#include "toolkit/scale.h"

namespace {

const int32_t SIZE_TABLE_END = 288;   // 17 rows and the zero row
const int32_t GLYPH_TABLE_BYTES = 96 * 24;
const int32_t BITMAP_START = SIZE_TABLE_END + 17 * GLYPH_TABLE_BYTES;
const int32_t BAKED_SIZES[17] = {8, 9, 10, 11, 12, 13, 15, 17, 18, 20, 21, 22, 24, 26, 28, 30, 32};
const uint32_t TEXT_COLOUR = 0x00E8F0FF;

// The blob this build baked, read once ("<none>" when missing).
const std::string &Blob() {
    static std::string blob = TempHome::ReadWholeFile(LATHEMOOR_FONT_BLOB);
    return blob;
}
const uint8_t *BlobData() { return (const uint8_t *)Blob().data(); }

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

// Draws text[from..to) glyph by glyph, the way every text entry must place
// it: the pen starts at penX and moves by each advance.
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
        ASSERT_GT(Blob().size(), (size_t)BITMAP_START) << "no font blob at " LATHEMOOR_FONT_BLOB;
        uiFontBlob = BlobData();
        uiScale = 100;
    }
    void TearDown() override { uiScale = savedScale, uiFontBlob = nullptr; }
    // The nominal size UIFontSelect chose, found by its glyph table.
    int32_t SelectedSize(int32_t fontClass) {
        int32_t lineHeight, boxHeight;
        const uint8_t *table = UIFontSelect(fontClass, &lineHeight, &boxHeight);
        for (const uint8_t *row = uiFontBlob; Word(row); row += 16) {
            if (uiFontBlob + Word(row + 8) != table) continue;
            EXPECT_EQ(lineHeight, Word(row + 4));
            EXPECT_EQ(boxHeight, Word(row + 12));
            return Word(row);
        }
        return -1;
    }
    const uint8_t *Table(int32_t fontClass) {
        int32_t lineHeight, boxHeight;
        return UIFontSelect(fontClass, &lineHeight, &boxHeight);
    }
};

TEST_F(FontTest, the_baked_blob_holds_its_sizes_and_every_glyph_inside_it_and_its_line_box) {
    for (int32_t row = 0; row < 17; row++) {
        const uint8_t *at = BlobData() + row * 16, *table = BlobData() + Word(at + 8);
        EXPECT_EQ(Word(at), BAKED_SIZES[row]);
        EXPECT_EQ(Word(at + 8), SIZE_TABLE_END + row * GLYPH_TABLE_BYTES);
        EXPECT_GT(std::min(Word(at + 4), Word(at + 12)), BAKED_SIZES[row]);   // lines clear the size
        for (uint32_t code = 32; code <= 127; code++) {
            Glyph glyph = GlyphOf(table, code);
            EXPECT_TRUE(glyph.advance > 0 && glyph.bitmap >= BITMAP_START && glyph.yOffset >= 0 &&
                        glyph.yOffset + glyph.height <= Word(at + 12) &&
                        (size_t)glyph.bitmap + (size_t)glyph.width * glyph.height <= Blob().size() &&
                        (glyph.width > 0 && glyph.height > 0) == (code != ' '))   // 127 has ink too
                << "size " << BAKED_SIZES[row] << " code " << code;
        }
    }
}

TEST_F(FontTest, the_size_is_the_first_row_at_least_the_scaled_request) {
    EXPECT_EQ(SelectedSize(UI_FONT_SMALL), 8);
    EXPECT_EQ(SelectedSize(UI_FONT_MEDIUM), 9);
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 11);
    EXPECT_EQ(SelectedSize(7), 11);   // unknown classes are large
    EXPECT_EQ(SelectedSize(-1), 11);
    uiScale = 140;   // asks for 11.2 -> 11, 12.6 -> 12 and 15.4 -> 15
    EXPECT_EQ(SelectedSize(UI_FONT_SMALL), 11);
    EXPECT_EQ(SelectedSize(UI_FONT_MEDIUM), 12);
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 15);
    uiScale = 300;   // 24 exists; 27 and 33 do not
    EXPECT_EQ(SelectedSize(UI_FONT_SMALL), 24);
    EXPECT_EQ(SelectedSize(UI_FONT_MEDIUM), 28);
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 32);
    uiScale = 450;   // beyond the table: the last row
    EXPECT_EQ(SelectedSize(UI_FONT_SMALL), 32);
    uiScale = 1;     // below it: the first
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 8);
}

TEST_F(FontTest, codes_without_glyphs_draw_and_measure_as_a_question_mark) {
    const uint8_t *table = Table(UI_FONT_LARGE);
    std::vector<uint32_t> question = Wide("?");
    Canvas expected(40, 30);
    DrawRun(&expected, table, 10, 5, question, 0, 1);
    // Tabs and line feeds are not whitespace here, nor are codes past 127.
    for (uint32_t code : {0x01u, 0x09u, 0x0Au, 0x1Fu, 0x80u, 0xE9u, 0x263Au, 0xFFFFFFFFu}) {
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
    // A line feed inside wrapped text does not start a line.
    EXPECT_EQ(UIMeasureTextHeight(Wide("ab\ncd").data(), 1000, UI_FONT_LARGE),
              UIMeasureTextHeight(Wide("").data(), 1000, UI_FONT_LARGE));
}

TEST_F(FontTest, measures_are_in_design_units_and_nothing_without_a_blob) {
    std::vector<uint32_t> text = Wide("Reverb Time 2");
    EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_MEDIUM), PixelWidth(Table(UI_FONT_MEDIUM), "Reverb Time 2"));
    EXPECT_EQ(UIMeasureText(nullptr, UI_FONT_MEDIUM), 0);
    uiScale = 150;   // medium asks for 13.5 -> 13
    int32_t lineHeight, boxHeight;
    const uint8_t *table = UIFontSelect(UI_FONT_MEDIUM, &lineHeight, &boxHeight);
    EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_MEDIUM), PixelWidth(table, "Reverb Time 2") * 100 / 150);
    EXPECT_EQ(UIMeasureTextHeight(Wide("").data(), 50, UI_FONT_MEDIUM), lineHeight * 100 / 150);

    uiFontBlob = nullptr;
    EXPECT_EQ(UIFontSelect(UI_FONT_MEDIUM, &lineHeight, &boxHeight), nullptr);
    EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_MEDIUM) + UIMeasureTextHeight(text.data(), 10, UI_FONT_MEDIUM), 0);
    Canvas canvas(100, 40);
    for (int32_t align = 0; align < 4; align++)
        UIDrawText(&canvas.painter, text.data(), 0, 0, 100, 40, TEXT_COLOUR, align, 0, nullptr);
    EXPECT_EQ(canvas.Changed(), 0);
}

TEST_F(FontTest, single_lines_are_placed_by_truncated_device_arithmetic) {
    uiScale = 150;
    // Device box: X 16 (16.5), Y 10 (10.5), W 90; the centre line is
    // 23 * 150 / 200 = 17 below Y. Halving W and the text's width separately
    // puts a text of odd width half a pixel further right than halving
    // their difference would.
    const int32_t x = 11, y = 7, width = 60, height = 23;
    int32_t lineHeight, boxHeight;
    const uint8_t *table = UIFontSelect(UI_FONT_SMALL, &lineHeight, &boxHeight);
    const int32_t lineTop = 10 + 17 - boxHeight / 2;
    bool oddWidthSeen = false;
    for (const char *label : {"Mix 50%", "Rate 1/4", "Gain", "Q"}) {
        std::vector<uint32_t> text = Wide(label);
        int32_t textWidth = PixelWidth(table, label);
        oddWidthSeen |= textWidth % 2 != 0;
        const int32_t CASES[][2] = {{UI_ALIGN_CENTRE, 16 + 90 / 2 - textWidth / 2}, {UI_ALIGN_LEFT, 16},
                                    {UI_ALIGN_RIGHT, 16 + 90 - textWidth}};
        for (const auto &c : CASES) {
            Canvas canvas(140, 50), expected(140, 50);
            UIDrawText(&canvas.painter, text.data(), x, y, width, height, TEXT_COLOUR, c[0], UI_FONT_SMALL,
                       nullptr);
            DrawRun(&expected, table, c[1], lineTop, text, 0, text.size() - 1);
            EXPECT_EQ(canvas.pixels, expected.pixels) << label << ", alignment " << c[0];
            EXPECT_GT(canvas.Changed(), 0);
        }
    }
    EXPECT_TRUE(oddWidthSeen);
}

// One wrapped line as the wrap should draw it: text[from..to) on line `line`.
struct WrappedRun {
    size_t from, to;
    int32_t line;
};

// Wraps `label` into a box `width` pixels wide at 100 percent and expects
// exactly the runs drawn, each from the box's left on its line, and a
// measured height of `lines` lines.
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
    // Two words that don't fit together: one per line, the space dropped.
    ExpectWrap("Sync Delay", PixelWidth(table, "Sync De"), {{0, 4, 0}, {5, 10, 1}}, 2);
    // A line that fills up on its last character, a space, still counts
    // the (empty) line after it.
    ExpectWrap("Sync ", PixelWidth(table, "Sync"), {{0, 4, 0}}, 2);
    // A space at the start breaks first: the empty line before it is not
    // drawn but counts, so the word starts on the second line.
    ExpectWrap(" Feedback", PixelWidth(table, "Feedback"), {{1, 9, 1}}, 2);
    // A word wider than the box is cut where it overflows, and the walk
    // moves on, also after a break at a space.
    ExpectWrap("abcdefgh", PixelWidth(table, "abc"), {{0, 3, 0}, {3, 6, 1}, {6, 8, 2}}, 3);
    ExpectWrap("a bcdefgh", PixelWidth(table, "bcd"), {{0, 1, 0}, {2, 5, 1}, {5, 8, 2}, {8, 9, 3}}, 4);
    // A box narrower than any glyph: one character per line, all of them.
    ExpectWrap("WWWW", 1, {{0, 1, 0}, {1, 2, 1}, {2, 3, 2}, {3, 4, 3}}, 4);
    ExpectWrap("WWWW", 0, {{0, 1, 0}, {1, 2, 1}, {2, 3, 2}, {3, 4, 3}}, 4);
}

// Every pixel of `clipped` is the one of `whole` where inside(x, y) holds
// and untouched elsewhere.
template <typename Inside>
void ExpectCut(const Canvas &clipped, const Canvas &whole, Inside inside) {
    for (int32_t y = 0; y < whole.painter.height; y++)
        for (int32_t x = 0; x < whole.painter.width; x++)
            ASSERT_EQ(clipped.At(x, y), inside(x, y) ? whole.At(x, y) : whole.background) << x << "," << y;
}

TEST_F(FontTest, the_clip_cuts_at_the_pixel_while_the_pen_advances) {
    uiScale = 150;
    const uint8_t *table = Table(UI_FONT_LARGE);
    std::vector<uint32_t> text = Wide("HHHH");
    Canvas whole(120, 60), clipped(120, 60), tail(120, 60);
    DrawRun(&whole, table, 2, 4, text, 0, 4);
    // Device sides are scaled one by one: x 3 -> 4 (4.5), right (3 + 3) -> 9,
    // although 3 wide alone scales to 4. Likewise y 2 -> 3, bottom 22 -> 33.
    UIElement clip = {};
    clip.x = 3, clip.width = 3, clip.y = 2, clip.height = 20;
    DrawRun(&clipped, table, 2, 4, text, 0, 4, &clip);
    ExpectCut(clipped, whole, [](int32_t x, int32_t y) { return x >= 4 && x < 9 && y >= 3 && y < 33; });

    // A clip over the last glyph only: the glyphs before it draw nothing but
    // still move the pen, so the last one lands where it would unclipped.
    int32_t advance = GlyphOf(table, 'H').advance;
    clip.x = (2 + 3 * advance) * 100 / 150 + 1, clip.width = 40, clip.y = 0, clip.height = 40;
    int32_t clipLeft = clip.x * 150 / 100;
    for (int32_t i = 0, pen = 2; i < 4; i++) {
        EXPECT_EQ(UIDrawGlyph(&tail.painter, uiFontBlob, table, pen, 4, 'H', TEXT_COLOUR, &clip), advance);
        pen += advance;
    }
    ExpectCut(tail, whole, [&](int32_t x, int32_t) { return x >= clipLeft; });
    EXPECT_GT(tail.Changed(), 0);

    // The painter's buffer bounds every glyph: one across its edges touches
    // only pixels inside (AddressSanitizer watches the rest).
    Canvas small(6, 6);
    EXPECT_EQ(UIDrawGlyph(&small.painter, uiFontBlob, table, -3, -4, 'W', TEXT_COLOUR, nullptr),
              GlyphOf(table, 'W').advance);
}

TEST_F(FontTest, coverage_is_the_alpha_of_the_blend_rule) {
    const uint8_t *table = Table(UI_FONT_LARGE);
    const uint32_t colour = 0x00FF8010;
    for (uint32_t code : {uint32_t('@'), uint32_t('g'), 127u}) {
        Glyph glyph = GlyphOf(table, code);
        Canvas canvas(40, 40, 0xFF203040);
        const int32_t penX = 5, lineTop = 3;
        UIDrawGlyph(&canvas.painter, uiFontBlob, table, penX, lineTop, code, colour, nullptr);
        int32_t full = 0, partial = 0;
        for (int32_t y = 0; y < 40; y++) {
            for (int32_t x = 0; x < 40; x++) {
                int32_t bx = x - penX - glyph.xOffset, by = y - lineTop - glyph.yOffset;
                bool inGlyph = bx >= 0 && bx < glyph.width && by >= 0 && by < glyph.height;
                uint32_t c = inGlyph ? uiFontBlob[glyph.bitmap + by * glyph.width + bx] : 0;
                uint32_t expected = c ? UIBlend(canvas.background, c << 24 | colour) : canvas.background;
                ASSERT_EQ(canvas.At(x, y), expected) << code << " at " << x << "," << y;
                full += c == 255, partial += c > 0 && c < 255;
            }
        }
        EXPECT_GT(full, 0) << code;   // a full pixel takes the colour as it stands
        EXPECT_TRUE(code == 127 || partial > 0) << code;
    }
}

TEST(WideStrings, copy_concatenate_and_compare_stop_at_the_terminator) {
    uint32_t buffer[16];
    for (uint32_t &code : buffer) code = 0xAAAAAAAA;
    UIWideConcatenate(UIWideCopy(buffer, Wide("Ping").data()), Wide("-Pong").data());
    EXPECT_EQ(UIWideCompare(buffer, Wide("Ping-Pong").data()), 0);
    EXPECT_EQ(UIWideLength(buffer), 9u);
    EXPECT_EQ(buffer[10], 0xAAAAAAAAu);   // nothing written past the terminator
    EXPECT_EQ(UIWideCompare(Wide("abz").data(), Wide("abc").data()), 'z' - 'c');
    // A short first string ends first even when the other's code is lower.
    std::vector<uint32_t> high = {0x10000, 0}, low = {1, 0};
    EXPECT_EQ(UIWideCompare(Wide("").data(), low.data()), -1);
    EXPECT_EQ(UIWideCompare(Wide("abc").data(), Wide("ab").data()), 1);
    EXPECT_EQ(UIWideCompare(high.data(), low.data()), 0xFFFF);
}

}  // namespace
