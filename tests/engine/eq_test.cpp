// The Parametric EQ: what each band does to a tone at its frequency, the
// limit of its frequency, what disabling keeps, and its output against a
// plain model of its three sections.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <random>
#include <vector>

#include "engine/dsp.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};

    explicit Rig(float sampleRate) {
        context.sampleRate = sampleRate;
        for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
        Set(PARAM_EQ_ENABLE, 1.0f);
    }
    ~Rig() { free(engine); }
    void Set(int row, float value) { context.liveValue[row] = value; }
    void Run(std::vector<float> &frames) {
        for (size_t at = 0; at < frames.size() / 2; at += 32)
            EqRun(engine, &context, 0, frames.data() + 2 * at,
                  (int)std::min<size_t>(32, frames.size() / 2 - at));
    }
    // The ratio of output to input amplitude of a steady tone, on both lanes.
    float ToneGain(double frequency) {
        const int frames = 16384;
        std::vector<float> tone(2 * frames);
        for (int i = 0; i < frames; i++)
            tone[2 * i] = tone[2 * i + 1] = (float)(0.01 * sin(2.0 * M_PI * frequency * i / context.sampleRate));
        Run(tone);
        float peak[2] = {0.0f, 0.0f};
        for (int i = frames / 2; i < frames; i++)
            for (int lane = 0; lane < 2; lane++) peak[lane] = fmaxf(peak[lane], fabsf(tone[2 * i + lane]));
        EXPECT_EQ(peak[0], peak[1]);
        return peak[0] / 0.01f;
    }
};

float MidFrequency(float value) { return exp2f(8.7f * value) * 50.0f; }

std::vector<float> Noise(size_t frames, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    std::vector<float> samples(2 * frames);
    for (float &s : samples) s = uniform(random);
    return samples;
}

}  // namespace

// At gain 0.5 each section's numerator is its denominator, so the EQ passes
// the signal at any frequency and width; only the rounding of a float
// section, largest for the lowest frequencies, stands between.
TEST(Eq, gains_at_half_pass_the_signal_at_any_frequency_and_width) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int round = 0; round < 40; round++) {
        Rig rig(round % 2 ? 44100.0f : 96000.0f);
        for (int row : {PARAM_EQ_MID_FREQUENCY, PARAM_EQ_MID_WIDTH, PARAM_EQ_LOW_FREQUENCY,
                        PARAM_EQ_HIGH_FREQUENCY})
            rig.Set(row, round < 30 ? unit(random) : (float)(random() % 2));
        std::vector<float> in = Noise(4000, round), out = in;
        rig.Run(out);
        for (const BiquadStage &stage : {rig.engine->eq[0].mid, rig.engine->eq[0].low,
                                         rig.engine->eq[0].high}) {
            EXPECT_EQ(stage.b1, stage.a1) << round;
            EXPECT_EQ(stage.b2, stage.a2) << round;
            EXPECT_NEAR(stage.b0, 1.0f, 1.2e-7f) << round;
        }
        for (size_t i = 0; i < in.size(); i++) ASSERT_NEAR(out[i], in[i], 0.01f) << round << " " << i;
    }
}

TEST(Eq, each_band_at_full_gain_lifts_its_frequency_by_twenty_decibels) {
    for (float width : {0.0f, 0.5f, 1.0f}) {
        Rig rig(48000.0f);
        rig.Set(PARAM_EQ_MID_FREQUENCY, 0.6f), rig.Set(PARAM_EQ_MID_WIDTH, width);
        rig.Set(PARAM_EQ_MID_GAIN, 1.0f);
        EXPECT_NEAR(rig.ToneGain(MidFrequency(0.6f)), 10.0f, 0.02f) << width;
        Rig cut(48000.0f);
        cut.Set(PARAM_EQ_MID_FREQUENCY, 0.6f), cut.Set(PARAM_EQ_MID_WIDTH, width);
        cut.Set(PARAM_EQ_MID_GAIN, 0.0f);
        EXPECT_NEAR(cut.ToneGain(MidFrequency(0.6f)), 0.1f, 0.002f) << width;
    }
    // The low shelf lifts the bass, the high shelf the top; each leaves the
    // other end alone.
    Rig low(48000.0f);
    low.Set(PARAM_EQ_LOW_GAIN, 1.0f);
    EXPECT_NEAR(low.ToneGain(20.0), 10.0f, 0.1f);
    EXPECT_NEAR(low.ToneGain(20000.0), 1.0f, 0.01f);
    Rig high(48000.0f);
    high.Set(PARAM_EQ_HIGH_GAIN, 1.0f);
    EXPECT_NEAR(high.ToneGain(23900.0), 10.0f, 0.1f);
    EXPECT_NEAR(high.ToneGain(20.0), 1.0f, 0.01f);
}

