// The files linked into the plug-in at build time (the skin art, the baked
// font, the interface file), found by their path relative to the build
// folder: "res/100/lmx/LathemoorFXAddButton.png", "res/BakedFonts.dat",
// "lathemoorfx_ui.txt". The directory is made from the embedder's list in
// resources/embedded_files.cpp, which is built with the data itself.
#pragma once
#include <stdint.h>

struct UIEmbeddedFile {
    const char *path;
    const uint8_t *start;   // followed by one zero byte outside the size
    uint32_t size;
};

// The file of that path (compared exactly), or null.
const UIEmbeddedFile *UIEmbeddedFind(const char *path);

// Every embedded file, sorted by path with strcmp.
extern const UIEmbeddedFile *const uiEmbeddedFiles;
extern const uint32_t uiEmbeddedFileCount;
