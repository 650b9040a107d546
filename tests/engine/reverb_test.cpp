// The Reverb: what reaches each structure, the predelay, switching, the dry
// path, stability, storage, the builds, and a plain model of the whole unit.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <vector>

#include "engine/dispatch.h"
#include "engine/dsp.h"
#include "engine/engine.h"
#include "engine/units.h"
#include "shell/params.h"

using namespace EngineLevel1;

namespace {

enum { HALL = 0, ROOM = 1, PLATE = 2, CHURCH = 3, ATMOSPHERE = 4 };

// One zero-filled Engine and a context holding instance 1's parameters, Mix at 1.
struct Rig {
    Engine *engine = (Engine *)calloc(1, sizeof(Engine));
    EngineContext context = {};

    explicit Rig(int algorithm, float sampleRate = 48000.0f) {
        context.sampleRate = sampleRate;
        Set(PARAM_REVERB_ENABLE, 1.0f), Set(PARAM_REVERB_MIX, 1.0f), Set(PARAM_REVERB_TIME, 0.66f);
        Algorithm(algorithm);
    }
    ~Rig() { ReverbRelease(&State()), free(engine); }
    void Set(int row, float value) { context.liveValue[row] = value; }
    void Algorithm(int index) { Set(PARAM_REVERB_ALGORITHM, ParamEncodeWhole(index)); }
    ReverbState &State() { return engine->reverb[0]; }

    // Sends interleaved frames [from, to) through the unit in SubBlocks of 32, in place.
    void Run(std::vector<float> &frames, size_t from = 0, size_t to = SIZE_MAX) {
        to = std::min(to, frames.size() / 2);
        for (size_t at = from; at < to; at += 32)
            ReverbRun(engine, &context, 0, &frames[2 * at], (int)std::min<size_t>(32, to - at));
    }
};

std::vector<float> Noise(size_t frames, unsigned seed, bool oppositeRight = false) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> sample(-0.5f, 0.5f);
    std::vector<float> signal(2 * frames);
    for (size_t i = 0; i < 2 * frames; i += 2)
        signal[i] = sample(rng), signal[i + 1] = oppositeRight ? -signal[i] : sample(rng);
    return signal;
}

double Energy(const std::vector<float> &frames, size_t from, size_t to) {
    double sum = 0.0;
    for (size_t i = 2 * from; i < 2 * to; i++) sum += (double)frames[i] * frames[i];
    return sum;
}

}  // namespace

TEST(Reverb, opposite_phase_cancels_at_the_tank_input_but_not_in_the_plate) {
    for (int algorithm : {HALL, ROOM, PLATE, CHURCH, ATMOSPHERE}) {
        Rig rig(algorithm);
        std::vector<float> out = Noise(4800, 3, true);
        rig.Run(out);
        if (algorithm == PLATE)
            EXPECT_GT(Energy(out, 0, 4800), 10.0);
        else
            EXPECT_EQ(Energy(out, 0, 4800), 0.0) << algorithm;
    }
}

// Each Plate bank is first heard through its shortest comb, which reads before it writes.
TEST(Reverb, predelay_of_zero_still_delays_by_two_frames) {
    Rig rig(PLATE);
    std::vector<float> out(2 * 4000, 0.0f);
    out[0] = out[1] = 1.0f;
    rig.Run(out);
    EXPECT_EQ(rig.State().predelay[0].length, 2);
    long first[2] = {-1, -1};
    for (long i = 7999; i >= 0; i--)
        if (out[i] != 0.0f) first[i % 2] = i / 2;
    EXPECT_EQ(first[0], 2 + (long)(float)(0.023357294 * 48000.0));
    EXPECT_EQ(first[1], 2 + (long)(float)(0.025442459 * 48000.0));
}

