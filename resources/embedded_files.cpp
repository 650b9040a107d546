// The directory of the embedded files, made from the embedder's list: one
// entry per file, in the list's order (sorted by path), looked up by binary
// search. The symbols are the embedder's; they are hidden, so the data is
// reached without the dynamic linker.
#include <string.h>

#include "toolkit/embedded.h"

#define EMBEDDED_FILE(path, name)                                                     \
    extern "C" __attribute__((visibility("hidden"))) const uint8_t _embed32_##name[]; \
    extern "C" __attribute__((visibility("hidden"))) const uint32_t _embed32_##name##_totalCount;
#include "embedded.inc"
#undef EMBEDDED_FILE

// The sizes are link-time values, so the table is filled when the plug-in is
// loaded rather than by the compiler.
static const UIEmbeddedFile FILES[] = {
#define EMBEDDED_FILE(path, name) {path, _embed32_##name, _embed32_##name##_totalCount},
#include "embedded.inc"
#undef EMBEDDED_FILE
    {nullptr, nullptr, 0},   // keeps the array non-empty when nothing is embedded
};

const UIEmbeddedFile *const uiEmbeddedFiles = FILES;
const uint32_t uiEmbeddedFileCount = sizeof FILES / sizeof FILES[0] - 1;

const UIEmbeddedFile *UIEmbeddedFind(const char *path) {
    uint32_t low = 0, high = uiEmbeddedFileCount;
    while (low < high) {
        uint32_t middle = low + (high - low) / 2;
        int order = strcmp(FILES[middle].path, path);
        if (order == 0) return &FILES[middle];
        if (order < 0) low = middle + 1;
        else high = middle;
    }
    return nullptr;
}
