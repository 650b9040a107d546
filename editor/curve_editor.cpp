// The curve element. It draws its modulator's curve over a grid with the
// area under it shaded, the handles of points and segments while the pointer
// is over it, and the modulator's live phase. Edits change the point array
// the engine reads, so each one holds the instance's engineLock for the
// change alone, and then tells the host that its saved state is stale. Reads
// need no lock: only this thread changes the points.
//
// Geometry is in device pixels: the box is the element inset by 4 design
// units, and a point (x, y) stands at (left + x * width, top + (1 - y) * height).
#include "editor/curve_editor.h"

#include <math.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include "toolkit/images.h"
#include "toolkit/menu.h"
#include "toolkit/palette.h"
#include "toolkit/rasterise.h"
#include "toolkit/scale.h"
#include "vocabulary/context.h"
#include "vocabulary/curve.h"

struct CurveEditorState {
    uint32_t *lineColour, *shadeColour;   // palette entries, or null
    uint8_t allowLoopStart;               // the point menu offers "Set loop start"
    uint8_t hasSelection;
    int32_t selectionStart, selectionEnd; // points start up to, not including, end
    float bandStart, bandEnd;             // the rubber band, as x from 0 to 1
};

// What a capture holds, in the window's pressedInside word: a point's index,
// a tension handle's index with the high bit, or the rubber band.
static const uint32_t CAPTURE_BAND = 0x40000000;
static const uint32_t CAPTURE_HANDLE = 0x80000000;

static const int32_t INSET = 4;              // design units round the box
static const int32_t NEAR_SQUARED = 150;     // squared device pixels
static const float MIN_HANDLE_SPAN = 0.001f; // device pixels, each way
static const float LN2 = 0.6931472f;
static const uint32_t FALLBACK_LINE = 0xFFFF00FF, FALLBACK_SHADE = 0xFF00FF;
static const int32_t DEFAULT_GRID_COLUMNS = 16;

// One copied value for all curve elements of the process, and the target of
// the open point menu.
static float copiedValue;
static UIElement *menuElement;
static int32_t menuIndex;

static Curve *CurveOf(Editor *editor, const UIElement *element) {
    if (!editor->curves) return nullptr;
    int32_t which = (int32_t)element->value;
    if (which < 0 || which >= CURVE_COUNT) return nullptr;
    return &editor->curves[which];
}

static float Limit01(float v) { return v < 0.0f ? 0.0f : v > 1.0f ? 1.0f : v; }

static void MarkDirty(Editor *editor, UIWindow *window, Plugin *plugin) {
    UIEditorSend(editor, window, plugin, UI_ASK_MARK_DIRTY, 0, nullptr);
}

// ---- geometry ----

struct Box {
    int32_t left, top, width, height;
};

static Box BoxOf(const UIElement *element) {
    return {(element->x + INSET) * uiScale / 100, (element->y + INSET) * uiScale / 100,
            (element->width - 2 * INSET) * uiScale / 100,
            (element->height - 2 * INSET) * uiScale / 100};
}

static float ScreenX(const Box &box, float x) { return box.left + x * box.width; }
static float ScreenY(const Box &box, float y) { return box.top + (1.0f - y) * box.height; }
static float CurveX(const Box &box, int32_t px) { return (float)(px - box.left) / box.width; }
static float CurveY(const Box &box, int32_t py) { return 1.0f - (float)(py - box.top) / box.height; }

// The fraction of the way from a segment's left level to its right one at
// t along it; positive tension bends toward the left level, negative toward
// the right.
static float SegmentShape(float t, float tension) {
    if (tension > 0.0f) return powf(t, 1.0f + tension);
    if (tension < 0.0f) return 1.0f - powf(1.0f - t, 1.0f - tension);
    return t;
}

