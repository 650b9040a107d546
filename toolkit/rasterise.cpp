#include "toolkit/rasterise.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "toolkit/painter.h"
#include "vocabulary/grow.h"

static const float POINT_MERGE_SQUARED = 0.01f;   // points closer than 0.1 px are one
static const float MIN_SEGMENT = 0.1f;
static const float MIN_COVERAGE = 0.0039f;       // about 1/256: nothing visible below


// ---- paths ----

static uint64_t CurrentStart(const UIPath *path) {
    return path->endCount ? path->ends[path->endCount - 1] : 0;
}

void UIPathAddPoint(UIPath *path, float x, float y) {
    if (path->pointCount > CurrentStart(path)) {
        UIPoint last = path->points[path->pointCount - 1];
        float dx = x - last.x, dy = y - last.y;
        if (dx * dx + dy * dy < POINT_MERGE_SQUARED) return;
    }
    ArrayReserve(&path->points, &path->pointCapacity, path->pointCount + 1);
    path->points[path->pointCount++] = {x, y};
}

void UIPathEndSubpath(UIPath *path) {
    if (path->pointCount == CurrentStart(path)) return;
    ArrayReserve(&path->ends, &path->endCapacity, path->endCount + 1);
    path->ends[path->endCount++] = path->pointCount;
}

void UIPathFree(UIPath *path) {
    free(path->points);
    free(path->ends);
    memset(path, 0, sizeof(*path));
}

// The end of sub-path i; points after the last end form one more sub-path.
static uint64_t SubpathCount(const UIPath *path) {
    return path->endCount + (path->pointCount > CurrentStart(path) ? 1 : 0);
}

static uint64_t SubpathEnd(const UIPath *path, uint64_t i) {
    return i < path->endCount ? path->ends[i] : path->pointCount;
}

// ---- edges ----

static UIEdgeList EmptyEdgeList() {
    UIEdgeList list = {};
    list.top = list.left = 0x7FFFFFFF;
    return list;
}

void UIEdgeListFree(UIEdgeList *edges) {
    free(edges->edges);
    *edges = EmptyEdgeList();
}

static void AddEdge(UIEdgeList *list, UIPoint from, UIPoint to) {
    if (from.y == to.y) return;
    UIEdge edge;
    edge.direction = from.y < to.y ? 1 : -1;
    if (edge.direction < 0) {
        UIPoint swap = from;
        from = to;
        to = swap;
    }
    edge.x0 = from.x, edge.y0 = from.y, edge.x1 = to.x, edge.y1 = to.y;
    edge.dxdy = (to.x - from.x) / (to.y - from.y);
    edge.dydx = 1.0f / edge.dxdy;
    ArrayReserve(&list->edges, &list->capacity, list->count + 1);
    list->edges[list->count++] = edge;

    int32_t left = (int32_t)fminf(from.x, to.x), right = (int32_t)fmaxf(from.x, to.x) + 1;
    int32_t top = (int32_t)from.y, bottom = (int32_t)to.y + 1;
    if (left < list->left) list->left = left;
    if (right > list->right) list->right = right;
    if (top < list->top) list->top = top;
    if (bottom > list->bottom) list->bottom = bottom;
}

// A closed polygon: every point joins the next, the last the first.
static void AddPolygon(UIEdgeList *list, const UIPoint *points, uint64_t count) {
    for (uint64_t i = 0; i < count; i++) {
        AddEdge(list, points[i], points[(i + 1) % count]);
    }
}

UIEdgeList UIPathEdges(const UIPath *path) {
    UIEdgeList list = EmptyEdgeList();
    uint64_t start = 0;
    for (uint64_t i = 0; i < SubpathCount(path); i++) {
        uint64_t end = SubpathEnd(path, i);
        AddPolygon(&list, path->points + start, end - start);
        start = end;
    }
    return list;
}

// ---- stroking ----

// The outline points of one side, gathered before they become edges.
struct PointList {
    UIPoint *points;
    uint64_t count, capacity;
};

