// What the shell's own tests stand on: instances made straight from the
// clap_entry linked into the test, and a temporary HOME.
#pragma once
#include <optional>
#include <string>

#include "shell/plugin.h"

extern "C" const clap_plugin_entry_t clap_entry;

typedef const void *(*HostGetExtension)(const clap_host_t *host, const char *id);

// The window's tests need an X server; without DISPLAY they are skipped.
#define NEED_X_SERVER() \
    if (!getenv("DISPLAY")) GTEST_SKIP() << "no X server"

// Each byte widened with its sign, as the shell widens file names; and back.
std::u32string Wide(const std::string &bytes);
std::string Narrow(const char32_t *text);
// Settles a running file choice as the editor's pump would, for up to five seconds.
void SettleDialogs();

// A host table that answers get_extension with `getExtension` (no function
// at all for null). The table must outlive the instances made with it.
clap_host_t MakeHost(HostGetExtension getExtension = nullptr);
// A created and initialised instance for `host`.
const clap_plugin_t *NewPlugin(const clap_host_t *host);

// HOME pointed at a fresh folder holding an empty ".config" for as long as
// this lives; the old HOME and working directory come back afterwards.
struct TempHome {
    std::string home, settingsFile;
    std::optional<std::string> oldHome;
    std::string oldDirectory;

    TempHome();
    ~TempHome();
    TempHome(const TempHome &) = delete;
    void PutSettings(const std::string &bytes) const { WriteWholeFile(settingsFile, bytes); }
    std::string Settings() const { return ReadWholeFile(settingsFile); }

    static std::string ReadWholeFile(const std::string &path);  // "<none>" when it can't be opened
    static void WriteWholeFile(const std::string &path, const std::string &bytes);
};

// A `zenity` of the test's own, first on PATH for as long as this lives. Each
// run appends one line to the log: its working folder, then its arguments,
// all separated by "|". It prints the answer set by Answer and exits with its
// status (a question's no is status 1).
struct FakeZenity {
    std::string folder, oldPath;

    explicit FakeZenity(const TempHome &home);
    ~FakeZenity();
    FakeZenity(const FakeZenity &) = delete;
    void Answer(const std::string &text, int status = 0) const;
    std::string Calls() const;
    // The log once it holds `count` runs (a message is not waited for by the
    // program), or as it stands after five seconds.
    std::string WaitForCalls(size_t count) const;
};
