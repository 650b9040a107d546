// Text: the baked blob's layout, size selection across scales, the "?"
// stand-in, single-line placement, word wrap (including words wider than the
// box), clipping and the blend of coverage. Drawn with the blob this build
// baked.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <vector>

#include "toolkit/element.h"
#include "toolkit/font.h"
#include "toolkit/scale.h"

namespace {

const int32_t SIZE_TABLE_END = 288;   // 17 rows and the zero row
const int32_t GLYPH_TABLE_BYTES = 96 * 24;
const int32_t BITMAP_START = SIZE_TABLE_END + 17 * GLYPH_TABLE_BYTES;
const int32_t BAKED_SIZES[17] = {8,  9,  10, 11, 12, 13, 15, 17, 18,
                                 20, 21, 22, 24, 26, 28, 30, 32};

std::vector<uint8_t> LoadBlob() {
    std::vector<uint8_t> bytes;
    FILE *file = fopen(LATHEMOOR_FONT_BLOB, "rb");
    if (!file) return bytes;
    fseek(file, 0, SEEK_END);
    bytes.resize((size_t)ftell(file));
    rewind(file);
    bytes.resize(fread(bytes.data(), 1, bytes.size(), file));
    fclose(file);
    return bytes;
}

const std::vector<uint8_t> &Blob() {
    static std::vector<uint8_t> blob = LoadBlob();
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
    memcpy(&glyph, table + (code - 32) * 24, sizeof(glyph));
    return glyph;
}

// Text as the toolkit holds it: bytes widened one by one.
std::vector<uint32_t> Wide(const char *text) {
    std::vector<uint32_t> wide;
    for (const char *c = text; *c; c++) wide.push_back((uint8_t)*c);
    wide.push_back(0);
    return wide;
}

const uint32_t BACKGROUND = 0xFF101820;

struct Canvas {
    std::vector<uint32_t> pixels;
    UIPainter painter;
    Canvas(int32_t width, int32_t height, uint32_t background = BACKGROUND)
        : pixels((size_t)width * height, background) {
        painter = {width, height, pixels.data(), nullptr};
    }
    uint32_t At(int32_t x, int32_t y) const { return pixels[(size_t)y * painter.width + x]; }
    bool HasInk() const {
        for (uint32_t pixel : pixels) {
            if (pixel != BACKGROUND) return true;
        }
        return false;
    }
};

const uint32_t TEXT_COLOUR = 0x00E8F0FF;

// Draws text[from..to) glyph by glyph, the way every text entry must place
// it: the pen starts at penX and moves by each advance.
void DrawRun(Canvas *canvas, const uint8_t *table, int32_t penX, int32_t lineTop,
             const std::vector<uint32_t> &text, size_t from, size_t to, UIElement *clip = nullptr) {
    for (size_t i = from; i < to; i++) {
        penX += UIDrawGlyph(&canvas->painter, uiFontBlob, table, penX, lineTop, text[i],
                            TEXT_COLOUR, clip);
    }
}

int32_t PixelWidth(const uint8_t *table, const char *text) {
    int32_t width = 0;
    for (const char *c = text; *c; c++) width += GlyphOf(table, (uint8_t)*c).advance;
    return width;
}

class FontTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_GT(Blob().size(), (size_t)BITMAP_START) << "no font blob at " LATHEMOOR_FONT_BLOB;
        uiFontBlob = Blob().data();
        savedScale = uiScale;
        uiScale = 100;
    }
    void TearDown() override {
        uiScale = savedScale;
        uiFontBlob = nullptr;
    }
    // The nominal size UIFontSelect chose, found by its glyph table.
    int32_t SelectedSize(int32_t fontClass) {
        int32_t lineHeight, boxHeight;
        const uint8_t *table = UIFontSelect(fontClass, &lineHeight, &boxHeight);
        for (const uint8_t *row = uiFontBlob; Word(row); row += 16) {
            if (uiFontBlob + Word(row + 8) == table) {
                EXPECT_EQ(lineHeight, Word(row + 4));
                EXPECT_EQ(boxHeight, Word(row + 12));
                return Word(row);
            }
        }
        return -1;
    }
    const uint8_t *Table(int32_t fontClass) {
        int32_t lineHeight, boxHeight;
        return UIFontSelect(fontClass, &lineHeight, &boxHeight);
    }
    int32_t savedScale = 100;
};

