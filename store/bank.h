// Bank files: one `.synthbank` file carries a folder of patches, its
// subfolders and the library samples the patches use, from one user to
// another. The file is a plain sequence of records, each a 296-byte header
// and `size` bytes of data, with no file header and no end mark.
//
// Export and import are thread bodies that work on a BankJob alone: the
// plug-in runs them behind its wait page, the command-line host in its own
// thread. Neither takes a lock or shows anything; the error text comes back
// in the job.
#pragma once
#include <stdint.h>

#include "store/patch.h"

enum : uint64_t {
    BANK_RECORD_PATCH = 100,
    BANK_RECORD_SAMPLE = 101,
    BANK_RECORD_FOLDER = 102,
};

enum {
    BANK_HEADER_SIZE = 296,
    BANK_NAME_SIZE = 256,
    BANK_NAME_LIMIT = 255,          // a relative path is shorter than this
    BANK_MAX_LEVELS = 3,            // folders below the bank's root
    BANK_SEPARATOR = 0x1C,          // between the components of a name
    BANK_COPY_BUFFER = 4096,
    BANK_SUCCESS_PAUSE_SECONDS = 3, // the plug-in's wait page stays this long after success
};
static const uint64_t BANK_MAX_DATA = 0xFFFFFFF;

struct BankRecordHeader {
    uint64_t magic;        // PATCH_MAGIC
    uint64_t type;         // BANK_RECORD_*
    uint64_t size;         // bytes of data behind the header; 0 for a folder
    uint64_t sampleId;     // a sample's library id, else 0
    uint32_t category;     // a sample's: 1 sample, anything else wavetable
    uint32_t subcategory;  // a sample's, else 0
    char name[BANK_NAME_SIZE];  // a path with BANK_SEPARATOR between components, or a sample's name
};
static_assert(sizeof(BankRecordHeader) == BANK_HEADER_SIZE, "the stored header");

// What a worker needs, and what it tells back. The caller owns the texts.
struct BankJob {
    const char *bankPath;        // export: the output file; import: the bank file
    const char *patchFolder;     // export: the folder to walk; import: the user's
                                 // patch folder, under which the bank's own folder goes
    const char *libraryFolder;   // the sample library, or null when not set
    const uint64_t *sampleIds;   // export: the samples the patches use (may repeat)
    uint64_t sampleIdCount;
    bool (*confirm)(const char *text);  // import: asks before anything is written
    uint32_t successPauseSeconds;       // kept waiting after a success
    const uint8_t *cancel;              // set by another thread; read between blocks

    const char *error;           // out: a static message, null for none
    uint32_t patches, folders, samples;  // out: records written or extracted
};

// The thread bodies. Each reads the job, does the work and fills the results.
void BankExport(BankJob *job);
void BankImport(BankJob *job);

// The folder an import goes to: "<patchFolder>/<stem of bankPath>/",
// heap-owned, or null when the stem can't name a folder ("", "." or "..").
char *BankImportTarget(const char *patchFolder, const char *bankPath);
