// The Multiband Distortion: each shaper's landmarks (how much it lifts a quiet
// input, where a loud one settles or folds to), what the band drives do to low
// and high tones, the shared band split, the mix, and finite output everywhere.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/engine.h"
#include "tests/support/engine_rig.h"

namespace {

enum { OFF, LIGHT, SOFT, MEDIUM, HARD, TRIPLE, DIGITAL, FOLDBACK, WRAPBACK, FALLBACK, SINE, VRS_LIGHT,
       VRS_SOFT, VRS_MID, VRS_HARD, ASYM_1, ASYM_2, ASYM_3, TEETH, MODES };

TEST(Distortion, each_shaper_lifts_a_quiet_input_and_settles_or_folds_a_loud_one_at_its_level) {
    const float quiet = 1e-5f, loud = 1e4f;  // below 0.001 the VRS curves are straight
    const struct { int mode; float in, out; } landmarks[] = {
        {-1, 7.0f, 7.0f}, {OFF, 7.0f, 7.0f}, {MODES, 7.0f, 7.0f},  // unknown modes pass
        {LIGHT, quiet, 0.318f * quiet}, {LIGHT, loud, 0.4995f}, {LIGHT, -loud, -0.4995f},
        {SOFT, quiet, 0.5f * quiet}, {SOFT, loud, 0.5f}, {SOFT, -loud, -0.5f},
        {MEDIUM, quiet, 1.56f * quiet}, {MEDIUM, loud, 0.5379f}, {MEDIUM, -loud, -0.5379f},
        {HARD, quiet, 2.8f * quiet}, {HARD, loud, 0.5f}, {HARD, -loud, -0.5f},
        {TRIPLE, 0.1f, 0.000495f}, {TRIPLE, loud, 0.5f}, {TRIPLE, -loud, -0.5f},
        {DIGITAL, 0.3f, 0.3f}, {DIGITAL, 0.7f, 0.5f}, {DIGITAL, -loud, -0.5f},
        {FOLDBACK, quiet, 0.5f * quiet}, {FOLDBACK, 1.5f, 0.25f}, {FOLDBACK, -1.5f, -0.25f},
        {WRAPBACK, quiet, 0.5f * quiet}, {WRAPBACK, 1.5f, -0.25f}, {WRAPBACK, -1.5f, 0.25f},
        {FALLBACK, quiet, quiet}, {FALLBACK, 1.0f, 0.5f}, {FALLBACK, -loud, -1.0f / loud},
        {SINE, quiet, 0.785f * quiet}, {SINE, 1.0f, 0.5f}, {SINE, -1.0f, -0.5f},
        {VRS_LIGHT, quiet, quiet}, {VRS_LIGHT, loud, 0.4092f}, {VRS_LIGHT, -loud, -0.8168f},
        {VRS_SOFT, -quiet, -quiet}, {VRS_SOFT, loud, 0.1802f}, {VRS_SOFT, -loud, -1.5357f},
        {VRS_MID, quiet, quiet}, {VRS_MID, loud, 0.2024f}, {VRS_MID, -loud, -0.8158f},
        {VRS_HARD, -quiet, -quiet}, {VRS_HARD, loud, 0.2477f}, {VRS_HARD, -loud, -0.4984f},
        {ASYM_1, quiet, 2.8f * quiet}, {ASYM_1, loud, 0.5f}, {ASYM_1, -3.0f, -3.0f},
        {ASYM_2, quiet, 0.318f * quiet}, {ASYM_2, -1.0f, -1.0f / 3.0f}, {ASYM_2, -50.0f, -1.0f},
        {ASYM_2, -60.0f, -1.0f}, {ASYM_3, 1.0f, 0.5f}, {ASYM_3, -1.5f, -0.25f},
        {TEETH, 2.75f, 0.375f}, {TEETH, -2.25f, -0.125f},
        // the curves' knees, at one
        {LIGHT, 1.0f, 0.24976f}, {SOFT, 1.0f, 0.38080f}, {MEDIUM, 1.0f, 0.4f}, {HARD, 1.0f, 0.5f},
        {TRIPLE, 1.0f, 0.22087f}, {ASYM_1, 1.0f, 0.5f}, {ASYM_2, 1.0f, 0.24976f},
        {VRS_LIGHT, 1.0f, 0.32861f}, {VRS_LIGHT, -1.0f, -0.53557f}, {VRS_SOFT, 1.0f, 0.16444f},
        {VRS_SOFT, -1.0f, -0.70273f}, {VRS_MID, 1.0f, 0.19354f}, {VRS_MID, -1.0f, -0.68433f},
        {VRS_HARD, 1.0f, 0.24181f}, {VRS_HARD, -1.0f, -0.47640f}};
    for (auto l : landmarks)
        EXPECT_NEAR(DistortionShape(l.mode, l.in), l.out, 2e-4f * fabsf(l.out)) << l.mode << " at " << l.in;
    EXPECT_EQ(DistortionShape(DIGITAL, 0.7f), 0.5f);  // a clip, exactly
    EXPECT_EQ(DistortionShape(ASYM_2, -60.0f), -1.0f);
    // Where a formula would overflow into inf / inf, or the sine lose its
    // phase, the shaper still gives a finite value.
    for (int mode = -1; mode <= MODES; mode++)
        for (float v : {-0.0f, 1e-40f, 16777216.0f, 1e20f, -1e20f, 3e38f, -3e38f})
            EXPECT_TRUE(std::isfinite(DistortionShape(mode, v))) << "mode " << mode << " at " << v;
}

// Distortion instances in the first slots of the whole frame at 48 kHz.
struct Settings {
    float low = 0.5f, mid = 0.5f, high = 0.5f, mix = 1.0f;
    int mode = OFF;
};
struct Chain : EngineRig {
    Chain(std::initializer_list<std::pair<int, Settings>> instances) {
        int slot = 0;
        for (auto &[instance, p] : instances) {
            Place(slot++, instance * 9 + UnitDistortion);
            float *v = values + instance;
            v[PARAM_DIST_MIX] = p.mix, v[PARAM_DIST_LOW] = p.low, v[PARAM_DIST_MID] = p.mid;
            v[PARAM_DIST_HIGH] = p.high, v[PARAM_DIST_MODE] = ParamEncodeWhole(p.mode);
        }
    }
    // The level in dB of a quiet tone, once settled.
    double ToneDb(double hz) {
        std::vector<float> tone(2 * 9600);
        for (size_t i = 0; i < tone.size(); i++) tone[i] = (float)(0.001 * sin(2 * M_PI * hz * (i / 2) / 48000.0));
        std::vector<float> out = Run(tone, 256, 1);
        float peak = 0.0f;
        for (size_t i = tone.size() / 2; i < tone.size(); i++) peak = fmaxf(peak, fabsf(out[i]));
        return 20.0 * log10(peak / 0.001);
    }
};

// A drive spans 0.75 (-2.5 dB) to 75 (37.5 dB); the split's crossovers lie
// near 400 Hz and 2 kHz, so a low tone takes the low drive and a high tone the
// high drive, and neither lifts the other end. Mode Off at the default drives
// gives 5.39 times the input.
TEST(Distortion, each_band_drive_lifts_its_tones_off_gains_5_39_and_mix_zero_passes_dry) {
    Settings bass, treble;
    bass.low = 1.0f, bass.mid = bass.high = 0.0f;
    treble.high = 1.0f, treble.low = treble.mid = 0.0f;
    EXPECT_NEAR(Chain({{0, bass}}).ToneDb(40.0), 37.5, 0.5);
    EXPECT_NEAR(Chain({{0, treble}}).ToneDb(15000.0), 37.5, 0.5);
    EXPECT_LT(Chain({{0, bass}}).ToneDb(15000.0), 0.0);
    EXPECT_LT(Chain({{0, treble}}).ToneDb(40.0), 0.0);

    std::vector<float> input = Noise(2000, 3);
    Chain off({{0, Settings()}});
    std::vector<float> output = off.Run(input, 256, 1);
    for (size_t i = 0; i < input.size(); i++) EXPECT_NEAR(output[i], 5.390625f * input[i], 2e-6f);
    Settings half;  // Digital at half Mix: half the dry 0.8 and half its clip at 0.5
    half.mode = DIGITAL, half.mix = 0.5f;
    for (float v : Chain({{1, half}}).Run(std::vector<float>(64, 0.8f), 256, 1)) EXPECT_FLOAT_EQ(v, 0.65f);
    Settings loud;  // full drive, Mix 0
    loud.low = loud.mid = loud.high = 1.0f, loud.mix = 0.0f, loud.mode = HARD;
    Chain dry({{2, loud}});
    EXPECT_EQ(dry.Run(input, 256, 1), input);
    EXPECT_NE(dry.context.engine->distortionShared.bandSplit.s1[0], 0.0f);  // the split still ran
}

// A second instance at Mix 0 passes its input, yet it moves the split that the
// first instance continues from in the next SubBlock.
TEST(Distortion, two_instances_in_a_chain_run_through_one_band_split) {
    Settings first, second;
    first.low = 1.0f, first.mid = first.high = 0.0f, first.mode = MEDIUM;
    second.mix = 0.0f;
    std::vector<float> input = Noise(1000, 9, 0.5f);
    std::vector<float> alone = Chain({{0, first}}).Run(input, 256, 1);
    std::vector<float> both = Chain({{0, first}, {2, second}}).Run(input, 256, 1);
    EXPECT_EQ(FirstChange(alone, both), 32);
}

}  // namespace
