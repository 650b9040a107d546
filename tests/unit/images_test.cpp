// The skin images: the tables against the embedded art, selection by scale,
// the shrink, custom skin files in a temporary HOME, the edge rules of the
// three draws, and the film-strip arithmetic of dials and sliders.
#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <fstream>
#include <string>
#include <vector>

#include "toolkit/embedded.h"
#include "toolkit/images.h"
#include "toolkit/png.h"
#include "toolkit/scale.h"

namespace {

typedef std::vector<uint8_t> Bytes;

// ---- a PNG writer: zlib stored blocks, so any size and depth can be made ----

uint32_t Crc(const uint8_t *bytes, size_t size) {
    uint32_t crc = 0xFFFFFFFF;
    for (size_t i = 0; i < size; i++) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; bit++) crc = crc >> 1 ^ (0xEDB88320 & -(crc & 1));
    }
    return ~crc;
}

void PutBig32(Bytes *out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out->push_back((uint8_t)(value >> shift));
}

void PutChunk(Bytes *out, const char *type, const Bytes &data) {
    PutBig32(out, (uint32_t)data.size());
    Bytes typed(type, type + 4);
    typed.insert(typed.end(), data.begin(), data.end());
    out->insert(out->end(), typed.begin(), typed.end());
    PutBig32(out, Crc(typed.data(), typed.size()));
}

// rows: each row's bytes without the filter byte.
Bytes EncodePNG(int32_t width, int32_t height, uint8_t depth, uint8_t colourType, const Bytes &rows) {
    Bytes raw;
    size_t stride = rows.size() / height;
    for (int32_t y = 0; y < height; y++) {
        raw.push_back(0);
        raw.insert(raw.end(), rows.begin() + y * stride, rows.begin() + (y + 1) * stride);
    }
    Bytes zlib = {0x78, 0x01};
    for (size_t at = 0; at < raw.size() || at == 0; at += 65535) {
        size_t length = std::min<size_t>(65535, raw.size() - at);
        zlib.push_back(at + length == raw.size());
        zlib.push_back(length & 0xFF), zlib.push_back(length >> 8);
        zlib.push_back(~length & 0xFF), zlib.push_back(~length >> 8 & 0xFF);
        zlib.insert(zlib.end(), raw.begin() + at, raw.begin() + at + length);
    }
    uint32_t a = 1, b = 0;
    for (uint8_t byte : raw) a = (a + byte) % 65521, b = (b + a) % 65521;
    PutBig32(&zlib, b << 16 | a);
    Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes header;
    PutBig32(&header, width), PutBig32(&header, height);
    header.insert(header.end(), {depth, colourType, 0, 0, 0});
    PutChunk(&png, "IHDR", header);
    PutChunk(&png, "IDAT", zlib);
    PutChunk(&png, "IEND", {});
    return png;
}

Bytes EncodeRGBA(int32_t width, int32_t height, uint32_t (*colour)(int32_t x, int32_t y)) {
    Bytes rows;
    for (int32_t y = 0; y < height; y++)
        for (int32_t x = 0; x < width; x++) {
            uint32_t c = colour(x, y);
            rows.insert(rows.end(), {(uint8_t)(c >> 16), (uint8_t)(c >> 8), (uint8_t)c, (uint8_t)(c >> 24)});
        }
    return EncodePNG(width, height, 8, 6, rows);
}

// A pattern whose every channel is easy to mix by hand.
uint32_t Ramp(int32_t x, int32_t y) { return (uint32_t)(255 - 5 * x - 3 * y) << 24 | 10 * x << 16 | 10 * y << 8 | 0x40; }
uint32_t Green(int32_t, int32_t) { return 0xFF00FF00; }

void WriteFile(const std::string &path, const Bytes &bytes) {
    std::ofstream(path, std::ios::binary).write((const char *)bytes.data(), bytes.size());
}

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

