// The value tooltip: a dark box under the control with the value's text, the
// parameter's help wrapped beneath it, and for the EQ the whole band's
// settings with the response curve. The box keeps clear of the window's
// edges, and opens upward where it would run off the bottom.
#include <math.h>
#include <stdio.h>

#include "editor/core.h"
#include "toolkit/font.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"
#include "vocabulary/params.h"

// Design units.
enum {
    EDGE_MARGIN = 20,          // the box stays this far from the left and right edges
    BOTTOM_ROOM = 29,          // below the box, or it opens upward
    TITLE_HEIGHT = 20,
    PLAIN_WIDTH = 120, PLAIN_HEIGHT = 20,
    HELP_WIDTH = 180, HELP_INSET = 10, HELP_TOP = 18, HELP_BOTTOM = 5, HELP_ROOM = 25,
    EQ_WIDTH = 240, EQ_HEIGHT = 160,
    GRAPH_SIDE = 20, GRAPH_TOP = 25, GRAPH_BOTTOM = 15,
    EQ_INSTANCES = 3, EQ_SAMPLES = 128,
    TEXT_MAX = 200,
};

static bool IsEqRow(int32_t parameter) {
    return parameter >= PARAM_EQ_MID_FREQUENCY && parameter <= PARAM_EQ_HIGH_GAIN + 2;
}

// The band of an EQ row, whichever of its dials it is, in the units the
// user thinks in.
static void EqBandText(const float *values, int32_t parameter, char *text, int32_t size) {
    int32_t instance = (parameter - PARAM_EQ_MID_FREQUENCY) % EQ_INSTANCES;
    auto gain = [&](int32_t row) { return 40.0f * values[row + instance] - 20.0f; };
    auto shelf = [&](int32_t row) { return (int32_t)(40.0f * powf(537.5f, values[row + instance])); };
    if (parameter < PARAM_EQ_LOW_FREQUENCY) {
        int32_t frequency = (int32_t)(50.0f * exp2f(8.7f * values[PARAM_EQ_MID_FREQUENCY + instance]));
        int32_t width = (int32_t)(100.0f * values[PARAM_EQ_MID_WIDTH + instance]);
        snprintf(text, size, "%.1fdB at %dHz, width %d%%", gain(PARAM_EQ_MID_GAIN), frequency, width);
    } else if (parameter < PARAM_EQ_HIGH_FREQUENCY) {
        snprintf(text, size, "%.1fdB at %dHz", gain(PARAM_EQ_LOW_GAIN), shelf(PARAM_EQ_LOW_FREQUENCY));
    } else {
        snprintf(text, size, "%.1fdB at %dHz", gain(PARAM_EQ_HIGH_GAIN), shelf(PARAM_EQ_HIGH_FREQUENCY));
    }
}

// The response on a black ground: the zero line across the middle, a faint
// wash above and below it, a stronger one between it and the curve, and the
// curve itself opaque. Boost lies above the line.
static void DrawResponse(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                         const float *samples, uint32_t colour) {
    int32_t left = x * uiScale / 100, top = y * uiScale / 100;
    int32_t w = width * uiScale / 100, h = height * uiScale / 100, half = height * uiScale / 200;
    int32_t zero = top + h / 2;
    UIDrawBlock(painter, left, top, w, h, paletteValues[PAL_PREVIEW_BACKGROUND_NORMAL]);
    if (w <= 0 || left < 0 || top < 0 || left + w > painter->width || top + h > painter->height)
        return;
    uint32_t rgb = colour & 0xFFFFFF;
    auto blend = [&](int32_t px, int32_t row, uint32_t alpha) {
        if (row < top || row >= top + h) return;
        uint32_t *pixel = &painter->pixels[(int64_t)row * painter->width + px];
        *pixel = UIBlend(*pixel, rgb | alpha << 24);
    };
    int32_t previous = zero;
    for (int32_t c = 0; c < w; c++) {
        float position = (float)c * EQ_SAMPLES / w;
        int32_t i0 = (int32_t)floorf(position), i1 = (int32_t)ceilf(position);
        if (i1 > EQ_SAMPLES - 1) i1 = EQ_SAMPLES - 1;
        if (i0 > EQ_SAMPLES - 1) i0 = EQ_SAMPLES - 1;
        float f = position - floorf(position);
        float v = -samples[i0] * (1.0f - f) + -samples[i1] * f;
        v = v != v ? 0.0f : v < -1.0f ? -1.0f : v > 1.0f ? 1.0f : v;
        int32_t row = top + half + (int32_t)(v * half);
        if (row == top + h) row = top + h - 1;
        int32_t lo = row < zero ? row : zero, hi = row < zero ? zero : row;
        int32_t px = left + c;
        for (int32_t r = top; r <= lo && zero > top; r++) blend(px, r, (uint32_t)((r - top) * 85 / (zero - top)));
        for (int32_t r = hi; r <= top + h && h > zero - top; r++)
            blend(px, r, (uint32_t)(85 - (r - zero) * 85 / (h - (zero - top))));
        if (row != zero && zero > top) {
            for (int32_t r = lo; r <= hi; r++) blend(px, r, (uint32_t)(abs(r - zero) * 160 / (zero - top) + 90));
        }
        int32_t from = previous < row ? previous : row, to = previous < row ? row : previous;
        for (int32_t r = from; r <= to; r++) painter->pixels[(int64_t)r * painter->width + px] = rgb | 0xFF000000u;
        previous = row;
    }
}

