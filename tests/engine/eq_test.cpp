// The Parametric EQ: what each band does to a tone at its frequency, the
// limit of its frequency, the neutral setting and what disabling keeps; and
// the editor's graph of it, which follows the editor's values.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>

#include "editor/unit_views.h"
#include "engine/engine.h"
#include "tests/support/canvas.h"
#include "tests/support/engine_rig.h"
#include "toolkit/palette.h"
#include "toolkit/scale.h"

namespace {

// The ratio of output to input amplitude of a steady tone through the rig at
// its rate, the same on both lanes.
float ToneGainThrough(UnitRig &rig, double frequency) {
    const int frames = 16384;
    const double sampleRate = rig.context.sampleRate;
    std::vector<float> tone(2 * frames);
    for (int i = 0; i < frames; i++)
        tone[2 * i] = tone[2 * i + 1] = (float)(0.01 * sin(2.0 * M_PI * frequency * i / sampleRate));
    rig.Run(tone);
    float peak[2] = {0.0f, 0.0f};
    for (int i = frames / 2; i < frames; i++)
        for (int lane = 0; lane < 2; lane++) peak[lane] = fmaxf(peak[lane], fabsf(tone[2 * i + lane]));
    EXPECT_EQ(peak[0], peak[1]);
    return peak[0] / 0.01f;
}

float ToneGain(float sampleRate, std::initializer_list<std::pair<int, float>> values,
               double frequency) {
    UnitRig rig(EqRun, PARAM_EQ_ENABLE, sampleRate);
    for (auto [row, value] : values) rig.Set(row, value);
    return ToneGainThrough(rig, frequency);
}

TEST(Eq, each_band_lifts_or_cuts_its_frequency_by_twenty_decibels_up_to_0_49_of_the_rate) {
    // Mid Frequency spans 50 Hz to about 20.8 kHz evenly in octaves: the dial's
    // middle lies at the geometric mean of its ends, about 1,020 Hz.
    for (float gain : {1.0f, 0.0f}) {
        float g = ToneGain(48000.0f, {{PARAM_EQ_MID_FREQUENCY, 0.5f}, {PARAM_EQ_MID_WIDTH, gain},
                                      {PARAM_EQ_MID_GAIN, gain}}, sqrt(50.0 * 20794.0));
        EXPECT_NEAR(g, gain ? 10.0f : 0.1f, gain ? 0.02f : 0.002f);
    }
    // The low shelf lifts the bass, the high shelf the top; each leaves the other end alone.
    EXPECT_NEAR(ToneGain(48000.0f, {{PARAM_EQ_LOW_GAIN, 1.0f}}, 20.0), 10.0f, 0.1f);
    EXPECT_NEAR(ToneGain(48000.0f, {{PARAM_EQ_LOW_GAIN, 1.0f}}, 20000.0), 1.0f, 0.01f);
    EXPECT_NEAR(ToneGain(48000.0f, {{PARAM_EQ_HIGH_GAIN, 1.0f}}, 23900.0), 10.0f, 0.1f);
    // The top, 20,794 Hz, is free at 44.1 kHz and held at 15,680 Hz at 32 kHz.
    EXPECT_NEAR(ToneGain(44100.0f, {{PARAM_EQ_MID_FREQUENCY, 1.0f}, {PARAM_EQ_MID_GAIN, 1.0f}}, 20794.0), 10.0f,
                0.05f);
    EXPECT_NEAR(ToneGain(32000.0f, {{PARAM_EQ_MID_FREQUENCY, 0.97f}, {PARAM_EQ_MID_GAIN, 1.0f}}, 15680.0),
                10.0f, 0.05f);
}

// One EQ whose dials and rate move between runs sounds as a new one would.
TEST(Eq, sections_follow_a_dial_or_the_rate_that_moves_between_runs) {
    UnitRig rig(EqRun, PARAM_EQ_ENABLE, 44100.0f);
    rig.Set(PARAM_EQ_LOW_GAIN, 1.0f);
    EXPECT_NEAR(ToneGainThrough(rig, 20.0), 10.0f, 0.1f);
    rig.Set(PARAM_EQ_LOW_GAIN, 0.5f);
    rig.Set(PARAM_EQ_MID_FREQUENCY, 0.97f), rig.Set(PARAM_EQ_MID_GAIN, 1.0f);
    EXPECT_NEAR(ToneGainThrough(rig, 20.0), 1.0f, 0.01f);
    EXPECT_LT(ToneGainThrough(rig, 15680.0), 9.0f);  // the peak lies higher at 44.1 kHz
    rig.context.sampleRate = 32000.0f;
    EXPECT_NEAR(ToneGainThrough(rig, 15680.0), 10.0f, 0.05f);
}

// At gain 0.5 each section's numerator is its denominator, so the EQ passes
// the signal at any frequency and width; only the rounding of a float
// section, largest for the lowest frequencies, stands between. Disabled, it
// runs no section and keeps their states.
TEST(Eq, gains_at_half_pass_the_signal_at_any_frequency_and_disabled_it_keeps_its_sections) {
    Random random(3);
    for (int round = 0; round < 12; round++) {
        UnitRig rig(EqRun, PARAM_EQ_ENABLE, round % 2 ? 44100.0f : 96000.0f);
        for (int row :
             {PARAM_EQ_MID_FREQUENCY, PARAM_EQ_MID_WIDTH, PARAM_EQ_LOW_FREQUENCY, PARAM_EQ_HIGH_FREQUENCY})
            rig.Set(row, round < 8 ? random.Unit() : (float)random.Below(2));
        std::vector<float> in = Noise(4000, round), out = rig.Through(in);
        for (size_t i = 0; i < in.size(); i++) ASSERT_NEAR(out[i], in[i], 0.01f) << round << " " << i;
    }
    UnitRig rig(EqRun, PARAM_EQ_ENABLE, 44100.0f);
    rig.Set(PARAM_EQ_LOW_GAIN, 0.9f), rig.Set(PARAM_EQ_MID_GAIN, 0.2f);
    rig.Through(Noise(100, 1));
    EqState before = rig.engine->eq[0];
    rig.Set(PARAM_EQ_ENABLE, 0.5f);
    std::vector<float> in = Noise(64, 2);
    EXPECT_EQ(rig.Through(in), in);
    EXPECT_EQ(memcmp(&before, &rig.engine->eq[0], sizeof before), 0);
}

// The graph's line, one row per column, for EQ instance 1 with these editor
// values over the neutral ones: what the tooltip of an EQ dial shows.
std::vector<int> GraphRows(std::initializer_list<std::pair<int, float>> values) {
    EngineContext context = {};
    MeterBlock meter = {};
    context.meter = &meter;
    for (int row = PARAM_EQ_MID_FREQUENCY; row <= PARAM_EQ_HIGH_GAIN + 2; row++) context.editorValue[row] = 0.5f;
    for (auto [row, value] : values) context.editorValue[row + 1] = value;
    EngineEqResponse(&context, 1);
    Canvas canvas(128, 40);
    UIWindow window = {};
    window.painter = canvas.painter;
    int32_t savedScale = uiScale;
    uiScale = 100;
    UIDrawResponseGraph(&window, 0, 0, 128, 40, meter.eqCurve, 0x6BFDC0);
    uiScale = savedScale;
    std::vector<int> rows;
    for (int x = 0; x < 128; x++) {
        int found = -1;
        for (int y = 39; y >= 0 && found < 0; y--) found = canvas.At(x, y) == 0xFF6BFDC0 ? y : -1;
        rows.push_back(found);
    }
    return rows;
}

TEST(Eq, the_editors_graph_follows_the_gains_and_the_frequencies) {
    const int zero = 20;
    std::vector<int> flat = GraphRows({});
    EXPECT_EQ(flat, std::vector<int>(128, zero));
    // A low shelf lifted rises on the left and leaves the right on the zero line;
    // a high shelf cut sinks on the right.
    std::vector<int> low = GraphRows({{PARAM_EQ_LOW_GAIN, 1.0f}});
    EXPECT_LT(low[1], zero);
    EXPECT_EQ(low[127], zero);
    std::vector<int> high = GraphRows({{PARAM_EQ_HIGH_GAIN, 0.0f}});
    EXPECT_EQ(high[1], zero);
    EXPECT_GT(high[127], zero);
    // A mid peak stands highest near where its frequency puts it.
    for (float frequency : {0.3f, 0.7f}) {
        std::vector<int> mid = GraphRows({{PARAM_EQ_MID_GAIN, 1.0f}, {PARAM_EQ_MID_FREQUENCY, frequency}});
        int peak = int(std::min_element(mid.begin() + 1, mid.end()) - mid.begin());
        EXPECT_NEAR(peak, frequency * 128, 8) << frequency;
        EXPECT_LT(mid[peak], zero);
    }
}

}  // namespace

