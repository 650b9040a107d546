#include "tools/artgen/canvas.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <ft2build.h>
#include FT_FREETYPE_H

static const float PI = 3.14159265358979f;
// Flattening: a chord of a curve may stray this far (pixels) from the curve.
static const float FLATNESS = 0.01f;

// ---- colours and paints ----

Colour Argb(uint32_t argb) {
    return {((argb >> 16) & 255) / 255.0f, ((argb >> 8) & 255) / 255.0f, (argb & 255) / 255.0f,
            (argb >> 24) / 255.0f};
}

Colour Rgb(uint32_t rgb, float alpha) {
    Colour c = Argb(0xFF000000 | rgb);
    c.a = alpha;
    return c;
}

Colour Mix(Colour a, Colour b, float t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t,
            a.a + (b.a - a.a) * t};
}

Colour WithAlpha(Colour c, float alpha) {
    c.a = alpha;
    return c;
}

Paint Solid(Colour c) {
    Paint p = {};
    p.kind = PAINT_SOLID;
    p.from = p.to = c;
    return p;
}

Paint Linear(Colour from, Colour to, float x0, float y0, float x1, float y1) {
    Paint p = {};
    p.kind = PAINT_LINEAR;
    p.from = from, p.to = to;
    p.x0 = x0, p.y0 = y0, p.x1 = x1, p.y1 = y1;
    return p;
}

Paint Vertical(Colour top, Colour bottom, float y0, float y1) {
    return Linear(top, bottom, 0, y0, 0, y1);
}

Paint Radial(Colour centre, Colour edge, float x, float y, float radius) {
    Paint p = {};
    p.kind = PAINT_RADIAL;
    p.from = centre, p.to = edge;
    p.x0 = x, p.y0 = y, p.radius = radius;
    return p;
}

// The paint's colour at a point in design units.
static Colour PaintAt(const Paint *p, float x, float y) {
    float t = 0;
    if (p->kind == PAINT_LINEAR) {
        float dx = p->x1 - p->x0, dy = p->y1 - p->y0;
        float length2 = dx * dx + dy * dy;
        t = length2 > 0 ? ((x - p->x0) * dx + (y - p->y0) * dy) / length2 : 0;
    } else if (p->kind == PAINT_RADIAL) {
        t = p->radius > 0 ? hypotf(x - p->x0, y - p->y0) / p->radius : 0;
    } else {
        return p->from;
    }
    t = t < 0 ? 0 : t > 1 ? 1 : t;
    // Smoothstep-eased, so gradients have no visible start or end line.
    t = t * t * (3 - 2 * t);
    return Mix(p->from, p->to, t);
}

// ---- the canvas ----

static void MaskInit(Mask *mask, int32_t width, int32_t height) {
    mask->coverage = (float *)calloc((size_t)width * height, sizeof(float));
    mask->left = width, mask->top = height, mask->right = 0, mask->bottom = 0;
}

void CanvasInit(Canvas *canvas, int32_t width, int32_t height, float scale) {
    memset(canvas, 0, sizeof(*canvas));
    canvas->width = width, canvas->height = height, canvas->scale = scale;
    canvas->rgba = (float *)calloc((size_t)width * height * 4, sizeof(float));
    MaskInit(&canvas->mask, width, height);
    MaskInit(&canvas->spare, width, height);
    canvas->fillPixels = (uint32_t *)calloc((size_t)width * height, sizeof(uint32_t));
    canvas->area = (float *)calloc(width + 1, sizeof(float));
    canvas->cover = (float *)calloc(width + 2, sizeof(float));
}

void CanvasFree(Canvas *canvas) {
    free(canvas->rgba);
    free(canvas->mask.coverage);
    free(canvas->spare.coverage);
    free(canvas->fillPixels);
    free(canvas->area);
    free(canvas->cover);
    memset(canvas, 0, sizeof(*canvas));
}

// ---- paths ----

