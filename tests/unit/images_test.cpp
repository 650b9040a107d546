// The skin images: the tables against the embedded art, selection by scale,
// the shrink, custom skin files in a temporary HOME, the edge rules of the
// three draws, and the film-strip arithmetic of dials and sliders.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/canvas.h"
#include "tests/support/png_files.h"
#include "tests/support/shell_rig.h"
#include "toolkit/embedded.h"
#include "toolkit/images.h"
#include "toolkit/png.h"
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
uint32_t Green(int32_t, int32_t) { return 0xFF00FF00; }

// The decoded pixels of the embedded file that serves image at art scale 100 or 200.
std::vector<uint32_t> EmbeddedPixels(const UIImage *image, int32_t artScale) {
    for (int32_t r = 0; r < UI_IMAGE_ROW_COUNT; r++) {
        const UIImageRow *row = UIImageRowAt(r);
        if (row->image != image || row->scaleMax != artScale) continue;
        uint32_t *pixels = nullptr;
        int32_t width = 0, height = 0;
        EXPECT_TRUE(UIImageDecodePNG(row->fileStart, row->fileEnd - row->fileStart, &pixels, &width,
                                     &height, malloc, free));
        std::vector<uint32_t> copy(pixels, pixels + width * height);
        free(pixels);
        return copy;
    }
    return {};
}

// The image's pixels, decoding them first when needed.
std::vector<uint32_t> PixelsOf(UIImage *image) {
    if (!UIImageEnsureLoaded(image)) return {};
    return std::vector<uint32_t>(image->pixels, image->pixels + image->width * image->height);
}

// A temporary HOME that is its own custom skin folder; the process-wide
// scale and skin come back and what a test decoded is freed afterwards.
struct Images : ::testing::Test {
    TempHome home;
    int32_t oldScale = uiScale, oldSkin = uiSkin;