// Hall to Room changes constants only; a spell of Plate leaves the tank as it
// was, so it goes on exactly as one that never left, once the predelay holds
// the same silence in both.
TEST(Reverb, tank_tail_carries_on_across_algorithms_and_waits_through_plate) {
    Rig away(HALL), stayed(HALL);
    std::vector<float> a = Noise(20000, 7), b;
    std::fill(a.begin() + 2 * 9600, a.end(), 0.0f);
    b = a;
    away.Run(a, 0, 9664), stayed.Run(b, 0, 9664);
    away.Algorithm(ROOM), stayed.Algorithm(ROOM);
    away.Run(a, 9664, 10688), stayed.Run(b, 9664, 10688);
    EXPECT_GT(Energy(a, 9664, 9696), 1e-3 * Energy(a, 9632, 9664));
    TankReverbState frozen = away.State().tank;
    away.Algorithm(PLATE);
    away.Run(a, 10688, 15488);
    EXPECT_EQ(memcmp(&frozen, &away.State().tank, sizeof frozen), 0);
    away.Algorithm(ROOM);
    away.Run(a, 15488), stayed.Run(b, 10688);
    for (size_t i = 0; i < 2 * (20000 - 15488); i++) ASSERT_EQ(a[2 * 15488 + i], b[2 * 10688 + i]) << i;
    EXPECT_GT(Energy(a, 15488, 20000), 1e-6);
}

TEST(Reverb, mix_of_zero_leaves_the_dry_exact_while_the_reverb_runs) {
    for (int algorithm : {HALL, PLATE}) {
        Rig rig(algorithm);
        rig.Set(PARAM_REVERB_MIX, 0.0f);
        std::vector<float> in = Noise(4800, 9), out = in;
        rig.Run(out);
        EXPECT_EQ(in, out);
        const DelayLine &line = algorithm == HALL ? rig.State().tank.lines.dlB : rig.State().plate.combLine[1][2];
        EXPECT_TRUE(std::any_of(line.samples, line.samples + line.length, [](float v) { return v != 0.0f; }));
    }
}

// Full Time, a minute at 48 kHz: 50 s of noise, then 10 s of silence.
TEST(Reverb, stays_bounded_at_full_time_and_dies_away_after) {
    const size_t second = 48000;
    for (int algorithm : {HALL, ROOM, PLATE, CHURCH, ATMOSPHERE}) {
        Rig rig(algorithm);
        rig.Set(PARAM_REVERB_TIME, 1.0f);
        std::vector<float> out = Noise(60 * second, 13);
        std::fill(out.begin() + 2 * 50 * second, out.end(), 0.0f);
        rig.Run(out);
        double settled = Energy(out, 5 * second, 10 * second) / 5;
        for (size_t s = 10; s < 50; s++)
            ASSERT_LT(Energy(out, s * second, (s + 1) * second), 1.5 * settled) << algorithm << " " << s;
        EXPECT_LT(Energy(out, 59 * second, 60 * second), 0.1 * settled) << algorithm;
    }
}

// Church has no modulation: its modulated all-passes read the oldest element,
// 0.2 s back. A value planted there comes out into dlB and dlF at once.
TEST(Reverb, church_reads_its_modulated_all_passes_at_depth_zero) {
    Rig rig(CHURCH);
    std::vector<float> out(2 * 32, 0.0f);
    rig.Run(out);
    TankLines &l = rig.State().tank.lines;
    l.apA.samples[l.apA.writeIndex] = 1.0f, l.apE.samples[l.apE.writeIndex] = 2.0f;
    rig.Run(out, 0, 1);
    EXPECT_EQ(l.dlB.samples[l.dlB.writeIndex - 1], 1.0f - 0.7939f * (0.7939f * 1.0f));
    EXPECT_EQ(l.dlF.samples[l.dlF.writeIndex - 1], 2.0f - 0.7939f * (0.7939f * 2.0f));
}