static int32_t ArcSegments(float radiusPixels, float sweepDegrees) {
    if (radiusPixels < 0.5f) radiusPixels = 0.5f;
    float step = 2 * sqrtf(2 * FLATNESS / radiusPixels);   // angle whose sagitta is FLATNESS
    int32_t n = (int32_t)ceilf(fabsf(sweepDegrees) * PI / 180 / step);
    return n < 2 ? 2 : n;
}

void PathMoveTo(UIPath *path, const Canvas *canvas, float x, float y) {
    UIPathEndSubpath(path);
    UIPathAddPoint(path, x * canvas->scale, y * canvas->scale);
}

void PathLineTo(UIPath *path, const Canvas *canvas, float x, float y) {
    UIPathAddPoint(path, x * canvas->scale, y * canvas->scale);
}

// Points of an arc, without starting a sub-path.
static void AddArcPoints(UIPath *path, const Canvas *canvas, float cx, float cy, float r,
                         float from, float to) {
    int32_t n = ArcSegments(r * canvas->scale, to - from);
    for (int32_t i = 0; i <= n; i++) {
        float a = (from + (to - from) * i / n) * PI / 180;
        PathLineTo(path, canvas, cx + r * sinf(a), cy - r * cosf(a));
    }
}

void PathRoundRect(UIPath *path, const Canvas *canvas, float x, float y, float w, float h, float r) {
    UIPathEndSubpath(path);
    float limit = (w < h ? w : h) / 2;
    if (r > limit) r = limit;
    if (r <= 0) {
        PathLineTo(path, canvas, x, y);
        PathLineTo(path, canvas, x + w, y);
        PathLineTo(path, canvas, x + w, y + h);
        PathLineTo(path, canvas, x, y + h);
    } else {
        AddArcPoints(path, canvas, x + w - r, y + r, r, 0, 90);
        AddArcPoints(path, canvas, x + w - r, y + h - r, r, 90, 180);
        AddArcPoints(path, canvas, x + r, y + h - r, r, 180, 270);
        AddArcPoints(path, canvas, x + r, y + r, r, 270, 360);
    }
    UIPathEndSubpath(path);
}

void PathCircle(UIPath *path, const Canvas *canvas, float cx, float cy, float r) {
    UIPathEndSubpath(path);
    AddArcPoints(path, canvas, cx, cy, r, 0, 360);
    UIPathEndSubpath(path);
}

void PathArc(UIPath *path, const Canvas *canvas, float cx, float cy, float r, float from, float to) {
    UIPathEndSubpath(path);
    AddArcPoints(path, canvas, cx, cy, r, from, to);
    UIPathEndSubpath(path);
}

// ---- the mask ----

static void MaskReset(Mask *mask, int32_t width, int32_t height) {
    for (int32_t y = mask->top; y < mask->bottom; y++) {
        memset(mask->coverage + (size_t)y * width + mask->left, 0,
               (mask->right - mask->left) * sizeof(float));
    }
    mask->left = width, mask->top = height, mask->right = 0, mask->bottom = 0;
}

static void MaskGrow(Mask *mask, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    if (left < mask->left) mask->left = left;
    if (top < mask->top) mask->top = top;
    if (right > mask->right) mask->right = right;
    if (bottom > mask->bottom) mask->bottom = bottom;
}

void MaskClear(Canvas *canvas) { MaskReset(&canvas->mask, canvas->width, canvas->height); }

