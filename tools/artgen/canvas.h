// The art generator's drawing surface: a float RGBA picture (premultiplied)
// with a coverage mask beside it. Shapes are outlined in design units, turned
// into exact-area coverage by the toolkit's own rasteriser, and painted
// through the mask with a solid colour or a gradient. Blurring the mask before
// painting gives soft shadows and glows. Text comes from FreeType at the
// canvas's pixel size, so 200 percent art has its own crisp glyphs.
#pragma once
#include <stdint.h>

#include "toolkit/rasterise.h"

// A colour as straight (not premultiplied) 0..1 channels.
struct Colour {
    float r, g, b, a;
};

// 0xAARRGGBB to a Colour; Rgb() takes 0xRRGGBB and an alpha 0..1.
Colour Argb(uint32_t argb);
Colour Rgb(uint32_t rgb, float alpha = 1.0f);
Colour Mix(Colour a, Colour b, float t);
Colour WithAlpha(Colour c, float alpha);

enum {
    PAINT_SOLID = 0,
    PAINT_LINEAR = 1,   // from `from` at (x0, y0) to `to` at (x1, y1)
    PAINT_RADIAL = 2,   // from `from` at the centre (x0, y0) to `to` at `radius`
};

// Geometry in design units.
struct Paint {
    uint32_t kind;
    Colour from, to;
    float x0, y0, x1, y1, radius;
};

Paint Solid(Colour c);
Paint Linear(Colour from, Colour to, float x0, float y0, float x1, float y1);
Paint Vertical(Colour top, Colour bottom, float y0, float y1);
Paint Radial(Colour centre, Colour edge, float x, float y, float radius);

struct Mask {
    float *coverage;                      // width * height, 0..1
    int32_t left, top, right, bottom;     // bounding box of what may be non-zero
};

struct Canvas {
    int32_t width, height;   // pixels
    float scale;             // pixels per design unit
    float *rgba;             // premultiplied, four floats per pixel
    Mask mask;               // the shape being painted
    Mask spare;              // a second mask for blurs and cut-outs
    uint32_t *fillPixels;    // scratch for the rasteriser
    float *area, *cover;
};

void CanvasInit(Canvas *canvas, int32_t width, int32_t height, float scale);
void CanvasFree(Canvas *canvas);

// ---- paths, in design units ----
void PathRoundRect(UIPath *path, const Canvas *canvas, float x, float y, float w, float h, float r);
void PathCircle(UIPath *path, const Canvas *canvas, float cx, float cy, float r);
// An open arc for stroking, angles in degrees clockwise from 12 o'clock.
void PathArc(UIPath *path, const Canvas *canvas, float cx, float cy, float r, float from, float to);
void PathMoveTo(UIPath *path, const Canvas *canvas, float x, float y);   // starts a new sub-path
void PathLineTo(UIPath *path, const Canvas *canvas, float x, float y);

// ---- the mask ----
void MaskClear(Canvas *canvas);
// Adds a filled path (non-zero rule) to the mask; the path is freed.
void MaskFill(Canvas *canvas, UIPath *path);
// Adds a stroked path of `width` design units; open or closed; freed.
void MaskStroke(Canvas *canvas, UIPath *path, float width, bool open);
void MaskRoundRect(Canvas *canvas, float x, float y, float w, float h, float r);
void MaskCircle(Canvas *canvas, float cx, float cy, float r);
// An arc with round ends, `width` design units wide.
void MaskArc(Canvas *canvas, float cx, float cy, float r, float from, float to, float width);
// Gaussian-like blur (three box passes) of `radius` design units.
void MaskBlur(Canvas *canvas, float radius);
// Keeps only what is outside `spare` (after building it with SpareFromMask).
void SpareFromMask(Canvas *canvas);
void MaskSubtractSpare(Canvas *canvas);
// Keeps only what is also inside `spare`.
void MaskIntersectSpare(Canvas *canvas);
void MaskInvertWithin(Canvas *canvas, float x, float y, float w, float h);

// ---- painting through the mask ----
// Composites `paint` through the mask moved by (dx, dy) design units, with an
// overall opacity; the mask stays.
void PaintMask(Canvas *canvas, Paint paint, float opacity = 1.0f, float dx = 0, float dy = 0);
// Shortcuts that clear the mask, build one shape and paint it.
void FillRoundRect(Canvas *canvas, float x, float y, float w, float h, float r, Paint paint);
void FillCircle(Canvas *canvas, float cx, float cy, float r, Paint paint);
void StrokeRoundRect(Canvas *canvas, float x, float y, float w, float h, float r, float width,
                     Paint paint);
// A soft shadow of a rounded rectangle.
void ShadowRoundRect(Canvas *canvas, float x, float y, float w, float h, float r, float blur,
                     float dy, Colour colour);
void FillLine(Canvas *canvas, float x0, float y0, float x1, float y1, float width, Colour colour);

// ---- text ----
enum {
    FONT_SANS = 0,
    FONT_BOLD = 1,
    FONT_CONDENSED = 2,
    FONT_CONDENSED_BOLD = 3,
    FONT_COUNT = 4,
};
enum {
    ALIGN_LEFT = 0,
    ALIGN_CENTRE = 1,
    ALIGN_RIGHT = 2,
};
// Each drawing thread loads the fonts for itself.
bool FontsLoad(const char *folder);  // the four DejaVu Sans faces from folder
void FontsFree();
// Width of a text in design units; `tracking` is extra space between letters
// in whole design units.
float TextWidth(const Canvas *canvas, uint32_t font, float size, const char *text,
                int32_t tracking = 0);
// The width the text has before hinting, the same at every scale: for
// layout decisions that must come out alike at 100 and 200 percent.
float TextDesignWidth(uint32_t font, float size, const char *text, int32_t tracking = 0);
// Puts the text into the mask (cleared first) with its baseline at y.
void MaskText(Canvas *canvas, uint32_t font, float size, float x, float y, const char *text,
              uint32_t align, int32_t tracking = 0);
void DrawText(Canvas *canvas, uint32_t font, float size, float x, float y, const char *text,
              uint32_t align, Colour colour, int32_t tracking = 0);
// Text with a dark shadow one design pixel below, for labels on busy ground.
void DrawTextShadowed(Canvas *canvas, uint32_t font, float size, float x, float y,
                      const char *text, uint32_t align, Colour colour, int32_t tracking = 0);

// ---- output ----
// 0xAARRGGBB pixels, straight alpha, rounded. Fully transparent pixels take
// the colour of their visible neighbours, so that a picture shrunk without
// premultiplication keeps clean edges. When `opaque`, every alpha is 255.
void CanvasToPixels(const Canvas *canvas, uint32_t *pixels, bool opaque);
