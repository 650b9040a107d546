// Trance Gate: a 16-step rhythmic gate locked to the engine's unit position.
// Each step of a 16-bit pattern is open (level 1) or closed (level 1 - Mix);
// at the start of each step a linear ramp of Contour of a step leads from the
// previous step's level to the new one. Nothing is kept between calls: every
// frame's place in the pattern is worked out afresh from the position, so the
// gate stays in step with the host and a jump of the transport simply reads
// the pattern at its new place.
#include <math.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

const int GATE_STEPS = 16;
const int GATE_SPEEDS = 4;
// The length of the 16 steps in beats for Speed indices 0 to 3 ("1/4" to
// "1/32"); "1/64" and any other index take one beat.
const double GATE_PERIOD_BEATS[GATE_SPEEDS] = {16.0, 8.0, 4.0, 2.0};
const double GATE_OTHER_PERIOD_BEATS = 1.0;

// Below 2^52, whole numbers of frames added to a non-negative position need
// no rounding when the largest such sum needs none: every sum keeps the
// position's finest bit, and the largest needs the most bits above it.
const double EXACT_WHOLE_LIMIT = 4503599627370496.0;

// Whether a + b needs no rounding: the error term of Knuth's two-sum is 0.
static bool SumIsExact(double a, double b) {
    double sum = a + b;
    double bPart = sum - a, aPart = sum - bPart;
    return (a - aPart) + (b - bPart) == 0.0;
}

// A pattern value as 32 bits holding the 16 steps twice, so that a step index
// and that index plus 15 (the previous step) both address a bit without a
// test for the wrap. The decoded value is used as it is, so the -1 of a raw 0
// opens every step.
static uint32_t DoubledPattern(float value) {
    uint32_t pattern = (uint32_t)ParamDecodeWhole(value);
    return pattern | (pattern << GATE_STEPS);
}

void TranceGateRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                   int count) {
    const float *value = context->liveValue + instance;
    if (!(value[PARAM_GATE_ENABLE] > 0.5f)) return;

    int32_t speed = ParamDecodeWhole(value[PARAM_GATE_SPEED]);
    double beats = speed >= 0 && speed < GATE_SPEEDS ? GATE_PERIOD_BEATS[speed]
                                                     : GATE_OTHER_PERIOD_BEATS;
    double period = (double)context->samplesPerBeat * beats;
    // A degenerate tempo leaves no pattern to follow: the audio passes.
    if (!(period > 0.0 && period < INFINITY)) return;
    double stepsPerFrame = GATE_STEPS / period;

    uint32_t left = DoubledPattern(value[PARAM_GATE_LEFT]);
    uint32_t right = value[PARAM_GATE_STEREO] >= 0.5f ? DoubledPattern(value[PARAM_GATE_RIGHT])
                                                      : left;
    float closed = 1.0f - Clamp01(value[PARAM_GATE_MIX]);
    float contour = Clamp01(value[PARAM_GATE_CONTOUR]);

    // x = fmod(position + i, period) for each frame. While every position + i
    // is exact, that is fmod(position, period) + i, exactly, for as long as
    // the sum stays below the period, and fmod's cost grows with the position;
    // the frames from the wrap on, and all frames of any other position, take
    // fmod itself.
    double position = engine->unitPosition;
    double start = fmod(position, period);
    bool exactSums = position >= 0.0 && position < EXACT_WHOLE_LIMIT &&
                     SumIsExact(position, count - 1);
    for (int i = 0; i < count; i++) {
        double x = start + i;
        if (!(exactSums && x < period)) {
            x = fmod(position + i, period);
            // A position before the song's start (a count-in) counts back
            // from the pattern's end, so x lies in 0 .. period there as well.
            if (x < 0.0) x += period;
        }
        double s = x * stepsPerFrame;
        // s may round to exactly 16: bit 16 of a doubled pattern is step 0
        // again. s less its whole part is exact, the same as fmod(s, 1).
        int32_t step = (int32_t)s;
        float phase = (float)(s - step);
        int32_t current = step & 31, previous = (step + 15) & 31;
        float curL = (left >> current) & 1 ? 1.0f : closed;
        float prevL = (left >> previous) & 1 ? 1.0f : closed;
        float curR = (right >> current) & 1 ? 1.0f : closed;
        float prevR = (right >> previous) & 1 ? 1.0f : closed;
        float *frame = frames + 2 * i;
        if (contour > phase) {
            float t = phase / contour;
            frame[0] *= prevL + (curL - prevL) * t;
            frame[1] *= prevR + (curR - prevR) * t;
        } else {
            frame[0] *= curL;
            frame[1] *= curR;
        }
    }
}

}  // namespace ENGINE_NAMESPACE
