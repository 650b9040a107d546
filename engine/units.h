// The entry points of the effect units, as the block loop calls them. A unit
// runs on one SubBlock of `count` (1 to 32) interleaved stereo frames in
// place, reading its parameters from context->liveValue at its rows plus
// `instance` (0 to 2). A Release empties a unit's storage, for a disabled unit
// and for the engine's reset; filter states and phases stay.
#pragma once
#include "engine/backend.h"
#include "engine/state.h"

namespace ENGINE_NAMESPACE {

// Polyrhythmic Delay: two tempo-locked delay lines, one after the other.
void PolyDelayRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                  int count);
// Frees both lines' storage and sets their length and writeIndex to 0.
void PolyDelayRelease(PolyDelayState *state);

}  // namespace ENGINE_NAMESPACE
