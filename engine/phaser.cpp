// Phaser: a chain of one to six first-order all-pass cells per channel,
// swept together by one triangle LFO, with feedback from the chain's output
// to its input, and the chain's output added to the full dry signal.
//
// A cell's coefficient comes straight from the normalised frequency w as
// (1 - w) / (1 + w), without prewarping. Both lanes run in one vector,
// coefficient included. The cells beyond the current count are left alone,
// so a larger count later finds them as they were.
#include <xmmintrin.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

const int PHASER_MAX_CELLS = 6;
const float PHASER_STEPS_SCALE = 5.9994f;
// Base frequency: 200 Hz to 2,200 Hz.
const float PHASER_BASE_LOW_HZ = 200.0f, PHASER_BASE_SPAN_HZ = 2000.0f;
// At Stereo 1 the right channel's base is 1.5 times the left's.
const float PHASER_STEREO_SPAN = 0.5f;
// Feedback: -0.9 to 0.9.
const float PHASER_FEEDBACK_SPAN = 1.8f, PHASER_FEEDBACK_LOW = 0.9f;
// The LFO runs at up to 2 Hz.
const float PHASER_MAX_RATE_HZ = 2.0f;

// 1 / x on each lane: the processor's 12-bit reciprocal estimate refined by
// one Newton step, which leaves an error in the last bits only. The estimate
// is the 128-bit RCPPS at every level: wider forms are more precise and would
// give other results. Its table may differ between processors, not between
// the builds on one.
static inline Lanes Reciprocal(Lanes x) {
    Lanes r = (Lanes)_mm_rcp_ps((__m128)x);
    return Splat(2.0f) * r - x * r * r;
}

// FirstOrderAllPass on both lanes at once: out = s - a in, s takes in + a out.
static inline Lanes AllPassLanes(Lanes a, Lanes *state, Lanes in) {
    Lanes out = *state - a * in;
    *state = in + a * out;
    return out;
}

void PhaserRun(Engine *engine, const EngineContext *context, int instance, float *frames,
               int count) {
    PhaserState *state = &engine->phaser[instance];
    const float *value = context->liveValue;
    if (!(value[PARAM_PHASER_ENABLE + instance] > 0.5f)) return;

    float sampleRate = context->sampleRate;
    float base = PHASER_BASE_SPAN_HZ * value[PARAM_PHASER_BASE + instance] + PHASER_BASE_LOW_HZ;
    float left = 2.0f * base / sampleRate;
    float right = (PHASER_STEREO_SPAN * value[PARAM_PHASER_STEREO + instance] + 1.0f) * left;
    // Always 1 to 6 for a value in 0 .. 1; the bounds keep any other value
    // from reaching past the cells.
    float cellCount = floorf(PHASER_STEPS_SCALE * value[PARAM_PHASER_STEPS + instance]) + 1.0f;
    int cells = cellCount >= (float)PHASER_MAX_CELLS ? PHASER_MAX_CELLS
                : cellCount >= 1.0f                  ? (int)cellCount
                                                     : 1;

    float mix = Clamp01(value[PARAM_PHASER_MIX + instance]);
    float gain = Clamp01(value[PARAM_PHASER_GAIN + instance]);
    float feedbackAmount = Clamp01(value[PARAM_PHASER_FEEDBACK + instance]);
    float rate = Clamp01(value[PARAM_PHASER_RATE + instance]);
    float sweep = gain * left;
    float feedbackGain = PHASER_FEEDBACK_SPAN * feedbackAmount - PHASER_FEEDBACK_LOW;
    float step = rate * (PHASER_MAX_RATE_HZ / sampleRate);

    Lanes baseLanes = {left, right, 0.0f, 0.0f};
    Lanes one = Splat(1.0f), mixLanes = Splat(mix), feedbackLanes = Splat(feedbackGain);
    Lanes feedback = LoadLanes(state->feedback);
    Lanes cell[PHASER_MAX_CELLS];
    for (int k = 0; k < PHASER_MAX_CELLS; k++) cell[k] = LoadLanes(state->cells[k]);
    float phase = state->phase;
    for (int i = 0; i < count; i++) {
        float *frame = frames + 2 * i;
        Lanes dry = LoadLanes(frame);
        float triangle = TriangleLfo(phase);
        phase = AdvancePhase(phase, step);
        Lanes w = baseLanes + Splat(sweep * triangle);
        Lanes a = (one - w) * Reciprocal(one + w);
        Lanes v = dry + feedbackLanes * feedback;
        for (int k = 0; k < cells; k++) v = AllPassLanes(a, &cell[k], v);
        feedback = v;
        StoreLanes(dry + mixLanes * v, frame);
    }
    state->phase = phase;
    StoreLanes(feedback, state->feedback);
    for (int k = 0; k < cells; k++) StoreLanes(cell[k], state->cells[k]);
}

}  // namespace ENGINE_NAMESPACE
