// One build of the DSP, seen from the dispatcher: the same source is compiled
// once per processor level (ENGINE_LEVEL 1 to 5), each build in a namespace of
// its own and exporting one table of entry points.
#pragma once
#include <stdint.h>
#include "vocabulary/context.h"

struct EngineBackend {
    void (*process)(EngineContext *context, float *wet, int32_t frames);
    void (*eqResponse)(EngineContext *context, int32_t instance);
    void (*destroy)(EngineContext *context);
};

enum { ENGINE_LEVEL_COUNT = 5 };

extern const EngineBackend ENGINE_BACKEND_1, ENGINE_BACKEND_2, ENGINE_BACKEND_3,
    ENGINE_BACKEND_4, ENGINE_BACKEND_5;

#define ENGINE_JOIN2(a, b) a##b
#define ENGINE_JOIN(a, b) ENGINE_JOIN2(a, b)
#ifdef ENGINE_LEVEL
#define ENGINE_NAMESPACE ENGINE_JOIN(EngineLevel, ENGINE_LEVEL)
#define ENGINE_BACKEND_THIS ENGINE_JOIN(ENGINE_BACKEND_, ENGINE_LEVEL)
#endif