TEST_F(FontTest, BakedBlobHasTheSizeTableGlyphTablesAndBitmapsInPlace) {
    const std::vector<uint8_t> &blob = Blob();
    const uint8_t *data = blob.data();
    for (int32_t row = 0; row < 17; row++) {
        const uint8_t *at = data + row * 16;
        EXPECT_EQ(Word(at), BAKED_SIZES[row]);
        EXPECT_EQ(Word(at + 8), SIZE_TABLE_END + row * GLYPH_TABLE_BYTES);
        // Lines must clear the nominal size, and grow with it.
        EXPECT_GT(Word(at + 4), BAKED_SIZES[row]);
        EXPECT_GT(Word(at + 12), BAKED_SIZES[row]);
        if (row > 0) {
            EXPECT_GE(Word(at + 4), Word(at - 16 + 4));
        }
    }
    for (int32_t word = 0; word < 4; word++) EXPECT_EQ(Word(data + 17 * 16 + 4 * word), 0);

    for (int32_t row = 0; row < 17; row++) {
        const uint8_t *table = data + Word(data + row * 16 + 8);
        for (uint32_t code = 32; code <= 127; code++) {
            Glyph glyph = GlyphOf(table, code);
            SCOPED_TRACE(testing::Message() << "size " << BAKED_SIZES[row] << " code " << code);
            EXPECT_GT(glyph.advance, 0);
            EXPECT_GE(glyph.width, 0);
            EXPECT_GE(glyph.height, 0);
            EXPECT_GE(glyph.bitmap, BITMAP_START);
            EXPECT_LE((size_t)glyph.bitmap + (size_t)glyph.width * glyph.height, blob.size());
            if (glyph.width == 0 || glyph.height == 0) {
                EXPECT_EQ(glyph.bitmap, BITMAP_START);
            }
            // Every printable code but the space has ink, 127 included.
            if (code != ' ') {
                EXPECT_GT(glyph.width * glyph.height, 0);
            }
            // The ink lies within the single-line box.
            if (glyph.height) {
                EXPECT_GE(glyph.yOffset, 0);
                EXPECT_LE(glyph.yOffset + glyph.height, Word(data + row * 16 + 12));
            }
        }
        EXPECT_EQ(GlyphOf(table, ' ').width, 0);
    }
}

TEST_F(FontTest, SizeFollowsTheScaleByTheFirstRowLargeEnough) {
    EXPECT_EQ(SelectedSize(UI_FONT_SMALL), 8);
    EXPECT_EQ(SelectedSize(UI_FONT_MEDIUM), 9);
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 11);
    EXPECT_EQ(SelectedSize(7), 11);    // unknown classes are large
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
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 32);

    uiScale = 1;     // below the table: the first row
    EXPECT_EQ(SelectedSize(UI_FONT_LARGE), 8);
}

TEST_F(FontTest, CodesWithoutGlyphsDrawAndMeasureAsQuestionMark) {
    const uint8_t *table = Table(UI_FONT_LARGE);
    std::vector<uint32_t> question = Wide("?");
    Canvas expected(40, 30);
    DrawRun(&expected, table, 10, 5, question, 0, 1);

    // Tabs and line feeds are not whitespace here, nor are codes past 127.
    for (uint32_t code : {0x01u, 0x09u, 0x0Au, 0x1Fu, 0x80u, 0xE9u, 0x263Au, 0xFFFFFFFFu}) {
        SCOPED_TRACE(code);
        std::vector<uint32_t> text = {code, 0};
        EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_LARGE),
                  UIMeasureText(question.data(), UI_FONT_LARGE));
        Canvas canvas(40, 30);
        DrawRun(&canvas, table, 10, 5, text, 0, 1);
        EXPECT_EQ(canvas.pixels, expected.pixels);
    }
    // 127 has a glyph of its own.
    std::vector<uint32_t> del = {127, 0};
    Canvas canvas(40, 30);
    DrawRun(&canvas, table, 10, 5, del, 0, 1);
    EXPECT_NE(canvas.pixels, expected.pixels);
    EXPECT_TRUE(canvas.HasInk());

    // A line feed inside wrapped text does not start a line.
    std::vector<uint32_t> twoWords = Wide("ab\ncd");
    EXPECT_EQ(UIMeasureTextHeight(twoWords.data(), 1000, UI_FONT_LARGE),
              UIMeasureTextHeight(Wide("").data(), 1000, UI_FONT_LARGE));
}

