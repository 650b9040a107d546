// Polyrhythmic Delay: a tempo-locked stereo delay of two lines that run one
// after the other on the same audio, each with its own length and level and
// sharing pan, feedback and filters. The second line takes in what the first
// has added, so the first's echoes are echoed again at the second's period.
//
// Each line is a ring of interleaved frames whose oldest frame sits at
// writeIndex (counted in floats). Per frame it reads that frame, sends it
// through the wet high-pass to the output, and stores the input, panned, plus
// the read frame with its channels swapped, scaled and low-passed, so a sound
// on one side alternates sides with each repeat.
#include <math.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

// writeIndex counts floats, two a frame, so twice the length must fit in it;
// a longer line is treated like one of no length and does nothing.
const int32_t POLY_DELAY_MAX_FRAMES = 1 << 30;
// Keeps the loop gain below 1: the low-pass in the loop has no peak.
const float POLY_DELAY_FEEDBACK_SCALE = 0.95f;

// One line on the whole SubBlock. mix and time are the line's own Mix and
// Time; gainLeft and gainRight weigh the input that enters it.
static void RunLine(PolyDelayLine *delay, const EngineContext *context, int instance, float mix,
                    float time, float gainLeft, float gainRight, float *frames, int count) {
    const float *value = context->liveValue;
    float feedback = value[PARAM_DELAY_FEEDBACK + instance];
    // A silent line stands still: no read, no write, no advance, storage kept.
    if (mix == 0.0f || feedback == 0.0f) return;

    // 1/8 to 2 beats in 16 steps. A length that is not a positive finite
    // number of frames (a degenerate tempo), or one too long to index, makes
    // the line stand still as well; so does storage the allocator refuses.
    float beats = DelayEighths(time) * EIGHTH_BEAT;
    int32_t length = DelayLength(beats * context->samplesPerBeat, POLY_DELAY_MAX_FRAMES);
    if (length == 0 || !EnsureDelayLine(&delay->line, length, 2)) return;

    float sampleRate = context->sampleRate;
    float lowPass = CutoffCurve(1.0f - value[PARAM_DELAY_LOW_PASS + instance]);
    float highPass = CutoffCurve(value[PARAM_DELAY_HIGH_PASS + instance]);
    SetFirstSection(&delay->feedbackFilter, LowPassDesign(lowPass, sampleRate));
    SetFirstSection(&delay->wetFilter, HighPassDesign(highPass, sampleRate));
    float level = Clamp01(mix);
    float loopGain = Clamp01(feedback) * POLY_DELAY_FEEDBACK_SCALE;

    BiquadLanes wetFilter = BiquadOpen(&delay->wetFilter);
    BiquadLanes feedbackFilter = BiquadOpen(&delay->feedbackFilter);
    Lanes leftRightGain = {gainLeft, gainRight, 0.0f, 0.0f};
    Lanes levelLanes = Splat(level), loopLanes = Splat(loopGain);
    float *storage = delay->line.samples;
    int32_t end = 2 * length, index = delay->line.writeIndex;
    for (int i = 0; i < count; i++) {
        float *frame = frames + 2 * i;
        if (index >= end) index = 0;
        Lanes in = LoadLanes(frame);
        Lanes stored = LoadLanes(storage + index);
        Lanes swapped = {stored[1], stored[0], 0.0f, 0.0f};
        Lanes wet = BiquadRun(&wetFilter, stored);
        Lanes back = BiquadRun(&feedbackFilter, loopLanes * swapped);
        StoreLanes(in + wet * levelLanes, frame);
        StoreLanes(in * leftRightGain + back, storage + index);
        index += 2;
    }
    delay->line.writeIndex = index;
    BiquadClose(&wetFilter, &delay->wetFilter);
    BiquadClose(&feedbackFilter, &delay->feedbackFilter);
}

void PolyDelayRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                  int count) {
    PolyDelayState *state = &engine->polyDelay[instance];
    const float *value = context->liveValue;
    if (!(value[PARAM_DELAY_ENABLE + instance] > 0.5f)) {
        PolyDelayRelease(state);
        return;
    }
    // The pan weighs the first line toward one side and the second, mirrored,
    // toward the other.
    float pan = value[PARAM_DELAY_PAN + instance];
    float toSide = 2.0f * pan, toOther = 2.0f * (1.0f - pan);
    RunLine(&state->lines[0], context, instance, value[PARAM_DELAY_MIX + instance],
            value[PARAM_DELAY_TIME + instance], toSide, toOther, frames, count);
    RunLine(&state->lines[1], context, instance, value[PARAM_DELAY_MIX2 + instance],
            value[PARAM_DELAY_TIME2 + instance], toOther, toSide, frames, count);
}

void PolyDelayRelease(PolyDelayState *state) {
    for (PolyDelayLine &delay : state->lines) ReleaseDelayLine(&delay.line);
}

}  // namespace ENGINE_NAMESPACE
