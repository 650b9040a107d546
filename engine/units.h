// The entry points of the effect units, as the block loop calls them. A unit
// runs on one SubBlock of `count` (1 to 32) interleaved stereo frames in
// place, reading its parameters from context->liveValue at its rows plus
// `instance` (0 to 2). A Release empties a unit's storage, for a disabled unit
// and for the engine's reset; filter states and phases stay.
#pragma once
#include "engine/backend.h"
#include "engine/state.h"

namespace ENGINE_NAMESPACE {

// Polyrhythmic Delay: two tempo-locked delay lines, one after the other.
void PolyDelayRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                  int count);
// Frees both lines' storage and sets their length and writeIndex to 0.
void PolyDelayRelease(PolyDelayState *state);

// Ping-Pong Delay.
void PingPongRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                 int count);
void PingPongRelease(PingPongState *state);

// Multiband Distortion; the band split is shared by the three instances.
void DistortionRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                   int count);
// The distortion's waveshaper of mode index `mode` (0 to 18; any other passes v).
float DistortionShape(int32_t mode, float v);

// Chorus.
void ChorusRun(Engine *engine, const EngineContext *context, int instance, float *frames,
               int count);
void ChorusRelease(ChorusState *state);

// Phaser.
void PhaserRun(Engine *engine, const EngineContext *context, int instance, float *frames,
               int count);

// Parametric EQ.
void EqRun(Engine *engine, const EngineContext *context, int instance, float *frames, int count);

// Trance Gate: a gate clocked by the engine's unit position.
void TranceGateRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                   int count);

// Reverb.
void ReverbRun(Engine *engine, const EngineContext *context, int instance, float *frames,
               int count);
void ReverbRelease(ReverbState *state);

// Compressor: `detector` is the SubBlock itself or, with Sidechain by Dry,
// the same frames of the chunk's dry input. Writes its levels to the meter.
void CompressorRun(Engine *engine, EngineContext *context, int instance, float *frames,
                   const float *detector, int count);
void CompressorRelease(CompressorState *state);

// The three modulators' outputs at the engine's modulator position, and
// their display data in the meter.
void ModulatorsEvaluate(Engine *engine, EngineContext *context, int count, float out[3]);

}  // namespace ENGINE_NAMESPACE