TEST(Eq, mid_frequency_at_the_top_is_held_at_0_49_of_the_sample_rate) {
    // 50 x 2^8.7 is about 20.8 kHz: free at 44.1 kHz, limited to 15,680 Hz at 32 kHz.
    EXPECT_NEAR(MidFrequency(1.0f), 20794.0f, 1.0f);
    Rig top(32000.0f), above(32000.0f);
    top.Set(PARAM_EQ_MID_FREQUENCY, 1.0f), above.Set(PARAM_EQ_MID_FREQUENCY, 0.97f);
    for (Rig *rig : {&top, &above}) rig->Set(PARAM_EQ_MID_GAIN, 1.0f);
    EXPECT_NEAR(top.ToneGain(15680.0), 10.0f, 0.05f);
    above.ToneGain(100.0);
    const BiquadStage &a = top.engine->eq[0].mid, &b = above.engine->eq[0].mid;
    EXPECT_EQ(a.a1, b.a1);
    EXPECT_EQ(a.b0, b.b0);
    Rig unlimited(44100.0f);
    unlimited.Set(PARAM_EQ_MID_FREQUENCY, 1.0f), unlimited.Set(PARAM_EQ_MID_GAIN, 1.0f);
    EXPECT_NEAR(unlimited.ToneGain(20794.0), 10.0f, 0.05f);
}

TEST(Eq, disabled_runs_no_stage_and_resumes_from_the_states_it_left) {
    Rig rig(44100.0f);
    rig.Set(PARAM_EQ_LOW_GAIN, 0.9f), rig.Set(PARAM_EQ_MID_GAIN, 0.2f);
    std::vector<float> noise = Noise(100, 1);
    rig.Run(noise);
    EqState before = rig.engine->eq[0];
    rig.Set(PARAM_EQ_ENABLE, 0.5f);
    std::vector<float> in = Noise(64, 2), out = in;
    rig.Run(out);
    EXPECT_EQ(out, in);
    EXPECT_EQ(memcmp(&before, &rig.engine->eq[0], sizeof before), 0);
}

// ---- against a plain model: the three designs written out, scalar sections ----

namespace {

struct ModelSection {
    float a1, a2, b0, b1, b2;
    float x1[2] = {}, x2[2] = {}, y1[2] = {}, y2[2] = {};

    float Step(int lane, float x) {
        float y = b0 * x + b1 * x1[lane] + b2 * x2[lane] - a1 * y1[lane] - a2 * y2[lane];
        x2[lane] = x1[lane], x1[lane] = x, y2[lane] = y1[lane], y1[lane] = y;
        return y;
    }
};

struct Model {
    ModelSection mid = {}, low = {}, high = {};

