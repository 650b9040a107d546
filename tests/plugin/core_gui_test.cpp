// The editor's own menus under a real X server (skipped without DISPLAY): the
// parameter menu, and the settings menu's scales on a screen of a known size.
#include <gtest/gtest.h>
#include <math.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>

#include "tests/support/plugin_rig.h"

namespace {

TEST(CoreGui, the_parameter_menu_resets_and_copies_and_pastes_through_one_clipboard_for_all_instances) {
    NEED_X_SERVER();
    // The menu opens under Post Gain's dial (bottom at 40): a margin of 4, rows of 19.
    const int32_t X = 897, Y = 20, RESET = 53, COPY = 72, PASTE = 91;
    auto first = CreateInstance(TestPlugin()), second = CreateInstance(TestPlugin());
    auto frame = OpenEditor(*first);
    auto menu = [&](Instance &instance, int32_t row) {
        Click(instance, *frame, X, Y, 3), Click(instance, *frame, X, row);
        return Heard(instance);
    };
    Click(*first, *frame, X, Y, 4);
    EXPECT_EQ(Heard(*first), "529 ");   // two wheel steps up from 0.5
    EXPECT_EQ(menu(*first, COPY), "");
    EXPECT_EQ(menu(*first, RESET), "500 ");
    frame.reset();
    frame = OpenEditor(*second);
    EXPECT_EQ(menu(*second, PASTE), "529 ");
}

TEST(CoreGui, a_screen_with_room_for_150_but_not_175_percent_offers_100_125_and_150) {
    // A server of the test's own, 1700 by 950, where the 1068 by 573 editor fits 1.59 times.
    int number = 140;
    while (access(("/tmp/.X11-unix/X" + std::to_string(number)).c_str(), F_OK) == 0) number++;
    std::string name = ":" + std::to_string(number), socket = "/tmp/.X11-unix/X" + name.substr(1);
    pid_t server = fork();
    if (!server) {
        freopen("/dev/null", "w", stdout), freopen("/dev/null", "w", stderr);
        execlp("Xvfb", "Xvfb", name.c_str(), "-screen", "0", "1700x950x24", (char *)nullptr), _exit(127);
    }
    std::string saved = getenv("DISPLAY") ? getenv("DISPLAY") : "";
    std::shared_ptr<void> restore(nullptr, [&](void *) {   // also when the body throws
        saved.empty() ? unsetenv("DISPLAY") : setenv("DISPLAY", saved.c_str(), 1);
        kill(server, SIGTERM), waitpid(server, nullptr, 0);
    });
    for (int i = 0; i < 100 && access(socket.c_str(), F_OK) && !waitpid(server, nullptr, WNOHANG); i++) usleep(50000);
    bool started = !access(socket.c_str(), F_OK);
    if (started) {
        setenv("DISPLAY", name.c_str(), 1);
        TemporaryHome home;
        auto instance = CreateInstance(TestPlugin());
        auto frame = OpenEditor(*instance);
        // The menu opens under the settings button (bottom at 31): a margin of 4, rows of
        // 19, separators of 9; the third row is 150 percent.
        Click(*instance, *frame, 1009, 16), Click(*instance, *frame, 1009, 31 + 4 + 19 * 2 + 9);
        EXPECT_EQ(std::make_pair(frame->width, frame->height), std::make_pair(1602u, 859u));
        // Half as large again: where a fourth scale would be, past a separator, stands "Fast UI refresh".
        Click(*instance, *frame, 1514, 24), Click(*instance, *frame, 1514, (31 + 4 + 19 * 3 + 15) * 3 / 2);
        EXPECT_EQ(frame->width, 1602u);
        EXPECT_EQ(instance->host->timers.at(0).periodMs, 17u);
        Click(*instance, *frame, 1514, 24), Click(*instance, *frame, 1514, (31 + 4 + 9) * 3 / 2);
        EXPECT_EQ(std::make_pair(frame->width, frame->height), std::make_pair(1068u, 573u));
    }
    if (!started) GTEST_SKIP() << "Xvfb could not make a 1700 by 950 screen";
}

}  // namespace
