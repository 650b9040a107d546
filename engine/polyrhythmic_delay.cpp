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

// A line opened for the SubBlock: its storage and position, its two filters
// side by side in one register (lanes 0 and 1 the wet high-pass, lanes 2 and 3
// the loop's low-pass) and its gains.
struct LineRun {
    float *storage;
    int32_t end, index;
    BiquadLanes filters;
    Lanes gain, level, loop;
};

// Designs the line's filters and opens it. mix and time are the line's own Mix
// and Time; gainLeft and gainRight weigh the input that enters it. False when
// the line stands still this SubBlock.
static bool OpenLine(PolyDelayLine *delay, const EngineContext *context, int instance, float mix,
                     float time, float gainLeft, float gainRight, LineRun *run) {
    const float *value = context->liveValue;
    float feedback = value[PARAM_DELAY_FEEDBACK + instance];
    // A silent line stands still: no read, no write, no advance, storage kept.
    if (mix == 0.0f || feedback == 0.0f) return false;

    // 1/8 to 2 beats in 16 steps. A length that is not a positive finite
    // number of frames (a degenerate tempo), or one too long to index, makes
    // the line stand still as well; so does storage the allocator refuses.
    float beats = DelayEighths(time) * EIGHTH_BEAT;
    int32_t length = DelayLength(beats * context->samplesPerBeat, POLY_DELAY_MAX_FRAMES);
    if (length == 0 || !EnsureDelayLine(&delay->line, length, 2)) return false;

    float sampleRate = context->sampleRate;
    const float inputs[3] = {value[PARAM_DELAY_LOW_PASS + instance],
                             value[PARAM_DELAY_HIGH_PASS + instance], sampleRate};
    if (!SameDesignInputs(&delay->design, inputs, 3)) {
        float lowPass = CutoffCurve(1.0f - inputs[0]), highPass = CutoffCurve(inputs[1]);
        SetFirstSection(&delay->feedbackFilter, LowPassDesign(lowPass, sampleRate));
        SetFirstSection(&delay->wetFilter, HighPassDesign(highPass, sampleRate));
    }

    // The two sections are independent lanes of one BiquadLanes, each lane
    // with its own coefficients; a lane's arithmetic is that of its own stage.
    const BiquadStage *w = &delay->wetFilter, *f = &delay->feedbackFilter;
    BiquadLanes *l = &run->filters;
    l->b0 = Lanes{w->b0, w->b0, f->b0, f->b0}, l->b1 = Lanes{w->b1, w->b1, f->b1, f->b1};
    l->b2 = Lanes{w->b2, w->b2, f->b2, f->b2};
    l->a1 = Lanes{w->a1, w->a1, f->a1, f->a1}, l->a2 = Lanes{w->a2, w->a2, f->a2, f->a2};
    l->x1 = Lanes{w->x1[0], w->x1[1], f->x1[0], f->x1[1]};
    l->x2 = Lanes{w->x2[0], w->x2[1], f->x2[0], f->x2[1]};
    l->y1 = Lanes{w->y1[0], w->y1[1], f->y1[0], f->y1[1]};
    l->y2 = Lanes{w->y2[0], w->y2[1], f->y2[0], f->y2[1]};
    l->cascade = false;  // the second section's fields are never read
    run->storage = delay->line.samples;
    run->end = 2 * length, run->index = delay->line.writeIndex;
    run->gain = Lanes{gainLeft, gainRight, 0.0f, 0.0f};
    run->level = Splat(Clamp01(mix));
    run->loop = Lanes{1.0f, 1.0f, Clamp01(feedback) * POLY_DELAY_FEEDBACK_SCALE,
                      Clamp01(feedback) * POLY_DELAY_FEEDBACK_SCALE};
    return true;
}

static void CloseLine(const LineRun *run, PolyDelayLine *delay) {
    BiquadStage *w = &delay->wetFilter, *f = &delay->feedbackFilter;
    const BiquadLanes *l = &run->filters;
    w->x1[0] = l->x1[0], w->x1[1] = l->x1[1], f->x1[0] = l->x1[2], f->x1[1] = l->x1[3];
    w->x2[0] = l->x2[0], w->x2[1] = l->x2[1], f->x2[0] = l->x2[2], f->x2[1] = l->x2[3];
    w->y1[0] = l->y1[0], w->y1[1] = l->y1[1], f->y1[0] = l->y1[2], f->y1[1] = l->y1[3];
    w->y2[0] = l->y2[0], w->y2[1] = l->y2[1], f->y2[0] = l->y2[2], f->y2[1] = l->y2[3];
    delay->line.writeIndex = run->index;
}

// One frame through one line: it reads the oldest frame, sends it through the
// wet high-pass to the output and, channels swapped and scaled by the loop
// gain (lanes 2 and 3 of one multiply; lanes 0 and 1 are multiplied by 1,
// which changes nothing), through the loop's low-pass back into the line with
// the input.
static inline void LineFrame(LineRun *run, float *frame) {
    if (run->index >= run->end) run->index = 0;
    float *stored = run->storage + run->index;
    Lanes in = LoadLanes(frame);
    Lanes x = Lanes{stored[0], stored[1], stored[1], stored[0]} * run->loop;
    Lanes both = BiquadRun(&run->filters, x);
    Lanes wet = __builtin_shufflevector(both, both, 0, 1, 0, 1);
    Lanes back = __builtin_shufflevector(both, both, 2, 3, 2, 3);
    StoreLanes(in + wet * run->level, frame);
    StoreLanes(in * run->gain + back, stored);
    run->index += 2;
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
    LineRun first, second;
    bool firstOn = OpenLine(&state->lines[0], context, instance,
                            value[PARAM_DELAY_MIX + instance], value[PARAM_DELAY_TIME + instance],
                            toSide, toOther, &first);
    bool secondOn = OpenLine(&state->lines[1], context, instance,
                             value[PARAM_DELAY_MIX2 + instance], value[PARAM_DELAY_TIME2 + instance],
                             toOther, toSide, &second);
    // Each frame goes through the first line, then the second. The second
    // line's filters depend only on what it reads, so the two filter chains
    // overlap; a line on its own runs its frames alone.
    if (firstOn && secondOn) {
        for (int i = 0; i < count; i++) {
            LineFrame(&first, frames + 2 * i);
            LineFrame(&second, frames + 2 * i);
        }
    } else if (firstOn || secondOn) {
        LineRun *run = firstOn ? &first : &second;
        for (int i = 0; i < count; i++) LineFrame(run, frames + 2 * i);
    }
    if (firstOn) CloseLine(&first, &state->lines[0]);
    if (secondOn) CloseLine(&second, &state->lines[1]);
}

void PolyDelayRelease(PolyDelayState *state) {
    for (PolyDelayLine &delay : state->lines) ReleaseDelayLine(&delay.line);
}

}  // namespace ENGINE_NAMESPACE
