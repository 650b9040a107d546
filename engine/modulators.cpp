// The three modulators: tempo-locked cycles that read the user's curves. A
// modulator keeps no state: its phase is a function of the engine's modulator
// position, the tempo and its Rate, so a change of either moves it at once.
#include <math.h>

#include "engine/units.h"
#include "vocabulary/params.h"
#include "vocabulary/curve.h"

namespace ENGINE_NAMESPACE {

static const float RATE_STEP_SCALE = 26.9973f;       // 27 rates over the 0..1 value
static const float NEAR_POINTS = 0.0001f;            // closer neighbours jump to the right point
static const float HISTORY_SECONDS_PER_ENTRY = 0.0078125f;  // 128 ring entries a second
static const float INT32_RANGE = 2147483648.0f;     // 2^31
enum { HISTORY_LENGTH = 128 };

// The curve's output at x in 0..1: the last point at or left of x and the
// segment to its right, shaped by that right point's tension. Outside the
// points the nearest end is held; the curve does not wrap. A result outside
// 0..1 or not a number reads as -1.
static float CurveOutput(const Curve *curves, int m, float x) {
    if (!curves) return 0.0f;
    const Curve *curve = &curves[m];
    int count = curve->pointCount;
    if (count < CURVE_MIN_POINTS || count > CURVE_MAX_POINTS) return 0.0f;
    const CurvePoint *point = curve->points;

    int l = count - 1;
    while (l >= 0 && !(point[l].x <= x)) l--;
    float output;
    if (l < 0) {
        output = point[0].y;
    } else if (l == count - 1) {
        output = point[l].y;
    } else {
        CurvePoint left = point[l], right = point[l + 1];
        float dy = right.y - left.y;
        float w = right.x - left.x;
        float t = w < NEAR_POINTS ? 1.0f : (x - left.x) / w;
        float tension = right.tension;
        if (tension > 0.0f)
            output = left.y + dy * powf(t, tension + 1.0f);
        else if (tension < 0.0f)
            output = left.y + dy * (1.0f - powf(1.0f - t, 1.0f - tension));
        else
            output = left.y + dy * t;
    }
    return output >= 0.0f && output <= 1.0f ? output : -1.0f;
}

// The ring of recent outputs that the editor draws: one entry every 1/128 s,
// counted down in frames, the remainder carried into the next interval.
static void RecordHistory(MeterBlock *meter, float sampleRate, int m, int count, float output) {
    meter->modHistoryCountdown[m] -= count;
    if (meter->modHistoryCountdown[m] >= 0) return;
    float next = HISTORY_SECONDS_PER_ENTRY * sampleRate + (float)meter->modHistoryCountdown[m];
    // Only an absurd sample rate leaves the int range; truncating that would be undefined.
    meter->modHistoryCountdown[m] = fabsf(next) < INT32_RANGE ? (int32_t)next : 0;
    int32_t index = meter->modHistoryIndex[m] & (HISTORY_LENGTH - 1);
    MeterWrite(meter->modHistory[m][index], output);
    MeterWrite(meter->modHistoryIndex[m], (index + 1) & (HISTORY_LENGTH - 1));
}

void ModulatorsEvaluate(Engine *engine, EngineContext *context, int count, float out[3]) {
    const float *live = context->liveValue;
    MeterBlock *meter = context->meter;
    bool display = MeterRead(meter->metersWanted) && meter->audioActive;
    double position = engine->modulatorPosition;
    for (int m = 0; m < 3; m++) {
        // Live values lie in 0..1, so the step does too; the limits only keep
        // the table read inside the table whatever arrives.
        float step = floorf(RATE_STEP_SCALE * live[PARAM_MOD_RATE + m]);
        step = step > 0.0f ? step : 0.0f;
        step = step < MODULATOR_RATE_COUNT - 1 ? step : MODULATOR_RATE_COUNT - 1;
        float cycle = MODULATOR_RATE_BEATS[(int)step] * context->samplesPerBeat;

        // A degenerate tempo gives a cycle of 0 or infinity: f is then
        // infinite, not a number or 0, every step below stays in floats, and
        // a phase that is not a number finds no point and holds the first.
        float f = (float)(position / (double)cycle);
        float phase;
        if (live[PARAM_MOD_PINGPONG + m] > 0.5f) {
            float h = 0.5f * f;
            phase = 2.0f * (h - floorf(h));
        } else {
            phase = f - floorf(f);
        }
        float x = phase > 1.0f ? 2.0f - phase : phase;

        out[m] = CurveOutput(context->curves, m, x);
        if (display) {
            MeterWrite(meter->modPhase[m], phase);
            MeterWrite(meter->modValue[m], out[m]);
            RecordHistory(meter, context->sampleRate, m, count, out[m]);
        }
    }
}

}  // namespace ENGINE_NAMESPACE
