// The painter: every primitive of the interface draws into one 32-bit buffer
// of 0xAARRGGBB pixels through the blend rule below. Primitives clip to the
// buffer and to nothing else; there is no clip stack.
//
// Device primitives take pixels. The *Scaled helpers take design units and
// the interface scale in percent (100 = design size); they convert with
// value * scale / 100, truncated toward zero.
#pragma once
#include <stdint.h>

struct UIElement;

// Right and bottom are exclusive.
struct UIRectangle {
    int32_t left, right, top, bottom;
};

struct UIPainter {
    int32_t width, height;
    uint32_t *pixels;       // row-major, stride = width
    UIElement *textClip;    // when set, text draws only inside this element
};

// Blends source over destination: alpha 255 copies the source as it stands,
// alpha 0 leaves the destination; otherwise each channel becomes
// (d * (255 - a) + s * a) >> 8 with no rounding, and the result is opaque.
// The factors sum to 255, so each blend loses a little brightness.
uint32_t UIBlend(uint32_t destination, uint32_t source);
// One pixel of colour `rgb` (alpha ignored) blended at `alpha`, held to
// 0..255; a pixel outside the buffer is left alone.
void UIBlendPixel(UIPainter *painter, int32_t x, int32_t y, uint32_t rgb, int32_t alpha);

void UIDrawBlock(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                 uint32_t colour);
void UIDrawRoundedBlock(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                        uint32_t colour, int32_t radius);

// Design-coordinate helpers. `scale` is the interface scale in percent.
void UIDrawBlockScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                       uint32_t colour, int32_t scale);
// Four blocks: top and bottom span the full width, the sides run between
// them. `thickness` is in device pixels.
void UIDrawOutlineScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                         uint32_t colour, int32_t thickness, int32_t scale);
// A one-pixel outline just outside the rectangle.
void UIDrawOutlineOuterScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width,
                              int32_t height, uint32_t colour, int32_t scale);
// A rounded block with the radius in design units: a plain block when the
// radius scales below one pixel, nothing when a side does.
void UIDrawRoundedScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                         uint32_t colour, int32_t radius, int32_t scale);

// ---- boxes: a rectangle with borders and rounded corners ----

enum {
    UI_PAINT_NONE = 0,
    UI_PAINT_SOLID = 1,
    UI_PAINT_GRADIENT = 2,   // accepted in the record; not drawn by this painter
};

// All sizes in design units.
struct UIBox {
    int8_t borderLeft, borderRight, borderTop, borderBottom;
    int8_t growLeft, growRight, growTop, growBottom;   // move each side outwards
    int8_t radiusTopLeft, radiusTopRight, radiusBottomLeft, radiusBottomRight;
    uint8_t soft;                                      // bit 0: soft shadow (not drawn)
    uint8_t fillPaint, borderPaint;                    // UI_PAINT_*
};

struct UIGradient {
    float slopeX, slopeY, start;
    uint8_t stopCount, flags;
};

struct UIGradientStop {
    uint32_t colour;
    int8_t position;   // percent
};

// Where a box draws: the pixels with their row stride (in pixels) and the
// rectangle the box is cut to.
struct UIDrawTarget {
    UIRectangle clip;
    uint32_t *pixels;
    int32_t stride;
};

// Draws `box` around `rectangle` (device pixels). `fill` and `border` point
// to a u32 colour for a solid paint. `scale` is the interface scale as a
// factor (1.0 = design size). Gradient paints and the soft mode draw nothing.
void UIDrawBox(UIDrawTarget *target, UIRectangle rectangle, const UIBox *box, const void *fill,
               const void *border, const UIGradientStop *fillStops,
               const UIGradientStop *borderStops, float scale);
