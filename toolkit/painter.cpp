#include "toolkit/painter.h"

#include <math.h>

static const uint32_t OPAQUE = 0xFF000000;

uint32_t UIBlend(uint32_t destination, uint32_t source) {
    uint32_t a = source >> 24;
    if (a == 255) return source;
    if (a == 0) return destination;
    uint32_t n = 255 - a;
    uint32_t redBlue = (((destination & 0xFF00FF) * n + (source & 0xFF00FF) * a) >> 8) & 0xFF00FF;
    uint32_t green = (((destination & 0xFF00) * n + (source & 0xFF00) * a) >> 8) & 0xFF00;
    return redBlue | green | OPAQUE;
}

void UIBlendPixel(UIPainter *painter, int32_t x, int32_t y, uint32_t rgb, int32_t alpha) {
    if (x < 0 || y < 0 || x >= painter->width || y >= painter->height || alpha <= 0) return;
    uint32_t *pixel = &painter->pixels[(int64_t)y * painter->width + x];
    *pixel = UIBlend(*pixel, (rgb & 0xFFFFFF) | (uint32_t)(alpha > 255 ? 255 : alpha) << 24);
}

// One row of `count` pixels: opaque colours are written without reading the
// destination, others blended.
static void FillSpan(uint32_t *row, int32_t count, uint32_t colour) {
    uint32_t a = colour >> 24;
    if (a == 255) {
        for (int32_t i = 0; i < count; i++) row[i] = colour;
    } else if (a != 0) {
        for (int32_t i = 0; i < count; i++) row[i] = UIBlend(row[i], colour);
    }
}

void UIDrawBlock(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                 uint32_t colour) {
    // A block that starts off the top or left edge moves onto the buffer
    // whole; only the right and bottom edges cut.
    if (x < 0) x = 0;
    if (y < 0) y = 0;
    if (x + width > painter->width) width = painter->width - x;
    if (y + height > painter->height) height = painter->height - y;
    if (width < 1 || height < 1) return;
    for (int32_t row = y; row < y + height; row++) {
        FillSpan(painter->pixels + (int64_t)row * painter->width + x, width, colour);
    }
}

// One corner square of a rounded block; `stepX` and `stepY` are +1 where the
// corner's pixels lie right of or below the circle's centre, -1 otherwise.
static void DrawRoundedCorner(UIPainter *painter, int32_t centreX, int32_t centreY, int32_t stepX,
                              int32_t stepY, int32_t r, uint32_t colour) {
    uint32_t a = colour >> 24;
    for (int32_t dy = 1; dy <= r; dy++) {
        int32_t py = stepY > 0 ? centreY + dy - 1 : centreY - dy;
        uint32_t *row = painter->pixels + (int64_t)py * painter->width;
        for (int32_t dx = 1; dx <= r; dx++) {
            int32_t px = stepX > 0 ? centreX + dx - 1 : centreX - dx;
            int32_t q = dx * dx + dy * dy;
            if (q > (r + 1) * (r + 1)) continue;
            uint32_t source = colour;
            if (q >= (r - 1) * (r - 1)) {
                float fx = dx - 0.5f, fy = dy - 0.5f;
                float d = sqrtf(fx * fx + fy * fy);
                if (d >= r + 0.5f) continue;
                if (d >= r - 0.5f) {
                    uint32_t edgeAlpha = (uint32_t)((r + 0.5f - d) * a);
                    source = (colour & 0xFFFFFF) | edgeAlpha << 24;
                }
            }
            row[px] = UIBlend(row[px], source);
        }
    }
}

void UIDrawRoundedBlock(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                        uint32_t colour, int32_t radius) {
    if (x < 0) x = 0;
    if (y < 0) y = 0;
    if (x + width > painter->width) width = painter->width - x;
    if (y + height > painter->height) height = painter->height - y;
    if (width < 1 || height < 1) return;
    int32_t r = radius;
    if (r > width / 2) r = width / 2;
    if (r > height / 2) r = height / 2;
    if (r < 0) r = 0;

    UIDrawBlock(painter, x + r, y, width - 2 * r, r, colour);
    UIDrawBlock(painter, x, y + r, width, height - 2 * r, colour);
    UIDrawBlock(painter, x + r, y + height - r, width - 2 * r, r, colour);
    if (r == 0) return;
    DrawRoundedCorner(painter, x + r, y + r, -1, -1, r, colour);
    DrawRoundedCorner(painter, x + width - r, y + r, 1, -1, r, colour);
    DrawRoundedCorner(painter, x + r, y + height - r, -1, 1, r, colour);
    DrawRoundedCorner(painter, x + width - r, y + height - r, 1, 1, r, colour);
}

static int32_t Scaled(int32_t value, int32_t scale) {
    return value * scale / 100;
}

void UIDrawBlockScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                       uint32_t colour, int32_t scale) {
    UIDrawBlock(painter, Scaled(x, scale), Scaled(y, scale), Scaled(width, scale),
                Scaled(height, scale), colour);
}

void UIDrawOutlineScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                         uint32_t colour, int32_t thickness, int32_t scale) {
    int32_t left = Scaled(x, scale), top = Scaled(y, scale);
    int32_t w = Scaled(width, scale), h = Scaled(height, scale), t = thickness;
    UIDrawBlock(painter, left, top, w, t, colour);
    UIDrawBlock(painter, left, top + h - t, w, t, colour);
    UIDrawBlock(painter, left, top + t, t, h - 2 * t, colour);
    UIDrawBlock(painter, left + w - t, top + t, t, h - 2 * t, colour);
}

void UIDrawOutlineOuterScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width,
                              int32_t height, uint32_t colour, int32_t scale) {
    int32_t left = Scaled(x, scale), top = Scaled(y, scale);
    int32_t w = Scaled(width, scale), h = Scaled(height, scale);
    UIDrawBlock(painter, left - 1, top - 1, w + 2, 1, colour);
    UIDrawBlock(painter, left - 1, top + h, w + 2, 1, colour);
    UIDrawBlock(painter, left - 1, top, 1, h, colour);
    UIDrawBlock(painter, left + w, top, 1, h, colour);
}

void UIDrawRoundedScaled(UIPainter *painter, int32_t x, int32_t y, int32_t width, int32_t height,
                         uint32_t colour, int32_t radius, int32_t scale) {
    if (width * scale < 100 || height * scale < 100) return;
    if (radius * scale < 100) {
        UIDrawBlockScaled(painter, x, y, width, height, colour, scale);
        return;
    }
    UIDrawRoundedBlock(painter, Scaled(x, scale), Scaled(y, scale), Scaled(width, scale),
                       Scaled(height, scale), colour, Scaled(radius, scale));
}

// ---- boxes ----

// Shrinks two lengths that share a side of `length` pixels so that together
// they fit it, each keeping its share of their sum.
static void FitPair(int32_t *first, int32_t *second, int32_t length) {
    int32_t sum = *first + *second;
    if (sum <= length || sum <= 0) return;
    float share = (float)*first / (float)sum;
    *first = (int32_t)(length * share);
    *second = (int32_t)(length * (1.0f - share));
}

enum { CORNER_GRID = 8, CORNER_SAMPLES = CORNER_GRID * CORNER_GRID };

// One corner square of a box: pixels at outward offsets 0..radius-1 from the
// circle's centre, each sampled on an 8 by 8 grid. Samples stand at whole
// eighths of a pixel counted outward from the centre, so all four corners
// see the same pattern mirrored, and the sums stay in integers.
static void DrawBoxCorner(const UIDrawTarget *target, int32_t centreX, int32_t centreY,
                          int32_t stepX, int32_t stepY, int32_t radius, int32_t border,
                          uint32_t fill, uint32_t borderColour) {
    int32_t inner = radius - border;
    if (inner < 0) inner = 0;
    int32_t outerSquared = radius * CORNER_GRID * radius * CORNER_GRID;
    int32_t innerSquared = inner * CORNER_GRID * inner * CORNER_GRID;
    bool bothOpaque = (fill >> 24) == 255 && (borderColour >> 24) == 255;
    for (int32_t oy = 0; oy < radius; oy++) {
        int32_t py = stepY > 0 ? centreY + oy : centreY - 1 - oy;
        if (py < target->clip.top || py >= target->clip.bottom) continue;
        uint32_t *row = target->pixels + (int64_t)py * target->stride;
        for (int32_t ox = 0; ox < radius; ox++) {
            int32_t px = stepX > 0 ? centreX + ox : centreX - 1 - ox;
            if (px < target->clip.left || px >= target->clip.right) continue;
            int32_t fillCount = 0, borderCount = 0;
            for (int32_t j = 0; j < CORNER_GRID; j++) {
                int32_t sy = oy * CORNER_GRID + j;
                for (int32_t i = 0; i < CORNER_GRID; i++) {
                    int32_t sx = ox * CORNER_GRID + i;
                    int32_t q = sx * sx + sy * sy;
                    if (q <= innerSquared) fillCount++;
                    else if (q <= outerSquared) borderCount++;
                }
            }
            int32_t outside = CORNER_SAMPLES - fillCount - borderCount;
            if (outside == CORNER_SAMPLES) continue;
            if (outside == 0 && bothOpaque) {
                if (fillCount == CORNER_SAMPLES) row[px] = fill;
                else if (borderCount == CORNER_SAMPLES) row[px] = borderColour;
                else row[px] = UIBlend(fill, (borderColour & 0xFFFFFF) |
                                                 (uint32_t)(255 * borderCount / CORNER_SAMPLES) << 24);
                continue;
            }
            uint32_t fillAlpha = ((fill >> 24) * fillCount) >> 6;
            uint32_t borderAlpha = ((borderColour >> 24) * borderCount) >> 6;
            row[px] = UIBlend(row[px], (fill & 0xFFFFFF) | fillAlpha << 24);
            row[px] = UIBlend(row[px], (borderColour & 0xFFFFFF) | borderAlpha << 24);
        }
    }
}

