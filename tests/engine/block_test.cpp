// The engine's frame: slots, the silent state, the floating-point mode around
// each call, and the processor levels, all through the dispatcher and the
// real builds.
#include <gtest/gtest.h>
#include <math.h>
#include <xmmintrin.h>

#include <algorithm>

#include "engine/dispatch.h"
#include "engine/engine.h"
#include "tests/support/engine_rig.h"

namespace {

// The empty chain and Post Gain are measured through the plug-in and the
// modulators; here, a slot holding no valid id runs nothing.
TEST(EngineFrame, destroying_before_the_first_block_does_nothing_and_stray_slots_run_nothing) {
    EngineRig rig;
    EngineDestroy(&rig.context);
    EXPECT_EQ(rig.context.engine, nullptr);
    rig.values[PARAM_DELAY_ENABLE] = 1.0f;
    rig.values[PARAM_EFFECT_SLOT] = ParamEncodeWhole(27);
    rig.values[PARAM_EFFECT_SLOT + 1] = 0.0f;  // -1: empty
    std::vector<float> input = Noise(5000, 1, 0.5f);
    EXPECT_EQ(rig.Run(input, 777), input);
}

TEST(EngineFrame, slots_run_in_their_order_and_a_unit_in_two_slots_runs_twice_on_one_state) {
    EngineRig reverbFirst, compressorFirst;
    reverbFirst.Place(0, UnitReverb), reverbFirst.Place(1, UnitCompressor);
    compressorFirst.Place(0, UnitCompressor), compressorFirst.Place(1, UnitReverb);
    reverbFirst.values[PARAM_COMP_THRESHOLD] = compressorFirst.values[PARAM_COMP_THRESHOLD] = 0.2f;
    std::vector<float> input = Noise(9600, 12, 0.9f);
    EXPECT_NE(reverbFirst.Run(input), compressorFirst.Run(input));

    // The second pass reads the line again after the first has written it,
    // so its echoes fall elsewhere than one pass's.
    EngineRig once, twice;
    once.Place(0, 0), twice.Place(0, 0), twice.Place(5, 0);
    input = Click(48000, 1.0f, 0.0f);
    EXPECT_NE(once.Run(input), twice.Run(input));
    EXPECT_EQ(twice.context.engine->polyDelay[1].lines[0].line.samples, nullptr);
}

TEST(EngineFrame, silence_for_five_seconds_ends_activity_and_one_sample_restores_it) {
    EngineRig rig;
    rig.Run(std::vector<float>(2 * 5 * 48000, 0.0f));
    ASSERT_EQ(rig.meter.audioActive, 1);
    rig.Run(std::vector<float>(2 * 480, 0.0f));  // 5.01 s
    EXPECT_EQ(rig.meter.audioActive, 0);
    std::vector<float> blip(2 * 480, 0.0f);
    blip[300] = 0.001f;
    rig.Run(blip);
    EXPECT_EQ(rig.meter.audioActive, 1);
}

TEST(EngineFrame, every_call_restores_the_hosts_floating_point_mode) {
    EngineRig rig;
    const uint32_t ftz = 0x8000, daz = 0x40;
    uint32_t saved = _mm_getcsr();
    for (uint32_t mode : {0u, ftz | daz}) {
        _mm_setcsr((saved & ~(ftz | daz)) | mode);
        rig.Run(Noise(64, 5));
        EXPECT_EQ(_mm_getcsr() & (ftz | daz), mode);
        EngineEqResponse(&rig.context, 0);
        EXPECT_EQ(_mm_getcsr() & (ftz | daz), mode);
    }
    _mm_setcsr(saved);
}

// Random chains and values give finite output. Gains stay at or below unity
// and distortion keeps a shaper: otherwise delays could feed each other ever
// louder audio, which is arithmetic overflow and not a fault.
TEST(EngineFrame, random_chains_and_values_stay_finite) {
    Random random(11);
    EngineRig rig;
    int ids[UNIT_INSTANCES * UNIT_KINDS];
    for (int i = 0; i < UNIT_INSTANCES * UNIT_KINDS; i++) ids[i] = i;
    for (int round = 0; round < 400; round++) {
        std::shuffle(ids, ids + UNIT_INSTANCES * UNIT_KINDS, random.generator);
        for (int s = 0; s < SLOT_COUNT; s++) rig.Place(s, ids[s]);
        for (int i = 0; i < PARAM_COUNT; i++) {
            int kind = PARAM_INFO[i].kind;
            if (!PARAM_KIND[kind].hostReadOnly && random.Chance(0.3f)) rig.values[i] = random.Value(0.2f);
            if (kind == PARAM_KIND_DECIBELS || (i >= PARAM_DIST_LOW && i < PARAM_DIST_MODE))
                rig.values[i] = fminf(rig.values[i], 0.5f);
        }
        rig.context.samplesPerBeat = 24000.0f * (0.25f + random.Unit());
        for (float s : rig.Run(Noise(2400, round), 700)) ASSERT_TRUE(std::isfinite(s)) << "round " << round;
    }
}

TEST(EngineLevels, selection_takes_the_highest_complete_level) {
    CpuFeatures cpu = {};
    EXPECT_EQ(EngineLevelsFromFeatures(&cpu).level, 1);
    for (bool &has : cpu.has) has = true;
    EXPECT_EQ(EngineLevelsFromFeatures(&cpu).level, 5);
    cpu.has[CPU_AVX512VBMI2] = false;
    EXPECT_EQ(EngineLevelsFromFeatures(&cpu).level, 4);
    cpu.has[CPU_AVX2] = false;
    EXPECT_EQ(EngineLevelsFromFeatures(&cpu).level, 3);
    cpu.has[CPU_AVX2] = true, cpu.has[CPU_AVX] = false;  // the builds above level 3 use AVX too
    EXPECT_EQ(EngineLevelsFromFeatures(&cpu).level, 2);
}

// Levels 1 to 4 differ only in instructions, never in arithmetic: bit for
// bit equal. Level 5 may fuse multiply-adds and only agrees closely.
struct LevelCase {
    const char *name;
    float sampleRate, samplesPerBeat;
    int chunk;
    std::vector<float> input;
    std::function<void(EngineRig &)> setUp;
    std::function<void(float *values, int chunk)> perChunk;
    float fusedTolerance;  // 0: level 5 is not compared
};

TEST(EngineLevels, builds_agree_bit_for_bit_below_fused_multiply_add) {
    EngineDetectProcessor();
    int available = EngineSelectedLevel();  // a build above it would not run here
    auto chain = [](std::vector<int> ids) {
        return [ids](EngineRig &rig) { for (int s = 0; s < SLOT_COUNT; s++) rig.Place(s, ids[s]); };
    };
    const LevelCase cases[] = {
        {"every kind but the reverb, of every instance", 48000, 24000, 500, Noise(24000, 9, 0.5f),
         chain({2, 14, 3, 22, 1, 9, 24, 17}), nullptr, 0},
        // The phaser's reciprocal estimate is the same instruction in every build.
        {"phaser at full steps and rate", 48000, 8000, ENGINE_MAX_FRAMES, Noise(24000, 7),
         [](EngineRig &rig) {
             rig.Place(0, UnitPhaser);
             rig.values[PARAM_PHASER_STEPS] = rig.values[PARAM_PHASER_RATE] = 1.0f;
             rig.values[PARAM_PHASER_GAIN] = 1.0f;
         },
         nullptr, 1e-4f},
        {"reverb through every algorithm", 44100, 19200, ENGINE_MAX_FRAMES, Noise(48000, 29, 0.5f),
         [](EngineRig &rig) { rig.Place(0, UnitReverb), rig.values[PARAM_REVERB_MIX] = 1.0f; },
         [](float *values, int chunk) { values[PARAM_REVERB_ALGORITHM] = ParamEncodeWhole(chunk % 5); },
         1e-3f},
    };
    for (const LevelCase &c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<float> first;
        for (int level = 1; level <= available; level++) {
            EngineRig rig(c.sampleRate, c.samplesPerBeat);
            c.setUp(rig);
            std::function<void(int)> perChunk;
            if (c.perChunk) perChunk = [&](int chunk) { c.perChunk(rig.values, chunk); };
            std::vector<float> output = rig.Run(c.input, c.chunk, level, perChunk);
            if (level == 1) {
                first = output;
                EXPECT_NE(first, c.input);
            } else if (level <= 4) {
                EXPECT_EQ(output, first) << "level " << level;
            } else if (c.fusedTolerance > 0) {
                for (size_t i = 0; i < output.size(); i++)
                    ASSERT_NEAR(output[i], first[i], c.fusedTolerance) << i;
            }
        }
    }
}

}  // namespace
