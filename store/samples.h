// The sample library: a folder (the "UserContentStore" setting) of `.dat`
// sample files with a text index, "index.ini", shared with the maker's
// synthesizer. No effect unit plays a sample; the library serves bank
// exchange and WAV import. The rows are process-wide, one list for all
// instances, sorted by id. Main thread, except that the bank worker reads the
// list while the wait page keeps the editor from changing it.
#pragma once
#include <stddef.h>
#include <stdint.h>

enum { SAMPLE_CATEGORY_SAMPLE = 1, SAMPLE_CATEGORY_WAVETABLE = 2, SAMPLE_HEADER_SIZE = 24 };
static const uint64_t SAMPLE_FILE_MAGIC = 0x6594AD8F60215989ull;

struct SampleRow {
    char *name;           // heap text, display name
    uint64_t id;          // FNV-1a of the imported file's bytes and the import's tag
    uint32_t category;    // SAMPLE_CATEGORY_*
    int32_t subcategory;
    uint8_t factory;      // a row of the factory ROM: it cannot be deleted
};

struct SampleList {
    SampleRow *rows;
    uint64_t count, capacity;
};
extern SampleList sampleList;

// The library folder ("UserContentStore" narrowed, with no trailing "/"),
// heap-owned, or null when the setting is missing.
char *SampleFolder(void);
// "<folder>/<id as 16 hexadecimal capitals><suffix>", heap-owned.
char *SamplePath(const char *folder, uint64_t id, const char *suffix);
// The id of imported bytes: 64-bit FNV-1a over the data, continued over the
// 4 bytes of the tag, low byte first.
uint64_t SampleHash(const uint8_t *data, size_t size, uint32_t tag);

// Fills the list from the index (an unreadable index gives an empty list,
// silently); called at the process-wide start and after every change.
void SampleIndexLoad(void);
void SampleIndexFree(void);
// Binary search by id: the row, or null.
SampleRow *SampleFind(uint64_t id);
// Appends one row's block to "<folder>/index.ini". 0 on success, 1 when the
// index could not be opened, 2 on a short write.
int SampleIndexAppend(const char *folder, uint64_t id, uint32_t category, int32_t subcategory,
                      const char *name);
// Asks, keeps the former index in "index_backup.ini", rewrites the index
// without the row, removes the `.dat` file and reloads; every failure is told
// through the error dialog.
void SampleDelete(uint64_t id);
// Adds a row of the factory ROM: kept across every load of the index, marked
// `factory`, refused by SampleDelete.
void SampleAddFactoryRow(uint64_t id, uint32_t category, int32_t subcategory, const char *name);
