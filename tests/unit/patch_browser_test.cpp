// The patch browser over real folders in a temporary HOME, with a fake zenity,
// and its three buttons driven through a live editor.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "shell/patch_browser.h"
#include "store/dialogs.h"
#include "store/patch_folder.h"
#include "tests/support/shell_rig.h"
#include "toolkit/interface_file.h"
#include "toolkit/scale.h"
// Last: Xlib's macros would break the headers above.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace {

const clap_host_t HOST = MakeHost();

int Compare(const std::string &a, const std::string &b) {
    return NaturalCompare(Wide(a).c_str(), Wide(b).c_str());
}

TEST(PatchFolders, natural_order_reads_numbers_folds_case_and_puts_letters_before_digits) {
    const std::vector<std::pair<std::string, std::string>> ordered = {
        {"a 9", "a 10"}, {"a", "B"},     {"xa", "x1"}, {"", "a"},
        {"a.b", "a b"},  {"a", "ab"},    {"x9223372036854775806", "x99999999999999999999"},
    };
    for (const auto &[first, second] : ordered) {
        EXPECT_EQ(Compare(first, second), -1) << first << " < " << second;
        EXPECT_EQ(Compare(second, first), 1) << second << " > " << first;
    }
    for (const char *same : {"01|1", "File|fILE", "|", "99999999999999999999|88888888888888888888"}) {
        std::string both = same;   // the last pair both overflow
        EXPECT_EQ(Compare(both.substr(0, both.find('|')), both.substr(both.find('|') + 1)), 0) << same;
    }
}

// A patch root in a temporary HOME, an instance, and the fake zenity.
struct Browser : ::testing::Test {
    TempHome home;
    FakeZenity zenity{home};
    std::string root = home.home + "/Patches";
    const clap_plugin_t *clap = nullptr;
    Plugin *plugin = nullptr;

    void SetUp() override {
        mkdir(root.c_str(), 0755);
        home.PutSettings("[LathemoorFX]\nUserPatches=" + root + "/\n");
        clap = NewPlugin(&HOST);
        plugin = PluginFromClap(clap);
    }
    void TearDown() override { clap->destroy(clap); }

    std::string Folder(const std::string &relative) {
        std::string path = root + "/" + relative;
        EXPECT_EQ(system(("mkdir -p '" + path + "'").c_str()), 0);
        return path;
    }
    // A well-made patch file whose inner name differs from the file's.
    std::string PatchFile(const std::string &relative, float firstValue = 0.5f) {
        std::string path = root + "/" + relative + ".synthpatch";
        if (relative.find('/') != std::string::npos) Folder(relative.substr(0, relative.rfind('/')));
        Patch patch;
        PatchFillDefault(&patch);
        PatchSetName(&patch, "inner");
        patch.values[0] = firstValue;
        Curve *curves = nullptr;
        CurvesReset(&curves);
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        EXPECT_TRUE(PatchFileWrite(fd, &patch, curves));
        close(fd);
        CurvesFree(&curves);
        return path;
    }
    // The open menu's labels, "-" for a separator.
    std::vector<std::string> Labels() {
        std::vector<std::string> labels;
        for (uint64_t i = 0; i < patchMenu.count; i++)
            labels.push_back(patchMenu.items[i].separator ? "-" : Narrow(patchMenu.items[i].label));
        return labels;
    }
    void Choose(const std::string &label) {
        for (uint64_t i = 0; i < patchMenu.count; i++) {
            if (!patchMenu.items[i].separator && Narrow(patchMenu.items[i].label) == label)
                return PatchMenuChoose(plugin, patchMenu.items[i]);
        }
        ADD_FAILURE() << "no item " << label;
    }
    std::string Name() { return plugin->patch.name; }
    void Load(const std::string &path) { PatchLoadPath(plugin, Wide(path).c_str()); }
};

const std::vector<std::string> TOP = {"Save patch...", "Initialise patch", "Recent patches",
                                      "Show patches folder", "Import bank...", "-", "-"};

std::vector<std::string> Top(std::vector<std::string> listing) {
    std::vector<std::string> all = TOP;
    all.insert(all.end(), listing.begin(), listing.end());
    return all;
}