void TooltipPaint(Editor *editor, UIWindow *window, Plugin *plugin, int32_t parameter,
                  const UIElement *element) {
    if (parameter < 0 || parameter >= PARAM_COUNT) return;
    const uint32_t *help = (const uint32_t *)PARAM_INFO[parameter].helpText;
    bool eq = IsEqRow(parameter);
    int32_t width = eq ? EQ_WIDTH : help ? HELP_WIDTH : PLAIN_WIDTH;
    int32_t height = eq ? EQ_HEIGHT
                   : help ? UIMeasureTextHeight(help, HELP_WIDTH - 2 * HELP_INSET, UI_FONT_SMALL) + HELP_ROOM
                          : PLAIN_HEIGHT;

    int32_t windowWidth = UIDesignFromDevice(window->painter.width);
    int32_t windowHeight = UIDesignFromDevice(window->painter.height);
    int32_t x = element->x + element->width / 2 - width / 2;
    if (x > windowWidth - EDGE_MARGIN - width) x = windowWidth - EDGE_MARGIN - width;
    if (x < EDGE_MARGIN) x = EDGE_MARGIN;
    int32_t y = element->y + element->height;
    if (y + height + BOTTOM_ROOM >= windowHeight) y = element->y - height;

    UIPainter *painter = &window->painter;
    UIDrawBlockScaled(painter, x, y, width, height, paletteValues[PAL_DRAG_OVERLAY_FILL], uiScale);
    UIDrawOutlineScaled(painter, x, y, width, height, paletteValues[PAL_DRAG_OVERLAY_BORDER], 1, uiScale);

    char text[TEXT_MAX];
    if (eq) EqBandText(editor->editorValue, parameter, text, sizeof text);
    else ParamFormatValue(editor, parameter, text, sizeof text, editor->editorValue[parameter]);
    uint32_t title[TEXT_MAX];
    int32_t n = 0;
    for (; text[n]; n++) title[n] = (uint8_t)text[n];
    title[n] = 0;
    UIDrawTextCentred(painter, title, x, y, width, TITLE_HEIGHT, paletteValues[PAL_TXT_DEFAULT],
                      UI_FONT_MEDIUM, nullptr);

    if (help && !eq) {
        UIDrawText(painter, help, x + HELP_INSET, y + HELP_TOP, width - 2 * HELP_INSET,
                   height - HELP_TOP - HELP_BOTTOM, paletteValues[PAL_TXT_DRAG_OVERLAY_SECONDARY],
                   UI_ALIGN_WRAP, UI_FONT_SMALL, nullptr);
    }
    if (eq && editor->meter) {
        UIEditorSend(editor, window, plugin, UI_ASK_EQ_RESPONSE,
                     (parameter - PARAM_EQ_MID_FREQUENCY) % EQ_INSTANCES, nullptr);
        DrawResponse(painter, x + GRAPH_SIDE, y + GRAPH_TOP, width - 2 * GRAPH_SIDE,
                     height - GRAPH_TOP - GRAPH_BOTTOM, editor->meter->eqCurve,
                     paletteValues[PAL_PREVIEW]);
    }
}
