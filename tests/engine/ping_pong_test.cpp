// The Ping-Pong Delay as the block loop calls it: which side each echo is
// heard on for each Ratio, where the modulated taps fall, when the unit
// stands still, what happens to its storage, and its output against a plain
// model of the unit.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <vector>

#include "engine/dsp.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

const float RATIO_ONE_TO_ONE = 0.0f, RATIO_TWO_TO_ONE = 0.5f, RATIO_THREE_TO_FOUR = 1.0f;

// A zero-filled Engine at 48 kHz whose delay is 1,000 frames (1/8 of a beat
// of 8,000), taps unmodulated, filters wide open, full Mix and Feedback.
struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};
    int instance = 0;

    Rig() {
        context.sampleRate = 48000.0f;
        context.samplesPerBeat = 8000.0f;
        for (int i = 0; i < 3; i++) {
            float *v = context.liveValue + i;
            v[PARAM_PINGPONG_ENABLE] = 1.0f, v[PARAM_PINGPONG_MODULATE] = 0.0f;
            v[PARAM_PINGPONG_FEEDBACK] = 1.0f, v[PARAM_PINGPONG_LOW_PASS] = 0.0f;
            v[PARAM_PINGPONG_HIGH_PASS] = 0.0f, v[PARAM_PINGPONG_MIX] = 1.0f;
            v[PARAM_PINGPONG_TIME] = 0.0f, v[PARAM_PINGPONG_RATIO] = RATIO_THREE_TO_FOUR;
        }
    }
    ~Rig() {
        for (PingPongState &state : engine->pingPong) PingPongRelease(&state);
        free(engine);
    }
    void Set(int row, float value) { context.liveValue[row + instance] = value; }
    PingPongState &State() { return engine->pingPong[instance]; }

    // Sends interleaved frames through the unit in SubBlocks of 32, in place.
    void Run(std::vector<float> &frames) {
        for (size_t at = 0; at < frames.size() / 2; at += 32) {
            int count = (int)std::min<size_t>(32, frames.size() / 2 - at);
            PingPongRun(engine, &context, instance, frames.data() + 2 * at, count);
        }
    }
};

std::vector<float> Click(size_t frames, float left, float right) {
    std::vector<float> signal(2 * frames, 0.0f);
    signal[0] = left, signal[1] = right;
    return signal;
}

// The first frame at which one channel of the output differs from the input, or -1.
long FirstChange(const std::vector<float> &in, const std::vector<float> &out, int channel) {
    for (size_t i = channel; i < in.size(); i += 2)
        if (in[i] != out[i]) return (long)(i / 2);
    return -1;
}

double Energy(const std::vector<float> &frames, int channel, long from, long to) {
    double sum = 0.0;
    for (long i = from; i < to; i++) {
        double v = frames[2 * i + channel];
        sum += v * v;
    }
    return sum;
}

// An echo starts at `at` in `channel`: loud right after, quiet right before.
void ExpectEchoAt(const std::vector<float> &out, int channel, long at) {
    EXPECT_GT(Energy(out, channel, at, at + 16), 100.0 * Energy(out, channel, at - 50, at))
        << "channel " << channel << " at " << at;
}

}  // namespace

TEST(PingPong, each_side_echoes_from_its_own_line_at_the_ratios_tap) {
    const float ratios[] = {RATIO_ONE_TO_ONE, RATIO_TWO_TO_ONE, RATIO_THREE_TO_FOUR, 0.3f};
    const long leftTap[] = {1000, 500, 750, 1000};
    for (int k = 0; k < 4; k++) {
        // Left input only: echoes on the right at 1, 2, 3 delays, never on the left.
        Rig left;
        left.Set(PARAM_PINGPONG_RATIO, ratios[k]);
        std::vector<float> in = Click(3200, 1.0f, 0.0f), out = in;
        left.Run(out);
        EXPECT_EQ(FirstChange(in, out, 0), -1) << ratios[k];
        EXPECT_EQ(FirstChange(in, out, 1), 1000) << ratios[k];
        for (long at : {2000, 3000}) ExpectEchoAt(out, 1, at);
        // Right input only: echoes on the left at the ratio's tap, then a delay apart.
        Rig right;
        right.Set(PARAM_PINGPONG_RATIO, ratios[k]);
        in = Click(3200, 0.0f, 1.0f), out = in;
        right.Run(out);
        EXPECT_EQ(FirstChange(in, out, 1), -1) << ratios[k];
        EXPECT_EQ(FirstChange(in, out, 0), leftTap[k]) << ratios[k];
        for (long at : {leftTap[k] + 1000, leftTap[k] + 2000}) ExpectEchoAt(out, 0, at);
    }
}

