// The unit views. The compressor's meter shows two bars, the level that the
// detector hears and the level that leaves the unit, each from -40 dB (empty)
// to 0 dB (full) with its number over it, and the threshold as a mark across
// both. The trance gate's view shows the 16 steps of the left pattern on top
// and of the pattern the right channel follows below; a press flips the step
// under the pointer at once (no drag, no gesture). The response graph draws
// the EQ's sketch in the tooltip of an EQ dial.
//
// Levels come from the meter block, written by the audio thread without a
// lock: each is one float, and a late one shows for a frame. A paint
// allocates nothing.
#include "editor/unit_views.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "toolkit/font.h"
#include "toolkit/menu.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"
#include "vocabulary/context.h"
#include "vocabulary/params.h"


static void SetValue(Editor *editor, UIWindow *window, Plugin *plugin, int32_t param, float value) {
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_SET, param, &value);
}

// ---- the compressor's meter ----

static const float METER_RANGE_DB = 40.0f;    // a bar runs from -40 dB to 0 dB
static const float QUIETEST_NUMBER_DB = -60.0f;
enum {
    METER_INSET = 3,          // the bars stand this far inside the element
    METER_BAR_HEIGHT = 16,
    METER_ROW = 20,           // the output's bar and number lie one row lower
    METER_OUTPUT_BAR_Y = 21,
    MARK_WIDTH = 3,
    MARK_HEIGHT = 38,
};

static const uint32_t COMPRESSOR_INSTANCES[3] = {0, 1, 2};

static void PaintLevelBar(UIPainter *painter, float db, int32_t x, int32_t y, int32_t width) {
    float fraction = db / METER_RANGE_DB + 1.0f;
    if (!(fraction >= 0.0f)) fraction = 0.0f;   // minus infinity (silence) and NaN too
    bool clipping = fraction > 1.0f;
    int32_t length = (int32_t)((width - 2 * METER_INSET) * (clipping ? 1.0f : fraction));
    UIDrawBlock(painter, UIDeviceFromDesign(x + METER_INSET), UIDeviceFromDesign(y + METER_INSET),
                UIDeviceFromDesign(length), UIDeviceFromDesign(METER_BAR_HEIGHT),
                paletteValues[clipping ? PAL_COMPRESSOR_BAR_CLIPPING : PAL_COMPRESSOR_BAR]);
}

// The whole decibels, truncated; below -60 dB the number says nothing useful
// and is left out.
static void PaintLevelNumber(UIPainter *painter, float db, int32_t x, int32_t y, int32_t width) {
    if (!(db >= QUIETEST_NUMBER_DB)) return;
    if (db > 999.0f) db = 999.0f;
    char digits[16];
    uint32_t text[16];
    snprintf(digits, sizeof digits, "%d", (int)db);
    int32_t i = 0;
    for (; digits[i]; i++) text[i] = (uint8_t)digits[i];
    text[i] = 0;
    UIDrawTextCentred(painter, text, x, y, width, METER_ROW, paletteValues[PAL_TXT_DEFAULT],
                      UI_FONT_SMALL, painter->textClip);
}

static void PaintCompressor(Editor *editor, UIWindow *window, const UIElement *element) {
    uint32_t instance = element->context ? *(const uint32_t *)element->context : 0;
    // A unit that is off shows its panel bare: no bars, no mark.
    if (!(editor->editorValue[PARAM_COMP_ENABLE + instance] > 0.5f) || !editor->meter) return;
    UIPainter *painter = &window->painter;
    int32_t x = element->x, y = element->y, width = element->width;
    float input = MeterRead(editor->meter->compressorInputDb[instance]);
    float output = MeterRead(editor->meter->compressorOutputDb[instance]);
    PaintLevelBar(painter, input, x, y, width);
    PaintLevelNumber(painter, input, x, y, width);
    PaintLevelBar(painter, output, x, y + METER_OUTPUT_BAR_Y - METER_INSET, width);
    PaintLevelNumber(painter, output, x, y + METER_ROW, width);
    float threshold = editor->editorValue[PARAM_COMP_THRESHOLD + instance];
    int32_t markX = (int32_t)((width - 2 * METER_INSET) * threshold + (x + METER_INSET) - 1);
    UIDrawBlock(painter, UIDeviceFromDesign(markX), UIDeviceFromDesign(y + 1),
                UIDeviceFromDesign(MARK_WIDTH), UIDeviceFromDesign(MARK_HEIGHT),
                paletteValues[PAL_COMPRESSOR_THRESHOLD_MARKER]);
}

void CompressorViewHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                           UIMessage message, void *data) {
    if (message == UI_MSG_PAINT) PaintCompressor(editor, window, element);
    if (message == UI_MSG_GET_ROLE) *(uint32_t *)data = 2;
}

