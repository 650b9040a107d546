// Compressor: feed-forward, on the mean energy of a 25 ms sliding window.
// Once per SubBlock the window's level from before the SubBlock decides the
// target reduction and its smoothing rate (attack above the threshold,
// release below), and the smoothed reduction from before the SubBlock, plus
// makeup, gives one linear gain for all its frames; per frame the window
// slides and the reduction is smoothed in decibels. The decision and the gain
// thus lag by up to one SubBlock.
//
// The detector energy of a frame is the louder channel's square, so the two
// channels are compressed alike. The detector hears either the chain at this
// place or, with Sidechain by Dry, the plug-in's dry input. A second window
// over the output feeds the editor's meter, only while the editor looks.
#include <math.h>
#include <stdlib.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

const float COMPRESSOR_WINDOW_SECONDS = 0.025f;
// The rings' length comes from the sample rate; a rate too small for one
// frame or beyond what can be indexed leaves the compressor out.
const int32_t COMPRESSOR_MAX_RING = 1 << 30;
// -ln(100): a time is that in which the smoothing covers 99 % of a step.
const float LN_HUNDREDTH = -4.6051702f;
const float DB_PER_LN = 4.3429446f;  // 10 / ln(10): energy to decibels
const float LEVEL_FLOOR = 0.0001f;   // -40 dB: the detector's level never falls below

static float Larger(float a, float b) { return a > b ? a : b; }

// The per-frame smoothing factor of an Attack or Release value.
static float SmoothingFactor(float time, float sampleRate) {
    return expf(LN_HUNDREDTH / (sampleRate * LongTimeCurve(time)));
}

// Makes both rings `length` long and zeroed, releasing the old ones; the
// sums are kept, and the index starts again if it lies beyond the new end.
// Answers false, with the rings released, when storage can't be had.
static bool EnsureRings(CompressorState *state, uint64_t length) {
    if (state->ringLength == length) return true;
    CompressorRelease(state);
    state->inputRing = (float *)calloc(length, sizeof(float));
    state->outputRing = (float *)calloc(length, sizeof(float));
    if (!state->inputRing || !state->outputRing) {
        CompressorRelease(state);
        return false;
    }
    state->ringLength = length;
    if (state->ringIndex >= length) state->ringIndex = 0;
    return true;
}

void CompressorRun(Engine *engine, EngineContext *context, int instance, float *frames,
                   const float *detector, int count) {
    const float *value = context->liveValue + instance;
    if (!(value[PARAM_COMP_ENABLE] > 0.5f)) return;
    CompressorState *state = &engine->compressor[instance];
    float sampleRate = context->sampleRate;
    int32_t length = DelayLength(COMPRESSOR_WINDOW_SECONDS * sampleRate, COMPRESSOR_MAX_RING);
    if (length == 0 || !EnsureRings(state, (uint64_t)length)) return;

    float makeup = DialDecibels(value[PARAM_COMP_MAKEUP]);
    float threshold = (value[PARAM_COMP_THRESHOLD] - 1.0f) * 40.0f;
    float slope = 0.95f * value[PARAM_COMP_RATIO];
    const float inputs[3] = {value[PARAM_COMP_ATTACK], value[PARAM_COMP_RELEASE], sampleRate};
    if (!SameDesignInputs(&state->design, inputs, 3)) {
        state->attack = SmoothingFactor(inputs[0], sampleRate);
        state->release = SmoothingFactor(inputs[1], sampleRate);
    }
    float attack = state->attack, release = state->release;
    float invN = 1.0f / (float)length;
    float level = DB_PER_LN * logf(invN * state->inputSum + LEVEL_FLOOR);
    float target = 0.0f, k = 1.0f - release;
    if (level > threshold) {
        target = slope * (threshold - level);
        k = 1.0f - attack;
    }
    float gain = DecibelsToGain(state->reductionDb + makeup);

    MeterBlock *meter = context->meter;
    bool metering = MeterRead(meter->metersWanted) && meter->audioActive;
    float *inputRing = state->inputRing, *outputRing = state->outputRing;
    float inputSum = state->inputSum, outputSum = state->outputSum;
    float reductionDb = state->reductionDb;
    int32_t index = (int32_t)state->ringIndex;
    for (int i = 0; i < count; i++) {
        const float *in = detector + 2 * i;
        float *frame = frames + 2 * i;
        float energy = Larger(in[0] * in[0], in[1] * in[1]);
        inputSum = Larger(inputSum - inputRing[index], 0.0f);
        inputRing[index] = energy;
        inputSum += energy;
        reductionDb = (target - reductionDb) * k + reductionDb;
        frame[0] *= gain;
        frame[1] *= gain;
        if (metering) {
            float outputEnergy = Larger(frame[0] * frame[0], frame[1] * frame[1]);
            outputSum = Larger(outputSum - outputRing[index], 0.0f);
            outputRing[index] = outputEnergy;
            outputSum += outputEnergy;
        }
        if (++index == length) index = 0;
    }
    state->inputSum = inputSum, state->outputSum = outputSum;
    state->reductionDb = reductionDb;
    state->ringIndex = (uint64_t)index;

    // No floor here: an empty window reads minus infinity.
    MeterWrite(meter->compressorInputDb[instance], DB_PER_LN * logf(invN * inputSum));
    MeterWrite(meter->compressorOutputDb[instance], DB_PER_LN * logf(invN * outputSum));
}

void CompressorRelease(CompressorState *state) {
    free(state->inputRing);
    free(state->outputRing);
    state->inputRing = state->outputRing = nullptr;
    state->ringLength = 0;
}

}  // namespace ENGINE_NAMESPACE
