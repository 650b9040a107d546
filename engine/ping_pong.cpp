// Ping-Pong Delay: a tempo-locked stereo delay whose repeats alternate sides
// without any cross-feedback. Two mono lines, each fed by the input of the
// opposite channel and recirculating into itself; lineA's tap is heard on the
// left, lineB's on the right. The ping-pong comes from lineA's tap lying
// earlier than lineB's by the Ratio (half or a quarter of the delay).
//
// The loop of both lines reads at the full delay, unmodulated, so repeats
// keep a steady pitch; only the two taps that are heard move, each by its own
// slow LFO and always later than the nominal tap, never earlier. The line
// holds three modulation spans beyond the delay, so no read can leave it.
#include <math.h>
#include <string.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

// A line's length fits an int32 and so does its writeIndex; a longer line is
// treated like one of no length and stands still.
const int32_t PINGPONG_MAX_FRAMES = INT32_MAX;
// The read modulation's depth at the top of Modulate, in seconds; the line
// keeps three of these beyond the delay.
const float PINGPONG_MODULATION_SECONDS = 0.002f;
const float PINGPONG_SPARE_SPANS = 3.0f;
const float PINGPONG_LFO_HZ_A = 0.19f, PINGPONG_LFO_HZ_B = 0.21f;
// Ratio values chosen by its three buttons: 2:1 and 3:4; anything else is 1:1.
const float PINGPONG_RATIO_HALF = 0.5f, PINGPONG_RATIO_THREE_QUARTERS = 1.0f;
// Keeps the loop gain below 1: the low-pass in the loop has no peak.
const float PINGPONG_FEEDBACK_SCALE = 0.95f;

// This unit's own triangle: 0 at phase 0, 2 at one half, so a modulated tap
// only ever lies behind its nominal position.
static inline float RisingTriangle(float phase) {
    return phase < 0.5f ? 4.0f * phase : 4.0f - 4.0f * phase;
}

void PingPongRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                 int count) {
    PingPongState *state = &engine->pingPong[instance];
    const float *value = context->liveValue;
    if (!(value[PARAM_PINGPONG_ENABLE + instance] > 0.5f)) {
        PingPongRelease(state);
        return;
    }
    // A silent unit stands still: no read, no write, no advance, storage kept.
    float mix = value[PARAM_PINGPONG_MIX + instance];
    float feedback = value[PARAM_PINGPONG_FEEDBACK + instance];
    if (mix == 0.0f || feedback == 0.0f) return;

    // The delay is not rounded: the taps read it with interpolation. A tempo
    // that gives no positive finite delay, or a line too long to index, makes
    // the unit stand still as well; so does storage the allocator refuses.
    float sampleRate = context->sampleRate;
    float time = value[PARAM_PINGPONG_TIME + instance];
    float delay = EIGHTH_BEAT * context->samplesPerBeat * DelayEighths(time);
    if (!(delay > 0.0f)) return;
    float span = PINGPONG_MODULATION_SECONDS * sampleRate;
    float depth = value[PARAM_PINGPONG_MODULATE + instance] * span;
    int32_t length = DelayLength(span * PINGPONG_SPARE_SPANS + delay, PINGPONG_MAX_FRAMES);
    if (length == 0 || !EnsureDelayLine(&state->lineA, length, 1) ||
        !EnsureDelayLine(&state->lineB, length, 1))
        return;

    const float inputs[3] = {value[PARAM_PINGPONG_LOW_PASS + instance],
                             value[PARAM_PINGPONG_HIGH_PASS + instance], sampleRate};
    if (!SameDesignInputs(&state->design, inputs, 3)) {
        float lowPass = CutoffCurve(1.0f - inputs[0]);
        SetFirstSection(&state->feedbackFilter, LowPassDesign(lowPass, sampleRate));
        BiquadCoefficients highPass = HighPassDesign(CutoffCurve(inputs[1]), sampleRate);
        SetFirstSection(&state->wetFilter, highPass);
        SetSecondSection(&state->wetFilter, highPass);
    }
    state->feedbackFilter.cascade = 0;
    state->wetFilter.cascade = 1;

    float ratio = value[PARAM_PINGPONG_RATIO + instance];
    float tapA = ratio == PINGPONG_RATIO_HALF              ? 0.5f * delay
                 : ratio == PINGPONG_RATIO_THREE_QUARTERS ? 0.75f * delay
                                                           : delay;
    float stepA = PINGPONG_LFO_HZ_A / sampleRate, stepB = PINGPONG_LFO_HZ_B / sampleRate;
    Lanes level = Splat(Clamp01(mix));
    Lanes loopGain = Splat(Clamp01(feedback) * PINGPONG_FEEDBACK_SCALE);

    DelayLine lineA = state->lineA, lineB = state->lineB;
    float phaseA = state->phaseA, phaseB = state->phaseB;
    BiquadLanes wetFilter = BiquadOpen(&state->wetFilter);
    BiquadLanes feedbackFilter = BiquadOpen(&state->feedbackFilter);
    // The frames go in runs shorter than the shortest read delay, tapA, so
    // that no read of a run reaches what the run writes: all four reads of a
    // run are made first, side by side, then the filters and the writes go
    // frame by frame. Only a tempo far beyond any song's makes a run shorter
    // than a SubBlock.
    for (int done = 0; done < count;) {
        int run = count - done;
        if (!(tapA > (float)run)) run = tapA >= 2.0f ? (int)tapA - 1 : 1;
        // Past the run's end the modulation is zero, so that the reads a
        // group makes there stay inside the lines.
        float modA[SUBBLOCK_FRAMES + TAP_GROUP], modB[SUBBLOCK_FRAMES + TAP_GROUP];
        for (int i = 0; i < run; i++) {
            modA[i] = RisingTriangle(phaseA), modB[i] = RisingTriangle(phaseB);
            phaseA = AdvancePhase(phaseA, stepA);
            phaseB = AdvancePhase(phaseB, stepB);
        }
        memset(modA + run, 0, TAP_GROUP * sizeof(float));
        memset(modB + run, 0, TAP_GROUP * sizeof(float));
        // The heard taps (a, b) and the loop's reads at the full delay (c, e).
        float a[SUBBLOCK_FRAMES + TAP_GROUP], b[SUBBLOCK_FRAMES + TAP_GROUP];
        float c[SUBBLOCK_FRAMES + TAP_GROUP], e[SUBBLOCK_FRAMES + TAP_GROUP];
        for (int n = 0; n < run; n += TAP_GROUP) {
            TapFrames tA, tB;
            memcpy(&tA, modA + n, sizeof tA), memcpy(&tB, modB + n, sizeof tB);
            TapFrames va = ReadTaps(&lineA, lineA.writeIndex, tapA + tA * depth, n);
            TapFrames vb = ReadTaps(&lineB, lineB.writeIndex, delay + tB * depth, n);
            TapFrames vc = ReadTaps(&lineA, lineA.writeIndex, SplatFrames(delay), n);
            TapFrames ve = ReadTaps(&lineB, lineB.writeIndex, SplatFrames(delay), n);
            memcpy(a + n, &va, sizeof va), memcpy(b + n, &vb, sizeof vb);
            memcpy(c + n, &vc, sizeof vc), memcpy(e + n, &ve, sizeof ve);
        }
        for (int i = 0; i < run; i++) {
            float *frame = frames + 2 * (done + i);
            Lanes in = LoadLanes(frame);
            Lanes taps = {a[i], b[i], 0.0f, 0.0f};
            Lanes wet = BiquadRun(&wetFilter, taps) * level;
            Lanes loop = {c[i], e[i], 0.0f, 0.0f};
            Lanes back = BiquadRun(&feedbackFilter, loopGain * loop);
            StoreLanes(in + wet, frame);
            WriteDelayLine(&lineA, in[1] + back[0]);
            WriteDelayLine(&lineB, in[0] + back[1]);
        }
        done += run;
    }
    state->lineA.writeIndex = lineA.writeIndex;
    state->lineB.writeIndex = lineB.writeIndex;
    state->phaseA = phaseA, state->phaseB = phaseB;
    BiquadClose(&wetFilter, &state->wetFilter);
    BiquadClose(&feedbackFilter, &state->feedbackFilter);
}

void PingPongRelease(PingPongState *state) {
    ReleaseDelayLine(&state->lineA);
    ReleaseDelayLine(&state->lineB);
}

}  // namespace ENGINE_NAMESPACE
