// What the engine's tests drive the DSP with: one unit called as the block
// loop calls it, the whole frame through one build, and test signals.
#pragma once
#include <stdint.h>

#include <functional>
#include <random>
#include <vector>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

using namespace EngineLevel1;

// ---- signals, interleaved stereo ----

// Uniform noise in -amplitude .. amplitude, different per seed.
std::vector<float> Noise(size_t frames, unsigned seed, float amplitude = 1.0f);
// Silence but for the first frame.
std::vector<float> Click(size_t frames, float left, float right);
// Sum of squares over frames [from, to) of channel 0 or 1, or of both (-1).
double Energy(const std::vector<float> &frames, int channel, size_t from, size_t to);
// The first frame at which the channel (either, for -1) differs, or -1.
long FirstChange(const std::vector<float> &in, const std::vector<float> &out, int channel = -1);

// Random control values for the tests that move parameters at random.
struct Random {
    std::mt19937 generator;
    explicit Random(unsigned seed) : generator(seed) {}
    float Unit() { return std::uniform_real_distribution<float>(0.0f, 1.0f)(generator); }
    float Sample() { return std::uniform_real_distribution<float>(-1.0f, 1.0f)(generator); }
    uint32_t Below(uint32_t n) { return generator() % n; }
    bool Chance(float p) { return Unit() < p; }
    // 0 or 1 with probability `ends`, otherwise anything between.
    float Value(float ends = 0.1f) { return Chance(ends) ? (float)Below(2) : Unit(); }
};

// ---- one unit ----

typedef void (*UnitRunFunction)(Engine *engine, const EngineContext *context, int instance,
                                float *frames, int count);

// A zero-filled Engine and a context holding every default value, with the
// unit's three instances switched on; meters wanted, audio active.
struct UnitRig {
    UnitRunFunction run;
    EngineContext context = {};
    MeterBlock meter = {};
    Engine *engine;
    int instance = 0;

    UnitRig(UnitRunFunction run, int enableRow, float sampleRate = 48000.0f,
            float samplesPerBeat = 24000.0f);
    ~UnitRig();
    UnitRig(const UnitRig &) = delete;
    void Set(int row, float value) { context.liveValue[row + instance] = value; }
    // Frames [from, to) in place, in SubBlocks of 32, the unit position
    // advancing after each as the block loop advances it.
    void Run(std::vector<float> &frames, size_t from = 0, size_t to = SIZE_MAX);
    std::vector<float> Through(std::vector<float> frames) { return Run(frames), frames; }
};

// ---- the whole frame ----

// An EngineContext as an instance has it after init: default values, the
// default curves, no Engine until the first block.
struct EngineRig {
    EngineContext context = {};
    MeterBlock meter = {};
    float *values = context.liveValue;

    explicit EngineRig(float sampleRate = 48000.0f, float samplesPerBeat = 24000.0f);
    ~EngineRig();
    EngineRig(const EngineRig &) = delete;
    // Slot id (instance × 9 + kind) into a slot, with its unit switched on.
    void Place(int slot, int id);
    Engine &TheEngine();  // made here if no block has made it
    // Input through one build (0: the dispatcher) in chunks; `beforeChunk`
    // may change values between them.
    std::vector<float> Run(const std::vector<float> &input, int chunk = 2048, int level = 0,
                           const std::function<void(int chunk)> &beforeChunk = nullptr);
};

// The Enable row of each unit kind, in UnitKind order.
extern const int ENABLE_ROW[UNIT_KINDS];
