// The patch browser: menus over the user's patch folder ("UserPatches"), the
// walk of the previous and next buttons, and patch files written and read by
// path with the user told of every failure. Menus are rebuilt from the disk at
// every opening, so the browser keeps no picture of the folder that could go
// stale; the strings a menu points at live in one list until the next opening
// or walk.
#include "shell/patch_browser.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "shell/banks.h"
#include "shell/whole_patch.h"
#include "store/dialogs.h"
#include "store/launcher.h"
#include "store/patch_folder.h"
#include "store/settings.h"
#include "toolkit/window.h"
#include "vocabulary/grow.h"

static const char *const NOT_A_PATCH = "The selected file did not contain a supported patch.";
static const char *const NOT_LOADED =
    "The selected file could not be accessed. The patch was not loaded.";
static const char *const NOT_WRITTEN =
    "The selected file could not be written. The patch was not saved.";
static const char *const NOT_SAVED =
    "The selected file could not be accessed. The patch was not saved.";

static const char32_t PATCH_EXTENSION[] = U".synthpatch";
enum {
    COLUMN_ITEMS = 31,     // a listing starts a new column after this many items
    RECENT_MAX = 10,
    STEP_VISITS = 14,      // folders a walk may list before it gives up
};

PatchMenu patchMenu;

// ---- the temporary strings ----

static PathList temporaryStrings;

static const char32_t *Keep(char32_t *text) {
    ArrayReserve(&temporaryStrings.items, &temporaryStrings.capacity, temporaryStrings.count + 1);
    temporaryStrings.items[temporaryStrings.count++] = text;
    return text;
}

static void TemporaryStringsClear() {
    PathListFree(&temporaryStrings);
}

static bool WideEqual(const char32_t *a, const char32_t *b) {
    while (*a && *a == *b) a++, b++;
    return *a == *b;
}

// The folder holding the path: everything before its last "/".
static char32_t *Parent(const char32_t *path) {
    uint64_t length = WideLength(path), cut = length;
    while (cut > 0 && path[cut - 1] != U'/') cut--;
    if (cut > 1) cut--;   // drop the separator, but keep a lone "/"
    char32_t *parent = WideJoin(path, nullptr);
    parent[cut] = 0;
    return parent;
}

// "UserPatches" without trailing separators, kept; null when it is not set.
static const char32_t *PatchRoot() {
    char32_t *root = SettingsReadText(U"UserPatches", 0);
    if (!root) return nullptr;
    uint64_t length = WideLength(root);
    while (length > 1 && root[length - 1] == U'/') root[--length] = 0;
    return Keep(root);
}

static void List(const char32_t *folder, bool fullPaths, PathList *folders, PathList *patches) {
    char32_t *pattern = WideJoin(folder, U"/*");
    PatchFolderList(pattern, PATCH_EXTENSION, fullPaths, folders, patches);
    free(pattern);
}

// ---- building the menus ----

static PatchMenuItem *AddItem(const char32_t *label, PatchAction action) {
    ArrayReserve(&patchMenu.items, &patchMenu.capacity, patchMenu.count + 1);
    PatchMenuItem *item = &patchMenu.items[patchMenu.count++];
    *item = {};
    item->label = label;
    item->action = action;
    return item;
}

static void AddSeparator() { AddItem(nullptr, PATCH_ACTION_LOAD)->separator = 1; }

// The folders and then the patches, a column break on every 31st item.
// Answers whether there was anything to list.
static bool AddListing(const char32_t *folder, bool topLevel) {
    PathList folders = {}, patches = {};
    List(folder, false, &folders, &patches);
    uint64_t shown = 0;
    for (uint64_t i = 0; i < folders.count; i++, shown++) {
        const char32_t *path = Keep(folders.items[i]);
        uint64_t length = WideLength(path), start = length;
        while (start > 0 && path[start - 1] != U'/') start--;
        PatchMenuItem *item = AddItem(path + start, PATCH_ACTION_LOAD);
        item->hasSubmenu = 1;
        item->folder = path;
        item->columnBreak = shown > 0 && shown % COLUMN_ITEMS == 0;
    }
    for (uint64_t i = 0; i < patches.count; i++, shown++) {
        PatchMenuItem *item = AddItem(Keep(patches.items[i]), PATCH_ACTION_LOAD);
        item->folder = folder;
        item->columnBreak = shown > 0 && shown % COLUMN_ITEMS == 0;
    }
    // The strings now belong to the temporary list.
    free(folders.items);
    free(patches.items);
    if (!shown)
        AddItem(topLevel ? U"(no user patches)" : U"(no patches in folder)", PATCH_ACTION_LOAD)
            ->disabled = 1;
    return shown > 0;
}

