// The editor's window under a real X server (skipped without DISPLAY), driven
// by XTest: the pump's pointer translation, hidden drags, menus, and a scale
// change reaching every open editor. The menus' two passes need no server.
#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

#include "tests/support/shell_rig.h"
#include "toolkit/scale.h"
#include "toolkit/window.h"
// Last: Xlib's macros would break the headers above.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace {

typedef std::vector<UIMessage> Heard;
Heard heard;
std::vector<int> ran;   // menu code run in the choice pass

// A control that takes the pointer hidden on a left press, as a dial does.
void Recorder(Editor *, UIWindow *window, Plugin *, UIElement *element, UIMessage message,
              void *data) {
    if (message == UI_MSG_PAINT || message == UI_MSG_HOVER) return;
    heard.push_back(message);
    if (message == UI_MSG_LEFT_DOWN) window->dragElement = element;
}

void Menu(UIMenuBuilder *builder) {
    if (UIMenuAdd(builder, U"&Copy && paste")) ran.push_back(0);
    UIMenuAddFlagged(builder, nullptr, UI_MENU_SEPARATOR);
    UIMenuAddFlagged(builder, nullptr, UI_MENU_SEPARATOR);
    if (UIMenuAddFlagged(builder, U"Off", UI_MENU_DISABLED)) ran.push_back(1);
    if (UIMenuAddFlagged(builder, U"On", UI_MENU_CHECKED)) ran.push_back(2);
    UIMenuAddFlagged(builder, nullptr, UI_MENU_SEPARATOR);
}

TEST(Menus, the_choice_pass_runs_the_code_of_the_built_item_only_past_merged_separators) {
    UIMenuItemList list = {};
    UIMenuBuilder builder = {};
    UIMenuBuild(&builder, Menu, &list);
    ASSERT_EQ(list.count, 4u);   // one separator of the pair; the trailing one dropped
    EXPECT_EQ(std::u32string((char32_t *)list.items[0].text), U"Copy & paste");
    EXPECT_TRUE(list.items[1].separator && list.items[2].disabled && list.items[3].checked);
    const std::vector<std::vector<int>> expected = {{0}, {}, {}, {2}};
    for (uint32_t k = 0; k < list.count; k++) {
        ran.clear();
        UIMenuChoose(builder, Menu, k);
        EXPECT_EQ(ran, expected[k]) << "item " << k;
    }
    UIMenuFreeTexts(list.items, list.count);
    free(list.items);
}

struct LiveWindow : ::testing::Test {
    Display *input = nullptr;   // the test's own connection, for XTest
    UIHostWindow host = {};

    void SetUp() override {
        NEED_X_SERVER();
        for (int i = 0; i < 5 && !(input = XOpenDisplay(nullptr)); i++) usleep(10000);
        ASSERT_TRUE(input);   // the server may refuse for a moment after the last test's close
        uiScale = 100;
        UIElement control = UIElementDefault();
        control.x = control.y = 100, control.width = control.height = 50, control.handler = Recorder;
        UIWindowAddTemplateElement(&host.ui, &control);
        UIWindowStart(&host.ui);
        ASSERT_TRUE(UIHostWindowOpen(&host));   // a child of the root at 0, 0
        UIHostWindowShow(&host);
        Move(125, 125);
        heard.clear();
    }
    void TearDown() override {
        if (!input) return;
        UIWindowFree(&host.ui);
        UIHostWindowClose(&host);
        XCloseDisplay(input);
    }
    // XTest's input reaches the server, its events the editor, then the pump runs.
    void Settle() {
        XSync(input, False);
        usleep(30000);
        UIPumpEvents(&host);
    }
    void Move(int x, int y, bool settle = true) {
        XTestFakeMotionEvent(input, -1, x, y, 0);
        if (settle) Settle();
    }
    void Click(unsigned button, bool press) {
        XTestFakeButtonEvent(input, button, press, 0);
        Settle();
    }
    std::pair<int, int> Pointer() {
        Window root, child;
        int x, y, wx, wy;
        unsigned mask;
        XQueryPointer(input, DefaultRootWindow(input), &root, &child, &x, &y, &wx, &wy, &mask);
        return {x, y};
    }
};

TEST_F(LiveWindow, a_hidden_drag_compresses_motion_warps_at_the_edge_and_ends_at_the_press) {
    Click(1, true);
    EXPECT_EQ(host.ui.dragElement, &host.ui.elements[0]);
    Move(125, 130, false);
    Move(125, 140);                       // two motions in one batch: one drag
    Move(DisplayWidth(input, 0) - 5, 140);  // near the right edge: back to the middle
    EXPECT_EQ(Pointer().first, DisplayWidth(input, 0) / 2);
    Click(1, false);
    EXPECT_EQ(Pointer(), std::make_pair(125, 125));
    EXPECT_EQ(heard, (Heard{UI_MSG_LEFT_DOWN, UI_MSG_DRAG, UI_MSG_DRAG, UI_MSG_DRAG_REBASE,
                            UI_MSG_DRAG_END}));
}

TEST_F(LiveWindow, a_press_outside_the_menu_closes_it_unchosen_and_goes_no_further) {
    Move(200, 300);
    UIMenuBuildAndShow(&host.ui, nullptr, Menu);
    ASSERT_TRUE(host.menu.open);
    ran.clear();
    Move(125, 125);   // over the control
    Click(1, true), Click(1, false);
    EXPECT_FALSE(host.menu.open);
    EXPECT_TRUE(ran.empty() && heard.empty());
}

const clap_host_t GUI_HOST = MakeHost();

TEST(LiveEditors, a_scale_change_resizes_every_open_editor_and_is_saved) {
    NEED_X_SERVER();
    TempHome home;
    const clap_plugin_t *plugins[2] = {NewPlugin(&GUI_HOST), NewPlugin(&GUI_HOST)};
    auto gui = (const clap_plugin_gui_t *)plugins[0]->get_extension(plugins[0], CLAP_EXT_GUI);
    for (const clap_plugin_t *plugin : plugins) ASSERT_TRUE(gui->create(plugin, "x11", false));
    UISetScale(150, 1);
    for (const clap_plugin_t *plugin : plugins) {
        UIHostWindow *window = &PluginFromClap(plugin)->gui;
        XWindowAttributes size;
        XGetWindowAttributes((Display *)window->display, window->window, &size);
        EXPECT_EQ(std::make_pair(size.width, size.height), std::make_pair(1602, 859));
    }
    EXPECT_NE(home.Settings().find("UIScale=150"), std::string::npos);
    UISetScale(100, 1);
    for (const clap_plugin_t *plugin : plugins) plugin->destroy(plugin);   // the editor too
}

}  // namespace
