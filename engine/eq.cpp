// Placeholder until the unit lands: passes the audio through.
#include "engine/units.h"

namespace ENGINE_NAMESPACE {

void EqRun(Engine *engine, const EngineContext *context, int instance, float *frames, int count) {}

}  // namespace ENGINE_NAMESPACE
