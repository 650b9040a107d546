// Undo entries are kept in their stored form, back to back: the name with its
// terminating zero, the 924 bytes of values, then the curve block.
#include "store/undo.h"

#include <stdlib.h>
#include <string.h>

#include "vocabulary/grow.h"

struct GrowingBuffer {
    uint8_t *data;
    size_t size, capacity;
};

static bool WriteToBuffer(void *context, void *bytes, size_t length) {
    GrowingBuffer *buffer = (GrowingBuffer *)context;
    ArrayReserve(&buffer->data, &buffer->capacity, buffer->size + length);
    memcpy(buffer->data + buffer->size, bytes, length);
    buffer->size += length;
    return true;
}

void UndoStackPush(UndoEntry stack[UNDO_DEPTH], const Patch *patch, const Curve *curves) {
    free(stack[UNDO_DEPTH - 1].bytes);
    memmove(&stack[1], &stack[0], (UNDO_DEPTH - 1) * sizeof(UndoEntry));
    GrowingBuffer entry = {};
    WriteToBuffer(&entry, (void *)patch->name, strnlen(patch->name, PATCH_NAME_SIZE - 1));
    WriteToBuffer(&entry, (void *)"", 1);
    WriteToBuffer(&entry, (void *)patch->values, sizeof patch->values);
    CurvesWrite(curves, WriteToBuffer, &entry);
    stack[0] = {entry.data, (uint32_t)entry.size};
}

void UndoStackFree(UndoEntry stack[UNDO_DEPTH]) {
    for (int i = 0; i < UNDO_DEPTH; i++) {
        free(stack[i].bytes);
        stack[i] = {};
    }
}
