#include "tests/support/engine_rig.h"

#include <gtest/gtest.h>
#include <math.h>
#include <pthread.h>

#include <algorithm>

#include "engine/dispatch.h"
#include "engine/engine.h"
#include "store/curves.h"

const int ENABLE_ROW[UNIT_KINDS] = {PARAM_DELAY_ENABLE, PARAM_PINGPONG_ENABLE, PARAM_DIST_ENABLE,
                                    PARAM_CHORUS_ENABLE, PARAM_PHASER_ENABLE, PARAM_EQ_ENABLE,
                                    PARAM_GATE_ENABLE, PARAM_REVERB_ENABLE, PARAM_COMP_ENABLE};

std::vector<float> Noise(size_t frames, unsigned seed, float amplitude) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
    std::vector<float> samples(2 * frames);
    for (float &s : samples) s = uniform(generator);
    return samples;
}

std::vector<float> Click(size_t frames, float left, float right) {
    std::vector<float> samples(2 * frames, 0.0f);
    samples[0] = left, samples[1] = right;
    return samples;
}

double Energy(const std::vector<float> &frames, int channel, size_t from, size_t to) {
    double sum = 0.0;
    for (size_t i = from; i < to; i++)
        for (int c = 0; c < 2; c++)
            if (channel < 0 || channel == c) sum += (double)frames[2 * i + c] * frames[2 * i + c];
    return sum;
}

long FirstChange(const std::vector<float> &in, const std::vector<float> &out, int channel) {
    for (size_t i = 0; i < in.size(); i++)
        if ((channel < 0 || (int)(i % 2) == channel) && in[i] != out[i]) return (long)(i / 2);
    return -1;
}

UnitRig::UnitRig(UnitRunFunction run, int enableRow, float sampleRate, float samplesPerBeat)
    : run(run), engine((Engine *)calloc(1, sizeof(Engine))) {
    context.sampleRate = sampleRate;
    context.samplesPerBeat = samplesPerBeat;
    context.meter = &meter;
    context.engine = engine;
    meter.metersWanted = meter.audioActive = 1;
    for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
    for (int i = 0; i < UNIT_INSTANCES; i++) context.liveValue[enableRow + i] = 1.0f;
}

// The engine's own teardown empties every unit's storage and frees it.
UnitRig::~UnitRig() { EngineBackendOfLevel(1)->destroy(&context); }

void UnitRig::Run(std::vector<float> &frames, size_t from, size_t to) {
    to = std::min(to, frames.size() / 2);
    for (size_t at = from; at < to; at += SUBBLOCK_FRAMES) {
        int count = (int)std::min<size_t>(SUBBLOCK_FRAMES, to - at);
        run(engine, &context, instance, &frames[2 * at], count);
        engine->unitPosition += count;
    }
}

EngineRig::EngineRig(float sampleRate, float samplesPerBeat) {
    context.sampleRate = sampleRate;
    context.samplesPerBeat = samplesPerBeat;
    context.meter = &meter;
    pthread_mutex_init(&context.engineLock, nullptr);
    for (int i = 0; i < PARAM_COUNT; i++) values[i] = PARAM_INFO[i].defaultValue;
    CurvesReset(&context.curves);
}

EngineRig::~EngineRig() {
    EngineDestroy(&context);
    CurvesFree(&context.curves);
    pthread_mutex_destroy(&context.engineLock);
}

void EngineRig::Place(int slot, int id) {
    values[PARAM_EFFECT_SLOT + slot] = ParamEncodeWhole(id);
    values[ENABLE_ROW[id % UNIT_KINDS] + id / UNIT_KINDS] = 1.0f;
}

Engine &EngineRig::TheEngine() {
    if (!context.engine) context.engine = (Engine *)calloc(1, sizeof(Engine));
    return *context.engine;
}

std::vector<float> EngineRig::Run(const std::vector<float> &input, int chunk, int level,
                                  const std::function<void(int chunk)> &beforeChunk) {
    std::vector<float> output(input.size()), dry, wet;
    for (size_t at = 0, k = 0; at < input.size() / 2; at += chunk, k++) {
        int frames = (int)std::min<size_t>(chunk, input.size() / 2 - at);
        if (beforeChunk) beforeChunk((int)k);
        dry.assign(input.begin() + 2 * at, input.begin() + 2 * (at + frames));
        wet.assign(dry.size(), NAN);  // a frame the engine leaves unwritten shows
        context.dryBlock = dry.data();
        if (level) EngineBackendOfLevel(level)->process(&context, wet.data(), frames);
        else EngineProcess(&context, wet.data(), frames);
        EXPECT_EQ(context.dryBlock, dry.data());
        std::copy(wet.begin(), wet.end(), output.begin() + 2 * at);
    }
    return output;
}
