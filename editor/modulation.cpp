// Modulation assignment. A destination picker shows the short name of the
// row its Destination holds. A press on it starts the assign mode: the
// toolkit's paint pass dims every control that can't take modulation, and
// the next press decides (a modulatable control becomes the destination, the
// "Remove assign" box clears it, anything else cancels). While the pointer
// rests on a control, the picker that points at it lights up.
//
// The tab switcher picks which modulator's controls show. A tab whose
// modulator has a destination draws the last second of its output from the
// meter ring, newest at the right.
#include "editor/modulation.h"

#include <string.h>

#include "toolkit/images.h"
#include "toolkit/font.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"
#include "vocabulary/context.h"
#include "vocabulary/params.h"

// ---- destination pickers ----

static const int32_t HINT_MARGIN = 3;   // design units round a highlighted picker

static void DrawLabel(UIWindow *window, const UIElement *element, const char *label,
                      uint32_t colour) {
    uint32_t text[32];
    size_t length = strlen(label);
    if (length > 31) length = 31;
    for (size_t i = 0; i < length; i++) text[i] = (uint8_t)label[i];
    text[length] = 0;
    UIDrawTextCentred(&window->painter, text, element->x, element->y, element->width,
                      element->height, colour, UI_FONT_SMALL, window->painter.textClip);
}

static void PaintPicker(Editor *editor, UIWindow *window, const UIElement *element) {
    const UIAssignTarget *target = &window->assignTarget;
    // The row being assigned shows "Click target..." over the dimming instead.
    if (target->param >= 0 && target->param == element->param) return;
    UIPainter *painter = &window->painter;
    int32_t n = ParamDecodeWhole(editor->editorValue[element->param]);
    const UIElement *hovered = window->hoveredIndex >= 0 && !window->openPage
                                   ? &window->elements[window->hoveredIndex] : nullptr;
    if (target->param < 0 && hovered && hovered->param == n) {
        if (n < 0) {
            DrawLabel(window, element, "(assign)", paletteValues[PAL_TXT_MAIN_LABEL_DIM]);
            return;
        }
        UIDrawBlockScaled(painter, element->x - HINT_MARGIN, element->y - HINT_MARGIN,
                          element->width + 2 * HINT_MARGIN, element->height + 2 * HINT_MARGIN,
                          paletteValues[PAL_TARGET_HINT_BORDER], uiScale);
        UIDrawBlockScaled(painter, element->x, element->y, element->width, element->height,
                          paletteValues[PAL_TARGET_HINT_FILL], uiScale);
    }
    if (n < 0 || n >= PARAM_COUNT) {
        DrawLabel(window, element, "(assign)", paletteValues[PAL_TXT_MAIN_LABEL_DIM]);
        return;
    }
    // Modulation of a unit that is switched off moves nothing that is heard.
    int32_t owner = PARAM_INFO[n].ownerEnable;
    bool silent = owner && editor->editorValue[owner] < 0.5f;
    DrawLabel(window, element, PARAM_INFO[n].shortName,
              paletteValues[silent ? PAL_TXT_MAIN_LABEL_DISABLED : PAL_TXT_MAIN_LABEL]);
    if (silent) {
        UIDrawOutlineScaled(painter, element->x, element->y, element->width, element->height,
                            paletteValues[PAL_ASSIGN_INVALID_OUTLINE], 1, uiScale);
    }
}

void DestinationPicker(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                       UIMessage message, void *data) {
    if (element->param < 0 || element->param >= PARAM_COUNT) return;
    UIAssignTarget *target = &window->assignTarget;
    switch (message) {
    case UI_MSG_PAINT:
        // The picker's right click is no parameter menu.
        element->flags |= UI_ELEMENT_OWN_RIGHT_CLICK;
        PaintPicker(editor, window, element);
        break;
    case UI_MSG_LEFT_DOWN:
        if (target->param >= 0) {
            target->param = -1;
            break;
        }
        target->param = element->param;
        target->element = element;
        target->width = UI_ASSIGN_TEXT_WIDTH;
        target->x = element->x + element->width / 2 - UI_ASSIGN_TEXT_WIDTH / 2;
        target->y = element->y + element->height + 4;
        break;
    case UI_MSG_RESET: {
        // The default is no destination.
        float value = PARAM_INFO[element->param].defaultValue;
        UIEditorSend(editor, window, plugin, UI_ASK_PARAM_SET, element->param, &value);
        break;
    }
    default:
        break;
    }
}

// ---- the tab switcher ----

static const int32_t TAB_COUNT = 3;
static const int32_t SELECTED_TAB_ALPHA = 160;
static const int32_t HISTORY_LENGTH = 128;
static const uint32_t WHITE = 0xFFFFFF;

static uint32_t Mix(uint32_t a, uint32_t b, float f) {
    uint32_t out = 0;
    for (int32_t shift = 0; shift < 24; shift += 8) {
        float ca = (float)(a >> shift & 0xFF), cb = (float)(b >> shift & 0xFF);
        out |= (uint32_t)(ca + (cb - ca) * f) << shift;
    }
    return out;
}