TEST_F(FontTest, MeasuresInDesignUnitsAndNothingWithoutText) {
    const uint8_t *table = Table(UI_FONT_MEDIUM);
    std::vector<uint32_t> text = Wide("Reverb Time 2");
    EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_MEDIUM), PixelWidth(table, "Reverb Time 2"));
    EXPECT_EQ(UIMeasureText(Wide("").data(), UI_FONT_MEDIUM), 0);
    EXPECT_EQ(UIMeasureText(nullptr, UI_FONT_MEDIUM), 0);

    uiScale = 150;   // medium asks for 13.5 -> 13
    table = Table(UI_FONT_MEDIUM);
    EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_MEDIUM),
              PixelWidth(table, "Reverb Time 2") * 100 / 150);

    int32_t lineHeight, boxHeight;
    UIFontSelect(UI_FONT_MEDIUM, &lineHeight, &boxHeight);
    EXPECT_EQ(UIMeasureTextHeight(Wide("").data(), 50, UI_FONT_MEDIUM), lineHeight * 100 / 150);
    EXPECT_EQ(UIMeasureTextHeight(text.data(), 1000, UI_FONT_MEDIUM), lineHeight * 100 / 150);
    // "Reverb" and "Time 2" each fit a box as wide as "Reverb Time" less a bit.
    int32_t narrow = (PixelWidth(table, "Reverb Time") - 1) * 100 / 150;
    EXPECT_EQ(UIMeasureTextHeight(text.data(), narrow, UI_FONT_MEDIUM), 2 * lineHeight * 100 / 150);

    // Without a blob nothing is drawn and everything measures 0.
    uiFontBlob = nullptr;
    EXPECT_EQ(UIFontSelect(UI_FONT_MEDIUM, &lineHeight, &boxHeight), nullptr);
    EXPECT_EQ(lineHeight, 0);
    EXPECT_EQ(UIMeasureText(text.data(), UI_FONT_MEDIUM), 0);
    EXPECT_EQ(UIMeasureTextHeight(text.data(), 10, UI_FONT_MEDIUM), 0);
    Canvas canvas(100, 40), blank(100, 40);
    for (int32_t align = 0; align < 4; align++) {
        UIDrawText(&canvas.painter, text.data(), 0, 0, 100, 40, TEXT_COLOUR, align, 0, nullptr);
    }
    EXPECT_EQ(canvas.pixels, blank.pixels);
}