// The handle of the segment that ends at point i (1 or more), halfway along
// x. A segment too flat or too narrow on screen has none.
static bool HandleAt(const Curve *curve, const Box &box, int32_t i, float *hx, float *hy) {
    const CurvePoint &l = curve->points[i - 1], &r = curve->points[i];
    float x0 = ScreenX(box, l.x), x1 = ScreenX(box, r.x);
    float y0 = ScreenY(box, l.y), y1 = ScreenY(box, r.y);
    if (!(x1 - x0 > MIN_HANDLE_SPAN) || !(fabsf(y1 - y0) > MIN_HANDLE_SPAN)) return false;
    *hx = (x0 + x1) * 0.5f;
    *hy = y0 + (y1 - y0) * SegmentShape(0.5f, r.tension);
    return true;
}

struct Hit {
    enum { NONE, POINT, HANDLE } kind;
    int32_t index;
};

static int32_t SquaredDistance(float x, float y, int32_t px, int32_t py) {
    int32_t dx = (int32_t)x - px, dy = (int32_t)y - py;
    return dx * dx + dy * dy;
}

// The nearest point within reach, unless a handle is strictly nearer; among
// equals the earlier wins.
static Hit HitTest(const Curve *curve, const Box &box, const UIPointerInfo *info) {
    int32_t px = UIDeviceFromDesign(info->x), py = UIDeviceFromDesign(info->y);
    Hit hit = {Hit::NONE, -1};
    int32_t best = NEAR_SQUARED;
    for (int32_t i = 0; i < curve->pointCount; i++) {
        const CurvePoint &p = curve->points[i];
        int32_t d = SquaredDistance(ScreenX(box, p.x), ScreenY(box, p.y), px, py);
        if (d < best) best = d, hit = {Hit::POINT, i};
    }
    for (int32_t i = 1; i < curve->pointCount; i++) {
        float hx, hy;
        if (!HandleAt(curve, box, i, &hx, &hy)) continue;
        int32_t d = SquaredDistance(hx, hy, px, py);
        if (d < best) best = d, hit = {Hit::HANDLE, i};
    }
    return hit;
}

static bool InSelection(const CurveEditorState *state, int32_t index) {
    return state->hasSelection && state->selectionStart <= index && index < state->selectionEnd;
}

// A handle belongs to the selection when both its ends do.
static bool HandleInSelection(const CurveEditorState *state, int32_t index) {
    return state->hasSelection && state->selectionStart < index && index < state->selectionEnd;
}

static void KeepDragCopy(Curve *curve) {
    curve->dragPoints =
        (CurvePoint *)realloc(curve->dragPoints, curve->pointCount * sizeof(CurvePoint));
    memcpy(curve->dragPoints, curve->points, curve->pointCount * sizeof(CurvePoint));
}

// ---- the point array, under the lock ----

static void DeletePoint(Curve *curve, int32_t index) {
    if (curve->loopStart == index) curve->loopStart = 0;
    else if (curve->loopStart > index) curve->loopStart--;
    curve->pointCount--;
    memmove(&curve->points[index], &curve->points[index + 1],
            (curve->pointCount - index) * sizeof(CurvePoint));
}

// The tension of segment `index`, or of every inner segment of the selection
// when the handle lies in it.
static void SetTension(Editor *editor, CurveEditorState *state, Curve *curve, int32_t index,
                       float tension) {
    pthread_mutex_lock(&editor->engineLock);
    if (state->hasSelection) {
        for (int32_t i = state->selectionStart + 1; i < state->selectionEnd && i < curve->pointCount; i++)
            curve->points[i].tension = tension;
    } else if (index < curve->pointCount) {
        curve->points[index].tension = tension;
    }
    pthread_mutex_unlock(&editor->engineLock);
}

// ---- the mouse ----

