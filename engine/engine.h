// The engine's three entry points, as the rest of the program sees them. Each
// forwards to the build for this processor's level with the floating-point
// mode set for the DSP (flush-to-zero, denormals-are-zero) around the call.
#pragma once
#include <stdint.h>
#include "vocabulary/context.h"

enum { ENGINE_MAX_FRAMES = 2048 };

// Runs `frames` (at most ENGINE_MAX_FRAMES) interleaved stereo frames: reads
// context->dryBlock, leaves the result in `wet`. Audio thread, under engineLock.
void EngineProcess(EngineContext *context, float *wet, int32_t frames);
// Fills the meter's EQ display curve for one EQ instance. Main thread.
void EngineEqResponse(EngineContext *context, int32_t instance);
// Empties all units and frees the Engine, if one exists.
void EngineDestroy(EngineContext *context);
// Detects the processor's level and prints the "cpu features" line; run by
// every instance's init.
void EngineDetectProcessor(void);
