// The dispatcher: picks the engine build for this processor and runs each
// entry point with flush-to-zero (and, with SSE4.2, denormals-are-zero) set,
// restoring the host's floating-point mode afterwards.
#include <stdio.h>
#include <xmmintrin.h>

#include "engine/backend.h"
#include "engine/dispatch.h"
#include "engine/engine.h"

static const uint32_t MXCSR_FLUSH_TO_ZERO = 0x8000, MXCSR_DENORMALS_ARE_ZERO = 0x40;

// Written by every init with the same result while other instances may be
// processing; relaxed atomic access makes that rewrite well defined.
static uint8_t levelFlags[ENGINE_LEVEL_COUNT] = {1, 0, 0, 0, 0};

static bool LevelFlag(int index) { return __atomic_load_n(&levelFlags[index], __ATOMIC_RELAXED); }

static const EngineBackend *const BACKENDS[ENGINE_LEVEL_COUNT] = {
    &ENGINE_BACKEND_1, &ENGINE_BACKEND_2, &ENGINE_BACKEND_3, &ENGINE_BACKEND_4, &ENGINE_BACKEND_5,
};

// A level holds when the processor has every feature of its own rows and the
// level below holds, as its build also uses the features of the levels below.
EngineLevels EngineLevelsFromFeatures(const CpuFeatures *cpu) {
    bool lacking[ENGINE_LEVEL_COUNT] = {};
#define ENGINE_FEATURE(level, id, name) lacking[level - 1] |= !cpu->has[CPU_##id];
#include "engine/levels.h"
#undef ENGINE_FEATURE
    EngineLevels levels = {{1}, 1};
    for (int i = 1; i < ENGINE_LEVEL_COUNT && !lacking[i]; i++) {
        levels.flag[i] = 1;
        levels.level = i + 1;
    }
    return levels;
}

// The compiler's CPU model table is filled from CPUID and XGETBV when the
// shared object is loaded, so an operating system that does not save the
// wide registers reports no AVX.
static CpuFeatures ThisProcessor(void) {
    CpuFeatures cpu = {};
#define ENGINE_FEATURE(level, id, name) cpu.has[CPU_##id] = __builtin_cpu_supports(name);
#include "engine/levels.h"
#undef ENGINE_FEATURE
    return cpu;
}

void EngineDetectProcessor(void) {
    CpuFeatures cpu = ThisProcessor();
    EngineLevels levels = EngineLevelsFromFeatures(&cpu);
    for (int i = 0; i < ENGINE_LEVEL_COUNT; i++)
        __atomic_store_n(&levelFlags[i], levels.flag[i], __ATOMIC_RELAXED);
    fprintf(stderr, "cpu features: %d, %d, %d, %d, %d\n", levels.flag[0], levels.flag[1],
            levels.flag[2], levels.flag[3], levels.flag[4]);
}

int32_t EngineSelectedLevel(void) {
    for (int i = ENGINE_LEVEL_COUNT - 1; i > 0; i--)
        if (LevelFlag(i)) return i + 1;
    return 1;
}

static const EngineBackend *SelectedBackend(void) { return BACKENDS[EngineSelectedLevel() - 1]; }

const EngineBackend *EngineBackendOfLevel(int32_t level) {
    return level >= 1 && level <= ENGINE_LEVEL_COUNT ? BACKENDS[level - 1] : nullptr;
}

// Sets the DSP's floating-point mode and returns the host's bits to restore.
static uint32_t EnterDspMode(void) {
    uint32_t mxcsr = _mm_getcsr();
    uint32_t mask = MXCSR_FLUSH_TO_ZERO | (LevelFlag(1) ? MXCSR_DENORMALS_ARE_ZERO : 0);
    _mm_setcsr(mxcsr | mask);
    return mxcsr & mask;
}

// Puts back only the two mode bits; the status bits stay as the DSP left them.
static void LeaveDspMode(uint32_t saved) {
    uint32_t mask = MXCSR_FLUSH_TO_ZERO | (LevelFlag(1) ? MXCSR_DENORMALS_ARE_ZERO : 0);
    _mm_setcsr((_mm_getcsr() & ~mask) | saved);
}

void EngineProcess(EngineContext *context, float *wet, int32_t frames) {
    uint32_t saved = EnterDspMode();
    SelectedBackend()->process(context, wet, frames);
    LeaveDspMode(saved);
}

void EngineEqResponse(EngineContext *context, int32_t instance) {
    uint32_t saved = EnterDspMode();
    SelectedBackend()->eqResponse(context, instance);
    LeaveDspMode(saved);
}

void EngineDestroy(EngineContext *context) {
    uint32_t saved = EnterDspMode();
    SelectedBackend()->destroy(context);
    LeaveDspMode(saved);
}
