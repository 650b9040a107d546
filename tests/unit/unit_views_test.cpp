// The unit views drawn into a bare pixel buffer: the compressor's meter from
// the meter block, the trance gate's steps and presses against the real
// parameter table and ParamSet, and the response graph.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "editor/unit_views.h"
#include "shell/plugin.h"
#include "tests/support/canvas.h"
#include "toolkit/font.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"

namespace {

const uint32_t BACKGROUND = 0xFF203040;

int32_t ProgramAnswer(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                      int64_t argument, void *data) {
    if (message == UI_ASK_PARAM_SET) ParamSet(plugin, (int32_t)argument, *(float *)data);
    if (message == UI_ASK_PARAM_FACTS) ((UIParamFacts *)data)->defaultValue = PARAM_INFO[argument].defaultValue;
    return 0;
}

UIToken Word(const char *text) { return {text, strlen(text), UI_TOKEN_STRING}; }

struct Views : ::testing::Test {
    Plugin *plugin = (Plugin *)calloc(1, sizeof(Plugin));
    Editor *editor = &plugin->context;
    Canvas canvas{240, 120, BACKGROUND};
    UIWindow window = {};
    int32_t savedScale = uiScale;
    const uint8_t *savedFont = uiFontBlob;

    void SetUp() override {
        UIFontUseEmbedded();
        plugin->context.meter = &plugin->meter;
        for (int32_t row = 0; row < PARAM_COUNT; row++) editor->editorValue[row] = PARAM_INFO[row].defaultValue;
        window.painter = canvas.painter;
        window.editorMessage = ProgramAnswer;
        uiScale = 100;
        UIPaletteLoad(UI_SKIN_SHIPPED);
    }
    void TearDown() override {
        free(plugin);
        uiScale = savedScale;
        uiFontBlob = savedFont;
        UIPaletteLoad(UI_SKIN_SHIPPED);
    }
    void Clear() { canvas.pixels.assign(canvas.pixels.size(), BACKGROUND); }
    void Send(UIElement &element, UIMessage message, void *data = nullptr) {
        element.handler(editor, &window, plugin, &element, message, data);
    }
    // An element of `kind` as the interface file's parser offers it.
    UIElement Make(const char *kind, std::vector<UIToken> pairs, int32_t x, int32_t y, int32_t w,
                   int32_t h, int32_t param = -1) {
        UIElement element = UIElementDefault();
        element.x = x, element.y = y, element.width = w, element.height = h, element.param = param;
        UIMakeElement offer = {&element, Word(kind), pairs.data(), pairs.size()};
        EXPECT_TRUE(UnitViewsMakeElement(&offer)) << kind;
        return element;
    }
    int32_t Decoded(int32_t row) { return ParamDecodeWhole(editor->editorValue[row]) & 0xFFFF; }
};

TEST_F(Views, compressor_bars_numbers_and_mark_follow_the_levels_of_their_instance) {
    const int32_t X = 20, Y = 30, W = 76;
    UIElement view = Make("compressor_view", {Word("index"), Word("1")}, X, Y, W, 40);
    MeterBlock &meter = plugin->meter;
    editor->editorValue[PARAM_COMP_ENABLE] = editor->editorValue[PARAM_COMP_ENABLE + 1] = 1.0f;
    editor->editorValue[PARAM_COMP_THRESHOLD + 1] = 1.0f;   // the mark at the far right

    // The mark runs over both bars, from above the first to below the second.
    meter.compressorInputDb[1] = -30.0f, meter.compressorOutputDb[1] = 2.0f;
    Send(view, UI_MSG_PAINT);
    EXPECT_NE(canvas.At(X + W - 4, Y + 1), BACKGROUND);
    EXPECT_NE(canvas.At(X + W - 4, Y + 38), BACKGROUND);
    EXPECT_EQ(canvas.At(X + W - 5, Y + 1), BACKGROUND);

    // The numbers, alone: bars and mark made invisible, the rest must be the
    // text exactly as the font draws it, or nothing below -60 dB.
    paletteValues[PAL_COMPRESSOR_BAR] = paletteValues[PAL_COMPRESSOR_BAR_CLIPPING] = BACKGROUND;
    paletteValues[PAL_COMPRESSOR_THRESHOLD_MARKER] = 0;
    struct Case { float input, output; const char32_t *top, *bottom; };
    for (const Case &c : {Case{-30.0f, 2.0f, U"-30", U"2"}, Case{-50.9f, -70.0f, U"-50", U""},
                          Case{-70.0f, -INFINITY, U"", U""}}) {
        meter.compressorInputDb[1] = c.input, meter.compressorOutputDb[1] = c.output;
        Clear();
        Send(view, UI_MSG_PAINT);
        Canvas expected(240, 120, BACKGROUND);
        UIDrawTextCentred(&expected.painter, (const uint32_t *)c.top, X, Y, W, 20,
                          paletteValues[PAL_TXT_DEFAULT], UI_FONT_SMALL, nullptr);
        UIDrawTextCentred(&expected.painter, (const uint32_t *)c.bottom, X, Y + 20, W, 20,
                          paletteValues[PAL_TXT_DEFAULT], UI_FONT_SMALL, nullptr);
        EXPECT_EQ(canvas.pixels, expected.pixels) << c.input << " " << c.output;
        EXPECT_EQ(expected.Changed() > 0, *c.top != 0);
    }

    // Switched off (0.5 is not on): nothing at all, not even the mark.
    UIPaletteLoad(UI_SKIN_SHIPPED);
    editor->editorValue[PARAM_COMP_ENABLE + 1] = 0.5f;
    Clear();
    Send(view, UI_MSG_PAINT);
    EXPECT_EQ(canvas.Changed(), 0);
}

TEST_F(Views, gate_rows_show_left_over_what_the_right_follows_and_presses_flip_one_step_of_their_row) {
    const int32_t X = 30, Y = 40, LEFT = PARAM_GATE_LEFT + 2, RIGHT = PARAM_GATE_RIGHT + 2;
    UIElement gate = Make("trancegate", {}, X, Y, 157, 28, LEFT);
    const int32_t start = Decoded(LEFT);
    editor->editorValue[RIGHT] = ParamEncodeWhole(0x00FF);
    // The pattern a row shows, read from the middle of each block.
    auto shown = [&](int32_t rowY) {
        Clear();
        Send(gate, UI_MSG_PAINT);
        int32_t pattern = 0;
        for (int32_t step = 0; step < 16; step++)
            pattern |= (canvas.At(X + 10 * step + 3, rowY + 6) == paletteValues[PAL_TRANCEGATE_STEP_ON]) << step;
        return pattern;
    };
    auto press = [&](int32_t dx, int32_t dy) {
        UIPointerInfo pointer = {X + dx, Y + dy};
        Send(gate, UI_MSG_LEFT_DOWN, &pointer);
    };
    EXPECT_EQ(shown(Y + 15), start);   // without stereo the bottom row is the left pattern too
    // The gap left of a block belongs to it; the last block ends the steps.
    press(9, 5);
    EXPECT_EQ(Decoded(LEFT), start ^ 1 << 1);
    press(156, 5);
    press(0, 5);
    EXPECT_EQ(shown(Y), start ^ 1 << 1 ^ 1 << 15 ^ 1);
    // With stereo the bottom row shows and edits the right pattern; a reset
    // puts back only the left.
    editor->editorValue[PARAM_GATE_STEREO + 2] = 0.5f;
    EXPECT_EQ(shown(Y + 15), 0x00FF);
    press(9, 20);
    Send(gate, UI_MSG_RESET);
    EXPECT_EQ(Decoded(LEFT), start);
    EXPECT_EQ(Decoded(RIGHT), 0x00FF ^ 1 << 1);
    // Disabled: it takes no press, and one dark block covers the view and its margin.
    gate.disabled = 1;
    press(9, 5);
    EXPECT_EQ(Decoded(LEFT), start);
    Clear();
    Send(gate, UI_MSG_PAINT);
    uint32_t dim = canvas.At(X - 4, Y - 4);
    EXPECT_EQ(canvas.At(X + 3, Y + 6), dim);
    EXPECT_EQ(canvas.At(X + 157 + 3, Y + 28 + 3), dim);
    EXPECT_EQ(canvas.Changed(), (157 + 8) * (28 + 8));
}

// The row of the line in each column: the pixels set in the colour, unblended.
std::vector<int32_t> LineRows(const Canvas &canvas, int32_t left, int32_t top, int32_t width,
                              int32_t height, uint32_t colour) {
    std::vector<int32_t> rows;
    for (int32_t x = left; x < left + width; x++) {
        int32_t found = -1;
        for (int32_t y = top; y < top + height && found < 0; y++)
            if (canvas.At(x, y) == (0xFF000000 | colour)) found = y;
        rows.push_back(found);
    }
    return rows;
}

TEST_F(Views, graph_puts_the_line_at_zero_and_at_either_limit_with_ramps_around_it) {
    const uint32_t RGB = 0x40C0FF;
    float samples[128] = {};
    uiScale = 200;   // at double size: from (20, 10), 200 by 80
    UIDrawResponseGraph(&window, 10, 5, 100, 40, samples, RGB);
    EXPECT_EQ(LineRows(canvas, 20, 10, 200, 80, RGB), std::vector<int32_t>(200, 50));
    // Faint above the line, rising toward it; falling away below it.
    auto green = [&](int32_t y) { return (canvas.At(27, y) >> 8) & 0xFF; };
    EXPECT_EQ(canvas.At(27, 10), paletteValues[PAL_PREVIEW_BACKGROUND_NORMAL]);
    for (int32_t y = 10; y + 2 < 50; y++) EXPECT_LE(green(y), green(y + 1)) << y;
    for (int32_t y = 51; y + 1 < 90; y++) EXPECT_GE(green(y), green(y + 1)) << y;
    EXPECT_LT(green(49), 0xC0 / 2);
    uiScale = 100;
    Clear();
    // Column 0 draws from the zero line, so the limits are read from column 1 on.
    for (float &sample : samples) sample = 1.5f;
    UIDrawResponseGraph(&window, 10, 5, 100, 40, samples, RGB);
    EXPECT_EQ(LineRows(canvas, 11, 5, 99, 40, RGB), std::vector<int32_t>(99, 5));
    for (float &sample : samples) sample = -1.0f;
    UIDrawResponseGraph(&window, 10, 5, 100, 40, samples, RGB);
    EXPECT_EQ(LineRows(canvas, 11, 5, 99, 40, RGB), std::vector<int32_t>(99, 44));
    // A NaN lies on the zero line; a rectangle past the buffer's edge is only filled.
    samples[0] = NAN;
    UIDrawResponseGraph(&window, 10, 5, 100, 40, samples, RGB);
    EXPECT_EQ(LineRows(canvas, 10, 5, 1, 40, RGB)[0], 25);
    Clear();
    UIDrawResponseGraph(&window, 200, 100, 100, 40, samples, RGB);
    EXPECT_EQ(LineRows(canvas, 200, 100, 40, 20, RGB), std::vector<int32_t>(40, -1));
}

}  // namespace
