// The block loop of one engine build. For now the chain is a pass-through:
// the chunk's input is copied to the work buffer unchanged.
#include <string.h>

#include "engine/backend.h"

namespace ENGINE_NAMESPACE {

static void Process(EngineContext *context, float *wet, int32_t frames) {
    memcpy(wet, context->dryBlock, (size_t)frames * 2 * sizeof(float));
}

static void EqResponse(EngineContext *context, int32_t instance) {}

static void Destroy(EngineContext *context) {}

}  // namespace ENGINE_NAMESPACE

extern const EngineBackend ENGINE_BACKEND_THIS = {
    ENGINE_NAMESPACE::Process,
    ENGINE_NAMESPACE::EqResponse,
    ENGINE_NAMESPACE::Destroy,
};
