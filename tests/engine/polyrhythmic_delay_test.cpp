// The Polyrhythmic Delay: where its echoes fall, and its output against a
// plain model of the unit under random changes of every value and the tempo.
#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"

namespace {

// The Time value whose step is `eighths` eighths of a beat (1 to 16).
float TimeFor(int eighths) { return (eighths - 0.5f) / 15.9984f; }

// The delay's three instances at full Mix and Feedback, centred, filters
// wide open, the first line at half a beat and the second silent.
struct DelayRig : UnitRig {
    DelayRig(float sampleRate, float samplesPerBeat)
        : UnitRig(PolyDelayRun, PARAM_DELAY_ENABLE, sampleRate, samplesPerBeat) {
        for (instance = 0; instance < 3; instance++) {
            Set(PARAM_DELAY_PAN, 0.5f), Set(PARAM_DELAY_FEEDBACK, 1.0f), Set(PARAM_DELAY_MIX, 1.0f);
            Set(PARAM_DELAY_LOW_PASS, 0.0f), Set(PARAM_DELAY_HIGH_PASS, 0.0f);
            Set(PARAM_DELAY_TIME, TimeFor(4)), Set(PARAM_DELAY_MIX2, 0.0f), Set(PARAM_DELAY_TIME2, TimeFor(8));
        }
        instance = 0;
    }
    const DelayLine &Line(int k) const { return engine->polyDelay[instance].lines[k].line; }
};

TEST(PolyDelay, echoes_fall_at_the_line_lengths_cross_sides_and_step_in_eighths_of_a_beat) {
    {
        DelayRig rig(44100.0f, 4000.0f);  // half a beat: 2000 frames
        rig.Set(PARAM_DELAY_LOW_PASS, 0.5f);
        std::vector<float> in = Click(8000, 1.0f, 0.0f), out = rig.Through(in);
        // The first echo is the stored click through the wet high-pass alone,
        // on the left; then the echoes go from side to side.
        EXPECT_EQ(FirstChange(in, out), 2000);
        EXPECT_EQ(out[2 * 2000], HighPassDesign(CutoffCurve(0.0f), 44100.0f).b0);
        EXPECT_EQ(Energy(out, 1, 0, 4000), 0.0);
        EXPECT_GT(Energy(out, 0, 2000, 4000), 0.5);
        EXPECT_GT(Energy(out, 1, 4000, 6000), 1e4 * Energy(out, 0, 4000, 6000));
        EXPECT_GT(Energy(out, 0, 6000, 8000), 1e4 * Energy(out, 1, 6000, 8000));
        EXPECT_EQ(rig.Line(1).samples, nullptr);  // Mix 2 at 0: the second line never runs
    }
    for (int eighths : {1, 7, 16, 17}) {  // 17: Time at 1.0, still 16 eighths
        DelayRig rig(48000.0f, 1000.0f);
        rig.Set(PARAM_DELAY_TIME, eighths > 16 ? 1.0f : TimeFor(eighths));
        std::vector<float> in = Click(2500, 1.0f, 1.0f);
        EXPECT_EQ(FirstChange(in, rig.Through(in)), std::min(eighths, 16) * 125) << eighths;
    }
    {
        // 3/8 of a beat is 300 frames, a beat 800. Below 2400 frames, where
        // 8 x 300 meets 3 x 800, every echo of the two lines in a row lands
        // on a sum of multiples of them and starts sharply after a quiet frame.
        DelayRig rig(44100.0f, 800.0f);
        rig.Set(PARAM_DELAY_TIME, TimeFor(3)), rig.Set(PARAM_DELAY_MIX2, 1.0f);
        std::vector<float> out = rig.Through(Click(2400, 1.0f, 1.0f));
        for (int t = 100; t < 2400; t += 100) {
            bool echo = false;
            for (int a = 0; a * 300 <= t; a++) echo |= (t - a * 300) % 800 == 0;
            EXPECT_LT(fabsf(out[2 * (t - 1)]), 0.05f) << t;
            if (echo) EXPECT_GT(fabsf(out[2 * t]), 0.25f) << t;
            else for (int i = t; i < t + 8; i++) EXPECT_LT(fabsf(out[2 * i]), 0.05f) << i;
        }
    }
    DelayRig rig(44100.0f, 1000.0f);  // Feedback of exactly 0 silences both lines
    rig.Set(PARAM_DELAY_MIX2, 1.0f), rig.Set(PARAM_DELAY_FEEDBACK, 0.0f);
    std::vector<float> in = Click(3000, 1.0f, -1.0f);
    EXPECT_EQ(FirstChange(in, rig.Through(in)), -1);
    EXPECT_EQ(rig.Line(0).samples, nullptr);
    EXPECT_EQ(rig.Line(1).samples, nullptr);
}

// Two lines in a row, each a queue of frames: the oldest comes out through
// the wet high-pass and goes back, crossed over, through the feedback low-pass.
struct DelayModel {
    ModelLine line[2][2];  // [line][channel]
    ModelBiquad feedback[2], wet[2];

