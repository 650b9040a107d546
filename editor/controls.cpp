// The parameter controls. A dial (and the slider, which behaves as one) is
// dragged vertically with the pointer hidden: the press marks a gesture's
// begin and remembers the value, every motion asks the editor for the value
// the pointer's travel gives, and the release marks the end. The wheel steps
// the value, and a middle press or Alt with the left button resets it.
// Check boxes, radio buttons and the option pickers are push buttons that act
// on their click. A control of a unit that is switched off is disabled: it is
// drawn greyed and takes no press, wheel or reset.
#include "editor/controls.h"

#include <string.h>

#include "toolkit/font.h"
#include "toolkit/images.h"
#include "toolkit/menu.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"
#include "vocabulary/context.h"
#include "vocabulary/params.h"

static const float WHEEL_STEP_VALUE = 0.0002f;   // value per wheel unit; a notch is 72 units

// ---- what every control asks of the program ----

static bool IsParameter(int32_t param) { return param >= 0 && param < PARAM_COUNT; }

static void SetValue(Editor *editor, UIWindow *window, Plugin *plugin, int32_t param, float value) {
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_SET, param, &value);
}

static void MarkGesture(Editor *editor, UIWindow *window, Plugin *plugin, int32_t param,
                        bool begin) {
    uint8_t mark = begin;
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_GESTURE, param, &mark);
}

static void ResetToDefault(Editor *editor, UIWindow *window, Plugin *plugin,
                           const UIElement *element) {
    if (!IsParameter(element->param) || element->disabled) return;
    UIParamFacts facts = {};
    UIEditorSend(editor, window, plugin, UI_ASK_PARAM_FACTS, element->param, &facts);
    SetValue(editor, window, plugin, element->param, facts.defaultValue);
}

// ---- dials and the slider ----

// The value as the control shows it: an inverted dial runs the other way.
static float ShownValue(const Editor *editor, const UIElement *element) {
    float value = editor->editorValue[element->param];
    return element->flags & UI_ELEMENT_INVERT_DIAL ? 1.0f - value : value;
}

static void PaintDial(Editor *editor, UIWindow *window, const UIElement *element, UIDialKind kind) {
    const UIDialLook &look = uiDialLooks[kind];
    UIPainter *painter = &window->painter;
    int32_t x = element->x, y = element->y;
    float value = editor->editorValue[element->param];
    if (element->disabled) {
        UIDrawImage(painter, UIImageGet(look.disabledImage), x + look.disabledX,
                    y + look.disabledY, true);
    } else {
        const ParamInfo &info = PARAM_INFO[element->param];
        int32_t steps = PARAM_KIND[info.kind].optionCount ? PARAM_KIND[info.kind].optionCount
                                                          : info.stepCount;
        // The ring shows the value after the host's and the modulators' offsets.
        const MeterBlock *meter = editor->meter;
        UIDialFrames frames = UIDialFramesFor(
            value, steps, element->flags & UI_ELEMENT_INVERT_DIAL,
            meter ? MeterRead(meter->hostMod[element->param]) : 0.0f,
            meter ? MeterRead(meter->modOffset[element->param]) : 0.0f, meter && MeterRead(meter->audioActive));
        UIDrawImage(painter, UIImageFrame(look.ring, frames.ring), x, y + look.offsetY, true);
        UIDrawImage(painter, UIImageFrame(look.knob, frames.knob), x, y + look.offsetY, true);
    }
    if (!(element->flags & UI_ELEMENT_USED_INDICATOR)) return;
    if (element->disabled) {
        UIDrawImageAlpha(painter, UIImageGet(IMAGE_UNUSED_INDICATOR), x + look.unusedX,
                         y + look.unusedY, UI_DIAL_DISABLED_ALPHA);
    } else if (UIDialInUse(value, look.bipolar)) {
        UIDrawImage(painter, UIImageGet(IMAGE_USED_INDICATOR), x + look.usedX, y + look.usedY, true);
    } else {
        UIDrawImage(painter, UIImageGet(IMAGE_UNUSED_INDICATOR), x + look.unusedX,
                    y + look.unusedY, true);
    }
}

static void PaintSlider(Editor *editor, UIWindow *window, const UIElement *element) {
    if (element->disabled) {
        UIDrawImage(&window->painter, UIImageGet(IMAGE_SLIDER_DISABLED), element->x,
                    element->y + 1, true);
        return;
    }
    int32_t frame = UISliderFrame(editor->editorValue[element->param]);
    UIDrawImage(&window->painter, UIImageFrame(STRIP_SLIDER, frame), element->x - 3,
                element->y + 1, true);
}

// A drag past either end moves the remembered start with the pointer, so the
// value turns back at the first pixel the pointer turns back.
static void Drag(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                 const UIPointerInfo *pointer) {
    UIDragValue drag = {pointer->x, pointer->y, 0.0f};
    UIEditorSend(editor, window, plugin, EDITOR_MSG_DRAG_VALUE, element->param, &drag);
    float value = drag.value;
    if (value < 0.0f) {
        window->dragValueY -= value;
        value = 0.0f;
    } else if (value > 1.0f) {
        window->dragValueY += 1.0f - value;
        value = 1.0f;
    }
    if (element->flags & UI_ELEMENT_INVERT_DIAL) value = 1.0f - value;
    SetValue(editor, window, plugin, element->param, value);
}