// The undo list's names, newest first, numbered from 1.
static void AddRecent(Plugin *plugin) {
    for (int32_t i = 0; i < RECENT_MAX && plugin->undoStack[i].bytes; i++) {
        const UndoEntry *entry = &plugin->undoStack[i];
        char name[PATCH_NAME_SIZE] = {};
        for (uint32_t k = 0; k < entry->length && k < PATCH_NAME_SIZE - 1 && entry->bytes[k]; k++)
            name[k] = (char)entry->bytes[k];
        char label[PATCH_NAME_SIZE + 16];
        snprintf(label, sizeof label, "%d %s", i + 1, name);
        AddItem(Keep(WideFromBytes(label)), PATCH_ACTION_LOAD)->recent = 1;
    }
}

void PatchMenuBuild(Plugin *plugin, const char32_t *root, const char32_t *folder, bool withBack,
                    bool recent) {
    patchMenu.count = 0;
    bool top = !recent && WideEqual(root, folder);
    if (top) {
        AddItem(U"Save patch...", PATCH_ACTION_SAVE);
        AddItem(U"Initialise patch", PATCH_ACTION_INITIALISE);
        PatchMenuItem *item = AddItem(U"Recent patches", PATCH_ACTION_LOAD);
        item->hasSubmenu = item->recent = 1;
        AddItem(U"Show patches folder", PATCH_ACTION_SHOW_FOLDER);
        AddItem(U"Import bank...", PATCH_ACTION_IMPORT_BANK);
        AddSeparator();
        AddSeparator();
        AddListing(root, true);
        return;
    }
    if (withBack) {
        PatchMenuItem *back = AddItem(U"Back", PATCH_ACTION_BACK);
        back->bold = 1;
        back->folder = recent ? root : folder;
        AddSeparator();
    }
    if (recent) {
        AddRecent(plugin);
        return;
    }
    if (AddListing(folder, false)) {
        AddSeparator();
        AddItem(U"Export as bank...", PATCH_ACTION_EXPORT_BANK)->folder = folder;
    }
}

// ---- showing and choosing ----

static const char32_t *menuRoot;   // "UserPatches" of the open menu, a temporary string
static UIElement *menuAnchor;      // every menu of one opening stands under this element

static void MenuCallback(UIMenuBuilder *builder) {
    if (builder->choice < patchMenu.count)
        PatchMenuChoose(builder->plugin, patchMenu.items[builder->choice]);
}

// The menu shows the items' texts as they are: a name's "&" stays.
static void ShowMenu(Plugin *plugin) {
    UIHostWindow *gui = &plugin->gui;
    if (!gui->editorOpen) return;
    UIMenuItem *items = (UIMenuItem *)calloc(patchMenu.count + 1, sizeof *items);
    for (uint64_t i = 0; i < patchMenu.count; i++) {
        const PatchMenuItem *from = &patchMenu.items[i];
        UIMenuItem *item = &items[i];
        if (from->label) {
            uint64_t length = WideLength(from->label);
            item->text = (uint32_t *)malloc((length + 1) * sizeof *item->text);
            memcpy(item->text, from->label, (length + 1) * sizeof *item->text);
        }
        item->separator = from->separator;
        item->columnBreak = from->columnBreak;
        item->disabled = from->disabled;
        item->bold = from->bold;
        item->arrowRight = from->hasSubmenu;
        item->value = i;
    }
    UIMenuShow(&gui->ui, menuAnchor, items, patchMenu.count, MenuCallback, nullptr, true, true);
    free(items);
}

void PatchMenuOpen(Plugin *plugin, UIElement *element) {
    TemporaryStringsClear();
    menuRoot = PatchRoot();
    if (!menuRoot) return;
    menuAnchor = element;
    PatchMenuBuild(plugin, menuRoot, menuRoot, false);
    ShowMenu(plugin);
}

// A cancelled choice runs no completion.
static void SaveCompletion(Plugin *plugin, void *userData, int fd, const char *path) {
    if (fd < 0) {
        DialogError(NOT_SAVED);
        return;
    }
    char32_t *wide = WideFromBytes(path);
    PatchSaveToFile(plugin, fd, wide, true);
    close(fd);
    free(wide);
    plugin->gui.ui.needsRepaint = 1;   // the patch button shows the new name
}

static void ImportCompletion(Plugin *plugin, void *userData, int fd, const char *path) {
    BankStartImport(plugin, fd, path);
}

static void ExportCompletion(Plugin *plugin, void *userData, int fd, const char *path) {
    char *folder = (char *)userData;
    BankStartExport(plugin, folder, fd, path);
    free(folder);
}

