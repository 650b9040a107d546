// The engine's frame: slots, Post Gain, the silent state, reset, the
// floating-point mode around each call, and the processor levels, all through
// the dispatcher and the real builds.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <xmmintrin.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "engine/backend.h"
#include "engine/dispatch.h"
#include "engine/engine.h"
#include "engine/state.h"
#include "shell/params.h"

namespace {

float SlotValue(int id) { return ParamEncodeWhole(id); }

// An EngineContext as an instance has it after init, at 48 kHz.
struct Frame {
    EngineContext context = {};
    MeterBlock meter = {};
    std::vector<float> dry, wet;

    Frame() {
        context.sampleRate = 48000.0f;
        context.samplesPerBeat = 24000.0f;
        context.meter = &meter;
        for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
    }
    ~Frame() { EngineDestroy(&context); }

    // Runs interleaved input through one build (0: the dispatcher) in chunks.
    std::vector<float> Run(const std::vector<float> &input, int chunk = 2048, int level = 0) {
        std::vector<float> output(input.size());
        for (size_t at = 0; at < input.size() / 2; at += chunk) {
            int frames = (int)std::min<size_t>(chunk, input.size() / 2 - at);
            dry.assign(input.begin() + 2 * at, input.begin() + 2 * (at + frames));
            wet.assign(dry.size(), NAN);
            context.dryBlock = dry.data();
            if (level)
                EngineBackendOfLevel(level)->process(&context, wet.data(), frames);
            else
                EngineProcess(&context, wet.data(), frames);
            EXPECT_EQ(context.dryBlock, dry.data());
            std::copy(wet.begin(), wet.end(), output.begin() + 2 * at);
        }
        return output;
    }
    void EnableDelay(int slot, int instance) {
        context.liveValue[PARAM_EFFECT_SLOT + slot] = SlotValue(instance * 9 + UnitPolyrhythmicDelay);
        context.liveValue[PARAM_DELAY_ENABLE + instance] = 1.0f;
    }
};

std::vector<float> Noise(size_t frames, unsigned seed, float amplitude = 0.5f) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
    std::vector<float> samples(2 * frames);
    for (float &s : samples) s = uniform(random);
    return samples;
}

std::vector<float> Impulse(size_t frames) {
    std::vector<float> samples(2 * frames, 0.0f);
    samples[0] = 1.0f;
    return samples;
}

TEST(EngineFrame, empty_chain_at_unity_gain_returns_its_input) {
    Frame frame;
    std::vector<float> input = Noise(5000, 1);
    EXPECT_EQ(frame.Run(input, 777), input);
}

TEST(EngineFrame, post_gain_spans_minus_to_plus_twenty_decibels) {
    Frame frame;
    std::vector<float> input(64, 0.5f);
    frame.context.liveValue[PARAM_POST_GAIN] = 1.0f;
    EXPECT_NEAR(frame.Run(input)[3], 5.0f, 1e-5f);
    frame.context.liveValue[PARAM_POST_GAIN] = 0.0f;
    EXPECT_NEAR(frame.Run(input)[3], 0.05f, 1e-7f);
}

TEST(EngineFrame, slot_ids_outside_the_units_run_nothing) {
    Frame frame;
    frame.context.liveValue[PARAM_DELAY_ENABLE] = 1.0f;
    frame.context.liveValue[PARAM_EFFECT_SLOT] = SlotValue(27);
    frame.context.liveValue[PARAM_EFFECT_SLOT + 1] = SlotValue(1000);
    frame.context.liveValue[PARAM_EFFECT_SLOT + 2] = 0.0f;  // -1: empty
    std::vector<float> input = Noise(4096, 2);
    EXPECT_EQ(frame.Run(input), input);
}

TEST(EngineFrame, a_unit_in_two_slots_runs_twice_on_one_state) {
    Frame once, twice;
    once.EnableDelay(0, 0);
    twice.EnableDelay(0, 0);
    twice.EnableDelay(5, 0);
    std::vector<float> input = Impulse(48000);
    std::vector<float> a = once.Run(input), b = twice.Run(input);
    // One echo per beat from one pass; the second pass reads the line again
    // after the first has written it, so its echoes fall elsewhere.
    EXPECT_NE(a, b);
    EXPECT_NE(twice.context.engine->polyDelay[0].lines[0].line.samples, nullptr);
    EXPECT_EQ(twice.context.engine->polyDelay[1].lines[0].line.samples, nullptr);
}

TEST(EngineFrame, reset_empties_the_delay_lines_and_keeps_the_engine) {
    Frame frame;
    frame.EnableDelay(0, 0);
    frame.Run(Noise(4800, 3));
    Engine *engine = frame.context.engine;
    ASSERT_NE(engine->polyDelay[0].lines[0].line.samples, nullptr);
    frame.context.engineReset = 1;
    frame.context.liveValue[PARAM_EFFECT_SLOT] = 0.0f;  // nothing remakes the lines
    frame.Run(Noise(32, 4));
    EXPECT_EQ(frame.context.engineReset, 0);
    EXPECT_EQ(frame.context.engine, engine);
    EXPECT_EQ(engine->polyDelay[0].lines[0].line.samples, nullptr);
    EXPECT_EQ(engine->polyDelay[0].lines[0].line.length, 0);
    // Back in the chain, the delay starts empty: silence in, silence out.
    frame.EnableDelay(0, 0);
    std::vector<float> silence(2 * 48000, 0.0f);
    EXPECT_EQ(frame.Run(silence), silence);
}