TEST(PingPong, modulation_moves_each_tap_up_to_four_ms_later_never_earlier) {
    Rig rig;
    rig.Set(PARAM_PINGPONG_MODULATE, 1.0f);  // 2 ms span: 96 frames
    rig.State().phaseA = 0.5f;                // the triangle's top: two spans late
    rig.State().phaseB = 0.0f;                // its foot: on the nominal tap
    std::vector<float> in = Click(1400, 1.0f, 1.0f), out = in;
    rig.Run(out);
    // Over the thousand frames an echo takes, each LFO moves its tap by 1.5
    // frames: down from the top, up from the foot.
    EXPECT_NEAR(FirstChange(in, out, 0), 750 + 2 * 96, 2);
    EXPECT_GE(FirstChange(in, out, 1), 1000);
    EXPECT_LE(FirstChange(in, out, 1), 1002);
    // The lines hold the delay and three spans, so every read stays inside.
    EXPECT_EQ(rig.State().lineA.length, 1000 + 3 * 96);
}

TEST(PingPong, feedback_or_mix_of_zero_adds_nothing_and_makes_no_storage) {
    for (int row : {PARAM_PINGPONG_FEEDBACK, PARAM_PINGPONG_MIX}) {
        Rig rig;
        rig.Set(row, 0.0f);
        std::vector<float> in = Click(3000, 1.0f, -1.0f), out = in;
        rig.Run(out);
        EXPECT_EQ(FirstChange(in, out, 0), -1);
        EXPECT_EQ(FirstChange(in, out, 1), -1);
        EXPECT_EQ(rig.State().lineA.samples, nullptr);
        EXPECT_EQ(rig.State().lineB.samples, nullptr);
    }
}

TEST(PingPong, disabling_releases_the_lines_and_keeps_filters_and_phases) {
    Rig rig;
    rig.Set(PARAM_PINGPONG_MODULATE, 0.7f);
    std::vector<float> noise(2 * 2000);
    std::mt19937 rng(3);
    for (float &v : noise) v = std::uniform_real_distribution<float>(-1.0f, 1.0f)(rng);
    rig.Run(noise);
    PingPongState before = rig.State();
    rig.Set(PARAM_PINGPONG_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Click(64, 1.0f, 1.0f), out = in;
    rig.Run(out);
    EXPECT_EQ(out, in);
    for (const DelayLine *line : {&rig.State().lineA, &rig.State().lineB}) {
        EXPECT_EQ(line->samples, nullptr);
        EXPECT_EQ(line->length, 0);
        EXPECT_EQ(line->writeIndex, 0);
    }
    EXPECT_EQ(memcmp(&rig.State().wetFilter, &before.wetFilter, sizeof(BiquadStage)), 0);
    EXPECT_EQ(memcmp(&rig.State().feedbackFilter, &before.feedbackFilter, sizeof(BiquadStage)), 0);
    EXPECT_EQ(rig.State().phaseA, before.phaseA);
    EXPECT_EQ(rig.State().phaseB, before.phaseB);
}

TEST(PingPong, extreme_settings_and_tempi_keep_the_output_finite) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    for (float sampleRate : {8000.0f, 192000.0f}) {
        for (float tempo : {1e-3f, 0.0f, -100.0f, NAN, 1e30f, 240.0f, 96000.0f}) {
            Rig rig;
            rig.context.sampleRate = sampleRate;
            rig.context.samplesPerBeat = tempo;
            for (int row : {PARAM_PINGPONG_MODULATE, PARAM_PINGPONG_LOW_PASS,
                            PARAM_PINGPONG_HIGH_PASS, PARAM_PINGPONG_TIME})
                rig.Set(row, rng() % 2 ? 1.0f : 0.0f);
            std::vector<float> out(2 * 20000);
            for (float &v : out) v = sample(rng);
            rig.Run(out);
            for (float v : out) ASSERT_LT(fabsf(v), 100.0f) << sampleRate << " " << tempo;
        }
    }
}

// ---- against a plain model, written out scalar ----

namespace {

struct ModelFilter {
    BiquadCoefficients c;
    bool cascade;
    float x1[2][2], x2[2][2], y1[2][2], y2[2][2];  // [section][lane]

    float Section(int s, int lane, float x) {
        float y = c.b0 * x + c.b1 * x1[s][lane] + c.b2 * x2[s][lane] - c.a1 * y1[s][lane] -
                  c.a2 * y2[s][lane];
        x2[s][lane] = x1[s][lane], x1[s][lane] = x, y2[s][lane] = y1[s][lane], y1[s][lane] = y;
        return y;
    }
    float Step(int lane, float x) {
        float y = Section(0, lane, x);
        return cascade ? Section(1, lane, y) : y;
    }
};

struct ModelLine {
    std::vector<float> x;
    int index = 0;

    float Read(float d) const {
        float p = (float)index - d;
        if (p < 0.0f) p += (float)x.size();
        size_t i0 = (size_t)p, i1 = (size_t)(p + 1.0f);
        if (i0 >= x.size()) i0 = 0;
        if (i1 >= x.size()) i1 = 0;
        return (floorf(p) + 1.0f - p) * x[i0] + (p - floorf(p)) * x[i1];
    }
    void Write(float v) {
        x[index] = v;
        index = (index + 1) % (int)x.size();
    }
};

struct Model {
    ModelLine a, b;
    ModelFilter feedback = {}, wet = {};
    float phaseA = 0.0f, phaseB = 0.0f;

