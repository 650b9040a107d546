// The menu of a parameter, opened by a right click on its control: the
// host's own items for the parameter first (automation, mapping and the
// like), then Reset, Copy and Paste. Copy and Paste share one value across
// every instance of the process and every parameter.
#include "editor/core.h"
#include "toolkit/menu.h"
#include "vocabulary/params.h"

static float clipboardValue;

static void SetValue(UIMenuBuilder *builder, float value) {
    UIEditorSend(builder->editor, builder->window, builder->plugin, UI_ASK_PARAM_SET,
                 builder->element->param, &value);
}

// Both passes read the host's list as the build pass left it, so the
// choice counts through the same items even if the host would answer
// differently now.
static void ParamMenu(UIMenuBuilder *builder) {
    Editor *editor = builder->editor;
    UIWindow *window = builder->window;
    Plugin *plugin = builder->plugin;
    int32_t parameter = builder->element->param;
    if (builder->items) UIEditorSend(editor, window, plugin, UI_ASK_HOST_MENU, parameter, nullptr);
    // A separator of the host's before any of its entries is left out; the
    // menu merges separators in a row and drops a last one.
    UIHostMenuItem item = {};
    int32_t entries = 0;
    for (int32_t index = 0;
         UIEditorSend(editor, window, plugin, UI_ASK_HOST_MENU_ITEM, index, &item); index++) {
        if (!item.label && !entries) continue;
        uint32_t flags = !item.label ? (uint32_t)UI_MENU_SEPARATOR
                                     : (item.disabled ? (uint32_t)UI_MENU_DISABLED : 0u) |
                                           (item.checked ? (uint32_t)UI_MENU_CHECKED : 0u);
        entries += item.label != nullptr;
        if (UIMenuAddFlagged(builder, item.label, flags))
            UIEditorSend(editor, window, plugin, UI_ASK_HOST_MENU_PERFORM, index, nullptr);
    }
    if (entries) UIMenuAddFlagged(builder, nullptr, UI_MENU_SEPARATOR);
    if (UIMenuAdd(builder, U"&Reset")) SetValue(builder, PARAM_INFO[parameter].defaultValue);
    if (UIMenuAdd(builder, U"&Copy")) clipboardValue = editor->editorValue[parameter];
    if (UIMenuAdd(builder, U"&Paste")) SetValue(builder, clipboardValue);
}

void ParamMenuOpen(UIWindow *window, UIElement *element) {
    if (element->param < 0 || element->param >= PARAM_COUNT) return;
    UIMenuBuildAndShow(window, element, ParamMenu);
}