TEST(EngineFrame, silence_for_five_seconds_ends_activity_and_one_sample_restores_it) {
    Frame frame;
    std::vector<float> silence(2 * 48000, 0.0f);
    for (int second = 0; second < 5; second++) {
        frame.Run(silence);
        ASSERT_EQ(frame.meter.audioActive, 1) << second;
    }
    frame.Run(std::vector<float>(2 * 480, 0.0f));  // 5.01 s
    EXPECT_EQ(frame.meter.audioActive, 0);
    std::vector<float> blip(2 * 480, 0.0f);
    blip[300] = 0.001f;
    frame.Run(blip);
    EXPECT_EQ(frame.meter.audioActive, 1);
    std::vector<float> quiet(2 * 480, 0.0001f);  // at the threshold is still silence
    frame.Run(quiet);
    EXPECT_EQ(frame.context.engine->silentFrames, 480.0);
    std::vector<float> broken(2 * 480, 0.0f);
    broken[5] = NAN;  // not a number counts as sound
    frame.context.liveValue[PARAM_POST_GAIN] = 0.5f;
    frame.Run(broken);
    EXPECT_EQ(frame.context.engine->silentFrames, 0.0);
}

TEST(EngineFrame, every_call_restores_the_hosts_floating_point_mode) {
    Frame frame;
    const uint32_t ftz = 0x8000, daz = 0x40;
    uint32_t saved = _mm_getcsr();
    for (uint32_t mode : {0u, ftz, daz, ftz | daz}) {
        _mm_setcsr((saved & ~(ftz | daz)) | mode);
        frame.Run(Noise(64, 5));
        EXPECT_EQ(_mm_getcsr() & (ftz | daz), mode);
        EngineEqResponse(&frame.context, 0);
        EXPECT_EQ(_mm_getcsr() & (ftz | daz), mode);
    }
    _mm_setcsr(saved);
}

TEST(EngineFrame, destroy_before_the_first_block_does_nothing) {
    Frame frame;
    EngineDestroy(&frame.context);
    EXPECT_EQ(frame.context.engine, nullptr);
}

TEST(EngineLevels, selection_takes_the_highest_complete_level) {
    CpuFeatures cpu = {};
    EngineLevels levels = EngineLevelsFromFeatures(&cpu);
    EXPECT_EQ(levels.level, 1);
    cpu.sse42 = cpu.avx = true;
    levels = EngineLevelsFromFeatures(&cpu);
    EXPECT_EQ(levels.level, 3);
    EXPECT_EQ(std::vector<int>(levels.flag, levels.flag + 5), (std::vector<int>{1, 1, 1, 0, 0}));
    cpu.avx2 = true;
    cpu.avx512f = cpu.avx512dq = cpu.avx512ifma = cpu.avx512cd = cpu.avx512bw = true;
    cpu.avx512vl = cpu.avx512vbmi = cpu.avx512vnni = cpu.avx512bitalg = true;
    cpu.avx512vpopcntdq = true;  // everything but VBMI2
    EXPECT_EQ(EngineLevelsFromFeatures(&cpu).level, 4);
    cpu.avx512vbmi2 = true;
    EXPECT_EQ(EngineLevelsFromFeatures(&cpu).level, 5);
}

// Every unit kind in a slot with Enable on, instances spread over the slots.
const int ENABLE_ROW[UNIT_KINDS] = {PARAM_DELAY_ENABLE, PARAM_PINGPONG_ENABLE, PARAM_DIST_ENABLE,
                                    PARAM_CHORUS_ENABLE, PARAM_PHASER_ENABLE, PARAM_EQ_ENABLE,
                                    PARAM_GATE_ENABLE, PARAM_REVERB_ENABLE, PARAM_COMP_ENABLE};

void FillChain(Frame &frame, const int ids[SLOT_COUNT]) {
    for (int s = 0; s < SLOT_COUNT; s++) {
        frame.context.liveValue[PARAM_EFFECT_SLOT + s] = SlotValue(ids[s]);
        frame.context.liveValue[ENABLE_ROW[ids[s] % UNIT_KINDS] + ids[s] / UNIT_KINDS] = 1.0f;
    }
}