    void Run(const float *v, float sr, float *frames, int count) {
        if (!(v[PARAM_EQ_ENABLE] > 0.5f)) return;
        float c, s, A, r, k, g;
        auto angle = [&](float f) {
            if (f > 0.49f * sr) f = 0.49f * sr;
            float w = f * 6.28318f / sr;
            c = FastCos(w), s = FastSin(w);
        };
        auto gain = [&](float G) {
            A = expf(2.3025851f * (40.0f * G - 20.0f) * 0.025f);
            r = expf(2.3025851f * (40.0f * G - 20.0f) * 0.025f * 0.5f);
        };
        angle(exp2f(8.7f * v[PARAM_EQ_MID_FREQUENCY]) * 50.0f);
        gain(v[PARAM_EQ_MID_GAIN]);
        float alpha = s * (1.0f - (0.9999f - 0.9998f * v[PARAM_EQ_MID_WIDTH]) * 0.97f);
        g = 1.0f / (alpha / A + 1.0f);
        mid.a1 = mid.b1 = -2.0f * c * g;
        mid.a2 = (1.0f - alpha / A) * g;
        mid.b0 = (1.0f + alpha * A) * g;
        mid.b2 = (1.0f - alpha * A) * g;

        angle(40.0f * expf(6.2869287f * v[PARAM_EQ_LOW_FREQUENCY]));
        gain(v[PARAM_EQ_LOW_GAIN]);
        k = 2.0f * r * s;
        g = 1.0f / (A + 1.0f + (A - 1.0f) * c + k);
        low.a1 = -2.0f * ((A - 1.0f) + (A + 1.0f) * c) * g;
        low.a2 = (A + 1.0f + (A - 1.0f) * c - k) * g;
        low.b0 = A * (A + 1.0f - (A - 1.0f) * c + k) * g;
        low.b1 = 2.0f * A * ((A - 1.0f) - (A + 1.0f) * c) * g;
        low.b2 = A * (A + 1.0f - (A - 1.0f) * c - k) * g;

        angle(40.0f * expf(6.2869287f * v[PARAM_EQ_HIGH_FREQUENCY]));
        gain(v[PARAM_EQ_HIGH_GAIN]);
        k = 2.0f * r * s;
        g = 1.0f / (A + 1.0f - (A - 1.0f) * c + k);
        high.a1 = 2.0f * ((A - 1.0f) - (A + 1.0f) * c) * g;
        high.a2 = (A + 1.0f - (A - 1.0f) * c - k) * g;
        high.b0 = A * (A + 1.0f + (A - 1.0f) * c + k) * g;
        high.b1 = -2.0f * A * ((A - 1.0f) + (A + 1.0f) * c) * g;
        high.b2 = A * (A + 1.0f + (A - 1.0f) * c - k) * g;

        for (ModelSection *section : {&mid, &low, &high})
            for (int i = 0; i < 2 * count; i++) frames[i] = section->Step(i % 2, frames[i]);
    }
};

}  // namespace

// The same float operations in the same order: equal bit for bit.
TEST(Eq, matches_a_plain_model_bit_for_bit_under_random_changes) {
    const int rows[] = {PARAM_EQ_MID_FREQUENCY, PARAM_EQ_MID_GAIN, PARAM_EQ_MID_WIDTH,
                        PARAM_EQ_LOW_FREQUENCY, PARAM_EQ_LOW_GAIN, PARAM_EQ_HIGH_FREQUENCY,
                        PARAM_EQ_HIGH_GAIN};
    for (int instance : {0, 2}) {
        std::mt19937 random(20 + instance);
        std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
        Rig rig(instance ? 32000.0f : 48000.0f);
        float *v = rig.context.liveValue + instance;
        v[PARAM_EQ_ENABLE] = 1.0f;
        Model model;
        for (int block = 0; block < 400; block++) {
            float change = unit(random);
            if (change < 0.5f) v[rows[random() % 7]] = random() % 8 ? unit(random) : (float)(random() % 2);
            else if (change < 0.53f) v[PARAM_EQ_ENABLE] = unit(random) < 0.3f ? 0.0f : 1.0f;
            int count = 1 + (int)(random() % 32);
            float frames[64], expected[64];
            for (int i = 0; i < 2 * count; i++) frames[i] = expected[i] = sample(random);
            EqRun(rig.engine, &rig.context, instance, frames, count);
            model.Run(v, rig.context.sampleRate, expected, count);
            for (int i = 0; i < 2 * count; i++) {
                ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
                ASSERT_TRUE(isfinite(frames[i]));
            }
        }
    }
}