// Restores the process-wide scale and skin and frees what a test decoded.
struct ImagesTest : ::testing::Test {
    int32_t oldScale = uiScale, oldSkin = uiSkin;
    void Select(int32_t scale, int32_t skin) {
        uiScale = scale, uiSkin = skin;
        UISkinSelect();
    }
    void TearDown() override {
        uiScale = oldScale, uiSkin = oldSkin;
        UIImagesFree();
    }
};

// A temporary HOME whose settings name a custom skin folder.
struct CustomSkin : ImagesTest {
    std::string home, skin, oldHome = getenv("HOME") ? getenv("HOME") : "";
    void SetUp() override {
        char pattern[] = "/tmp/images-test-XXXXXX";
        ASSERT_TRUE(mkdtemp(pattern));
        home = pattern, skin = home + "/skin";
        mkdir((home + "/.config").c_str(), 0755);
        mkdir(skin.c_str(), 0755);
        std::ofstream(home + "/.config/OrwenAudioPlugins.ini") << "[LathemoorFX]\nCustomSkin=" << skin << "\n";
        setenv("HOME", home.c_str(), 1);
    }
    void TearDown() override {
        ImagesTest::TearDown();
        setenv("HOME", oldHome.c_str(), 1);
        system(("rm -rf " + home).c_str());
    }
};

struct Canvas {
    std::vector<uint32_t> pixels;
    UIPainter painter;
    Canvas(int32_t width, int32_t height, uint32_t colour) : pixels(width * height, colour) {
        painter = UIPainter{width, height, pixels.data(), nullptr};
    }
    uint32_t At(int32_t x, int32_t y) const { return pixels[y * painter.width + x]; }
    int32_t Changed(uint32_t background) const {
        int32_t count = 0;
        for (uint32_t p : pixels) count += p != background;
        return count;
    }
};

// ---- the tables and the embedded art ----

TEST_F(ImagesTest, every_picture_has_a_name_and_every_row_an_embedded_file_of_the_art_size) {
    ASSERT_EQ(UI_IMAGE_COUNT, 1106);
    ASSERT_EQ(UI_IMAGE_ROW_COUNT, 2212);
    ASSERT_EQ(UI_IMAGE_STRIP_COUNT, 13);
    EXPECT_EQ(std::u32string(UIImageFrame(STRIP_DIAL_SMALL_BI_MAIN, 45)->name), U"DialSmallBiMainLayer/45");
    EXPECT_EQ(std::u32string(UIImageFrame(STRIP_SLIDER, 0)->name), U"Slider/0");
    EXPECT_EQ(std::u32string(UIImageFrame(STRIP_SLIDER, 100)->name), U"Slider/100");
    EXPECT_EQ(UIImageFrame(STRIP_SLIDER, 101), UIImageFrame(STRIP_SLIDER, 100));
    EXPECT_EQ(UIImageFrame(STRIP_DIAL_TINY_BI_MOD, 9), UIImageFrame(STRIP_DIAL_TINY_BI_MOD, 10));
    EXPECT_EQ(std::u32string(UIImageAt(UI_IMAGE_COUNT - 1)->name), U"PolyrhythmicDelay");
    EXPECT_EQ(std::u32string(UIImageGet(IMAGE_CHECKBOX_ON)->name), U"CheckboxOn");

    int32_t rowsPerImage[UI_IMAGE_COUNT] = {};
    for (int32_t r = 0; r < UI_IMAGE_ROW_COUNT; r++) {
        const UIImageRow *row = UIImageRowAt(r);
        const UIImage *image = row->image;
        rowsPerImage[image - UIImageAt(0)]++;
        ASSERT_TRUE(row->fileStart) << r;
        EXPECT_EQ(row->skin, UI_SKIN_SHIPPED);
        EXPECT_EQ(row->scaleMin, row->scaleMax == 100 ? 1 : 101);
        int32_t width = 0, height = 0;
        ASSERT_TRUE(UIImageReadPNGSize(row->fileStart, row->fileEnd - row->fileStart, &width, &height)) << r;
        EXPECT_EQ(width, image->designWidth * row->scaleMax / 100) << r;
        EXPECT_EQ(height, image->designHeight * row->scaleMax / 100) << r;
    }
    for (int32_t count : rowsPerImage) EXPECT_EQ(count, 2);
    // The knob layers of the bipolar strips are the unipolar pictures.
    const UIImage *bi = UIImageFrame(STRIP_DIAL_NORMAL_BI_MAIN, 33), *uni = UIImageFrame(STRIP_DIAL_NORMAL_UNI_MAIN, 33);
    const uint8_t *biFile = nullptr, *uniFile = nullptr;
    for (int32_t r = 0; r < UI_IMAGE_ROW_COUNT; r++) {
        if (UIImageRowAt(r)->image == bi && UIImageRowAt(r)->scaleMax == 200) biFile = UIImageRowAt(r)->fileStart;
        if (UIImageRowAt(r)->image == uni && UIImageRowAt(r)->scaleMax == 200) uniFile = UIImageRowAt(r)->fileStart;
    }
    EXPECT_EQ(biFile, uniFile);
    EXPECT_TRUE(UIEmbeddedFind("res/100/lmx/LathemoorFXSynthSlider49_.png"));
    EXPECT_TRUE(UIEmbeddedFind("res/BakedFonts.dat"));
    EXPECT_FALSE(UIEmbeddedFind("res/100/lmx/LathemoorFXSynthSlider49.png"));
    for (uint32_t i = 1; i < uiEmbeddedFileCount; i++)
        EXPECT_LT(strcmp(uiEmbeddedFiles[i - 1].path, uiEmbeddedFiles[i].path), 0);
}