// (That filters and phases stay through it, the model test checks.)
TEST(Reverb, disabling_releases_every_line) {
    Rig rig(HALL);
    std::vector<float> out = Noise(2000, 17);
    rig.Run(out, 0, 1000);
    rig.Algorithm(PLATE);
    rig.Run(out, 1000);
    ReverbState &s = rig.State();
    ASSERT_TRUE(s.predelay[1].samples && s.tank.lines.dlH.samples && s.plate.combLine[1][3].samples);
    rig.Set(PARAM_REVERB_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Noise(32, 19);
    out = in;
    rig.Run(out);
    EXPECT_EQ(in, out);
    const ReverbState released = {};  // every line: no storage, length 0, writeIndex 0
    EXPECT_EQ(memcmp(s.predelay, released.predelay, sizeof s.predelay), 0);
    EXPECT_EQ(memcmp(&s.tank.lines, &released.tank.lines, sizeof s.tank.lines), 0);
    EXPECT_EQ(memcmp(s.plate.combLine, released.plate.combLine, sizeof s.plate.combLine), 0);
}

// The whole frame through each build, the Reverb in slot 1 going through every
// algorithm: builds 1 to 4 agree bit for bit; level 5 may fuse multiply-adds.
TEST(Reverb, builds_one_to_four_agree_bit_for_bit) {
    EngineDetectProcessor();
    const size_t frames = 48000;
    std::vector<float> input = Noise(frames, 29), first;
    for (int level = 1; level <= EngineSelectedLevel(); level++) {
        EngineContext context = {};
        MeterBlock meter = {};
        context.sampleRate = 44100.0f, context.samplesPerBeat = 19200.0f, context.meter = &meter;
        float *v = context.liveValue;
        for (int i = 0; i < PARAM_COUNT; i++) v[i] = PARAM_INFO[i].defaultValue;
        v[PARAM_POST_GAIN] = 0.5f, v[PARAM_REVERB_MIX] = 1.0f, v[PARAM_REVERB_ENABLE] = 1.0f;
        v[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitReverb);
        std::vector<float> out(input.size());
        for (size_t at = 0; at < frames; at += ENGINE_MAX_FRAMES) {
            v[PARAM_REVERB_ALGORITHM] = ParamEncodeWhole((int)(at / ENGINE_MAX_FRAMES % 5));
            context.dryBlock = &input[2 * at];
            EngineBackendOfLevel(level)->process(&context, &out[2 * at], (int)std::min<size_t>(ENGINE_MAX_FRAMES, frames - at));
        }
        EngineBackendOfLevel(level)->destroy(&context);
        if (level == 1) first = out;
        else if (level <= 4) EXPECT_EQ(out, first) << level;
        else for (size_t i = 0; i < out.size(); i++) ASSERT_NEAR(out[i], first[i], 1e-3f) << i;
    }
}

// ---- against a plain model: every line a vector, every step written out scalar ----

namespace {

struct ModelLine {
    std::vector<float> s;
    size_t w = 0;
    void Size(size_t n) {
        if (s.size() != n) s.assign(n, 0.0f), w = 0;
    }
    float Oldest() const { return s[w]; }
    void Write(float v) { s[w] = v, w = w + 1 == s.size() ? 0 : w + 1; }
    float Read(float d) const {
        float p = (float)w - d;
        if (p < 0.0f) p += (float)s.size();
        size_t i0 = (size_t)p, i1 = (size_t)(p + 1.0f);
        i0 = i0 < s.size() ? i0 : 0, i1 = i1 < s.size() ? i1 : 0;
        return (floorf(p) + 1.0f - p) * s[i0] + (p - floorf(p)) * s[i1];
    }
};

struct ModelFilter {
    BiquadCoefficients c;
    float x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    float Step(float x) {
        float y = c.b0 * x + c.b1 * x1 + c.b2 * x2 - c.a1 * y1 - c.a2 * y2;
        x2 = x1, x1 = x, y2 = y1, y1 = y;
        return y;
    }
};

// c1 c2 c3 c4, decay scale, bandwidth and damping numerators, LFO rate and depth, high-pass.
const float SET[5][10] = {
    {0.23f, 0.667f, 0.7f, 0.5f, 0.86f, 20312.94f, 13436.195f, 0.7f, 0.0012f, 263.73853f},
    {0.75f, 0.625f, 0.7f, 0.5f, 0.5f, 23086.883f, 22961.223f, 0.5f, 0.00070000003f, 263.73853f},
    {},
    {0.7341f, 0.4634f, 0.7939f, 0.1292f, 0.86f, 25132.0f, 18849.0f, 0.0f, 0.0f, 263.73853f},
    {0.4341f, 0.6634f, 0.2939f, 0.4292f, 0.95f, 62830.0f, 25132.0f, 0.5f, 0.00080000004f, 494.55136f}};
enum { D1, D2, D3, D4, AP_A, AP_E, DL_B, AP_C, DL_D, DL_F, AP_G, DL_H };
const float LENGTH[12] = {0.004771345f, 0.003595309f, 0.012734787f, 0.009307483f, 0.2f, 0.2f,
                          0.14962535f, 0.06048184f, 0.1249958f, 0.14169551f, 0.08924431f, 0.10628003f};
const int TAP_LINE[14] = {DL_F, DL_F, AP_G, DL_H, DL_B, AP_C, DL_D, DL_B, DL_B, AP_C, DL_D, DL_F, AP_G, DL_H};
const double TAP[14] = {0.008937872, 0.099929438, 0.064278754, 0.067067639, 0.066866033, 0.006283391, 0.035818689,
                        0.011861161, 0.121870905, 0.041262054, 0.08981553, 0.070931756, 0.011256342, 0.004065724};
const bool TAP_ADDS[14] = {1, 1, 0, 1, 0, 0, 0, 1, 1, 0, 1, 0, 0, 0};
const float COMB_HZ[4] = {5741.9453f, 6511.283f, 6933.784f, 7862.8105f};
const double COMB_DELAY[2][4] = {{0.051245987, 0.1208976, 0.023357294, 0.084986575},
                                 {0.050001394, 0.12092546, 0.025442459, 0.08313066}};
const float COMB_GAIN[2][4] = {{0.499f, 0.18f, 0.22510001f, 0.36769998f}, {0.5f, 0.19f, 0.22569999f, 0.3687f}};

struct Model {
    ModelLine pre[2], line[12], comb[2][4];
    float bandwidthState = 0, damp1 = 0, damp2 = 0, phase = 0, allPass[2][2] = {};
    ModelFilter tankHigh[2], tankLow[2], combFilter[2][4], plateLow[2], plateHigh[2];

    void Run(const EngineContext &context, float *frames, int count) {
        const float *v = context.liveValue;
        if (!(v[PARAM_REVERB_ENABLE] > 0.5f)) {
            for (ModelLine &l : pre) l = {};
            for (ModelLine &l : line) l = {};
            for (auto &bank : comb) for (ModelLine &l : bank) l = {};
            return;
        }
        float sr = context.sampleRate, time = v[PARAM_REVERB_TIME];
        float m = fminf(fmaxf(v[PARAM_REVERB_MIX], 0.0f), 1.0f);
        for (ModelLine &p : pre) p.Size((size_t)(LongTimeCurve(v[PARAM_REVERB_PREDELAY]) * sr + 2.0f));
        int algorithm = ParamDecodeWhole(v[PARAM_REVERB_ALGORITHM]);
        bool tank = algorithm == HALL || algorithm == ROOM || algorithm == CHURCH || algorithm == ATMOSPHERE;
        const float *set = SET[tank ? algorithm : 0];
        float tap[14], combDelay[2][4], combGain[2][4];
        for (int k = 0; k < 12 && tank; k++) line[k].Size((size_t)(LENGTH[k] * sr));
        for (int k = 0; k < 14; k++) tap[k] = (float)(TAP[k] * (double)sr);
        for (int c = 0; c < 2; c++) {
            tankHigh[c].c = HighPassDesign(set[9], sr), tankLow[c].c = LowPassDesign(3260.8054f, sr);
            plateLow[c].c = LowPassDesign(3260.8054f, sr), plateHigh[c].c = HighPassDesign(192.59926f, sr);
            for (int k = 0; k < 4; k++) {
                if (!tank) comb[c][k].Size((size_t)(0.2f * sr));
                combFilter[c][k].c = LowPassDesign(COMB_HZ[k], sr);
                combDelay[c][k] = (float)(COMB_DELAY[c][k] * (double)sr);
                combGain[c][k] = COMB_GAIN[c][k] + 0.45f * time;
            }
        }
        float c1 = set[0], c2 = set[1], c3 = set[2], c4 = set[3], decay = set[4] * (0.24f * time + 0.75f);
        float bandwidth = 2.0f * FastSin(set[5] / sr), damping = 2.0f * FastSin(set[6] / sr);
        float rate = set[7] / sr, depth = set[8] * sr;
        for (int i = 0; i < count; i++) {
            float *frame = frames + 2 * i, x[2] = {pre[0].Oldest(), pre[1].Oldest()}, wet[2];
            pre[0].Write(frame[0]), pre[1].Write(frame[1]);
            if (tank) {
                bandwidthState = ((x[0] + x[1]) * 0.5f - bandwidthState) * bandwidth + bandwidthState;
                float angle = phase * 6.2847f, mA = (FastCos(angle) + 1.0f) * depth, mE = (FastSin(angle) + 1.0f) * depth;
                phase += rate;
                if (phase > 6.2847f) phase -= 6.2847f;
                float o[12];
                for (int k = 0; k < 12; k++) o[k] = line[k].Oldest();
                float mAout = line[AP_A].Read(mA), mEout = line[AP_E].Read(mE);
                float w1 = bandwidthState - c1 * o[D1], w2 = (w1 - o[D2]) * c1 + o[D1];
                float w3 = o[D2] - c2 * o[D3] + c1 * w2, w4 = (w3 - o[D4]) * c2 + o[D3], y = c2 * w4 + o[D4];
                float wA = decay * o[DL_H] + y + c3 * mAout, wE = decay * o[DL_D] + y + c3 * mEout;
                damp1 = (o[DL_B] - damp1) * damping + damp1;
                damp2 = (o[DL_F] - damp2) * damping + damp2;
                float wC = decay * damp1 - c4 * o[AP_C], wG = decay * damp2 - c4 * o[AP_G];
                float in[12] = {w1, w2, w3, w4, wA, wE, mAout - c3 * wA, wC, o[AP_C] + c4 * wC,
                                mEout - c3 * wE, wG, o[AP_G] + c4 * wG};
                for (int k = 0; k < 12; k++) line[k].Write(in[k]);
                float sum[2];
                for (int k = 0; k < 14; k++) {
                    float t = line[TAP_LINE[k]].Read(tap[k]);
                    sum[k / 7] = k % 7 == 0 ? t : TAP_ADDS[k] ? sum[k / 7] + t : sum[k / 7] - t;
                }
                for (int c = 0; c < 2; c++) wet[c] = tankLow[c].Step(tankHigh[c].Step(sum[c]));
            } else {
                for (int c = 0; c < 2; c++) {
                    float sum = 0.0f;
                    for (int k = 0; k < 4; k++) {
                        float r = comb[c][k].Read(combDelay[c][k]) * combGain[c][k];
                        sum += r;
                        comb[c][k].Write(combFilter[c][k].Step(x[c] + r));
                    }
                    for (float &s : allPass[c]) {
                        float out = s - 0.131f * sum;
                        s = sum + 0.131f * out, sum = out;
                    }
                    wet[c] = plateHigh[c].Step(plateLow[c].Step(sum));
                }
            }
            for (int c = 0; c < 2; c++) frame[c] = frame[c] * (1.0f - m) + wet[c] * m;
        }
    }
};

}  // namespace

// Same float operations in the same order, so the output must match bit for
// bit, through changes of every parameter, the sample rate and Enable, and an
// Algorithm value that names no algorithm (it runs the comb bank).
TEST(Reverb, matches_a_plain_model_bit_for_bit) {
    std::mt19937 rng(23);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f), sample(-1.0f, 1.0f);
    Rig rig(HALL, 44100.0f);
    Model model;
    for (int block = 0; block < 6000; block++) {
        float change = unit(rng);
        int algorithm = (int)(rng() % 7) - 1;  // -1, a raw 0, and 5 name no algorithm
        if (change < 0.02f) rig.Set(PARAM_REVERB_ALGORITHM, algorithm < 0 ? 0.0f : ParamEncodeWhole(algorithm));
        else if (change < 0.04f) rig.Set(PARAM_REVERB_TIME, unit(rng));
        else if (change < 0.06f) rig.Set(PARAM_REVERB_MIX, unit(rng));
        else if (change < 0.065f) rig.Set(PARAM_REVERB_PREDELAY, 0.05f * unit(rng));
        else if (change < 0.067f) rig.Set(PARAM_REVERB_ENABLE, unit(rng) < 0.3f ? 0.0f : 1.0f);
        if (block == 3000) rig.context.sampleRate = 48000.0f;
        int count = 1 + (int)(rng() % 32);
        float frames[64], expected[64];
        for (int i = 0; i < 2 * count; i++) expected[i] = frames[i] = block % 40 < 25 ? sample(rng) : 0.0f;
        ReverbRun(rig.engine, &rig.context, 0, frames, count);
        model.Run(rig.context, expected, count);
        for (int i = 0; i < 2 * count; i++) ASSERT_EQ(frames[i], expected[i]) << "block " << block << ", sample " << i;
    }
}