static void Push(PointList *list, UIPoint point) {
    ArrayReserve(&list->points, &list->capacity, list->count + 1);
    list->points[list->count++] = point;
}

static float Cross(UIPoint a, UIPoint b) { return a.x * b.y - a.y * b.x; }

struct OffsetSegment {
    UIPoint start, end;   // the segment moved sideways by the half width
    UIPoint direction;    // end - start of the original segment
    bool tooShort;
};

static OffsetSegment MakeOffset(UIPoint a, UIPoint b, float halfWidth) {
    OffsetSegment s;
    s.direction = {b.x - a.x, b.y - a.y};
    float length = sqrtf(s.direction.x * s.direction.x + s.direction.y * s.direction.y);
    s.tooShort = length < MIN_SEGMENT;
    float d = s.tooShort ? 0.0f : halfWidth / length;
    UIPoint offset = {-s.direction.y * d, s.direction.x * d};
    s.start = {a.x + offset.x, a.y + offset.y};
    s.end = {b.x + offset.x, b.y + offset.y};
    return s;
}

// The points where two offset segments meet at `vertex`. The outer side of
// a turn keeps a miter tip within its limit, or else cuts the corner with
// both ends; the inner side takes the crossing of the two segments while it
// lies on both of them.
static void Join(PointList *out, const OffsetSegment *first, const OffsetSegment *second,
                 UIPoint vertex, float halfWidth, const UIStroke *stroke) {
    if (first->tooShort || second->tooShort) {
        Push(out, first->tooShort ? second->start : first->end);
        return;
    }
    float turn = Cross(first->direction, second->direction);
    float along = first->direction.x * second->direction.x + first->direction.y * second->direction.y;
    if (fabsf(turn) <= 1e-6f * fabsf(along)) {
        Push(out, first->end);
        if (along < 0) Push(out, second->start);
        return;
    }
    UIPoint between = {second->start.x - first->start.x, second->start.y - first->start.y};
    float t = Cross(between, second->direction) / turn;
    float u = Cross(between, first->direction) / turn;
    UIPoint tip = {first->start.x + t * first->direction.x, first->start.y + t * first->direction.y};
    // Offsets lie to the left of the walking direction (y down), so a turn
    // the other way puts them on the outside. Measured along the path's own
    // direction, that is a negative turn on the first pass and a positive one
    // on the second, which walks backwards.
    bool outer = turn < 0;
    bool useTip;
    if (outer) {
        float limit = stroke->join == UI_JOIN_MITER ? halfWidth + stroke->miterExtra : 0.0f;
        float dx = tip.x - vertex.x, dy = tip.y - vertex.y;
        useTip = dx * dx + dy * dy <= limit * limit && limit > 0;
    } else {
        useTip = t >= 0 && t <= 1 && u >= 0 && u <= 1;
    }
    if (useTip) {
        Push(out, tip);
    } else {
        Push(out, first->end);
        Push(out, second->start);
    }
}

// One side of a sub-path, walking `points` in the order given.
static void StrokeSide(PointList *out, const UIPoint *points, uint64_t count, bool closed,
                       float halfWidth, float capExtension, const UIStroke *stroke) {
    uint64_t segments = closed ? count : count - 1;
    OffsetSegment *offsets = (OffsetSegment *)malloc(segments * sizeof(OffsetSegment));
    for (uint64_t i = 0; i < segments; i++) {
        offsets[i] = MakeOffset(points[i], points[(i + 1) % count], halfWidth);
    }
    if (closed) {
        for (uint64_t i = 0; i < segments; i++) {
            Join(out, &offsets[i], &offsets[(i + 1) % segments], points[(i + 1) % count], halfWidth,
                 stroke);
        }
    } else {
        // Square caps push the two ends outwards along the path.
        const OffsetSegment *first = &offsets[0], *last = &offsets[segments - 1];
        float firstLength = hypotf(first->direction.x, first->direction.y);
        float lastLength = hypotf(last->direction.x, last->direction.y);
        float e0 = firstLength > 0 ? capExtension / firstLength : 0;
        float e1 = lastLength > 0 ? capExtension / lastLength : 0;
        Push(out, {first->start.x - first->direction.x * e0, first->start.y - first->direction.y * e0});
        for (uint64_t i = 0; i + 1 < segments; i++) {
            Join(out, &offsets[i], &offsets[i + 1], points[i + 1], halfWidth, stroke);
        }
        Push(out, {last->end.x + last->direction.x * e1, last->end.y + last->direction.y * e1});
    }
    free(offsets);
}