static void LeftDown(Editor *editor, UIWindow *window, UIElement *element, CurveEditorState *state,
                     Curve *curve, const UIPointerInfo *info) {
    Box box = BoxOf(element);
    Hit hit = HitTest(curve, box, info);
    window->capturedElement = element;
    if (hit.kind == Hit::NONE) {
        window->pressedInside = CAPTURE_BAND;
        state->hasSelection = 0;
        state->bandStart = state->bandEnd = CurveX(box, UIDeviceFromDesign(info->x));
        return;
    }
    bool kept = hit.kind == Hit::HANDLE ? HandleInSelection(state, hit.index)
                                        : InSelection(state, hit.index);
    window->pressedInside = hit.kind == Hit::HANDLE ? hit.index | CAPTURE_HANDLE : hit.index;
    if (kept) KeepDragCopy(curve);
    else state->hasSelection = 0;
}

static void AddPoint(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     CurveEditorState *state, Curve *curve, const UIPointerInfo *info) {
    Box box = BoxOf(element);
    if (HitTest(curve, box, info).kind != Hit::NONE || curve->pointCount >= CURVE_MAX_POINTS) return;
    float x = Limit01(CurveX(box, UIDeviceFromDesign(info->x)));
    float y = Limit01(CurveY(box, UIDeviceFromDesign(info->y)));
    int32_t index = 0;
    while (index < curve->pointCount && curve->points[index].x < x) index++;
    pthread_mutex_lock(&editor->engineLock);
    if (curve->loopStart != 0 && curve->loopStart >= index) curve->loopStart++;
    curve->pointCount++;
    curve->points = (CurvePoint *)realloc(curve->points, curve->pointCount * sizeof(CurvePoint));
    memmove(&curve->points[index + 1], &curve->points[index],
            (curve->pointCount - 1 - index) * sizeof(CurvePoint));
    curve->points[index] = {x, y, 0.0f};
    pthread_mutex_unlock(&editor->engineLock);
    MarkDirty(editor, window, plugin);
    // The new point follows the pointer until the button comes up.
    window->capturedElement = element;
    window->pressedInside = (uint32_t)index;
    state->hasSelection = 0;
}

// Moves the captured point, or the whole selection by the captured point's
// travel since the press. Each point stays between its neighbours.
static void DragPoints(Editor *editor, UIWindow *window, const Box &box, CurveEditorState *state,
                       Curve *curve, int32_t captured, const UIPointerInfo *info) {
    float px = CurveX(box, UIDeviceFromDesign(info->x)), py = CurveY(box, UIDeviceFromDesign(info->y));
    int32_t first = captured, end = captured + 1;
    bool moveAll = state->hasSelection && curve->dragPoints;
    if (moveAll) first = state->selectionStart, end = state->selectionEnd;
    if (end > curve->pointCount || captured >= curve->pointCount) return;
    int32_t which = (int32_t)(curve - editor->curves);
    int32_t columns = window->gridColumns[which], rows = window->gridRows[which];
    pthread_mutex_lock(&editor->engineLock);
    for (int32_t i = first; i < end; i++) {
        float x = px, y = py;
        if (moveAll && i != captured) {
            x = px - curve->dragPoints[captured].x + curve->dragPoints[i].x;
            y = py - curve->dragPoints[captured].y + curve->dragPoints[i].y;
        }
        y = Limit01(y);
        if (info->shift) {
            if (columns > 0) x = floorf(x * columns + 0.5f) / columns;
            if (rows > 0) y = floorf(y * rows + 0.5f) / rows;
        }
        float lower = i > 0 ? curve->points[i - 1].x : 0.0f;
        float upper = i + 1 < curve->pointCount ? curve->points[i + 1].x : 1.0f;
        if (x < lower) x = lower;
        if (x > upper) x = upper;
        curve->points[i].x = x;
        curve->points[i].y = Limit01(y);
    }
    pthread_mutex_unlock(&editor->engineLock);
}

// The tension that puts the segment's middle at the pointer's level.
// Kept within about +-8.97, where the shape still shows a difference.
static float TensionFor(float t) {
    if (t > 0.999f) return logf(0.0009999871f) / LN2 + 1.0f;
    if (t > 0.5f) return logf(1.0f - t) / LN2 + 1.0f;
    if (t < 0.001f) return -logf(0.001f) / LN2 - 1.0f;
    if (t < 0.5f) return -logf(t) / LN2 - 1.0f;
    return 0.0f;
}

