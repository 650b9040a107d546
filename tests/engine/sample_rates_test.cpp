// Every unit at every sample rate a host may run, from 1 kHz to 768 kHz.
#include <gtest/gtest.h>

#include "tests/support/engine_rig.h"

namespace {

// What each kind can make of input within ±1, from its largest gains with
// room to spare: loops below a gain of 1 (a delay line's 0.95, two lines in
// series; four chorus voices summed; the phaser's 0.9; the reverb's tank
// behind a one-pole), pre-gains of 75 on bands of a few times the input, three
// EQ bands of +20 dB, gate levels of 1, +20 dB of compressor makeup.
const float BOUND[UNIT_KINDS] = {400, 40, 600, 200, 20, 1000, 1, 100, 11};

// Two seconds at each rate (131,072 frames at most), each unit's dials all at
// 0, all at 1 and at random ends, each reverb algorithm and distortion mode.
TEST(SampleRates, every_unit_stays_finite_and_within_its_gains_at_every_rate_with_its_dials_at_their_ends) {
    const float rates[] = {1000, 1200, 2000, 8000, 11025, 16000, 22050, 44100, 96000, 192000, 768000};
    Random random(5);
    for (int kind = 0; kind < UNIT_KINDS; kind++)
        for (int variant = 0; variant < (kind == UnitReverb ? 5 : kind == UnitDistortion ? 19 : 1); variant++)
            for (float rate : rates)
                for (int corner = 0; corner < 3; corner++) {
                    EngineRig rig(rate, rate / 2);  // 120 beats a minute
                    rig.Place(0, kind);
                    for (int row = 0; row < PARAM_COUNT; row++)
                        if (PARAM_INFO[row].ownerEnable == ENABLE_ROW[kind])
                            rig.values[row] = corner == 2 ? (float)random.Below(2) : (float)corner;
                    rig.values[PARAM_REVERB_ALGORITHM] = rig.values[PARAM_DIST_MODE] = ParamEncodeWhole(variant);
                    rig.values[PARAM_REVERB_PREDELAY] = 0.0f;  // so that the tail is heard
                    for (float s : rig.Run(Noise((size_t)fminf(2.0f * rate, 131072.0f), corner)))
                        ASSERT_TRUE(std::isfinite(s) && fabsf(s) <= BOUND[kind])
                            << s << " from kind " << kind << " " << variant << " at " << rate << " " << corner;
                }
}

}  // namespace
