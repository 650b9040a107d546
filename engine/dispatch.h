// Processor levels: which engine builds this processor can run.
#pragma once
#include <stdint.h>

struct EngineBackend;

// The features of engine/levels.h, in its order.
enum CpuFeature {
#define ENGINE_FEATURE(level, id, name) CPU_##id,
#include "engine/levels.h"
#undef ENGINE_FEATURE
    CPU_FEATURE_COUNT
};

struct CpuFeatures {
    bool has[CPU_FEATURE_COUNT];
};

struct EngineLevels {
    uint8_t flag[5];  // levels 1 to 5; level 1 is always there
    int32_t level;    // the highest level whose flag is set
};

// A pure function of the feature set, so that any processor can be tried.
EngineLevels EngineLevelsFromFeatures(const CpuFeatures *cpu);
int32_t EngineSelectedLevel(void);
const EngineBackend *EngineBackendOfLevel(int32_t level);
