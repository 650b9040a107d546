// The user's patch folder as the browser sees it: the listing of one folder,
// in the order every list of patches is shown in. Paths and names are
// zero-terminated 32-bit strings made from bytes by sign extension.
#pragma once
#include <stdint.h>

// -1, 0 or 1. Digit runs compare as numbers ("a 9" before "a 10", "01" equals
// "1"); letters compare without case; "." orders as " " would and " " as "."
// would; a letter comes before a digit; otherwise the smaller code first.
int NaturalCompare(const char32_t *a, const char32_t *b);

// A list of heap strings, each owned by the list.
struct PathList {
    char32_t **items;
    uint64_t count, capacity;
};
void PathListFree(PathList *list);

enum { PATCH_FOLDER_NAME_MAX = 255 };

// Lists the folder that `pattern` names with a trailing "/*". Names that begin
// with "." are skipped, and so are names longer than PATCH_FOLDER_NAME_MAX.
// Subfolders go to `folders` as the folder's path + "/" + name; regular files
// named longer than `extension` and ending in it go to `patches`, as the bare
// name without the extension or, with fullPaths, as the whole path. Both
// lists are sorted with NaturalCompare. An unreadable folder lists nothing.
void PatchFolderList(const char32_t *pattern, const char32_t *extension, bool fullPaths,
                     PathList *folders, PathList *patches);

// Small helpers on wide strings, shared by the browser.
uint64_t WideLength(const char32_t *text);
// A heap copy of the bytes, each widened with sign extension.
char32_t *WideFromBytes(const char *bytes);
// A heap string of the pieces one after another (null pieces are skipped).
char32_t *WideJoin(const char32_t *a, const char32_t *b, const char32_t *c = nullptr);
