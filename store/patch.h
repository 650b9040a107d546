// The Patch: one instance's whole persistent setting, a 1,720-byte block that
// the host's state stream carries byte for byte; the .synthpatch file form;
// and the moves between those forms and the audio side.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "clap/clap.h"
#include "shell/context.h"

static const uint64_t PATCH_MAGIC = 0x95A130791400F612ull;
static const uint64_t PATCH_FILE_MAGIC = 0x95A130791400F613ull;
static const uint64_t PATCH_VERSION = 13;
enum {
    PATCH_BLOCK_SIZE = 1720,
    PATCH_NAME_SIZE = 100,
    PATCH_FILE_MAX_SIZE = 0xFFFFFF,
    PATCH_RECORD_BYTES = 1600,  // values and reserved bytes behind the name: what a file load takes over
};

struct Patch {
    uint64_t magic;
    uint64_t version;
    uint16_t recordIndex;  // the block holds one record, so this is 0
    uint16_t reserved;
    char name[PATCH_NAME_SIZE];
    float values[PARAM_COUNT];
    uint8_t tail[676];  // carried through load and save untouched
};
static_assert(sizeof(Patch) == PATCH_BLOCK_SIZE, "the Patch is a stored format");

struct Plugin;

// A byte cursor over memory.
struct ByteReader {
    const uint8_t *data;
    size_t position, size;
};

// A new instance's block: magic, version, the name "init", the defaults of the
// parameter table, everything else zero.
void PatchFillDefault(Patch *patch);
// Repairs a block in Patch form: terminated name, finite values within 0..1,
// the current version, and record index 0.
void PatchSanitise(Patch *patch);

// Main thread. Each answers 1 when the patch was taken over, else 0.
int PatchLoadFromFile(Plugin *plugin, int fd);
int PatchLoadFromBuffer(Plugin *plugin, ByteReader *reader);
// Called with engineLock held: hands the Patch to the audio side, releases
// engineLock and tells the host.
void PatchCommit(Plugin *plugin);
// The built-in patch with default curves, handed to the audio side.
void PatchResetToDefault(Plugin *plugin);
// The start-up patch named by the "CustomInitPatch" setting, or the default.
void PatchInit(Plugin *plugin);

// The clap.state stream: length, the Patch block, the curves.
bool PatchStateSave(Plugin *plugin, const clap_ostream_t *stream);
bool PatchStateLoad(Plugin *plugin, const clap_istream_t *stream);
