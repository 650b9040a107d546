// The Reverb: what reaches each structure, the predelay, stability at full
// Time, and a plain model of the whole unit through every algorithm.
#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"

namespace {

enum { HALL = 0, ROOM = 1, PLATE = 2, CHURCH = 3, ATMOSPHERE = 4 };

// Instance 1 at full Mix, Time 0.66, no predelay.
struct ReverbRig : UnitRig {
    explicit ReverbRig(int algorithm, float sampleRate = 48000.0f)
        : UnitRig(ReverbRun, PARAM_REVERB_ENABLE, sampleRate) {
        Set(PARAM_REVERB_MIX, 1.0f), Set(PARAM_REVERB_TIME, 0.66f), Set(PARAM_REVERB_PREDELAY, 0.0f);
        Set(PARAM_REVERB_ALGORITHM, ParamEncodeWhole(algorithm));
    }
};

// Noise at half scale; with `opposite` the right channel is the left inverted.
std::vector<float> Signal(size_t frames, unsigned seed, bool opposite = false) {
    std::vector<float> signal = Noise(frames, seed, 0.5f);
    for (size_t i = 0; opposite && i < signal.size(); i += 2) signal[i + 1] = -signal[i];
    return signal;
}

TEST(Reverb, the_tank_hears_the_mid_signal_the_plate_each_side_after_its_shortest_comb_and_all_die_away) {
    for (int algorithm : {HALL, ROOM, PLATE, CHURCH, ATMOSPHERE}) {
        ReverbRig rig(algorithm);
        std::vector<float> out = rig.Through(Signal(4800, 3, true));
        if (algorithm == PLATE) EXPECT_GT(Energy(out, -1, 0, 4800), 10.0);
        else EXPECT_EQ(Energy(out, -1, 0, 4800), 0.0) << algorithm;
    }
    // A predelay of 0 still delays by two frames, and each Plate bank is first
    // heard through its shortest comb, which reads before it writes.
    ReverbRig plate(PLATE);
    std::vector<float> out = plate.Through(Click(4000, 1.0f, 1.0f));
    EXPECT_EQ(plate.engine->reverb[0].predelay[0].length, 2);
    long first[2] = {-1, -1};
    for (long i = 7999; i >= 0; i--)
        if (out[i] != 0.0f) first[i % 2] = i / 2;
    EXPECT_EQ(first[0], 2 + (long)(float)(0.023357294 * 48000.0));
    EXPECT_EQ(first[1], 2 + (long)(float)(0.025442459 * 48000.0));

    // At full Time, a minute at 48 kHz: 50 s of noise hold a steady level,
    // then 10 s of silence die away.
    const size_t second = 48000;
    for (int algorithm : {HALL, ROOM, PLATE, CHURCH, ATMOSPHERE}) {
        ReverbRig rig(algorithm);
        rig.Set(PARAM_REVERB_TIME, 1.0f);
        std::vector<float> out = Signal(60 * second, 13);
        std::fill(out.begin() + 2 * 50 * second, out.end(), 0.0f);
        rig.Run(out);
        double settled = Energy(out, -1, 5 * second, 10 * second) / 5;
        for (size_t s = 10; s < 50; s++)
            ASSERT_LT(Energy(out, -1, s * second, (s + 1) * second), 1.5 * settled) << algorithm << " " << s;
        EXPECT_LT(Energy(out, -1, 59 * second, 60 * second), 0.1 * settled) << algorithm;
    }
}

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

// Every line a vector, every step written out scalar: the predelay, then the
// tank (Hall, Room, Church, Atmosphere) or the Plate's comb banks.
struct ReverbModel {
    ModelLine pre[2], line[12], comb[2][4];
    float bandwidthState = 0, damp1 = 0, damp2 = 0, phase = 0, allPass[2][2] = {};
    ModelBiquad tankHigh, tankLow, combFilter[4], plateLow, plateHigh;  // lanes: channels

