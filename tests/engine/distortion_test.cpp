// The Multiband Distortion: shapers against their formulas, the unit against
// a per-sample model in every build, and the shared band split.
#include <gtest/gtest.h>
#include <string.h>

#include <cmath>

#include "engine/dispatch.h"
#include "engine/engine.h"
#include "tests/support/engine_rig.h"

namespace {

enum { OFF = 0, DIGITAL = 6, FOLDBACK = 7, WRAPBACK = 8, ASYM_2 = 16, TEETH = 18, MODES = 19 };

bool SameBits(float a, float b) { return memcmp(&a, &b, sizeof a) == 0; }

float Vrs(float v, float a, float b, float c, float d, float e, float f) {
    if (v >= 0.001f) return FastPow(FastAtan(a * v), b) * c;
    if (v <= -0.001f) return FastPow(FastAtan(d * v), e) * f;
    return v;
}

// The shaper table, written out plainly with the library's fmodf and floorf.
float ModelShape(int mode, float v) {
    float u;
    switch (mode) {
    case 1: return atanf(v) * 0.318f;
    case 2: return tanhf(v) * 0.5f;
    case 3: return 1.56f * v / (1.0f + 2.9f * fabsf(v));
    case 4: return 0.5f * v * (5.6f + fabsf(v)) / (1.0f + v * v + 4.6f * fabsf(v));
    case 5: u = tanhf(v); return 0.5f * u * u * u;
    case 6: return v < -0.5f ? -0.5f : v > 0.5f ? 0.5f : v;
    case 7: case 8:
        u = fmodf(fabsf(v), 2.0f);
        if (u > 1.0f) u = mode == 7 ? 2.0f - u : u - 2.0f;
        return v < 0.0f ? -(u * 0.5f) : u * 0.5f;
    case 9: return v / (v * v + 1.0f);
    case 10: return FastSin(1.57f * v) * 0.5f;
    case 11: return Vrs(v, 2.65f, 0.84f, 0.28f, -1.5f, 0.9f, -0.544f);
    case 12: return Vrs(v, 5.9f, 0.81f, 0.125f, -0.825f, 0.95f, -1.0f);
    case 13: return Vrs(v, 13.5f, 0.93f, 0.133f, -3.7f, 0.955f, -0.53f);
    case 14: return Vrs(v, 19.0f, 0.707f, 0.18f, -10.0f, 0.69f, -0.365f);
    case 15: return v < 0.0f ? v : 0.5f * v * (5.6f + v) / ((4.6f + v) * v + 1.0f);
    case 16:
        if (v >= 0.0f) return atanf(v) * 0.318f;
        if (v < -50.0f) return -1.0f;
        u = FastExp2(v);
        return (u - 1.0f) / (u + 1.0f);
    case 17:
        if (!(v < 0.0f)) return v / (v * v + 1.0f);
        u = fmodf(-v, 2.0f);
        if (u > 1.0f) u = 2.0f - u;
        return -0.5f * u;
    case 18: return v >= 0.0f ? (v - floorf(v)) * 0.5f : (v + floorf(-v)) * 0.5f;
    default: return v;
    }
}

struct Settings {
    float low = 0.5f, mid = 0.5f, high = 0.5f, mix = 1.0f;
    int mode = OFF;  // -1: a raw 0
};

// One instance's SubBlock through the shared band split, sample by sample.
void SplitModel(float split[4][2], const Settings &p, float sampleRate, float *frames, int count) {
    float kLow = 2.0f * FastSin(1256.6f / sampleRate), kHigh = 2.0f * FastSin(6283.0f / sampleRate);
    auto gain = [](float p) { return p * p * p * p * 74.25f + 0.75f; };
    for (int i = 0; i < count; i++)
        for (int c = 0; c < 2; c++) {
            float x = frames[2 * i + c];
            float l = OnePoleLowPass(kLow, &split[1][c], OnePoleLowPass(kLow, &split[0][c], x));
            float r = x - l;
            float m = OnePoleLowPass(kHigh, &split[3][c], OnePoleLowPass(kHigh, &split[2][c], r));
            float h = r - m;
            float v = l * gain(p.low) + m * gain(p.mid) + h * gain(p.high);
            frames[2 * i + c] = x * (1.0f - p.mix) + ModelShape(p.mode, v) * p.mix;
        }
}

// Distortion instances in the first slots of the whole frame at 48 kHz.
struct Chain : EngineRig {
    Chain(std::initializer_list<std::pair<int, Settings>> instances) {
        int slot = 0;
        for (auto &[instance, p] : instances) {
            Place(slot++, instance * 9 + UnitDistortion);
            float *v = values + instance;
            v[PARAM_DIST_MIX] = p.mix, v[PARAM_DIST_LOW] = p.low, v[PARAM_DIST_MID] = p.mid;
            v[PARAM_DIST_HIGH] = p.high, v[PARAM_DIST_MODE] = p.mode < 0 ? 0.0f : ParamEncodeWhole(p.mode);
        }
    }
};

TEST(Distortion, shapers_follow_their_formulas_bit_for_bit_and_meet_their_landmarks) {
    std::vector<float> inputs = {-0.0f, 0.001f, -0.001f, 0.000999f, -50.0f, -50.0001f, 16777216.0f, -3e38f, 1e-40f};
    for (float v = -120.0f; v < 120.0f; v += 0.0731f) inputs.push_back(v);
    // Where the formula itself overflows into inf / inf, or the sine's phase
    // is lost, the unit holds its drive instead: finite there, exact elsewhere.
    for (int mode = -1; mode <= MODES; mode++)
        for (float v : inputs) {
            float model = ModelShape(mode, v), shaped = DistortionShape(mode, v);
            if (!std::isfinite(model) || (mode == 10 && fabsf(v) > 1e7f))
                ASSERT_TRUE(std::isfinite(shaped)) << "mode " << mode << " at " << v;
            else
                ASSERT_TRUE(SameBits(shaped, model)) << "mode " << mode << " at " << v << ": " << shaped;
        }
    const struct { int mode; float in, out; } landmarks[] = {
        {FOLDBACK, 1.5f, 0.25f}, {WRAPBACK, 1.5f, -0.25f}, {WRAPBACK, -1.5f, 0.25f}, {TEETH, -2.25f, -0.125f},
        {ASYM_2, -60.0f, -1.0f}, {DIGITAL, 0.7f, 0.5f},    {DIGITAL, 0.3f, 0.3f},    {MODES, 7.0f, 7.0f}};
    for (auto l : landmarks) EXPECT_EQ(DistortionShape(l.mode, l.in), l.out) << l.mode << " at " << l.in;
    EXPECT_NEAR(DistortionShape(ASYM_2, -50.0f), -1.0f, 1e-6f);
}

TEST(Distortion, unit_matches_its_model_in_every_mode_and_every_build) {
    EngineDetectProcessor();
    Random random(7);
    std::vector<float> input = Noise(3000, 11, 0.8f);
    for (int mode = -1; mode <= MODES; mode++) {
        Settings p;
        p.low = random.Unit(), p.mid = random.Unit(), p.high = random.Unit();
        p.mix = mode % 3 == 0 ? 1.0f : random.Unit();
        p.mode = mode;
        std::vector<float> expected = input;
        float split[4][2] = {};
        SplitModel(split, p, 48000.0f, expected.data(), 3000);
        for (int level = 1; level <= EngineSelectedLevel(); level++) {  // the builds this processor runs
            Chain chain({{1, p}});
            std::vector<float> output = chain.Run(input, 256, level);
            for (size_t i = 0; i < input.size(); i++) {
                if (level < 5)
                    ASSERT_TRUE(SameBits(output[i], expected[i]))
                        << "mode " << mode << " level " << level << " sample " << i;
                else  // the AVX-512 build fuses multiply-adds
                    ASSERT_NEAR(output[i], expected[i], 1e-4f * (1.0f + fabsf(expected[i])))
                        << "mode " << mode << " sample " << i;
            }
        }
    }
}

TEST(Distortion, off_gains_5_39_and_mix_zero_passes_dry) {
    std::vector<float> input = Noise(2000, 3);
    Chain off({{0, Settings()}});
    std::vector<float> output = off.Run(input, 256, 1);
    for (size_t i = 0; i < input.size(); i++) EXPECT_NEAR(output[i], 5.390625f * input[i], 2e-6f);

    Settings loud;  // full drive, Mix 0
    loud.low = loud.mid = loud.high = 1.0f, loud.mix = 0.0f, loud.mode = 4;
    Chain dry({{2, loud}});
    EXPECT_EQ(dry.Run(input, 256, 1), input);
    EXPECT_NE(dry.context.engine->distortionShared.bandSplit.s1[0], 0.0f);  // the split still ran
}

TEST(Distortion, two_instances_in_a_chain_run_through_one_band_split) {
    Settings first, second;
    first.mode = 11, first.low = 0.9f, first.mix = 0.7f;
    second.mode = 3, second.high = 0.8f;
    std::vector<float> input = Noise(1000, 9, 0.5f);
    Chain chain({{0, first}, {2, second}});
    std::vector<float> output = chain.Run(input, 256, 1);
    // Per SubBlock the second instance continues from where the first ended.
    std::vector<float> expected = input;
    float split[4][2] = {};
    for (int at = 0; at < 1000; at += 32) {
        int count = std::min(32, 1000 - at);
        SplitModel(split, first, 48000.0f, &expected[2 * at], count);
        SplitModel(split, second, 48000.0f, &expected[2 * at], count);
    }
    for (size_t i = 0; i < input.size(); i++) ASSERT_TRUE(SameBits(output[i], expected[i])) << i;
}

}  // namespace
