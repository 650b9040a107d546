// Placeholder until the unit lands: passes the audio through.
#include "engine/units.h"

namespace ENGINE_NAMESPACE {

void ReverbRun(Engine *engine, const EngineContext *context, int instance, float *frames, int count) {}
void ReverbRelease(ReverbState *state) {}

}  // namespace ENGINE_NAMESPACE