// The tab's height for a value: 0 to 1 spans the middle 60 percent; anything
// else stands at the bottom (below 0, or not a number) or the top.
static float TraceLevel(float v) {
    if (v >= 0.0f && v <= 1.0f) return 1.0f - (0.6f * v + 0.2f);
    return v > 1.0f ? 0.2f : 0.8f;
}

// One second of the modulator's output across the tab; the oldest end fades in.
static void PaintTrace(UIPainter *painter, const MeterBlock *meter, int32_t t, int32_t left,
                       int32_t top, int32_t w, int32_t h) {
    int32_t newest = MeterRead(meter->modHistoryIndex[t]) % HISTORY_LENGTH;
    if (newest < 0) newest += HISTORY_LENGTH;
    uint32_t fill = paletteValues[PAL_MOD_TAB_COL_2], line = paletteValues[PAL_MOD_TAB_COL_1];
    int32_t previous = -1;
    for (int32_t i = 0; i < w; i++) {
        int32_t r = newest + HISTORY_LENGTH - w + i;
        if (r >= HISTORY_LENGTH) r -= HISTORY_LENGTH;
        if (r < 0 || r >= HISTORY_LENGTH) continue;
        float u = (float)i / w;
        int32_t y = top + (int32_t)(TraceLevel(MeterRead(meter->modHistory[t][r])) * h);
        uint32_t colour = u > 0.94f ? WHITE : u > 0.83f ? Mix(line, WHITE, (u - 0.83f) / 0.11f) : line;
        float a = u <= 0.25f ? u * 4.0f * 255.0f : 255.0f;
        int32_t x = left + i;
        for (int32_t row = top; row < y; row++)
            UIBlendPixel(painter, x, row, fill, (int32_t)(a * (float)(row - top) / h));
        for (int32_t row = y; row < top + h; row++) {
            float below = a * ((float)(top + h - row) / h + 0.2f);
            UIBlendPixel(painter, x, row, fill, (int32_t)(below < a ? below : a));
        }
        // Two pixels thick, and joined to the last column so that no gap shows.
        int32_t from = previous < 0 ? y : (previous < y ? previous : y);
        int32_t to = previous < 0 ? y : (previous > y ? previous : y);
        for (int32_t row = from; row <= to + 1; row++)
            UIBlendPixel(painter, x, row, colour, (int32_t)a);
        previous = y;
    }
}

static void PaintTabs(Editor *editor, UIWindow *window, const UIElement *element) {
    UIPainter *painter = &window->painter;
    UIImage *focused = UIImageGet(IMAGE_MODULATOR_BUTTON_FOCUSED);
    UIImage *plain = UIImageGet(IMAGE_MODULATOR_BUTTON_NOT_FOCUSED);
    const MeterBlock *meter = editor->meter;
    for (int32_t t = 0; t < TAB_COUNT; t++) {
        int32_t x = element->x + t * plain->designWidth;
        bool selected = window->tabBits & (1u << t);
        if (!meter || !MeterRead(meter->modulatorUsed[t])) {
            UIDrawImage(painter, selected ? focused : plain, x, element->y, true);
            continue;
        }
        UIDrawBlockScaled(painter, x, element->y, plain->designWidth, plain->designHeight,
                          paletteValues[PAL_PREVIEW_BACKGROUND_NORMAL], uiScale);
        if (selected) UIDrawImageAlpha(painter, focused, x, element->y, SELECTED_TAB_ALPHA);
        PaintTrace(painter, meter, t, UIDeviceFromDesign(x), UIDeviceFromDesign(element->y),
                   UIDeviceFromDesign(plain->designWidth), UIDeviceFromDesign(plain->designHeight));
    }
    UIDrawImage(painter, UIImageGet(IMAGE_MODULATOR_LABELS), element->x, element->y, true);
}

void TabSwitcher(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                 UIMessage message, void *data) {
    switch (message) {
    case UI_MSG_PAINT:
        PaintTabs(editor, window, element);
        break;
    case UI_MSG_LEFT_DOWN: {
        if (element->width <= 0) break;
        int32_t tab = (((const UIPointerInfo *)data)->x - element->x) * TAB_COUNT / element->width;
        if (tab > TAB_COUNT - 1) tab = TAB_COUNT - 1;
        if (tab < 0) tab = 0;
        window->tabBits = (window->tabBits & ~7u) | 1u << tab;
        window->needsRepaint = 1;
        break;
    }
    default:
        break;
    }
}

bool ModulationMakeSwitcher(UIMakeElement *offer) {
    static const char KIND[] = "modulation_switcher";
    if (offer->kind.length != sizeof KIND - 1 || memcmp(offer->kind.text, KIND, sizeof KIND - 1))
        return false;
    offer->element->handler = TabSwitcher;
    return true;
}
