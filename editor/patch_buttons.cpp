// The patch buttons. The shipped art has none, so each face is drawn: a
// rounded button in the palette's widget colours with its label centred, the
// patch menu's label being the patch's name.
#include "editor/patch_buttons.h"

#include <stdio.h>

#include "toolkit/font.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"

enum { FACE_RADIUS = 3, FACE_BORDER = 1 };

static void PaintFace(UIWindow *window, const UIElement *element, const uint32_t *label) {
    UIPainter *painter = &window->painter;
    int32_t x = element->x, y = element->y, w = element->width, h = element->height;
    UIDrawRoundedScaled(painter, x, y, w, h, paletteValues[PAL_WIDGET_BUTTON_BORDER], FACE_RADIUS,
                        uiScale);
    UIDrawRoundedScaled(painter, x + FACE_BORDER, y + FACE_BORDER, w - 2 * FACE_BORDER,
                        h - 2 * FACE_BORDER, paletteValues[PAL_WIDGET_BUTTON_BACKGROUND_1],
                        FACE_RADIUS - FACE_BORDER, uiScale);
    UIDrawTextCentred(painter, label, x, y, w, h, paletteValues[PAL_WIDGET_BUTTON_ICON] & 0xFFFFFF,
                      UI_FONT_SMALL, nullptr);
}

static void PatchName(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t *text) {
    char name[UI_PATCH_NAME_SIZE] = {};
    UIEditorSend(editor, window, plugin, UI_ASK_PATCH_NAME, 0, name);
    name[UI_PATCH_NAME_SIZE - 1] = 0;
    int32_t n = 0;
    for (; name[n]; n++) text[n] = (uint8_t)name[n];
    text[n] = 0;
}

static void Describe(void *data, const char *text) {
    uint32_t *out = (uint32_t *)data;
    int32_t n = 0;
    for (; text[n] && n < UI_DESCRIPTION_SIZE - 1; n++) out[n] = (uint8_t)text[n];
    out[n] = 0;
}

void PatchMenuButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     UIMessage message, void *data) {
    switch (message) {
    case UI_MSG_PAINT_FACE: {
        uint32_t label[UI_PATCH_NAME_SIZE];
        PatchName(editor, window, plugin, label);
        PaintFace(window, element, label);
        return;
    }
    case UI_MSG_GET_DESCRIPTION: {
        uint32_t name[UI_PATCH_NAME_SIZE];
        PatchName(editor, window, plugin, name);
        char text[UI_DESCRIPTION_SIZE];
        int32_t n = snprintf(text, sizeof text, "Loaded patch: ");
        for (int32_t i = 0; name[i] && n < UI_DESCRIPTION_SIZE - 1; i++) text[n++] = (char)name[i];
        text[n] = 0;
        Describe(data, text);
        return;
    }
    case UI_MSG_CLICKED:
        UIEditorSend(editor, window, plugin, UI_ASK_PATCH_MENU, 0, element);
        return;
    }
    UIButtonMessage(editor, window, plugin, element, message, data);
}

static void StepButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                       UIMessage message, void *data, bool forward) {
    switch (message) {
    case UI_MSG_PAINT_FACE: {
        const uint32_t label[] = {forward ? U'>' : U'<', 0};
        PaintFace(window, element, label);
        return;
    }
    case UI_MSG_GET_DESCRIPTION:
        Describe(data, forward ? "Next patch" : "Previous patch");
        return;
    case UI_MSG_CLICKED:
        UIEditorSend(editor, window, plugin, UI_ASK_PATCH_STEP, forward, nullptr);
        window->needsRepaint = 1;
        return;
    }
    UIButtonMessage(editor, window, plugin, element, message, data);
}

void PreviousPatchButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                         UIMessage message, void *data) {
    StepButton(editor, window, plugin, element, message, data, false);
}

void NextPatchButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     UIMessage message, void *data) {
    StepButton(editor, window, plugin, element, message, data, true);
}