// Rasterises the edges with the toolkit's exact-area fill into the scratch
// pixels, then moves the coverage into the mask as a union.
static void MaskAddEdges(Canvas *canvas, UIEdgeList *edges) {
    int32_t left = edges->left < 0 ? 0 : edges->left;
    int32_t top = edges->top < 0 ? 0 : edges->top;
    int32_t right = edges->right + 1 > canvas->width ? canvas->width : edges->right + 1;
    int32_t bottom = edges->bottom > canvas->height ? canvas->height : edges->bottom;
    UIRasterTarget target = {canvas->fillPixels, canvas->width, canvas->height, canvas->width * 4,
                             canvas->area, canvas->cover};
    UIRasterFill(&target, edges, false, 0xFFFFFFFF, 1.0f);
    if (left >= right || top >= bottom) return;
    Mask *mask = &canvas->mask;
    for (int32_t y = top; y < bottom; y++) {
        uint32_t *row = canvas->fillPixels + (size_t)y * canvas->width;
        float *m = mask->coverage + (size_t)y * canvas->width;
        for (int32_t x = left; x < right; x++) {
            // The fill blends white over black: (255 a) >> 8 is a - 1 for a
            // below 255, so one step is added back.
            uint32_t c = row[x] & 255;
            row[x] = 0;
            if (!c) continue;
            float v = (c == 255 ? 255 : c + 1) / 255.0f;
            m[x] = m[x] + v * (1 - m[x]);
        }
    }
    MaskGrow(mask, left, top, right, bottom);
}

void MaskFill(Canvas *canvas, UIPath *path) {
    UIEdgeList edges = UIPathEdges(path);
    MaskAddEdges(canvas, &edges);
    UIPathFree(path);
}

void MaskStroke(Canvas *canvas, UIPath *path, float width, bool open) {
    float half = width * canvas->scale / 2;
    UIStroke stroke = {half, half, UI_JOIN_MITER, half, UI_CAP_BUTT};
    UIEdgeList edges = UIPathStroke(path, open, &stroke);
    MaskAddEdges(canvas, &edges);
    UIPathFree(path);
}

void MaskRoundRect(Canvas *canvas, float x, float y, float w, float h, float r) {
    UIPath path = {};
    PathRoundRect(&path, canvas, x, y, w, h, r);
    MaskFill(canvas, &path);
}

void MaskCircle(Canvas *canvas, float cx, float cy, float r) {
    UIPath path = {};
    PathCircle(&path, canvas, cx, cy, r);
    MaskFill(canvas, &path);
}

void MaskArc(Canvas *canvas, float cx, float cy, float r, float from, float to, float width) {
    if (to < from) {
        float swap = from;
        from = to;
        to = swap;
    }
    // One closed outline: the outer arc forward, a round end, the inner arc
    // back, the other round end. One fill, so overlaps count once.
    float outer = r + width / 2, inner = r - width / 2, cap = width / 2;
    UIPath path = {};
    UIPathEndSubpath(&path);
    AddArcPoints(&path, canvas, cx, cy, outer, from, to);
    float a = to * PI / 180;
    AddArcPoints(&path, canvas, cx + r * sinf(a), cy - r * cosf(a), cap, to, to + 180);
    AddArcPoints(&path, canvas, cx, cy, inner, to, from);
    a = from * PI / 180;
    AddArcPoints(&path, canvas, cx + r * sinf(a), cy - r * cosf(a), cap, from + 180, from + 360);
    UIPathEndSubpath(&path);
    MaskFill(canvas, &path);
}

// One pass of a running box average of 2 r + 1 samples along `count` values
// `stride` apart.
static void BoxPass(float *values, int32_t count, int32_t stride, int32_t r, float *line) {
    for (int32_t i = 0; i < count; i++) line[i] = values[(size_t)i * stride];
    float sum = 0, scale = 1.0f / (2 * r + 1);
    for (int32_t i = -r; i <= r; i++) sum += i >= 0 && i < count ? line[i] : 0;
    for (int32_t i = 0; i < count; i++) {
        values[(size_t)i * stride] = sum * scale;
        int32_t out = i - r, in = i + r + 1;
        if (out >= 0) sum -= line[out];
        if (in < count) sum += line[in];
    }
}

