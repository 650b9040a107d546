// The Compressor: its static curve, attack and release, threshold and
// makeup, the sidechain by the dry input through the whole frame, the meters,
// its rings' life, and its output against a plain model.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <random>
#include <vector>

#include "engine/backend.h"
#include "engine/dispatch.h"
#include "engine/dsp.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};
    MeterBlock meter = {};

    explicit Rig(float sampleRate = 48000.0f) {
        context.sampleRate = sampleRate;
        context.meter = &meter;
        meter.metersWanted = meter.audioActive = 1;
        for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
        Set(PARAM_COMP_ENABLE, 1.0f);
    }
    ~Rig() {
        for (CompressorState &state : engine->compressor) CompressorRelease(&state);
        free(engine);
    }
    void Set(int row, float value) { context.liveValue[row] = value; }
    CompressorState &State() { return engine->compressor[0]; }
    // Runs the frames in SubBlocks of 32, the detector being the frames themselves.
    std::vector<float> Run(std::vector<float> frames) {
        for (size_t at = 0; at < frames.size() / 2; at += 32) {
            float *block = frames.data() + 2 * at;
            CompressorRun(engine, &context, 0, block, block,
                          (int)std::min<size_t>(32, frames.size() / 2 - at));
        }
        return frames;
    }
};

std::vector<float> Constant(size_t frames, float level) { return std::vector<float>(2 * frames, level); }

std::vector<float> Noise(size_t frames, unsigned seed, float amplitude) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
    std::vector<float> samples(2 * frames);
    for (float &s : samples) s = uniform(random);
    return samples;
}

}  // namespace

TEST(Compressor, below_threshold_the_reduction_relaxes_at_the_release_rate) {
    Rig rig;
    rig.Set(PARAM_COMP_ATTACK, 0.0f);  // the attack plays no part below the threshold
    rig.Run(Constant(32, 0.0f));
    rig.State().reductionDb = -12.0f;
    // Release 0.4 is 0.642857 s: 30,857 frames cover 99 % of the way, half of them 90 %.
    rig.Run(Constant(15424, 0.0f));
    EXPECT_NEAR(rig.State().reductionDb, -1.2f, 0.005f);
    rig.Run(Constant(15433, 0.0f));
    EXPECT_NEAR(rig.State().reductionDb, -0.12f, 0.0005f);
}

TEST(Compressor, above_threshold_settles_at_the_slope_times_the_overshoot) {
    Rig rig;
    rig.Set(PARAM_COMP_MAKEUP, 0.5f);
    // Energy 0.25 is -6.02 dB, 5.98 dB over the default threshold of -12 dB.
    std::vector<float> out = rig.Run(Constant(48000, 0.5f));
    float expected = 0.475f * (-12.0f - 10.0f * log10f(0.25f + 0.0001f));
    EXPECT_NEAR(rig.State().reductionDb, expected, 1e-3f);
    EXPECT_NEAR(out.back(), 0.5f * powf(10.0f, expected / 20.0f), 1e-4f);
    // Ratio 0 never compresses.
    Rig flat;
    flat.Set(PARAM_COMP_RATIO, 0.0f);
    flat.Run(Constant(4800, 0.5f));
    EXPECT_EQ(flat.State().reductionDb, 0.0f);
}

TEST(Compressor, threshold_spans_the_level_floor_to_full_scale_energy) {
    Rig below, above;
    below.Set(PARAM_COMP_THRESHOLD, 1.0f), above.Set(PARAM_COMP_THRESHOLD, 1.0f);
    below.Run(Constant(4800, 0.99f));
    above.Run(Constant(4800, 1.0f));
    EXPECT_EQ(below.State().reductionDb, 0.0f);
    EXPECT_LT(above.State().reductionDb, 0.0f);
    // At -40 dB the threshold meets the level's floor: silence gets no audible reduction.
    Rig floor;
    floor.Set(PARAM_COMP_THRESHOLD, 0.0f), floor.Set(PARAM_COMP_RATIO, 1.0f);
    floor.Run(Constant(48000, 0.0f));
    EXPECT_GT(floor.State().reductionDb, -1e-4f);
}

TEST(Compressor, makeup_is_unity_at_half_and_two_decibels_by_default) {
    std::vector<float> in = Noise(4800, 1, 0.1f);  // about -23 dB, below the threshold
    Rig unity;
    unity.Set(PARAM_COMP_MAKEUP, 0.5f);
    EXPECT_EQ(unity.Run(in), in);
    Rig standard;
    std::vector<float> out = standard.Run(in);
    for (size_t i = 0; i < in.size(); i++) ASSERT_NEAR(out[i], in[i] * 1.2589254f, 1e-6f) << i;
}

