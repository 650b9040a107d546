// The skin images: selection by scale, the shrink, custom skin files in a
// temporary HOME, the draws' edge rules, and dial and slider frame arithmetic.
#include <gtest/gtest.h>
#include <math.h>
#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/canvas.h"
#include "tests/support/png_files.h"
#include "tests/support/shell_rig.h"
#include "toolkit/images.h"
#include "toolkit/scale.h"

namespace {

// An RGBA file of the colours colour(x, y) gives, as 0xAARRGGBB.
Bytes Rgba(int32_t width, int32_t height, uint32_t (*colour)(int32_t x, int32_t y)) {
    Bytes rows;
    for (int32_t y = 0; y < height; y++) {
        rows.push_back(0);
        for (int32_t x = 0; x < width; x++) {
            uint32_t c = colour(x, y);
            rows.insert(rows.end(), {(uint8_t)(c >> 16), (uint8_t)(c >> 8), (uint8_t)c, (uint8_t)(c >> 24)});
        }
    }
    return Png({(uint32_t)width, (uint32_t)height, 8, 6, 0, 0, 0}, Stored(rows));
}

// A pattern whose every channel is easy to mix by hand.
uint32_t Ramp(int32_t x, int32_t y) {
    return (uint32_t)(255 - 5 * x - 3 * y) << 24 | 10 * x << 16 | 10 * y << 8 | 0x40;
}

// The image's pixels, decoding them first when needed.
std::vector<uint32_t> PixelsOf(UIImage *image) {
    if (!UIImageEnsureLoaded(image)) return {};
    return std::vector<uint32_t>(image->pixels, image->pixels + image->width * image->height);
}

// A temporary folder that is the custom skin folder.
struct Images : ::testing::Test {
    TempHome home;
    int32_t oldScale = uiScale, oldSkin = uiSkin;