// The body of the six dials and the slider; kind UI_DIAL_KIND_COUNT is the slider.
static void DialMessage(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                        UIMessage message, void *data, UIDialKind kind) {
    if (!IsParameter(element->param)) return;
    switch (message) {
    case UI_MSG_PAINT:
        if (kind == UI_DIAL_KIND_COUNT) PaintSlider(editor, window, element);
        else PaintDial(editor, window, element, kind);
        break;
    case UI_MSG_LEFT_DOWN:
        if (element->disabled) break;
        MarkGesture(editor, window, plugin, element->param, true);
        window->dragValueY = ShownValue(editor, element);
        window->dragElement = element;
        break;
    case UI_MSG_DRAG:
        Drag(editor, window, plugin, element, (const UIPointerInfo *)data);
        break;
    case UI_MSG_DRAG_REBASE:
        // The pointer was put back at the screen's middle: the drag goes on
        // from the value it has reached.
        if (*(const uint8_t *)data == 1) window->dragValueY = ShownValue(editor, element);
        break;
    case UI_MSG_DRAG_END:
        MarkGesture(editor, window, plugin, element->param, false);
        break;
    case UI_MSG_WHEEL: {
        if (element->disabled) break;
        int32_t delta = ((const UIPointerInfo *)data)->wheelDelta;
        float value = editor->editorValue[element->param] + delta * WHEEL_STEP_VALUE;
        SetValue(editor, window, plugin, element->param, Clamp01(value));
        break;
    }
    case UI_MSG_RESET:
        ResetToDefault(editor, window, plugin, element);
        break;
    default:
        break;
    }
}

#define DIAL_HANDLER(name, kind)                                                               \
    void name(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,            \
              UIMessage message, void *data) {                                                 \
        DialMessage(editor, window, plugin, element, message, data, kind);                     \
    }
DIAL_HANDLER(DialNormal, UI_DIAL_NORMAL)
DIAL_HANDLER(DialNormalBipolar, UI_DIAL_NORMAL_BIPOLAR)
DIAL_HANDLER(DialSmall, UI_DIAL_SMALL)
DIAL_HANDLER(DialSmallBipolar, UI_DIAL_SMALL_BIPOLAR)
DIAL_HANDLER(DialTiny, UI_DIAL_TINY)
DIAL_HANDLER(DialTinyBipolar, UI_DIAL_TINY_BIPOLAR)
DIAL_HANDLER(SliderHandler, UI_DIAL_KIND_COUNT)
#undef DIAL_HANDLER

// ---- check boxes and radio buttons ----

// The darkening over a pressed check box covers the box alone, not its label.
static const UIPressedRect CHECK_PRESSED = {4, 2, 11, 11, 0, 0};
static const int32_t DISABLED_CHECK_ALPHA = 79;

static bool IsChecked(const Editor *editor, const UIElement *element) {
    float value = editor->editorValue[element->param];
    return element->flags & UI_ELEMENT_RADIO ? value == element->value : value >= 0.5f;
}

void ToggleHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                   UIMessage message, void *data) {
    if (!IsParameter(element->param)) return;
    switch (message) {
    case UI_MSG_PAINT:
        // A right click on a check box opens no parameter menu.
        element->flags |= UI_ELEMENT_OWN_RIGHT_CLICK;
        // Repainted over the dimming of a pending assignment: lit, as it
        // can take the modulation.
        if (data && *(const uint8_t *)data == 1) {
            UIDrawBlockScaled(&window->painter, element->x + 1, element->y - 1, 17, 17,
                              paletteValues[PAL_MODULATABLE_CHECK_HIGHLIGHT], uiScale);
        }
        UIButtonMessage(editor, window, plugin, element, message, data);
        break;
    case UI_MSG_PAINT_FACE: {
        UIImage *image = UIImageGet(IsChecked(editor, element) ? IMAGE_CHECKBOX_ON
                                                               : IMAGE_CHECKBOX_OFF);
        if (element->disabled) {
            UIDrawImageAlpha(&window->painter, image, element->x, element->y, DISABLED_CHECK_ALPHA);
        } else {
            UIDrawImage(&window->painter, image, element->x, element->y, true);
        }
        break;
    }
    case UI_MSG_GET_PRESSED_RECT: {
        UIPressedRect *rect = (UIPressedRect *)data;
        uint32_t colour = rect->colour;
        *rect = CHECK_PRESSED;
        rect->colour = colour;
        break;
    }
    case UI_MSG_CLICKED: {
        float value = element->value;
        if (!(element->flags & UI_ELEMENT_RADIO))
            value = editor->editorValue[element->param] < 0.5f ? 1.0f : 0.0f;
        SetValue(editor, window, plugin, element->param, value);
        break;
    }
    default:
        UIButtonMessage(editor, window, plugin, element, message, data);
        break;
    }
}

// ---- option pickers ----