TEST_F(ImagesTest, selection_sizes_by_scale_copies_art_at_its_own_scale_and_frees_on_reselect) {
    UIImage *button = UIImageGet(IMAGE_ADD_BUTTON);   // 78 by 25
    Select(150, UI_SKIN_SHIPPED);
    EXPECT_EQ(button->artScale, 200);
    EXPECT_EQ(button->width, 117);
    EXPECT_EQ(button->height, 37);
    EXPECT_EQ(UIImageGet(IMAGE_CHECKBOX_ON)->offsetY, -1);
    ASSERT_TRUE(UIImageEnsureLoaded(button));
    EXPECT_EQ(button->width, 117);
    EXPECT_EQ(button->height, 37);   // 156 * 150 / 200, 50 * 150 / 200
    EXPECT_FALSE(button->data);

    Select(200, UI_SKIN_SHIPPED);
    EXPECT_FALSE(button->pixels);   // freed by the new selection
    ASSERT_TRUE(UIImageEnsureLoaded(button));
    EXPECT_EQ(button->width, 156);
    EXPECT_EQ(PixelsOf(button), EmbeddedPixels(button, 200));
    Select(100, UI_SKIN_SHIPPED);
    ASSERT_TRUE(UIImageEnsureLoaded(button));
    EXPECT_EQ(button->artScale, 100);
    EXPECT_EQ(PixelsOf(button), EmbeddedPixels(button, 100));
    Select(1, UI_SKIN_SHIPPED);   // 0.78 by 0.25 pixels: nothing to show
    EXPECT_FALSE(UIImageEnsureLoaded(button));
    EXPECT_EQ(button->width, 0);

    // A skin number without rows leaves every picture empty rather than stale.
    Select(100, 7);
    EXPECT_FALSE(UIImageEnsureLoaded(button));
    EXPECT_FALSE(UIImageEnsureLoaded(UIImageFrame(STRIP_SLIDER, 3)));
}

// ---- custom skins and the shrink ----

