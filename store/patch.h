// The Patch: one instance's whole persistent setting, a 1,720-byte block that
// the host's state stream carries byte for byte; the .synthpatch file form;
// and the reading and writing of both. These functions work on records only:
// loading into an instance, with its locks and host calls, is the shell's.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "store/curves.h"
#include "vocabulary/context.h"

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

// A byte cursor over memory.
struct ByteReader {
    const uint8_t *data;
    size_t position, size;
};

// A byte buffer in memory that grows as it is written.
struct ByteWriter {
    uint8_t *data;
    size_t size, capacity;
};

// CurveTransfer functions over memory: a read that the reader cannot serve
// whole fails; a write always succeeds (the buffer grows).
bool ByteReaderTransfer(void *reader, void *bytes, size_t length);
bool ByteWriterTransfer(void *writer, void *bytes, size_t length);

// A new instance's block: magic, version, the name "init", the defaults of the
// parameter table, everything else zero.
void PatchFillDefault(Patch *patch);
// Repairs a block in Patch form: terminated name, finite values within 0..1,
// the current version, and record index 0.
void PatchSanitise(Patch *patch);
// Sets the name, cut to fit, with every byte behind it zero, so that no part
// of an earlier, longer name is saved.
void PatchSetName(Patch *patch, const char *name);

// ---- .synthpatch files ----

// The whole file behind fd (closed here), or null when it is shorter than a
// block, longer than PATCH_FILE_MAX_SIZE or cannot be read. *badSize, when
// asked for, tells the first case from a failed read.
uint8_t *PatchFileReadAll(int fd, size_t *size, bool *badSize = nullptr);

enum PatchFileResult {
    PATCH_FILE_SHORT,    // not even a block: nothing was read
    PATCH_FILE_REFUSED,  // wrong magic, a newer version or no curve block
    PATCH_FILE_TAKEN,
};
// Reads a file image. TAKEN: the name and the record behind it are in *patch,
// sanitised (its other fields untouched), and *curves holds fresh records.
// REFUSED: *patch is untouched and *curves holds fresh default curves.
// SHORT: neither is touched. *curves must be null on entry.
PatchFileResult PatchFileParse(ByteReader *reader, Patch *patch, Curve **curves);

// The file's block for a patch: PATCH_FILE_MAGIC, version 13, the name and
// the record behind it, each four bytes earlier than in the Patch, and the
// last four bytes 0.
void PatchFileImage(const Patch *patch, uint8_t file[PATCH_BLOCK_SIZE]);
// Writes the block and then the curve block, each with one write; false on
// a short write of either.
bool PatchFileWrite(int fd, const Patch *patch, const Curve *curves);

// ---- the clap.state stream: length, the Patch block, the curves ----

// Writes the stream; false when any part of the block could not be written.
bool PatchStateWrite(const Patch *patch, const Curve *curves, CurveTransfer write, void *stream);
// Reads a stream into *patch and fresh records in *curves (null on entry),
// then drops any bytes the length announced beyond the block. On success the
// block is sanitised; on failure *patch is the default block and *curves the
// default curves, so the instance is always left with a whole sound.
bool PatchStateRead(Patch *patch, Curve **curves, CurveTransfer read, void *stream);
