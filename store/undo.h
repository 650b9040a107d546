// The list of earlier states: the ten sounds before each whole-sound change.
#pragma once

struct Plugin;

// Frees the oldest entry, moves the others up and makes entry 0 from the
// current Patch name, values and curves.
void PushUndo(Plugin *plugin);