static void Drag(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                 CurveEditorState *state, Curve *curve, const UIPointerInfo *info) {
    Box box = BoxOf(element);
    uint32_t word = window->pressedInside;
    if (word == CAPTURE_BAND) {
        state->bandEnd = CurveX(box, UIDeviceFromDesign(info->x));
        return;
    }
    if (word & CAPTURE_HANDLE) {
        int32_t k = (int32_t)(word & ~CAPTURE_HANDLE);
        if (k < 1 || k >= curve->pointCount) return;
        float a = curve->points[k - 1].y, b = curve->points[k].y;
        float v = Limit01(CurveY(box, UIDeviceFromDesign(info->y)));
        SetTension(editor, state, curve, k, TensionFor((v - a) / (b - a)));
    } else {
        DragPoints(editor, window, box, state, curve, (int32_t)word, info);
    }
    MarkDirty(editor, window, plugin);
}

// The band selects the run of points from the first inside it up to the
// first after that outside it.
static void EndBand(CurveEditorState *state, const Curve *curve) {
    float lo = fminf(state->bandStart, state->bandEnd), hi = fmaxf(state->bandStart, state->bandEnd);
    int32_t i = 0;
    while (i < curve->pointCount && !(curve->points[i].x >= lo && curve->points[i].x <= hi)) i++;
    if (i == curve->pointCount) return;
    state->selectionStart = i;
    while (i < curve->pointCount && curve->points[i].x >= lo && curve->points[i].x <= hi) i++;
    state->selectionEnd = i;
    state->hasSelection = 1;
}

// ---- the menus ----

static void PointMenu(UIMenuBuilder *builder) {
    Editor *editor = builder->editor;
    Curve *curve = menuElement ? CurveOf(editor, menuElement) : nullptr;
    if (!curve || menuIndex >= curve->pointCount) return;
    const CurveEditorState *state = (const CurveEditorState *)menuElement->context;
    CurvePoint *point = &curve->points[menuIndex];
    bool changed = false;
    if (state->allowLoopStart) {
        uint32_t flags = curve->loopStart == menuIndex && menuIndex ? (uint32_t)UI_MENU_CHECKED : 0u;
        if (UIMenuAddFlagged(builder, U"Set loop start", flags)) {
            pthread_mutex_lock(&editor->engineLock);
            curve->loopStart = (uint16_t)menuIndex;
            pthread_mutex_unlock(&editor->engineLock);
            changed = true;
        }
        UIMenuAddFlagged(builder, nullptr, UI_MENU_SEPARATOR);
    }
    if (UIMenuAdd(builder, U"&Copy value")) copiedValue = point->y;
    if (UIMenuAdd(builder, U"Paste &value")) {
        pthread_mutex_lock(&editor->engineLock);
        point->y = copiedValue;
        pthread_mutex_unlock(&editor->engineLock);
        changed = true;
    }
    // A curve keeps at least two points.
    if (curve->pointCount > CURVE_MIN_POINTS && UIMenuAdd(builder, U"&Delete")) {
        pthread_mutex_lock(&editor->engineLock);
        DeletePoint(curve, menuIndex);
        pthread_mutex_unlock(&editor->engineLock);
        changed = true;
    }
    if (changed) MarkDirty(editor, builder->window, builder->plugin);
}

static void SelectionMenu(UIMenuBuilder *builder) {
    if (!UIMenuAdd(builder, U"Delete selected")) return;
    Editor *editor = builder->editor;
    Curve *curve = menuElement ? CurveOf(editor, menuElement) : nullptr;
    CurveEditorState *state = menuElement ? (CurveEditorState *)menuElement->context : nullptr;
    if (!curve || !state) return;
    state->hasSelection = 0;
    // The curves may have been replaced since the selection was made.
    int32_t start = state->selectionStart, count = state->selectionEnd - start;
    if (start >= curve->pointCount || state->selectionEnd > curve->pointCount || count <= 0) return;
    pthread_mutex_lock(&editor->engineLock);
    for (int32_t i = 0; i < count && curve->pointCount > CURVE_MIN_POINTS; i++)
        DeletePoint(curve, start);
    pthread_mutex_unlock(&editor->engineLock);
    MarkDirty(editor, builder->window, builder->plugin);
}