void PatchMenuChoose(Plugin *plugin, PatchMenuItem item) {
    const char32_t *root = menuRoot ? menuRoot : U"";
    if (item.hasSubmenu) {
        PatchMenuBuild(plugin, root, item.folder, true, item.recent);
        ShowMenu(plugin);
        return;
    }
    switch (item.action) {
    case PATCH_ACTION_LOAD:
        if (item.recent) {
            int32_t number = 0;
            for (const char32_t *c = item.label; *c >= U'0' && *c <= U'9' && number < 1000; c++)
                number = number * 10 + (int32_t)(*c - U'0');
            PatchSnapshotRestore(plugin, number - 1);
        } else {
            char32_t *path = WideJoin(item.folder, U"/", item.label);
            char32_t *file = WideJoin(path, PATCH_EXTENSION);
            PatchLoadPath(plugin, file);
            free(path);
            free(file);
        }
        break;
    case PATCH_ACTION_SAVE:
        DialogFile(plugin, true, "Patch files", ".synthpatch", true, SaveCompletion, nullptr);
        break;
    case PATCH_ACTION_SHOW_FOLDER:
        OpenExternal(root);
        break;
    case PATCH_ACTION_IMPORT_BANK:
        DialogFile(plugin, false, "Bank files", ".synthbank", true, ImportCompletion, nullptr);
        break;
    case PATCH_ACTION_INITIALISE:
        PushUndo(plugin);
        PatchInit(plugin);
        break;
    case PATCH_ACTION_EXPORT_BANK: {
        // The dialog owns the copy from here, and frees it on a cancel.
        char *folder = TextNarrow(item.folder);
        DialogFile(plugin, true, "Bank files", ".synthbank", true, ExportCompletion, folder);
        break;
    }
    case PATCH_ACTION_BACK: {
        const char32_t *parent = item.recent || WideEqual(item.folder, root)
                                     ? root
                                     : Keep(Parent(item.folder));
        PatchMenuBuild(plugin, root, parent, !WideEqual(parent, root));
        ShowMenu(plugin);
        break;
    }
    }
}

// ---- loading by path ----

static void TellHostLoaded(Plugin *plugin, const char *path) {
    const clap_host_preset_load_t *presetLoad = plugin->hostPresetLoad;
    if (presetLoad && presetLoad->loaded)
        presetLoad->loaded(plugin->host, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path, nullptr);
}

void PatchLoadPath(Plugin *plugin, const char32_t *path) {
    char *bytes = TextNarrow(path);
    int fd = open(bytes, O_RDONLY | O_CLOEXEC);
    const char *failure = NOT_LOADED;
    if (fd >= 0) {
        // A size no patch file has is not a patch; a read that fails is an
        // access failure.
        size_t size = 0;
        bool badSize = false;
        uint8_t *data = PatchFileReadAll(fd, &size, &badSize);
        failure = badSize ? NOT_A_PATCH : NOT_LOADED;
        if (data) {
            ByteReader reader = {data, 0, size};
            failure = nullptr;
            if (PatchLoadFromBuffer(plugin, &reader)) TellHostLoaded(plugin, bytes);
            else failure = NOT_A_PATCH;
            free(data);
        }
    }
    if (failure) DialogError(failure);
    free(plugin->patchPath);
    plugin->patchPath = WideJoin(path, nullptr);
    // Also after a failure: the editor shows which file was tried.
    PatchNameFromPath(plugin, path);
    plugin->gui.ui.needsRepaint = 1;
    free(bytes);
}

// ---- previous and next ----

static int64_t Find(const PathList *list, const char32_t *path) {
    for (uint64_t i = 0; i < list->count; i++)
        if (WideEqual(list->items[i], path)) return (int64_t)i;
    return -1;
}

