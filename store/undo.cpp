// Undo entries are kept in their stored form, back to back: the name with its
// terminating zero, the 924 bytes of values, then the curve block.
#include "store/undo.h"

#include <stdlib.h>
#include <string.h>

#include "shell/plugin.h"
#include "store/curves.h"

struct GrowingBuffer {
    uint8_t *data;
    size_t size, capacity;
};

static bool WriteToBuffer(void *context, void *bytes, size_t length) {
    GrowingBuffer *buffer = (GrowingBuffer *)context;
    if (buffer->size + length > buffer->capacity) {
        size_t capacity = buffer->capacity * 2;
        if (capacity < buffer->size + length) capacity = buffer->size + length;
        buffer->data = (uint8_t *)realloc(buffer->data, capacity);
        buffer->capacity = capacity;
    }
    memcpy(buffer->data + buffer->size, bytes, length);
    buffer->size += length;
    return true;
}

void PushUndo(Plugin *plugin) {
    free(plugin->undoStack[UNDO_DEPTH - 1]);
    memmove(&plugin->undoStack[1], &plugin->undoStack[0], (UNDO_DEPTH - 1) * sizeof(uint8_t *));
    GrowingBuffer entry = {};
    WriteToBuffer(&entry, plugin->patch.name, strnlen(plugin->patch.name, PATCH_NAME_SIZE - 1));
    WriteToBuffer(&entry, (void *)"", 1);
    WriteToBuffer(&entry, plugin->patch.values, sizeof plugin->patch.values);
    CurvesWrite(plugin->context.curves, WriteToBuffer, &entry);
    plugin->undoStack[0] = entry.data;
}