    void Run(const EngineContext &context, float *frames, int count) {
        const float *v = context.liveValue;
        if (!(v[PARAM_REVERB_ENABLE] > 0.5f)) {
            for (ModelLine &l : pre) l = {};
            for (ModelLine &l : line) l = {};
            for (auto &bank : comb) for (ModelLine &l : bank) l = {};
            return;
        }
        float sr = context.sampleRate, time = v[PARAM_REVERB_TIME], m = Clamp01(v[PARAM_REVERB_MIX]);
        for (ModelLine &p : pre) p.Size((size_t)(LongTimeCurve(v[PARAM_REVERB_PREDELAY]) * sr + 2.0f));
        int algorithm = ParamDecodeWhole(v[PARAM_REVERB_ALGORITHM]);
        bool tank = algorithm == HALL || algorithm == ROOM || algorithm == CHURCH || algorithm == ATMOSPHERE;
        const float *set = SET[tank ? algorithm : 0];
        float tap[14], combDelay[2][4], combGain[2][4];
        for (int k = 0; k < 12 && tank; k++) line[k].Size((size_t)(LENGTH[k] * sr));
        for (int k = 0; k < 14; k++) tap[k] = (float)(TAP[k] * (double)sr);
        tankHigh.c = HighPassDesign(set[9], sr), tankLow.c = LowPassDesign(3260.8054f, sr);
        plateLow.c = LowPassDesign(3260.8054f, sr), plateHigh.c = HighPassDesign(192.59926f, sr);
        for (int k = 0; k < 4; k++) {
            combFilter[k].c = LowPassDesign(COMB_HZ[k], sr);
            for (int c = 0; c < 2; c++) {
                if (!tank) comb[c][k].Size((size_t)(0.2f * sr));
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
                for (int c = 0; c < 2; c++) wet[c] = tankLow.Step(c, tankHigh.Step(c, sum[c]));
            } else {
                for (int c = 0; c < 2; c++) {
                    float sum = 0.0f;
                    for (int k = 0; k < 4; k++) {
                        float r = comb[c][k].Read(combDelay[c][k]) * combGain[c][k];
                        sum += r;
                        comb[c][k].Write(combFilter[k].Step(c, x[c] + r));
                    }
                    for (float &s : allPass[c]) {
                        float out = s - 0.131f * sum;
                        s = sum + 0.131f * out, sum = out;
                    }
                    wet[c] = plateHigh.Step(c, plateLow.Step(c, sum));
                }
            }
            for (int c = 0; c < 2; c++) frame[c] = frame[c] * (1.0f - m) + wet[c] * m;
        }
    }
};

// Same float operations in the same order: equal bit for bit through changes
// of every value (a spell of Plate leaves the tank as it was), the sample
// rate and Enable, and Algorithm values that name no algorithm (they run the
// comb bank).
TEST(Reverb, matches_a_plain_model_bit_for_bit) {
    Random random(23);
    ReverbRig rig(HALL, 44100.0f);
    ReverbModel model;
    ModelRun run;
    run.blocks = 6000;
    run.change = [&](int block) {
        float change = random.Unit();
        int algorithm = (int)random.Below(7) - 1;  // -1 (a raw 0) and 5 name no algorithm
        if (change < 0.02f) rig.Set(PARAM_REVERB_ALGORITHM, algorithm < 0 ? 0.0f : ParamEncodeWhole(algorithm));
        else if (change < 0.04f) rig.Set(PARAM_REVERB_TIME, random.Unit());
        else if (change < 0.06f) rig.Set(PARAM_REVERB_MIX, random.Unit());
        else if (change < 0.065f) rig.Set(PARAM_REVERB_PREDELAY, 0.05f * random.Unit());
        else if (change < 0.067f) rig.Set(PARAM_REVERB_ENABLE, random.Chance(0.3f) ? 0.0f : 1.0f);
        if (block == 3000) rig.context.sampleRate = 48000.0f;
    };
    run.model = [&](float *frames, int count) { model.Run(rig.context, frames, count); };
    run.silent = [](int block) { return block % 40 >= 25; };
    ExpectMatchesModel(rig, random, run);
}

}  // namespace
