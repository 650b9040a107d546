// The modulation panel through the editor under a real X server (skipped
// without DISPLAY): pointing a modulator at a control, and editing its curve
// while the audio runs, heard in the output and kept in the saved state.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <atomic>
#include <thread>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id DESTINATION_1 = 199, AMOUNT_1 = 208, RATE_1 = 217;
const double POST_GAIN_CODE = 1.0 / 65536;   // Post Gain is row 0
// Places on the editor at 100 percent: Modulator 1's first destination
// picker, the Post Gain dial, Modulator 1's Rate picker; in the first curve's
// box, its default peak (0.5, 1) and a height below the box.
const int32_t PICKER_X = 675, PICKER_Y = 399, GAIN_X = 897, GAIN_Y = 20, RATE_X = 800, RATE_Y = 360;
const int32_t PEAK_X = 886, PEAK_Y = 384, BELOW_CURVE = 545;

void Press(Instance &instance, EditorFrame &frame, int32_t x, int32_t y, uint32_t button, bool down) {
    PointerMove(frame, x, y);
    RunEditor(instance, 0.04);
    PointerButton(frame, button, down);
    RunEditor(instance, 0.06);
}

double MeanBrightness(const EditorFrame &frame) {
    uint32_t width, height;
    double sum = 0;
    std::vector<uint32_t> pixels = EditorPixels(frame, &width, &height);
    for (uint32_t p : pixels) sum += (p >> 16 & 255) + (p >> 8 & 255) + (p & 255);
    return sum / pixels.size();
}

// 0.1 s of a steady input with Modulator 1 on Post Gain at full amount, from
// the transport's start, so that each render reads the curve at the same phases.
StereoBuffer Render(Instance &instance) {
    StereoBuffer input = MakeStereo(4800, 0.25f), output = MakeStereo(4800);
    clap_event_transport_t transport = MakeTransport(120.0, true, 0);
    ProcessStereo(instance, input, output,
                  {ParamValueEvent(0, DESTINATION_1, POST_GAIN_CODE), ParamValueEvent(0, AMOUNT_1, 1.0)},
                  &transport);
    return output;
}

TEST(ModulationGui, a_picker_then_a_modulatable_dial_makes_the_destination_any_other_press_cancels) {
    NEED_X_SERVER();
    auto instance = CreateInstance(TestPlugin());
    auto frame = OpenEditor(*instance);
    RunEditor(*instance, 0.2);
    double plain = MeanBrightness(*frame);
    double rate = *GetParamValue(*instance, RATE_1);
    Click(*instance, *frame, PICKER_X, PICKER_Y);
    EXPECT_LT(MeanBrightness(*frame), 0.8 * plain);   // all but the targets dim
    // The Rate can't be modulated: the press only cancels, and opens no menu.
    Click(*instance, *frame, RATE_X, RATE_Y);
    EXPECT_NEAR(MeanBrightness(*frame), plain, 1.0);
    EXPECT_EQ(*GetParamValue(*instance, DESTINATION_1), 0.0);
    EXPECT_EQ(*GetParamValue(*instance, RATE_1), rate);
    // A picker pressed twice cancels too.
    Click(*instance, *frame, PICKER_X, PICKER_Y);
    Click(*instance, *frame, PICKER_X, PICKER_Y);
    Click(*instance, *frame, GAIN_X, GAIN_Y);
    EXPECT_EQ(*GetParamValue(*instance, DESTINATION_1), 0.0);
    Click(*instance, *frame, PICKER_X, PICKER_Y);
    Click(*instance, *frame, GAIN_X, GAIN_Y);
    EXPECT_FLOAT_EQ(*GetParamValue(*instance, DESTINATION_1), POST_GAIN_CODE);
    EXPECT_EQ(*GetParamValue(*instance, 0), 0.5);   // the press assigned; it moved nothing
    // "Remove assign" stands under the picker while a destination is set.
    Click(*instance, *frame, PICKER_X, PICKER_Y);
    Click(*instance, *frame, PICKER_X, PICKER_Y + 18);
    EXPECT_EQ(*GetParamValue(*instance, DESTINATION_1), 0.0);
}

TEST(ModulationGui, dragging_a_curve_point_changes_the_sound_and_the_saved_state_keeps_the_curve) {
    NEED_X_SERVER();
    auto instance = StartInstance(TestPlugin());
    auto frame = OpenEditor(*instance);
    RunEditor(*instance, 0.2);
    StereoBuffer rising = Render(*instance);
    EXPECT_EQ(FirstDifferentFrame(rising, Render(*instance)), -1);
    // The first fifth of the triangle rises: so does the gain.
    EXPECT_GT(rising.left.back(), 1.2f * rising.left.front());
    int dirty = instance->host->calls.markDirty;
    Press(*instance, *frame, PEAK_X, PEAK_Y, 1, true);
    PointerMove(*frame, PEAK_X, PEAK_Y + 60);
    RunEditor(*instance, 0.05);
    Press(*instance, *frame, PEAK_X, BELOW_CURVE, 1, false);
    EXPECT_GT(instance->host->calls.markDirty, dirty);
    // The peak went down to 0: the curve is flat, and so is the gain.
    StereoBuffer flat = Render(*instance);
    EXPECT_EQ(flat.left.back(), flat.left.front());
    auto loaded = StartInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*loaded, SaveState(*instance).value_or(std::vector<uint8_t>())));
    EXPECT_EQ(FirstDifferentFrame(Render(*loaded), flat), -1);
}

TEST(ModulationGui, points_added_dragged_and_deleted_while_the_audio_thread_reads_the_curve) {
    NEED_X_SERVER();
    auto instance = StartInstance(TestPlugin());
    auto frame = OpenEditor(*instance);
    RunEditor(*instance, 0.2);
    size_t bytes = SaveState(*instance)->size();
    std::atomic<bool> done{false};
    std::atomic<int> blocks{0}, broken{0};
    std::thread audio([&] {
        while (!done) {
            StereoBuffer output = Render(*instance);
            for (float v : output.left) broken += !isfinite(v);
            blocks++;
        }
    });
    // Each right press away from the points adds one and drags it until release.
    for (int32_t x : {770, 800, 830, 860, 930}) {
        Press(*instance, *frame, x, 520, 3, true);
        PointerMove(*frame, x + 6, 514);
        RunEditor(*instance, 0.05);
        Press(*instance, *frame, x + 6, 514, 3, false);
    }
    // A right click near a point adds none: it opens the point's menu, whose
    // third item deletes it.
    Press(*instance, *frame, PEAK_X + 2, PEAK_Y + 2, 3, true);
    Press(*instance, *frame, PEAK_X + 2, PEAK_Y + 2, 3, false);
    Click(*instance, *frame, PEAK_X + 30, PEAK_Y + 53);
    done = true;
    audio.join();
    EXPECT_GT(blocks, 5);
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(SaveState(*instance)->size(), bytes + 4 * 3 * sizeof(float));
}

}  // namespace
