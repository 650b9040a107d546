// The Reverb: what reaches each structure, the predelay, stability at full
// Time, switching algorithms, the dry path, and what becomes of its lines.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>

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
    for (int algorithm : {HALL, PLATE}) {  // a side signal alone
        ReverbRig rig(algorithm);
        double energy = Energy(rig.Through(Signal(4800, 3, true)), -1, 0, 4800);
        if (algorithm == PLATE) EXPECT_GT(energy, 10.0);
        else EXPECT_EQ(energy, 0.0);
    }
    // A predelay of 0 still delays by two frames, and each Plate bank is first
    // heard through its shortest comb, which reads before it writes: about
    // 23.4 ms on the left and 25.5 ms on the right.
    ReverbRig plate(PLATE);
    std::vector<float> out = plate.Through(Click(4000, 1.0f, 1.0f));
    long first[2] = {-1, -1};
    for (long i = 7999; i >= 0; i--)
        if (out[i] != 0.0f) first[i % 2] = i / 2;
    EXPECT_NEAR(first[0] / 48.0, 23.4, 0.05);
    EXPECT_NEAR(first[1] / 48.0, 25.5, 0.05);

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

// Hall to Room changes constants only; a spell of Plate leaves the tank as
// it was, so it goes on exactly as one that never left, once the predelay
// holds the same silence in both.
TEST(Reverb, the_tank_carries_on_across_algorithms_mix_zero_keeps_the_dry_and_disabling_frees_every_line) {
    ReverbRig away(HALL), stayed(HALL);
    std::vector<float> a = Signal(20000, 7);
    std::fill(a.begin() + 2 * 9600, a.end(), 0.0f);
    std::vector<float> b = a;
    away.Run(a, 0, 9664), stayed.Run(b, 0, 9664);
    for (ReverbRig *rig : {&away, &stayed}) rig->Set(PARAM_REVERB_ALGORITHM, ParamEncodeWhole(ROOM));
    away.Run(a, 9664, 10688), stayed.Run(b, 9664, 10688);
    EXPECT_GT(Energy(a, -1, 9664, 9696), 1e-3 * Energy(a, -1, 9632, 9664));
    TankReverbState frozen = away.engine->reverb[0].tank;
    away.Set(PARAM_REVERB_ALGORITHM, ParamEncodeWhole(PLATE));
    away.Run(a, 10688, 15488);
    EXPECT_EQ(memcmp(&frozen, &away.engine->reverb[0].tank, sizeof frozen), 0);
    away.Set(PARAM_REVERB_ALGORITHM, ParamEncodeWhole(ROOM));
    away.Run(a, 15488), stayed.Run(b, 10688);
    for (size_t i = 0; i < 2 * (20000 - 15488); i++) ASSERT_EQ(a[2 * 15488 + i], b[2 * 10688 + i]) << i;
    EXPECT_GT(Energy(a, -1, 15488, 20000), 1e-6);

    {   // Mix 0 passes the dry input while the tank fills
        ReverbRig rig(HALL);
        rig.Set(PARAM_REVERB_MIX, 0.0f);
        std::vector<float> in = Signal(4800, 9);
        EXPECT_EQ(rig.Through(in), in);
        const DelayLine &line = rig.engine->reverb[0].tank.lines.dlB;
        EXPECT_TRUE(std::any_of(line.samples, line.samples + line.length, [](float v) { return v != 0.0f; }));
    }

    ReverbRig rig(HALL);
    std::vector<float> out = Signal(2000, 17);
    rig.Run(out, 0, 1000);
    rig.Set(PARAM_REVERB_ALGORITHM, ParamEncodeWhole(PLATE));
    rig.Run(out, 1000);
    ReverbState &s = rig.engine->reverb[0];
    ASSERT_TRUE(s.predelay[1].samples && s.tank.lines.dlH.samples && s.plate.combLine[1][3].samples);
    rig.Set(PARAM_REVERB_ENABLE, 0.5f);  // not above 0.5: off
    std::vector<float> in = Signal(32, 19);
    EXPECT_EQ(rig.Through(in), in);
    const ReverbState released = {};  // every line: no storage, length 0, writeIndex 0
    EXPECT_EQ(memcmp(&s.tank.lines, &released.tank.lines, sizeof s.tank.lines), 0);
    EXPECT_EQ(memcmp(s.plate.combLine, released.plate.combLine, sizeof s.plate.combLine), 0);
}

}  // namespace