void UIDrawBox(UIDrawTarget *target, UIRectangle rectangle, const UIBox *box, const void *fill,
               const void *border, const UIGradientStop *fillStops,
               const UIGradientStop *borderStops, float scale) {
    UIRectangle r = rectangle;
    r.left -= (int32_t)(box->growLeft * scale);
    r.right += (int32_t)(box->growRight * scale);
    r.top -= (int32_t)(box->growTop * scale);
    r.bottom += (int32_t)(box->growBottom * scale);
    if (r.left < target->clip.left) r.left = target->clip.left;
    if (r.right > target->clip.right) r.right = target->clip.right;
    if (r.top < target->clip.top) r.top = target->clip.top;
    if (r.bottom > target->clip.bottom) r.bottom = target->clip.bottom;
    if (r.right <= r.left || r.bottom <= r.top) return;
    if (box->soft & 1) return;

    // Only solid paints are drawn; a missing paint is a transparent colour.
    uint32_t fillColour = box->fillPaint == UI_PAINT_SOLID && fill ? *(const uint32_t *)fill : 0;
    uint32_t borderColour =
        box->borderPaint == UI_PAINT_SOLID && border ? *(const uint32_t *)border : 0;
    if (!(fillColour >> 24) && !(borderColour >> 24)) return;

    int32_t width = r.right - r.left, height = r.bottom - r.top;
    int32_t topLeft = (int32_t)(box->radiusTopLeft * scale + 0.5f);
    int32_t topRight = (int32_t)(box->radiusTopRight * scale + 0.5f);
    int32_t bottomLeft = (int32_t)(box->radiusBottomLeft * scale + 0.5f);
    int32_t bottomRight = (int32_t)(box->radiusBottomRight * scale + 0.5f);
    int32_t borderLeft = (int32_t)(box->borderLeft * scale);
    int32_t borderRight = (int32_t)(box->borderRight * scale);
    int32_t borderTop = (int32_t)(box->borderTop * scale);
    int32_t borderBottom = (int32_t)(box->borderBottom * scale);
    FitPair(&topLeft, &topRight, width);
    FitPair(&bottomLeft, &bottomRight, width);
    FitPair(&topLeft, &bottomLeft, height);
    FitPair(&topRight, &bottomRight, height);
    FitPair(&borderLeft, &borderRight, width);
    FitPair(&borderTop, &borderBottom, height);

    // Rows between the corner squares: a border span at each side, the fill
    // between, and whole border rows along the top and bottom.
    for (int32_t y = r.top; y < r.bottom; y++) {
        int32_t cornerLeft = y < r.top + topLeft ? topLeft : y >= r.bottom - bottomLeft ? bottomLeft : 0;
        int32_t cornerRight =
            y < r.top + topRight ? topRight : y >= r.bottom - bottomRight ? bottomRight : 0;
        int32_t from = r.left + cornerLeft, to = r.right - cornerRight;
        if (to <= from) continue;
        uint32_t *row = target->pixels + (int64_t)y * target->stride;
        if (y < r.top + borderTop || y >= r.bottom - borderBottom) {
            FillSpan(row + from, to - from, borderColour);
            continue;
        }
        int32_t innerFrom = r.left + borderLeft > from ? r.left + borderLeft : from;
        int32_t innerTo = r.right - borderRight < to ? r.right - borderRight : to;
        if (innerFrom > to) innerFrom = to;
        if (innerTo < innerFrom) innerTo = innerFrom;
        FillSpan(row + from, innerFrom - from, borderColour);
        FillSpan(row + innerFrom, innerTo - innerFrom, fillColour);
        if (innerTo < to) FillSpan(row + innerTo, to - innerTo, borderColour);
    }

    auto larger = [](int32_t a, int32_t b) { return a > b ? a : b; };
    DrawBoxCorner(target, r.left + topLeft, r.top + topLeft, -1, -1, topLeft,
                  larger(borderLeft, borderTop), fillColour, borderColour);
    DrawBoxCorner(target, r.right - topRight, r.top + topRight, 1, -1, topRight,
                  larger(borderRight, borderTop), fillColour, borderColour);
    DrawBoxCorner(target, r.left + bottomLeft, r.bottom - bottomLeft, -1, 1, bottomLeft,
                  larger(borderLeft, borderBottom), fillColour, borderColour);
    DrawBoxCorner(target, r.right - bottomRight, r.bottom - bottomRight, 1, 1, bottomRight,
                  larger(borderRight, borderBottom), fillColour, borderColour);
}
