// Placeholder until the modulators land: they rest at 0.
#include "engine/units.h"

namespace ENGINE_NAMESPACE {

void ModulatorsEvaluate(Engine *engine, EngineContext *context, float out[3]) {
    out[0] = out[1] = out[2] = 0.0f;
}

}  // namespace ENGINE_NAMESPACE