static const char *const REVERB_ALGORITHMS[] = {"Hall", "Room", "Plate", "Church", "Atmosphere"};
// Mode 0 is "Off", which the menu never offers: option i is mode i + 1.
static const char *const DISTORTION_TYPES[] = {
    "Light",     "Soft",     "Medium",   "Hard",   "Triple", "Digital",
    "Foldback",  "Wrapback", "Fallback", "Sine",   "VRS Light", "VRS Soft",
    "VRS Mid",   "VRS Hard", "Asym 1",   "Asym 2", "Asym 3", "Teeth"};
static const char *const GATE_SPEEDS[] = {"1/4", "1/8", "1/16", "1/32", "1/64"};

// The options of a picker kind. A coded picker stores option i as the whole
// number i + firstCode; a stepped one as the middle of step i of `count`.
struct PickerTable {
    const char *kind;
    const char *const *labels;
    int32_t count;
    int32_t firstCode;
    bool stepped;
};

static const PickerTable PICKERS[] = {
    {"pick_reverb_algorithm", REVERB_ALGORITHMS, 5, 0, false},
    {"pick_distortion_type", DISTORTION_TYPES, 18, 1, false},
    {"pick_trancegate_speed", GATE_SPEEDS, 5, 0, false},
    {"pick_lfo_rate", MODULATOR_RATE_NAME, MODULATOR_RATE_COUNT, 0, true},
};

static const PickerTable *FindPicker(const char *kind, size_t length) {
    for (const PickerTable &table : PICKERS)
        if (strlen(table.kind) == length && !memcmp(table.kind, kind, length)) return &table;
    return nullptr;
}

static int32_t OptionShown(const PickerTable *table, float value) {
    int32_t option = table->stepped ? ParamStep(value, table->count)
                                    : ParamDecodeWhole(value) - table->firstCode;
    return option >= 0 && option < table->count ? option : -1;
}

static float OptionValue(const PickerTable *table, int32_t option) {
    if (table->stepped) return (option + 0.5f) / table->count;
    return ParamEncodeWhole(option + table->firstCode);
}

enum { LABEL_SIZE = 16 };

// Option names are byte strings; menus and faces take 32-bit characters.
template <typename Character> static void Widen(const char *text, Character *wide) {
    int32_t i = 0;
    for (; text[i] && i < LABEL_SIZE - 1; i++) wide[i] = (uint8_t)text[i];
    wide[i] = 0;
}

static void PickerChosen(UIMenuBuilder *builder) {
    const UIElement *element = builder->element;
    const PickerTable *table = (const PickerTable *)builder->context;
    float value = OptionValue(table, (int32_t)builder->choice);
    SetValue(builder->editor, builder->window, builder->plugin, element->param, value);
}

static void OpenPickerMenu(Editor *editor, UIWindow *window, UIElement *element,
                           const PickerTable *table) {
    char32_t texts[MODULATOR_RATE_COUNT][LABEL_SIZE];
    const char32_t *labels[MODULATOR_RATE_COUNT];
    for (int32_t i = 0; i < table->count; i++) {
        Widen(table->labels[i], texts[i]);
        labels[i] = texts[i];
    }
    int32_t current = OptionShown(table, editor->editorValue[element->param]);
    UIMenuShowList(window, element, labels, table->count, PickerChosen, (void *)table, current,
                   -1, -1, -1);
}

// The face's text stands inset from the left, clear of the arrow at the right.
enum { PICKER_TEXT_INSET = 6, PICKER_TEXT_NARROWING = 12 };

static void PaintPickerFace(Editor *editor, UIWindow *window, const UIElement *element,
                            const PickerTable *table) {
    int32_t option = OptionShown(table, editor->editorValue[element->param]);
    if (option < 0) return;
    uint32_t text[LABEL_SIZE];
    Widen(table->labels[option], text);
    uint32_t colour = paletteValues[element->disabled ? PAL_TXT_MAIN_LABEL_DISABLED
                                                      : PAL_TXT_MAIN_LABEL];
    UIDrawTextCentred(&window->painter, text, element->x + PICKER_TEXT_INSET, element->y,
                      element->width - PICKER_TEXT_NARROWING, element->height, colour,
                      UI_FONT_SMALL, window->painter.textClip);
}

void PickerHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                   UIMessage message, void *data) {
    const PickerTable *table = (const PickerTable *)element->context;
    if (!IsParameter(element->param) || !table) return;
    switch (message) {
    case UI_MSG_PAINT_FACE:
        PaintPickerFace(editor, window, element, table);
        break;
    case UI_MSG_CLICKED:
        OpenPickerMenu(editor, window, element, table);
        break;
    case UI_MSG_GET_PRESSED_RECT:
        break;   // the whole element
    default:
        UIButtonMessage(editor, window, plugin, element, message, data);
        break;
    }
}

bool ControlsMakePicker(UIMakeElement *offer) {
    const PickerTable *table = FindPicker(offer->kind.text, offer->kind.length);
    if (!table) return false;
    offer->element->handler = PickerHandler;
    offer->element->context = (void *)table;
    return true;
}
