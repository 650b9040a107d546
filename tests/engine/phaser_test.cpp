// The Phaser: how many cells run, the range of its feedback and LFO, and what
// Mix and Enable leave alone.
#include <gtest/gtest.h>
#include <string.h>

#include "tests/support/engine_rig.h"

namespace {

// All-pass cells pass DC unchanged, so with a steady input x the chain
// settles at x / (1 - fb): the loop gain shows in the output. Near fb 0.9 the
// loop magnifies the cells' rounding, hence the tolerance of 1e-3.
TEST(Phaser, feedback_spans_nine_tenths_each_way_and_the_lfo_turns_at_up_to_two_hertz) {
    const float values[] = {0.0f, 0.5f, 1.0f}, gains[] = {-0.9f, 0.0f, 0.9f};
    for (int k = 0; k < 3; k++) {
        UnitRig rig(PhaserRun, PARAM_PHASER_ENABLE);
        rig.Set(PARAM_PHASER_FEEDBACK, values[k]), rig.Set(PARAM_PHASER_MIX, 1.0f);
        rig.Set(PARAM_PHASER_RATE, 0.0f);
        std::vector<float> audio = rig.Through(std::vector<float>(2 * 20000, 1.0f));
        float settled = 1.0f / (1.0f - gains[k]);
        EXPECT_NEAR(audio.back(), 1.0f + settled, 1e-3f * settled) << values[k];
    }
    UnitRig rig(PhaserRun, PARAM_PHASER_ENABLE);
    rig.engine->phaser[0].phase = 0.3f;
    rig.Set(PARAM_PHASER_RATE, 0.0f);
    rig.Through(Noise(4800, 3));
    EXPECT_EQ(rig.engine->phaser[0].phase, 0.3f);
    rig.Set(PARAM_PHASER_RATE, 1.0f);
    rig.Through(std::vector<float>(2 * 6000, 0.0f));  // an eighth of a second: a quarter turn
    EXPECT_NEAR(rig.engine->phaser[0].phase, 0.55f, 2e-4f);
}

TEST(Phaser, steps_run_one_to_six_cells_mix_zero_passes_the_input_and_disabled_it_advances_nothing) {
    UnitRig rig(PhaserRun, PARAM_PHASER_ENABLE);
    PhaserState &state = rig.engine->phaser[0];
    rig.Set(PARAM_PHASER_STEPS, 1.0f);
    rig.Through(Noise(256, 1));
    for (int k = 0; k < 6; k++) EXPECT_NE(state.cells[k][1], 0.0f) << k;
    for (float steps : {0.5f, 0.0f}) {  // three cells, then one; the rest stay untouched
        int cells = steps == 0.0f ? 1 : 3;
        rig.Set(PARAM_PHASER_STEPS, steps);
        PhaserState before = state;
        rig.Through(Noise(256, 2));
        for (int k = 0; k < 6; k++)
            EXPECT_EQ(memcmp(state.cells[k], before.cells[k], sizeof before.cells[k]) == 0, k >= cells)
                << steps << " " << k;
    }
    UnitRig dry(PhaserRun, PARAM_PHASER_ENABLE);  // Mix 0: the input passes while the chain runs
    dry.Set(PARAM_PHASER_MIX, 0.0f);
    std::vector<float> in = Noise(1000, 4);
    EXPECT_EQ(dry.Through(in), in);
    EXPECT_NE(dry.engine->phaser[0].cells[0][0], 0.0f);
    PhaserState before = state;
    rig.Set(PARAM_PHASER_ENABLE, 0.5f);  // not above 0.5: off
    in = Noise(500, 6);
    EXPECT_EQ(rig.Through(in), in);
    EXPECT_EQ(memcmp(&state, &before, sizeof before), 0);
}

}  // namespace
