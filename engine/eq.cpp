// Parametric EQ: a peaking mid band, then a low shelf, then a high shelf,
// each one second-order section designed anew for every SubBlock from the
// live values. At a gain value of 0.5 a band's numerator and denominator
// coincide and the band passes the signal unchanged. The three frequencies
// are independent: the low shelf may lie above the high shelf, and the order
// of the stages stays the same.
#include <math.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

const float EQ_MID_LOWEST = 50.0f;      // Hz at Mid Frequency 0
const float EQ_MID_OCTAVES = 8.7f;      // span of the Mid Frequency dial

// A of a gain value: 10^(dB / 40) for -20 .. +20 dB, the square root of the
// band's linear gain. Its own product, not DecibelsToGain(dB / 2): the two
// round differently.
static float BandAmplitude(float gain) { return expf(LN_10 * DialDecibels(gain) * 0.025f); }

// The square root of A, for the shelves' bandwidth term.
static float ShelfRoot(float gain) { return expf(LN_10 * DialDecibels(gain) * 0.025f * 0.5f); }

// Peak at the angle's frequency; `width` 0 is narrow (Q about 17), 1 is
// wide (Q about 0.5).
static BiquadCoefficients PeakDesign(FilterAngle angle, float gain, float width) {
    float A = BandAmplitude(gain);
    float alpha = angle.s * (1.0f - (0.9999f - 0.9998f * width) * 0.97f);
    float g = 1.0f / (alpha / A + 1.0f);
    BiquadCoefficients d;
    d.a1 = d.b1 = -2.0f * angle.c * g;
    d.a2 = (1.0f - alpha / A) * g;
    d.b0 = (1.0f + alpha * A) * g;
    d.b2 = (1.0f - alpha * A) * g;
    return d;
}

// Low shelf with Q 0.5.
static BiquadCoefficients LowShelfDesign(FilterAngle angle, float gain) {
    float A = BandAmplitude(gain), c = angle.c;
    float k = 2.0f * ShelfRoot(gain) * angle.s;
    float g = 1.0f / (A + 1.0f + (A - 1.0f) * c + k);
    BiquadCoefficients d;
    d.a1 = -2.0f * ((A - 1.0f) + (A + 1.0f) * c) * g;
    d.a2 = (A + 1.0f + (A - 1.0f) * c - k) * g;
    d.b0 = A * (A + 1.0f - (A - 1.0f) * c + k) * g;
    d.b1 = 2.0f * A * ((A - 1.0f) - (A + 1.0f) * c) * g;
    d.b2 = A * (A + 1.0f - (A - 1.0f) * c - k) * g;
    return d;
}

// High shelf with Q 0.5.
static BiquadCoefficients HighShelfDesign(FilterAngle angle, float gain) {
    float A = BandAmplitude(gain), c = angle.c;
    float k = 2.0f * ShelfRoot(gain) * angle.s;
    float g = 1.0f / (A + 1.0f - (A - 1.0f) * c + k);
    BiquadCoefficients d;
    d.a1 = 2.0f * ((A - 1.0f) - (A + 1.0f) * c) * g;
    d.a2 = (A + 1.0f - (A - 1.0f) * c - k) * g;
    d.b0 = A * (A + 1.0f + (A - 1.0f) * c + k) * g;
    d.b1 = -2.0f * A * ((A - 1.0f) + (A + 1.0f) * c) * g;
    d.b2 = A * (A + 1.0f + (A - 1.0f) * c - k) * g;
    return d;
}

void EqRun(Engine *engine, const EngineContext *context, int instance, float *frames, int count) {
    const float *value = context->liveValue + instance;
    // A disabled EQ runs no stage: enabled again, it goes on from the states it left.
    if (!(value[PARAM_EQ_ENABLE] > 0.5f)) return;
    EqState *state = &engine->eq[instance];
    float sampleRate = context->sampleRate;

    const float inputs[8] = {value[PARAM_EQ_MID_FREQUENCY], value[PARAM_EQ_MID_GAIN],
                             value[PARAM_EQ_MID_WIDTH],     value[PARAM_EQ_LOW_FREQUENCY],
                             value[PARAM_EQ_LOW_GAIN],      value[PARAM_EQ_HIGH_FREQUENCY],
                             value[PARAM_EQ_HIGH_GAIN],     sampleRate};
    if (!SameDesignInputs(&state->design, inputs, 8)) {
        float midFrequency = exp2f(EQ_MID_OCTAVES * value[PARAM_EQ_MID_FREQUENCY]) * EQ_MID_LOWEST;
        float lowFrequency = CutoffCurve(value[PARAM_EQ_LOW_FREQUENCY]);
        float highFrequency = CutoffCurve(value[PARAM_EQ_HIGH_FREQUENCY]);
        SetFirstSection(&state->mid, PeakDesign(AngleOf(midFrequency, sampleRate),
                                                value[PARAM_EQ_MID_GAIN],
                                                value[PARAM_EQ_MID_WIDTH]));
        SetFirstSection(&state->low, LowShelfDesign(AngleOf(lowFrequency, sampleRate),
                                                    value[PARAM_EQ_LOW_GAIN]));
        SetFirstSection(&state->high, HighShelfDesign(AngleOf(highFrequency, sampleRate),
                                                      value[PARAM_EQ_HIGH_GAIN]));
    }

    BiquadLanes mid = BiquadOpen(&state->mid);
    BiquadLanes low = BiquadOpen(&state->low);
    BiquadLanes high = BiquadOpen(&state->high);
    // Single sections: saying so here lets the loop drop the cascade test.
    mid.cascade = low.cascade = high.cascade = false;
    for (int i = 0; i < count; i++) {
        float *frame = frames + 2 * i;
        Lanes x = LoadLanes(frame);
        StoreLanes(BiquadRun(&high, BiquadRun(&low, BiquadRun(&mid, x))), frame);
    }
    BiquadClose(&mid, &state->mid);
    BiquadClose(&low, &state->low);
    BiquadClose(&high, &state->high);
}

}  // namespace ENGINE_NAMESPACE