// ---- the trance gate's steps ----

// The element's parameter is the gate's Left pattern; its sisters stand at
// fixed distances in the table.
enum {
    GATE_STEPS = 16,
    GATE_STEREO_FROM_LEFT = PARAM_GATE_STEREO - PARAM_GATE_LEFT,
    GATE_RIGHT_FROM_LEFT = PARAM_GATE_RIGHT - PARAM_GATE_LEFT,
    STEP_PITCH = 10,          // a step's block and the gap left of the next
    STEP_WIDTH = 7,
    STEP_HEIGHT = 13,
    BOTTOM_ROW_Y = 15,
    BOTTOM_ROW_PRESS_Y = 16,  // presses from here down are in the bottom row
    DISABLED_MARGIN = 4,      // the dimming covers the steps of the panel's picture too
};

// A pattern: bit s is step s, stored as a coded whole number.
static uint32_t Pattern(float value) { return (uint32_t)ParamDecodeWhole(value) & 0xFFFF; }

static bool GateStereo(const Editor *editor, int32_t left) {
    return editor->editorValue[left + GATE_STEREO_FROM_LEFT] >= 0.5f;
}

static void PaintGate(Editor *editor, UIWindow *window, const UIElement *element) {
    UIPainter *painter = &window->painter;
    int32_t x = element->x, y = element->y, left = element->param;
    if (element->disabled) {
        UIDrawBlock(painter, UIDeviceFromDesign(x - DISABLED_MARGIN),
                    UIDeviceFromDesign(y - DISABLED_MARGIN),
                    UIDeviceFromDesign(element->width + 2 * DISABLED_MARGIN),
                    UIDeviceFromDesign(element->height + 2 * DISABLED_MARGIN),
                    paletteValues[PAL_TRANCEGATE_DISABLED]);
        return;
    }
    uint32_t top = Pattern(editor->editorValue[left]);
    uint32_t bottom = GateStereo(editor, left)
                          ? Pattern(editor->editorValue[left + GATE_RIGHT_FROM_LEFT]) : top;
    // Blocks, not pictures: the off colour's alpha lets the panel show through.
    uint32_t on = paletteValues[PAL_TRANCEGATE_STEP_ON], off = paletteValues[PAL_TRANCEGATE_STEP_OFF];
    for (int32_t step = 0; step < GATE_STEPS; step++) {
        int32_t stepX = x + STEP_PITCH * step;
        UIDrawBlockScaled(painter, stepX, y, STEP_WIDTH, STEP_HEIGHT,
                          top >> step & 1 ? on : off, uiScale);
        UIDrawBlockScaled(painter, stepX, y + BOTTOM_ROW_Y, STEP_WIDTH, STEP_HEIGHT,
                          bottom >> step & 1 ? on : off, uiScale);
    }
}

// Without stereo both rows are the left pattern, so a press in either edits
// it and the bottom row follows.
static void PressGate(Editor *editor, UIWindow *window, Plugin *plugin, const UIElement *element,
                      const UIPointerInfo *pointer) {
    if (element->disabled) return;
    // The gap left of a block belongs to it.
    int32_t step = (pointer->x - element->x + 1) / STEP_PITCH;
    if (step < 0 || step >= GATE_STEPS) return;
    int32_t target = element->param;
    if (pointer->y - element->y >= BOTTOM_ROW_PRESS_Y && GateStereo(editor, element->param))
        target += GATE_RIGHT_FROM_LEFT;
    uint32_t pattern = Pattern(editor->editorValue[target]) ^ (1u << step);
    SetValue(editor, window, plugin, target, ParamEncodeWhole((int32_t)pattern));
}

void TranceGateViewHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                           UIMessage message, void *data) {
    int32_t left = element->param;
    if (left < PARAM_GATE_LEFT || left >= PARAM_GATE_LEFT + 3) return;
    switch (message) {
    case UI_MSG_PAINT:
        PaintGate(editor, window, element);
        break;
    case UI_MSG_LEFT_DOWN:
        PressGate(editor, window, plugin, element, (const UIPointerInfo *)data);
        break;
    case UI_MSG_RESET: {
        // Only the left pattern: the right one keeps what was drawn.
        if (element->disabled) break;
        UIParamFacts facts = {};
        UIEditorSend(editor, window, plugin, UI_ASK_PARAM_FACTS, left, &facts);
        SetValue(editor, window, plugin, left, facts.defaultValue);
        break;
    }
    default:
        break;
    }
}

// ---- making the two kinds ----

static bool KindIs(const UIToken &kind, const char *name) {
    size_t length = strlen(name);
    return kind.length == length && !memcmp(kind.text, name, length);
}