static void RightUp(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                    CurveEditorState *state, Curve *curve, const UIPointerInfo *info) {
    Hit hit = HitTest(curve, BoxOf(element), info);
    if (hit.kind == Hit::NONE) return;
    if (hit.kind == Hit::HANDLE) {
        // A right click straightens the segment, or every segment of the selection.
        if (!HandleInSelection(state, hit.index)) state->hasSelection = 0;
        SetTension(editor, state, curve, hit.index, 0.0f);
        MarkDirty(editor, window, plugin);
        return;
    }
    if (!InSelection(state, hit.index)) state->hasSelection = 0;
    menuElement = element;
    menuIndex = hit.index;
    UIMenuBuildAndShow(window, nullptr, state->hasSelection ? SelectionMenu : PointMenu);
}

// ---- painting ----

static uint32_t Colour(const uint32_t *entry, uint32_t fallback) {
    return entry ? *entry : fallback;
}

static void PaintGrid(UIPainter *painter, const Box &box, int32_t columns, int32_t rows) {
    int32_t line = uiScale / 100 > 0 ? uiScale / 100 : 1;
    uint32_t colour = paletteValues[PAL_CURVE_GRID];
    for (int32_t i = 0; columns > 0 && i <= columns; i++)
        UIDrawBlock(painter, box.left + i * box.width / columns, box.top, line, box.height, colour);
    for (int32_t i = 0; rows > 0 && i <= rows; i++)
        UIDrawBlock(painter, box.left, box.top + i * box.height / rows, box.width, line, colour);
}

// The level of the curve on screen at each column, walking the flat run
// before the first point, the segments, and the flat run after the last. A
// straight segment adds only its ends to the line; a curved one every column.
static void TraceCurve(const Curve *curve, const Box &box, float *levels, UIPath *line) {
    int32_t n = curve->pointCount;
    for (int32_t s = 0; s <= n; s++) {
        CurvePoint l = s > 0 ? curve->points[s - 1] : CurvePoint{0.0f, curve->points[0].y, 0.0f};
        CurvePoint r = s < n ? curve->points[s] : CurvePoint{1.0f, curve->points[n - 1].y, 0.0f};
        float tension = s == 0 || s == n ? 0.0f : r.tension;
        int32_t c0 = (int32_t)(l.x * box.width), c1 = (int32_t)(r.x * box.width);
        if (c0 > c1) continue;
        if (c0 < 0) c0 = 0;
        if (c1 > box.width) c1 = box.width;
        for (int32_t c = c0; c <= c1; c++) {
            float t = c1 == c0 ? 1.0f : (float)(c - c0) / (c1 - c0);
            float y = box.top + box.height - (l.y + (r.y - l.y) * SegmentShape(t, tension)) * box.height;
            levels[c] = y;
            if (tension != 0.0f || c == c0 || c == c1) UIPathAddPoint(line, box.left + c + 0.5f, y);
        }
    }
}

// Under the curve, a shade that is strongest at the box's top and fades out
// at its bottom.
static void PaintShade(UIPainter *painter, const Box &box, const float *levels, uint32_t colour) {
    uint32_t step = 0xFFFFFFFFu / (uint32_t)box.height;
    int32_t bottom = box.top + box.height;
    for (int32_t c = 0; c <= box.width; c++) {
        int32_t x = box.left + c;
        if (x >= painter->width) break;
        int32_t from = (int32_t)levels[c];
        if (from < box.top) from = box.top;
        for (int32_t r = from; r < bottom && r < painter->height; r++) {
            uint32_t alpha = ~((uint32_t)(r - box.top) * step) >> 24;
            uint32_t *pixel = &painter->pixels[r * painter->width + x];
            *pixel = UIBlend(*pixel, (colour & 0xFFFFFF) | alpha << 24);
        }
    }
}

