// The Polyrhythmic Delay: where its echoes fall, what stops its lines, and
// what becomes of its storage.
#include <gtest/gtest.h>
#include <string.h>

#include "tests/support/engine_rig.h"

namespace {

// The Time value in the middle of the step of `eighths` eighths of a beat:
// the dial runs from 1 to 16 in 16 equal steps.
float TimeFor(int eighths) { return (eighths - 0.5f) / 16.0f; }

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
        // The first echo is the stored click on the left, sharp: the wet
        // high-pass at 40 Hz barely touches it and the loop's low-pass is not
        // in its way. Then the echoes go from side to side.
        EXPECT_EQ(FirstChange(in, out), 2000);
        EXPECT_GT(out[2 * 2000], 0.99f);
        EXPECT_EQ(Energy(out, 1, 0, 4000), 0.0);
        EXPECT_GT(Energy(out, 1, 4000, 6000), 1e4 * Energy(out, 0, 4000, 6000));
        EXPECT_EQ(rig.Line(1).samples, nullptr);  // Mix 2 at 0: the second line never runs
    }
    for (int eighths : {1, 16, 17}) {  // 17: Time at 1.0, still 16 eighths
        DelayRig rig(48000.0f, 1000.0f);
        rig.Set(PARAM_DELAY_TIME, eighths > 16 ? 1.0f : TimeFor(eighths));
        std::vector<float> in = Click(2500, 1.0f, 1.0f);
        EXPECT_EQ(FirstChange(in, rig.Through(in)), std::min(eighths, 16) * 125) << eighths;
    }
    {
        // Lines of 300 and 800 frames: below 2400 every echo lands on a sum of their multiples.
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
    EXPECT_EQ(rig.Line(1).samples, nullptr);
}

TEST(PolyDelay, a_zero_mix_or_a_degenerate_tempo_stops_a_line_and_disabling_frees_both_and_keeps_filters) {
    {
        DelayRig rig(44100.0f, 4000.0f);  // 2000 frames
        std::vector<float> in = Click(12000, 1.0f, 1.0f), out = in;
        rig.Run(out, 0, 512);
        rig.Set(PARAM_DELAY_MIX, 0.0f);
        rig.Run(out, 512, 8000);
        EXPECT_EQ(rig.Line(0).writeIndex, 2 * 512);
        rig.Set(PARAM_DELAY_MIX, 1.0f);
        rig.Run(out, 8000);  // the old content is still there and plays 1488 frames after the return
        EXPECT_EQ(FirstChange(in, out), 8000 + 1488);
    }
    // A line stands still through a degenerate tempo and goes on after.
    for (float tempo : {0.0f, -800.0f, NAN, INFINITY}) {
        DelayRig rig(44100.0f, 4000.0f);
        std::vector<float> in = Click(4000, 1.0f, 1.0f), out = in;
        rig.Run(out, 0, 256);
        rig.context.samplesPerBeat = tempo;
        rig.Run(out, 256, 1024);
        rig.context.samplesPerBeat = 4000.0f;
        rig.Run(out, 1024);
        EXPECT_EQ(FirstChange(in, out), 1024 + 2000 - 256) << tempo;
    }
    DelayRig rig(44100.0f, 1000.0f);  // 500 frames
    rig.Set(PARAM_DELAY_MIX2, 0.5f);
    rig.Through(Noise(2000, 11));
    PolyDelayState before = rig.engine->polyDelay[0];
    rig.Set(PARAM_DELAY_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Click(32, 1.0f, 1.0f);
    EXPECT_EQ(FirstChange(in, rig.Through(in)), -1);
    for (int k = 0; k < 2; k++) {
        const PolyDelayLine &line = rig.engine->polyDelay[0].lines[k], &old = before.lines[k];
        EXPECT_EQ(line.line.samples, nullptr);
        EXPECT_EQ(memcmp(&line.wetFilter, &old.wetFilter, sizeof(BiquadStage)), 0);
    }
    rig.Set(PARAM_DELAY_ENABLE, 1.0f);  // enabled again, the lines start empty at their beginning
    rig.Through(Click(32, 0.0f, 0.0f));
    for (int k = 0; k < 2; k++) {
        const DelayLine &line = rig.Line(k);
        ASSERT_EQ(line.length, 500 * (k + 1));
        EXPECT_EQ(line.writeIndex, 64);
        for (int i = 64; i < 2 * line.length; i++) ASSERT_EQ(line.samples[i], 0.0f) << i;
    }
}

}  // namespace
