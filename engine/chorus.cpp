// Chorus: one 0.1 s line per channel read by up to four taps, each swept by
// its own triangle LFO at a slightly different speed. The right channel's
// taps lie further back than the left's by a fixed offset per voice, scaled
// by Stereo; the left taps do not depend on it. Both channels' LFOs start
// together and step alike, so the stereo image comes from the offsets alone.
//
// The voices are summed, not averaged: four voices are about four times as
// loud as one in the wet path, and the feedback takes that sum.
#include <string.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

const int CHORUS_MAX_VOICES = 4;
const float CHORUS_VOICES_SCALE = 3.9996f;
// LFO speed of each voice as a factor of twice the Speed in Hz.
const float CHORUS_RATE_FACTOR[CHORUS_MAX_VOICES] = {0.2234589f, 0.2134987f, 0.1934987f,
                                                     0.18525879f};
// How much further back each right tap lies at Stereo 1, in seconds.
const float CHORUS_RIGHT_OFFSET[CHORUS_MAX_VOICES] = {0.005f, 0.005184f, 0.004568f,
                                                      0.006144256f};
// The taps span about 11 ms to 36 ms, well inside the line.
const float CHORUS_LINE_SECONDS = 0.1f;
const float CHORUS_CENTRE_SECONDS = 0.0203435f, CHORUS_MAX_DEPTH_SECONDS = 0.0090739f;
const float CHORUS_MAX_FEEDBACK = 0.3f;
// The taps read from one line, so in phase they add up: four voices at full
// Feedback would give a loop gain of 1.2 and grow without end. The feedback
// gain is limited so that the voices together stay at this, which only
// touches four voices above about 79% Feedback.
const float CHORUS_MAX_LOOP_GAIN = 0.95f;
// Speed: 0 to 2.5 Hz over the first half of the dial, 2.5 to 50 Hz over the second.
const float CHORUS_SPEED_LOW_SLOPE = 5.0f, CHORUS_SPEED_HIGH_SLOPE = 95.0f;
const float CHORUS_SPEED_MIDDLE_HZ = 2.5f;
// A line's length fits an int32 and so does its writeIndex.
const int32_t CHORUS_MAX_FRAMES = INT32_MAX;

// The LFO's base rate in Hz from the raw Speed value.
static inline float ChorusSpeedHz(float p) {
    float hz = p < 0.5f ? CHORUS_SPEED_LOW_SLOPE * p
                        : (p - 0.5f) * CHORUS_SPEED_HIGH_SLOPE + CHORUS_SPEED_MIDDLE_HZ;
    return hz > 0.0f ? hz : 0.0f;
}

