// The Trance Gate: its levels and patterns, its place at any position and
// tempo, the speeds, the contour ramp, and the step that rounding can
// reach at the end of the pattern.
#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"

namespace {

// Instance 1 at 48 kHz without a contour ramp.
struct GateRig : UnitRig {
    explicit GateRig(float samplesPerBeat) : UnitRig(TranceGateRun, PARAM_GATE_ENABLE, 48000.0f, samplesPerBeat) {
        Set(PARAM_GATE_CONTOUR, 0.0f);
    }
    void Pattern(int row, int bits) { Set(row, ParamEncodeWhole(bits)); }
    // The frames from `position` on.
    std::vector<float> At(double position, std::vector<float> frames) {
        engine->unitPosition = position;
        return Through(frames);
    }
};

std::vector<float> Ones(size_t frames) { return std::vector<float>(2 * frames, 1.0f); }

TEST(TranceGate, mix_and_patterns_open_or_close_steps_and_right_follows_left_below_half_stereo) {
    std::vector<float> in = Noise(3000, 1);
    GateRig rig(1000.0f);
    rig.Set(PARAM_GATE_CONTOUR, 0.3f), rig.Set(PARAM_GATE_MIX, 0.0f);
    EXPECT_EQ(rig.At(77.5, in), in);
    rig.Set(PARAM_GATE_MIX, 1.0f);
    rig.Set(PARAM_GATE_LEFT, 0.0f);  // a raw 0 decodes to -1, whose bits open every step
    EXPECT_EQ(rig.At(77.5, in), in);
    rig.Pattern(PARAM_GATE_LEFT, 0);
    for (float v : rig.At(77.5, in)) ASSERT_EQ(v, 0.0f);
    rig.Set(PARAM_GATE_MIX, 0.75f);  // between, a closed step keeps 1 - Mix
    for (float v : rig.At(0.0, Ones(100))) ASSERT_EQ(v, 0.25f);

    // The place is exact from a count-in to far into a song; a tempo without
    // a positive, finite period passes the audio.
    GateRig place(1000.0f);  // 1/32: a period of 2,000 frames, steps of 125
    place.Set(PARAM_GATE_MIX, 1.0f), place.Pattern(PARAM_GATE_LEFT, 0x8001);
    for (double position : {-50.0, 9007199254740000.0}) EXPECT_EQ(place.At(position, Ones(1))[0], 1.0f) << position;
    for (double position : {-126.0, 1e12 + 125.0}) EXPECT_EQ(place.At(position, Ones(1))[0], 0.0f) << position;
    for (float samplesPerBeat : {0.0f, -1000.0f, NAN, INFINITY}) {
        GateRig none(samplesPerBeat);
        none.Pattern(PARAM_GATE_LEFT, 0);
        EXPECT_EQ(none.At(5.0, in), in) << samplesPerBeat;
    }

    GateRig stereo(1000.0f);
    stereo.Pattern(PARAM_GATE_LEFT, 0xFFFF), stereo.Pattern(PARAM_GATE_RIGHT, 0);
    stereo.Set(PARAM_GATE_STEREO, 0.49f);
    EXPECT_EQ(stereo.Through(Ones(500)), Ones(500));
    stereo.Set(PARAM_GATE_STEREO, 0.5f);
    std::vector<float> out = stereo.Through(Ones(500));
    EXPECT_EQ(out[2 * 250], 1.0f);
    EXPECT_EQ(out[2 * 250 + 1], 0.0f);
}

TEST(TranceGate, speed_sets_the_step_and_contour_ramps_between_steps) {
    // Steps per beat from 1 to 16; unknown indices and the -1 of a raw 0 take 16.
    const struct { float value; int stepFrames; } speeds[] = {
        {ParamEncodeWhole(0), 1600}, {ParamEncodeWhole(3), 200}, {ParamEncodeWhole(9), 100}, {0.0f, 100}};
    for (auto speed : speeds) {
        GateRig rig(1600.0f);
        rig.Pattern(PARAM_GATE_LEFT, 0x5555);
        rig.Set(PARAM_GATE_SPEED, speed.value);
        std::vector<float> out = rig.Through(Ones(3300));
        for (int i = 0; i < 3300; i++)
            ASSERT_EQ(out[2 * i], (i / speed.stepFrames) % 2 ? 0.0f : 1.0f) << speed.value << " " << i;
    }
    // Contour 1 crossfades linearly from the step before; a tenth ramps over
    // the first tenth of a step only.
    GateRig rig(1600.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0x5555);
    rig.Set(PARAM_GATE_SPEED, ParamEncodeWhole(4));  // steps of 100 frames
    rig.Set(PARAM_GATE_CONTOUR, 1.0f);
    std::vector<float> out = rig.Through(Ones(1600));
    EXPECT_NEAR(out[2 * 125], 0.75f, 1e-6f);  // falling a quarter into a closed step
    EXPECT_NEAR(out[2 * 230], 0.3f, 1e-6f);
    rig.Set(PARAM_GATE_CONTOUR, 0.1f);
    out = rig.At(100.0, Ones(200));
    EXPECT_NEAR(out[2 * 5], 0.5f, 1e-6f);
    EXPECT_EQ(out[2 * 10], 0.0f);
}

TEST(TranceGate, a_position_that_rounds_to_step_sixteen_plays_step_zero) {
    // Find x below the period with x (16 / period) rounding to exactly 16.
    double position = -1.0;
    float samplesPerBeat = 1000.0f;
    for (; position < 0.0 && samplesPerBeat < 1100.0f; samplesPerBeat += 0.37f) {
        double period = 2.0 * samplesPerBeat, x = period;
        for (int k = 0; k < 4 && position < 0.0; k++) {
            x = nextafter(x, 0.0);
            if (x * (16.0 / period) == 16.0) position = x;
        }
    }
    ASSERT_GT(position, 0.0);
    GateRig rig(samplesPerBeat - 0.37f);
    rig.Set(PARAM_GATE_MIX, 1.0f);
    // Without a ramp step 0 plays; with one, its phase of 0 holds step 15's level.
    rig.Pattern(PARAM_GATE_LEFT, 0x0001);
    EXPECT_EQ(rig.At(position, Ones(1))[0], 1.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0x8000);
    EXPECT_EQ(rig.At(position, Ones(1))[0], 0.0f);
    rig.Set(PARAM_GATE_CONTOUR, 0.5f);
    EXPECT_EQ(rig.At(position, Ones(1))[0], 1.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0x0001);
    EXPECT_EQ(rig.At(position, Ones(1))[0], 0.0f);
}

}  // namespace