TEST_F(Browser, menus_list_folders_then_patches_with_back_export_and_empty_lines) {
    PatchMenuOpen(plugin, nullptr);
    EXPECT_EQ(Labels(), Top({"(no user patches)"}));
    EXPECT_TRUE(patchMenu.items[patchMenu.count - 1].disabled);

    Folder("bass");
    for (const char *name : {"Lead/x", "a 10", "a 9", ".hidden", ""}) PatchFile(name);   // "": just the extension
    TempHome::WriteWholeFile(root + "/notes.txt", "");
    PatchMenuOpen(plugin, nullptr);
    EXPECT_EQ(Labels(), Top({"bass", "Lead", "a 9", "a 10"}));
    EXPECT_TRUE(patchMenu.items[TOP.size()].hasSubmenu && !patchMenu.items[TOP.size() + 2].hasSubmenu);

    Choose("bass");
    EXPECT_EQ(Labels(), (std::vector<std::string>{"Back", "-", "(no patches in folder)"}));
    EXPECT_TRUE(patchMenu.items[0].bold);
    Choose("Back");
    EXPECT_EQ(Labels(), Top({"bass", "Lead", "a 9", "a 10"}));
    Choose("Lead");
    EXPECT_EQ(Labels(), (std::vector<std::string>{"Back", "-", "x", "-", "Export as bank..."}));
    Choose("x");
    EXPECT_EQ(Narrow(plugin->patchPath), root + "/Lead/x.synthpatch");

    // 31 folders and a patch: the patch, item 32 of the listing, starts a column.
    for (int i = 1; i <= 31; i++) Folder("many/f" + std::to_string(i));
    PatchFile("many/last");
    PatchMenuOpen(plugin, nullptr);
    Choose("many");
    ASSERT_EQ(patchMenu.count, 2u + 32u + 2u);
    for (uint64_t i = 0; i < patchMenu.count; i++)
        EXPECT_EQ(patchMenu.items[i].columnBreak, Labels()[i] == "last") << "item " << i;
}

TEST_F(Browser, a_failed_load_names_the_patch_after_the_file_and_says_what_went_wrong) {
    PatchFile("good", 0.25f);
    TempHome::WriteWholeFile(root + "/junk.synthpatch", std::string(2000, 'j'));
    TempHome::WriteWholeFile(root + "/tiny.synthpatch", "tiny");
    for (const char *name : {"good", "junk", "tiny", "gone"}) {
        Load(root + "/" + name + ".synthpatch");
        EXPECT_EQ(Name(), name);   // the file's name, not the one inside
        EXPECT_EQ(plugin->patch.values[0], 0.25f);   // a failed load keeps the sound
    }
    std::string calls = zenity.WaitForCalls(3);
    const std::string unsupported = "|--error|--text|The selected file did not contain a supported patch.\n";
    const std::string inaccessible =
        "|--error|--text|The selected file could not be accessed. The patch was not loaded.\n";
    size_t first = calls.find(unsupported);
    ASSERT_NE(first, std::string::npos) << calls;
    EXPECT_NE(calls.find(unsupported, first + 1), std::string::npos) << calls;
    EXPECT_NE(calls.find(inaccessible), std::string::npos) << calls;
}

