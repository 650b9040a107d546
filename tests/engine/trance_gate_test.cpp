// The Trance Gate: its levels and patterns, the speed table, the contour
// ramp, the step that rounding can reach at the end of the pattern, a tempo
// that gives no pattern, and its output against a plain model.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <random>
#include <vector>

#include "engine/dsp.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};

    explicit Rig(float samplesPerBeat) {
        context.sampleRate = 48000.0f;
        context.samplesPerBeat = samplesPerBeat;
        for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
        Set(PARAM_GATE_ENABLE, 1.0f);
        Set(PARAM_GATE_CONTOUR, 0.0f);
    }
    ~Rig() { free(engine); }
    void Set(int row, float value) { context.liveValue[row] = value; }
    void Pattern(int row, int bits) { Set(row, ParamEncodeWhole(bits)); }

    // Runs the frames from `position` on, advancing the position per
    // SubBlock as the block loop does.
    std::vector<float> Run(std::vector<float> frames, double position = 0.0) {
        engine->unitPosition = position;
        for (size_t at = 0; at < frames.size() / 2; at += 32) {
            int count = (int)std::min<size_t>(32, frames.size() / 2 - at);
            TranceGateRun(engine, &context, 0, frames.data() + 2 * at, count);
            engine->unitPosition += count;
        }
        return frames;
    }
};

std::vector<float> Ones(size_t frames) { return std::vector<float>(2 * frames, 1.0f); }

std::vector<float> Noise(size_t frames, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    std::vector<float> samples(2 * frames);
    for (float &s : samples) s = uniform(random);
    return samples;
}

}  // namespace

TEST(TranceGate, mix_zero_passes_and_full_or_empty_patterns_pass_or_silence) {
    std::vector<float> in = Noise(3000, 1);
    Rig rig(1000.0f);
    rig.Set(PARAM_GATE_CONTOUR, 0.3f);
    rig.Set(PARAM_GATE_MIX, 0.0f);
    EXPECT_EQ(rig.Run(in, 77.5), in);
    rig.Set(PARAM_GATE_MIX, 1.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0xFFFF);
    EXPECT_EQ(rig.Run(in, 77.5), in);
    // A raw 0 decodes to -1, whose bits open every step.
    rig.Set(PARAM_GATE_LEFT, 0.0f);
    EXPECT_EQ(rig.Run(in, 77.5), in);
    rig.Pattern(PARAM_GATE_LEFT, 0);
    for (float v : rig.Run(in, 77.5)) ASSERT_EQ(v, 0.0f);
    // Between, a closed step keeps 1 - Mix.
    rig.Set(PARAM_GATE_MIX, 0.75f);
    for (float v : rig.Run(Ones(100))) ASSERT_EQ(v, 0.25f);
}

TEST(TranceGate, right_follows_left_until_stereo_reaches_half) {
    Rig rig(1000.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0xFFFF);
    rig.Pattern(PARAM_GATE_RIGHT, 0);
    rig.Set(PARAM_GATE_STEREO, 0.49f);
    EXPECT_EQ(rig.Run(Ones(500)), Ones(500));
    rig.Set(PARAM_GATE_STEREO, 0.5f);
    std::vector<float> out = rig.Run(Ones(500));
    for (size_t i = 0; i < out.size(); i += 2) {
        ASSERT_EQ(out[i], 1.0f) << i;
        ASSERT_EQ(out[i + 1], 0.0f) << i;
    }
}

TEST(TranceGate, speed_sets_the_length_of_a_step) {
    // index: steps per beat, from 1 (one beat) to 16; unknown indices and
    // the -1 of a raw 0 take 16.
    const struct { float value; int stepFrames; } speeds[] = {
        {ParamEncodeWhole(0), 1600}, {ParamEncodeWhole(1), 800}, {ParamEncodeWhole(2), 400},
        {ParamEncodeWhole(3), 200},  {ParamEncodeWhole(4), 100}, {ParamEncodeWhole(9), 100},
        {0.0f, 100}};
    for (auto speed : speeds) {
        Rig rig(1600.0f);
        rig.Pattern(PARAM_GATE_LEFT, 0x5555);
        rig.Set(PARAM_GATE_SPEED, speed.value);
        std::vector<float> out = rig.Run(Ones(3300));
        for (int i = 0; i < 3300; i++)
            ASSERT_EQ(out[2 * i], (i / speed.stepFrames) % 2 ? 0.0f : 1.0f) << speed.value << " " << i;
    }
}

