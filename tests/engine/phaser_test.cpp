// The Phaser as the block loop calls it: how many cells run, what the
// feedback and the LFO do, that the dry signal always passes at full level,
// that the builds agree, and its output against a plain model of the unit.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <xmmintrin.h>

#include <algorithm>
#include <random>
#include <vector>

#include "engine/backend.h"
#include "engine/dispatch.h"
#include "engine/engine.h"
#include "engine/dsp.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

// A zero-filled Engine at 48 kHz with the phaser's default values.
struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};
    int instance = 0;

    Rig() {
        context.sampleRate = 48000.0f;
        for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
        for (int i = 0; i < 3; i++) context.liveValue[PARAM_PHASER_ENABLE + i] = 1.0f;
    }
    ~Rig() { free(engine); }
    void Set(int row, float value) { context.liveValue[row + instance] = value; }
    PhaserState &State() { return engine->phaser[instance]; }

    // Sends interleaved frames through the unit in SubBlocks of 32, in place.
    void Run(std::vector<float> &frames) {
        for (size_t at = 0; at < frames.size() / 2; at += 32) {
            int count = (int)std::min<size_t>(32, frames.size() / 2 - at);
            PhaserRun(engine, &context, instance, frames.data() + 2 * at, count);
        }
    }
};

// The unit alone in slot 1 of one build's block loop, at unity Post Gain,
// from the default values as `setUp` changes them.
std::vector<float> ThroughBuild(int level, std::vector<float> input, void (*setUp)(float *value)) {
    EngineContext context = {};
    MeterBlock meter = {};
    context.sampleRate = 48000.0f;
    context.samplesPerBeat = 8000.0f;
    context.meter = &meter;
    for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
    context.liveValue[PARAM_POST_GAIN] = 0.5f;
    setUp(context.liveValue);
    const EngineBackend *backend = EngineBackendOfLevel(level);
    std::vector<float> output(input.size());
    for (size_t at = 0; at < input.size() / 2; at += ENGINE_MAX_FRAMES) {
        int frames = (int)std::min<size_t>(ENGINE_MAX_FRAMES, input.size() / 2 - at);
        context.dryBlock = input.data() + 2 * at;
        backend->process(&context, output.data() + 2 * at, frames);
    }
    backend->destroy(&context);
    return output;
}

std::vector<float> Noise(size_t frames, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    std::vector<float> signal(2 * frames);
    for (float &v : signal) v = sample(rng);
    return signal;
}

}  // namespace

TEST(Phaser, steps_run_one_to_six_cells_and_leave_the_rest_untouched) {
    Rig rig;
    rig.Set(PARAM_PHASER_STEPS, 1.0f);
    std::vector<float> audio = Noise(256, 1);
    rig.Run(audio);
    for (int k = 0; k < 6; k++) EXPECT_NE(rig.State().cells[k][1], 0.0f) << k;
    for (float steps : {0.5f, 0.0f}) {  // three cells, then one
        int cells = steps == 0.0f ? 1 : 3;
        rig.Set(PARAM_PHASER_STEPS, steps);
        PhaserState before = rig.State();
        audio = Noise(256, 2);
        rig.Run(audio);
        for (int k = 0; k < 6; k++) {
            bool same = memcmp(rig.State().cells[k], before.cells[k], sizeof before.cells[k]) == 0;
            EXPECT_EQ(same, k >= cells) << steps << " cell " << k;
        }
    }
}

// All-pass cells pass DC unchanged, so with a steady input x the chain
// settles at x / (1 - fb): the loop gain shows in the output. Near fb 0.9 the
// loop magnifies the cells' rounding, hence the tolerance of 1e-3.
TEST(Phaser, feedback_runs_from_minus_to_plus_nine_tenths) {
    const float values[] = {0.0f, 0.5f, 0.888889f, 1.0f}, gains[] = {-0.9f, 0.0f, 0.7f, 0.9f};
    for (int k = 0; k < 4; k++) {
        Rig rig;
        rig.Set(PARAM_PHASER_FEEDBACK, values[k]);
        rig.Set(PARAM_PHASER_MIX, 1.0f);
        rig.Set(PARAM_PHASER_RATE, 0.0f);
        std::vector<float> audio(2 * 20000, 1.0f);
        rig.Run(audio);
        float settled = 1.0f / (1.0f - gains[k]);
        EXPECT_NEAR(rig.State().feedback[0], settled, 1e-3f * settled) << values[k];
        EXPECT_NEAR(audio.back(), 1.0f + settled, 1e-3f * settled) << values[k];
    }
}

