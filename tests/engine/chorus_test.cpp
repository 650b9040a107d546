// The Chorus as the block loop calls it: where its taps read, how many there
// are and how fast they move, its feedback limit, what happens to its
// storage, and its output against a plain model of the unit.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <vector>

#include "engine/dsp.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

const float CENTRE_SECONDS = 0.0203435f;
const float RATE_FACTOR[4] = {0.2234589f, 0.2134987f, 0.1934987f, 0.18525879f};
const float RIGHT_OFFSET[4] = {0.005f, 0.005184f, 0.004568f, 0.006144256f};

// A zero-filled Engine at 48 kHz: four voices standing still at full Mix,
// no feedback, full Stereo.
struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};
    int instance = 0;

    Rig() {
        context.sampleRate = 48000.0f;
        for (int i = 0; i < 3; i++) {
            float *v = context.liveValue + i;
            v[PARAM_CHORUS_ENABLE] = 1.0f, v[PARAM_CHORUS_DEPTH] = 0.0f;
            v[PARAM_CHORUS_MIX] = 1.0f, v[PARAM_CHORUS_FEEDBACK] = 0.0f;
            v[PARAM_CHORUS_SPEED] = 0.2f, v[PARAM_CHORUS_STEREO] = 1.0f;
            v[PARAM_CHORUS_VOICES] = 1.0f;
        }
    }
    ~Rig() {
        for (ChorusState &state : engine->chorus) ChorusRelease(&state);
        free(engine);
    }
    void Set(int row, float value) { context.liveValue[row + instance] = value; }
    ChorusState &State() { return engine->chorus[instance]; }

    // Sends interleaved frames through the unit in SubBlocks of 32, in place.
    void Run(std::vector<float> &frames) {
        for (size_t at = 0; at < frames.size() / 2; at += 32) {
            int count = (int)std::min<size_t>(32, frames.size() / 2 - at);
            ChorusRun(engine, &context, instance, frames.data() + 2 * at, count);
        }
    }
};

std::vector<float> Noise(size_t frames, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> sample(-1.0f, 1.0f);
    std::vector<float> signal(2 * frames);
    for (float &v : signal) v = sample(rng);
    return signal;
}

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

}  // namespace

TEST(Chorus, voices_at_depth_zero_read_twenty_ms_back_and_the_right_offsets_further) {
    const float voiceValues[] = {0.0f, 0.26f, 0.51f, 1.0f};
    double centre = CENTRE_SECONDS * 48000.0;
    for (int k = 0; k < 4; k++) {
        Rig rig;
        rig.Set(PARAM_CHORUS_VOICES, voiceValues[k]);
        std::vector<float> out(2 * 1400, 0.0f);
        out[0] = out[1] = 1.0f;
        rig.Run(out);
        // The voices are summed, not averaged.
        ExpectPulse(out, 0, centre, k + 1);
        for (int v = 0; v <= k; v++) ExpectPulse(out, 1, centre + RIGHT_OFFSET[v] * 48000.0, 1.0);
    }
    // Without Stereo both channels read at the same place.
    Rig rig;
    rig.Set(PARAM_CHORUS_STEREO, 0.0f);
    rig.Set(PARAM_CHORUS_DEPTH, 0.6f);
    std::vector<float> out = Noise(3000, 1);
    for (size_t i = 0; i < out.size(); i += 2) out[i + 1] = out[i];
    rig.Run(out);
    for (size_t i = 0; i < out.size(); i += 2) ASSERT_EQ(out[i], out[i + 1]) << i;
}

TEST(Chorus, speed_runs_to_two_and_a_half_hertz_at_half_and_to_fifty_at_full) {
    const float values[] = {0.0f, 0.25f, 0.4999f, 0.5f, 0.75f, 1.0f};
    const float hertz[] = {0.0f, 1.25f, 2.4995f, 2.5f, 26.25f, 50.0f};
    for (int k = 0; k < 6; k++) {
        Rig rig;
        rig.Set(PARAM_CHORUS_SPEED, values[k]);
        std::vector<float> frame(2, 0.0f);
        rig.Run(frame);
        for (int v = 0; v < 4; v++) {
            float step = RATE_FACTOR[v] * 2.0f * (hertz[k] / 48000.0f);
            EXPECT_FLOAT_EQ(rig.State().phaseL[v], step) << values[k] << " voice " << v;
            EXPECT_EQ(rig.State().phaseR[v], rig.State().phaseL[v]);
        }
    }
}

