// The patch browser: the menu of the patch button over the user's patch
// folder with the actions on the current patch, the previous and next
// buttons' walk through that folder's tree, and the writer of .synthpatch
// files. Main thread.
#pragma once
#include <stdint.h>

#include "shell/plugin.h"

enum PatchAction : uint8_t {
    PATCH_ACTION_LOAD = 0,
    PATCH_ACTION_SAVE = 1,
    PATCH_ACTION_SHOW_FOLDER = 3,
    PATCH_ACTION_IMPORT_BANK = 4,
    PATCH_ACTION_INITIALISE = 5,
    PATCH_ACTION_EXPORT_BANK = 6,
    PATCH_ACTION_BACK = 8,
};

// One item of a browser menu. Strings point into the temporary strings,
// which live until the next opening or walk.
struct PatchMenuItem {
    const char32_t *label;   // null for a separator
    uint8_t hasSubmenu, separator, columnBreak, disabled, bold;
    uint8_t recent;          // the "Recent patches" submenu, or an item of it
    const char32_t *folder;  // the folder the item's submenu shows or its patch stands in
    PatchAction action;
};

struct PatchMenu {
    PatchMenuItem *items;
    uint64_t count, capacity;
};
// The items of the menu built last (one menu is open at a time).
extern PatchMenu patchMenu;

// Builds the items of one menu into patchMenu: the top menu when `folder` is
// `root`, a folder's submenu otherwise ("Back" first when withBack), or the
// recent patches when `recent`.
void PatchMenuBuild(Plugin *plugin, const char32_t *root, const char32_t *folder, bool withBack,
                    bool recent = false);
// Opens the top menu under the element; nothing opens without "UserPatches".
void PatchMenuOpen(Plugin *plugin, UIElement *element);
// Acts on a chosen item (a copy: the call may build the next menu).
void PatchMenuChoose(Plugin *plugin, PatchMenuItem item);
// Loads the previous or next patch of the folder tree after the last one
// loaded through the browser, wrapping round at the ends.
void PatchStep(Plugin *plugin, bool forward);
// Writes the patch and its curves to fd (which the caller closes); errors go
// to the error dialog. With renameFromPath the patch then takes the name of
// `path`, so the file itself holds the old name.
void PatchSaveToFile(Plugin *plugin, int fd, const char32_t *path, bool renameFromPath);
// Sets the patch's name from the last component of the path, without the
// ".synthpatch" suffix.
void PatchNameFromPath(Plugin *plugin, const char32_t *path);
// Takes entry `index` (0 to 9) of the undo list back, keeping the present
// sound as the newest entry first.
void PatchSnapshotRestore(Plugin *plugin, int32_t index);
// Loads a patch file by path as the menu does: messages on failure, the path
// kept for the walk, the name taken from the path in every case.
void PatchLoadPath(Plugin *plugin, const char32_t *path);