TEST_F(FontTest, SingleLinesArePlacedByTruncatedDeviceArithmetic) {
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
        SCOPED_TRACE(label);
        std::vector<uint32_t> text = Wide(label);
        int32_t textWidth = PixelWidth(table, label);
        oddWidthSeen |= textWidth % 2 != 0;
        struct Case {
            int32_t align, penX;
        } cases[] = {
            {UI_ALIGN_CENTRE, 16 + 90 / 2 - textWidth / 2},
            {UI_ALIGN_LEFT, 16},
            {UI_ALIGN_RIGHT, 16 + 90 - textWidth},
        };
        for (const Case &c : cases) {
            SCOPED_TRACE(c.align);
            Canvas canvas(140, 50), expected(140, 50);
            UIDrawText(&canvas.painter, text.data(), x, y, width, height, TEXT_COLOUR, c.align,
                       UI_FONT_SMALL, nullptr);
            DrawRun(&expected, table, c.penX, lineTop, text, 0, text.size() - 1);
            EXPECT_EQ(canvas.pixels, expected.pixels);
            EXPECT_TRUE(canvas.HasInk());

            Canvas shortcut(140, 50);
            if (c.align == UI_ALIGN_CENTRE) {
                UIDrawTextCentred(&shortcut.painter, text.data(), x, y, width, height,
                                  TEXT_COLOUR, UI_FONT_SMALL, nullptr);
                EXPECT_EQ(shortcut.pixels, expected.pixels);
            }
            if (c.align == UI_ALIGN_LEFT) {
                UIDrawTextLeft(&shortcut.painter, text.data(), x, y, width, height, TEXT_COLOUR,
                               UI_FONT_SMALL, nullptr);
                EXPECT_EQ(shortcut.pixels, expected.pixels);
            }
        }
    }
    EXPECT_TRUE(oddWidthSeen);

    // Null text draws nothing, whatever the alignment.
    Canvas canvas(140, 50), blank(140, 50);
    for (int32_t align = 0; align < 4; align++) {
        UIDrawText(&canvas.painter, nullptr, x, y, width, height, TEXT_COLOUR, align, 0, nullptr);
    }
    EXPECT_EQ(canvas.pixels, blank.pixels);
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
    UIDrawText(&canvas.painter, text.data(), 3, 2, width, 0, TEXT_COLOUR, UI_ALIGN_WRAP,
               UI_FONT_LARGE, nullptr);
    for (const WrappedRun &run : runs) {
        DrawRun(&expected, table, 3, 2 + run.line * lineHeight, text, run.from, run.to);
    }
    EXPECT_EQ(canvas.pixels, expected.pixels);
    EXPECT_EQ(UIMeasureTextHeight(text.data(), width, UI_FONT_LARGE), lines * lineHeight);
}

TEST_F(FontTest, WrapBreaksAtSpacesAndEndsOnWordsWiderThanTheBox) {
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
    ExpectWrap("a bcdefgh", PixelWidth(table, "bcd"),
               {{0, 1, 0}, {2, 5, 1}, {5, 8, 2}, {8, 9, 3}}, 4);
    // A box narrower than any glyph: one character per line, all of them.
    ExpectWrap("WWWW", 1, {{0, 1, 0}, {1, 2, 1}, {2, 3, 2}, {3, 4, 3}}, 4);
    ExpectWrap("WWWW", 0, {{0, 1, 0}, {1, 2, 1}, {2, 3, 2}, {3, 4, 3}}, 4);
}

TEST_F(FontTest, ClipCutsAtThePixelWhileThePenAdvances) {
    uiScale = 150;
    int32_t lineHeight, boxHeight;
    const uint8_t *table = UIFontSelect(UI_FONT_LARGE, &lineHeight, &boxHeight);
    std::vector<uint32_t> text = Wide("HHHH");
    Canvas whole(120, 60);
    DrawRun(&whole, table, 2, 4, text, 0, 4);

    // Device sides are scaled one by one: x 3 -> 4 (4.5), right (3 + 3) -> 9,
    // although 3 wide alone scales to 4. Likewise y 2 -> 3, bottom 22 -> 33.
    UIElement clip = {};
    clip.x = 3;
    clip.width = 3;
    clip.y = 2;
    clip.height = 20;
    Canvas clipped(120, 60);
    DrawRun(&clipped, table, 2, 4, text, 0, 4, &clip);
    for (int32_t y = 0; y < 60; y++) {
        for (int32_t x = 0; x < 120; x++) {
            bool inside = x >= 4 && x < 9 && y >= 3 && y < 33;
            ASSERT_EQ(clipped.At(x, y), inside ? whole.At(x, y) : BACKGROUND) << x << "," << y;
        }
    }

    // A clip over the last glyph only: the glyphs before it draw nothing but
    // still move the pen, so the last one lands where it would unclipped.
    int32_t lastPen = 2 + 3 * GlyphOf(table, 'H').advance;
    clip.x = lastPen * 100 / 150 + 1;
    clip.width = 40;
    clip.y = 0;
    clip.height = 40;
    Canvas tail(120, 60);
    int32_t pen = 2;
    for (int32_t i = 0; i < 4; i++) {
        int32_t advance =
            UIDrawGlyph(&tail.painter, uiFontBlob, table, pen, 4, 'H', TEXT_COLOUR, &clip);
        EXPECT_EQ(advance, GlyphOf(table, 'H').advance);
        pen += advance;
    }
    int32_t clipLeft = clip.x * 150 / 100;
    EXPECT_LT(clipLeft, pen);
    for (int32_t y = 0; y < 60; y++) {
        for (int32_t x = 0; x < 120; x++) {
            ASSERT_EQ(tail.At(x, y), x >= clipLeft ? whole.At(x, y) : BACKGROUND) << x << "," << y;
        }
    }
    EXPECT_TRUE(tail.HasInk());

    // The painter's buffer bounds every glyph: one drawn across the edges
    // touches only pixels inside.
    Canvas small(6, 6);
    EXPECT_EQ(UIDrawGlyph(&small.painter, uiFontBlob, table, -3, -4, 'W', TEXT_COLOUR, nullptr),
              GlyphOf(table, 'W').advance);
}