TEST(EngineLevels, every_unit_agrees_across_builds_below_fused_multiply_add) {
    EngineDetectProcessor();
    int available = EngineSelectedLevel();
    std::vector<float> input = Noise(24000, 9);
    const int chains[2][SLOT_COUNT] = {{2, 5, 3, 4, 1, 0, 7, 8}, {15, 24, 6, 26, 12, 20, 10, 17}};
    for (const int *chain : chains) {
        std::vector<float> first;
        for (int level = 1; level <= available && level <= 4; level++) {
            Frame frame;
            FillChain(frame, chain);
            std::vector<float> output = frame.Run(input, 500, level);
            if (level == 1) first = output;
            else EXPECT_EQ(output, first) << "level " << level;
        }
    }
}

TEST(EngineFrame, slot_order_changes_the_sound) {
    Frame reverbFirst, compressorFirst;
    const int a[SLOT_COUNT] = {UnitReverb, UnitCompressor, -1, -1, -1, -1, -1, -1};
    const int b[SLOT_COUNT] = {UnitCompressor, UnitReverb, -1, -1, -1, -1, -1, -1};
    for (int s = 0; s < 2; s++) {
        reverbFirst.context.liveValue[PARAM_EFFECT_SLOT + s] = SlotValue(a[s]);
        compressorFirst.context.liveValue[PARAM_EFFECT_SLOT + s] = SlotValue(b[s]);
    }
    for (Frame *frame : {&reverbFirst, &compressorFirst}) {
        frame->context.liveValue[PARAM_REVERB_ENABLE] = 1.0f;
        frame->context.liveValue[PARAM_COMP_ENABLE] = 1.0f;
        frame->context.liveValue[PARAM_COMP_THRESHOLD] = 0.2f;
    }
    std::vector<float> input = Noise(9600, 12, 0.9f);
    EXPECT_NE(reverbFirst.Run(input), compressorFirst.Run(input));
}

// All nine kinds, three instances each, in random orders, with every value
// the host may change moving at random: finite input never gives a NaN or
// infinity at the output. Gains stay at or below unity and the distortion
// shapes (the linear "Off" is no menu choice): otherwise delays that swap
// places between rounds could feed each other ever louder audio, which is
// arithmetic overflow and not a fault.
TEST(EngineFrame, random_chains_and_values_stay_finite) {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    Frame frame;
    int ids[UNIT_INSTANCES * UNIT_KINDS];
    for (int i = 0; i < UNIT_INSTANCES * UNIT_KINDS; i++) ids[i] = i;
    for (int round = 0; round < 400; round++) {
        std::shuffle(ids, ids + UNIT_INSTANCES * UNIT_KINDS, random);
        FillChain(frame, ids);
        for (int i = 0; i < PARAM_COUNT; i++) {
            int kind = PARAM_INFO[i].kind;
            if (!PARAM_KIND[kind].hostReadOnly && unit(random) < 0.3f)
                frame.context.liveValue[i] = unit(random) < 0.2f ? (unit(random) < 0.5f ? 0.0f : 1.0f)
                                                                 : unit(random);
            bool boost = kind == PARAM_KIND_DECIBELS || (i >= PARAM_DIST_LOW && i < PARAM_DIST_MODE);
            if (boost) frame.context.liveValue[i] = fminf(frame.context.liveValue[i], 0.5f);
        }
        frame.context.liveValue[PARAM_REVERB_ALGORITHM + round % 3] = ParamEncodeWhole(round % 6);
        frame.context.liveValue[PARAM_DIST_MODE + round % 3] = ParamEncodeWhole(1 + round % 18);
        frame.context.samplesPerBeat = 24000.0f * (0.25f + unit(random));
        std::vector<float> output = frame.Run(Noise(2400, round, 1.0f), 700);
        for (size_t i = 0; i < output.size(); i++)
            ASSERT_TRUE(std::isfinite(output[i])) << "round " << round << " sample " << i;
    }
}

// Levels 1 to 4 differ only in the instructions the compiler may use, never
// in the arithmetic, so their output must agree bit for bit; level 5 may fuse
// multiply-adds and only has to agree closely.
TEST(EngineLevels, builds_agree_bit_for_bit_below_fused_multiply_add) {
    std::vector<float> input = Noise(48000, 6);
    for (int i = 0; i < 4800; i++) input[2 * i] += (i % 1200 == 0) ? 1.0f : 0.0f;
    EngineDetectProcessor();
    int available = EngineSelectedLevel();  // a build above it would not run here
    std::vector<std::vector<float>> outputs;
    for (int level = 1; level <= available; level++) {
        Frame frame;
        frame.EnableDelay(0, 0);
        frame.EnableDelay(1, 2);
        frame.context.liveValue[PARAM_DELAY_TIME + 2] = 0.9f;
        frame.context.liveValue[PARAM_POST_GAIN] = 0.55f;
        outputs.push_back(frame.Run(input, 300, level));
        EXPECT_NE(outputs.back(), input);
    }
    for (int level = 2; level <= available && level <= 4; level++)
        EXPECT_EQ(outputs[level - 1], outputs[0]) << level;
    if (available < 5) return;
    for (size_t i = 0; i < input.size(); i++)
        ASSERT_NEAR(outputs[4][i], outputs[0][i], 1e-4f) << i;
}

}  // namespace