void MaskBlur(Canvas *canvas, float radius) {
    Mask *mask = &canvas->mask;
    if (mask->left >= mask->right) return;
    // Three box passes of width w approximate a Gaussian of sigma w / 2.
    int32_t r = (int32_t)(radius * canvas->scale / 2 + 0.5f);
    if (r < 1) r = 1;
    int32_t grow = 3 * r + 1;
    int32_t left = mask->left - grow < 0 ? 0 : mask->left - grow;
    int32_t top = mask->top - grow < 0 ? 0 : mask->top - grow;
    int32_t right = mask->right + grow > canvas->width ? canvas->width : mask->right + grow;
    int32_t bottom = mask->bottom + grow > canvas->height ? canvas->height : mask->bottom + grow;
    int32_t longest = canvas->width > canvas->height ? canvas->width : canvas->height;
    float *line = (float *)malloc(longest * sizeof(float));
    for (int32_t pass = 0; pass < 3; pass++) {
        for (int32_t y = top; y < bottom; y++) {
            BoxPass(mask->coverage + (size_t)y * canvas->width + left, right - left, 1, r, line);
        }
        for (int32_t x = left; x < right; x++) {
            BoxPass(mask->coverage + (size_t)top * canvas->width + x, bottom - top, canvas->width, r,
                    line);
        }
    }
    free(line);
    MaskGrow(mask, left, top, right, bottom);
}

void SpareFromMask(Canvas *canvas) {
    Mask *spare = &canvas->spare, *mask = &canvas->mask;
    MaskReset(spare, canvas->width, canvas->height);
    for (int32_t y = mask->top; y < mask->bottom; y++) {
        size_t row = (size_t)y * canvas->width;
        memcpy(spare->coverage + row + mask->left, mask->coverage + row + mask->left,
               (mask->right - mask->left) * sizeof(float));
    }
    spare->left = mask->left, spare->top = mask->top;
    spare->right = mask->right, spare->bottom = mask->bottom;
}

void MaskSubtractSpare(Canvas *canvas) {
    Mask *spare = &canvas->spare, *mask = &canvas->mask;
    for (int32_t y = mask->top; y < mask->bottom; y++) {
        size_t row = (size_t)y * canvas->width;
        for (int32_t x = mask->left; x < mask->right; x++) {
            mask->coverage[row + x] *= 1 - spare->coverage[row + x];
        }
    }
}

void MaskIntersectSpare(Canvas *canvas) {
    Mask *spare = &canvas->spare, *mask = &canvas->mask;
    for (int32_t y = mask->top; y < mask->bottom; y++) {
        size_t row = (size_t)y * canvas->width;
        for (int32_t x = mask->left; x < mask->right; x++) {
            mask->coverage[row + x] *= spare->coverage[row + x];
        }
    }
}

void MaskInvertWithin(Canvas *canvas, float x, float y, float w, float h) {
    Mask *mask = &canvas->mask;
    int32_t left = (int32_t)floorf(x * canvas->scale), top = (int32_t)floorf(y * canvas->scale);
    int32_t right = (int32_t)ceilf((x + w) * canvas->scale);
    int32_t bottom = (int32_t)ceilf((y + h) * canvas->scale);
    if (left < 0) left = 0;
    if (top < 0) top = 0;
    if (right > canvas->width) right = canvas->width;
    if (bottom > canvas->height) bottom = canvas->height;
    for (int32_t j = top; j < bottom; j++) {
        float *m = mask->coverage + (size_t)j * canvas->width;
        for (int32_t i = left; i < right; i++) m[i] = 1 - m[i];
    }
    MaskGrow(mask, left, top, right, bottom);
}

// ---- painting ----

