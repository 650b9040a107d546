// The patch menu's cost as a user feels it at a press of the patch button:
// reading the settings, listing the folder with a stat per entry, sorting in
// natural order and building the items (the menu window itself not counted).
// A flat folder of 5,000 patches, and a tree of 100 folders of 50 patches
// (its top menu, and one folder's submenu). Fastest of a few runs.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include <string>

#include "shell/patch_browser.h"
#include "store/patch_folder.h"

static double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

static const int RUNS = 7;

static void Touch(const std::string &path) {
    FILE *file = fopen(path.c_str(), "w");
    if (file) fclose(file);
}

static void UsePatchRoot(const std::string &home, const std::string &root) {
    std::string settings = home + "/.config/OrwenAudioPlugins.ini";
    FILE *file = fopen(settings.c_str(), "w");
    fprintf(file, "[LathemoorFX]\nUserPatches=%s\n", root.c_str());
    fclose(file);
}

// Milliseconds per opening of the top menu, and the item count.
static double OpenTop(Plugin *plugin, uint64_t *items) {
    double best = 1e30;
    for (int run = 0; run < RUNS; run++) {
        double start = Now();
        PatchMenuOpen(plugin, nullptr);
        double seconds = Now() - start;
        if (seconds < best) best = seconds;
    }
    *items = patchMenu.count;
    return best * 1e3;
}

int main() {
    char pattern[] = "/tmp/lathemoor-bench-XXXXXX";
    if (!mkdtemp(pattern)) return 1;
    std::string home = pattern;
    mkdir((home + "/.config").c_str(), 0755);
    setenv("HOME", home.c_str(), 1);
    Plugin *plugin = (Plugin *)calloc(1, sizeof(Plugin));   // no editor: nothing is shown

    std::string flat = home + "/flat";
    mkdir(flat.c_str(), 0755);
    for (int i = 0; i < 5000; i++) Touch(flat + "/Patch " + std::to_string(i) + ".synthpatch");
    std::string tree = home + "/tree";
    mkdir(tree.c_str(), 0755);
    for (int f = 0; f < 100; f++) {
        std::string folder = tree + "/Folder " + std::to_string(f);
        mkdir(folder.c_str(), 0755);
        for (int i = 0; i < 50; i++) Touch(folder + "/Patch " + std::to_string(i) + ".synthpatch");
    }

    uint64_t items;
    UsePatchRoot(home, flat);
    double flatMs = OpenTop(plugin, &items);
    printf("patch menu, 5,000 patches in one folder: %.2f ms per build (%llu items)\n", flatMs,
           (unsigned long long)items);
    UsePatchRoot(home, tree);
    double treeMs = OpenTop(plugin, &items);
    printf("patch menu, 100 folders of 50 patches, top: %.2f ms per build (%llu items)\n", treeMs,
           (unsigned long long)items);
    std::u32string root, folder;
    for (char c : tree) root += (char32_t)c;
    folder = root + U"/Folder 42";
    double best = 1e30;
    for (int run = 0; run < RUNS; run++) {
        double start = Now();
        PatchMenuBuild(plugin, root.c_str(), folder.c_str(), true);
        double seconds = Now() - start;
        if (seconds < best) best = seconds;
    }
    printf("patch menu, one folder's submenu of 50 patches: %.3f ms per build\n", best * 1e3);

    free(plugin);
    std::string remove = "rm -rf '" + home + "'";
    return system(remove.c_str()) == 0 ? 0 : 1;
}