TEST(Compressor, sidechain_by_dry_keeps_compressing_when_an_earlier_unit_mutes_the_chain) {
    // Slot 1: a Trance Gate whose every step is closed to 1 %; slot 2: the Compressor.
    float gain[2], reduction[2], inputDb[2];
    std::vector<float> input = Noise(96000, 3, 0.8f);
    for (int byDry = 0; byDry < 2; byDry++) {
        EngineContext context = {};
        MeterBlock meter = {};
        context.sampleRate = 48000.0f, context.samplesPerBeat = 24000.0f, context.meter = &meter;
        float *v = context.liveValue;
        for (int i = 0; i < PARAM_COUNT; i++) v[i] = PARAM_INFO[i].defaultValue;
        v[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitTranceGate);
        v[PARAM_EFFECT_SLOT + 1] = ParamEncodeWhole(UnitCompressor);
        v[PARAM_GATE_ENABLE] = 1.0f, v[PARAM_GATE_MIX] = 0.99f;
        v[PARAM_GATE_LEFT] = ParamEncodeWhole(0);
        v[PARAM_COMP_ENABLE] = 1.0f, v[PARAM_COMP_MAKEUP] = 0.5f;
        v[PARAM_COMP_SIDECHAIN] = byDry ? 1.0f : 0.0f;
        const EngineBackend *backend = EngineBackendOfLevel(1);
        std::vector<float> wet(input.size());
        for (size_t at = 0; at < input.size(); at += 2 * 1000) {
            context.dryBlock = input.data() + at;
            backend->process(&context, wet.data() + at, 1000);
        }
        double in = 0.0, out = 0.0;
        for (size_t i = input.size() / 2; i < input.size(); i++)
            in += (double)input[i] * input[i], out += (double)wet[i] * wet[i];
        gain[byDry] = (float)sqrt(out / in);
        reduction[byDry] = context.engine->compressor[0].reductionDb;
        inputDb[byDry] = meter.compressorInputDb[0];
        backend->destroy(&context);
    }
    // The muted chain alone lets the gain open fully; the dry input holds it down.
    EXPECT_GT(reduction[0], -0.01f);
    EXPECT_NEAR(gain[0], 0.01f, 1e-4f);
    EXPECT_LT(reduction[1], -1.5f);
    EXPECT_NEAR(gain[1], 0.01f * powf(10.0f, reduction[1] / 20.0f), 1e-4f);
    EXPECT_LT(inputDb[0], -40.0f);
    EXPECT_GT(inputDb[1], -10.0f);
}

TEST(Compressor, meters_read_minus_infinity_until_sound_has_passed) {
    Rig rig;
    rig.Run(Constant(100, 0.0f));
    EXPECT_EQ(rig.meter.compressorInputDb[0], -INFINITY);
    EXPECT_EQ(rig.meter.compressorOutputDb[0], -INFINITY);
    // No output level while the editor is closed or the plug-in silent.
    rig.meter.metersWanted = 0;
    std::vector<float> click = Constant(1, 0.0f);
    click[0] = 1.0f;
    rig.Run(click);
    EXPECT_NEAR(rig.meter.compressorInputDb[0], 10.0f * log10f(1.0f / 1200.0f), 1e-4f);
    EXPECT_EQ(rig.meter.compressorOutputDb[0], -INFINITY);
    rig.meter.metersWanted = 1, rig.meter.audioActive = 0;
    rig.Run(click);
    EXPECT_EQ(rig.meter.compressorOutputDb[0], -INFINITY);
    rig.meter.audioActive = 1;
    rig.Run(click);
    EXPECT_NEAR(rig.meter.compressorOutputDb[0], 10.0f * log10f(1.2589254f * 1.2589254f / 1200.0f), 1e-4f);
}

TEST(Compressor, rings_follow_the_sample_rate_and_release_keeps_the_sums) {
    Rig rig;
    rig.Run(Noise(1000, 4, 0.9f));
    CompressorState &state = rig.State();
    ASSERT_EQ(state.ringLength, 1200u);
    EXPECT_EQ(state.ringIndex, 1000u);
    float inputSum = state.inputSum, outputSum = state.outputSum, reduction = state.reductionDb;
    // A shorter ring, at 32 kHz, starts its index again; the sums stay.
    rig.context.sampleRate = 32000.0f;
    rig.Run(Constant(1, 0.0f));
    EXPECT_EQ(state.ringLength, 800u);
    EXPECT_EQ(state.ringIndex, 1u);
    EXPECT_EQ(state.inputSum, inputSum);
    EXPECT_EQ(state.outputSum, outputSum);
    // A longer one keeps the index.
    rig.context.sampleRate = 96000.0f;
    rig.Run(Constant(1, 0.0f));
    EXPECT_EQ(state.ringLength, 2400u);
    EXPECT_EQ(state.ringIndex, 2u);
    reduction = state.reductionDb;
    // Disabled, the compressor keeps its rings and passes the audio.
    rig.Set(PARAM_COMP_ENABLE, 0.5f);
    std::vector<float> in = Noise(64, 5, 0.9f);
    EXPECT_EQ(rig.Run(in), in);
    EXPECT_NE(state.inputRing, nullptr);
    // The engine's reset releases the rings alone.
    CompressorRelease(&state);
    EXPECT_EQ(state.inputRing, nullptr);
    EXPECT_EQ(state.outputRing, nullptr);
    EXPECT_EQ(state.ringLength, 0u);
    EXPECT_EQ(state.ringIndex, 2u);
    EXPECT_EQ(state.inputSum, inputSum);
    EXPECT_EQ(state.reductionDb, reduction);
}

