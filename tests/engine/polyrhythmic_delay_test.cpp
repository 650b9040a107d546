// The Polyrhythmic Delay as the block loop calls it: where its echoes fall,
// when its lines stand still, what happens to its storage, and its output
// against a plain model of the unit.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <deque>
#include <random>
#include <vector>

#include "engine/dsp.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

// The Time value whose step is `eighths` eighths of a beat (1 to 16).
float TimeFor(int eighths) { return (eighths - 0.5f) / 15.9984f; }

// One zero-filled Engine and a context holding the delay's parameters.
struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};
    int instance = 0;

    Rig(float sampleRate, float samplesPerBeat) {
        context.sampleRate = sampleRate;
        context.samplesPerBeat = samplesPerBeat;
        for (int i = 0; i < 3; i++) {
            float *v = context.liveValue + i;
            v[PARAM_DELAY_ENABLE] = 1.0f, v[PARAM_DELAY_PAN] = 0.5f;
            v[PARAM_DELAY_FEEDBACK] = 1.0f, v[PARAM_DELAY_LOW_PASS] = 0.0f;
            v[PARAM_DELAY_HIGH_PASS] = 0.0f, v[PARAM_DELAY_MIX] = 1.0f;
            v[PARAM_DELAY_TIME] = TimeFor(4), v[PARAM_DELAY_MIX2] = 0.0f;
            v[PARAM_DELAY_TIME2] = TimeFor(8);
        }
    }
    ~Rig() {
        for (PolyDelayState &state : engine->polyDelay) PolyDelayRelease(&state);
        free(engine);
    }
    void Set(int row, float value) { context.liveValue[row + instance] = value; }
    const PolyDelayLine &Line(int k) const { return engine->polyDelay[instance].lines[k]; }

    // Sends interleaved frames through the unit in SubBlocks of 32, in place.
    void Run(std::vector<float> &frames, size_t from = 0, size_t to = SIZE_MAX) {
        to = std::min(to, frames.size() / 2);
        for (size_t at = from; at < to; at += 32) {
            int count = (int)std::min<size_t>(32, to - at);
            PolyDelayRun(engine, &context, instance, frames.data() + 2 * at, count);
        }
    }
};

std::vector<float> Click(size_t frames, float left, float right) {
    std::vector<float> signal(2 * frames, 0.0f);
    signal[0] = left, signal[1] = right;
    return signal;
}

// Sum of squares of one channel over frames [from, to).
double Energy(const std::vector<float> &frames, int channel, size_t from, size_t to) {
    double sum = 0.0;
    for (size_t i = from; i < to; i++) {
        double v = frames[2 * i + channel];
        sum += v * v;
    }
    return sum;
}

// The first frame at which output differs from input, or -1.
long FirstChange(const std::vector<float> &in, const std::vector<float> &out) {
    for (size_t i = 0; i < in.size(); i++)
        if (in[i] != out[i]) return (long)(i / 2);
    return -1;
}

}  // namespace

TEST(PolyDelay, EchoOfOneSideAlternatesSidesAtTheLineLength) {
    Rig rig(44100.0f, 4000.0f);  // Time of 4 eighths: 2000 frames
    rig.Set(PARAM_DELAY_LOW_PASS, 0.5f);
    std::vector<float> in = Click(8000, 1.0f, 0.0f), out = in;
    rig.Run(out);
    EXPECT_EQ(FirstChange(in, out), 2000);
    // The first echo is the stored click through the wet high-pass alone.
    EXPECT_EQ(out[2 * 2000], HighPassDesign(CutoffCurve(0.0f), 44100.0f).b0);
    EXPECT_EQ(Energy(out, 1, 0, 4000), 0.0);
    EXPECT_GT(Energy(out, 0, 2000, 4000), 0.5);
    EXPECT_GT(Energy(out, 1, 4000, 6000), 1e4 * Energy(out, 0, 4000, 6000));
    EXPECT_GT(Energy(out, 0, 6000, 8000), 1e4 * Energy(out, 1, 6000, 8000));
    // With Mix 2 at 0 the second line never runs.
    EXPECT_EQ(rig.Line(1).line.samples, nullptr);
}

