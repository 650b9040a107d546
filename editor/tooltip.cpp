// The value tooltip: a dark box under the control with the value's text, the
// parameter's help wrapped beneath it, and for the EQ the whole band's
// settings with the response curve. The box keeps clear of the window's
// edges, and opens upward where it would run off the bottom.
#include <math.h>
#include <stdio.h>

#include "editor/core.h"
#include "editor/unit_views.h"
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
    EQ_INSTANCES = 3,
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
    if (eq) {
        DrawEqResponse(editor, window, plugin, (parameter - PARAM_EQ_MID_FREQUENCY) % EQ_INSTANCES,
                       x + GRAPH_SIDE, y + GRAPH_TOP, width - 2 * GRAPH_SIDE,
                       height - GRAPH_TOP - GRAPH_BOTTOM);
    }
}
