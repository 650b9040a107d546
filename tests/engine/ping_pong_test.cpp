// The Ping-Pong Delay: which side each echo is heard on for each Ratio, where
// the modulated taps fall, and its output against a plain model of the unit.
#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"

namespace {

const float RATIO_ONE_TO_ONE = 0.0f, RATIO_TWO_TO_ONE = 0.5f, RATIO_THREE_TO_FOUR = 1.0f;

// Three instances whose delay is 1,000 frames (1/8 of a beat of 8,000) at
// 48 kHz, taps unmodulated, filters wide open, full Mix and Feedback.
struct PingPongRig : UnitRig {
    PingPongRig() : UnitRig(PingPongRun, PARAM_PINGPONG_ENABLE, 48000.0f, 8000.0f) {
        for (instance = 0; instance < 3; instance++) {
            Set(PARAM_PINGPONG_MODULATE, 0.0f), Set(PARAM_PINGPONG_FEEDBACK, 1.0f);
            Set(PARAM_PINGPONG_LOW_PASS, 0.0f), Set(PARAM_PINGPONG_HIGH_PASS, 0.0f);
            Set(PARAM_PINGPONG_MIX, 1.0f), Set(PARAM_PINGPONG_TIME, 0.0f);
            Set(PARAM_PINGPONG_RATIO, RATIO_THREE_TO_FOUR);
        }
        instance = 0;
    }
    PingPongState &State() { return engine->pingPong[instance]; }
};

// An echo starts at `at` in `channel`: loud right after, quiet right before.
void ExpectEchoAt(const std::vector<float> &out, int channel, long at) {
    EXPECT_GT(Energy(out, channel, at, at + 16), 100.0 * Energy(out, channel, at - 50, at))
        << "channel " << channel << " at " << at;
}

TEST(PingPong, each_side_echoes_at_its_ratios_tap_and_modulation_only_delays_the_taps) {
    const float ratios[] = {RATIO_ONE_TO_ONE, RATIO_TWO_TO_ONE, RATIO_THREE_TO_FOUR, 0.3f};
    const long leftTap[] = {1000, 500, 750, 1000};
    for (int k = 0; k < 4; k++) {
        SCOPED_TRACE(ratios[k]);
        // Left input only: echoes on the right at 1, 2, 3 delays, never on the left.
        PingPongRig left;
        left.Set(PARAM_PINGPONG_RATIO, ratios[k]);
        std::vector<float> in = Click(3200, 1.0f, 0.0f), out = left.Through(in);
        EXPECT_EQ(FirstChange(in, out, 0), -1);
        EXPECT_EQ(FirstChange(in, out, 1), 1000);
        for (long at : {2000, 3000}) ExpectEchoAt(out, 1, at);
        // Right input only: echoes on the left at the ratio's tap, then a delay apart.
        PingPongRig right;
        right.Set(PARAM_PINGPONG_RATIO, ratios[k]);
        in = Click(3200, 0.0f, 1.0f), out = right.Through(in);
        EXPECT_EQ(FirstChange(in, out, 1), -1);
        EXPECT_EQ(FirstChange(in, out, 0), leftTap[k]);
        for (long at : {leftTap[k] + 1000, leftTap[k] + 2000}) ExpectEchoAt(out, 0, at);
    }
    // Full Modulate: a span of 2 ms (96 frames). At the triangle's top a tap
    // reads two spans late, at its foot on time; over the thousand frames an
    // echo takes, each LFO moves its tap by 1.5 frames.
    PingPongRig rig;
    rig.Set(PARAM_PINGPONG_MODULATE, 1.0f);
    rig.State().phaseA = 0.5f, rig.State().phaseB = 0.0f;
    std::vector<float> in = Click(1400, 1.0f, 1.0f), out = rig.Through(in);
    EXPECT_NEAR(FirstChange(in, out, 0), 750 + 2 * 96, 2);
    EXPECT_GE(FirstChange(in, out, 1), 1000);
    EXPECT_LE(FirstChange(in, out, 1), 1002);
    // The lines hold the delay and three spans, so every read stays inside.
    EXPECT_EQ(rig.State().lineA.length, 1000 + 3 * 96);
}

// Two lines fed crosswise; side A is heard at the ratio's tap, side B at the
// delay, each through a two-section high-pass; the feedback runs through a low-pass.
struct PingPongModel {
    ModelLine a, b;
    ModelBiquad feedback, wet[2];  // wet: the two sections of the cascade
    float phaseA = 0.0f, phaseB = 0.0f;

    static float Triangle(float ph) { return ph < 0.5f ? 4.0f * ph : 4.0f - 4.0f * ph; }
    static float Wrap(float ph) { return ph >= 1.0f ? ph - 1.0f : ph; }