TEST(TranceGate, default_pattern_opens_its_ten_steps) {
    Rig rig(1600.0f);  // 1/32: steps of 200 frames
    std::vector<float> out = rig.Run(Ones(3200));
    std::vector<int> open;
    for (int step = 0; step < 16; step++)
        if (out[2 * (200 * step + 100)] == 1.0f) open.push_back(step);
    EXPECT_EQ(open, (std::vector<int>{0, 2, 4, 5, 6, 8, 10, 12, 13, 14}));
}

TEST(TranceGate, contour_one_crossfades_linearly_between_neighbouring_steps) {
    Rig rig(1600.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0x5555);
    rig.Set(PARAM_GATE_SPEED, ParamEncodeWhole(4));  // steps of 100 frames
    rig.Set(PARAM_GATE_CONTOUR, 1.0f);
    std::vector<float> out = rig.Run(Ones(1600));
    for (int i = 0; i < 1600; i++) {
        float phase = (i % 100) / 100.0f;
        float expected = (i / 100) % 2 ? 1.0f - phase : phase;
        ASSERT_NEAR(out[2 * i], expected, 1e-6f) << i;
    }
    // A contour of a tenth ramps over the first ten frames of a step only.
    rig.Set(PARAM_GATE_CONTOUR, 0.1f);
    out = rig.Run(Ones(200), 100.0);
    EXPECT_NEAR(out[2 * 5], 0.5f, 1e-6f);
    EXPECT_EQ(out[2 * 10], 0.0f);
}

TEST(TranceGate, a_position_that_rounds_to_step_sixteen_plays_step_zero) {
    // Find x below the period with x (16 / period) rounding to exactly 16.
    double position = -1.0;
    float samplesPerBeat = 1000.0f;
    for (; position < 0.0 && samplesPerBeat < 1100.0f; samplesPerBeat += 0.37f) {
        double period = 2.0 * samplesPerBeat;
        double x = period;
        for (int k = 0; k < 4 && position < 0.0; k++) {
            x = nextafter(x, 0.0);
            if (x * (16.0 / period) == 16.0) position = x;
        }
    }
    ASSERT_GT(position, 0.0);
    samplesPerBeat -= 0.37f;
    Rig rig(samplesPerBeat);
    rig.Set(PARAM_GATE_MIX, 1.0f);
    // Without a ramp step 0 plays; with one, its phase of 0 holds step 15's level.
    rig.Pattern(PARAM_GATE_LEFT, 0x0001);
    EXPECT_EQ(rig.Run(Ones(1), position)[0], 1.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0x8000);
    EXPECT_EQ(rig.Run(Ones(1), position)[0], 0.0f);
    rig.Set(PARAM_GATE_CONTOUR, 0.5f);
    EXPECT_EQ(rig.Run(Ones(1), position)[0], 1.0f);
    rig.Pattern(PARAM_GATE_LEFT, 0x0001);
    EXPECT_EQ(rig.Run(Ones(1), position)[0], 0.0f);
}

TEST(TranceGate, a_tempo_without_a_positive_finite_period_passes_the_audio) {
    std::vector<float> in = Noise(200, 2);
    for (float samplesPerBeat : {0.0f, -0.0f, -1000.0f, NAN, INFINITY, -INFINITY}) {
        Rig rig(samplesPerBeat);
        rig.Pattern(PARAM_GATE_LEFT, 0);
        EXPECT_EQ(rig.Run(in, 5.0), in) << samplesPerBeat;
    }
}

// ---- against a plain model: each frame's place from fmod, as described ----