    static float Triangle(float ph) { return ph < 0.5f ? 4.0f * ph : 4.0f - 4.0f * ph; }
    static float Wrap(float ph) { return ph >= 1.0f ? ph - 1.0f : ph; }

    void Run(const EngineContext &context, int instance, float *frames, int count) {
        const float *v = context.liveValue + instance;
        if (!(v[PARAM_PINGPONG_ENABLE] > 0.5f)) {
            a = ModelLine(), b = ModelLine();
            return;
        }
        if (v[PARAM_PINGPONG_MIX] == 0.0f || v[PARAM_PINGPONG_FEEDBACK] == 0.0f) return;
        float sr = context.sampleRate;
        float steps = floorf(15.9984f * v[PARAM_PINGPONG_TIME]) + 1.0f;
        float D = 0.125f * context.samplesPerBeat * steps;
        if (!(D > 0.0f)) return;
        float M = v[PARAM_PINGPONG_MODULATE] * (0.002f * sr);
        float length = 0.002f * sr * 3.0f + D;
        if (!(length >= 1.0f && length < 2147483648.0f)) return;
        if (a.x.size() != (size_t)length) {
            a.x.assign((size_t)length, 0.0f), b.x.assign((size_t)length, 0.0f);
            a.index = b.index = 0;
        }
        feedback.c = LowPassDesign(CutoffCurve(1.0f - v[PARAM_PINGPONG_LOW_PASS]), sr);
        wet.c = HighPassDesign(CutoffCurve(v[PARAM_PINGPONG_HIGH_PASS]), sr);
        wet.cascade = true;
        float ratio = v[PARAM_PINGPONG_RATIO];
        float DA = ratio == 0.5f ? 0.5f * D : ratio == 1.0f ? 0.75f * D : D;
        float m = fminf(fmaxf(v[PARAM_PINGPONG_MIX], 0.0f), 1.0f);
        float g = fminf(fmaxf(v[PARAM_PINGPONG_FEEDBACK], 0.0f), 1.0f) * 0.95f;
        for (int i = 0; i < count; i++) {
            float inL = frames[2 * i], inR = frames[2 * i + 1];
            float tA = Triangle(phaseA), tB = Triangle(phaseB);
            phaseA = Wrap(phaseA + 0.19f / sr), phaseB = Wrap(phaseB + 0.21f / sr);
            float heardA = a.Read(DA + tA * M), heardB = b.Read(D + tB * M);
            frames[2 * i] = inL + wet.Step(0, heardA) * m;
            frames[2 * i + 1] = inR + wet.Step(1, heardB) * m;
            float fA = feedback.Step(0, g * a.Read(D)), fB = feedback.Step(1, g * b.Read(D));
            a.Write(inR + fA), b.Write(inL + fB);
        }
    }
};

}  // namespace

// Same float operations in the same order, so the output must match bit for bit.
TEST(PingPong, matches_a_plain_model_bit_for_bit_under_random_changes) {
    for (int instance : {0, 2}) {
        std::mt19937 rng(200 + instance);
        std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
        Rig rig;
        rig.instance = instance;
        rig.context.sampleRate = instance ? 44100.0f : 32000.0f;
        rig.context.samplesPerBeat = 1200.0f;
        Model model;
        const int rows[] = {PARAM_PINGPONG_MODULATE, PARAM_PINGPONG_FEEDBACK,
                            PARAM_PINGPONG_LOW_PASS, PARAM_PINGPONG_HIGH_PASS,
                            PARAM_PINGPONG_MIX,      PARAM_PINGPONG_TIME};
        const float ratios[] = {0.0f, 0.5f, 1.0f, 0.7f};
        const float tempi[] = {1200.0f, 1200.1f, 777.7f, -5.0f, NAN, 1e-3f};
        for (int block = 0; block < 2000; block++) {
            float change = unit(rng);
            if (change < 0.2f) {
                int row = rows[rng() % 6];
                bool zero = (row == PARAM_PINGPONG_FEEDBACK || row == PARAM_PINGPONG_MIX) &&
                            unit(rng) < 0.25f;
                rig.Set(row, zero ? 0.0f : unit(rng));
            } else if (change < 0.25f) {
                rig.Set(PARAM_PINGPONG_RATIO, ratios[rng() % 4]);
            } else if (change < 0.27f) {
                rig.Set(PARAM_PINGPONG_ENABLE, unit(rng) < 0.3f ? 0.0f : 1.0f);
            } else if (change < 0.29f) {
                rig.context.samplesPerBeat = tempi[rng() % 6];
            }
            int count = 1 + (int)(rng() % 32);
            float frames[64], expected[64];
            for (int i = 0; i < 2 * count; i++) expected[i] = frames[i] = sample(rng);
            PingPongRun(rig.engine, &rig.context, instance, frames, count);
            model.Run(rig.context, instance, expected, count);
            for (int i = 0; i < 2 * count; i++)
                ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
            ASSERT_EQ(rig.State().lineA.length, (int32_t)model.a.x.size());
        }
    }
}