TEST(Phaser, rate_zero_holds_the_lfo_and_full_rate_turns_it_at_two_hertz) {
    Rig rig;
    rig.State().phase = 0.3f;
    rig.Set(PARAM_PHASER_RATE, 0.0f);
    std::vector<float> audio = Noise(4800, 3);
    rig.Run(audio);
    EXPECT_EQ(rig.State().phase, 0.3f);
    rig.Set(PARAM_PHASER_RATE, 1.0f);
    audio.assign(2 * 6000, 0.0f);  // an eighth of a second: a quarter turn
    rig.Run(audio);
    EXPECT_NEAR(rig.State().phase, 0.55f, 2e-4f);
}

TEST(Phaser, mix_zero_passes_the_input_while_the_chain_runs) {
    Rig rig;
    rig.Set(PARAM_PHASER_MIX, 0.0f);
    std::vector<float> in = Noise(1000, 4), out = in;
    rig.Run(out);
    EXPECT_EQ(out, in);
    EXPECT_NE(rig.State().cells[0][0], 0.0f);
    EXPECT_NE(rig.State().feedback[1], 0.0f);
    EXPECT_GT(rig.State().phase, 0.0f);
}

TEST(Phaser, disabled_phaser_passes_audio_and_advances_nothing) {
    Rig rig;
    std::vector<float> audio = Noise(500, 5);
    rig.Run(audio);
    PhaserState before = rig.State();
    rig.Set(PARAM_PHASER_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Noise(500, 6), out = in;
    rig.Run(out);
    EXPECT_EQ(out, in);
    EXPECT_EQ(memcmp(&rig.State(), &before, sizeof before), 0);
}

TEST(Phaser, extreme_settings_keep_the_output_finite_and_bounded) {
    const int rows[] = {PARAM_PHASER_STEPS, PARAM_PHASER_FEEDBACK, PARAM_PHASER_MIX,
                        PARAM_PHASER_BASE,  PARAM_PHASER_RATE,     PARAM_PHASER_GAIN,
                        PARAM_PHASER_STEREO};
    for (float sampleRate : {8000.0f, 192000.0f}) {
        for (int corner = 0; corner < 128; corner += 9) {
            Rig rig;
            rig.context.sampleRate = sampleRate;
            for (int r = 0; r < 7; r++) rig.Set(rows[r], (corner >> r) & 1 ? 1.0f : 0.0f);
            rig.Set(PARAM_PHASER_FEEDBACK, corner & 1 ? 1.0f : 0.0f);
            std::vector<float> audio = Noise(24000, corner);
            rig.Run(audio);
            for (float v : audio) ASSERT_LT(fabsf(v), 100.0f) << sampleRate << " " << corner;
        }
    }
}

// The reciprocal estimate is the same 128-bit instruction in every build, so
// the builds up to level 4 agree bit for bit; level 5 may fuse multiply-adds.
TEST(Phaser, builds_one_to_four_agree_bit_for_bit) {
    EngineDetectProcessor();
    std::vector<float> input = Noise(24000, 7);
    auto setUp = [](float *value) {
        value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitPhaser);
        value[PARAM_PHASER_ENABLE] = 1.0f, value[PARAM_PHASER_STEPS] = 1.0f;
        value[PARAM_PHASER_RATE] = 1.0f, value[PARAM_PHASER_GAIN] = 1.0f;
    };
    std::vector<float> first = ThroughBuild(1, input, setUp);
    EXPECT_NE(first, input);
    for (int level = 2; level <= std::min(4, EngineSelectedLevel()); level++)
        EXPECT_EQ(ThroughBuild(level, input, setUp), first) << level;
    if (EngineSelectedLevel() < 5) return;
    std::vector<float> fused = ThroughBuild(5, input, setUp);
    for (size_t i = 0; i < input.size(); i++) ASSERT_NEAR(fused[i], first[i], 1e-4f) << i;
}