TEST_F(CustomSkin, art_at_200_is_shrunk_bilinearly_to_125_and_101_percent) {
    WriteFile(skin + "/UsedIndicator_2x.png", EncodeRGBA(24, 24, Ramp));   // 12 by 12 at design size
    UIImage *lamp = UIImageGet(IMAGE_USED_INDICATOR);
    Select(200, UI_SKIN_CUSTOM);
    ASSERT_TRUE(UIImageEnsureLoaded(lamp));
    EXPECT_EQ(lamp->pixels[5 * 24 + 7], Ramp(7, 5));   // copied as it stands

    // Each value: the four pixels around x * 1.6 mixed by their distances, per
    // channel; alpha 255 - 5x - 3y mixes like the colours.
    Select(125, UI_SKIN_CUSTOM);
    ASSERT_TRUE(UIImageEnsureLoaded(lamp));
    ASSERT_EQ(lamp->width, 15);
    ASSERT_EQ(lamp->height, 15);
    auto at = [&](int32_t x, int32_t y) { return lamp->pixels[y * lamp->width + x]; };
    EXPECT_EQ(at(0, 0), 0xFF000040u);
    EXPECT_EQ(at(1, 1), 0xF2101040u);    // from 1.6: red 10 * 0.4 + 20 * 0.6 = 16, alpha 242.2
    EXPECT_EQ(at(7, 3), 0xB8703040u);    // from (11.2, 4.8): red 112, green 48, alpha 184.6
    EXPECT_EQ(at(14, 14), 0x4BDFDF40u);  // from 22.4: red 224 comes out a hair under, so 223

    Select(101, UI_SKIN_CUSTOM);   // 50.5 percent of the art
    ASSERT_TRUE(UIImageEnsureLoaded(lamp));
    ASSERT_EQ(lamp->width, 12);
    ASSERT_EQ(lamp->height, 12);
    EXPECT_EQ(at(0, 0), 0xFF000040u);
    EXPECT_EQ(at(5, 6), 0xA9637640u);    // from (9.901, 11.881): red 99.0, green 118.8, alpha 169.9
    EXPECT_EQ(at(11, 11), 0x50D9D940u);  // from 21.782: red 217.8, alpha 80.8
}

TEST_F(CustomSkin, files_of_another_size_or_an_unsupported_kind_fall_back_while_the_others_are_used) {
    UIImage *used = UIImageGet(IMAGE_USED_INDICATOR), *unused = UIImageGet(IMAGE_UNUSED_INDICATOR);
    UIImage *frame = UIImageFrame(STRIP_DIAL_SMALL_BI_MAIN, 45), *slider = UIImageFrame(STRIP_SLIDER, 7);
    UIImage *handle = UIImageGet(IMAGE_CURVE_HANDLE_ENDPOINT);
    WriteFile(skin + "/UsedIndicator_2x.png", EncodeRGBA(24, 24, Green));
    WriteFile(skin + "/UnusedIndicator_2x.png", EncodeRGBA(13, 12, Green));   // one pixel too wide
    mkdir((skin + "/DialSmallBiMainLayer").c_str(), 0755);
    WriteFile(skin + "/DialSmallBiMainLayer/45_2x.png", EncodeRGBA(80, 80, Green));
    mkdir((skin + "/Slider").c_str(), 0755);
    WriteFile(skin + "/Slider/7_2x.png", EncodePNG(58, 188, 16, 0, Bytes(58 * 188 * 2, 0x80)));   // 16-bit grey
    WriteFile(skin + "/CurveHandleEndpoint_2x.png", Bytes(100, 0));   // not a PNG
    Select(200, UI_SKIN_CUSTOM);
    for (UIImage *image : {used, unused, frame, slider, handle}) ASSERT_TRUE(UIImageEnsureLoaded(image));
    EXPECT_EQ(PixelsOf(used), std::vector<uint32_t>(24 * 24, 0xFF00FF00));
    EXPECT_EQ(PixelsOf(frame), std::vector<uint32_t>(80 * 80, 0xFF00FF00));
    EXPECT_EQ(PixelsOf(unused), EmbeddedPixels(unused, 200));
    EXPECT_EQ(PixelsOf(slider), EmbeddedPixels(slider, 200));
    EXPECT_EQ(PixelsOf(handle), EmbeddedPixels(handle, 200));
    EXPECT_EQ(PixelsOf(UIImageFrame(STRIP_DIAL_SMALL_UNI_MAIN, 45)),   // same file, no custom picture
              EmbeddedPixels(frame, 200));

    // At 100 percent the "_1x" files count; the "_2x" ones are not looked at.
    WriteFile(skin + "/UnusedIndicator_1x.png", EncodeRGBA(6, 6, Green));
    Select(100, UI_SKIN_CUSTOM);
    ASSERT_TRUE(UIImageEnsureLoaded(unused) && UIImageEnsureLoaded(used));
    EXPECT_EQ(PixelsOf(unused), std::vector<uint32_t>(36, 0xFF00FF00));
    EXPECT_EQ(PixelsOf(used), EmbeddedPixels(used, 100));
    // The shipped skin reads no folder.
    Select(100, UI_SKIN_SHIPPED);
    ASSERT_TRUE(UIImageEnsureLoaded(unused));
    EXPECT_EQ(PixelsOf(unused), EmbeddedPixels(unused, 100));
}

