// Listing a patch folder and the natural order of its names.
#include "store/patch_folder.h"

#include <dirent.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "store/settings.h"
#include "vocabulary/grow.h"

// A run of digits too long for 63 bits counts as the largest number, so two
// such runs compare equal and the text behind them decides.
static const uint64_t DIGIT_RUN_OVERFLOW = 0x7FFFFFFFFFFFFFFFull;

static bool IsDigit(int32_t c) { return c >= '0' && c <= '9'; }
static bool IsLetter(int32_t c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// The character as it takes part in the order: upper case, with "." and " "
// exchanged. Characters compare as signed numbers, so a byte of 0x80 or more
// widened with sign extension comes first.
static int32_t OrderOf(int32_t c) {
    if (c >= 'a' && c <= 'z') return c - 'a' + 'A';
    if (c == '.') return ' ';
    if (c == ' ') return '.';
    return c;
}

static uint64_t ReadDigitRun(const char32_t **text) {
    uint64_t number = 0;
    bool overflow = false;
    for (; IsDigit((int32_t)**text); (*text)++) {
        uint64_t digit = (uint64_t)(**text - '0');
        if (number > (DIGIT_RUN_OVERFLOW - digit) / 10) overflow = true;
        else number = number * 10 + digit;
    }
    return overflow ? DIGIT_RUN_OVERFLOW : number;
}

int NaturalCompare(const char32_t *a, const char32_t *b) {
    if (!*a || !*b) return !*a && !*b ? 0 : (!*a ? -1 : 1);
    while (*a && *b) {
        int32_t x = (int32_t)*a, y = (int32_t)*b;
        if (IsDigit(x) && IsDigit(y)) {
            uint64_t m = ReadDigitRun(&a), n = ReadDigitRun(&b);
            if (m != n) return m < n ? -1 : 1;
            continue;
        }
        x = OrderOf(x), y = OrderOf(y);
        if (x != y) {
            if (IsLetter(x) && IsDigit(y)) return -1;
            if (IsDigit(x) && IsLetter(y)) return 1;
            return x < y ? -1 : 1;
        }
        a++, b++;
    }
    return *a ? 1 : (*b ? -1 : 0);
}

void PathListFree(PathList *list) {
    for (uint64_t i = 0; i < list->count; i++) free(list->items[i]);
    free(list->items);
    *list = {};
}

uint64_t WideLength(const char32_t *text) {
    uint64_t n = 0;
    while (text && text[n]) n++;
    return n;
}

char32_t *WideFromBytes(const char *bytes) {
    size_t length = strlen(bytes);
    char32_t *wide = (char32_t *)malloc((length + 1) * sizeof *wide);
    for (size_t i = 0; i < length; i++) wide[i] = (char32_t)(int32_t)(signed char)bytes[i];
    wide[length] = 0;
    return wide;
}

char32_t *WideJoin(const char32_t *a, const char32_t *b, const char32_t *c) {
    uint64_t la = WideLength(a), lb = WideLength(b), lc = WideLength(c);
    char32_t *joined = (char32_t *)malloc((la + lb + lc + 1) * sizeof *joined);
    if (la) memcpy(joined, a, la * sizeof *joined);
    if (lb) memcpy(joined + la, b, lb * sizeof *joined);
    if (lc) memcpy(joined + la + lb, c, lc * sizeof *joined);
    joined[la + lb + lc] = 0;
    return joined;
}

static void Append(PathList *list, char32_t *item) {
    ArrayReserve(&list->items, &list->capacity, list->count + 1);
    list->items[list->count++] = item;
}

static int CompareItems(const void *a, const void *b) {
    return NaturalCompare(*(char32_t *const *)a, *(char32_t *const *)b);
}

void PatchFolderList(const char32_t *pattern, const char32_t *extension, bool fullPaths,
                     PathList *folders, PathList *patches) {
    uint64_t length = WideLength(pattern), extensionLength = WideLength(extension);
    if (length < 2 || pattern[length - 2] != U'/' || pattern[length - 1] != U'*') return;
    char *directory = TextNarrow(pattern);
    directory[length - 2] = 0;
    char32_t *folder = WideFromBytes(directory);
    DIR *listing = opendir(directory);
    size_t directoryLength = strlen(directory);
    char *entryPath = (char *)malloc(directoryLength + PATCH_FOLDER_NAME_MAX + 2);
    memcpy(entryPath, directory, directoryLength);
    entryPath[directoryLength] = '/';
    while (struct dirent *entry = listing ? readdir(listing) : nullptr) {
        size_t nameLength = strlen(entry->d_name);
        if (entry->d_name[0] == '.' || nameLength > PATCH_FOLDER_NAME_MAX) continue;
        memcpy(entryPath + directoryLength + 1, entry->d_name, nameLength + 1);
        struct stat facts;
        if (stat(entryPath, &facts) != 0) continue;
        char32_t *name = WideFromBytes(entry->d_name);
        if (S_ISDIR(facts.st_mode)) {
            Append(folders, WideJoin(folder, U"/", name));
        } else if (S_ISREG(facts.st_mode) && nameLength > extensionLength &&
                   !memcmp(name + nameLength - extensionLength, extension,
                           extensionLength * sizeof *name)) {
            if (fullPaths) {
                Append(patches, WideJoin(folder, U"/", name));
            } else {
                name[nameLength - extensionLength] = 0;
                Append(patches, WideJoin(name, nullptr));
            }
        }
        free(name);
    }
    if (listing) closedir(listing);
    free(entryPath);
    free(directory);
    free(folder);
    // An empty list has no array at all, which qsort may not be handed.
    if (folders->count > 1) qsort(folders->items, folders->count, sizeof(char32_t *), CompareItems);
    if (patches->count > 1) qsort(patches->items, patches->count, sizeof(char32_t *), CompareItems);
}