// ---- against a plain model, one lane at a time ----

namespace {

// The processor's reciprocal estimate of x, as the unit takes it.
float Estimate(float x) { return _mm_cvtss_f32(_mm_rcp_ps(_mm_set1_ps(x))); }

struct Model {
    float feedback[2] = {}, phase = 0.0f, cells[6][2] = {};

    void Run(const EngineContext &context, int instance, float *frames, int count) {
        const float *v = context.liveValue + instance;
        if (!(v[PARAM_PHASER_ENABLE] > 0.5f)) return;
        float sr = context.sampleRate;
        float f = 2000.0f * v[PARAM_PHASER_BASE] + 200.0f;
        float w0[2] = {2.0f * f / sr, 0.0f};
        w0[1] = (0.5f * v[PARAM_PHASER_STEREO] + 1.0f) * w0[0];
        int n = (int)floorf(5.9994f * v[PARAM_PHASER_STEPS]) + 1;
        for (int i = 0; i < count; i++) {
            float m = fminf(fmaxf(v[PARAM_PHASER_MIX], 0.0f), 1.0f);
            float G = fminf(fmaxf(v[PARAM_PHASER_GAIN], 0.0f), 1.0f);
            float F = fminf(fmaxf(v[PARAM_PHASER_FEEDBACK], 0.0f), 1.0f);
            float R = fminf(fmaxf(v[PARAM_PHASER_RATE], 0.0f), 1.0f);
            float s = G * w0[0], fb = 1.8f * F - 0.9f;
            float t = phase < 0.5f ? 4.0f * phase - 1.0f : 3.0f - 4.0f * phase;
            phase += R * (2.0f / sr);
            if (phase >= 1.0f) phase -= 1.0f;
            for (int lane = 0; lane < 2; lane++) {
                float w = w0[lane] + s * t, r = Estimate(1.0f + w);
                float a = (1.0f - w) * (2.0f * r - (1.0f + w) * r * r);
                float x = frames[2 * i + lane], in = x + fb * feedback[lane];
                for (int k = 0; k < n; k++) {
                    float out = cells[k][lane] - a * in;
                    cells[k][lane] = in + a * out;
                    in = out;
                }
                feedback[lane] = in;
                frames[2 * i + lane] = x + m * in;
            }
        }
    }
};

}  // namespace

TEST(Phaser, matches_a_plain_model_bit_for_bit_under_random_changes) {
    std::mt19937 rng(300);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
    Rig rig;
    rig.instance = 1;
    rig.context.sampleRate = 44100.0f;
    Model model;
    const int rows[] = {PARAM_PHASER_STEPS, PARAM_PHASER_FEEDBACK, PARAM_PHASER_MIX,
                        PARAM_PHASER_BASE,  PARAM_PHASER_RATE,     PARAM_PHASER_GAIN,
                        PARAM_PHASER_STEREO};
    for (int block = 0; block < 3000; block++) {
        float change = unit(rng);
        if (change < 0.3f) rig.Set(rows[rng() % 7], unit(rng) < 0.1f ? 1.0f : unit(rng));
        else if (change < 0.33f) rig.Set(PARAM_PHASER_ENABLE, unit(rng) < 0.3f ? 0.0f : 1.0f);
        int count = 1 + (int)(rng() % 32);
        float frames[64], expected[64];
        for (int i = 0; i < 2 * count; i++) expected[i] = frames[i] = sample(rng);
        PhaserRun(rig.engine, &rig.context, 1, frames, count);
        model.Run(rig.context, 1, expected, count);
        for (int i = 0; i < 2 * count; i++)
            ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
    }
}