// ---- drawing ----

TEST_F(CustomSkin, draws_are_all_or_nothing_at_the_edges_with_their_own_rules) {
    // A 6 by 6 lamp: opaque red with a half-transparent first row.
    WriteFile(skin + "/UnusedIndicator_1x.png",
              EncodeRGBA(6, 6, [](int32_t x, int32_t y) { return y ? 0xFFFF0000u : 0x80FF0000u; }));
    UIImage *lamp = UIImageGet(IMAGE_UNUSED_INDICATOR);
    const uint32_t black = 0xFF000000;
    Select(100, UI_SKIN_CUSTOM);

    Canvas canvas(20, 10, black);
    UIDrawImage(&canvas.painter, lamp, 15, 4, true);   // crosses the right edge by one pixel
    UIDrawImage(&canvas.painter, lamp, 3, 5, true);    // and the bottom
    UIDrawImage(&canvas.painter, lamp, -1, 0, true);
    EXPECT_EQ(canvas.Changed(black), 0);
    UIDrawImage(&canvas.painter, lamp, 14, 4, true);   // exactly fits
    EXPECT_EQ(canvas.Changed(black), 36);
    EXPECT_EQ(canvas.At(19, 9), 0xFFFF0000u);
    EXPECT_EQ(canvas.At(14, 4), 0xFF7F0000u);          // 255 * 128 >> 8 over black

    // UIDrawImageAlpha scales every alpha by a / 256 first.
    Canvas faded(20, 10, black);
    UIDrawImageAlpha(&faded.painter, lamp, 0, 0, 96);
    EXPECT_EQ(faded.At(0, 1), 0xFF5E0000u);   // alpha 255 * 96 >> 8 = 95: red 255 * 95 >> 8 = 94
    EXPECT_EQ(faded.At(0, 0), 0xFF2F0000u);   // alpha 128 * 96 >> 8 = 48: red 47
    UIDrawImageAlpha(&faded.painter, lamp, 15, 0, 255);   // crossing the edge: nothing
    EXPECT_EQ(faded.At(19, 5), black);

    // Scaled positions: at 150 percent (4, 2) is (6, 3) in pixels, where a dial
    // frame that crosses the buffer's edge is not drawn at all.
    Select(150, UI_SKIN_SHIPPED);
    UIImage *knob = UIImageFrame(STRIP_DIAL_SMALL_UNI_MAIN, 50);   // 60 by 60 at 150 percent
    Canvas large(66, 63, black);
    UIDrawImage(&large.painter, knob, 5, 2, true);   // (7, 3): one pixel too far right
    EXPECT_EQ(large.Changed(black), 0);
    UIDrawImage(&large.painter, knob, 4, 2, true);
    EXPECT_GT(large.Changed(black), 0);
    for (int32_t x = 0; x < 66; x++) EXPECT_EQ(large.At(x, 2), black) << x;   // nothing above y = 3
    for (int32_t y = 0; y < 63; y++) EXPECT_EQ(large.At(5, y), black) << y;   // nor left of x = 6
}