    Images() { home.PutSettings("[LathemoorFX]\nCustomSkin=" + home.home + "\n"); }
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

TEST_F(Images, every_picture_has_two_rows_with_an_embedded_file_of_the_art_size) {
    EXPECT_EQ(std::u32string(UIImageFrame(STRIP_DIAL_SMALL_BI_MAIN, 45)->name), U"DialSmallBiMainLayer/45");
    EXPECT_EQ(UIImageFrame(STRIP_SLIDER, 101), UIImageFrame(STRIP_SLIDER, 100));   // held to the strip
    EXPECT_EQ(UIImageFrame(STRIP_DIAL_TINY_BI_MOD, 9), UIImageFrame(STRIP_DIAL_TINY_BI_MOD, 10));

    int32_t rowsPerImage[UI_IMAGE_COUNT] = {};
    for (int32_t r = 0; r < UI_IMAGE_ROW_COUNT; r++) {
        const UIImageRow *row = UIImageRowAt(r);
        rowsPerImage[row->image - UIImageAt(0)]++;
        ASSERT_TRUE(row->fileStart) << r;
        EXPECT_EQ(row->skin, UI_SKIN_SHIPPED);
        EXPECT_EQ(row->scaleMin, row->scaleMax == 100 ? 1 : 101);
        int32_t width = 0, height = 0;
        ASSERT_TRUE(UIImageReadPNGSize(row->fileStart, row->fileEnd - row->fileStart, &width, &height)) << r;
        EXPECT_EQ(width, row->image->designWidth * row->scaleMax / 100) << r;
        EXPECT_EQ(height, row->image->designHeight * row->scaleMax / 100) << r;
    }
    for (int32_t count : rowsPerImage) EXPECT_EQ(count, 2);
    // The directory is looked up by exact path, so it must stay sorted.
    EXPECT_TRUE(UIEmbeddedFind("res/100/lmx/LathemoorFXSynthSlider49_.png"));
    EXPECT_FALSE(UIEmbeddedFind("res/100/lmx/LathemoorFXSynthSlider49.png"));
    for (uint32_t i = 1; i < uiEmbeddedFileCount; i++)
        EXPECT_LT(strcmp(uiEmbeddedFiles[i - 1].path, uiEmbeddedFiles[i].path), 0);
}

TEST_F(Images, selection_sizes_by_scale_copies_art_at_its_own_scale_and_frees_on_reselect) {
    UIImage *button = UIImageGet(IMAGE_ADD_BUTTON);   // 78 by 25
    Select(150, UI_SKIN_SHIPPED);
    EXPECT_EQ(button->artScale, 200);
    ASSERT_TRUE(UIImageEnsureLoaded(button));
    EXPECT_EQ(std::make_pair(button->width, button->height), std::make_pair(117, 37));   // 156 * 150 / 200

    Select(200, UI_SKIN_SHIPPED);
    EXPECT_FALSE(button->pixels);   // freed by the new selection
    EXPECT_EQ(PixelsOf(button), EmbeddedPixels(button, 200));
    EXPECT_EQ(button->width, 156);
    Select(100, UI_SKIN_SHIPPED);
    EXPECT_EQ(PixelsOf(button), EmbeddedPixels(button, 100));
    Select(1, UI_SKIN_SHIPPED);   // 0.78 by 0.25 pixels: nothing to show
    EXPECT_FALSE(UIImageEnsureLoaded(button));
    EXPECT_EQ(button->width, 0);
    // A skin number without rows leaves every picture empty rather than stale.
    Select(100, 7);
    EXPECT_FALSE(UIImageEnsureLoaded(button));
    EXPECT_FALSE(UIImageEnsureLoaded(UIImageFrame(STRIP_SLIDER, 3)));
}

TEST_F(Images, custom_art_at_200_is_copied_or_shrunk_bilinearly_to_125_and_101_percent) {
    Put("UsedIndicator_2x.png", Rgba(24, 24, Ramp));   // 12 by 12 at design size
    UIImage *lamp = UIImageGet(IMAGE_USED_INDICATOR);
    Select(200, UI_SKIN_CUSTOM);
    std::vector<uint32_t> copied = PixelsOf(lamp);
    ASSERT_EQ(copied.size(), 24u * 24u);
    for (int32_t i = 0; i < 24 * 24; i++) ASSERT_EQ(copied[i], Ramp(i % 24, i / 24)) << i;

    // Each value: the four pixels around x * 1.6 mixed by their distances, per
    // channel; alpha 255 - 5x - 3y mixes like the colours.
    auto at = [&](int32_t x, int32_t y) { return lamp->pixels[y * lamp->width + x]; };
    Select(125, UI_SKIN_CUSTOM);
    ASSERT_TRUE(UIImageEnsureLoaded(lamp));
    ASSERT_EQ(std::make_pair(lamp->width, lamp->height), std::make_pair(15, 15));
    EXPECT_EQ(at(0, 0), 0xFF000040u);
    EXPECT_EQ(at(1, 1), 0xF2101040u);    // from 1.6: red 10 * 0.4 + 20 * 0.6 = 16, alpha 242.2
    EXPECT_EQ(at(7, 3), 0xB8703040u);    // from (11.2, 4.8): red 112, green 48, alpha 184.6
    EXPECT_EQ(at(14, 14), 0x4BDFDF40u);  // from 22.4: red 224 comes out a hair under, so 223

    Select(101, UI_SKIN_CUSTOM);   // 50.5 percent of the art
    ASSERT_TRUE(UIImageEnsureLoaded(lamp));
    ASSERT_EQ(std::make_pair(lamp->width, lamp->height), std::make_pair(12, 12));
    EXPECT_EQ(at(0, 0), 0xFF000040u);
    EXPECT_EQ(at(5, 6), 0xA9637640u);    // from (9.901, 11.881): red 99.0, green 118.8, alpha 169.9
    EXPECT_EQ(at(11, 11), 0x50D9D940u);  // from 21.782: red 217.8, alpha 80.8
}

TEST_F(Images, custom_files_of_another_size_or_an_unsupported_kind_fall_back_while_the_others_are_used) {
    UIImage *used = UIImageGet(IMAGE_USED_INDICATOR), *unused = UIImageGet(IMAGE_UNUSED_INDICATOR);
    UIImage *frame = UIImageFrame(STRIP_DIAL_SMALL_BI_MAIN, 45), *slider = UIImageFrame(STRIP_SLIDER, 7);
    UIImage *handle = UIImageGet(IMAGE_CURVE_HANDLE_ENDPOINT);
    Put("UsedIndicator_2x.png", Rgba(24, 24, Green));
    Put("UnusedIndicator_2x.png", Rgba(13, 12, Green));   // one pixel too wide
    Put("DialSmallBiMainLayer/45_2x.png", Rgba(80, 80, Green));
    Put("Slider/7_2x.png", Png({58, 188, 16, 0, 0, 0, 0}, Stored(Bytes(188 * 117))));   // 16-bit grey
    Put("CurveHandleEndpoint_2x.png", Bytes(100, 0));   // not a PNG
    Select(200, UI_SKIN_CUSTOM);
    EXPECT_EQ(PixelsOf(used), std::vector<uint32_t>(24 * 24, 0xFF00FF00));
    EXPECT_EQ(PixelsOf(frame), std::vector<uint32_t>(80 * 80, 0xFF00FF00));
    for (UIImage *image : {unused, slider, handle}) {
        ASSERT_TRUE(UIImageEnsureLoaded(image));
        EXPECT_EQ(PixelsOf(image), EmbeddedPixels(image, 200)) << image - UIImageAt(0);
    }
    // The unipolar frame shares the file but has no custom picture of its own.
    EXPECT_EQ(PixelsOf(UIImageFrame(STRIP_DIAL_SMALL_UNI_MAIN, 45)), EmbeddedPixels(frame, 200));

    // At 100 percent the "_1x" files count; the "_2x" ones are not looked at.
    Put("UnusedIndicator_1x.png", Rgba(6, 6, Green));
    Select(100, UI_SKIN_CUSTOM);
    EXPECT_EQ(PixelsOf(unused), std::vector<uint32_t>(36, 0xFF00FF00));
    EXPECT_EQ(PixelsOf(used), EmbeddedPixels(used, 100));
    Select(100, UI_SKIN_SHIPPED);   // the shipped skin reads no folder
    EXPECT_EQ(PixelsOf(unused), EmbeddedPixels(unused, 100));
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
    EXPECT_EQ(canvas.At(19, 9), 0xFFFF0000u);
    EXPECT_EQ(canvas.At(14, 4), 0xFF7F0000u);          // 255 * 128 >> 8 over black

    // UIDrawImageAlpha scales every alpha by a / 256 first.
    Canvas faded(20, 10);
    UIDrawImageAlpha(&faded.painter, lamp, 0, 0, 96);
    EXPECT_EQ(faded.At(0, 1), 0xFF5E0000u);   // alpha 255 * 96 >> 8 = 95: red 255 * 95 >> 8 = 94
    EXPECT_EQ(faded.At(0, 0), 0xFF2F0000u);   // alpha 128 * 96 >> 8 = 48: red 47
    UIDrawImageAlpha(&faded.painter, lamp, 15, 0, 255);   // crossing the edge: nothing
    EXPECT_EQ(faded.Changed(), 36);

    // Opaque draws copy even alpha 0 as a colour and cut at right and bottom,
    // but draw nothing that starts left of the buffer.
    Put("UnusedIndicator_1x.png", Rgba(6, 6, [](int32_t x, int32_t) { return (uint32_t)(0x20 * x) << 24 | 0xFFu; }));
    Select(100, UI_SKIN_CUSTOM);
    Canvas opaque(8, 8, 0xFF808080);
    UIDrawImageOpaque(&opaque.painter, lamp, 4, 5);   // cut to 4 by 3
    EXPECT_EQ(opaque.Changed(), 12);
    EXPECT_EQ(opaque.At(4, 5), 0xFF0000FFu);
    EXPECT_EQ(opaque.At(7, 7), 0xFF0000FFu);
    Canvas left(8, 8, 0xFF808080);
    UIDrawImageOpaque(&left.painter, lamp, -2, 0);
    EXPECT_EQ(left.Changed(), 0);
    UIDrawImageOpaque(&left.painter, lamp, -1, 0);   // one pixel off counts as the edge
    EXPECT_EQ(left.Changed(), 36);

    // CheckboxOn is drawn one design unit higher than asked: at the top it is
    // dropped by UIDrawImage, and stood on the edge by UIDrawImageAlpha.
    UIImage *on = UIImageGet(IMAGE_CHECKBOX_ON);
    Canvas box(19, 22), boxAlpha(19, 22);
    UIDrawImage(&box.painter, on, 0, 0, true);
    EXPECT_EQ(box.Changed(), 0);
    UIDrawImage(&box.painter, on, 0, 1, true);
    EXPECT_GT(box.Changed(), 0);
    UIDrawImageAlpha(&boxAlpha.painter, on, 0, 0, 79);
    EXPECT_GT(boxAlpha.Changed(), 0);

    // Scaled positions: at 150 percent (4, 2) is (6, 3) in pixels, where a dial
    // frame of 60 by 60 that crosses the buffer's edge is not drawn at all.
    Select(150, UI_SKIN_SHIPPED);
    UIImage *knob = UIImageFrame(STRIP_DIAL_SMALL_UNI_MAIN, 50);
    Canvas large(66, 63);
    UIDrawImage(&large.painter, knob, 5, 2, true);   // (7, 3): one pixel too far right
    EXPECT_EQ(large.Changed(), 0);
    UIDrawImage(&large.painter, knob, 4, 2, true);
    EXPECT_GT(large.Changed(), 0);
    for (int32_t x = 0; x < 66; x++) EXPECT_EQ(large.At(x, 2), large.background) << x;   // none above y 3
    for (int32_t y = 0; y < 63; y++) EXPECT_EQ(large.At(5, y), large.background) << y;   // nor left of x 6
}

TEST(FilmStrip, dial_frames_step_invert_modulate_clamp_and_take_nan_as_zero_and_units_find_backgrounds) {
    auto frames = [](float value, int32_t steps, bool invert, float hostMod = 0, float modOffset = 0,
                     bool active = false) {
        UIDialFrames f = UIDialFramesFor(value, steps, invert, hostMod, modOffset, active);
        return std::make_pair(f.knob, f.ring);
    };
    typedef std::pair<int32_t, int32_t> Frames;
    EXPECT_EQ(frames(0, 0, false), Frames(10, 10));
    EXPECT_EQ(frames(0.5f, 0, false), Frames(50, 50));
    EXPECT_EQ(frames(0.999f, 0, false), Frames(89, 89));
    EXPECT_EQ(frames(1, 0, false), Frames(90, 90));
    // Six steps: floor(6 * 0.9999 * v) / 5.
    EXPECT_EQ(frames(0.17f, 6, false), Frames(26, 26));   // step 1: 0.2
    EXPECT_EQ(frames(0.5f, 6, false), Frames(42, 42));    // step 2: 0.4
    EXPECT_EQ(frames(1, 6, false), Frames(90, 90));       // step 5
    EXPECT_EQ(frames(0.3f, 1, false), Frames(34, 34));    // one step: continuous
    EXPECT_EQ(frames(0.25f, 0, true), Frames(70, 70));
    EXPECT_EQ(frames(0.17f, 6, true), Frames(74, 74));    // 0.83 is step 4: 0.8
    // The ring shows the modulated value, held to the strip; modOffset only
    // while the audio side runs.
    EXPECT_EQ(frames(0.9f, 0, false, 0.3f), Frames(82, 90));
    EXPECT_EQ(frames(0.1f, 0, false, -0.5f), Frames(18, 10));
    EXPECT_EQ(frames(0.5f, 0, false, 0, 0.25f), Frames(50, 50));
    EXPECT_EQ(frames(0.5f, 0, false, 0.125f, 0.25f, true), Frames(50, 80));
    EXPECT_EQ(frames(0.5f, 6, false, 0.1f), Frames(42, 50));   // from the stepped value
    // A NaN anywhere gives the first frame, never an undefined conversion.
    EXPECT_EQ(frames(NAN, 0, false), Frames(10, 10));
    EXPECT_EQ(frames(NAN, 6, true), Frames(10, 10));
    EXPECT_EQ(frames(0.5f, 0, false, NAN), Frames(50, 10));
    EXPECT_EQ(frames(0.5f, 0, false, INFINITY), Frames(50, 90));

    const std::pair<float, int32_t> SLIDER[] = {{0.49f, 49}, {1, 100}, {-0.2f, 0}, {2, 100}, {NAN, 0}};
    for (auto pair : SLIDER) EXPECT_EQ(UISliderFrame(pair.first), pair.second) << pair.first;
    EXPECT_FALSE(UIDialInUse(0, false));
    EXPECT_TRUE(UIDialInUse(0.5f, false));
    EXPECT_FALSE(UIDialInUse(0.5f, true));
    EXPECT_TRUE(UIDialInUse(0, true));
    EXPECT_TRUE(UIDialInUse(NAN, false) && UIDialInUse(NAN, true));

    // Unit backgrounds by cluster: 2 + 9 * instance + the unit's kind.
    EXPECT_EQ(UIUnitBackground(2), UIImageGet(IMAGE_UNIT_POLYRHYTHMIC_DELAY));
    EXPECT_EQ(UIUnitBackground(11), UIImageGet(IMAGE_UNIT_POLYRHYTHMIC_DELAY));
    EXPECT_EQ(UIUnitBackground(28), UIImageGet(IMAGE_UNIT_COMPRESSOR));
    EXPECT_FALSE(UIUnitBackground(1) || UIUnitBackground(29));
}

}  // namespace