void PaintMask(Canvas *canvas, Paint paint, float opacity, float dx, float dy) {
    const Mask *mask = &canvas->mask;
    int32_t ox = (int32_t)lroundf(dx * canvas->scale), oy = (int32_t)lroundf(dy * canvas->scale);
    float inverse = 1.0f / canvas->scale;
    for (int32_t y = mask->top; y < mask->bottom; y++) {
        int32_t ty = y + oy;
        if (ty < 0 || ty >= canvas->height) continue;
        const float *m = mask->coverage + (size_t)y * canvas->width;
        float *row = canvas->rgba + (size_t)ty * canvas->width * 4;
        for (int32_t x = mask->left; x < mask->right; x++) {
            int32_t tx = x + ox;
            if (!m[x] || tx < 0 || tx >= canvas->width) continue;
            Colour c = PaintAt(&paint, (tx + 0.5f) * inverse, (ty + 0.5f) * inverse);
            float a = c.a * m[x] * opacity;
            if (a <= 0) continue;
            if (a > 1) a = 1;
            float *p = row + tx * 4;
            float keep = 1 - a;
            p[0] = c.r * a + p[0] * keep;
            p[1] = c.g * a + p[1] * keep;
            p[2] = c.b * a + p[2] * keep;
            p[3] = a + p[3] * keep;
        }
    }
}

void FillRoundRect(Canvas *canvas, float x, float y, float w, float h, float r, Paint paint) {
    MaskClear(canvas);
    MaskRoundRect(canvas, x, y, w, h, r);
    PaintMask(canvas, paint);
}

void FillCircle(Canvas *canvas, float cx, float cy, float r, Paint paint) {
    MaskClear(canvas);
    MaskCircle(canvas, cx, cy, r);
    PaintMask(canvas, paint);
}

void StrokeRoundRect(Canvas *canvas, float x, float y, float w, float h, float r, float width,
                     Paint paint) {
    // The ring between the rectangle and one inset by the width.
    MaskClear(canvas);
    MaskRoundRect(canvas, x + width, y + width, w - 2 * width, h - 2 * width,
                  r - width > 0 ? r - width : 0);
    SpareFromMask(canvas);
    MaskClear(canvas);
    MaskRoundRect(canvas, x, y, w, h, r);
    MaskSubtractSpare(canvas);
    PaintMask(canvas, paint);
}

void ShadowRoundRect(Canvas *canvas, float x, float y, float w, float h, float r, float blur,
                     float dy, Colour colour) {
    MaskClear(canvas);
    MaskRoundRect(canvas, x, y, w, h, r);
    MaskBlur(canvas, blur);
    PaintMask(canvas, Solid(colour), 1.0f, 0, dy);
}

void FillLine(Canvas *canvas, float x0, float y0, float x1, float y1, float width, Colour colour) {
    MaskClear(canvas);
    UIPath path = {};
    PathMoveTo(&path, canvas, x0, y0);
    PathLineTo(&path, canvas, x1, y1);
    MaskStroke(canvas, &path, width, true);
    PaintMask(canvas, Solid(colour));
}

// ---- text ----

// Per thread: a face is not to be used by two threads at once.
static thread_local FT_Library library;
static thread_local FT_Face faces[FONT_COUNT];
static const char *const FONT_FILES[FONT_COUNT] = {
    "DejaVuSans.ttf",
    "DejaVuSans-Bold.ttf",
    "DejaVuSansCondensed.ttf",
    "DejaVuSansCondensed-Bold.ttf",
};
// Where Debian's fonts-dejavu-core puts the faces, when the given folder
// lacks one.
static const char FALLBACK_FOLDER[] = "/usr/share/fonts/truetype/dejavu";

bool FontsLoad(const char *folder) {
    if (FT_Init_FreeType(&library)) return false;
    for (int32_t i = 0; i < FONT_COUNT; i++) {
        char path[4096];
        snprintf(path, sizeof path, "%s/%s", folder, FONT_FILES[i]);
        if (!FT_New_Face(library, path, 0, &faces[i])) continue;
        snprintf(path, sizeof path, "%s/%s", FALLBACK_FOLDER, FONT_FILES[i]);
        if (FT_New_Face(library, path, 0, &faces[i])) {
            fprintf(stderr, "lathemoor-artgen: cannot open the font %s in %s or %s\n", FONT_FILES[i],
                    folder, FALLBACK_FOLDER);
            return false;
        }
    }
    return true;
}

