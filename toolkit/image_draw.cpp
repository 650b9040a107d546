// Drawing the skin images into the painter's buffer, and the film-strip
// arithmetic that turns a parameter's value into a dial's or slider's frames.
#include <math.h>

#include "toolkit/images.h"
#include "toolkit/scale.h"

static const uint32_t OPAQUE = 0xFF000000;

// Blends the whole picture at (x, y), which the caller has found to lie
// inside the buffer, each source alpha first made (alpha * a) >> 8 unless a
// is 256.
static void BlendPicture(UIPainter *painter, const UIImage *image, int32_t x, int32_t y, uint32_t a) {
    for (int32_t row = 0; row < image->height; row++) {
        const uint32_t *source = image->pixels + (size_t)row * image->width;
        uint32_t *destination = painter->pixels + (size_t)(y + row) * painter->width + x;
        for (int32_t column = 0; column < image->width; column++) {
            uint32_t colour = source[column];
            if (a != 256) colour = (colour & 0xFFFFFF) | ((colour >> 24) * a >> 8) << 24;
            destination[column] = UIBlend(destination[column], colour);
        }
    }
}

static bool FitsWhole(const UIPainter *painter, const UIImage *image, int32_t x, int32_t y) {
    return x >= 0 && y >= 0 && x + image->width <= painter->width && y + image->height <= painter->height;
}

// A position one device pixel off the top or left edge is taken as 0: the
// offset of CheckboxOn (-1 design unit) gives -1 at the buffer's edge, and the
// picture then stands on the edge rather than vanishing.
static int32_t NearEdge(int32_t position) { return position == -1 ? 0 : position; }

void UIDrawImage(UIPainter *painter, UIImage *image, int32_t x, int32_t y, bool scaled) {
    if (!UIImageEnsureLoaded(image)) return;
    x += image->offsetX;
    y += image->offsetY;
    if (scaled) {
        x = x * uiScale / 100;
        y = y * uiScale / 100;
    }
    if (!FitsWhole(painter, image, x, y)) return;
    BlendPicture(painter, image, x, y, 256);
}

void UIDrawImageAlpha(UIPainter *painter, UIImage *image, int32_t x, int32_t y, int32_t a) {
    if (!UIImageEnsureLoaded(image)) return;
    x = NearEdge((x + image->offsetX) * uiScale / 100);
    y = NearEdge((y + image->offsetY) * uiScale / 100);
    if (!FitsWhole(painter, image, x, y)) return;
    if (a < 0) a = 0;
    if (a > 255) a = 255;
    BlendPicture(painter, image, x, y, (uint32_t)a);
}

void UIDrawImageOpaque(UIPainter *painter, UIImage *image, int32_t x, int32_t y) {
    if (!UIImageEnsureLoaded(image)) return;
    x = NearEdge((x + image->offsetX) * uiScale / 100);
    y = NearEdge((y + image->offsetY) * uiScale / 100);
    if (x < 0 || y < 0) return;
    int32_t width = image->width, height = image->height;
    if (x + width > painter->width) width = painter->width - x;
    if (y + height > painter->height) height = painter->height - y;
    // The buffer holds opaque colours only (every blend gives alpha 255), so
    // the copy keeps it so whatever alpha the picture carries.
    for (int32_t row = 0; row < height; row++) {
        const uint32_t *source = image->pixels + (size_t)row * image->width;
        uint32_t *destination = painter->pixels + (size_t)(y + row) * painter->width + x;
        for (int32_t column = 0; column < width; column++) destination[column] = source[column] | OPAQUE;
    }
}

// ---- film strips ----

const UIDialLook uiDialLooks[UI_DIAL_KIND_COUNT] = {
    // ring, knob, offsetY, disabled picture and place, lamp in use, lamp not in use, bipolar.
    // The tiny dial's frames are as large as the small dial's (40 by 40), so it
    // shows the small disabled picture at the small place.
    {STRIP_DIAL_NORMAL_UNI_MOD, STRIP_DIAL_NORMAL_UNI_MAIN, 1, IMAGE_DIAL_DISABLED_NORMAL, 10, 10, 3, 4, 6, 7, false},
    {STRIP_DIAL_NORMAL_BI_MOD, STRIP_DIAL_NORMAL_BI_MAIN, 1, IMAGE_DIAL_DISABLED_NORMAL, 10, 10, 3, 4, 6, 7, true},
    {STRIP_DIAL_SMALL_UNI_MOD, STRIP_DIAL_SMALL_UNI_MAIN, 0, IMAGE_DIAL_DISABLED_SMALL, 6, 6, -1, 0, 2, 3, false},
    {STRIP_DIAL_SMALL_BI_MOD, STRIP_DIAL_SMALL_BI_MAIN, 0, IMAGE_DIAL_DISABLED_SMALL, 6, 6, -1, 0, 2, 3, true},
    {STRIP_DIAL_TINY_UNI_MOD, STRIP_DIAL_TINY_UNI_MAIN, 7, IMAGE_DIAL_DISABLED_SMALL, 6, 6, 1, 2, 4, 5, false},
    {STRIP_DIAL_TINY_BI_MOD, STRIP_DIAL_TINY_BI_MAIN, 7, IMAGE_DIAL_DISABLED_SMALL, 6, 6, 1, 2, 4, 5, true},
};

// trunc(position * steps) held to 0..steps; a NaN gives 0.
static int32_t FrameStep(float position, int32_t steps) {
    float frame = position * (float)steps;
    if (!(frame > 0.0f)) return 0;
    if (frame >= (float)steps) return steps;
    return (int32_t)frame;
}

UIDialFrames UIDialFramesFor(float value, int32_t stepCount, bool invert, float hostMod,
                             float modOffset, bool audioActive) {
    float v = invert ? 1.0f - value : value;
    // A stepped parameter shows step / (count - 1), so the knob clicks from
    // step to step. A count of 1 has no second step to divide by: it is shown
    // as continuous.
    if (stepCount > 1) v = floorf(v * (float)stepCount * 0.9999f) / (float)(stepCount - 1);
    float modulated = v + hostMod;
    if (audioActive) modulated += modOffset;
    UIDialFrames frames;
    frames.knob = UI_DIAL_FIRST_FRAME + FrameStep(v, UI_DIAL_FRAME_STEPS);
    frames.ring = UI_DIAL_FIRST_FRAME + FrameStep(modulated, UI_DIAL_FRAME_STEPS);
    return frames;
}

bool UIDialInUse(float value, bool bipolar) { return !(value == (bipolar ? 0.5f : 0.0f)); }

int32_t UISliderFrame(float value) { return FrameStep(value, UI_SLIDER_FRAME_STEPS); }

UIImage *UIUnitBackground(int32_t cluster) {
    // Indexed by unit kind: the cluster numbers run 2 + 9 * instance + kind.
    static const UIImageSingle BACKGROUNDS[9] = {
        IMAGE_UNIT_POLYRHYTHMIC_DELAY, IMAGE_UNIT_PING_PONG_DELAY, IMAGE_UNIT_DISTORTION,
        IMAGE_UNIT_CHORUS,             IMAGE_UNIT_PHASER,          IMAGE_UNIT_EQ,
        IMAGE_UNIT_TRANCE_GATE,        IMAGE_UNIT_REVERB,          IMAGE_UNIT_COMPRESSOR,
    };
    if (cluster < 2 || cluster >= 2 + 3 * 9) return nullptr;
    return UIImageGet(BACKGROUNDS[(cluster - 2) % 9]);
}
