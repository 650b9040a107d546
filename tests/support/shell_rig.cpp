#include "tests/support/shell_rig.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store/dialogs.h"

clap_host_t MakeHost(HostGetExtension getExtension) {
    return {CLAP_VERSION_INIT, nullptr, "test", "test", "", "1", getExtension, nullptr, nullptr, nullptr};
}

const clap_plugin_t *NewPlugin(const clap_host_t *host) {
    auto factory = (const clap_plugin_factory_t *)clap_entry.get_factory(CLAP_PLUGIN_FACTORY_ID);
    const clap_plugin_t *plugin = factory->create_plugin(factory, host, "orwen.LathemoorFX");
    EXPECT_TRUE(plugin && plugin->init(plugin));
    return plugin;
}

TempHome::TempHome() {
    if (const char *value = getenv("HOME")) oldHome = value;
    char directory[PATH_MAX];
    if (getcwd(directory, sizeof directory)) oldDirectory = directory;
    char pattern[] = "/tmp/lathemoor-home-XXXXXX";
    EXPECT_TRUE(mkdtemp(pattern));
    home = pattern;
    mkdir((home + "/.config").c_str(), 0755);
    settingsFile = home + "/.config/OrwenAudioPlugins.ini";
    setenv("HOME", home.c_str(), 1);
}

TempHome::~TempHome() {
    if (oldHome) setenv("HOME", oldHome->c_str(), 1);
    else unsetenv("HOME");
    EXPECT_EQ(chdir(oldDirectory.c_str()), 0);
    EXPECT_EQ(system(("rm -rf '" + home + "'").c_str()), 0);
}

std::u32string Wide(const std::string &bytes) {
    std::u32string wide;
    for (char c : bytes) wide += (char32_t)(int32_t)(signed char)c;
    return wide;
}

std::string Narrow(const char32_t *text) {
    std::string bytes;
    for (; text && *text; text++) bytes += (char)*text;
    return bytes;
}

void SettleDialogs() {
    for (int tries = 0; tries < 500 && DialogFileRunning(); tries++) usleep(10000), DialogFileSettle();
}

std::string TempHome::ReadWholeFile(const std::string &path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return "<none>";
    std::string bytes;
    char chunk[65536];
    ssize_t got;
    while ((got = read(fd, chunk, sizeof chunk)) > 0) bytes.append(chunk, (size_t)got);
    close(fd);
    return bytes;
}

void TempHome::WriteWholeFile(const std::string &path, const std::string &bytes) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path;
    EXPECT_EQ(write(fd, bytes.data(), bytes.size()), (ssize_t)bytes.size());
    close(fd);
}

FakeZenity::FakeZenity(const TempHome &home) : folder(home.home + "/fake-bin") {
    mkdir(folder.c_str(), 0755);
    std::string script = folder + "/zenity";
    TempHome::WriteWholeFile(script,
        "#!/bin/sh\n"
        "dir=$(dirname \"$0\")\n"
        "{ printf '%s' \"$PWD\"; for a; do printf '|%s' \"$a\"; done; printf '\\n'; } >>\"$dir/log\"\n"
        "[ -f \"$dir/answer\" ] && cat \"$dir/answer\"\n"
        "exit $(cat \"$dir/status\" 2>/dev/null || echo 0)\n");
    chmod(script.c_str(), 0755);
    const char *path = getenv("PATH");
    oldPath = path ? path : "/usr/bin:/bin";
    setenv("PATH", (folder + ":" + oldPath).c_str(), 1);
}

FakeZenity::~FakeZenity() {
    setenv("PATH", oldPath.c_str(), 1);
}

void FakeZenity::Answer(const std::string &text, int status) const {
    TempHome::WriteWholeFile(folder + "/answer", text);
    TempHome::WriteWholeFile(folder + "/status", std::to_string(status) + "\n");
}

std::string FakeZenity::Calls() const {
    std::string log = TempHome::ReadWholeFile(folder + "/log");
    return log == "<none>" ? "" : log;
}

std::string FakeZenity::WaitForCalls(size_t count) const {
    std::string log;
    for (int tries = 0; tries < 500; tries++) {
        log = Calls();
        size_t lines = 0;
        for (char c : log) lines += c == '\n';
        if (lines >= count) break;
        usleep(10000);
    }
    return log;
}