static void DrawCentred(UIPainter *painter, UIImage *image, float x, float y) {
    UIDrawImage(painter, image, (int32_t)x - image->width / 2, (int32_t)y - image->height / 2, false);
}

static void MarkSelected(UIPainter *painter, UIImage *image, float x, float y, uint32_t colour) {
    UIDrawRoundedBlock(painter, (int32_t)x - image->width / 2, (int32_t)y - image->height / 2,
                       image->width, image->height, colour, image->width / 2 + 1);
}

static void PaintHandles(UIWindow *window, const UIElement *element, const CurveEditorState *state,
                         const Curve *curve, const Box &box) {
    UIPainter *painter = &window->painter;
    bool band = window->capturedElement == element && window->pressedInside == CAPTURE_BAND;
    float lo = fminf(state->bandStart, state->bandEnd), hi = fmaxf(state->bandStart, state->bandEnd);
    auto inBand = [&](float x) { return band && x >= lo && x <= hi; };
    uint32_t selection = paletteValues[PAL_CURVE_SELECTION];
    UIImage *tension = UIImageGet(IMAGE_CURVE_HANDLE_TENSION);
    UIImage *endpoint = UIImageGet(IMAGE_CURVE_HANDLE_ENDPOINT);
    for (int32_t i = 1; i < curve->pointCount; i++) {
        float hx, hy;
        if (!HandleAt(curve, box, i, &hx, &hy)) continue;
        DrawCentred(painter, tension, hx, hy);
        if ((inBand(curve->points[i - 1].x) && inBand(curve->points[i].x)) ||
            HandleInSelection(state, i))
            MarkSelected(painter, tension, hx, hy, selection);
    }
    for (int32_t i = 0; i < curve->pointCount; i++) {
        float x = ScreenX(box, curve->points[i].x), y = ScreenY(box, curve->points[i].y);
        DrawCentred(painter, endpoint, x, y);
        if (curve->loopStart == i && i != 0) {
            UIDrawBlock(painter, (int32_t)x - endpoint->width / 2, (int32_t)y - endpoint->height / 2,
                        endpoint->width, endpoint->height, paletteValues[PAL_CURVE_LOOP_START_HANDLE]);
        }
        if (inBand(curve->points[i].x) || InSelection(state, i))
            MarkSelected(painter, endpoint, x, y, selection);
    }
}

// Where the modulator reads the curve now: a line at its x while audio runs.
// A ping-pong modulator's phase runs to 2 and walks back.
static void PaintPhase(Editor *editor, UIPainter *painter, const Box &box, int32_t which) {
    const MeterBlock *meter = editor->meter;
    if (!meter || !MeterRead(meter->audioActive)) return;
    float phase = MeterRead(meter->modPhase[which]);
    if (!(phase >= 0.0f && phase <= 2.0f)) return;
    float x = phase > 1.0f ? 2.0f - phase : phase;
    int32_t line = uiScale / 100 > 0 ? uiScale / 100 : 1;
    UIDrawBlock(painter, box.left + (int32_t)(x * box.width), box.top, line, box.height + 1,
                paletteValues[PAL_CURVE_PHASE_INDICATOR]);
}