void FontsFree() {
    for (int32_t i = 0; i < FONT_COUNT; i++) {
        if (faces[i]) FT_Done_Face(faces[i]);
        faces[i] = nullptr;
    }
    FT_Done_FreeType(library);
}

// Glyphs are hinted at the canvas's own pixel size and set on whole pixels,
// so stems land on the grid at 100 percent and at 200 percent alike.
static const int32_t LOAD_FLAGS = FT_LOAD_TARGET_LIGHT;

static FT_Face FaceAt(const Canvas *canvas, uint32_t font, float size) {
    FT_Face face = faces[font];
    FT_Set_Char_Size(face, 0, (FT_F26Dot6)lroundf(size * canvas->scale * 64), 72, 72);
    return face;
}

// The next character of UTF-8 text (up to three bytes), moving the cursor.
static uint32_t NextCodePoint(const char **cursor) {
    const unsigned char *c = (const unsigned char *)*cursor;
    uint32_t code = c[0];
    int32_t length = 1;
    if (code >= 0xE0 && c[1] && c[2]) {
        code = (code & 0x0F) << 12 | (c[1] & 0x3F) << 6 | (c[2] & 0x3F);
        length = 3;
    } else if (code >= 0xC0 && c[1]) {
        code = (code & 0x1F) << 6 | (c[1] & 0x3F);
        length = 2;
    }
    *cursor += length;
    return code;
}

// Walks the text: each glyph's pen position in whole pixels from the start.
// With `draw`, the glyphs go into the mask at (x, baseline) in pixels.
static int32_t WalkText(Canvas *canvas, FT_Face face, const char *text, int32_t tracking,
                        bool draw, int32_t x, int32_t baseline) {
    int32_t pen = 0, last = 0;
    // Letter spacing in whole design units, so 200 percent text spaces
    // exactly twice as wide as 100 percent text.
    int32_t extra = tracking * (int32_t)lroundf(canvas->scale);
    for (const char *c = text; *c;) {
        uint32_t code = NextCodePoint(&c);
        if (FT_Load_Char(face, code, LOAD_FLAGS | (draw ? FT_LOAD_RENDER : 0))) continue;
        FT_GlyphSlot g = face->glyph;
        if (draw) {
            Mask *mask = &canvas->mask;
            int32_t gx = x + pen + g->bitmap_left, gy = baseline - g->bitmap_top;
            for (uint32_t row = 0; row < g->bitmap.rows; row++) {
                int32_t py = gy + (int32_t)row;
                if (py < 0 || py >= canvas->height) continue;
                const uint8_t *source = g->bitmap.buffer + (int64_t)row * g->bitmap.pitch;
                float *m = mask->coverage + (size_t)py * canvas->width;
                for (uint32_t col = 0; col < g->bitmap.width; col++) {
                    int32_t px = gx + (int32_t)col;
                    if (px < 0 || px >= canvas->width || !source[col]) continue;
                    float v = source[col] / 255.0f;
                    if (v > m[px]) m[px] = v;
                }
            }
            MaskGrow(mask, gx < 0 ? 0 : gx, gy < 0 ? 0 : gy,
                     gx + (int32_t)g->bitmap.width > canvas->width ? canvas->width
                                                                   : gx + (int32_t)g->bitmap.width,
                     gy + (int32_t)g->bitmap.rows > canvas->height ? canvas->height
                                                                   : gy + (int32_t)g->bitmap.rows);
        }
        last = pen + (int32_t)((g->advance.x + 32) >> 6);
        pen = last + extra;
    }
    return last;
}

float TextWidth(const Canvas *canvas, uint32_t font, float size, const char *text, int32_t tracking) {
    FT_Face face = FaceAt(canvas, font, size);
    return WalkText((Canvas *)canvas, face, text, tracking, false, 0, 0) / canvas->scale;
}

