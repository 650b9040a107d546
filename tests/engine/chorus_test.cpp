// The Chorus, measured on its output: a click shows where the taps read, a
// rising ramp how far back each frame's tap lies, so how far and how fast a
// voice sweeps. Also its feedback limit and what becomes of its lines.
#include <gtest/gtest.h>
#include <string.h>

#include "tests/support/engine_rig.h"

namespace {

const double FRAMES_PER_MS = 48.0;

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

// The area of a channel's output between two times, and its centre in ms.
struct Pulse { double area, ms; };
Pulse PulseOf(const std::vector<float> &out, int channel, double fromMs, double toMs) {
    double sum = 0.0, moment = 0.0;
    for (long i = lround(fromMs * FRAMES_PER_MS); i < lround(toMs * FRAMES_PER_MS); i++)
        sum += out[2 * i + channel], moment += i * (double)out[2 * i + channel];
    return {sum, moment / sum / FRAMES_PER_MS};
}

// At depth 0 every voice reads 20.34 ms back, and the voices are summed, not
// averaged; at full Stereo each right tap lies 4.5 to 6.3 ms further back.
TEST(Chorus, voices_read_twenty_ms_back_summed_the_right_further_back_and_feed_back_below_unity) {
    for (int voices : {1, 4}) {
        ChorusRig rig;
        rig.Set(PARAM_CHORUS_VOICES, voices == 1 ? 0.0f : 1.0f);
        std::vector<float> out = rig.Through(Click(1400, 1.0f, 1.0f));
        Pulse left = PulseOf(out, 0, 15.0, 28.0);
        EXPECT_NEAR(left.area, voices, 1e-3 * voices);
        EXPECT_NEAR(left.ms, 20.34, 0.01);
        EXPECT_NEAR(PulseOf(out, 1, 24.8, 26.6).area, voices, 1e-3 * voices);
    }
    // At 1 kHz a tap lies 20.34 frames back, less than a SubBlock: the click
    // comes back there, and through the feedback of 0.3 a tap later.
    ChorusRig slow(1000.0f);
    slow.Set(PARAM_CHORUS_VOICES, 0.0f), slow.Set(PARAM_CHORUS_FEEDBACK, 1.0f);
    std::vector<float> out = slow.Through(Click(64, 1.0f, 1.0f));
    double first = 0.0, second = 0.0;
    for (int i = 0; i < 50; i++) (i < 30 ? first : second) += out[2 * i];
    EXPECT_NEAR(first, 1.0, 1e-3);
    EXPECT_NEAR(second, 0.3, 1e-3);
    // A steady input settles at x / (1 - g): loop gain 0.9 for three voices, 0.95 for four.
    const float settled[] = {10.0f, 20.0f};
    for (int k = 0; k < 2; k++) {
        ChorusRig rig(8000.0f);
        rig.Set(PARAM_CHORUS_VOICES, k ? 1.0f : 0.51f), rig.Set(PARAM_CHORUS_FEEDBACK, 1.0f);
        std::vector<float> audio = rig.Through(std::vector<float>(2 * 60000, 1.0f));
        EXPECT_NEAR(audio[audio.size() - 2], (3 + k) * settled[k], 1e-3 * settled[k]) << k;
    }
}

// Over a ramp each output frame is its input less the tap's delay. Speed runs
// to 2.5 Hz at half and on to 50 Hz at full; a voice turns at about 0.45 of it.
// The right tap, 5 ms behind at full Stereo, keeps in step with the left.
TEST(Chorus, full_depth_sweeps_nine_ms_each_way_at_under_half_the_speed_and_stereo_delays_the_right) {
    const float values[] = {0.25f, 0.5f, 1.0f}, hertz[] = {1.25f, 2.5f, 50.0f};
    for (int k = 0; k < 3; k++) {
        ChorusRig rig;
        rig.Set(PARAM_CHORUS_VOICES, 0.0f), rig.Set(PARAM_CHORUS_DEPTH, 1.0f);
        rig.Set(PARAM_CHORUS_SPEED, values[k]), rig.Set(PARAM_CHORUS_STEREO, values[k]);
        size_t frames = (size_t)(2.5 * 48000.0 / (0.45 * hertz[k]));
        std::vector<float> out(2 * frames);
        for (size_t i = 0; i < 2 * frames; i++) out[i] = (float)(i / 2);
        rig.Run(out);
        double low = 1e9, high = 0.0, rises[2] = {};
        bool armed = false;
        for (size_t i = 1500, n = 0; i < frames; i++) {  // once the taps read a filled line
            double left = (i - out[2 * i]) / FRAMES_PER_MS, right = (i - out[2 * i + 1]) / FRAMES_PER_MS;
            ASSERT_NEAR(right - left, 5.0 * values[k], 0.01) << values[k] << " " << i;
            low = fmin(low, left), high = fmax(high, left);
            if (left < 18.0) armed = true;
            if (armed && left >= 20.34 && n < 2) rises[n++] = i, armed = false;
        }
        EXPECT_NEAR(low, 20.34 - 9.07, 0.03) << values[k];
        EXPECT_NEAR(high, 20.34 + 9.07, 0.03) << values[k];
        EXPECT_NEAR(48000.0 / (rises[1] - rises[0]) / hertz[k], 0.447, 0.001) << values[k];
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
    EXPECT_NEAR(PulseOf(out, 0, 15.0, 24.0).ms, 20.34, 0.01);

    rig.Set(PARAM_CHORUS_DEPTH, 1.0f);
    rig.Through(Noise(3000, 2));
    ChorusState before = rig.State();
    rig.Set(PARAM_CHORUS_ENABLE, 0.5f);  // not above 0.5: off
    in = Noise(64, 3);
    EXPECT_EQ(rig.Through(in), in);
    EXPECT_TRUE(!rig.State().lineL.samples && !rig.State().lineR.samples);
    EXPECT_EQ(memcmp(before.phaseL, rig.State().phaseL, sizeof before.phaseL), 0);
    rig.Set(PARAM_CHORUS_ENABLE, 1.0f);  // enabled again, the taps find an empty line
    for (float v : rig.Through(std::vector<float>(2 * 400, 0.0f))) ASSERT_EQ(v, 0.0f);
}

}  // namespace
