// Storage refused in the audio thread: the Engine and every unit that owns
// lines or rings, through the real allocation path. engine_tests is linked
// with --wrap=calloc, so each calloc of the engine's objects reaches
// __wrap_calloc below, which refuses what the test tells it to; the plug-in
// itself is linked without it and calls calloc directly.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <functional>

#include "tests/support/engine_rig.h"

extern "C" void *__real_calloc(size_t count, size_t size);

namespace {

// Callocs still granted before the allocator refuses; -1 grants all.
long granted = -1;
long callocs = 0;  // calls seen, granted or not

}  // namespace

extern "C" void *__wrap_calloc(size_t count, size_t size) {
    callocs++;
    if (granted == 0) return nullptr;
    if (granted > 0) granted--;
    return __real_calloc(count, size);
}

namespace {

struct LineUnit {
    const char *name;
    int id;  // slot id: instance × 9 + kind
    std::vector<std::pair<int, float>> values;  // rows of instance 0, plus the instance
};

// Every unit that allocates in the audio thread, set to change noise at once or soon.
const LineUnit LINE_UNITS[] = {
    {"Polyrhythmic Delay", UnitPolyrhythmicDelay, {{PARAM_DELAY_MIX, 1}, {PARAM_DELAY_MIX2, 1}, {PARAM_DELAY_FEEDBACK, 0.5f}}},
    {"Ping-Pong Delay", 9 + UnitPingPongDelay, {{PARAM_PINGPONG_MIX, 1}, {PARAM_PINGPONG_FEEDBACK, 0.5f}}},
    {"Chorus", 18 + UnitChorus, {{PARAM_CHORUS_MIX, 1}}},
    {"Reverb Hall", UnitReverb, {{PARAM_REVERB_MIX, 1}, {PARAM_REVERB_ALGORITHM, ParamEncodeWhole(0)}}},
    {"Reverb Plate", 9 + UnitReverb, {{PARAM_REVERB_MIX, 1}, {PARAM_REVERB_ALGORITHM, ParamEncodeWhole(2)}}},
    {"Compressor", UnitCompressor, {{PARAM_COMP_MAKEUP, 1}, {PARAM_COMP_THRESHOLD, 0}}},
};

// A second of noise, in chunks of 1,000 frames, through the unit alone in
// slot 3.
struct Chain {
    EngineRig rig;
    std::vector<float> input = Noise(48000, 5, 0.5f);
    explicit Chain(const LineUnit &unit) {
        rig.Place(2, unit.id);
        for (auto [row, value] : unit.values) rig.values[row + unit.id / UNIT_KINDS] = value;
    }
    std::vector<float> Run(const std::function<void(int chunk)> &beforeChunk = nullptr) {
        return rig.Run(input, 1000, 0, beforeChunk);
    }
};

bool Finite(const std::vector<float> &frames) {
    for (float v : frames)
        if (!isfinite(v)) return false;
    return true;
}

TEST(OutOfMemory, an_engine_refused_passes_the_input_and_is_made_by_a_later_block) {
    Chain chain(LINE_UNITS[0]);
    granted = 0;
    EXPECT_EQ(chain.Run(), chain.input);
    EXPECT_EQ(chain.rig.context.engine, nullptr);
    granted = -1;
    EXPECT_NE(chain.Run(), chain.input);
    EXPECT_NE(chain.rig.context.engine, nullptr);
}

// Refused its storage for the first half second, a unit passes its input
// as it came when it has none of it, and stays sound with part of it; from
// the chunk where memory returns it makes its lines and acts again.
TEST(OutOfMemory, a_unit_refused_its_lines_passes_its_input_and_recovers_when_memory_returns) {
    for (const LineUnit &unit : LINE_UNITS) {
        SCOPED_TRACE(unit.name);
        Chain alone(unit);
        alone.rig.TheEngine();
        callocs = 0;
        ASSERT_NE(alone.Run(), alone.input);
        long needed = callocs;
        ASSERT_GT(needed, 0);

        for (long allowed = 0; allowed < needed; allowed++) {
            Chain chain(unit);
            chain.rig.TheEngine();
            std::vector<float> out = chain.Run([allowed](int chunk) { granted = chunk < 24 ? allowed : -1; });
            granted = -1;
            EXPECT_TRUE(Finite(out)) << allowed;
            long first = FirstChange(chain.input, out);
            if (allowed == 0) {
                EXPECT_GE(first, 24000);
            }
            EXPECT_NE(first, -1) << allowed;
            std::vector<float> late(out.begin() + 2 * 36000, out.end());
            EXPECT_NE(late, std::vector<float>(chain.input.begin() + 2 * 36000, chain.input.end())) << allowed;
        }
    }
}

}  // namespace
