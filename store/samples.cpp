// The sample library: the folder and file names, the content hash, the
// index's reader, its appender and the delete that rewrites it.
//
// The index is shared with the synthesizer and may be edited by hand, so the
// reader takes whatever the ini walker finds and keeps only complete rows:
// a row needs a section named by exactly 16 characters and a "name" key.
#include "store/samples.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store/dialogs.h"
#include "store/file_io.h"
#include "store/settings.h"
#include "vocabulary/grow.h"
#include "vocabulary/ini.h"

SampleList sampleList;

static const uint64_t FNV_OFFSET_BASIS = 0xCBF29CE484222325ull;
static const uint64_t FNV_PRIME = 0x100000001B3ull;
static const size_t INDEX_LOAD_LIMIT = 0x10000000;
static const size_t INDEX_DELETE_LIMIT = 30000000;
static const size_t SECTION_ID_LENGTH = 16;
static const char INDEX_NAME[] = "index.ini";
static const char BACKUP_NAME[] = "index_backup.ini";
static const char ROW_FORMAT[] = "\n[%.16llX]\ncategory=%s\nsubcategory=%d\nname=%s\n";

static const char MESSAGE_ALREADY_DELETED[] = "This sample has already been deleted.";
static const char MESSAGE_FACTORY[] = "This sample is in the factory ROM and cannot be deleted.";
static const char QUESTION_DELETE[] = "Delete the sample?\r\nAll patches that use it will break.";
static const char MESSAGE_NOT_UPDATED[] = "The sample database could not be updated.";

// ---- names and the hash ----

char *SampleFolder(void) {
    char32_t *wide = SettingsReadText(U"UserContentStore", 0);
    if (!wide) return nullptr;
    char *folder = TextNarrow(wide);
    free(wide);
    size_t length = strlen(folder);
    // "/" alone stays: it is the root, not a trailing separator.
    while (length > 1 && folder[length - 1] == '/') folder[--length] = 0;
    if (!length) {
        free(folder);
        return nullptr;
    }
    return folder;
}

static char *JoinPath(const char *folder, const char *name) {
    size_t length = strlen(folder) + 1 + strlen(name) + 1;
    char *path = (char *)malloc(length);
    snprintf(path, length, "%s/%s", folder, name);
    return path;
}

char *SamplePath(const char *folder, uint64_t id, const char *suffix) {
    int length = snprintf(nullptr, 0, "%s/%.16llX%s", folder, (unsigned long long)id, suffix);
    char *path = (char *)malloc((size_t)length + 1);
    snprintf(path, (size_t)length + 1, "%s/%.16llX%s", folder, (unsigned long long)id, suffix);
    return path;
}

uint64_t SampleHash(const uint8_t *data, size_t size, uint32_t tag) {
    uint64_t hash = FNV_OFFSET_BASIS;
    for (size_t i = 0; i < size; i++) hash = (hash ^ data[i]) * FNV_PRIME;
    for (int i = 0; i < 4; i++) hash = (hash ^ ((tag >> (8 * i)) & 0xFF)) * FNV_PRIME;
    return hash;
}

// ---- the factory rows ----

// The synthesizer's factory ROM is compiled into the synthesizer; no file that
// this program reads lists it, and this program ships no samples of its own.
// The rows therefore start empty and are added by whoever knows them (today
// only the tests); every load of the index puts them back into the list, and a
// delete refuses them.
static SampleList factoryRows;

void SampleAddFactoryRow(uint64_t id, uint32_t category, int32_t subcategory, const char *name) {
    ArrayReserve(&factoryRows.rows, &factoryRows.capacity, factoryRows.count + 1);
    SampleRow *row = &factoryRows.rows[factoryRows.count++];
    *row = {strdup(name), id, category, subcategory, 1};
}

// ---- the list ----

static int CompareRows(const void *a, const void *b) {
    uint64_t left = ((const SampleRow *)a)->id, right = ((const SampleRow *)b)->id;
    return left < right ? -1 : left > right;
}

