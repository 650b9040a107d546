// Patches: the default block, sanitising, the .synthpatch file image and the
// clap.state stream.
#include "store/patch.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vocabulary/grow.h"
#include "vocabulary/params.h"

// The file form lacks the record index: from the name on, each field stands
// four bytes earlier than in the Patch.
enum { FILE_NAME_OFFSET = 16, PATCH_NAME_OFFSET = 20 };

void PatchFillDefault(Patch *patch) {
    memset(patch, 0, sizeof *patch);
    patch->magic = PATCH_MAGIC;
    patch->version = PATCH_VERSION;
    PatchSetName(patch, "init");
    for (int i = 0; i < PARAM_COUNT; i++) patch->values[i] = PARAM_INFO[i].defaultValue;
}

void PatchSanitise(Patch *patch) {
    patch->name[PATCH_NAME_SIZE - 1] = 0;
    for (float &v : patch->values) {
        if (!isfinite(v)) v = 0.0f;
        v = v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v);
    }
    patch->version = PATCH_VERSION;
    // The block holds one record; an index pointing past it is cleared so the
    // name and values are read where they are.
    patch->recordIndex = 0;
}

void PatchSetName(Patch *patch, const char *name) {
    memset(patch->name, 0, sizeof patch->name);
    strncpy(patch->name, name, PATCH_NAME_SIZE - 1);
}

// ---- .synthpatch files ----

bool ByteReaderTransfer(void *context, void *bytes, size_t length) {
    ByteReader *reader = (ByteReader *)context;
    if (reader->size - reader->position < length) return false;
    memcpy(bytes, reader->data + reader->position, length);
    reader->position += length;
    return true;
}

uint8_t *PatchFileReadAll(int fd, size_t *size, bool *badSize) {
    off_t end = lseek(fd, 0, SEEK_END);
    uint8_t *data = nullptr;
    bool sizeFits = end >= PATCH_BLOCK_SIZE && end <= PATCH_FILE_MAX_SIZE;
    if (badSize) *badSize = end >= 0 && !sizeFits;
    if (sizeFits && lseek(fd, 0, SEEK_SET) == 0) {
        data = (uint8_t *)malloc((size_t)end);
        if (data && read(fd, data, (size_t)end) != end) {
            free(data);
            data = nullptr;
        }
    }
    close(fd);
    *size = data ? (size_t)end : 0;
    return data;
}

PatchFileResult PatchFileParse(ByteReader *reader, Patch *patch, Curve **curves) {
    uint8_t file[PATCH_BLOCK_SIZE];
    if (!ByteReaderTransfer(reader, file, sizeof file)) return PATCH_FILE_SHORT;
    uint64_t magic, version;
    memcpy(&magic, file, 8);
    memcpy(&version, file + 8, 8);
    if (magic != PATCH_FILE_MAGIC || version >= 14 || !CurvesRead(curves, ByteReaderTransfer, reader)) {
        CurvesReset(curves);
        return PATCH_FILE_REFUSED;
    }
    Patch scratch;
    memset(&scratch, 0, sizeof scratch);
    scratch.magic = PATCH_MAGIC;
    scratch.version = version;
    memcpy((uint8_t *)&scratch + PATCH_NAME_OFFSET, file + FILE_NAME_OFFSET,
           PATCH_NAME_SIZE + PATCH_RECORD_BYTES);
    PatchSanitise(&scratch);
    memcpy((uint8_t *)patch + PATCH_NAME_OFFSET, (uint8_t *)&scratch + PATCH_NAME_OFFSET,
           PATCH_NAME_SIZE + PATCH_RECORD_BYTES);
    return PATCH_FILE_TAKEN;
}

void PatchFileImage(const Patch *patch, uint8_t file[PATCH_BLOCK_SIZE]) {
    memset(file, 0, PATCH_BLOCK_SIZE);
    memcpy(file, &PATCH_FILE_MAGIC, 8);
    memcpy(file + 8, &PATCH_VERSION, 8);
    memcpy(file + FILE_NAME_OFFSET, patch->name, PATCH_NAME_SIZE);
    memcpy(file + FILE_NAME_OFFSET + PATCH_NAME_SIZE, patch->values, PATCH_RECORD_BYTES);
}

bool ByteWriterTransfer(void *context, void *bytes, size_t length) {
    ByteWriter *buffer = (ByteWriter *)context;
    ArrayReserve(&buffer->data, &buffer->capacity, buffer->size + length);
    memcpy(buffer->data + buffer->size, bytes, length);
    buffer->size += length;
    return true;
}

bool PatchFileWrite(int fd, const Patch *patch, const Curve *curves) {
    uint8_t file[PATCH_BLOCK_SIZE];
    PatchFileImage(patch, file);
    if (write(fd, file, sizeof file) != (ssize_t)sizeof file) return false;
    // The curve block gathers in memory first, so that it reaches the file
    // in one write and a short write is seen as such.
    ByteWriter buffer = {};
    CurvesWrite(curves, ByteWriterTransfer, &buffer);
    bool written = write(fd, buffer.data, buffer.size) == (ssize_t)buffer.size;
    free(buffer.data);
    return written;
}

// ---- the clap.state stream ----

bool PatchStateWrite(const Patch *patch, const Curve *curves, CurveTransfer write, void *stream) {
    uint32_t length = PATCH_BLOCK_SIZE;
    if (!write(stream, &length, sizeof length)) return false;
    if (!write(stream, (void *)patch, sizeof *patch)) return false;
    return CurvesWrite(curves, write, stream);
}

bool PatchStateRead(Patch *patch, Curve **curves, CurveTransfer read, void *stream) {
    uint32_t length = 0, copyLength = 0;
    bool lengthRead = read(stream, &length, sizeof length);
    bool good = false;
    if (lengthRead) {
        copyLength = length < (uint32_t)PATCH_BLOCK_SIZE ? length : (uint32_t)PATCH_BLOCK_SIZE;
        PatchFillDefault(patch);
        if (read(stream, patch, copyLength)) {
            bool curvesRead = CurvesRead(curves, read, stream);
            good = curvesRead && patch->magic == PATCH_MAGIC && patch->version <= PATCH_VERSION;
        }
    }
    if (good) {
        PatchSanitise(patch);
    } else {
        PatchFillDefault(patch);
        CurvesReset(curves);
    }
    // Bytes beyond the block stand after the curves: read and drop them.
    uint8_t byte;
    for (uint32_t excess = length - copyLength; lengthRead && excess > 0; excess--)
        if (!read(stream, &byte, 1)) break;
    return good;
}
