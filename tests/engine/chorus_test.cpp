// The Chorus: where its taps read, how many there are and how fast they move,
// its feedback limit, and what becomes of its lines.
#include <gtest/gtest.h>
#include <string.h>

#include "tests/support/engine_rig.h"

namespace {

const float CENTRE_SECONDS = 0.0203435f;
const float RATE_FACTOR[4] = {0.2234589f, 0.2134987f, 0.1934987f, 0.18525879f};  // of 2 x Hz
const float RIGHT_OFFSET[4] = {0.005f, 0.005184f, 0.004568f, 0.006144256f};

// Four voices standing still at full Mix, no feedback, full Stereo.
struct ChorusRig : UnitRig {
    explicit ChorusRig(float sampleRate = 48000.0f) : UnitRig(ChorusRun, PARAM_CHORUS_ENABLE, sampleRate) {
        for (instance = 0; instance < 3; instance++) {
            Set(PARAM_CHORUS_DEPTH, 0.0f), Set(PARAM_CHORUS_MIX, 1.0f), Set(PARAM_CHORUS_FEEDBACK, 0.0f);
            Set(PARAM_CHORUS_SPEED, 0.2f), Set(PARAM_CHORUS_STEREO, 1.0f), Set(PARAM_CHORUS_VOICES, 1.0f);
        }
        instance = 0;
    }
    ChorusState &State() { return engine->chorus[instance]; }
};

// A click read through an interpolated tap spreads over two frames: its
// area is the tap's weight and its centroid the tap's delay in frames, both
// to within the rounding of a read position near the line's end (ulp 5e-4).
void ExpectPulse(const std::vector<float> &out, int channel, double at, double area) {
    double sum = 0.0, moment = 0.0;
    for (long i = lround(at) - 2; i <= lround(at) + 2; i++) {
        sum += out[2 * i + channel];
        moment += i * (double)out[2 * i + channel];
    }
    EXPECT_NEAR(sum, area, 1e-3 * area) << "channel " << channel << " at " << at;
    EXPECT_NEAR(moment / sum, at, 2e-3) << "channel " << channel << " at " << at;
}

TEST(Chorus, voices_read_twenty_ms_back_move_at_their_speed_and_feed_back_below_unity) {
    // At depth 0 the voices read 20 ms back, on the right further by their
    // offsets; they are summed, not averaged.
    const float voiceValues[] = {0.0f, 0.26f, 0.51f, 1.0f};
    double centre = CENTRE_SECONDS * 48000.0;
    for (int k : {0, 3}) {
        ChorusRig rig;
        rig.Set(PARAM_CHORUS_VOICES, voiceValues[k]);
        std::vector<float> out = rig.Through(Click(1400, 1.0f, 1.0f));
        ExpectPulse(out, 0, centre, k + 1);
        for (int v = 0; v <= k; v++) ExpectPulse(out, 1, centre + RIGHT_OFFSET[v] * 48000.0, 1.0);
    }
    // Speed runs to 2.5 Hz at half and on to 50 Hz at full.
    const float values[] = {0.25f, 0.5f, 1.0f}, hertz[] = {1.25f, 2.5f, 50.0f};
    for (int k = 0; k < 3; k++) {
        ChorusRig rig;
        rig.Set(PARAM_CHORUS_SPEED, values[k]);
        rig.Through(std::vector<float>(2, 0.0f));
        for (int v = 0; v < 4; v++) {
            EXPECT_FLOAT_EQ(rig.State().phaseL[v], RATE_FACTOR[v] * 2.0f * (hertz[k] / 48000.0f)) << values[k];
            EXPECT_EQ(rig.State().phaseR[v], rig.State().phaseL[v]);
        }
    }
    // A steady input settles at x / (1 - g): loop gain 0.9 for three voices, 0.95 for four.
    const float settled[] = {10.0f, 20.0f};
    for (int k = 0; k < 2; k++) {
        ChorusRig rig(8000.0f);
        rig.Set(PARAM_CHORUS_VOICES, k ? 1.0f : 0.51f), rig.Set(PARAM_CHORUS_FEEDBACK, 1.0f);
        std::vector<float> audio = rig.Through(std::vector<float>(2 * 60000, 1.0f));
        EXPECT_NEAR(audio[audio.size() - 2], (3 + k) * settled[k], 1e-3 * settled[k]) << k;
    }
}

TEST(Chorus, mix_zero_passes_dry_while_the_lines_fill_and_disabling_frees_them_and_keeps_the_phases) {
    ChorusRig rig;
    rig.Set(PARAM_CHORUS_MIX, 0.0f), rig.Set(PARAM_CHORUS_VOICES, 0.0f);
    std::vector<float> in = Click(512, 1.0f, 1.0f);
    EXPECT_EQ(rig.Through(in), in);
    rig.Set(PARAM_CHORUS_MIX, 1.0f);  // turned up, it plays the click it took in while silent
    std::vector<float> out = rig.Through(std::vector<float>(2 * 888, 0.0f));
    out.insert(out.begin(), 2 * 512, 0.0f);
    ExpectPulse(out, 0, CENTRE_SECONDS * 48000.0, 1.0);

    rig.Set(PARAM_CHORUS_DEPTH, 1.0f);
    rig.Through(Noise(3000, 2));
    ChorusState before = rig.State();
    rig.Set(PARAM_CHORUS_ENABLE, 0.5f);  // not above 0.5: off
    in = Noise(64, 3);
    EXPECT_EQ(rig.Through(in), in);
    EXPECT_EQ(rig.State().lineL.samples, nullptr);
    EXPECT_EQ(rig.State().lineR.samples, nullptr);
    EXPECT_EQ(memcmp(before.phaseL, rig.State().phaseL, sizeof before.phaseL), 0);
    rig.Set(PARAM_CHORUS_ENABLE, 1.0f);  // enabled again, the taps find an empty line
    for (float v : rig.Through(std::vector<float>(2 * 400, 0.0f))) ASSERT_EQ(v, 0.0f);
    EXPECT_EQ(rig.State().lineL.length, 4800);
}

}  // namespace
