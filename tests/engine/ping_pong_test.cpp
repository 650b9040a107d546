// The Ping-Pong Delay: which side each echo is heard on for each Ratio, where
// the modulated taps fall, what stops it, and what becomes of its storage.
#include <gtest/gtest.h>
#include <string.h>

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
    const float ratios[] = {RATIO_ONE_TO_ONE, RATIO_TWO_TO_ONE, RATIO_THREE_TO_FOUR};
    const long leftTap[] = {1000, 500, 750};
    for (int k = 0; k < 3; k++) {
        SCOPED_TRACE(ratios[k]);
        // Left input only: echoes on the right at 1, 2, 3 delays, never on the left.
        PingPongRig left;
        left.Set(PARAM_PINGPONG_RATIO, ratios[k]);
        std::vector<float> in = Click(3200, 1.0f, 0.0f), out = left.Through(in);
        EXPECT_EQ(FirstChange(in, out, 0), -1);
        EXPECT_EQ(FirstChange(in, out, 1), 1000);
        ExpectEchoAt(out, 1, 2000);
        // Right input only: echoes on the left at the ratio's tap, then a delay apart.
        PingPongRig right;
        right.Set(PARAM_PINGPONG_RATIO, ratios[k]);
        in = Click(3200, 0.0f, 1.0f), out = right.Through(in);
        EXPECT_EQ(FirstChange(in, out, 1), -1);
        EXPECT_EQ(FirstChange(in, out, 0), leftTap[k]);
        ExpectEchoAt(out, 0, leftTap[k] + 1000);
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

    // A delay shorter than a SubBlock, 10 frames at 80 frames a beat: the
    // left hears the click at 5, the right at 10 and again a loop later.
    PingPongRig fast;
    fast.context.samplesPerBeat = 80.0f, fast.Set(PARAM_PINGPONG_RATIO, RATIO_TWO_TO_ONE);
    in = Click(64, 1.0f, 1.0f), out = fast.Through(in);
    EXPECT_EQ(FirstChange(in, out, 0), 5);
    EXPECT_EQ(FirstChange(in, out, 1), 10);
    EXPECT_GT(Energy(out, 1, 20, 21), 100.0 * Energy(out, 1, 12, 20));
}

TEST(PingPong, zero_feedback_or_mix_adds_nothing_disabling_frees_the_lines_and_any_tempo_stays_finite) {
    for (int row : {PARAM_PINGPONG_FEEDBACK, PARAM_PINGPONG_MIX}) {
        PingPongRig rig;
        rig.Set(row, 0.0f);
        std::vector<float> in = Click(3000, 1.0f, -1.0f);
        EXPECT_EQ(FirstChange(in, rig.Through(in)), -1);
        EXPECT_TRUE(!rig.State().lineA.samples && !rig.State().lineB.samples);
    }
    // Disabled, the lines are released; filters and LFO phases stay.
    PingPongRig rig;
    rig.Set(PARAM_PINGPONG_MODULATE, 0.7f);
    rig.Through(Noise(2000, 3));
    PingPongState before = rig.State();
    rig.Set(PARAM_PINGPONG_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Click(64, 1.0f, 1.0f);
    EXPECT_EQ(rig.Through(in), in);
    EXPECT_TRUE(!rig.State().lineA.samples && !rig.State().lineB.samples);
    EXPECT_EQ(memcmp(&rig.State().wetFilter, &before.wetFilter, sizeof(BiquadStage)), 0);
    EXPECT_EQ(rig.State().phaseA, before.phaseA);

    for (float tempo : {0.0f, NAN, 1e30f, 240.0f, 96000.0f}) {  // frames per beat
        PingPongRig corner;
        corner.context.samplesPerBeat = tempo, corner.Set(PARAM_PINGPONG_MODULATE, 1.0f);
        for (float v : corner.Through(Noise(20000, 5))) ASSERT_LT(fabsf(v), 100.0f) << tempo;
    }
}

}  // namespace