TEST(PolyDelay, TwoLinesEchoAtTheirMultiplesAndTheirSums) {
    Rig rig(44100.0f, 800.0f);  // 3/8 beat is 300 frames, 1 beat 800
    rig.Set(PARAM_DELAY_TIME, TimeFor(3));
    rig.Set(PARAM_DELAY_MIX2, 1.0f);
    rig.Set(PARAM_DELAY_TIME2, TimeFor(8));
    std::vector<float> out = Click(2400, 1.0f, 1.0f);
    rig.Run(out);
    // Below 2400 frames (where 8 x 300 meets 3 x 800) every echo lands on a
    // multiple of 100 frames; each one starts sharply after a quiet frame.
    for (int t = 100; t < 2400; t += 100) {
        bool echo = false;
        for (int a = 0; a * 300 <= t; a++)
            if ((t - a * 300) % 800 == 0) echo = true;
        float before = fabsf(out[2 * (t - 1)]), at = fabsf(out[2 * t]);
        EXPECT_LT(before, 0.05f) << t;
        if (echo) {
            EXPECT_GT(at, 0.25f) << t;
        } else {
            for (int i = t; i < t + 8; i++) EXPECT_LT(fabsf(out[2 * i]), 0.05f) << i;
        }
    }
}

TEST(PolyDelay, EchoTimeStepsInEighthsOfABeatUpToTwoBeats) {
    for (int eighths : {1, 7, 16}) {
        Rig rig(48000.0f, 1000.0f);
        rig.Set(PARAM_DELAY_TIME, TimeFor(eighths));
        std::vector<float> in = Click(2500, 1.0f, 1.0f), out = in;
        rig.Run(out);
        EXPECT_EQ(FirstChange(in, out), eighths * 125);
    }
    Rig top(48000.0f, 1000.0f);
    top.Set(PARAM_DELAY_TIME, 1.0f);
    std::vector<float> in = Click(2500, 1.0f, 1.0f), out = in;
    top.Run(out);
    EXPECT_EQ(FirstChange(in, out), 2000);
}

TEST(PolyDelay, FeedbackOfExactlyZeroSilencesBothLinesAndMakesNoStorage) {
    Rig rig(44100.0f, 1000.0f);
    rig.Set(PARAM_DELAY_MIX2, 1.0f);
    rig.Set(PARAM_DELAY_FEEDBACK, 0.0f);
    std::vector<float> in = Click(3000, 1.0f, -1.0f), out = in;
    rig.Run(out);
    EXPECT_EQ(FirstChange(in, out), -1);
    EXPECT_EQ(rig.Line(0).line.samples, nullptr);
    EXPECT_EQ(rig.Line(1).line.samples, nullptr);
}

TEST(PolyDelay, MixOfZeroStopsALineWhereItStandsUntilItReturns) {
    Rig rig(44100.0f, 4000.0f);  // 2000 frames
    std::vector<float> in = Click(12000, 1.0f, 1.0f), out = in;
    rig.Run(out, 0, 512);
    rig.Set(PARAM_DELAY_MIX, 0.0f);
    rig.Run(out, 512, 8000);
    EXPECT_EQ(rig.Line(0).line.writeIndex, 2 * 512);
    rig.Set(PARAM_DELAY_MIX, 1.0f);
    rig.Run(out, 8000);
    // The old content is still there and plays 1488 frames after the return.
    EXPECT_EQ(FirstChange(in, out), 8000 + 1488);
}

TEST(PolyDelay, TempoChangeWithinOneFrameKeepsTheEchoesALargerOneClearsThem) {
    for (float tempoAfter : {4000.1f, 4002.0f}) {
        Rig rig(44100.0f, 4000.0f);  // 2000 frames, then 2000.05 or 2001
        std::vector<float> in = Click(3000, 1.0f, 1.0f), out = in;
        rig.Run(out, 0, 1024);
        rig.context.samplesPerBeat = tempoAfter;
        rig.Run(out, 1024);
        EXPECT_EQ(FirstChange(in, out), tempoAfter < 4001.0f ? 2000 : -1) << tempoAfter;
    }
}

