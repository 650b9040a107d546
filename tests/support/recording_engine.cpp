#include "tests/support/recording_engine.h"

#include <string.h>

#include "engine/engine.h"

std::vector<EngineCall> &RecordedEngineCalls() {
    static std::vector<EngineCall> calls;
    return calls;
}

// Passes the input through, as an empty chain at unity gain would.
void EngineProcess(EngineContext *context, float *wet, int32_t frames) {
    EngineCall call = {};
    call.frames = frames;
    call.firstDry[0] = context->dryBlock[0];
    call.firstDry[1] = context->dryBlock[1];
    memcpy(call.liveValue, context->liveValue, sizeof call.liveValue);
    call.engineReset = context->engineReset;
    call.samplesPerBeat = context->samplesPerBeat;
    call.songPosition = context->songPosition;
    call.transportPlaying = context->transportPlaying;
    context->engineReset = 0;
    RecordedEngineCalls().push_back(call);
    memcpy(wet, context->dryBlock, (size_t)frames * 2 * sizeof(float));
}

void EngineEqResponse(EngineContext *context, int32_t instance) {}
void EngineDestroy(EngineContext *context) {}
void EngineDetectProcessor(void) {}