TEST_F(Browser, a_save_writes_a_file_that_loads_back_byte_identical_and_renames_the_patch) {
    plugin->patch.values[7] = 0.125f;
    plugin->patch.tail[3] = 9;   // the reserved bytes travel too
    PatchSetName(&plugin->patch, "song");
    zenity.Answer(root + "/song\n");
    PatchMenuOpen(plugin, nullptr);
    Choose("Save patch...");
    SettleDialogs();
    std::string saved = TempHome::ReadWholeFile(root + "/song.synthpatch");
    ASSERT_GT(saved.size(), 1720u);
    EXPECT_EQ(Name(), "song");

    PatchSetName(&plugin->patch, "other");
    plugin->patch.values[7] = 0.75f;
    Load(root + "/song.synthpatch");
    EXPECT_EQ(plugin->patch.values[7], 0.125f);
    std::string again = root + "/again.synthpatch";
    int fd = open(again.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    PatchSaveToFile(plugin, fd, Wide(again).c_str(), false);
    close(fd);
    EXPECT_EQ(TempHome::ReadWholeFile(again), saved);
    EXPECT_EQ(Name(), "song");   // no rename asked for
}

TEST_F(Browser, recent_patches_take_an_earlier_sound_back) {
    PatchFile("one", 0.1f);
    PatchFile("two", 0.2f);
    Load(root + "/one.synthpatch");
    Load(root + "/two.synthpatch");
    PatchMenuOpen(plugin, nullptr);
    Choose("Recent patches");
    std::vector<std::string> labels = Labels();
    labels.resize(4);
    EXPECT_EQ(labels, (std::vector<std::string>{"Back", "-", "1 one", "2 init"}));
    Choose("1 one");
    EXPECT_EQ(Name(), "one");
    EXPECT_EQ(plugin->context.editorValue[0], 0.1f);
    ASSERT_TRUE(plugin->undoStack[0].bytes);
    EXPECT_EQ(std::string((const char *)plugin->undoStack[0].bytes), "two");
}

TEST_F(Browser, previous_and_next_walk_the_tree_depth_first_and_wrap_round) {
    for (const char *name : {"A/B/b1", "A/a1", "A/a2", "r1", "r2"}) PatchFile(name);
    Folder("A/E");
    auto walk = [&](int steps, bool forward) {
        std::string names;
        while (steps--) PatchStep(plugin, forward), names += Name() + " ";
        return names;
    };
    EXPECT_EQ(walk(1, true), "init ");   // nothing loaded through the browser yet
    Load(root + "/r2.synthpatch");
    EXPECT_EQ(walk(6, true), "b1 a1 a2 r1 r2 b1 ");
    EXPECT_EQ(walk(5, false), "r2 r1 a2 a1 b1 ");
}

TEST_F(Browser, names_come_from_the_last_path_component) {
    const std::vector<std::pair<std::u32string, std::string>> cases = {
        {U"/p/My Song.synthpatch", "My Song"},
        {U"/p/Loud.SYNTHPATCH", "Loud.SYNTHPATCH"},
        {U"/p/a.synthpatch.synthpatch", "a.synthpatch"},
        {U"C:\\p\\win.synthpatch", "win"},
        {Wide("/p/caf\xC3\xA9.synthpatch"), "caf\xC3\xA9"},   // widened bytes keep their byte
        {U"/p/caf\u00E9", "caf?"},                           // a character above 127
        {U"/p/" + std::u32string(150, U'n'), std::string(99, 'n')},
    };
    for (const auto &[path, name] : cases) {
        PatchNameFromPath(plugin, path.c_str());
        EXPECT_EQ(Name(), name);
    }
    PatchNameFromPath(plugin, U"/p/folder/");
    EXPECT_EQ(Name(), std::string(99, 'n'));   // a trailing separator changes nothing
}

// ---- the buttons in a live editor ----

bool AlwaysBusy() { return true; }

TEST_F(Browser, the_buttons_step_open_the_menu_and_rest_while_a_dialog_runs) {
    NEED_X_SERVER();
    PatchFile("p1"), PatchFile("p2");
    auto gui = (const clap_plugin_gui_t *)clap->get_extension(clap, CLAP_EXT_GUI);
    ASSERT_TRUE(gui->create(clap, "x11", false));
    UIHostWindow *host = &plugin->gui;
    // The shipped interface has no patch buttons: the test's own file has.
    UIWindowFree(&host->ui);
    std::string file = __FILE__;
    file = TempHome::ReadWholeFile(file.substr(0, file.rfind('/')) + "/../ui/patch_buttons.txt");
    UIInterfaceFileParse(&host->ui, file.data(), file.data() + file.size());
    UIWindowStart(&host->ui);
    ASSERT_EQ(host->ui.elementCount, 3u);
    gui->show(clap);
    Display *input = XOpenDisplay(nullptr);
    ASSERT_TRUE(input);
    auto click = [&](const UIElement &element) {
        XTestFakeMotionEvent(input, -1, UIDeviceFromDesign(element.x + element.width / 2),
                             UIDeviceFromDesign(element.y + element.height / 2), 0);
        for (bool press : {true, false}) {
            XTestFakeButtonEvent(input, 1, press, 0);
            XSync(input, False);
            usleep(30000);
            UIPumpEvents(host);
        }
    };
    const UIElement &previous = host->ui.elements[0], &menu = host->ui.elements[1],
                    &next = host->ui.elements[2];
    Load(root + "/p1.synthpatch");
    click(next);
    EXPECT_EQ(Name(), "p2");
    click(previous);
    EXPECT_EQ(Name(), "p1");

    char32_t text[UI_DESCRIPTION_SIZE] = {};
    menu.handler(host->editor, &host->ui, plugin, (UIElement *)&menu, UI_MSG_GET_DESCRIPTION, text);
    EXPECT_EQ(Narrow(text), "Loaded patch: p1");
    next.handler(host->editor, &host->ui, plugin, (UIElement *)&next, UI_MSG_GET_DESCRIPTION, text);
    EXPECT_EQ(Narrow(text), "Next patch");

    click(menu);
    EXPECT_TRUE(host->menu.open);
    EXPECT_EQ(host->menu.count, TOP.size() + 2);
    UIMenuClose(&host->ui);

    host->dialogBusy = AlwaysBusy;   // as while a file choice runs
    click(next);
    EXPECT_EQ(Name(), "p1");
    host->dialogBusy = DialogFileRunning;
    XCloseDisplay(input);
}

}  // namespace
