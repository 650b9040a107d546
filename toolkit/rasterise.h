// Anti-aliased polygon fill with the exact covered area of every pixel, and
// a stroker that turns a polyline into such a polygon. Everything is in
// device pixels: no transform, no curves (callers flatten them to points).
#pragma once
#include <stdint.h>

struct UIPainter;

struct UIPoint {
    float x, y;
};

// A list of sub-paths: ends[i] is the index just past the last point of
// sub-path i.
struct UIPath {
    UIPoint *points;
    uint64_t pointCount, pointCapacity;
    uint64_t *ends;
    uint64_t endCount, endCapacity;
};

// One straight piece of outline, always pointing downwards (y0 < y1).
struct UIEdge {
    float x0, y0, x1, y1;
    float dxdy, dydx;
    int32_t direction;   // +1 where the polygon ran downwards, -1 upwards
};

// The bounding box has bottom and right one past the last covered row and
// column; an empty list has top = left = 0x7FFFFFFF, bottom = right = 0.
struct UIEdgeList {
    UIEdge *edges;
    uint64_t count, capacity;
    int32_t top, bottom, left, right;
};

enum {
    UI_JOIN_MITER = 0,
    UI_JOIN_BEVEL = 1,
    UI_JOIN_ROUND = 2,   // drawn as a bevel
    UI_CAP_BUTT = 0,
    UI_CAP_SQUARE = 1,
    UI_CAP_ROUND = 2,    // drawn as a butt
};

struct UIStroke {
    float halfWidthLeft, halfWidthRight;
    uint32_t join;
    float miterExtra;   // a miter stays while its tip is within the half width plus this
    uint32_t cap;
};

// `area` has `width` zeroed entries and `cover` `width` + 1; the fill leaves
// them zeroed again. `stride` is in bytes.
struct UIRasterTarget {
    uint32_t *pixels;
    int32_t width, height, stride;
    float *area, *cover;
};

void UIPathAddPoint(UIPath *path, float x, float y);
void UIPathEndSubpath(UIPath *path);
void UIPathFree(UIPath *path);
UIEdgeList UIPathEdges(const UIPath *path);
UIEdgeList UIPathStroke(const UIPath *path, bool open, const UIStroke *stroke);
void UIEdgeListFree(UIEdgeList *edges);

// Blends `colour` (its red, green and blue) with alpha coverage * `alpha`
// (0 to 1) into the target, with the non-zero or the even-odd rule. The edge
// list is used up and freed.
void UIRasterFill(UIRasterTarget *target, UIEdgeList *edges, bool evenOdd, uint32_t colour,
                  float alpha);

// Fills a triangle of three points with a 0xAARRGGBB colour.
void UIFillTriangle(int32_t width, int32_t height, uint32_t *pixels, const UIPoint points[3],
                    uint32_t colour);
// Strokes an open polyline `lineWidth` pixels wide with bevel joins and butt
// caps, in a 0xAARRGGBB colour.
void UIStrokePolyline(UIPainter *painter, const UIPoint *points, int32_t count, uint32_t colour,
                      float lineWidth);