// ---- against a plain model, written out from the description ----

namespace {

struct Model {
    std::vector<float> inputRing, outputRing;
    uint64_t index = 0;
    float inputSum = 0.0f, outputSum = 0.0f, reductionDb = 0.0f, inputDb = 0.0f, outputDb = 0.0f;

    void Run(const float *v, float sr, bool meters, float *frames, const float *detector, int count) {
        if (!(v[PARAM_COMP_ENABLE] > 0.5f)) return;
        uint64_t n = (uint64_t)(0.025f * sr);
        if (inputRing.size() != n) {
            inputRing.assign(n, 0.0f), outputRing.assign(n, 0.0f);
            if (index >= n) index = 0;
        }
        float makeup = 40.0f * v[PARAM_COMP_MAKEUP] - 20.0f;
        float threshold = (v[PARAM_COMP_THRESHOLD] - 1.0f) * 40.0f;
        float slope = 0.95f * v[PARAM_COMP_RATIO];
        float a = expf(-4.6051702f / (sr * LongTimeCurve(v[PARAM_COMP_ATTACK])));
        float r = expf(-4.6051702f / (sr * LongTimeCurve(v[PARAM_COMP_RELEASE])));
        float invN = 1.0f / (float)n;
        float level = 4.3429446f * logf(invN * inputSum + 0.0001f);
        float target = 0.0f, k = 1.0f - r;
        if (level > threshold) target = slope * (threshold - level), k = 1.0f - a;
        float g = expf((reductionDb + makeup) * 0.05f * 2.3025851f);
        for (int i = 0; i < count; i++) {
            float l = detector[2 * i], rr = detector[2 * i + 1];
            inputSum = fmaxf(inputSum - inputRing[index], 0.0f);
            float e = fmaxf(l * l, rr * rr);
            inputRing[index] = e;
            inputSum += e;
            reductionDb = (target - reductionDb) * k + reductionDb;
            frames[2 * i] *= g, frames[2 * i + 1] *= g;
            if (meters) {
                outputSum = fmaxf(outputSum - outputRing[index], 0.0f);
                float e2 = fmaxf(frames[2 * i] * frames[2 * i], frames[2 * i + 1] * frames[2 * i + 1]);
                outputRing[index] = e2;
                outputSum += e2;
            }
            index = (index + 1) % n;
        }
        inputDb = 4.3429446f * logf(invN * inputSum);
        outputDb = 4.3429446f * logf(invN * outputSum);
    }
};

}  // namespace

// Same float operations in the same order: output, reduction and meters
// equal bit for bit, at settings from one end of each range to the other.
TEST(Compressor, matches_a_plain_model_bit_for_bit_under_random_changes) {
    const int rows[] = {PARAM_COMP_ATTACK, PARAM_COMP_RELEASE, PARAM_COMP_MAKEUP,
                        PARAM_COMP_THRESHOLD, PARAM_COMP_RATIO};
    const float rates[] = {48000.0f, 44100.0f, 8000.0f, 192000.0f};
    for (int instance : {0, 2}) {
        std::mt19937 random(30 + instance);
        std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
        Rig rig;
        float *v = rig.context.liveValue + instance;
        v[PARAM_COMP_ENABLE] = 1.0f;
        Model model;
        float amplitude = 1.0f;
        for (int block = 0; block < 6000; block++) {
            float change = unit(random);
            if (change < 0.2f) v[rows[random() % 5]] = random() % 4 ? unit(random) : (float)(random() % 2);
            else if (change < 0.22f) v[PARAM_COMP_ENABLE] = unit(random) < 0.3f ? 0.0f : 1.0f;
            else if (change < 0.23f) rig.context.sampleRate = rates[random() % 4];
            else if (change < 0.25f) rig.meter.metersWanted = random() % 2;
            else if (change < 0.3f) amplitude = (float)(random() % 4) * unit(random) * 10.0f;
            int count = 1 + (int)(random() % 32);
            float frames[64], expected[64], detector[64];
            for (int i = 0; i < 2 * count; i++) {
                frames[i] = expected[i] = amplitude * sample(random);
                detector[i] = block % 3 ? frames[i] : sample(random);
            }
            CompressorRun(rig.engine, &rig.context, instance, frames, block % 3 ? frames : detector, count);
            model.Run(v, rig.context.sampleRate, rig.meter.metersWanted, expected,
                      block % 3 ? expected : detector, count);
            for (int i = 0; i < 2 * count; i++) {
                ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
                ASSERT_TRUE(isfinite(frames[i]));
            }
            const CompressorState &state = rig.engine->compressor[instance];
            ASSERT_EQ(state.reductionDb, model.reductionDb) << block;
            ASSERT_EQ(state.ringIndex, model.index) << block;
            if (v[PARAM_COMP_ENABLE] > 0.5f) {
                ASSERT_EQ(rig.meter.compressorInputDb[instance], model.inputDb) << block;
                ASSERT_EQ(rig.meter.compressorOutputDb[instance], model.outputDb) << block;
            }
        }
    }
}