    void Run(const EngineContext &context, const float *v, float *frames, int count) {
        if (!(v[PARAM_PINGPONG_ENABLE] > 0.5f)) {
            a = ModelLine(), b = ModelLine();
            return;
        }
        if (v[PARAM_PINGPONG_MIX] == 0.0f || v[PARAM_PINGPONG_FEEDBACK] == 0.0f) return;
        float sr = context.sampleRate;
        float D = 0.125f * context.samplesPerBeat * (floorf(15.9984f * v[PARAM_PINGPONG_TIME]) + 1.0f);
        if (!(D > 0.0f)) return;
        float M = v[PARAM_PINGPONG_MODULATE] * (0.002f * sr);
        float length = 0.002f * sr * 3.0f + D;
        if (!(length >= 1.0f && length < 2147483648.0f)) return;
        a.Size((size_t)length), b.Size((size_t)length);
        feedback.c = LowPassDesign(CutoffCurve(1.0f - v[PARAM_PINGPONG_LOW_PASS]), sr);
        wet[0].c = wet[1].c = HighPassDesign(CutoffCurve(v[PARAM_PINGPONG_HIGH_PASS]), sr);
        float ratio = v[PARAM_PINGPONG_RATIO];
        float DA = ratio == 0.5f ? 0.5f * D : ratio == 1.0f ? 0.75f * D : D;
        float m = Clamp01(v[PARAM_PINGPONG_MIX]), g = Clamp01(v[PARAM_PINGPONG_FEEDBACK]) * 0.95f;
        for (int i = 0; i < count; i++) {
            float inL = frames[2 * i], inR = frames[2 * i + 1];
            float tA = Triangle(phaseA), tB = Triangle(phaseB);
            phaseA = Wrap(phaseA + 0.19f / sr), phaseB = Wrap(phaseB + 0.21f / sr);
            float heardA = a.Read(DA + tA * M), heardB = b.Read(D + tB * M);
            frames[2 * i] = inL + wet[1].Step(0, wet[0].Step(0, heardA)) * m;
            frames[2 * i + 1] = inR + wet[1].Step(1, wet[0].Step(1, heardB)) * m;
            float fA = feedback.Step(0, g * a.Read(D)), fB = feedback.Step(1, g * b.Read(D));
            a.Write(inR + fA), b.Write(inL + fB);
        }
    }
};

// Same float operations in the same order: equal bit for bit, through
// degenerate tempi, other sample rates, Mix or Feedback of 0, and disabling (which releases the
// lines and keeps filters and phases).
TEST(PingPong, matches_a_plain_model_bit_for_bit_under_random_changes) {
    const int rows[] = {PARAM_PINGPONG_MODULATE, PARAM_PINGPONG_FEEDBACK, PARAM_PINGPONG_LOW_PASS,
                        PARAM_PINGPONG_HIGH_PASS, PARAM_PINGPONG_MIX,     PARAM_PINGPONG_TIME};
    const float ratios[] = {0.0f, 0.5f, 1.0f, 0.7f};
    const float tempi[] = {1200.0f, 1200.1f, 777.7f, -5.0f, NAN, 1e-3f, 0.0f, INFINITY, 1e30f};
    const float rates[] = {8000.0f, 44100.0f, 192000.0f};
    for (int instance : {0, 2}) {
        Random random(200 + instance);
        PingPongRig rig;
        rig.instance = instance;
        rig.context.sampleRate = instance ? 44100.0f : 32000.0f;
        rig.context.samplesPerBeat = 1200.0f;
        PingPongModel model;
        ModelRun run;
        run.change = [&](int) {
            float change = random.Unit();
            if (change < 0.2f) {
                int row = rows[random.Below(6)];
                bool zeroable = row == PARAM_PINGPONG_FEEDBACK || row == PARAM_PINGPONG_MIX;
                rig.Set(row, zeroable && random.Chance(0.25f) ? 0.0f : random.Unit());
            } else if (change < 0.25f) {
                rig.Set(PARAM_PINGPONG_RATIO, ratios[random.Below(4)]);
            } else if (change < 0.27f) {
                rig.Set(PARAM_PINGPONG_ENABLE, random.Chance(0.3f) ? 0.0f : 1.0f);
            } else if (change < 0.29f) {
                rig.context.samplesPerBeat = tempi[random.Below(9)];
            } else if (change < 0.295f) {
                rig.context.sampleRate = rates[random.Below(3)];
            }
        };
        run.model = [&](float *frames, int count) {
            model.Run(rig.context, rig.context.liveValue + instance, frames, count);
        };
        run.check = [&](int) {
            ASSERT_EQ(rig.State().lineA.length, (int32_t)model.a.s.size());
            ASSERT_EQ(rig.State().lineA.samples == nullptr, rig.State().lineA.length == 0);
        };
        ExpectMatchesModel(rig, random, run);
    }
}

}  // namespace