namespace {

float ModelLevel(int pattern, int step, float closed) {
    uint32_t doubled = (uint32_t)pattern | ((uint32_t)pattern << 16);
    return (doubled >> (step % 32)) & 1 ? 1.0f : closed;
}

void ModelRun(const float *v, float samplesPerBeat, double position, float *frames, int count) {
    if (!(v[PARAM_GATE_ENABLE] > 0.5f)) return;
    const double beats[] = {16.0, 8.0, 4.0, 2.0, 1.0};
    int speed = ParamDecodeWhole(v[PARAM_GATE_SPEED]);
    double period = (double)samplesPerBeat * (speed >= 0 && speed < 5 ? beats[speed] : 1.0);
    if (!(period > 0.0 && isfinite(period))) return;
    int left = ParamDecodeWhole(v[PARAM_GATE_LEFT]);
    int right = v[PARAM_GATE_STEREO] >= 0.5f ? ParamDecodeWhole(v[PARAM_GATE_RIGHT]) : left;
    float m = fminf(fmaxf(v[PARAM_GATE_MIX], 0.0f), 1.0f);
    float ct = fminf(fmaxf(v[PARAM_GATE_CONTOUR], 0.0f), 1.0f);
    for (int i = 0; i < count; i++) {
        double x = fmod(position + i, period);
        if (x < 0.0) x += period;  // before the song's start, counted from the pattern's end
        double s = x * (16.0 / period);
        int step = (int)trunc(s);
        float phase = (float)fmod(s, 1.0);
        float curL = ModelLevel(left, step, 1.0f - m), prevL = ModelLevel(left, step + 15, 1.0f - m);
        float curR = ModelLevel(right, step, 1.0f - m), prevR = ModelLevel(right, step + 15, 1.0f - m);
        if (ct > phase) {
            float t = phase / ct;
            frames[2 * i] *= prevL + (curL - prevL) * t;
            frames[2 * i + 1] *= prevR + (curR - prevR) * t;
        } else {
            frames[2 * i] *= curL;
            frames[2 * i + 1] *= curR;
        }
    }
}

}  // namespace

// Same float and double operations: equal bit for bit, at positions from a
// count-in to hours into a song, whole and fractional.
TEST(TranceGate, matches_a_plain_model_bit_for_bit_at_any_position) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
    const float tempi[] = {24000.0f, 22050.0f, 1234.567f, 17.25f, 3.0f};
    const double positions[] = {0.0, 12345.0, -20000.5, 1e9 + 0.37, 3.7e11, 4503599627370000.0,
                                9007199254740990.0, 0.0123};
    Rig rig(24000.0f);
    for (int block = 0; block < 3000; block++) {
        float *v = rig.context.liveValue;
        if (block % 25 == 0) {
            v[PARAM_GATE_MIX] = random() % 4 ? unit(random) : (float)(random() % 2);
            v[PARAM_GATE_CONTOUR] = random() % 4 ? unit(random) : (float)(random() % 2);
            v[PARAM_GATE_STEREO] = unit(random);
            v[PARAM_GATE_LEFT] = ParamEncodeWhole((int)(random() % 65536));
            v[PARAM_GATE_RIGHT] = ParamEncodeWhole((int)(random() % 65536));
            v[PARAM_GATE_SPEED] = ParamEncodeWhole((int)(random() % 7) - 1);
            v[PARAM_GATE_ENABLE] = random() % 8 ? 1.0f : 0.0f;
            rig.context.samplesPerBeat = tempi[random() % 5];
            rig.engine->unitPosition = positions[random() % 8] + (random() % 1000);
        }
        int count = 1 + (int)(random() % 32);
        float frames[64], expected[64];
        for (int i = 0; i < 2 * count; i++) frames[i] = expected[i] = sample(random);
        TranceGateRun(rig.engine, &rig.context, 0, frames, count);
        ModelRun(v, rig.context.samplesPerBeat, rig.engine->unitPosition, expected, count);
        for (int i = 0; i < 2 * count; i++) {
            ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
            ASSERT_TRUE(isfinite(frames[i]));
        }
        rig.engine->unitPosition += count;
    }
}
