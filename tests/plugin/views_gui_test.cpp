// The unit views in the real editor under an X server (skipped without
// DISPLAY): the trance gate's steps flipped by presses, and the compressor's
// meter over levels that real audio makes. The host puts the unit in Effect
// Slot 1.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id GATE_ENABLE = 139, GATE_STEREO = 148, GATE_LEFT = 151, GATE_RIGHT = 154;
const clap_id COMPRESSOR_ENABLE = 178, COMPRESSOR_THRESHOLD = 190, EFFECT_SLOT_1 = 223;
const int GATE_ID = 6, COMPRESSOR_ID = 8;   // instance 0 of each kind
// Where the first slot shows the views, in the editor at 100 percent.
const int GATE_X = 252, GATE_Y = 87, METER_X = 362, METER_Y = 80, METER_W = 76, METER_H = 40;

struct Editor {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::unique_ptr<EditorFrame> frame = OpenEditor(*instance);

    // Host-side values, as automation sends them; the editor takes them at its next tick.
    void Set(std::vector<std::pair<clap_id, double>> values) {
        std::vector<HostEvent> events;
        for (auto [id, value] : values) events.push_back(ParamValueEvent(0, id, value));
        FlushParams(*instance, events);
        RunEditor(*instance, 0.15);
    }
    std::vector<uint32_t> Region(int x, int y, int w, int h) {
        uint32_t width, height;
        std::vector<uint32_t> pixels = EditorPixels(*frame, &width, &height), region;
        for (int row = y; row < y + h; row++)
            region.insert(region.end(), pixels.begin() + row * width + x, pixels.begin() + row * width + x + w);
        return region;
    }
    // The value the host hears after a left click at (x, y), -1 for none.
    double Click(int x, int y) {
        ::Click(*instance, *frame, x, y);
        double heard = -1;
        for (const HostEvent &e : FlushParams(*instance))
            if (e.header.type == CLAP_EVENT_PARAM_VALUE) heard = e.value.value;
        return heard;
    }
};

// An editor with the unit in the first slot, switched on.
#define NEED_EDITOR_WITH(id, enable)                       \
    NEED_X_SERVER();                                       \
    Editor editor;                                         \
    editor.Set({{EFFECT_SLOT_1, (id + 1) / 65536.0}, {enable, 1.0}})

int Pattern(double value) { return int(float(value) * 65536.0f - 1.0f); }

TEST(ViewsGui, gate_presses_flip_the_step_under_them_in_the_row_they_edit) {
    NEED_EDITOR_WITH(GATE_ID, GATE_ENABLE);
    int left = Pattern(*GetParamValue(*editor.instance, GATE_LEFT));
    EXPECT_EQ(Pattern(editor.Click(GATE_X + 9, GATE_Y + 5)), left ^ 1 << 1);
    EXPECT_EQ(Pattern(editor.Click(GATE_X + 156, GATE_Y + 5)), left ^ 1 << 1 ^ 1 << 15);
    // Without stereo the bottom row edits the left pattern; with it, the right one.
    EXPECT_EQ(Pattern(editor.Click(GATE_X + 9, GATE_Y + 20)), left ^ 1 << 15);
    int right = Pattern(*GetParamValue(*editor.instance, GATE_RIGHT));
    editor.Set({{GATE_STEREO, 1.0}});
    EXPECT_EQ(Pattern(editor.Click(GATE_X + 9, GATE_Y + 20)), right ^ 1 << 1);
    EXPECT_EQ(Pattern(*GetParamValue(*editor.instance, GATE_LEFT)), left ^ 1 << 15);
}

TEST(ViewsGui, compressor_meter_shows_levels_of_the_audio_that_ran) {
    NEED_EDITOR_WITH(COMPRESSOR_ID, COMPRESSOR_ENABLE);
    editor.Set({{COMPRESSOR_THRESHOLD, 1.0}});   // no reduction below 0 dB; the mark at the right
    Activate(*editor.instance, 48000.0, 9600);
    auto meter = [&](float amplitude) {   // a steady level, then what the meter shows
        StereoBuffer input = MakeStereo(9600, amplitude), output = MakeStereo(9600);
        ProcessStereo(*editor.instance, input, output);
        RunEditor(*editor.instance, 0.15);
        return editor.Region(METER_X, METER_Y, METER_W, METER_H);
    };
    auto at = [&](const std::vector<uint32_t> &region, int x, int y) { return region[y * METER_W + x]; };
    std::vector<uint32_t> silent = meter(0.0f);
    // -70 dB in: no bar and no number, as for silence. -50 dB: a number only.
    EXPECT_EQ(meter(powf(10.0f, -70.0f / 20)), silent);
    std::vector<uint32_t> quiet = meter(powf(10.0f, -50.0f / 20));
    EXPECT_NE(quiet, silent);
    EXPECT_EQ(at(quiet, 3, 3), at(silent, 3, 3));
    // -30 dB: a quarter of the bar. Past 0 dB out (2 dB of makeup): full, in another colour.
    std::vector<uint32_t> quarter = meter(powf(10.0f, -29.9f / 20));
    uint32_t bar = at(quarter, 3, 3);
    EXPECT_NE(bar, at(silent, 3, 3));
    int length = 0;
    while (at(quarter, 3 + length, 3) == bar) length++;
    EXPECT_EQ(length, (METER_W - 6) / 4);
    std::vector<uint32_t> loud = meter(1.01f);
    EXPECT_EQ(at(loud, 10, 21), at(loud, METER_W - 8, 21));
    EXPECT_NE(at(loud, 10, 21), bar);
    EXPECT_NE(at(loud, 10, 21), at(silent, 10, 21));
}

}  // namespace