float TextDesignWidth(uint32_t font, float size, const char *text, int32_t tracking) {
    FT_Face face = faces[font];
    FT_Set_Char_Size(face, 0, (FT_F26Dot6)lroundf(size * 64), 72, 72);
    float width = 0;
    int32_t count = 0;
    for (const char *c = text; *c; count++) {
        if (FT_Load_Char(face, NextCodePoint(&c), FT_LOAD_NO_HINTING)) continue;
        width += face->glyph->linearHoriAdvance / 65536.0f;
    }
    return width + (count > 1 ? (count - 1) * tracking : 0);
}

void MaskText(Canvas *canvas, uint32_t font, float size, float x, float y, const char *text,
              uint32_t align, int32_t tracking) {
    MaskClear(canvas);
    FT_Face face = FaceAt(canvas, font, size);
    int32_t width = WalkText(canvas, face, text, tracking, false, 0, 0);
    int32_t start = (int32_t)lroundf(x * canvas->scale);
    if (align == ALIGN_CENTRE) start -= width / 2;
    if (align == ALIGN_RIGHT) start -= width;
    WalkText(canvas, face, text, tracking, true, start, (int32_t)lroundf(y * canvas->scale));
}

void DrawText(Canvas *canvas, uint32_t font, float size, float x, float y, const char *text,
              uint32_t align, Colour colour, int32_t tracking) {
    MaskText(canvas, font, size, x, y, text, align, tracking);
    PaintMask(canvas, Solid(colour));
}

void DrawTextShadowed(Canvas *canvas, uint32_t font, float size, float x, float y,
                      const char *text, uint32_t align, Colour colour, int32_t tracking) {
    MaskText(canvas, font, size, x, y, text, align, tracking);
    PaintMask(canvas, Solid(Rgb(0x000000, 0.55f)), 1.0f, 0, 1);
    PaintMask(canvas, Solid(colour));
}

// ---- output ----

void CanvasToPixels(const Canvas *canvas, uint32_t *pixels, bool opaque) {
    int32_t w = canvas->width, h = canvas->height;
    for (int32_t i = 0; i < w * h; i++) {
        const float *p = canvas->rgba + (size_t)i * 4;
        float a = p[3] > 1 ? 1 : p[3];
        uint32_t alpha = opaque ? 255 : (uint32_t)lroundf(a * 255);
        if (!alpha) {
            pixels[i] = 0;
            continue;
        }
        // The background of an opaque picture is painted whole, so its
        // premultiplied colour is already the colour.
        float inverse = opaque ? 1.0f : 1.0f / a;
        uint32_t channel[3];
        for (int32_t k = 0; k < 3; k++) {
            float v = p[k] * inverse;
            v = v < 0 ? 0 : v > 1 ? 1 : v;
            channel[k] = (uint32_t)lroundf(v * 255);
        }
        pixels[i] = alpha << 24 | channel[0] << 16 | channel[1] << 8 | channel[2];
    }
    if (opaque) return;
    // Transparent pixels beside visible ones take their mean colour.
    uint32_t *original = (uint32_t *)malloc((size_t)w * h * sizeof(uint32_t));
    memcpy(original, pixels, (size_t)w * h * sizeof(uint32_t));
    for (int32_t y = 0; y < h; y++) {
        for (int32_t x = 0; x < w; x++) {
            if (original[y * w + x] >> 24) continue;
            uint32_t sum[3] = {}, count = 0;
            for (int32_t j = y - 1; j <= y + 1; j++) {
                for (int32_t i = x - 1; i <= x + 1; i++) {
                    if (i < 0 || j < 0 || i >= w || j >= h) continue;
                    uint32_t c = original[j * w + i];
                    if (!(c >> 24)) continue;
                    sum[0] += (c >> 16) & 255, sum[1] += (c >> 8) & 255, sum[2] += c & 255;
                    count++;
                }
            }
            if (count) {
                pixels[y * w + x] = (sum[0] / count) << 16 | (sum[1] / count) << 8 | (sum[2] / count);
            }
        }
    }
    free(original);
}