// The walk order: in each folder the subfolders first, each with all it
// holds, then its patches. `from` is the patch or child folder the walk
// stands on in `folder`, or null when it has just come down into `folder`.
void PatchStep(Plugin *plugin, bool forward) {
    if (!plugin->patchPath) return;
    TemporaryStringsClear();
    const char32_t *root = PatchRoot();
    if (!root) return;
    const char32_t *folder = Keep(Parent(plugin->patchPath));
    const char32_t *from = Keep(WideJoin(plugin->patchPath, nullptr));
    const char32_t *found = nullptr;
    for (int32_t visit = 0; visit < STEP_VISITS && !found; visit++) {
        PathList folders = {}, patches = {};
        List(folder, true, &folders, &patches);
        int64_t folderCount = (int64_t)folders.count, patchCount = (int64_t)patches.count;
        int64_t patch = -1, down = -1;   // what was found in this folder
        bool lost = false;
        if (!from) {
            if (forward) {
                if (folderCount) down = 0;
                else if (patchCount) patch = 0;
            } else {
                if (patchCount) patch = patchCount - 1;
                else if (folderCount) down = folderCount - 1;
            }
        } else if (int64_t i = Find(&patches, from); i >= 0) {
            if (forward && i + 1 < patchCount) patch = i + 1;
            else if (!forward && i > 0) patch = i - 1;
            else if (!forward && folderCount) down = folderCount - 1;
        } else if (int64_t k = Find(&folders, from); k >= 0) {
            if (forward && k + 1 < folderCount) down = k + 1;
            else if (forward && patchCount) patch = 0;
            else if (!forward && k > 0) down = k - 1;
        } else {
            lost = true;   // the file or folder went away meanwhile
        }
        if (patch >= 0) found = Keep(WideJoin(patches.items[patch], nullptr));
        const char32_t *next = down >= 0 ? Keep(WideJoin(folders.items[down], nullptr)) : nullptr;
        PathListFree(&folders);
        PathListFree(&patches);
        if (lost) return;
        if (found) break;
        if (next) {
            folder = next;
            from = nullptr;
        } else if (!WideEqual(folder, root)) {
            from = folder;   // nothing left here: on in the parent, after this folder
            folder = Keep(Parent(folder));
        } else {
            from = nullptr;  // the end of the tree: round to its start
        }
    }
    if (found) PatchLoadPath(plugin, found);
}

// ---- writing ----

void PatchSaveToFile(Plugin *plugin, int fd, const char32_t *path, bool renameFromPath) {
    DrainHostValues(plugin);   // the file holds the sound as it is heard
    if (!PatchFileWrite(fd, &plugin->patch, plugin->context.curves)) {
        DialogError(NOT_WRITTEN);
        return;
    }
    if (renameFromPath) PatchNameFromPath(plugin, path);
}

void PatchNameFromPath(Plugin *plugin, const char32_t *path) {
    uint64_t length = WideLength(path), start = length;
    while (start > 0 && path[start - 1] != U'/' && path[start - 1] != U'\\') start--;
    if (start == length) return;
    char name[PATCH_NAME_SIZE] = {};
    uint64_t stored = 0;
    for (uint64_t i = start; i < length && stored < PATCH_NAME_SIZE - 1; i++) {
        if (WideEqual(path + i, PATCH_EXTENSION)) break;
        // A sign-extended byte is negative and keeps its byte; a character
        // that no byte gives cannot be stored and shows as "?".
        int32_t c = (int32_t)path[i];
        name[stored++] = c > 127 ? '?' : (char)c;
    }
    pthread_mutex_lock(&globals.paramLock);   // get_value and presets read the Patch
    memcpy(plugin->patch.name, name, sizeof name);
    pthread_mutex_unlock(&globals.paramLock);
}

// ---- the undo list ----

void PatchSnapshotRestore(Plugin *plugin, int32_t index) {
    if (index < 0 || index >= UNDO_DEPTH || !plugin->undoStack[index].bytes) return;
    // PushUndo shifts the list, so the entry is copied out first.
    const UndoEntry *entry = &plugin->undoStack[index];
    size_t size = entry->length;
    uint8_t *bytes = (uint8_t *)malloc(size + 1);
    memcpy(bytes, entry->bytes, size);
    DrainHostValues(plugin);
    PushUndo(plugin);

    Patch patch = plugin->patch;
    ByteReader reader = {bytes, 0, size};
    size_t nameRoom = size < (size_t)PATCH_NAME_SIZE ? size : (size_t)PATCH_NAME_SIZE;
    const uint8_t *zero = (const uint8_t *)memchr(bytes, 0, nameRoom);
    if (zero) {
        memset(patch.name, 0, sizeof patch.name);
        memcpy(patch.name, bytes, (size_t)(zero - bytes) + 1);
        reader.position = (size_t)(zero - bytes) + 1;
    }
    // Taken as stored: these values were once the instance's own.
    if (size - reader.position >= sizeof patch.values) {
        memcpy(patch.values, bytes + reader.position, sizeof patch.values);
        reader.position += sizeof patch.values;
    }
    // The commit swaps the curves in under engineLock; an entry without a
    // readable curve block gives the default curves, so the sound stays whole.
    Curve *fresh = nullptr;
    if (!CurvesRead(&fresh, ByteReaderTransfer, &reader)) CurvesReset(&fresh);
    free(bytes);
    PatchCommit(plugin, fresh, &patch);
    plugin->gui.ui.needsRepaint = 1;
}
