// The editor's answers to the toolkit: the main picture as the background,
// the values the controls show, the value of a dial's drag, the tooltip, the
// parameter menu, and the element kinds that only this program has.
#include "editor/editor.h"

#include "editor/controls.h"
#include "editor/core.h"
#include "editor/curve_editor.h"
#include "editor/modulation.h"
#include "editor/patch_buttons.h"
#include "editor/rack.h"
#include "editor/settings_menu.h"
#include "editor/unit_views.h"
#include "toolkit/images.h"
#include "toolkit/interface_file.h"
#include "toolkit/scale.h"
#include "vocabulary/context.h"

// A drag over this many design pixels runs through the whole range.
static const float DRAG_RANGE_PIXELS = 200.0f;

void EditorInstall() {
    static const UIHandler DIALS[] = {DialNormal, DialNormalBipolar, DialSmall,
                                      DialSmallBipolar, DialTiny, DialTinyBipolar};
    for (int32_t i = 0; i < 6; i++) uiKindHandlers[UI_KIND_DIAL + i] = DIALS[i];
    uiKindHandlers[UI_KIND_SLIDER] = SliderHandler;
    uiKindHandlers[UI_KIND_TOGGLE] = ToggleHandler;
    uiKindHandlers[UI_KIND_PICK_MODULATION_DESTINATION] = DestinationPicker;
    uiKindHandlers[UI_KIND_BUTTON_SETTINGS] = SettingsButton;
    uiKindHandlers[UI_KIND_BUTTON_PATCH_MENU] = PatchMenuButton;
    uiKindHandlers[UI_KIND_BUTTON_PREVIOUS_PATCH] = PreviousPatchButton;
    uiKindHandlers[UI_KIND_BUTTON_NEXT_PATCH] = NextPatchButton;
}

// Upward is more, and the speed is the same at every scale: the origin is
// taken to design units like the pointer. The value is not limited here.
static float DragValue(const UIWindow *window, int32_t y) {
    int32_t origin = UIDesignFromDevice(window->dragOriginY);
    return (float)(y - origin) * -1.0f / DRAG_RANGE_PIXELS + window->dragValueY;
}

int32_t EditorMessage(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                      int64_t argument, void *data) {
    switch (message) {
    case EDITOR_MSG_PAINT_BACKGROUND:
        UIDrawImageOpaque(&window->painter, UIImageGet(IMAGE_PAGE_MAIN), 0, 0);
        return 0;
    case EDITOR_MSG_PAINT_TOOLTIP:
        TooltipPaint(editor, window, plugin, (int32_t)argument, (const UIElement *)data);
        return 0;
    case EDITOR_MSG_DRAG_VALUE: {
        UIDragValue *drag = (UIDragValue *)data;
        drag->value = DragValue(window, drag->y);
        return 0;
    }
    case EDITOR_MSG_MAKE_ELEMENT:
        // Of the program's own kinds the pickers, the curves, the tabs, the
        // rack's and the unit views exist so far; the parser drops the rest.
        return ControlsMakePicker((UIMakeElement *)data) ||
               CurveEditorMake(window, (UIMakeElement *)data) ||
               ModulationMakeSwitcher((UIMakeElement *)data) || RackMakeElement((UIMakeElement *)data) ||
               UnitViewsMakeElement((UIMakeElement *)data);
    case EDITOR_MSG_RESET_TABS:
        window->tabBits = 1;
        return 0;
    case EDITOR_MSG_PLACE_UNITS:
        RackPlaceUnits(editor, (UIClusterSlot *)data);
        return 0;
    case UI_ASK_PREVIEW_MENU:
        OpenPreviewMenu(window, (int32_t)argument);
        return 0;
    case UI_ASK_PARAM_MENU:
        ParamMenuOpen(window, (UIElement *)data);
        return 0;
    case UI_ASK_PARAM_VALUE:
        if (argument >= 0 && argument < PARAM_COUNT) *(float *)data = editor->editorValue[argument];
        return 0;
    }
    return 0;
}
