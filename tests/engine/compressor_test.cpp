// The Compressor: its static curve, release, threshold and makeup, the
// sidechain by the dry input through the whole frame, the meters, and its
// rings' life.
#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"

namespace {

// The compressor as the block loop calls it without Sidechain by Dry.
void RunOnItself(Engine *engine, const EngineContext *context, int instance, float *frames, int count) {
    CompressorRun(engine, (EngineContext *)context, instance, frames, frames, count);
}

struct CompressorRig : UnitRig {
    CompressorRig() : UnitRig(RunOnItself, PARAM_COMP_ENABLE) {}
    CompressorState &State() { return engine->compressor[0]; }
};

std::vector<float> Constant(size_t frames, float level) { return std::vector<float>(2 * frames, level); }

TEST(Compressor, release_rate_slope_threshold_and_makeup_follow_their_ranges) {
    {
        // Below the threshold the reduction relaxes at the release rate (the
        // attack plays no part): Release 0.4 is 0.642857 s, in which 30,857
        // frames cover 99 % of the way and half of them 90 %.
        CompressorRig rig;
        rig.Set(PARAM_COMP_ATTACK, 0.0f);
        rig.Through(Constant(32, 0.0f));
        rig.State().reductionDb = -12.0f;
        rig.Through(Constant(15424, 0.0f));
        EXPECT_NEAR(rig.State().reductionDb, -1.2f, 0.005f);
        rig.Through(Constant(15433, 0.0f));
        EXPECT_NEAR(rig.State().reductionDb, -0.12f, 0.0005f);
    }
    {
        // Above it the reduction settles at the slope times the overshoot:
        // energy 0.25 is -6.02 dB, 5.98 dB over the default threshold of -12 dB,
        // and the default Ratio's slope of 0.475 takes off 2.84 dB of it.
        CompressorRig rig;
        rig.Set(PARAM_COMP_MAKEUP, 0.5f);
        std::vector<float> out = rig.Through(Constant(48000, 0.5f));
        EXPECT_NEAR(rig.State().reductionDb, -2.84f, 2e-3f);
        EXPECT_NEAR(20.0f * log10f(out.back() / 0.5f), -2.84f, 2e-3f);
    }
    CompressorRig flat, below, above;
    flat.Set(PARAM_COMP_RATIO, 0.0f);  // ratio 0 never compresses
    flat.Through(Constant(4800, 0.5f));
    EXPECT_EQ(flat.State().reductionDb, 0.0f);
    // The threshold spans the level's floor to full-scale energy.
    below.Set(PARAM_COMP_THRESHOLD, 1.0f), above.Set(PARAM_COMP_THRESHOLD, 1.0f);
    below.Through(Constant(4800, 0.99f));
    above.Through(Constant(4800, 1.0f));
    EXPECT_EQ(below.State().reductionDb, 0.0f);
    EXPECT_LT(above.State().reductionDb, 0.0f);

    // Makeup is unity at half (about -23 dB of noise stays below the threshold);
    // its default 2 dB shows on the output meter below.
    std::vector<float> in = Noise(4800, 1, 0.1f);
    CompressorRig unity;
    unity.Set(PARAM_COMP_MAKEUP, 0.5f);
    EXPECT_EQ(unity.Through(in), in);
}

TEST(Compressor, sidechain_by_dry_keeps_compressing_when_an_earlier_unit_mutes_the_chain) {
    // Slot 1: a Trance Gate whose every step is closed to 1 %; slot 2: the Compressor.
    float gain[2], reduction[2];
    std::vector<float> input = Noise(96000, 3, 0.8f);
    for (int byDry = 0; byDry < 2; byDry++) {
        EngineRig rig;
        rig.Place(0, UnitTranceGate), rig.Place(1, UnitCompressor);
        rig.values[PARAM_GATE_MIX] = 0.99f, rig.values[PARAM_GATE_LEFT] = ParamEncodeWhole(0);
        rig.values[PARAM_COMP_MAKEUP] = 0.5f, rig.values[PARAM_COMP_SIDECHAIN] = byDry ? 1.0f : 0.0f;
        std::vector<float> wet = rig.Run(input, 1000, 1);
        gain[byDry] = (float)sqrt(Energy(wet, -1, 48000, 96000) / Energy(input, -1, 48000, 96000));
        reduction[byDry] = rig.context.engine->compressor[0].reductionDb;
    }
    // The muted chain alone lets the gain open fully; the dry input holds it down.
    EXPECT_GT(reduction[0], -0.01f);
    EXPECT_NEAR(gain[0], 0.01f, 1e-4f);
    EXPECT_LT(reduction[1], -1.5f);
    EXPECT_NEAR(gain[1], 0.01f * powf(10.0f, reduction[1] / 20.0f), 1e-4f);
}

TEST(Compressor, meters_wait_for_sound_and_rings_follow_the_rate_and_outlive_release_with_their_sums) {
    CompressorRig rig;
    rig.Through(Constant(100, 0.0f));
    EXPECT_EQ(rig.meter.compressorInputDb[0], -INFINITY);
    EXPECT_EQ(rig.meter.compressorOutputDb[0], -INFINITY);
    // No output level while the editor is closed.
    rig.meter.metersWanted = 0;
    std::vector<float> click = Click(1, 1.0f, 0.0f);
    rig.Through(click);
    EXPECT_NEAR(rig.meter.compressorInputDb[0], 10.0f * log10f(1.0f / 1200.0f), 1e-4f);
    EXPECT_EQ(rig.meter.compressorOutputDb[0], -INFINITY);
    rig.meter.metersWanted = 1;
    rig.Through(click);
    EXPECT_NEAR(rig.meter.compressorOutputDb[0], 10.0f * log10f(1.0f / 1200.0f) + 2.0f, 1e-4f);  // the makeup

    CompressorRig rings;
    rings.Through(Noise(1000, 4, 0.9f));
    CompressorState &state = rings.State();
    float inputSum = state.inputSum;
    rings.context.sampleRate = 32000.0f;  // a shorter ring starts its index again; the sums stay
    rings.Through(Constant(1, 0.0f));
    EXPECT_EQ(state.ringLength, 800u);
    EXPECT_EQ(state.ringIndex, 1u);
    EXPECT_EQ(state.inputSum, inputSum);
    rings.Set(PARAM_COMP_ENABLE, 0.5f);  // disabled, it passes the audio and keeps its rings
    std::vector<float> in = Noise(64, 5, 0.9f);
    EXPECT_EQ(rings.Through(in), in);
    EXPECT_NE(state.inputRing, nullptr);
    float reduction = state.reductionDb;  // the engine's reset releases the rings alone
    CompressorRelease(&state);
    EXPECT_EQ(state.inputRing, nullptr);
    EXPECT_EQ(state.reductionDb, reduction);
}

}  // namespace
