// Placeholder until the unit lands: passes the audio through.
#include "engine/units.h"

namespace ENGINE_NAMESPACE {

void CompressorRun(Engine *engine, EngineContext *context, int instance, float *frames, const float *detector, int count) {}
void CompressorRelease(CompressorState *state) {}

}  // namespace ENGINE_NAMESPACE