// Stores a row that has a name; a nameless one is dropped.
static void KeepRow(SampleRow *row) {
    if (!row->name) return;
    ArrayReserve(&sampleList.rows, &sampleList.capacity, sampleList.count + 1);
    sampleList.rows[sampleList.count++] = *row;
    *row = {};
}

// The leading hexadecimal digits of a text, as a number; it stops at the
// first other character.
static uint64_t HexNumber(const char *text, size_t length) {
    uint64_t value = 0;
    for (size_t i = 0; i < length; i++) {
        char c = text[i];
        int digit = c >= '0' && c <= '9'   ? c - '0'
                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                           : -1;
        if (digit < 0) break;
        value = value * 16 + (uint64_t)digit;
    }
    return value;
}

static bool KeyIs(const IniCursor *cursor, const char *key) {
    return cursor->item == INI_KEY_LINE && cursor->keyLength == strlen(key) &&
           !memcmp(cursor->key, key, cursor->keyLength);
}

// The whole file in a buffer with one spare byte for the walker's terminators;
// null when it cannot be opened or read or is larger than limit.
static char *ReadIndex(const char *path, size_t limit, size_t *size) {
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat info;
    char *buffer = nullptr;
    if (fstat(fd, &info) == 0 && (uint64_t)info.st_size <= limit) {
        size_t length = (size_t)info.st_size;
        buffer = (char *)malloc(length + 1);
        if (buffer && ReadFull(fd, buffer, length) != (ssize_t)length) {
            free(buffer);
            buffer = nullptr;
        } else if (buffer) {
            buffer[length] = 0;
            *size = length;
        }
    }
    close(fd);
    return buffer;
}

static void ParseIndex(char *text, size_t size) {
    IniCursor cursor = {};
    cursor.cursor = text;
    cursor.remaining = size;
    SampleRow row = {};
    while (IniNext(&cursor, true)) {
        if (cursor.item == INI_SECTION) {
            KeepRow(&row);
            free(row.name);
            row = {};
        } else if (KeyIs(&cursor, "name") && cursor.sectionLength == SECTION_ID_LENGTH) {
            free(row.name);
            row.name = strndup(cursor.value, cursor.valueLength);
            row.id = HexNumber(cursor.section, cursor.sectionLength);
        } else if (KeyIs(&cursor, "category")) {
            row.category = !strcmp(cursor.value, "sample")      ? SAMPLE_CATEGORY_SAMPLE
                           : !strcmp(cursor.value, "wavetable") ? SAMPLE_CATEGORY_WAVETABLE
                                                                : 0;
        } else if (KeyIs(&cursor, "subcategory")) {
            row.subcategory = (int32_t)strtol(cursor.value, nullptr, 10);
        }
    }
    KeepRow(&row);
    free(row.name);
}

void SampleIndexLoad(void) {
    SampleIndexFree();
    for (uint64_t i = 0; i < factoryRows.count; i++) {
        SampleRow row = factoryRows.rows[i];
        row.name = strdup(row.name);
        KeepRow(&row);
    }
    char *folder = SampleFolder();
    if (folder) {
        char *path = JoinPath(folder, INDEX_NAME);
        size_t size = 0;
        char *text = ReadIndex(path, INDEX_LOAD_LIMIT, &size);
        if (text) ParseIndex(text, size);
        free(text);
        free(path);
        free(folder);
    }
    if (sampleList.count)
        qsort(sampleList.rows, (size_t)sampleList.count, sizeof(SampleRow), CompareRows);
}

void SampleIndexFree(void) {
    for (uint64_t i = 0; i < sampleList.count; i++) free(sampleList.rows[i].name);
    free(sampleList.rows);
    sampleList = {};
}

SampleRow *SampleFind(uint64_t id) {
    uint64_t low = 0, high = sampleList.count;
    while (low < high) {
        uint64_t middle = low + (high - low) / 2;
        uint64_t found = sampleList.rows[middle].id;
        if (found == id) return &sampleList.rows[middle];
        if (found < id) low = middle + 1;
        else high = middle;
    }
    return nullptr;
}

// ---- changes of the index ----

