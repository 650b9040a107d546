// The bank worker of one instance: an export or import on a thread of its
// own, behind a modal wait page. The page has no elements, so while it is
// open no press, wheel or motion reaches the editor, and nothing else can
// change the sample library the worker reads. The page's paint pass is where
// the main thread notices the end: it joins the thread, reloads the sample
// index, closes the page and shows the worker's message.
#include "shell/banks.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "store/bank.h"
#include "store/dialogs.h"
#include "store/samples.h"
#include "store/settings.h"
#include "toolkit/font.h"
#include "toolkit/palette.h"

enum { WAIT_STRIP_HEIGHT = 30, WAIT_TITLE_ABOVE = 50, WAIT_LINE_ABOVE = 20 };

// One heap block: the record, then the texts the job points at.
struct BankWorker {
    BankJob job;
    Plugin *plugin;
    pthread_t thread;
    const char32_t *line;   // the wait page's second line
    bool exporting;
};

static void *BankThread(void *block) {
    BankWorker *worker = (BankWorker *)block;
    if (worker->exporting) BankExport(&worker->job);
    else BankImport(&worker->job);
    worker->plugin->bankError = worker->job.error;
    __atomic_store_n(&worker->plugin->bankWorkerDone, 1, __ATOMIC_RELEASE);
    return nullptr;
}

// Joins and frees the worker; its message stays in bankError.
static void BankWorkerJoin(Plugin *plugin) {
    BankWorker *worker = plugin->bankWorker;
    if (!worker) return;
    pthread_join(worker->thread, nullptr);
    free(worker);
    plugin->bankWorker = nullptr;
}

// ---- the wait page ----

static void PaintWaitPage(Plugin *plugin, Editor *editor, UIWindow *window) {
    BankWorker *worker = plugin->bankWorker;
    if (!worker || __atomic_load_n(&plugin->bankWorkerDone, __ATOMIC_ACQUIRE)) {
        BankWorkerJoin(plugin);
        SampleIndexLoad();
        UIWindowClosePage(window);
        window->needsRepaint = 1;
        if (plugin->bankError) DialogError(plugin->bankError);
        plugin->bankError = nullptr;
        return;
    }
    UIPainter *painter = &window->painter;
    UIDrawBlock(painter, 0, 0, painter->width, painter->height,
                paletteValues[PAL_POPUP_STRONG_BACKGROUND]);
    int32_t width = UIDesignFromDevice(painter->width);
    int32_t height = UIDesignFromDevice(painter->height);
    uint32_t colour = paletteValues[PAL_TXT_DEFAULT];
    UIDrawTextCentred(painter, (const uint32_t *)U"Please wait...", 0, height / 2 - WAIT_TITLE_ABOVE,
                      width, WAIT_STRIP_HEIGHT, colour, UI_FONT_MEDIUM, nullptr);
    UIDrawTextCentred(painter, (const uint32_t *)worker->line, 0, height / 2 - WAIT_LINE_ABOVE,
                      width, WAIT_STRIP_HEIGHT, colour, UI_FONT_MEDIUM, nullptr);
}

// Stays open over a closed editor: the next editor shows it again until the
// worker is joined.
static UIPage waitPage = {nullptr, 0, 0, nullptr, PaintWaitPage};

// ---- starting ----

static char *CopyInto(char **at, const char *text) {
    if (!text) return nullptr;
    char *copy = *at;
    size_t size = strlen(text) + 1;
    memcpy(copy, text, size);
    *at += size;
    return copy;
}

static void BankStart(Plugin *plugin, bool exporting, const char *folder, const char *bankPath) {
    char *library = SampleFolder();
    size_t size = sizeof(BankWorker) + strlen(folder) + strlen(bankPath) + 2 +
                  (library ? strlen(library) + 1 : 0);
    BankWorker *worker = (BankWorker *)calloc(1, size);
    char *texts = (char *)(worker + 1);
    worker->job.patchFolder = CopyInto(&texts, folder);
    worker->job.bankPath = CopyInto(&texts, bankPath);
    worker->job.libraryFolder = CopyInto(&texts, library);
    free(library);
    worker->job.confirm = DialogQuestion;
    worker->job.successPauseSeconds = BANK_SUCCESS_PAUSE_SECONDS;
    worker->job.cancel = &plugin->bankCancel;
    worker->plugin = plugin;
    worker->exporting = exporting;
    worker->line = exporting ? U"Bank export in progress." : U"Bank import in progress.";

    plugin->bankCancel = 0;
    plugin->bankWorkerDone = 0;
    plugin->bankError = nullptr;
    plugin->bankWorker = worker;
    if (pthread_create(&worker->thread, nullptr, BankThread, worker) != 0) {
        plugin->bankWorker = nullptr;
        free(worker);
        return;
    }
    UIWindow *window = &plugin->gui.ui;
    // A modulation assignment waiting for its target would take the next
    // press even over the page; it is dropped.
    window->assignTarget.param = -1;
    UIWindowOpenPage(window, &waitPage);
    window->needsRepaint = 1;
}

void BankStartExport(Plugin *plugin, const char *folder, int outputFd, const char *outputPath) {
    if (outputFd >= 0) close(outputFd);
    if (plugin->bankWorker || !folder || !outputPath) return;
    BankStart(plugin, true, folder, outputPath);
}

void BankStartImport(Plugin *plugin, int fd, const char *path) {
    if (fd >= 0) close(fd);
    if (plugin->bankWorker || !path) return;
    char32_t *setting = SettingsReadText(U"UserPatches", 0);
    char *patches = TextNarrow(setting);
    free(setting);
    BankStart(plugin, false, patches, path);
    free(patches);
}

void BankWorkerEnd(Plugin *plugin) {
    if (!plugin->bankWorker) return;
    __atomic_store_n(&plugin->bankCancel, 1, __ATOMIC_RELAXED);
    BankWorkerJoin(plugin);
    plugin->bankError = nullptr;
    if (plugin->gui.ui.openPage == &waitPage) UIWindowClosePage(&plugin->gui.ui);
}
