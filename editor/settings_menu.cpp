// The settings menu. Scale and refresh rate are process-wide: a choice
// reaches every open editor and the settings file through the shell. The
// about page is a modal page that a press anywhere closes; it stays open
// across a close of the editor, like any page not marked to close with it.
#include "editor/settings_menu.h"

#include <stdio.h>

#include "store/settings.h"
#include "toolkit/font.h"
#include "toolkit/images.h"
#include "toolkit/menu.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"
#include "toolkit/window.h"

// Design units.
enum {
    PRESSED_X = 2, PRESSED_Y = 5, PRESSED_WIDTH = 74, PRESSED_HEIGHT = 21, PRESSED_RADIUS = 2,
    PAGE_WIDTH = 1189, PAGE_HEIGHT = 695,   // the close area: more than the window at any scale
    VERSION_STRIP = 20,
};

enum { REFRESH_FAST_MS = 17, REFRESH_NORMAL_MS = 50, REFRESH_SLOW_MS = 200 };

// ---- the about page ----

static void PaintAbout(Plugin *plugin, Editor *editor, UIWindow *window) {
    UIPainter *painter = &window->painter;
    UIDrawBlock(painter, 0, 0, painter->width, painter->height,
                paletteValues[PAL_POPUP_WEAK_BACKGROUND]);
    UIImage *about = UIImageGet(IMAGE_ABOUT_PAGE);
    const UIImage *page = UIImageGet(IMAGE_PAGE_MAIN);
    int32_t width = page->designWidth, height = page->designHeight;
    UIDrawImage(painter, about, (width - about->designWidth) / 2,
                (height - about->designHeight) / 2, true);

    const char *version = "";
    UIEditorSend(editor, window, plugin, UI_ASK_VERSION, 0, &version);
    int32_t major = 0, minor = 0, revision = 0;
    sscanf(version, "%d.%d.%d", &major, &minor, &revision);
    char text[64];
    snprintf(text, sizeof text, "Version %d.%d.%d | X64", major, minor, revision);
    uint32_t line[64];
    int32_t n = 0;
    for (; text[n]; n++) line[n] = (uint8_t)text[n];
    line[n] = 0;
    UIDrawTextCentred(painter, line, 1, height - VERSION_STRIP + 1, width, VERSION_STRIP,
                      paletteValues[PAL_TXT_DEFAULT_SHADOW], UI_FONT_MEDIUM, nullptr);
    UIDrawTextCentred(painter, line, 0, height - VERSION_STRIP, width, VERSION_STRIP,
                      paletteValues[PAL_TXT_DEFAULT], UI_FONT_MEDIUM, nullptr);
}

static UIElement AboutCloser() {
    UIElement closer = {};
    closer.param = -1;
    closer.handler = UIPageCloser;
    closer.width = PAGE_WIDTH;
    closer.height = PAGE_HEIGHT;
    closer.page = UI_PAGE_ALL;
    return closer;
}

static UIElement aboutElements[] = {AboutCloser()};
static UIPage aboutScreen = {aboutElements, 1, 0, nullptr, PaintAbout};

// ---- the menu ----

// The scale as the user chose it: a stored scale the art cannot give (say
// 250) is drawn at the nearest it can, and no item claims it.
static int32_t ChosenScale() {
    int32_t stored = SettingsReadInt(U"UIScale");
    return stored ? stored : uiScale;
}

static void SettingsMenu(UIMenuBuilder *builder) {
    UIWindow *window = builder->window;
    Editor *editor = builder->editor;
    Plugin *plugin = builder->plugin;
    static const struct { int32_t percent, least; const char32_t *label; } SCALES[] = {
        {100, 101, U"100% scale"}, {125, 126, U"125% scale"}, {150, 151, U"150% scale"},
        {175, 176, U"175% scale"}, {200, 201, U"200% scale"},
    };
    int32_t most = UIMaximumScale(UIHostWindowOf(window)), chosen = ChosenScale();
    for (const auto &scale : SCALES) {
        if (most < scale.least) break;
        uint32_t flags = scale.percent == chosen ? (uint32_t)UI_MENU_CHECKED : 0u;
        if (UIMenuAddFlagged(builder, scale.label, flags))
            UIEditorSend(editor, window, plugin, UI_ASK_SET_SCALE, scale.percent, nullptr);
    }
    UIMenuAddFlagged(builder, nullptr, UI_MENU_SEPARATOR);

    static const struct { int32_t milliseconds; const char32_t *label; } RATES[] = {
        {REFRESH_FAST_MS, U"Fast UI refresh"},
        {REFRESH_NORMAL_MS, U"Normal UI refresh"},
        {REFRESH_SLOW_MS, U"Slow UI refresh"},
    };
    int32_t period = UIEditorSend(editor, window, plugin, UI_ASK_REFRESH, 0, nullptr);
    for (const auto &rate : RATES) {
        uint32_t flags = rate.milliseconds == period ? (uint32_t)UI_MENU_CHECKED : 0u;
        if (UIMenuAddFlagged(builder, rate.label, flags))
            UIEditorSend(editor, window, plugin, UI_ASK_REFRESH, rate.milliseconds, nullptr);
    }
    UIMenuAddFlagged(builder, nullptr, UI_MENU_SEPARATOR);

    if (UIMenuAdd(builder, U"About")) {
        UIWindowOpenPage(window, &aboutScreen);
        window->needsRepaint = 1;
    }
    if (UIMenuAdd(builder, U"User manual"))
        UIEditorSend(editor, window, plugin, UI_ASK_OPEN_ADDRESS, UI_ADDRESS_MANUAL, nullptr);
    if (UIMenuAdd(builder, U"Visit website"))
        UIEditorSend(editor, window, plugin, UI_ASK_OPEN_ADDRESS, UI_ADDRESS_WEBSITE, nullptr);
}

void SettingsButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                    UIMessage message, void *data) {
    switch (message) {
    case UI_MSG_PAINT_FACE:
        UIDrawImage(&window->painter, UIImageGet(IMAGE_SETTINGS_BUTTON), element->x, element->y, true);
        return;
    case UI_MSG_GET_PRESSED_RECT: {
        UIPressedRect *pressed = (UIPressedRect *)data;
        *pressed = {PRESSED_X, PRESSED_Y, PRESSED_WIDTH, PRESSED_HEIGHT, pressed->colour,
                    PRESSED_RADIUS};
        return;
    }
    case UI_MSG_CLICKED:
        UIMenuBuildAndShow(window, element, SettingsMenu);
        return;
    }
    UIButtonMessage(editor, window, plugin, element, message, data);
}