// One write of the whole block, so that a reader never sees half a row from
// this process and another program appending at the same time cannot split it.
int SampleIndexAppend(const char *folder, uint64_t id, uint32_t category, int32_t subcategory,
                      const char *name) {
    const char *categoryText = category == SAMPLE_CATEGORY_WAVETABLE ? "wavetable" : "sample";
    // A name comes from a bank or a file name: a line break in it would add
    // lines, even whole rows, to the index. Control bytes become blanks.
    char *clean = strdup(name ? name : "");
    if (!clean) return 1;
    for (char *c = clean; *c; c++)
        if ((unsigned char)*c < 0x20) *c = ' ';
    int length = snprintf(nullptr, 0, ROW_FORMAT, (unsigned long long)id, categoryText,
                          (int)subcategory, clean);
    char *block = (char *)malloc((size_t)length + 1);
    if (block)
        snprintf(block, (size_t)length + 1, ROW_FORMAT, (unsigned long long)id, categoryText,
                 (int)subcategory, clean);
    free(clean);
    if (!block) return 1;
    char *path = JoinPath(folder, INDEX_NAME);
    int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    free(path);
    int result = 1;
    if (fd >= 0) {
        ssize_t wrote = write(fd, block, (size_t)length);
        result = wrote == length ? 0 : 2;
        close(fd);
    }
    free(block);
    return result;
}

// The index without the section of id, every item in normal form: the header
// and the items up to the next header are left out. Normal form adds at most
// three bytes to an item of one byte, so four times the size always fits.
static char *IndexWithout(char *text, size_t size, uint64_t id, size_t *length) {
    size_t capacity = 4 * size + 16, used = 0;
    char *out = (char *)malloc(capacity);
    IniCursor cursor = {};
    cursor.cursor = text;
    cursor.remaining = size;
    while (IniNext(&cursor, false)) {
        bool inSection = cursor.sectionLength == SECTION_ID_LENGTH &&
                         HexNumber(cursor.section, cursor.sectionLength) == id;
        if (!inSection) used += IniFormatItem(&cursor, out + used, capacity - used);
    }
    *length = used;
    return out;
}

static bool CreateWith(const char *path, const char *bytes, size_t length, int flags) {
    int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
    if (fd < 0) return false;
    bool written = WriteFull(fd, bytes, length);
    return close(fd) == 0 && written;
}

// Steps 3 to 5 of a delete: false at the first failure. The former index is
// kept in the backup before anything is removed.
static bool RewriteWithout(const char *folder, uint64_t id) {
    char *indexPath = JoinPath(folder, INDEX_NAME);
    char *backupPath = JoinPath(folder, BACKUP_NAME);
    char *samplePath = SamplePath(folder, id, ".dat");
    size_t size = 0, length = 0;
    char *text = ReadIndex(indexPath, INDEX_DELETE_LIMIT, &size);
    char *rewritten = nullptr;
    bool done = text && CreateWith(backupPath, text, size, O_TRUNC);
    if (done) {
        rewritten = IndexWithout(text, size, id, &length);
        done = unlink(indexPath) == 0 && CreateWith(indexPath, rewritten, length, O_EXCL);
    }
    // A sample file that is already gone is what the delete wants.
    if (done) done = unlink(samplePath) == 0 || errno == ENOENT;
    if (text) SampleIndexLoad();
    free(rewritten);
    free(text);
    free(samplePath);
    free(backupPath);
    free(indexPath);
    return done;
}

void SampleDelete(uint64_t id) {
    SampleRow *row = nullptr;
    for (uint64_t i = 0; i < sampleList.count && !row; i++)
        if (sampleList.rows[i].id == id) row = &sampleList.rows[i];
    if (!row) {
        DialogError(MESSAGE_ALREADY_DELETED);
        return;
    }
    if (row->factory) {
        DialogError(MESSAGE_FACTORY);
        return;
    }
    if (!DialogQuestion(QUESTION_DELETE)) return;
    char *folder = SampleFolder();
    if (!folder || !RewriteWithout(folder, id)) DialogError(MESSAGE_NOT_UPDATED);
    free(folder);
}