    void Run(const EngineContext &context, const float *v, float *frames, int count) {
        if (!(v[PARAM_DELAY_ENABLE] > 0.5f)) {
            for (auto &channels : line) channels[0] = channels[1] = ModelLine();
            return;
        }
        float pan = v[PARAM_DELAY_PAN];
        RunLine(0, context, v, v[PARAM_DELAY_MIX], v[PARAM_DELAY_TIME], 2.0f * pan, 2.0f * (1.0f - pan),
                frames, count);
        RunLine(1, context, v, v[PARAM_DELAY_MIX2], v[PARAM_DELAY_TIME2], 2.0f * (1.0f - pan),
                2.0f * pan, frames, count);
    }
    void RunLine(int k, const EngineContext &context, const float *v, float mix, float time,
                 float gainLeft, float gainRight, float *frames, int count) {
        float g = v[PARAM_DELAY_FEEDBACK];
        if (mix == 0.0f || g == 0.0f) return;
        float length = (floorf(15.9984f * time) + 1.0f) * 0.125f * context.samplesPerBeat;
        if (!(length >= 1.0f && length < 1073741824.0f)) return;
        for (ModelLine &channel : line[k]) channel.Size((size_t)(int)length);
        float sr = context.sampleRate;
        feedback[k].c = LowPassDesign(CutoffCurve(1.0f - v[PARAM_DELAY_LOW_PASS]), sr);
        wet[k].c = HighPassDesign(CutoffCurve(v[PARAM_DELAY_HIGH_PASS]), sr);
        float m = Clamp01(mix);
        g = Clamp01(g) * 0.95f;
        for (int i = 0; i < count; i++) {
            float inL = frames[2 * i], inR = frames[2 * i + 1];
            float dL = line[k][0].Oldest(), dR = line[k][1].Oldest();
            frames[2 * i] += wet[k].Step(0, dL) * m;
            frames[2 * i + 1] += wet[k].Step(1, dR) * m;
            float fL = feedback[k].Step(0, g * dR), fR = feedback[k].Step(1, g * dL);
            line[k][0].Write(inL * gainLeft + fL), line[k][1].Write(inR * gainRight + fR);
        }
    }
};

// Same float operations in the same order: equal bit for bit, through tempo
// changes within a frame and beyond, degenerate tempi, lines stopped by a Mix
// of 0, and disabling.
TEST(PolyDelay, matches_a_plain_model_bit_for_bit_under_random_changes) {
    const int rows[] = {PARAM_DELAY_PAN, PARAM_DELAY_FEEDBACK, PARAM_DELAY_LOW_PASS, PARAM_DELAY_HIGH_PASS,
                        PARAM_DELAY_MIX, PARAM_DELAY_TIME,     PARAM_DELAY_MIX2,     PARAM_DELAY_TIME2};
    const float tempi[] = {240.0f, 240.004f, 333.3f, 0.0f, NAN, 96.5f, INFINITY, -800.0f, 1e30f, 1e-4f};
    for (int instance : {0, 2}) {
        Random random(100 + instance);
        DelayRig rig(instance ? 32000.0f : 44100.0f, 240.0f);
        rig.instance = instance;
        DelayModel model;
        const float *v = rig.context.liveValue + instance;
        ModelRun run;
        run.blocks = 600;
        run.change = [&](int) {
            float change = random.Unit();
            if (change < 0.3f) {
                int row = rows[random.Below(8)];
                bool zeroable = row == PARAM_DELAY_FEEDBACK || row == PARAM_DELAY_MIX || row == PARAM_DELAY_MIX2;
                rig.Set(row, zeroable && random.Chance(0.25f) ? 0.0f : random.Unit());
            } else if (change < 0.33f) {
                rig.Set(PARAM_DELAY_ENABLE, random.Chance(0.3f) ? 0.0f : 1.0f);
            } else if (change < 0.36f) {
                rig.context.samplesPerBeat = tempi[random.Below(10)];
            }
        };
        run.model = [&](float *frames, int count) { model.Run(rig.context, v, frames, count); };
        run.silent = [](int block) { return block % 50 >= 35; };
        run.check = [&](int) {
            for (int k = 0; k < 2; k++) {
                ASSERT_EQ(rig.Line(k).length, (int32_t)model.line[k][0].s.size());
                ASSERT_EQ(rig.Line(k).samples == nullptr, rig.Line(k).length == 0);
            }
        };
        ExpectMatchesModel(rig, random, run);
    }
}

}  // namespace
