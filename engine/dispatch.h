// Processor levels: which engine builds this processor can run.
#pragma once
#include <stdint.h>

struct EngineBackend;

struct CpuFeatures {
    bool sse42, avx, avx2;
    bool avx512f, avx512dq, avx512ifma, avx512cd, avx512bw, avx512vl, avx512vbmi, avx512vbmi2,
        avx512vnni, avx512bitalg, avx512vpopcntdq;
};

struct EngineLevels {
    uint8_t flag[5];  // levels 1 to 5; level 1 is always there
    int32_t level;    // the highest level whose flag is set
};

// A pure function of the feature set, so that any processor can be tried.
EngineLevels EngineLevelsFromFeatures(const CpuFeatures *cpu);
int32_t EngineSelectedLevel(void);
const EngineBackend *EngineBackendOfLevel(int32_t level);
