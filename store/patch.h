// The Patch: one instance's whole persistent setting, a 1,720-byte block that
// the host's state stream carries byte for byte.
#pragma once
#include <stdint.h>
#include "shell/context.h"

static const uint64_t PATCH_MAGIC = 0x95A130791400F612ull;
static const uint64_t PATCH_VERSION = 13;
enum { PATCH_BLOCK_SIZE = 1720, PATCH_NAME_SIZE = 100 };

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

// A new instance's block: magic, version, the name "init", the defaults of the
// parameter table, everything else zero.
void PatchResetToDefault(Patch *patch);
