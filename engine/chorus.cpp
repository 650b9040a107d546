// Placeholder until the unit lands: passes the audio through.
#include "engine/units.h"

namespace ENGINE_NAMESPACE {

void ChorusRun(Engine *engine, const EngineContext *context, int instance, float *frames, int count) {}
void ChorusRelease(ChorusState *state) {}

}  // namespace ENGINE_NAMESPACE
