// The skin images: one static UIImage per picture of the editor (the frames
// of the film strips and the single images of toolkit/image_list.h), a table
// of rows that says which embedded PNG serves each picture at which scale and
// skin, and the decoding on first draw, with a shrink to the present scale.
// A custom skin replaces any picture with a file of the same size from the
// custom skin's folder.
//
// Everything here is process-wide and main-thread only, shared by all editors
// of the process. A change of scale or skin (UISkinSelect, through the
// palette's reload) frees every decoded picture; the next paint decodes again.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "toolkit/image_list.h"
#include "toolkit/painter.h"

struct UIImage {
    int32_t designWidth, designHeight;   // size at 100 percent
    int32_t width, height;               // design * uiScale / 100 until decoded, then the pixels' size
    int32_t offsetX, offsetY;            // design units added to every draw position
    uint32_t *pixels;                    // decoded, scaled 0xAARRGGBB; owned by the image cache
    const char32_t *name;                // "CheckboxOn", "DialSmallBiMainLayer/45"
    const uint8_t *data;                 // the embedded file still to decode, or null
    size_t dataSize;
    int32_t artScale;                    // 100 or 200: the scale the selected file is drawn for
};

// One row of the selection table: the file that serves image at uiScale
// scaleMin..scaleMax (inclusive) in skin `skin`.
struct UIImageRow {
    UIImage *image;
    const uint8_t *fileStart, *fileEnd;  // null when the build embedded no such file
    int32_t scaleMin, scaleMax;
    int32_t skin;
};

enum UIImageStrip : int32_t {
#define UI_IMAGE_STRIP_ID(id, name, w, h, first, last, stem, suffix) id,
    UI_IMAGE_STRIPS(UI_IMAGE_STRIP_ID)
#undef UI_IMAGE_STRIP_ID
    UI_IMAGE_STRIP_COUNT
};

enum UIImageSingle : int32_t {
#define UI_IMAGE_SINGLE_ID(id, name, w, h) id,
    UI_IMAGE_SINGLES(UI_IMAGE_SINGLE_ID)
#undef UI_IMAGE_SINGLE_ID
    UI_IMAGE_SINGLE_COUNT
};

enum : int32_t {
#define UI_IMAGE_STRIP_FRAMES(id, name, w, h, first, last, stem, suffix) +((last) - (first) + 1)
    UI_IMAGE_FRAME_COUNT = 0 UI_IMAGE_STRIPS(UI_IMAGE_STRIP_FRAMES),
#undef UI_IMAGE_STRIP_FRAMES
    UI_IMAGE_COUNT = UI_IMAGE_FRAME_COUNT + UI_IMAGE_SINGLE_COUNT,
    UI_IMAGE_ROW_COUNT = 2 * UI_IMAGE_COUNT,   // every image at art 100 and at art 200
    UI_IMAGE_CUSTOM_MAX_FILE_SIZE = 4000000,   // bytes; a larger custom file is passed over
};

// ---- the tables ----

// The images in table order: the strips' frames strip by strip, then the singles.
UIImage *UIImageAt(int32_t index);
UIImage *UIImageGet(UIImageSingle single);
// A strip's frame by its number ("Slider/49" is UIImageFrame(STRIP_SLIDER, 49));
// a number outside the strip's frames is held to its first or last.
UIImage *UIImageFrame(UIImageStrip strip, int32_t number);
int32_t UIImageStripFirstFrame(UIImageStrip strip);
int32_t UIImageStripLastFrame(UIImageStrip strip);
// The rows, with their files looked up in the embedded directory.
const UIImageRow *UIImageRowAt(int32_t index);

// ---- selection, loading, the cache ----

// The custom skin's folder (a copy is kept; null or empty for none): skin
// 65535 takes from here any picture that has a file of its size, and the
// palette from its "palette.ini". The toolkit reads no settings: the program
// hands the folder over when it starts and when the setting changes.
void UISkinSetFolder(const char *folder);
const char *UISkinFolder(void);  // never null; "" for none