TEST(PolyDelay, DisablingReleasesStorageKeepsFiltersAndRestartsSilent) {
    Rig rig(44100.0f, 1000.0f);  // 500 frames
    rig.Set(PARAM_DELAY_MIX2, 0.5f);
    std::vector<float> noise(2 * 2000);
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    for (float &v : noise) v = sample(rng);
    rig.Run(noise);
    PolyDelayState before = rig.engine->polyDelay[0];
    rig.Set(PARAM_DELAY_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Click(32, 1.0f, 1.0f), out = in;
    rig.Run(out);
    EXPECT_EQ(FirstChange(in, out), -1);
    for (int k = 0; k < 2; k++) {
        const PolyDelayLine &line = rig.Line(k);
        EXPECT_EQ(line.line.samples, nullptr);
        EXPECT_EQ(line.line.length, 0);
        EXPECT_EQ(line.line.writeIndex, 0);
        const PolyDelayLine &old = before.lines[k];
        EXPECT_EQ(memcmp(&line.feedbackFilter, &old.feedbackFilter, sizeof(BiquadStage)), 0);
        EXPECT_EQ(memcmp(&line.wetFilter, &old.wetFilter, sizeof(BiquadStage)), 0);
    }
    // Enabled again, the lines start empty at their beginning.
    rig.Set(PARAM_DELAY_ENABLE, 1.0f);
    out = Click(32, 0.0f, 0.0f);
    rig.Run(out);
    for (int k = 0; k < 2; k++) {
        const DelayLine &line = rig.Line(k).line;
        ASSERT_EQ(line.length, 500 * (k + 1));
        EXPECT_EQ(line.writeIndex, 64);
        for (int i = 64; i < 2 * line.length; i++) ASSERT_EQ(line.samples[i], 0.0f) << i;
    }
}

TEST(PolyDelay, DegenerateTempoLeavesAudioAndStorageAlone) {
    for (float tempo : {0.0f, 1e-4f, -800.0f, NAN, INFINITY, -INFINITY, 1e30f}) {
        Rig rig(44100.0f, tempo);
        std::vector<float> in = Click(100, 1.0f, 1.0f), out = in;
        rig.Run(out);
        EXPECT_EQ(FirstChange(in, out), -1) << tempo;
        EXPECT_EQ(rig.Line(0).line.samples, nullptr) << tempo;
    }
    // A line that exists stands still through a degenerate tempo and goes on after.
    Rig rig(44100.0f, 4000.0f);
    std::vector<float> in = Click(4000, 1.0f, 1.0f), out = in;
    rig.Run(out, 0, 256);
    DelayLine line = rig.Line(0).line;
    std::vector<float> content(line.samples, line.samples + 2 * line.length);
    rig.context.samplesPerBeat = NAN;
    rig.Run(out, 256, 1024);
    EXPECT_EQ(rig.Line(0).line.samples, line.samples);
    EXPECT_EQ(rig.Line(0).line.writeIndex, line.writeIndex);
    EXPECT_EQ(memcmp(line.samples, content.data(), content.size() * sizeof(float)), 0);
    rig.context.samplesPerBeat = 4000.0f;
    rig.Run(out, 1024);
    EXPECT_EQ(FirstChange(in, out), 1024 + 2000 - 256);
}

// ---- against a plain model: a queue of frames per line, written out scalar ----

namespace {

struct ModelFilter {
    BiquadCoefficients c;
    float x1[2], x2[2], y1[2], y2[2];

    float Step(int lane, float x) {
        float y = c.b0 * x + c.b1 * x1[lane] + c.b2 * x2[lane] - c.a1 * y1[lane] - c.a2 * y2[lane];
        x2[lane] = x1[lane], x1[lane] = x, y2[lane] = y1[lane], y1[lane] = y;
        return y;
    }
};

// A line as a queue of frames, the oldest in front.
struct ModelLine {
    std::deque<std::array<float, 2>> frames;
    ModelFilter feedback = {}, wet = {};
};

struct Model {
    ModelLine lines[2];

    void Run(const EngineContext &context, int instance, float *frames, int count) {
        const float *v = context.liveValue + instance;
        if (!(v[PARAM_DELAY_ENABLE] > 0.5f)) {
            lines[0].frames.clear(), lines[1].frames.clear();
            return;
        }
        float pan = v[PARAM_DELAY_PAN];
        RunLine(lines[0], context, v, v[PARAM_DELAY_MIX], v[PARAM_DELAY_TIME], 2.0f * pan,
                2.0f * (1.0f - pan), frames, count);
        RunLine(lines[1], context, v, v[PARAM_DELAY_MIX2], v[PARAM_DELAY_TIME2],
                2.0f * (1.0f - pan), 2.0f * pan, frames, count);
    }

    static void RunLine(ModelLine &line, const EngineContext &context, const float *v, float mix,
                        float time, float gainLeft, float gainRight, float *frames, int count) {
        float feedback = v[PARAM_DELAY_FEEDBACK];
        if (mix == 0.0f || feedback == 0.0f) return;
        float length = (floorf(15.9984f * time) + 1.0f) * 0.125f * context.samplesPerBeat;
        if (!(length >= 1.0f && length < 1073741824.0f)) return;
        size_t size = (size_t)(int)length;
        if (line.frames.size() != size) line.frames.assign(size, {0.0f, 0.0f});
        float sr = context.sampleRate;
        line.feedback.c = LowPassDesign(CutoffCurve(1.0f - v[PARAM_DELAY_LOW_PASS]), sr);
        line.wet.c = HighPassDesign(CutoffCurve(v[PARAM_DELAY_HIGH_PASS]), sr);
        float m = fminf(fmaxf(mix, 0.0f), 1.0f), g = fminf(fmaxf(feedback, 0.0f), 1.0f) * 0.95f;
        for (int i = 0; i < count; i++) {
            float inL = frames[2 * i], inR = frames[2 * i + 1];
            std::array<float, 2> d = line.frames.front();
            line.frames.pop_front();
            frames[2 * i] += line.wet.Step(0, d[0]) * m;
            frames[2 * i + 1] += line.wet.Step(1, d[1]) * m;
            float fL = line.feedback.Step(0, g * d[1]), fR = line.feedback.Step(1, g * d[0]);
            line.frames.push_back({inL * gainLeft + fL, inR * gainRight + fR});
        }
    }
};

}  // namespace

// Same float operations in the same order, so the output must match bit for bit.
TEST(PolyDelay, MatchesAPlainModelBitForBitUnderRandomChanges) {
    for (int instance : {0, 2}) {
        std::mt19937 rng(100 + instance);
        std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
        Rig rig(instance ? 32000.0f : 44100.0f, 240.0f);
        rig.instance = instance;
        Model model;
        const int rows[] = {PARAM_DELAY_PAN, PARAM_DELAY_FEEDBACK, PARAM_DELAY_LOW_PASS,
                            PARAM_DELAY_HIGH_PASS, PARAM_DELAY_MIX, PARAM_DELAY_TIME,
                            PARAM_DELAY_MIX2, PARAM_DELAY_TIME2};
        const float tempi[] = {240.0f, 240.004f, 333.3f, 0.0f, NAN, 96.5f};
        for (int block = 0; block < 600; block++) {
            // Now and then one parameter, the Enable or the tempo moves.
            float change = unit(rng);
            if (change < 0.3f) {
                int row = rows[rng() % 8];
                float value = unit(rng);
                if ((row == PARAM_DELAY_FEEDBACK || row == PARAM_DELAY_MIX ||
                     row == PARAM_DELAY_MIX2) && unit(rng) < 0.25f)
                    value = 0.0f;
                rig.Set(row, value);
            } else if (change < 0.33f) {
                rig.Set(PARAM_DELAY_ENABLE, unit(rng) < 0.3f ? 0.0f : 1.0f);
            } else if (change < 0.36f) {
                rig.context.samplesPerBeat = tempi[rng() % 6];
            }
            int count = 1 + (int)(rng() % 32);
            float frames[64], expected[64];
            for (int i = 0; i < 2 * count; i++) {
                frames[i] = block % 50 < 35 ? sample(rng) : 0.0f;
                expected[i] = frames[i];
            }
            PolyDelayRun(rig.engine, &rig.context, instance, frames, count);
            model.Run(rig.context, instance, expected, count);
            for (int i = 0; i < 2 * count; i++)
                ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
            for (int k = 0; k < 2; k++)
                ASSERT_EQ(rig.Line(k).line.length, (int32_t)model.lines[k].frames.size());
        }
    }
}
