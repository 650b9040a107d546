// Whole-sound changes of one instance: a patch file or buffer, the state
// stream, the default and start-up patches, Randomise, and the undo list.
// Each combines a step of the store with the instance's locks and the calls
// that tell the host.
#pragma once
#include "shell/plugin.h"

// Main thread. Each answers 1 when the patch was taken over, else 0.
int PatchLoadFromFile(Plugin *plugin, int fd);
int PatchLoadFromBuffer(Plugin *plugin, ByteReader *reader);
// The built-in patch with default curves, handed to the audio side.
void PatchResetToDefault(Plugin *plugin);
// The start-up patch named by the "CustomInitPatch" setting, or the default.
void PatchInit(Plugin *plugin);
// The clap.state stream: length, the Patch block, the curves.
bool PatchStateSave(Plugin *plugin, const clap_ostream_t *stream);
bool PatchStateLoad(Plugin *plugin, const clap_istream_t *stream);
// Hands a whole new sound to the audio side: the curves (taken over) and the
// values change together under engineLock, and the host rereads every value.
void PatchCommit(Plugin *plugin, Curve *fresh, const Patch *patch);
// Keeps the present sound as the newest entry of the undo list.
void PushUndo(Plugin *plugin);
// A new random sound: every parameter the host may change takes a random
// value; switches, slots and destinations stay, so the chain keeps its order.
void Randomise(Plugin *plugin);
