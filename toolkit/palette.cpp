// The palette table, its defaults and the reading of a skin's "palette.ini".
#include "toolkit/palette.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "toolkit/images.h"
#include "vocabulary/ini.h"

const char *const paletteNames[PAL_COUNT] = {
#define UI_PALETTE_NAME(name, colour) #name,
    UI_PALETTE_ENTRIES(UI_PALETTE_NAME)
#undef UI_PALETTE_NAME
};

const uint32_t paletteDefaults[PAL_COUNT] = {
#define UI_PALETTE_DEFAULT(name, colour) colour,
    UI_PALETTE_ENTRIES(UI_PALETTE_DEFAULT)
#undef UI_PALETTE_DEFAULT
};

uint32_t paletteValues[PAL_COUNT];

int32_t uiScale = 100;
int32_t uiSkin = UI_SKIN_SHIPPED;

uint32_t *UIPaletteFind(const char *name) {
    for (uint32_t i = 0; i < PAL_COUNT; i++)
        if (!strcmp(paletteNames[i], name)) return &paletteValues[i];
    return nullptr;
}

static void ApplyPaletteText(char *text, size_t length) {
    IniCursor cursor = {};
    cursor.cursor = text;
    cursor.remaining = length;
    while (IniNext(&cursor, true)) {
        // Only the lines ahead of the first header belong to the palette.
        if (cursor.item == INI_SECTION) break;
        if (cursor.item != INI_KEY_LINE || !cursor.keyLength || !cursor.valueLength) continue;
        uint32_t *entry = UIPaletteFind(cursor.key);
        if (entry) *entry = (uint32_t)strtoull(cursor.value, nullptr, 0);
    }
}

void UIPaletteLoad(int32_t skin) {
    memcpy(paletteValues, paletteDefaults, sizeof paletteValues);
    const char *folder = UISkinFolder();
    if (skin != UI_SKIN_CUSTOM || !folder[0]) return;
    size_t pathSize = strlen(folder) + sizeof "/palette.ini";
    char *path = (char *)malloc(pathSize);
    snprintf(path, pathSize, "%s/palette.ini", folder);
    size_t length = 0;
    // The walker needs a terminating zero, which the reader puts behind the data.
    char *text = (char *)UIReadFile(path, UI_PALETTE_MAX_FILE_SIZE - 1, &length);
    free(path);
    if (!text) return;
    ApplyPaletteText(text, length);
    free(text);
}

void UIPaletteReload(void) {
    UISkinSelect();
    UIPaletteLoad(uiSkin);
}