TEST_F(CustomSkin, opaque_draws_copy_cut_at_right_and_bottom_and_the_checkbox_sits_one_higher) {
    WriteFile(skin + "/UnusedIndicator_1x.png",
              EncodeRGBA(6, 6, [](int32_t x, int32_t y) { return (uint32_t)(0x20 * x) << 24 | 0x0000FF; }));
    UIImage *lamp = UIImageGet(IMAGE_UNUSED_INDICATOR);
    const uint32_t grey = 0xFF808080;
    Select(100, UI_SKIN_CUSTOM);
    Canvas canvas(8, 8, grey);
    UIDrawImageOpaque(&canvas.painter, lamp, 4, 5);   // cut to 4 by 3
    EXPECT_EQ(canvas.Changed(grey), 12);
    EXPECT_EQ(canvas.At(4, 5), 0xFF0000FFu);   // alpha 0 copied as an opaque colour
    EXPECT_EQ(canvas.At(7, 7), 0xFF0000FFu);
    Canvas left(8, 8, grey);
    UIDrawImageOpaque(&left.painter, lamp, -2, 0);
    EXPECT_EQ(left.Changed(grey), 0);
    UIDrawImageOpaque(&left.painter, lamp, -1, 0);   // one pixel off counts as the edge
    EXPECT_EQ(left.Changed(grey), 36);

    // CheckboxOn is drawn one design unit higher than asked: at the top it is
    // dropped by UIDrawImage, and stood on the edge by UIDrawImageAlpha.
    UIImage *on = UIImageGet(IMAGE_CHECKBOX_ON);
    ASSERT_EQ(on->offsetY, -1);
    Canvas box(19, 22, grey);
    UIDrawImage(&box.painter, on, 0, 0, true);
    EXPECT_EQ(box.Changed(grey), 0);
    UIDrawImage(&box.painter, on, 0, 1, true);
    EXPECT_GT(box.Changed(grey), 0);
    Canvas faded(19, 22, grey);
    UIDrawImageAlpha(&faded.painter, on, 0, 0, 79);
    EXPECT_GT(faded.Changed(grey), 0);
}

// ---- film strips ----