bool UnitViewsMakeElement(UIMakeElement *offer) {
    if (KindIs(offer->kind, "trancegate")) {
        offer->element->handler = TranceGateViewHandler;
        return true;
    }
    if (!KindIs(offer->kind, "compressor_view")) return false;
    // A missing or unusable `index` shows the first instance.
    long index = 0;
    const UIToken *given = UIPairValue(offer->pairs, offer->pairTokens, "index");
    if (given) {
        char text[UI_VALUE_MAX + 1];
        UITokenText(given, text);
        index = strtol(text, nullptr, 10);
        if (index < 0 || index > 2) index = 0;
    }
    offer->element->handler = CompressorViewHandler;
    offer->element->context = (void *)&COMPRESSOR_INSTANCES[index];
    return true;
}

// ---- the response graph ----

enum {
    GRAPH_SAMPLES = 128,
    FAINT_ALPHA = 85,         // the faint areas reach this at the zero line
    STRONG_ALPHA = 90,        // the area under the curve starts here at the zero line
    STRONG_RISE = 160,        // and rises by this much at the top
};

void UIDrawResponseGraph(UIWindow *window, int32_t x, int32_t y, int32_t width, int32_t height,
                         const float *samples, uint32_t colour) {
    UIPainter *painter = &window->painter;
    int32_t left = UIDeviceFromDesign(x), top = UIDeviceFromDesign(y);
    int32_t w = UIDeviceFromDesign(width), h = UIDeviceFromDesign(height);
    int32_t half = height * uiScale / 200, zero = top + h / 2;
    UIDrawBlock(painter, left, top, w, h, paletteValues[PAL_PREVIEW_BACKGROUND_NORMAL]);
    bool inside = left >= 0 && top >= 0 && left + w <= painter->width &&
                  top + h <= painter->height;
    // Under two rows there is no zero line to measure the ramps from.
    if (!inside || w == 0 || h < 2) return;
    uint32_t rgb = colour & 0xFFFFFF;
    int32_t above = zero - top, below = h - above;
    int32_t previous = zero;
    for (int32_t c = 0; c < w; c++) {
        float position = (float)c * GRAPH_SAMPLES / w;
        int32_t i0 = (int32_t)floorf(position), i1 = (int32_t)ceilf(position);
        if (i0 > GRAPH_SAMPLES - 1) i0 = GRAPH_SAMPLES - 1;
        if (i1 > GRAPH_SAMPLES - 1) i1 = GRAPH_SAMPLES - 1;
        float f = position - floorf(position);
        // Negated, so that a positive sample stands above the zero line.
        float v = -samples[i0] * (1.0f - f) + -samples[i1] * f;
        v = v != v ? 0.0f : v < -1.0f ? -1.0f : v > 1.0f ? 1.0f : v;
        int32_t row = top + half + (int32_t)(v * half);
        if (row == top + h) row = top + h - 1;
        int32_t lo = row < zero ? row : zero, hi = row < zero ? zero : row;
        int32_t column = left + c;
        for (int32_t r = top; r <= lo; r++)
            UIBlendPixel(painter, column, r, rgb, (r - top) * FAINT_ALPHA / above);
        for (int32_t r = hi; r <= top + h; r++)
            UIBlendPixel(painter, column, r, rgb, FAINT_ALPHA - (r - zero) * FAINT_ALPHA / below);
        if (row != zero) {
            for (int32_t r = lo; r <= hi; r++)
                UIBlendPixel(painter, column, r, rgb,
                             abs(r - zero) * STRONG_RISE / above + STRONG_ALPHA);
        }
        int32_t from = previous < row ? previous : row, to = previous < row ? row : previous;
        for (int32_t r = from; r <= to; r++) UIBlendPixel(painter, column, r, rgb, 255);
        previous = row;
    }
}

void DrawEqResponse(Editor *editor, UIWindow *window, Plugin *plugin, int32_t instance, int32_t x,
                    int32_t y, int32_t width, int32_t height) {
    if (!editor->meter || instance < 0 || instance > 2) return;
    UIEditorSend(editor, window, plugin, UI_ASK_EQ_RESPONSE, instance, nullptr);
    UIDrawResponseGraph(window, x, y, width, height, editor->meter->eqCurve,
                        paletteValues[PAL_PREVIEW]);
}

// ---- the preview rows' menu ----

static void PreviewChosen(UIMenuBuilder *builder) {
    ((UIPreviewRow *)builder->context)->harmonic = builder->choice == 1;
}

void OpenPreviewMenu(UIWindow *window, int32_t row) {
    if (row < 0 || row >= UI_PREVIEW_ROWS) return;
    static const char32_t *const LABELS[] = {U"Oscilloscope", U"Harmonic levels"};
    UIPreviewRow *preview = &window->previewRows[row];
    UIMenuShowList(window, nullptr, LABELS, 2, PreviewChosen, preview, preview->harmonic, -1, -1,
                   -1);
}