UIEdgeList UIPathStroke(const UIPath *path, bool open, const UIStroke *stroke) {
    UIEdgeList list = EmptyEdgeList();
    uint64_t start = 0;
    for (uint64_t s = 0; s < SubpathCount(path); s++) {
        uint64_t end = SubpathEnd(path, s);
        const UIPoint *points = path->points + start;
        uint64_t count = end - start;
        start = end;
        bool closed = !open;
        if (closed && count >= 2) {
            float dx = points[count - 1].x - points[0].x, dy = points[count - 1].y - points[0].y;
            if (dx * dx + dy * dy < POINT_MERGE_SQUARED) count--;
        }
        if (count < 2) continue;
        if (count == 2) closed = false;

        UIPoint *reversed = (UIPoint *)malloc(count * sizeof(UIPoint));
        for (uint64_t i = 0; i < count; i++) reversed[i] = points[count - 1 - i];
        float capExtension = stroke->cap == UI_CAP_SQUARE && !closed
                                 ? (stroke->halfWidthLeft + stroke->halfWidthRight) / 2
                                 : 0.0f;
        PointList side = {};
        StrokeSide(&side, points, count, closed, stroke->halfWidthLeft, capExtension, stroke);
        if (closed) {
            // Two rings of opposite direction: the non-zero rule fills between them.
            AddPolygon(&list, side.points, side.count);
            side.count = 0;
        }
        StrokeSide(&side, reversed, count, closed, stroke->halfWidthRight, capExtension, stroke);
        AddPolygon(&list, side.points, side.count);
        free(side.points);
        free(reversed);
    }
    return list;
}

// ---- filling ----

static int CompareTop(const void *a, const void *b) {
    float ya = ((const UIEdge *)a)->y0, yb = ((const UIEdge *)b)->y0;
    return ya < yb ? -1 : ya > yb ? 1 : 0;
}

// Adds the signed area of one piece of edge inside one row, running from xa
// to xb (xa <= xb) over a height h. Each column gets the area right of the
// piece within it, and cover[c + 1] the height, which every column further
// right takes whole. What lies left of the box counts at its left column;
// what lies at or past its right edge is dropped.
static void Accumulate(float *area, float *cover, int32_t left, int32_t right, float xa, float xb,
                       float h) {
    float run = xb - xa;
    if (run <= 0) {
        float x = xa < left ? left : xa;
        int32_t c = (int32_t)floorf(x);
        if (c >= right) return;
        area[c] += h * (1 - (x - c));
        cover[c + 1] += h;
        return;
    }
    if (xa < left) {
        float part = xb < left ? xb : (float)left;
        float p = h * (part - xa) / run;
        area[left] += p;
        cover[left + 1] += p;
        if (xb <= left) return;
        xa = left;
    }
    for (int32_t c = (int32_t)floorf(xa); c < right && xa < xb; c++) {
        float xe = xb < c + 1 ? xb : (float)(c + 1);
        float p = h * (xe - xa) / run;
        area[c] += p * (1 - ((xa + xe) / 2 - c));
        cover[c + 1] += p;
        xa = xe;
    }
}