TEST(FilmStrip, dial_frames_step_invert_modulate_clamp_and_take_nan_as_zero) {
    auto frames = [](float value, int32_t steps, bool invert, float hostMod, float modOffset, bool active) {
        UIDialFrames f = UIDialFramesFor(value, steps, invert, hostMod, modOffset, active);
        return std::make_pair(f.knob, f.ring);
    };
    typedef std::pair<int32_t, int32_t> Frames;
    EXPECT_EQ(frames(0, 0, false, 0, 0, false), Frames(10, 10));
    EXPECT_EQ(frames(0.5f, 0, false, 0, 0, false), Frames(50, 50));
    EXPECT_EQ(frames(0.999f, 0, false, 0, 0, false), Frames(89, 89));
    EXPECT_EQ(frames(1, 0, false, 0, 0, false), Frames(90, 90));
    // Six steps: floor(6 * 0.9999 * v) / 5.
    EXPECT_EQ(frames(0.17f, 6, false, 0, 0, false), Frames(26, 26));   // step 1: 0.2
    EXPECT_EQ(frames(0.5f, 6, false, 0, 0, false), Frames(42, 42));    // step 2: 0.4
    EXPECT_EQ(frames(1, 6, false, 0, 0, false), Frames(90, 90));       // step 5
    EXPECT_EQ(frames(0.3f, 1, false, 0, 0, false), Frames(34, 34));    // one step: continuous
    EXPECT_EQ(frames(0.25f, 0, true, 0, 0, false), Frames(70, 70));
    EXPECT_EQ(frames(0.17f, 6, true, 0, 0, false), Frames(74, 74));    // 0.83 is step 4: 0.8
    // The ring shows the modulated value, held to the strip; modOffset only
    // while the audio side runs.
    EXPECT_EQ(frames(0.9f, 0, false, 0.3f, 0, false), Frames(82, 90));
    EXPECT_EQ(frames(0.1f, 0, false, -0.5f, 0, false), Frames(18, 10));
    EXPECT_EQ(frames(0.5f, 0, false, 0, 0.25f, false), Frames(50, 50));
    EXPECT_EQ(frames(0.5f, 0, false, 0.125f, 0.25f, true), Frames(50, 80));
    EXPECT_EQ(frames(0.5f, 6, false, 0.1f, 0, false), Frames(42, 50));   // from the stepped value
    // A NaN anywhere gives the first frame, never an undefined conversion.
    EXPECT_EQ(frames(NAN, 0, false, 0, 0, false), Frames(10, 10));
    EXPECT_EQ(frames(NAN, 6, true, 0, 0, false), Frames(10, 10));
    EXPECT_EQ(frames(0.5f, 0, false, NAN, 0, false), Frames(50, 10));
    EXPECT_EQ(frames(0.5f, 0, false, INFINITY, 0, false), Frames(50, 90));

    EXPECT_EQ(UISliderFrame(0.49f), 49);
    EXPECT_EQ(UISliderFrame(1), 100);
    EXPECT_EQ(UISliderFrame(-0.2f), 0);
    EXPECT_EQ(UISliderFrame(2), 100);
    EXPECT_EQ(UISliderFrame(NAN), 0);

    EXPECT_FALSE(UIDialInUse(0, false));
    EXPECT_TRUE(UIDialInUse(0.5f, false));
    EXPECT_FALSE(UIDialInUse(0.5f, true));
    EXPECT_TRUE(UIDialInUse(0, true));
    EXPECT_TRUE(UIDialInUse(NAN, false));
    EXPECT_TRUE(UIDialInUse(NAN, true));
}

TEST(FilmStrip, dial_kinds_draw_their_own_strips_and_units_their_own_background) {
    for (int32_t kind = 0; kind < UI_DIAL_KIND_COUNT; kind++) {
        const UIDialLook &look = uiDialLooks[kind];
        EXPECT_EQ(look.bipolar, kind % 2 == 1);
        const UIImage *knob = UIImageFrame(look.knob, 50), *ring = UIImageFrame(look.ring, 50);
        EXPECT_EQ(knob->designWidth, ring->designWidth);
        std::u32string knobName = knob->name, ringName = ring->name;
        EXPECT_NE(knobName.find(look.bipolar ? U"BiMainLayer/" : U"UniMainLayer/"), std::u32string::npos);
        EXPECT_NE(ringName.find(look.bipolar ? U"BiModLayer/" : U"UniModLayer/"), std::u32string::npos);
        // The disabled picture fits inside the dial's frame where it is put.
        const UIImage *disabled = UIImageGet(look.disabledImage);
        EXPECT_LE(look.disabledX + disabled->designWidth, knob->designWidth) << kind;
        EXPECT_LE(look.disabledY + disabled->designHeight, knob->designHeight + look.offsetY) << kind;
    }
    EXPECT_EQ(UIUnitBackground(2), UIImageGet(IMAGE_UNIT_POLYRHYTHMIC_DELAY));
    EXPECT_EQ(UIUnitBackground(11), UIImageGet(IMAGE_UNIT_POLYRHYTHMIC_DELAY));
    EXPECT_EQ(UIUnitBackground(7), UIImageGet(IMAGE_UNIT_EQ));
    EXPECT_EQ(UIUnitBackground(28), UIImageGet(IMAGE_UNIT_COMPRESSOR));
    EXPECT_FALSE(UIUnitBackground(1));
    EXPECT_FALSE(UIUnitBackground(29));
}

}  // namespace
