// Bank files at a size a user meets: export and import of a bank of 1,000
// patches in ten folders and 100 one-megabyte library samples (MB/s and
// seconds each), then the same import behind the wait page of a real
// instance with its editor open (with DISPLAY set): how often the page
// repaints while the worker runs. Everything lives in a temporary HOME.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "shell/banks.h"
#include "shell/plugin.h"
#include "store/bank.h"
#include "store/samples.h"

extern "C" const clap_plugin_entry_t clap_entry;

enum { PATCHES = 1000, FOLDERS = 10, SAMPLES = 100, PATCH_BYTES = 1720, SAMPLE_BYTES = 1 << 20 };

static double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

static void Put(const std::string &path, const std::string &bytes) {
    FILE *file = fopen(path.c_str(), "wb");
    if (!file) exit(1);
    fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
}

static double FileMegabytes(const std::string &path) {
    struct stat facts;
    return stat(path.c_str(), &facts) == 0 ? facts.st_size / 1e6 : 0;
}

static void Report(const char *what, double seconds, double megabytes, const BankJob &job) {
    printf("%-8s %6.3f s  %7.1f MB/s  (%u patches, %u folders, %u samples, %s)\n", what, seconds,
           megabytes / seconds, job.patches, job.folders, job.samples,
           job.error ? job.error : "no message");
}

// The wait page over a live editor: ticks as a host's timer would, every
// 10 ms, until the worker has been joined; paints counted by the buffers sent.
static void WaitPagePaints(const std::string &bank) {
    if (!getenv("DISPLAY")) {
        printf("wait page: no DISPLAY, skipped\n");
        return;
    }
    static const clap_host_t host = {CLAP_VERSION_INIT, nullptr, "bench", "", "", "1",
                                     nullptr, nullptr, nullptr, nullptr};
    auto factory = (const clap_plugin_factory_t *)clap_entry.get_factory(CLAP_PLUGIN_FACTORY_ID);
    const clap_plugin_t *clapPlugin = factory->create_plugin(factory, &host, "orwen.LathemoorFX");
    clapPlugin->init(clapPlugin);
    auto gui = (const clap_plugin_gui_t *)clapPlugin->get_extension(clapPlugin, CLAP_EXT_GUI);
    if (!gui->create(clapPlugin, "x11", false)) return;
    Plugin *plugin = PluginFromClap(clapPlugin);
    UITimerTick(plugin);
    uint64_t shown = plugin->gui.putImageCount;
    double start = Now(), longest = 0, last = start;
    BankStartImport(plugin, -1, bank.c_str());
    while (plugin->bankWorker) {
        usleep(10000);
        uint64_t before = plugin->gui.putImageCount;
        UITimerTick(plugin);
        double now = Now();
        if (plugin->gui.putImageCount != before) {
            if (now - last > longest) longest = now - last;
            last = now;
        }
    }
    double seconds = Now() - start;
    printf("wait page: %.1f s with the worker (3 s of it the pause after success), "
           "%.1f paints/s, longest gap %.0f ms\n",
           seconds, (plugin->gui.putImageCount - shown) / seconds, longest * 1000);
    clapPlugin->destroy(clapPlugin);
}

int main() {
    char pattern[] = "/tmp/lathemoor-bench-XXXXXX";
    if (!mkdtemp(pattern)) return 1;
    std::string home = pattern, source = home + "/source", library = home + "/lib";
    for (const char *folder : {"/.config", "/source", "/lib", "/user", "/lib2", "/user2", "/bin"})
        mkdir((home + folder).c_str(), 0755);
    setenv("HOME", home.c_str(), 1);
    Put(home + "/.config/OrwenAudioPlugins.ini",
        "[LathemoorFX]\nUserPatches=" + home + "/user\nUserContentStore=" + library + "\n");
    // The question of the wait page's import is answered yes at once.
    Put(home + "/bin/zenity", "#!/bin/sh\nexit 0\n");
    chmod((home + "/bin/zenity").c_str(), 0755);
    setenv("PATH", (home + "/bin:" + getenv("PATH")).c_str(), 1);

    std::string patch(PATCH_BYTES, 'p');
    for (int f = 0; f < FOLDERS; f++) mkdir((source + "/folder " + std::to_string(f)).c_str(), 0755);
    for (int i = 0; i < PATCHES; i++)
        Put(source + "/folder " + std::to_string(i % FOLDERS) + "/patch " + std::to_string(i) +
                ".synthpatch", patch);
    std::string sample(SAMPLE_BYTES, 's'), index;
    std::vector<uint64_t> ids;
    for (int i = 0; i < SAMPLES; i++) {
        uint64_t id = 0x1000 + i;
        char name[32];
        snprintf(name, sizeof name, "/%016llX.dat", (unsigned long long)id);
        Put(library + name, sample);
        index += "\n[" + std::string(name + 1, 16) + "]\ncategory=sample\nsubcategory=0\nname=Sample " +
                 std::to_string(i) + "\n";
        ids.push_back(id);
    }
    Put(library + "/index.ini", index);
    SampleIndexLoad();

    std::string bank = home + "/Big Set.synthbank";
    BankJob job = {};
    job.bankPath = bank.c_str();
    job.patchFolder = source.c_str();
    job.libraryFolder = library.c_str();
    job.sampleIds = ids.data();
    job.sampleIdCount = ids.size();
    double start = Now();
    BankExport(&job);
    Report("export", Now() - start, FileMegabytes(bank), job);

    SampleIndexFree();   // the second user's library is empty
    std::string user2 = home + "/user2", library2 = home + "/lib2";
    job = {};
    job.bankPath = bank.c_str();
    job.patchFolder = user2.c_str();
    job.libraryFolder = library2.c_str();
    start = Now();
    BankImport(&job);
    Report("import", Now() - start, FileMegabytes(bank), job);

    // The plug-in imports into "user" with "lib": its samples are there
    // already and skipped, so this import writes the patches alone.
    WaitPagePaints(bank);
    std::string remove = "rm -rf '" + home + "'";
    return system(remove.c_str());
}
