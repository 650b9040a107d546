// The Phaser: the range of its feedback and LFO, its stability at the ends
// of every range, and its output against a plain model of the unit.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include "tests/support/engine_rig.h"

namespace {

// All-pass cells pass DC unchanged, so with a steady input x the chain
// settles at x / (1 - fb): the loop gain shows in the output. Near fb 0.9 the
// loop magnifies the cells' rounding, hence the tolerance of 1e-3.
TEST(Phaser, feedback_spans_nine_tenths_each_way_the_lfo_turns_at_up_to_two_hertz_and_all_stays_bounded) {
    const float values[] = {0.0f, 0.5f, 0.888889f, 1.0f}, gains[] = {-0.9f, 0.0f, 0.7f, 0.9f};
    for (int k = 0; k < 4; k++) {
        UnitRig rig(PhaserRun, PARAM_PHASER_ENABLE);
        rig.Set(PARAM_PHASER_FEEDBACK, values[k]), rig.Set(PARAM_PHASER_MIX, 1.0f);
        rig.Set(PARAM_PHASER_RATE, 0.0f);
        std::vector<float> audio = rig.Through(std::vector<float>(2 * 20000, 1.0f));
        float settled = 1.0f / (1.0f - gains[k]);
        EXPECT_NEAR(rig.engine->phaser[0].feedback[0], settled, 1e-3f * settled) << values[k];
        EXPECT_NEAR(audio.back(), 1.0f + settled, 1e-3f * settled) << values[k];
    }
    UnitRig rig(PhaserRun, PARAM_PHASER_ENABLE);
    rig.engine->phaser[0].phase = 0.3f;
    rig.Set(PARAM_PHASER_RATE, 0.0f);
    rig.Through(Noise(4800, 3));
    EXPECT_EQ(rig.engine->phaser[0].phase, 0.3f);
    rig.Set(PARAM_PHASER_RATE, 1.0f);
    rig.Through(std::vector<float>(2 * 6000, 0.0f));  // an eighth of a second: a quarter turn
    EXPECT_NEAR(rig.engine->phaser[0].phase, 0.55f, 2e-4f);

    const int rows[] = {PARAM_PHASER_STEPS, PARAM_PHASER_FEEDBACK, PARAM_PHASER_MIX, PARAM_PHASER_BASE,
                        PARAM_PHASER_RATE,  PARAM_PHASER_GAIN,     PARAM_PHASER_STEREO};
    for (float sampleRate : {8000.0f, 192000.0f})
        for (int corner = 0; corner < 128; corner += 9) {
            UnitRig rig(PhaserRun, PARAM_PHASER_ENABLE, sampleRate);
            for (int r = 0; r < 7; r++) rig.Set(rows[r], (corner >> r) & 1 ? 1.0f : 0.0f);
            rig.Set(PARAM_PHASER_FEEDBACK, corner & 1 ? 1.0f : 0.0f);
            for (float v : rig.Through(Noise(24000, corner)))
                ASSERT_LT(fabsf(v), 100.0f) << sampleRate << " " << corner;
        }
}

// The processor's reciprocal estimate of x, as the unit takes it.
float Estimate(float x) { return _mm_cvtss_f32(_mm_rcp_ps(_mm_set1_ps(x))); }

// A chain of one to six first-order all-pass cells per lane, its output fed
// back into its input, swept by a triangle LFO; the dry signal passes whole.
struct PhaserModel {
    float feedback[2] = {}, phase = 0.0f, cells[6][2] = {};

    void Run(const EngineContext &context, const float *v, float *frames, int count) {
        if (!(v[PARAM_PHASER_ENABLE] > 0.5f)) return;
        float sr = context.sampleRate, f = 2000.0f * v[PARAM_PHASER_BASE] + 200.0f;
        float w0[2] = {2.0f * f / sr, 0.0f};
        w0[1] = (0.5f * v[PARAM_PHASER_STEREO] + 1.0f) * w0[0];
        int n = (int)floorf(5.9994f * v[PARAM_PHASER_STEPS]) + 1;
        for (int i = 0; i < count; i++) {
            float m = Clamp01(v[PARAM_PHASER_MIX]), G = Clamp01(v[PARAM_PHASER_GAIN]);
            float s = G * w0[0], fb = 1.8f * Clamp01(v[PARAM_PHASER_FEEDBACK]) - 0.9f;
            float t = phase < 0.5f ? 4.0f * phase - 1.0f : 3.0f - 4.0f * phase;
            phase += Clamp01(v[PARAM_PHASER_RATE]) * (2.0f / sr);
            if (phase >= 1.0f) phase -= 1.0f;
            for (int lane = 0; lane < 2; lane++) {
                float w = w0[lane] + s * t, r = Estimate(1.0f + w);
                float a = (1.0f - w) * (2.0f * r - (1.0f + w) * r * r);
                float x = frames[2 * i + lane], in = x + fb * feedback[lane];
                for (int k = 0; k < n; k++) {
                    float out = cells[k][lane] - a * in;
                    cells[k][lane] = in + a * out;
                    in = out;
                }
                feedback[lane] = in;
                frames[2 * i + lane] = x + m * in;
            }
        }
    }
};

TEST(Phaser, matches_a_plain_model_bit_for_bit_under_random_changes) {
    const int rows[] = {PARAM_PHASER_STEPS, PARAM_PHASER_FEEDBACK, PARAM_PHASER_MIX, PARAM_PHASER_BASE,
                        PARAM_PHASER_RATE,  PARAM_PHASER_GAIN,     PARAM_PHASER_STEREO};
    Random random(300);
    UnitRig rig(PhaserRun, PARAM_PHASER_ENABLE, 44100.0f);
    rig.instance = 1;
    PhaserModel model;
    ModelRun run;
    run.blocks = 3000;
    run.change = [&](int) {
        float change = random.Unit();
        if (change < 0.3f) rig.Set(rows[random.Below(7)], random.Chance(0.1f) ? 1.0f : random.Unit());
        else if (change < 0.33f) rig.Set(PARAM_PHASER_ENABLE, random.Chance(0.3f) ? 0.0f : 1.0f);
    };
    run.model = [&](float *frames, int count) { model.Run(rig.context, rig.context.liveValue + 1, frames, count); };
    ExpectMatchesModel(rig, random, run);
}

}  // namespace