void ChorusRun(Engine *engine, const EngineContext *context, int instance, float *frames,
               int count) {
    ChorusState *state = &engine->chorus[instance];
    const float *value = context->liveValue;
    if (!(value[PARAM_CHORUS_ENABLE + instance] > 0.5f)) {
        ChorusRelease(state);
        return;
    }
    // A sample rate that gives no line, or storage the allocator refuses,
    // leaves the unit standing still for this SubBlock.
    float sampleRate = context->sampleRate;
    int32_t length = DelayLength(CHORUS_LINE_SECONDS * sampleRate, CHORUS_MAX_FRAMES);
    if (length == 0 || !EnsureDelayLine(&state->lineL, length, 1) ||
        !EnsureDelayLine(&state->lineR, length, 1))
        return;

    // Always 1 to 4 for a value in 0 .. 1; the bounds keep any other value
    // from reaching past the tables.
    float voiceCount =
        floorf(CHORUS_VOICES_SCALE * value[PARAM_CHORUS_VOICES + instance]) + 1.0f;
    int voices = voiceCount >= (float)CHORUS_MAX_VOICES ? CHORUS_MAX_VOICES
                 : voiceCount >= 1.0f                   ? (int)voiceCount
                                                        : 1;

    float mix = Clamp01(value[PARAM_CHORUS_MIX + instance]);
    float depth = CHORUS_MAX_DEPTH_SECONDS * Clamp01(value[PARAM_CHORUS_DEPTH + instance]);
    float stereo = Clamp01(value[PARAM_CHORUS_STEREO + instance]);
    float feedback = CHORUS_MAX_FEEDBACK * Clamp01(value[PARAM_CHORUS_FEEDBACK + instance]);
    float feedbackLimit = CHORUS_MAX_LOOP_GAIN / (float)voices;
    if (feedback > feedbackLimit) feedback = feedbackLimit;
    float increment = ChorusSpeedHz(value[PARAM_CHORUS_SPEED + instance]) / sampleRate;

    float step[CHORUS_MAX_VOICES], rightCentre[CHORUS_MAX_VOICES];
    float phaseL[CHORUS_MAX_VOICES], phaseR[CHORUS_MAX_VOICES];
    for (int v = 0; v < CHORUS_MAX_VOICES; v++) {
        step[v] = CHORUS_RATE_FACTOR[v] * 2.0f * increment;
        rightCentre[v] = CHORUS_CENTRE_SECONDS + stereo * CHORUS_RIGHT_OFFSET[v];
        phaseL[v] = state->phaseL[v], phaseR[v] = state->phaseR[v];
    }
    DelayLine lineL = state->lineL, lineR = state->lineR;
    // The frames go in runs shorter than the shortest tap, about 11 ms, so
    // that no read of a run reaches what the run writes: the taps of a run
    // are read first, side by side, then the writes go frame by frame. Only a
    // sample rate below about 3 kHz makes a run shorter than a SubBlock.
    float shortest = (CHORUS_CENTRE_SECONDS - depth) * sampleRate - 2.0f;
    for (int done = 0; done < count;) {
        int run = count - done;
        if (!(shortest > (float)run)) run = shortest >= 2.0f ? (int)shortest - 1 : 1;
        // The sums start from zero with the first voice. The sweeps past the
        // run's end are zero, so that the reads a group makes there stay
        // inside the line.
        float sumL[SUBBLOCK_FRAMES + TAP_GROUP], sumR[SUBBLOCK_FRAMES + TAP_GROUP];
        for (int v = 0; v < voices; v++) {
            float sweepL[SUBBLOCK_FRAMES + TAP_GROUP], sweepR[SUBBLOCK_FRAMES + TAP_GROUP];
            for (int i = 0; i < run; i++) {
                sweepL[i] = TriangleLfo(phaseL[v]), sweepR[i] = TriangleLfo(phaseR[v]);
                phaseL[v] = AdvancePhase(phaseL[v], step[v]);
                phaseR[v] = AdvancePhase(phaseR[v], step[v]);
            }
            memset(sweepL + run, 0, TAP_GROUP * sizeof(float));
            memset(sweepR + run, 0, TAP_GROUP * sizeof(float));
            for (int n = 0; n < run; n += TAP_GROUP) {
                TapFrames l, r, totalL = {}, totalR = {};
                memcpy(&l, sweepL + n, sizeof l), memcpy(&r, sweepR + n, sizeof r);
                if (v > 0) {
                    memcpy(&totalL, sumL + n, sizeof totalL);
                    memcpy(&totalR, sumR + n, sizeof totalR);
                }
                TapFrames delayL = CHORUS_CENTRE_SECONDS + l * depth;
                TapFrames delayR = rightCentre[v] + r * depth;
                totalL += ReadTaps(&lineL, lineL.writeIndex, delayL * sampleRate, n);
                totalR += ReadTaps(&lineR, lineR.writeIndex, delayR * sampleRate, n);
                memcpy(sumL + n, &totalL, sizeof totalL), memcpy(sumR + n, &totalR, sizeof totalR);
            }
        }
        for (int i = 0; i < run; i++) {
            float *frame = frames + 2 * (done + i);
            float inL = frame[0], inR = frame[1];
            WriteDelayLine(&lineL, inL + feedback * sumL[i]);
            WriteDelayLine(&lineR, inR + feedback * sumR[i]);
            frame[0] = inL * (1.0f - mix) + mix * sumL[i];
            frame[1] = inR * (1.0f - mix) + mix * sumR[i];
        }
        done += run;
    }
    state->lineL.writeIndex = lineL.writeIndex;
    state->lineR.writeIndex = lineR.writeIndex;
    for (int v = 0; v < voices; v++) state->phaseL[v] = phaseL[v], state->phaseR[v] = phaseR[v];
}

void ChorusRelease(ChorusState *state) {
    ReleaseDelayLine(&state->lineL);
    ReleaseDelayLine(&state->lineR);
}

}  // namespace ENGINE_NAMESPACE
