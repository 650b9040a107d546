// Undo entries are kept in their stored form, back to back: the name with its
// terminating zero, the 924 bytes of values, then the curve block.
#include "store/undo.h"

#include <stdlib.h>
#include <string.h>


void UndoStackPush(UndoEntry stack[UNDO_DEPTH], const Patch *patch, const Curve *curves) {
    free(stack[UNDO_DEPTH - 1].bytes);
    memmove(&stack[1], &stack[0], (UNDO_DEPTH - 1) * sizeof(UndoEntry));
    ByteWriter entry = {};
    ByteWriterTransfer(&entry, (void *)patch->name, strnlen(patch->name, PATCH_NAME_SIZE - 1));
    ByteWriterTransfer(&entry, (void *)"", 1);
    ByteWriterTransfer(&entry, (void *)patch->values, sizeof patch->values);
    CurvesWrite(curves, ByteWriterTransfer, &entry);
    stack[0] = {entry.data, (uint32_t)entry.size};
}

void UndoStackFree(UndoEntry stack[UNDO_DEPTH]) {
    for (int i = 0; i < UNDO_DEPTH; i++) {
        free(stack[i].bytes);
        stack[i] = {};
    }
}
