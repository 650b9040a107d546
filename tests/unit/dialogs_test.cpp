// The desktop's dialogs through a zenity of the test's own: the command lines
// the program runs, the answers it takes, and what it does without the tool.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "store/dialogs.h"
#include "tests/support/shell_rig.h"

namespace {

struct Chosen {
    int calls = 0;
    std::string path;
    bool opened = false;
};

void Completion(Plugin *plugin, void *, int fd, const char *path) {
    Chosen *chosen = (Chosen *)plugin;
    chosen->calls++;
    chosen->path = path;
    chosen->opened = fd >= 0;
    if (fd >= 0) close(fd);
}

// Starts a choice and settles it as the editor's pump would.
void Choose(Chosen *chosen, bool save) {
    Plugin *plugin = (Plugin *)chosen;   // passed through untouched
    ASSERT_TRUE(DialogFile(plugin, save, "Patch files", ".synthpatch", false, Completion, nullptr));
    EXPECT_FALSE(DialogFile(plugin, save, "Patch files", ".synthpatch", false, Completion, nullptr));
    SettleDialogs();
    EXPECT_FALSE(DialogFileRunning());
}

TEST(Dialogs, questions_messages_and_folders_speak_zenitys_language) {
    TempHome home;
    FakeZenity zenity(home);
    zenity.Answer("", 0);
    EXPECT_TRUE(DialogQuestion("Delete the sample?\r\nAll patches that use it will break."));
    zenity.Answer("", 1);
    EXPECT_FALSE(DialogQuestion("Continue?"));
    DialogError("The patch was not saved.");
    std::string calls = zenity.WaitForCalls(4);   // the first question spans two lines
    EXPECT_NE(calls.find("|--question|--text|Delete the sample? \nAll patches that use it will break.\n"),
              std::string::npos) << calls;   // carriage returns become blanks
    EXPECT_NE(calls.find("|--error|--text|The patch was not saved.\n"), std::string::npos) << calls;

    zenity.Answer(home.home + "/chosen\n");
    char *folder = DialogDirectory();
    ASSERT_TRUE(folder);
    EXPECT_EQ(std::string(folder), home.home + "/chosen");   // the line feed is gone
    free(folder);
    zenity.Answer("");
    EXPECT_EQ(DialogEntry("Name"), nullptr);   // an empty answer is none
}

TEST(Dialogs, a_file_choice_completes_on_the_settling_thread_and_saves_with_the_extension) {
    TempHome home;
    FakeZenity zenity(home);
    std::string patches = home.home + "/patches";
    mkdir(patches.c_str(), 0755);
    mkdir((home.home + "/it's").c_str(), 0755);
    home.PutSettings("[LathemoorFX]\nUserPatches=" + patches + "\n");

    Chosen chosen;
    zenity.Answer(patches + "/song\n");
    Choose(&chosen, true);
    EXPECT_TRUE(chosen.calls == 1 && chosen.opened);
    EXPECT_EQ(chosen.path, patches + "/song.synthpatch");
    EXPECT_EQ(access((patches + "/song.synthpatch").c_str(), F_OK), 0);
    EXPECT_EQ(zenity.Calls(), patches + "|--file-selection|--save|--confirm-overwrite|"
                               "--file-filter=Patch files|*.synthpatch\n");

    // Opening a missing file completes with no descriptor; a cancel runs nothing.
    zenity.Answer(patches + "/missing.synthpatch\n");
    Choose(&chosen, false);
    EXPECT_TRUE(chosen.calls == 2 && !chosen.opened);
    zenity.Answer("");
    Choose(&chosen, false);
    EXPECT_EQ(chosen.calls, 2);

    // A folder with an apostrophe starts the choice where the host runs.
    home.PutSettings("[LathemoorFX]\nUserPatches=" + home.home + "/it's\n");
    ASSERT_EQ(chdir(home.home.c_str()), 0);
    Choose(&chosen, false);
    std::string calls = zenity.Calls();
    EXPECT_EQ(calls.substr(calls.rfind('\n', calls.size() - 2) + 1),
              home.home + "|--file-selection|--file-filter=Patch files|*.synthpatch\n");
}

TEST(Dialogs, without_zenity_a_question_answers_yes_and_a_file_choice_cancels) {
    TempHome home;
    std::string saved = getenv("PATH") ? getenv("PATH") : "";
    setenv("PATH", (home.home + "/empty").c_str(), 1);
    EXPECT_TRUE(DialogQuestion("Continue?"));
    DialogError("lost");
    Chosen chosen;
    Choose(&chosen, false);
    setenv("PATH", saved.c_str(), 1);
    EXPECT_EQ(chosen.calls, 0);
}

}  // namespace
