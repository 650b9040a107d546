// A stand-in for the engine that records every call the process driver makes,
// so that chunking, event splitting and value hand-over can be checked from
// inside the process.
#pragma once
#include <vector>

#include "vocabulary/context.h"

struct EngineCall {
    int frames;
    float firstDry[2];  // the chunk's first input frame
    float liveValue[PARAM_COUNT];
    bool engineReset;
    float samplesPerBeat;
    double songPosition;
    bool transportPlaying;
};

std::vector<EngineCall> &RecordedEngineCalls();
