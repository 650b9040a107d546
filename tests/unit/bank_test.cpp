// Bank export and import on real folders in a temporary HOME, and the wait
// page of the real plug-in with its editor open.
#include <dirent.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "shell/banks.h"
#include "store/bank.h"
#include "store/samples.h"
#include "tests/support/shell_rig.h"

namespace {

const std::string INVALID =
    "The selected file does not contain a valid LathemoorFX bank.\r\nMaybe it was saved by a newer version?";

std::string Noise(size_t size, unsigned seed) {
    std::string bytes(size, 0);
    for (char &c : bytes) c = (char)((seed = seed * 1103515245u + 12345u) >> 16);
    return bytes;
}

void Put(const std::string &path, const std::string &bytes) {
    for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
        mkdir(path.substr(0, at).c_str(), 0755);
    TempHome::WriteWholeFile(path, bytes);
}

// Every folder and file under root, sorted, with each file's bytes.
std::string Tree(const std::string &root, const std::string &below = "") {
    std::vector<std::string> lines;
    if (DIR *folder = opendir((root + below).c_str())) {
        while (dirent *entry = readdir(folder)) {
            std::string name = entry->d_name, path = below + "/" + name;
            if (name == "." || name == "..") continue;
            struct stat facts;
            lstat((root + path).c_str(), &facts);
            if (S_ISDIR(facts.st_mode)) lines.push_back(path + "/\n" + Tree(root, path));
            else lines.push_back(path + "=" + TempHome::ReadWholeFile(root + path) + "\n");
        }
        closedir(folder);
    }
    std::sort(lines.begin(), lines.end());
    std::string all;
    for (const std::string &line : lines) all += line;
    return all;
}

std::string Record(uint64_t type, const std::string &name, const std::string &data,
                   uint64_t size = UINT64_MAX, uint64_t sampleId = 0) {
    BankRecordHeader header = {};
    header.magic = PATCH_MAGIC, header.type = type, header.sampleId = sampleId;
    header.size = size == UINT64_MAX ? data.size() : size;
    memcpy(header.name, name.data(), std::min(name.size(), sizeof header.name));
    return std::string((const char *)&header, sizeof header) + data;
}

std::string asked;
bool Yes(const char *question) { return asked = question, true; }

// A home with a patch folder "user", a library "lib" and the settings naming both.
struct BankHome : TempHome {
    std::string user = home + "/user", library = home + "/lib";
    BankHome() {
        mkdir(user.c_str(), 0755), mkdir(library.c_str(), 0755);
        PutSettings("[LathemoorFX]\nUserPatches=" + user + "\nUserContentStore=" + library + "\n");
    }
    // The job points into `bank`, which must outlive it.
    BankJob Job(const std::string &bank, const char *folder = nullptr) const {
        BankJob job = {bank.c_str(), folder ? folder : user.c_str(), library.c_str()};
        job.confirm = Yes;
        return job;
    }
    std::string Import(const std::string &bank) const {
        BankJob job = Job(bank);
        BankImport(&job);
        return job.error ? job.error : "";
    }
};

TEST(Banks, a_tree_with_samples_goes_out_and_comes_back_byte_for_byte) {
    BankHome home;
    std::string source = home.home + "/source";
    Put(source + "/lead.synthpatch", Noise(1720, 1));
    Put(source + "/pads/warm.synthpatch", Noise(9000, 2));   // more than one copy block
    Put(source + "/pads/dark/deep.synthpatch", Noise(2000, 3));
    Put(source + "/empty/.keep", "");
    Put(source + "/.hidden.synthpatch", "skipped");
    Put(source + "/notes.txt", "skipped");
    Put(home.library + "/00000000000000A1.dat", Noise(5000, 4));
    Put(home.library + "/00000000000000B2.dat", Noise(300, 5));
    const std::string index = "\n[00000000000000A1]\ncategory=sample\nsubcategory=3\nname=Kick\n"
                              "\n[00000000000000B2]\ncategory=wavetable\nsubcategory=0\nname=Saw\n";
    Put(home.library + "/index.ini", index);
    SampleIndexLoad();
    const uint64_t ids[] = {0xA1, 0xB2, 0xA1};
    std::string bank = home.home + "/Shared Set.synthbank";
    BankJob job = home.Job(bank, source.c_str());
    job.sampleIds = ids, job.sampleIdCount = 3;
    BankExport(&job);
    EXPECT_EQ(job.error, nullptr);
    EXPECT_EQ(job.patches + job.folders * 10 + job.samples * 100, 3u + 30 + 200);
    // A second user with an empty library and patch folder of their own.
    std::string library = home.library;
    home.library = home.home + "/lib2", home.user = home.home + "/user2";
    mkdir(home.library.c_str(), 0755), mkdir(home.user.c_str(), 0755);
    SampleIndexFree();
    EXPECT_EQ(home.Import(bank), "");
    EXPECT_EQ(asked, "This bank contains 3 patches (0.01 MB), 3 folders and 2 samples (0.01 MB). "
                           "The bank will be imported to: " + home.user + "/Shared Set/\r\nContinue?");
    std::string tree = Tree(source);
    for (std::string skipped : {"/.hidden.synthpatch=skipped\n", "/empty/.keep=\n", "/notes.txt=skipped\n"})
        tree.erase(tree.find(skipped), skipped.size());
    EXPECT_EQ(Tree(home.user + "/Shared Set"), tree);
    for (const char *sample : {"/00000000000000A1.dat", "/00000000000000B2.dat"})
        EXPECT_EQ(TempHome::ReadWholeFile(home.library + sample),
                  TempHome::ReadWholeFile(library + sample));
    EXPECT_EQ(TempHome::ReadWholeFile(home.library + "/index.ini"), index);

    // A sample the library doesn't hold ends the export.
    SampleIndexLoad();
    const uint64_t missing[] = {0xC3};
    job.sampleIds = missing, job.sampleIdCount = 1;
    BankExport(&job);
    EXPECT_STREQ(job.error, "You are missing samples used by the patches. The bank was not saved.");
    SampleIndexFree();
}

TEST(Banks, three_levels_below_the_root_and_no_more) {
    BankHome home;
    std::string source = home.home + "/deep";
    Put(source + "/a/b/c/d.synthpatch", "three");
    Put(source + "/a/b/c/e/f.synthpatch", "four");
    std::string bank = home.home + "/deep.synthbank";
    BankJob job = home.Job(bank, source.c_str());
    BankExport(&job);
    EXPECT_EQ(home.Import(bank), "");
    EXPECT_EQ(Tree(home.user + "/deep"), "/a/\n/a/b/\n/a/b/c/\n/a/b/c/d.synthpatch=three\n");

    const std::string a = "a\x1C", ab = a + "b\x1C", abc = ab + "c\x1C";
    std::string folders = Record(BANK_RECORD_FOLDER, "a", "") + Record(BANK_RECORD_FOLDER, a + "b", "") +
                          Record(BANK_RECORD_FOLDER, ab + "c", "");
    Put(home.home + "/three.synthbank", folders + Record(BANK_RECORD_PATCH, abc + "d.synthpatch", "x"));
    EXPECT_EQ(home.Import(home.home + "/three.synthbank"), "");
    Put(home.home + "/four.synthbank", folders + Record(BANK_RECORD_PATCH, abc + "d\x1C" "e.synthpatch", "x"));
    EXPECT_EQ(home.Import(home.home + "/four.synthbank"), INVALID);
}

TEST(Banks, empty_folders_empty_banks_cut_headers_and_sized_folders) {
    BankHome home;
    std::string nothing = home.home + "/nothing", bank = nothing + ".synthbank";
    mkdir(nothing.c_str(), 0755);
    BankJob job = home.Job(bank, nothing.c_str());
    BankExport(&job);
    EXPECT_STREQ(job.error, "No patches were found in the folder. The bank was not saved.");
    EXPECT_EQ(TempHome::ReadWholeFile(bank), "");

    EXPECT_EQ(home.Import(bank), "");   // zero bytes: a valid, empty bank
    EXPECT_EQ(asked.substr(0, 75),
              "This bank contains 0 patches (0.00 MB), 0 folders and 0 samples (0.00 MB). ");
    EXPECT_EQ(Tree(home.user), "/nothing/\n");

    std::string whole = Record(BANK_RECORD_PATCH, "p.synthpatch", "data");
    Put(home.home + "/cut.synthbank", whole + whole.substr(0, 100));
    EXPECT_EQ(home.Import(home.home + "/cut.synthbank"), "");
    EXPECT_EQ(Tree(home.user + "/cut"), "/p.synthpatch=data\n");

    Put(home.home + "/sized.synthbank", Record(BANK_RECORD_FOLDER, "f", "x"));
    EXPECT_EQ(home.Import(home.home + "/sized.synthbank"), INVALID);
}

TEST(Banks, a_hostile_bank_is_refused_whole_and_nothing_leaves_the_target) {
    BankHome home;
    std::string canary = home.home + "/canary";
    mkdir(canary.c_str(), 0755);
    std::string absolute = canary + "/x.synthpatch";
    for (std::string name : {std::string(".."), std::string("a\x1C..\x1C..\x1Cx.synthpatch"),
                             absolute, std::string("\x1Cx.synthpatch"), std::string("a\x1C\x1Cx.synthpatch"),
                             std::string("a\x1C.\x1Cx.synthpatch"), std::string("../../canary/x.synthpatch"),
                             std::string(256, 'n'), std::string("")}) {
        for (uint64_t type : {BANK_RECORD_FOLDER, BANK_RECORD_PATCH}) {
            if (name.empty() && type == BANK_RECORD_FOLDER) continue;   // the root itself
            Put(home.home + "/hostile.synthbank", Record(BANK_RECORD_PATCH, "good.synthpatch", "g") +
                                                      Record(type, name, type == BANK_RECORD_PATCH ? "bad" : ""));
            EXPECT_EQ(home.Import(home.home + "/hostile.synthbank"), INVALID) << name;
        }
    }
    // A stem that would climb out of the patch folder.
    Put(home.home + "/...synthbank", Record(BANK_RECORD_PATCH, "p.synthpatch", "p"));
    EXPECT_NE(home.Import(home.home + "/...synthbank"), "");
    EXPECT_EQ(Tree(home.user), "");

    // Links standing in the target tree are not followed.
    Put(canary + "/victim", "untouched");
    mkdir((home.user + "/linked").c_str(), 0755);
    symlink(canary.c_str(), (home.user + "/linked/folder").c_str());
    symlink((canary + "/victim").c_str(), (home.user + "/linked/file.synthpatch").c_str());
    Put(home.home + "/linked.synthbank", Record(BANK_RECORD_PATCH, "folder\x1Cp.synthpatch", "bad"));
    EXPECT_EQ(home.Import(home.home + "/linked.synthbank"),
              "The files to extract could not be saved. The bank was not imported.");
    Put(home.home + "/linked.synthbank", Record(BANK_RECORD_PATCH, "file.synthpatch", "bad"));
    EXPECT_NE(home.Import(home.home + "/linked.synthbank"), "");
    EXPECT_EQ(Tree(canary), "/victim=untouched\n");
}

// Runs the job with its cancel mark set from another thread once `path` starts to fill.
const char *CancelWhenStarted(BankJob job, void (*run)(BankJob *), const std::string &path) {
    uint8_t cancel = 0;
    job.cancel = &cancel;
    std::thread watcher([&] {
        struct stat facts;
        for (int tries = 0; tries < 5000000; tries++)
            if (stat(path.c_str(), &facts) == 0 && facts.st_size > 0) break;
        __atomic_store_n(&cancel, 1, __ATOMIC_RELAXED);
    });
    run(&job);
    watcher.join();
    return job.error;
}

TEST(Banks, a_cancel_leaves_no_half_written_file) {
    BankHome home;
    std::string big = Noise(64 << 20, 6), bank = home.home + "/big.synthbank", source = home.home + "/source";
    Put(bank, Record(BANK_RECORD_PATCH, "first.synthpatch", "whole") + Record(BANK_RECORD_PATCH, "big.synthpatch", big));
    EXPECT_EQ(CancelWhenStarted(home.Job(bank), BankImport, home.user + "/big/big.synthpatch"), nullptr);
    EXPECT_EQ(Tree(home.user), "/big/\n/big/first.synthpatch=whole\n");

    Put(source + "/big.synthpatch", big);
    std::string output = home.home + "/out.synthbank";
    EXPECT_EQ(CancelWhenStarted(home.Job(output, source.c_str()), BankExport, output), nullptr);
    EXPECT_EQ(TempHome::ReadWholeFile(output), "<none>");
}

// The question holds the worker while the page takes every press and survives
// the editor's reopening; the answer lets the worker end.
TEST(Banks, the_wait_page_covers_the_editor_until_the_worker_ends) {
    NEED_X_SERVER();
    BankHome home;
    FakeZenity zenity(home);
    TempHome::WriteWholeFile(zenity.folder + "/zenity",
                             "#!/bin/sh\necho \"$@\" >>\"$(dirname \"$0\")/log\"\n"
                             "while [ ! -f \"$(dirname \"$0\")/go\" ]; do sleep 0.01; done\n");
    Put(home.home + "/Set.synthbank", Record(BANK_RECORD_PATCH, "p.synthpatch", "data"));
    static const clap_host_t HOST = MakeHost();
    const clap_plugin_t *clapPlugin = NewPlugin(&HOST);
    auto gui = (const clap_plugin_gui_t *)clapPlugin->get_extension(clapPlugin, CLAP_EXT_GUI);
    ASSERT_TRUE(gui->create(clapPlugin, "x11", false));
    Plugin *plugin = PluginFromClap(clapPlugin);
    UIHostWindow *window = &plugin->gui;
    UITimerTick(plugin);
    std::vector<uint32_t> before(window->pixels, window->pixels + window->width * window->height);

    BankStartImport(plugin, -1, (home.home + "/Set.synthbank").c_str());
    EXPECT_NE(zenity.WaitForCalls(1).find("This bank contains 1 patch (0.00 MB), 0 folders and 0 samples"), std::string::npos);
    UITimerTick(plugin);
    EXPECT_NE(window->ui.openPage, nullptr);
    size_t darkened = 0;
    for (size_t i = 0; i < before.size(); i++) darkened += window->pixels[i] != before[i];
    EXPECT_GT(darkened, before.size() / 2);
    float values[PARAM_COUNT];
    memcpy(values, plugin->context.editorValue, sizeof values);
    for (uint64_t i = 0; i < window->ui.elementCount; i++) {
        const UIElement &element = window->ui.elements[i];
        int32_t x = UIDeviceFromDesign(element.x + element.width / 2) + 1;
        int32_t y = UIDeviceFromDesign(element.y + element.height / 2);
        for (UIMessage message : {UI_MSG_LEFT_DOWN, UI_MSG_WHEEL, UI_MSG_RESET, UI_MSG_RIGHT_UP})
            UIDispatchPointer(window->editor, &window->ui, plugin, message, x, y, 0, 72);
    }
    EXPECT_EQ(memcmp(values, plugin->context.editorValue, sizeof values), 0);

    gui->destroy(clapPlugin);
    ASSERT_TRUE(gui->create(clapPlugin, "x11", false));
    EXPECT_NE(window->ui.openPage, nullptr);
    TempHome::WriteWholeFile(zenity.folder + "/go", "");
    for (int tries = 0; tries < 1000 && window->ui.openPage; tries++) {
        usleep(10000);
        UITimerTick(plugin);
    }
    EXPECT_EQ(window->ui.openPage, nullptr);
    EXPECT_EQ(plugin->bankWorker, nullptr);
    EXPECT_EQ(TempHome::ReadWholeFile(home.user + "/Set/p.synthpatch"), "data");
    clapPlugin->destroy(clapPlugin);
}

}  // namespace