    Images() { UISkinSetFolder(home.home.c_str()); }
    void TearDown() override {
        uiScale = oldScale, uiSkin = oldSkin;
        UIImagesFree();
    }
    void Select(int32_t scale, int32_t skin) {
        uiScale = scale, uiSkin = skin;
        UISkinSelect();
    }
    // A skin file by its path under the folder, "Slider/7_2x.png" included.
    void Put(const std::string &name, const Bytes &file) {
        size_t slash = name.rfind('/');
        if (slash != std::string::npos) mkdir((home.home + "/" + name.substr(0, slash)).c_str(), 0755);
        TempHome::WriteWholeFile(home.home + "/" + name, std::string(file.begin(), file.end()));
    }
};

// Custom files of another size or kind fall back to the shipped art while the others are used.
TEST_F(Images, custom_art_at_200_is_copied_or_shrunk_bilinearly_and_misfits_fall_back) {
    UIImage *lamp = UIImageGet(IMAGE_USED_INDICATOR), *unused = UIImageGet(IMAGE_UNUSED_INDICATOR);
    UIImage *slider = UIImageFrame(STRIP_SLIDER, 7);
    Select(100, UI_SKIN_SHIPPED);
    std::vector<uint32_t> shippedLamp = PixelsOf(lamp);
    Select(200, UI_SKIN_SHIPPED);
    std::vector<uint32_t> shippedUnused = PixelsOf(unused), shippedSlider = PixelsOf(slider);
    ASSERT_FALSE(shippedLamp.empty() || shippedUnused.empty() || shippedSlider.empty());
    Put("UsedIndicator_2x.png", Rgba(24, 24, Ramp));   // 12 by 12 at design size
    Put("UnusedIndicator_2x.png", Rgba(13, 12, Ramp));   // one pixel too wide
    Put("Slider/7_2x.png", Png({58, 188, 16, 0, 0, 0, 0}, Stored(Bytes(188 * 117))));   // 16-bit grey
    Select(200, UI_SKIN_CUSTOM);
    std::vector<uint32_t> copied = PixelsOf(lamp);
    ASSERT_EQ(copied.size(), 24u * 24u);
    EXPECT_EQ(copied[24 * 5 + 7], Ramp(7, 5));
    EXPECT_EQ(PixelsOf(unused), shippedUnused);
    EXPECT_EQ(PixelsOf(slider), shippedSlider);

    // Each value: the four pixels around x * 1.6 mixed by their distances, per channel.
    auto at = [&](int32_t x, int32_t y) { return lamp->pixels[y * lamp->width + x]; };
    Select(125, UI_SKIN_CUSTOM);
    ASSERT_TRUE(UIImageEnsureLoaded(lamp));
    ASSERT_EQ(std::make_pair(lamp->width, lamp->height), std::make_pair(15, 15));
    EXPECT_EQ(at(7, 3), 0xB8703040u);    // from (11.2, 4.8): red 112, green 48, alpha 184.6
    EXPECT_EQ(at(14, 14), 0x4BDFDF40u);  // from 22.4: red 224 comes out a hair under, so 223

    Select(101, UI_SKIN_CUSTOM);   // 50.5 percent of the art
    ASSERT_TRUE(UIImageEnsureLoaded(lamp));
    ASSERT_EQ(std::make_pair(lamp->width, lamp->height), std::make_pair(12, 12));
    EXPECT_EQ(at(5, 6), 0xA9637640u);    // from (9.901, 11.881): red 99.0, green 118.8, alpha 169.9
    Select(100, UI_SKIN_CUSTOM);   // at 100 percent only "_1x" files count
    EXPECT_EQ(PixelsOf(lamp), shippedLamp);
}

TEST_F(Images, draws_are_all_or_nothing_at_the_edges_but_opaque_ones_cut_at_right_and_bottom) {
    // A 6 by 6 lamp: opaque red with a half-transparent first row.
    Put("UnusedIndicator_1x.png", Rgba(6, 6, [](int32_t, int32_t y) { return y ? 0xFFFF0000u : 0x80FF0000u; }));
    UIImage *lamp = UIImageGet(IMAGE_UNUSED_INDICATOR);
    Select(100, UI_SKIN_CUSTOM);
    Canvas canvas(20, 10);
    UIDrawImage(&canvas.painter, lamp, 15, 4, true);   // crosses the right edge by one pixel
    UIDrawImage(&canvas.painter, lamp, 3, 5, true);    // and the bottom
    UIDrawImage(&canvas.painter, lamp, -1, 0, true);
    EXPECT_EQ(canvas.Changed(), 0);
    UIDrawImage(&canvas.painter, lamp, 14, 4, true);   // exactly fits
    EXPECT_EQ(canvas.Changed(), 36);
    EXPECT_EQ(canvas.At(14, 4), 0xFF7F0000u);          // 255 * 128 >> 8 over black

    // Opaque draws cut at right and bottom; two pixels off the left draws nothing.
    Canvas opaque(8, 8, 0xFF808080);
    UIDrawImageOpaque(&opaque.painter, lamp, 4, 5);   // cut to 4 by 3
    EXPECT_EQ(opaque.Changed(), 12);
    UIDrawImageOpaque(&opaque.painter, lamp, -2, 0);
    EXPECT_EQ(opaque.Changed(), 12);

    // At 150 percent (4, 2) is (6, 3); a 60 by 60 dial frame crossing the edge is not drawn.
    Select(150, UI_SKIN_SHIPPED);
    UIImage *knob = UIImageFrame(STRIP_DIAL_SMALL_UNI_MAIN, 50);
    Canvas large(66, 63);
    UIDrawImage(&large.painter, knob, 5, 2, true);   // (7, 3): one pixel too far right
    EXPECT_EQ(large.Changed(), 0);
    UIDrawImage(&large.painter, knob, 4, 2, true);
    EXPECT_GT(large.Changed(), 0);
}

TEST(FilmStrip, dial_frames_step_invert_modulate_clamp_and_take_nan_as_zero) {
    auto frames = [](float value, int32_t steps, bool invert, float hostMod = 0, float modOffset = 0,
                     bool active = false) {
        UIDialFrames f = UIDialFramesFor(value, steps, invert, hostMod, modOffset, active);
        return std::make_pair(f.knob, f.ring);
    };
    typedef std::pair<int32_t, int32_t> Frames;
    EXPECT_EQ(frames(0.999f, 0, false), Frames(89, 89));
    EXPECT_EQ(frames(1, 0, false), Frames(90, 90));
    EXPECT_EQ(frames(0.5f, 6, false), Frames(42, 42));    // six steps: step 2 is 0.4
    EXPECT_EQ(frames(0.17f, 6, true), Frames(74, 74));    // 0.83 is step 4: 0.8
    // The ring shows the modulated value, held to the strip; modOffset only while audio runs.
    EXPECT_EQ(frames(0.9f, 0, false, 0.3f), Frames(82, 90));
    EXPECT_EQ(frames(0.5f, 0, false, 0.125f, 0.25f, true), Frames(50, 80));
    EXPECT_EQ(frames(NAN, 6, true), Frames(10, 10));
    EXPECT_EQ(frames(0.5f, 0, false, NAN), Frames(50, 10));
    EXPECT_EQ(UISliderFrame(0.49f), 49);
    EXPECT_EQ(UISliderFrame(NAN), 0);
}

}  // namespace
