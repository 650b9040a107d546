// The editor through clap.gui as a host drives it, under a real X server
// (skipped without DISPLAY): its life, parent window, timer, descriptor and pixels.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <set>
#include <string>

#include "tests/support/plugin_rig.h"

namespace {

const clap_plugin_gui_t *Gui(const Instance &instance) {
    return (const clap_plugin_gui_t *)instance.plugin->get_extension(instance.plugin, CLAP_EXT_GUI);
}

TEST(Gui, offers_an_embedded_x11_window_of_the_main_pictures_fixed_size_only) {
    auto instance = CreateInstance(TestPlugin());
    const clap_plugin_gui_t *gui = Gui(*instance);
    const clap_plugin_t *plugin = instance->plugin;
    EXPECT_TRUE(gui->is_api_supported(plugin, "x11", false));
    EXPECT_FALSE(gui->is_api_supported(plugin, "x11", true) || gui->create(plugin, "x11", true) ||
                 gui->create(plugin, "win32", false) || gui->can_resize(plugin) ||
                 gui->set_scale(plugin, 2.0) || gui->show(plugin));
    if (!getenv("DISPLAY")) EXPECT_FALSE(gui->create(plugin, "x11", false));   // no server, no editor
    uint32_t width = 0, height = 0;
    EXPECT_TRUE(gui->get_size(plugin, &width, &height));
    EXPECT_EQ(std::make_pair(width, height), std::make_pair(1068u, 573u));
}

TEST(Gui, opens_and_closes_a_hundred_times_leaving_no_registration) {
    NEED_X_SERVER();
    auto instance = CreateInstance(TestPlugin());
    const clap_plugin_gui_t *gui = Gui(*instance);
    for (int i = 0; i < 100; i++) {
        ASSERT_TRUE(gui->create(instance->plugin, "x11", false));
        EXPECT_EQ(instance->host->timers.size() + instance->host->fds.size(), 2u);
        EXPECT_TRUE(gui->show(instance->plugin) && gui->hide(instance->plugin));
        gui->destroy(instance->plugin);
        EXPECT_TRUE(instance->host->timers.empty() && instance->host->fds.empty());
    }
    EXPECT_EQ(instance->host->calls.timersRegistered, 100);
}

TEST(Gui, two_editors_in_foreign_windows_paint_the_same_picture_on_their_own_connections) {
    NEED_X_SERVER();
    // The frames stand on each other: each is read while it is on top.
    auto first = CreateInstance(TestPlugin()), second = CreateInstance(TestPlugin());
    auto firstFrame = OpenEditor(*first);
    RunEditor(*first, 0.2);
    uint32_t width, height;
    std::vector<uint32_t> pixels = EditorPixels(*firstFrame, &width, &height);
    EXPECT_GT(std::set<uint32_t>(pixels.begin(), pixels.end()).size(), 50u);   // the picture
    auto secondFrame = OpenEditor(*second);
    RunEditor(*second, 0.2);
    RunEditor(*first, 0.05);
    EXPECT_EQ(EditorPixels(*secondFrame, &width, &height), pixels);
    ASSERT_EQ(first->host->fds.size() + second->host->fds.size(), 2u);
    EXPECT_NE(first->host->fds[0], second->host->fds[0]);
}

TEST(Gui, a_dial_drags_in_one_gesture_steps_with_the_wheel_and_resets_a_check_box_flips_a_picker_chooses) {
    NEED_X_SERVER();
    auto instance = CreateInstance(TestPlugin());
    auto frame = OpenEditor(*instance);
    // What the host hears after each press or release in turn (button 0: none).
    auto told = [&](std::vector<std::pair<uint32_t, bool>> steps, bool alt = false) {
        std::string heard;
        for (auto [button, press] : steps) {
            if (button) PointerButton(*frame, button, press, alt && press);
            RunEditor(*instance, 0.1);
            for (const HostEvent &e : FlushParams(*instance))   // values in thousandths
                heard += e.header.type == CLAP_EVENT_PARAM_VALUE ? std::to_string(lround(e.value.value * 1000)) + " "
                         : e.header.type == CLAP_EVENT_PARAM_GESTURE_BEGIN ? "begin " : "end ";
        }
        return heard;
    };
    PointerMove(*frame, 897, 20);   // Post Gain, at 0.5; 200 pixels run through the range
    std::string drag = told({{1, true}});
    PointerMove(*frame, 897, 30);
    PointerMove(*frame, 897, 60);
    EXPECT_EQ(drag + told({{0, false}, {1, false}}), "begin 500 300 end ");
    EXPECT_EQ(told({{1, true}, {1, false}}, true), "500 ");   // Alt: a reset, no gesture
    EXPECT_EQ(told({{4, true}, {4, false}, {5, true}, {5, false}, {5, true}, {5, false}}),
              "514 529 514 500 486 471 ");
    EXPECT_EQ(told({{2, true}, {2, false}}), "500 ");
    PointerMove(*frame, 965, 365);   // Modulator 1 Ping Pong's check box
    EXPECT_EQ(told({{1, true}, {1, false}}), "1000 ");
    PointerMove(*frame, 800, 360);   // its Rate picker, whose menu opens below it
    told({{1, true}, {1, false}});
    PointerMove(*frame, 800, 400);   // the second of the 27 rates
    EXPECT_EQ(told({{1, true}, {1, false}}), "56 ");
}

}  // namespace
