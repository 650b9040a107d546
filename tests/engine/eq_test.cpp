// The Parametric EQ: what each band does to a tone at its frequency, the
// limit of its frequency, and its output against a plain model of its three
// sections.
#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"

namespace {

float MidFrequency(float value) { return exp2f(8.7f * value) * 50.0f; }

// The ratio of output to input amplitude of a steady tone, the same on both lanes.
float ToneGain(float sampleRate, std::initializer_list<std::pair<int, float>> values, double frequency) {
    UnitRig rig(EqRun, PARAM_EQ_ENABLE, sampleRate);
    for (auto [row, value] : values) rig.Set(row, value);
    const int frames = 16384;
    std::vector<float> tone(2 * frames);
    for (int i = 0; i < frames; i++)
        tone[2 * i] = tone[2 * i + 1] = (float)(0.01 * sin(2.0 * M_PI * frequency * i / sampleRate));
    rig.Run(tone);
    float peak[2] = {0.0f, 0.0f};
    for (int i = frames / 2; i < frames; i++)
        for (int lane = 0; lane < 2; lane++) peak[lane] = fmaxf(peak[lane], fabsf(tone[2 * i + lane]));
    EXPECT_EQ(peak[0], peak[1]);
    return peak[0] / 0.01f;
}

TEST(Eq, each_band_lifts_or_cuts_its_frequency_by_twenty_decibels_up_to_0_49_of_the_rate) {
    for (float width : {0.0f, 0.5f, 1.0f}) {
        for (float gain : {1.0f, 0.0f}) {
            float g = ToneGain(48000.0f, {{PARAM_EQ_MID_FREQUENCY, 0.6f}, {PARAM_EQ_MID_WIDTH, width},
                                          {PARAM_EQ_MID_GAIN, gain}}, MidFrequency(0.6f));
            EXPECT_NEAR(g, gain ? 10.0f : 0.1f, gain ? 0.02f : 0.002f) << width;
        }
    }
    // The low shelf lifts the bass, the high shelf the top; each leaves the other end alone.
    EXPECT_NEAR(ToneGain(48000.0f, {{PARAM_EQ_LOW_GAIN, 1.0f}}, 20.0), 10.0f, 0.1f);
    EXPECT_NEAR(ToneGain(48000.0f, {{PARAM_EQ_LOW_GAIN, 1.0f}}, 20000.0), 1.0f, 0.01f);
    EXPECT_NEAR(ToneGain(48000.0f, {{PARAM_EQ_HIGH_GAIN, 1.0f}}, 23900.0), 10.0f, 0.1f);
    EXPECT_NEAR(ToneGain(48000.0f, {{PARAM_EQ_HIGH_GAIN, 1.0f}}, 20.0), 1.0f, 0.01f);
    // 50 x 2^8.7 is about 20.8 kHz: free at 44.1 kHz, held at 15,680 Hz at 32 kHz.
    EXPECT_NEAR(MidFrequency(1.0f), 20794.0f, 1.0f);
    EXPECT_NEAR(ToneGain(44100.0f, {{PARAM_EQ_MID_FREQUENCY, 1.0f}, {PARAM_EQ_MID_GAIN, 1.0f}}, 20794.0), 10.0f, 0.05f);
    EXPECT_NEAR(ToneGain(32000.0f, {{PARAM_EQ_MID_FREQUENCY, 1.0f}, {PARAM_EQ_MID_GAIN, 1.0f}}, 15680.0), 10.0f, 0.05f);
    EXPECT_NEAR(ToneGain(32000.0f, {{PARAM_EQ_MID_FREQUENCY, 0.97f}, {PARAM_EQ_MID_GAIN, 1.0f}}, 15680.0), 10.0f, 0.05f);
}

// The three designs written out: a peaking mid band and two shelves, each
// a biquad section over both lanes, in the order mid, low, high.
struct EqModel {
    ModelBiquad mid, low, high;

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
        mid.c = {-2.0f * c * g, (1.0f - alpha / A) * g, (1.0f + alpha * A) * g, -2.0f * c * g,
                 (1.0f - alpha * A) * g};

        angle(40.0f * expf(6.2869287f * v[PARAM_EQ_LOW_FREQUENCY]));
        gain(v[PARAM_EQ_LOW_GAIN]);
        k = 2.0f * r * s;
        g = 1.0f / (A + 1.0f + (A - 1.0f) * c + k);
        low.c = {-2.0f * ((A - 1.0f) + (A + 1.0f) * c) * g, (A + 1.0f + (A - 1.0f) * c - k) * g,
                 A * (A + 1.0f - (A - 1.0f) * c + k) * g, 2.0f * A * ((A - 1.0f) - (A + 1.0f) * c) * g,
                 A * (A + 1.0f - (A - 1.0f) * c - k) * g};

        angle(40.0f * expf(6.2869287f * v[PARAM_EQ_HIGH_FREQUENCY]));
        gain(v[PARAM_EQ_HIGH_GAIN]);
        k = 2.0f * r * s;
        g = 1.0f / (A + 1.0f - (A - 1.0f) * c + k);
        high.c = {2.0f * ((A - 1.0f) - (A + 1.0f) * c) * g, (A + 1.0f - (A - 1.0f) * c - k) * g,
                  A * (A + 1.0f + (A - 1.0f) * c + k) * g, -2.0f * A * ((A - 1.0f) + (A + 1.0f) * c) * g,
                  A * (A + 1.0f + (A - 1.0f) * c - k) * g};

        for (ModelBiquad *section : {&mid, &low, &high})
            for (int i = 0; i < 2 * count; i++) frames[i] = section->Step(i % 2, frames[i]);
    }
};

// The same float operations in the same order: equal bit for bit, also
// after a spell disabled, which runs no section and keeps their states.
TEST(Eq, matches_a_plain_model_bit_for_bit_under_random_changes) {
    const int rows[] = {PARAM_EQ_MID_FREQUENCY, PARAM_EQ_MID_GAIN, PARAM_EQ_MID_WIDTH, PARAM_EQ_LOW_FREQUENCY,
                        PARAM_EQ_LOW_GAIN,      PARAM_EQ_HIGH_FREQUENCY, PARAM_EQ_HIGH_GAIN};
    for (int instance : {0, 2}) {
        Random random(20 + instance);
        UnitRig rig(EqRun, PARAM_EQ_ENABLE, instance ? 32000.0f : 48000.0f);
        rig.instance = instance;
        EqModel model;
        ModelRun run;
        run.blocks = 400;
        run.change = [&](int) {
            float change = random.Unit();
            if (change < 0.5f) rig.Set(rows[random.Below(7)], random.Value(0.125f));
            else if (change < 0.53f) rig.Set(PARAM_EQ_ENABLE, random.Chance(0.3f) ? 0.0f : 1.0f);
        };
        run.model = [&](float *frames, int count) {
            model.Run(rig.context.liveValue + instance, rig.context.sampleRate, frames, count);
        };
        ExpectMatchesModel(rig, random, run);
    }
}

}  // namespace