void UIRasterFill(UIRasterTarget *target, UIEdgeList *edges, bool evenOdd, uint32_t colour,
                  float alpha) {
    int32_t top = edges->top > 0 ? edges->top : 0;
    int32_t left = edges->left > 0 ? edges->left : 0;
    int32_t bottom = edges->bottom < target->height ? edges->bottom : target->height;
    int32_t right = edges->right < target->width ? edges->right : target->width;
    if (!target->pixels || top >= bottom || left >= right || !edges->count) {
        UIEdgeListFree(edges);
        return;
    }
    qsort(edges->edges, edges->count, sizeof(UIEdge), CompareTop);
    UIEdge **active = (UIEdge **)malloc(edges->count * sizeof(UIEdge *));
    uint64_t activeCount = 0, next = 0;
    float *area = target->area, *cover = target->cover;
    uint32_t rgb = colour & 0xFFFFFF;

    for (int32_t y = top; y < bottom; y++) {
        for (uint64_t i = 0; i < activeCount;) {
            if (active[i]->y1 <= y) active[i] = active[--activeCount];
            else i++;
        }
        while (next < edges->count && edges->edges[next].y0 < y + 1) {
            active[activeCount++] = &edges->edges[next++];
        }
        for (uint64_t i = 0; i < activeCount; i++) {
            const UIEdge *e = active[i];
            float ya = e->y0 > y ? e->y0 : (float)y;
            float yb = e->y1 < y + 1 ? e->y1 : (float)(y + 1);
            if (yb <= ya) continue;
            float xa = e->x0 + (ya - e->y0) * e->dxdy;
            float xb = e->x0 + (yb - e->y0) * e->dxdy;
            if (xa > xb) {
                float swap = xa;
                xa = xb;
                xb = swap;
            }
            Accumulate(area, cover, left, right, xa, xb, (yb - ya) * e->direction);
        }

        uint32_t *row = (uint32_t *)((uint8_t *)target->pixels + (int64_t)y * target->stride);
        float sum = 0;
        for (int32_t x = left; x < right; x++) {
            sum += cover[x];
            float v = area[x] + sum;
            area[x] = cover[x] = 0;
            if (evenOdd) {
                v = fmodf(fabsf(v), 2.0f);
                if (v > 1) v = 2 - v;
            } else {
                v = fabsf(v);
                if (v > 1) v = 1;
            }
            if (v <= MIN_COVERAGE) continue;
            uint32_t a = (uint32_t)(v * alpha * 255);
            if (a) row[x] = UIBlend(row[x], a << 24 | rgb);
        }
        cover[right] = 0;
    }
    free(active);
    UIEdgeListFree(edges);
}

// Fills `edges` into a whole buffer of width * height pixels.
static void FillBuffer(int32_t width, int32_t height, uint32_t *pixels, UIEdgeList *edges,
                       uint32_t colour) {
    UIRasterTarget target = {pixels, width, height, width * 4, nullptr, nullptr};
    target.area = (float *)calloc(width, sizeof(float));
    target.cover = (float *)calloc(width + 1, sizeof(float));
    UIRasterFill(&target, edges, false, colour, (colour >> 24) / 255.0f);
    free(target.area);
    free(target.cover);
}

void UIFillTriangle(int32_t width, int32_t height, uint32_t *pixels, const UIPoint points[3],
                    uint32_t colour) {
    if (!pixels) return;
    UIPath path = {};
    for (int i = 0; i < 3; i++) UIPathAddPoint(&path, points[i].x, points[i].y);
    if (path.pointCount == 3) {
        UIEdgeList edges = UIPathEdges(&path);
        FillBuffer(width, height, pixels, &edges, colour);
    }
    UIPathFree(&path);
}

void UIStrokePolyline(UIPainter *painter, const UIPoint *points, int32_t count, uint32_t colour,
                      float lineWidth) {
    if (!painter->pixels || count < 2) return;
    UIPath path = {};
    for (int32_t i = 0; i < count; i++) UIPathAddPoint(&path, points[i].x, points[i].y);
    UIPathEndSubpath(&path);
    UIStroke stroke = {lineWidth / 2, lineWidth / 2, UI_JOIN_BEVEL, 0.0f, UI_CAP_BUTT};
    UIEdgeList edges = UIPathStroke(&path, true, &stroke);
    FillBuffer(painter->width, painter->height, painter->pixels, &edges, colour);
    UIPathFree(&path);
}
