// The list of earlier sounds: the ten sounds before each whole-sound change,
// newest first, each in its stored form with the length it uses.
#pragma once
#include <stdint.h>

#include "store/patch.h"

enum { UNDO_DEPTH = 10 };

struct UndoEntry {
    uint8_t *bytes;  // the name with its terminating zero, the 924 bytes of values, the curve block
    uint32_t length;
};

// Frees the oldest entry, moves the others down and makes entry 0 from the
// patch's name and values and the curves.
void UndoStackPush(UndoEntry stack[UNDO_DEPTH], const Patch *patch, const Curve *curves);
void UndoStackFree(UndoEntry stack[UNDO_DEPTH]);