static void Paint(Editor *editor, UIWindow *window, UIElement *element, const CurveEditorState *state,
                  const Curve *curve) {
    UIPainter *painter = &window->painter;
    Box box = BoxOf(element);
    if (box.left < -1 || box.top < -1 || box.left + box.width > painter->width ||
        box.top + box.height > painter->height || box.width <= 0 || box.height <= 0)
        return;
    int32_t which = (int32_t)element->value;
    PaintGrid(painter, box, window->gridColumns[which], window->gridRows[which]);
    if (curve->pointCount >= 1 && curve->points) {
        float *levels = (float *)malloc((box.width + 1) * sizeof(float));
        for (int32_t c = 0; c <= box.width; c++) levels[c] = (float)(box.top + box.height);
        UIPath line = {};
        TraceCurve(curve, box, levels, &line);
        PaintShade(painter, box, levels, Colour(state->shadeColour, FALLBACK_SHADE));
        UIStrokePolyline(painter, line.points, (int32_t)line.pointCount,
                         Colour(state->lineColour, FALLBACK_LINE), 2.0f * uiScale / 100);
        UIPathFree(&line);
        free(levels);
    }
    PaintPhase(editor, painter, box, which);
    if (window->hoveredIndex == element - window->elements && curve->pointCount >= 1)
        PaintHandles(window, element, state, curve, box);
    if (window->capturedElement == element && window->pressedInside == CAPTURE_BAND) {
        float lo = fminf(state->bandStart, state->bandEnd), hi = fmaxf(state->bandStart, state->bandEnd);
        int32_t from = (int32_t)(lo * box.width), to = (int32_t)(hi * box.width);
        if (from < 0) from = 0;
        if (to > box.width) to = box.width;
        UIDrawBlock(painter, box.left + from, box.top, to - from, box.height,
                    paletteValues[PAL_CURVE_SELECTION]);
    }
}

// ---- the handler ----

void CurveEditorHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                        UIMessage message, void *data) {
    CurveEditorState *state = (CurveEditorState *)element->context;
    Curve *curve = state ? CurveOf(editor, element) : nullptr;
    if (!curve) return;
    const UIPointerInfo *info = (const UIPointerInfo *)data;
    bool captured = window->capturedElement == element;
    switch (message) {
    case UI_MSG_PAINT:
        if (!element->disabled) Paint(editor, window, element, state, curve);
        break;
    case UI_MSG_LEFT_DOWN:
        if (!element->disabled) LeftDown(editor, window, element, state, curve, info);
        break;
    case UI_MSG_RIGHT_DOWN:
        if (!element->disabled) AddPoint(editor, window, plugin, element, state, curve, info);
        break;
    case UI_MSG_RIGHT_UP:
        if (!element->disabled) RightUp(editor, window, plugin, element, state, curve, info);
        break;
    case UI_MSG_DRAG:
        Drag(editor, window, plugin, element, state, curve, info);
        break;
    case UI_MSG_DRAG_END:
        // The capture is already let go; the word still says what it held.
        if (window->pressedInside == CAPTURE_BAND) EndBand(state, curve);
        window->pressedInside = 0;
        break;
    case UI_MSG_HOVER: {
        UIPointerInfo *hover = (UIPointerInfo *)data;
        if (captured) hover->cursor = window->pressedInside != CAPTURE_BAND;
        else hover->cursor = HitTest(curve, BoxOf(element), info).kind != Hit::NONE;
        break;
    }
    default:
        break;
    }
}

static uint32_t *PaletteEntry(const UIMakeElement *offer, const char *key) {
    const UIToken *value = UIPairValue(offer->pairs, offer->pairTokens, key);
    if (!value) return nullptr;
    char name[UI_VALUE_MAX + 1];
    UITokenText(value, name);
    return UIPaletteFind(name);
}

bool CurveEditorMake(UIWindow *window, UIMakeElement *offer) {
    static const char KIND[] = "curve_editor";
    if (offer->kind.length != sizeof KIND - 1 || memcmp(offer->kind.text, KIND, sizeof KIND - 1))
        return false;
    CurveEditorState *state = (CurveEditorState *)calloc(1, sizeof(CurveEditorState));
    state->lineColour = PaletteEntry(offer, "line_color");
    state->shadeColour = PaletteEntry(offer, "shade_color");
    UIWindowOwnBlock(window, state);
    offer->element->handler = CurveEditorHandler;
    offer->element->context = state;
    for (int32_t i = 0; i < UI_CURVE_COUNT; i++) {
        window->gridColumns[i] = DEFAULT_GRID_COLUMNS;
        window->gridRows[i] = 0;
    }
    return true;
}