// Frees all decoded pixels, then gives each image the file of the row that
// applies to uiScale and uiSkin (skin 65535 takes skin 1's rows, and a custom
// file of the same picture where there is one) and its size at that scale.
// Sets CheckboxOn's offsetY to -1 so that it lines up with CheckboxOff.
void UISkinSelect(void);
// Decodes the selected file when that has not been done yet, shrinking it to
// uiScale when that is below the art's scale. True when the image has pixels.
bool UIImageEnsureLoaded(UIImage *image);
// Frees every decoded picture, the cache and the folder; the last instance
// calls it.
void UIImagesFree(void);

// The shrink from art at artScale to uiScale (below artScale): each new pixel
// is the bilinear mix of the four source pixels around x * artScale / uiScale,
// per channel (alpha too, not premultiplied). Returns a malloc'd block of
// *newWidth by *newHeight, or null when a side comes out 0.
uint32_t *UIImageShrink(const uint32_t *pixels, int32_t width, int32_t height, int32_t artScale,
                        int32_t uiScale, int32_t *newWidth, int32_t *newHeight);

// A whole regular file of at most `limit` bytes in a malloc'd block with one
// zero byte behind the data (for text), or null. For the custom skin's files.
uint8_t *UIReadFile(const char *path, size_t limit, size_t *size);

// ---- drawing ----

// At (x + offsetX, y + offsetY), times uiScale / 100 when scaled; all or
// nothing: a picture that would start left of or above the buffer, or cross
// its right or bottom edge, is not drawn. Pixels blend by UIBlend.
void UIDrawImage(UIPainter *painter, UIImage *image, int32_t x, int32_t y, bool scaled);
// As UIDrawImage (position scaled) with every source alpha first made
// (alpha * a) >> 8, a from 0 to 255.
void UIDrawImageAlpha(UIPainter *painter, UIImage *image, int32_t x, int32_t y, int32_t a);
// Position scaled; cut at the buffer's right and bottom edges; pixels copied
// as opaque colours without blending.
void UIDrawImageOpaque(UIPainter *painter, UIImage *image, int32_t x, int32_t y);

// ---- from a value to a film-strip frame ----

enum UIDialKind : int32_t {
    UI_DIAL_NORMAL,
    UI_DIAL_NORMAL_BIPOLAR,
    UI_DIAL_SMALL,
    UI_DIAL_SMALL_BIPOLAR,
    UI_DIAL_TINY,
    UI_DIAL_TINY_BIPOLAR,
    UI_DIAL_KIND_COUNT
};

// How each kind of dial draws, in design units relative to the element.
struct UIDialLook {
    UIImageStrip ring, knob;       // the ring (value after modulation) is drawn first
    int32_t offsetY;               // both strips draw at (x, y + offsetY)
    UIImageSingle disabledImage;   // drawn instead of ring and knob
    int32_t disabledX, disabledY;
    int32_t usedX, usedY;          // the lamp UsedIndicator
    int32_t unusedX, unusedY;      // the lamp UnusedIndicator, also for a disabled dial
    bool bipolar;                  // 0.5 is the value that counts as not in use
};

extern const UIDialLook uiDialLooks[UI_DIAL_KIND_COUNT];

enum {
    UI_DIAL_FRAME_STEPS = 80,   // a dial strip's frames 10..90 cover the value 0..1
    UI_DIAL_FIRST_FRAME = 10,
    UI_SLIDER_FRAME_STEPS = 100,
    UI_DIAL_DISABLED_ALPHA = 96,   // the lamp of a disabled dial
};

// The frame numbers of a dial's knob and ring.
struct UIDialFrames {
    int32_t knob, ring;
};

// value: the parameter's value; stepCount: the kind's option count or the
// row's step count (0 when continuous); invert: UI_ELEMENT_INVERT_DIAL;
// hostMod and modOffset: the modulation of the parameter, modOffset counting
// only while audioActive. The knob shows the (stepped) value, the ring the
// value after modulation; both run over frames 10..90.
UIDialFrames UIDialFramesFor(float value, int32_t stepCount, bool invert, float hostMod,
                             float modOffset, bool audioActive);
// Whether the lamp shows "in use": the value differs from 0, or from 0.5 for a
// bipolar dial; a NaN differs from both.
bool UIDialInUse(float value, bool bipolar);
// The slider's frame number 0..100 for a value.
int32_t UISliderFrame(float value);
// The background of the unit whose controls carry this cluster number
// (2 + 9 * instance + unit kind), or null for any other number.
UIImage *UIUnitBackground(int32_t cluster);