TEST(Chorus, mix_zero_passes_dry_and_the_lines_keep_filling) {
    Rig rig;
    rig.Set(PARAM_CHORUS_MIX, 0.0f);
    rig.Set(PARAM_CHORUS_VOICES, 0.0f);
    std::vector<float> in(2 * 512, 0.0f);
    in[0] = in[1] = 1.0f;
    std::vector<float> out = in;
    rig.Run(out);
    EXPECT_EQ(out, in);
    // Turned up, the chorus plays the click it took in while silent.
    rig.Set(PARAM_CHORUS_MIX, 1.0f);
    out.assign(2 * 888, 0.0f);
    rig.Run(out);
    out.insert(out.begin(), 2 * 512, 0.0f);
    ExpectPulse(out, 0, CENTRE_SECONDS * 48000.0, 1.0);
}

TEST(Chorus, disabling_releases_the_lines_keeps_the_phases_and_restarts_silent) {
    Rig rig;
    rig.Set(PARAM_CHORUS_DEPTH, 1.0f);
    std::vector<float> audio = Noise(3000, 2);
    rig.Run(audio);
    ChorusState before = rig.State();
    rig.Set(PARAM_CHORUS_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Noise(64, 3), out = in;
    rig.Run(out);
    EXPECT_EQ(out, in);
    for (const DelayLine *line : {&rig.State().lineL, &rig.State().lineR}) {
        EXPECT_EQ(line->samples, nullptr);
        EXPECT_EQ(line->length, 0);
        EXPECT_EQ(line->writeIndex, 0);
    }
    EXPECT_EQ(memcmp(before.phaseL, rig.State().phaseL, sizeof before.phaseL), 0);
    EXPECT_EQ(memcmp(before.phaseR, rig.State().phaseR, sizeof before.phaseR), 0);
    // Enabled again, the taps find an empty line: the wet path is silent.
    rig.Set(PARAM_CHORUS_ENABLE, 1.0f);
    out.assign(2 * 400, 0.0f);
    rig.Run(out);
    EXPECT_EQ(rig.State().lineL.length, 4800);
    for (float v : out) ASSERT_EQ(v, 0.0f);
}

// In-phase taps add up: four voices at full Feedback would make a loop gain
// of 1.2. A steady input shows the loop gain: the line settles at x / (1 - g).
TEST(Chorus, feedback_loop_gain_stays_below_one_with_four_voices) {
    const float voiceValues[] = {0.51f, 1.0f}, settled[] = {10.0f, 20.0f};  // 0.9 and 0.95
    for (int k = 0; k < 2; k++) {
        Rig rig;
        rig.context.sampleRate = 8000.0f;
        rig.Set(PARAM_CHORUS_VOICES, voiceValues[k]);
        rig.Set(PARAM_CHORUS_FEEDBACK, 1.0f);
        std::vector<float> audio(2 * 60000, 1.0f);
        rig.Run(audio);
        EXPECT_NEAR(audio[audio.size() - 2], (3 + k) * settled[k], 1e-3 * settled[k]) << k;
    }
    for (float sampleRate : {8000.0f, 192000.0f}) {
        for (int corner = 0; corner < 32; corner += 3) {
            Rig rig;
            rig.context.sampleRate = sampleRate;
            const int rows[] = {PARAM_CHORUS_DEPTH, PARAM_CHORUS_SPEED, PARAM_CHORUS_STEREO,
                                PARAM_CHORUS_VOICES, PARAM_CHORUS_MIX};
            for (int r = 0; r < 5; r++) rig.Set(rows[r], (corner >> r) & 1 ? 1.0f : 0.0f);
            rig.Set(PARAM_CHORUS_FEEDBACK, 1.0f);
            std::vector<float> audio = Noise(sampleRate == 8000.0f ? 80000 : 20000, corner);
            rig.Run(audio);
            for (float v : audio) ASSERT_LT(fabsf(v), 100.0f) << sampleRate << " " << corner;
        }
    }
}

// ---- against a plain model, one channel at a time ----

namespace {

struct Model {
    std::vector<float> line[2];
    int index[2] = {0, 0};
    float phase[2][4] = {};

    float Read(int c, float d) const {
        const std::vector<float> &x = line[c];
        float p = (float)index[c] - d;
        if (p < 0.0f) p += (float)x.size();
        size_t i0 = (size_t)p, i1 = (size_t)(p + 1.0f);
        if (i0 >= x.size()) i0 = 0;
        if (i1 >= x.size()) i1 = 0;
        return (floorf(p) + 1.0f - p) * x[i0] + (p - floorf(p)) * x[i1];
    }

    void Run(const EngineContext &context, int instance, float *frames, int count) {
        const float *v = context.liveValue + instance;
        if (!(v[PARAM_CHORUS_ENABLE] > 0.5f)) {
            line[0].clear(), line[1].clear();
            return;
        }
        float sr = context.sampleRate;
        size_t length = (size_t)(0.1f * sr);
        if (line[0].size() != length) {
            for (int c = 0; c < 2; c++) line[c].assign(length, 0.0f), index[c] = 0;
        }
        int voices = (int)floorf(3.9996f * v[PARAM_CHORUS_VOICES]) + 1;
        for (int i = 0; i < count; i++) {
            float m = fminf(fmaxf(v[PARAM_CHORUS_MIX], 0.0f), 1.0f);
            float D = 0.0090739f * fminf(fmaxf(v[PARAM_CHORUS_DEPTH], 0.0f), 1.0f);
            float st = fminf(fmaxf(v[PARAM_CHORUS_STEREO], 0.0f), 1.0f);
            float fb = 0.3f * fminf(fmaxf(v[PARAM_CHORUS_FEEDBACK], 0.0f), 1.0f);
            fb = fminf(fb, 0.95f / (float)voices);
            float p = v[PARAM_CHORUS_SPEED];
            float inc = fmaxf(p < 0.5f ? 5.0f * p : (p - 0.5f) * 95.0f + 2.5f, 0.0f) / sr;
            for (int c = 0; c < 2; c++) {
                float sum = 0.0f;
                for (int k = 0; k < voices; k++) {
                    float ph = phase[c][k];
                    phase[c][k] += RATE_FACTOR[k] * 2.0f * inc;
                    if (phase[c][k] >= 1.0f) phase[c][k] -= 1.0f;
                    float triangle = ph < 0.5f ? 4.0f * ph - 1.0f : 3.0f - 4.0f * ph;
                    float seconds = c == 0 ? CENTRE_SECONDS + triangle * D
                                           : CENTRE_SECONDS + st * RIGHT_OFFSET[k] + triangle * D;
                    sum += Read(c, seconds * sr);
                }
                float in = frames[2 * i + c];
                line[c][index[c]] = in + fb * sum;
                index[c] = (index[c] + 1) % (int)length;
                frames[2 * i + c] = in * (1.0f - m) + m * sum;
            }
        }
    }
};

}  // namespace

TEST(Chorus, matches_a_plain_model_bit_for_bit_under_random_changes) {
    std::mt19937 rng(400);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
    Rig rig;
    rig.instance = 2;
    rig.context.sampleRate = 44100.0f;
    Model model;
    const int rows[] = {PARAM_CHORUS_DEPTH,  PARAM_CHORUS_MIX,    PARAM_CHORUS_FEEDBACK,
                        PARAM_CHORUS_SPEED,  PARAM_CHORUS_STEREO, PARAM_CHORUS_VOICES};
    const float rates[] = {44100.0f, 48000.0f, 22050.0f};
    for (int block = 0; block < 4000; block++) {
        float change = unit(rng);
        if (change < 0.3f) rig.Set(rows[rng() % 6], unit(rng) < 0.1f ? 1.0f : unit(rng));
        else if (change < 0.32f) rig.Set(PARAM_CHORUS_ENABLE, unit(rng) < 0.3f ? 0.0f : 1.0f);
        else if (change < 0.33f) rig.context.sampleRate = rates[rng() % 3];
        int count = 1 + (int)(rng() % 32);
        float frames[64], expected[64];
        for (int i = 0; i < 2 * count; i++) expected[i] = frames[i] = sample(rng);
        ChorusRun(rig.engine, &rig.context, 2, frames, count);
        model.Run(rig.context, 2, expected, count);
        for (int i = 0; i < 2 * count; i++)
            ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
    }
}