TEST_F(FontTest, CoverageIsTheAlphaOfTheBlendRule) {
    const uint8_t *table = Table(UI_FONT_LARGE);
    const uint32_t background = 0xFF203040, colour = 0x00FF8010;
    for (uint32_t code : {uint32_t('@'), uint32_t('g'), 127u}) {
        SCOPED_TRACE(code);
        Glyph glyph = GlyphOf(table, code);
        Canvas canvas(40, 40, background);
        const int32_t penX = 5, lineTop = 3;
        UIDrawGlyph(&canvas.painter, uiFontBlob, table, penX, lineTop, code, colour, nullptr);
        int32_t full = 0, partial = 0;
        for (int32_t y = 0; y < 40; y++) {
            for (int32_t x = 0; x < 40; x++) {
                int32_t bx = x - penX - glyph.xOffset, by = y - lineTop - glyph.yOffset;
                uint32_t c = 0;
                if (bx >= 0 && bx < glyph.width && by >= 0 && by < glyph.height) {
                    c = uiFontBlob[glyph.bitmap + by * glyph.width + bx];
                }
                uint32_t expected = c == 0 ? background : UIBlend(background, c << 24 | colour);
                ASSERT_EQ(canvas.At(x, y), expected) << x << "," << y;
                full += c == 255;
                partial += c > 0 && c < 255;
            }
        }
        EXPECT_GT(full, 0);   // a full pixel takes the colour as it stands
        if (code != 127) {
            EXPECT_GT(partial, 0);
        }
    }
}

TEST(WideStrings, LengthCopyConcatenateAndCompare) {
    std::vector<uint32_t> a = Wide("Ping"), b = Wide("-Pong");
    EXPECT_EQ(UIWideLength(a.data()), 4u);
    EXPECT_EQ(UIWideLength(Wide("").data()), 0u);
    EXPECT_EQ(UIWideLength(nullptr), 0u);

    uint32_t buffer[16];
    for (uint32_t &code : buffer) code = 0xAAAAAAAA;
    EXPECT_EQ(UIWideCopy(buffer, a.data()), buffer);
    EXPECT_EQ(UIWideConcatenate(buffer, b.data()), buffer);
    EXPECT_EQ(UIWideCompare(buffer, Wide("Ping-Pong").data()), 0);
    EXPECT_EQ(buffer[10], 0xAAAAAAAAu);   // nothing written past the terminator

    EXPECT_EQ(UIWideCompare(Wide("ab").data(), Wide("abc").data()), -1);
    EXPECT_EQ(UIWideCompare(Wide("abc").data(), Wide("ab").data()), 1);
    EXPECT_EQ(UIWideCompare(Wide("abz").data(), Wide("abc").data()), 'z' - 'c');
    EXPECT_EQ(UIWideCompare(Wide("Abc").data(), Wide("abc").data()), 'A' - 'a');
    EXPECT_EQ(UIWideCompare(Wide("").data(), Wide("").data()), 0);
    // A short first string ends first even when the other's code is lower.
    std::vector<uint32_t> high = {0x10000, 0}, low = {1, 0};
    EXPECT_EQ(UIWideCompare(Wide("").data(), low.data()), -1);
    EXPECT_EQ(UIWideCompare(high.data(), low.data()), 0xFFFF);
}

}  // namespace
