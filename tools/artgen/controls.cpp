// The controls: dial knobs and rings in three sizes, the slider, buttons,
// switches, lamps, curve handles and modulator tabs; and the shared look
// (colours, panels, captions) that the page art uses as well.
#include <math.h>
#include <stdio.h>

#include "tools/artgen/art.h"

// ---- the shared look ----

const Colour INK_GROUND = Rgb(0x1A1E23);
const Colour INK_GROUND_DEEP = Rgb(0x121518);
const Colour INK_PANEL = Rgb(0x272D34);
const Colour INK_PANEL_TOP = Rgb(0x303740);
const Colour INK_WELL = Rgb(0x0D1013);
const Colour INK_EDGE = Rgb(0x48525D);
const Colour INK_TEXT = Rgb(0xE8ECEF);
const Colour INK_TEXT_DIM = Rgb(0x7E8993);
const Colour INK_CAPTION = Rgb(0xAEB8C2);
const Colour INK_ACCENT = Rgb(0x6BFDC0);        // the curve line of the palette
const Colour INK_ACCENT_DEEP = Rgb(0x2F8F6A);
const Colour INK_ACCENT_SOFT = Rgb(0xB8FFE0);

static const Colour SHADOW = Rgb(0x000000, 0.6f);

void DrawRaisedPanel(Canvas *canvas, float x, float y, float w, float h, float r) {
    ShadowRoundRect(canvas, x, y, w, h, r, 4, 1.5f, Rgb(0x000000, 0.55f));
    FillRoundRect(canvas, x, y, w, h, r, Vertical(INK_PANEL_TOP, INK_PANEL, y, y + h * 0.6f));
    // A lit top edge fading down the sides, and a dark hairline all round.
    StrokeRoundRect(canvas, x, y, w, h, r, 1,
                    Vertical(Rgb(0xFFFFFF, 0.13f), Rgb(0xFFFFFF, 0.02f), y, y + h * 0.5f));
    StrokeRoundRect(canvas, x - 1, y - 1, w + 2, h + 2, r + 1, 1, Solid(Rgb(0x07090B, 0.7f)));
}

void DrawRecessedField(Canvas *canvas, float x, float y, float w, float h, float r) {
    FillRoundRect(canvas, x, y, w, h, r, Vertical(Rgb(0x0B0D10), Rgb(0x14181C), y, y + h));
    // Inner shadow along the top, light catching the lower lip.
    MaskClear(canvas);
    MaskRoundRect(canvas, x, y, w, h, r);
    MaskInvertWithin(canvas, x - 4, y - 4, w + 8, h + 8);
    MaskBlur(canvas, 2.5f);
    SpareFromMask(canvas);
    MaskClear(canvas);
    MaskRoundRect(canvas, x, y, w, h, r);
    MaskIntersectSpare(canvas);
    PaintMask(canvas, Solid(Rgb(0x000000, 0.7f)), 1.0f, 0, 1);
    StrokeRoundRect(canvas, x - 1, y - 1, w + 2, h + 2, r + 1, 1,
                    Vertical(Rgb(0x000000, 0.25f), Rgb(0xFFFFFF, 0.09f), y, y + h));
}

void DrawPickerField(Canvas *canvas, float x, float y, float w, float h) {
    DrawRecessedField(canvas, x, y, w, h, 3);
    float cx = x + w - 6.5f, cy = y + h / 2 + 0.5f;
    MaskClear(canvas);
    UIPath path = {};
    PathMoveTo(&path, canvas, cx - 2.5f, cy - 1.2f);
    PathLineTo(&path, canvas, cx + 2.5f, cy - 1.2f);
    PathLineTo(&path, canvas, cx, cy + 1.6f);
    MaskFill(canvas, &path);
    PaintMask(canvas, Solid(Rgb(0x5E6A75)));
}

// Condensed bold capitals, unspaced: the most legible of the DejaVu faces
// at this size, and word gaps stay clearly smaller than the gaps between
// neighbouring captions.
void DrawCaption(Canvas *canvas, float x, float y, const char *text, uint32_t align) {
    DrawText(canvas, FONT_CONDENSED_BOLD, CAPTION_SIZE, x, y, text, align, INK_CAPTION);
}

// A rounded key with a lamp in it: dark and dim when off, lit when on.
void DrawSwitch(Canvas *canvas, float x, float y, bool on) {
    ShadowRoundRect(canvas, x, y, 13, 13, 3, 1.5f, 1, Rgb(0x000000, 0.6f));
    FillRoundRect(canvas, x, y, 13, 13, 3, Vertical(Rgb(0x4A535D), Rgb(0x2C3238), y, y + 13));
    StrokeRoundRect(canvas, x, y, 13, 13, 3, 1,
                    Vertical(Rgb(0xFFFFFF, 0.16f), Rgb(0x000000, 0.35f), y, y + 13));
    float cx = x + 6.5f, cy = y + 6.5f;
    if (on) {
        MaskClear(canvas);
        MaskCircle(canvas, cx, cy, 4);
        MaskBlur(canvas, 3);
        PaintMask(canvas, Solid(WithAlpha(INK_ACCENT, 0.75f)));
        FillCircle(canvas, cx, cy, 3.2f, Radial(Rgb(0xF0FFF8), INK_ACCENT, cx - 0.6f, cy - 0.8f, 3.4f));
    } else {
        FillCircle(canvas, cx, cy, 3.2f, Vertical(Rgb(0x0E1113), Rgb(0x23292F), cy - 3, cy + 3));
        StrokeRoundRect(canvas, cx - 3.2f, cy - 3.2f, 6.4f, 6.4f, 3.2f, 0.8f,
                        Vertical(Rgb(0x000000, 0.4f), Rgb(0xFFFFFF, 0.12f), cy - 3, cy + 3));
    }
}

// ---- dials ----

static const float PI = 3.14159265358979f;
static const float SWEEP = 270;   // degrees of travel, from 7:30 to 4:30
static const float START_ANGLE = -135;

// Where each dial size puts its knob in its picture, in design units.
struct DialGeometry {
    float cx, cy;
    float ringRadius, ringWidth;
    float knobRadius;
    float pointerInner, pointerOuter, pointerWidth;
};

static const DialGeometry NORMAL_DIAL = {28, 25, 20.2f, 3.4f, 14.0f, 5.5f, 11.5f, 2.2f};
static const DialGeometry SMALL_DIAL = {20, 20, 14.6f, 2.8f, 10.0f, 3.6f, 8.0f, 1.8f};
// The tiny picture is drawn 7 units lower by the editor.
static const DialGeometry TINY_DIAL = {20, 13.5f, 10.0f, 2.2f, 6.6f, 2.2f, 5.2f, 1.5f};

static float FrameAngle(int32_t frame) {
    float t = (frame - 10) / 80.0f;
    return START_ANGLE + SWEEP * t;
}

// The ring: a groove over the whole sweep, and the value in the accent,
// glowing, from the start (unipolar) or from the top (bipolar).
static void DrawRing(Canvas *canvas, const DialGeometry *g, int32_t frame, bool bipolar) {
    MaskClear(canvas);
    MaskArc(canvas, g->cx, g->cy, g->ringRadius, START_ANGLE, -START_ANGLE, g->ringWidth + 1.0f);
    PaintMask(canvas, Solid(Rgb(0xFFFFFF, 0.05f)), 1.0f, 0, 0.5f);
    MaskClear(canvas);
    MaskArc(canvas, g->cx, g->cy, g->ringRadius, START_ANGLE, -START_ANGLE, g->ringWidth);
    PaintMask(canvas, Solid(Rgb(0x0A0C0E, 0.85f)));

    float from = bipolar ? 0 : START_ANGLE, to = FrameAngle(frame);
    if (fabsf(to - from) < 0.01f) return;
    MaskClear(canvas);
    MaskArc(canvas, g->cx, g->cy, g->ringRadius, from, to, g->ringWidth);
    SpareFromMask(canvas);
    MaskBlur(canvas, g->ringWidth * 0.9f);
    PaintMask(canvas, Solid(WithAlpha(INK_ACCENT, 0.45f)));
    MaskClear(canvas);
    MaskArc(canvas, g->cx, g->cy, g->ringRadius, from, to, g->ringWidth - 0.6f);
    PaintMask(canvas, Solid(INK_ACCENT));
    // A brighter head at the value end.
    float a = to * PI / 180;
    float hx = g->cx + g->ringRadius * sinf(a), hy = g->cy - g->ringRadius * cosf(a);
    FillCircle(canvas, hx, hy, g->ringWidth * 0.42f, Solid(Rgb(0xE6FFF4)));
}

// The knob: a shadowed, lit cap with a bevelled rim and a light pointer.
static void DrawKnob(Canvas *canvas, const DialGeometry *g, float angle, bool grey) {
    float cx = g->cx, cy = g->cy, r = g->knobRadius;
    MaskClear(canvas);
    MaskCircle(canvas, cx, cy, r);
    MaskBlur(canvas, r * 0.28f);
    PaintMask(canvas, Solid(Rgb(0x000000, 0.75f)), 1.0f, 0, r * 0.12f);

    Colour rimTop = grey ? Rgb(0x4C5157) : Rgb(0x6E7884);
    Colour rimBottom = grey ? Rgb(0x1C1F22) : Rgb(0x171A1E);
    Colour faceTop = grey ? Rgb(0x34383D) : Rgb(0x434B55);
    Colour faceBottom = grey ? Rgb(0x26292D) : Rgb(0x252A30);
    FillCircle(canvas, cx, cy, r, Vertical(rimTop, rimBottom, cy - r, cy + r));
    float inner = r - (r > 8 ? 1.3f : 1.0f);
    FillCircle(canvas, cx, cy, inner, Vertical(faceTop, faceBottom, cy - inner, cy + inner));
    // A soft sheen across the upper half.
    FillCircle(canvas, cx, cy, inner,
               Radial(Rgb(0xFFFFFF, grey ? 0.03f : 0.07f), Rgb(0xFFFFFF, 0), cx, cy - inner * 0.7f,
                      inner * 1.1f));
    if (grey) return;

    float a = angle * PI / 180, sx = sinf(a), sy = -cosf(a);
    float x0 = cx + g->pointerInner * sx, y0 = cy + g->pointerInner * sy;
    float x1 = cx + g->pointerOuter * sx, y1 = cy + g->pointerOuter * sy;
    MaskClear(canvas);
    UIPath path = {};
    PathMoveTo(&path, canvas, x0, y0);
    PathLineTo(&path, canvas, x1, y1);
    MaskStroke(canvas, &path, g->pointerWidth, true);
    MaskCircle(canvas, x0, y0, g->pointerWidth / 2);
    MaskCircle(canvas, x1, y1, g->pointerWidth / 2);
    PaintMask(canvas, Solid(Rgb(0x000000, 0.45f)), 1.0f, 0, 0.5f);
    PaintMask(canvas, Solid(Rgb(0xF4F7F9)));
}

static void DrawNormalMain(Canvas *canvas, int32_t frame) { DrawKnob(canvas, &NORMAL_DIAL, FrameAngle(frame), false); }
static void DrawNormalUniMod(Canvas *canvas, int32_t frame) { DrawRing(canvas, &NORMAL_DIAL, frame, false); }
static void DrawNormalBiMod(Canvas *canvas, int32_t frame) { DrawRing(canvas, &NORMAL_DIAL, frame, true); }
static void DrawSmallMain(Canvas *canvas, int32_t frame) { DrawKnob(canvas, &SMALL_DIAL, FrameAngle(frame), false); }
static void DrawSmallUniMod(Canvas *canvas, int32_t frame) { DrawRing(canvas, &SMALL_DIAL, frame, false); }
static void DrawSmallBiMod(Canvas *canvas, int32_t frame) { DrawRing(canvas, &SMALL_DIAL, frame, true); }
static void DrawTinyMain(Canvas *canvas, int32_t frame) { DrawKnob(canvas, &TINY_DIAL, FrameAngle(frame), false); }
static void DrawTinyUniMod(Canvas *canvas, int32_t frame) { DrawRing(canvas, &TINY_DIAL, frame, false); }
static void DrawTinyBiMod(Canvas *canvas, int32_t frame) { DrawRing(canvas, &TINY_DIAL, frame, true); }

// A disabled dial is drawn alone at (+10, +10) of a normal dial's element and
// (+6, +6) of a small one; the knob keeps its place, greyed and without a
// pointer, as the value means nothing while the unit is off.
static void DrawDialDisabledNormal(Canvas *canvas, int32_t) {
    DialGeometry g = NORMAL_DIAL;
    g.cx -= 10, g.cy -= 9;   // the normal picture itself stands 1 unit low
    DrawKnob(canvas, &g, 0, true);
}

static void DrawDialDisabledSmall(Canvas *canvas, int32_t) {
    DialGeometry g = SMALL_DIAL;
    g.cx -= 6, g.cy -= 6;
    DrawKnob(canvas, &g, 0, true);
}

// ---- slider ----

static const float SLIDER_TOP = 12, SLIDER_BOTTOM = 82;   // travel of the cap's centre

static void DrawSliderTrack(Canvas *canvas, float cx, float top, float bottom) {
    FillRoundRect(canvas, cx - 2.5f, top, 5, bottom - top, 2.5f, Solid(Rgb(0x0A0C0E, 0.9f)));
    StrokeRoundRect(canvas, cx - 3.5f, top - 1, 7, bottom - top + 2, 3.5f, 1,
                    Vertical(Rgb(0x000000, 0.2f), Rgb(0xFFFFFF, 0.08f), top, bottom));
}

static void DrawSliderCap(Canvas *canvas, float cx, float cy, bool grey) {
    ShadowRoundRect(canvas, cx - 10, cy - 6, 20, 12, 3, 2, 1.5f, SHADOW);
    FillRoundRect(canvas, cx - 10, cy - 6, 20, 12, 3,
                  Vertical(grey ? Rgb(0x45494E) : Rgb(0x66707B), grey ? Rgb(0x2A2D31) : Rgb(0x343A41),
                           cy - 6, cy + 6));
    FillLine(canvas, cx - 6, cy, cx + 6, cy, 1.4f, grey ? Rgb(0x6A6E73) : Rgb(0xF4F7F9));
}

static void DrawSlider(Canvas *canvas, int32_t frame) {
    float cx = 14.5f, t = frame / 100.0f;
    float cy = SLIDER_BOTTOM - t * (SLIDER_BOTTOM - SLIDER_TOP);
    DrawSliderTrack(canvas, cx, SLIDER_TOP - 6, SLIDER_BOTTOM + 6);
    if (frame > 0) {
        MaskClear(canvas);
        MaskRoundRect(canvas, cx - 1.5f, cy, 3, SLIDER_BOTTOM + 5 - cy, 1.5f);
        SpareFromMask(canvas);
        MaskBlur(canvas, 2);
        PaintMask(canvas, Solid(WithAlpha(INK_ACCENT, 0.4f)));
        FillRoundRect(canvas, cx - 1.5f, cy, 3, SLIDER_BOTTOM + 5 - cy, 1.5f, Solid(INK_ACCENT));
    }
    DrawSliderCap(canvas, cx, cy, false);
}

// Drawn at the element's x where the live slider is drawn at x - 3.
static void DrawSliderDisabled(Canvas *canvas, int32_t) {
    float cx = 11.5f;
    DrawSliderTrack(canvas, cx, SLIDER_TOP - 7, SLIDER_BOTTOM + 5);
    DrawSliderCap(canvas, cx, SLIDER_BOTTOM - 1, true);
}

// ---- buttons ----

// The face of a push button: the editor's pressed overlay covers (x, y) with
// the given size, so the face fills exactly that and its shadow the margin.
static void DrawButtonFace(Canvas *canvas, float x, float y, float w, float h, bool accent) {
    ShadowRoundRect(canvas, x, y, w, h, 3, 2, 1.2f, SHADOW);
    Colour top = accent ? Rgb(0x2F6D58) : Rgb(0x4A535E);
    Colour bottom = accent ? Rgb(0x1D4738) : Rgb(0x333940);
    FillRoundRect(canvas, x, y, w, h, 3, Vertical(top, bottom, y, y + h));
    StrokeRoundRect(canvas, x, y, w, h, 3, 1,
                    Vertical(Rgb(0xFFFFFF, accent ? 0.22f : 0.15f), Rgb(0xFFFFFF, 0.02f), y, y + h));
    StrokeRoundRect(canvas, x - 0.5f, y - 0.5f, w + 1, h + 1, 3.5f, 0.5f, Solid(Rgb(0x000000, 0.5f)));
}

static void DrawButtonLabel(Canvas *canvas, float x, float y, float w, float h, const char *text,
                            Colour colour) {
    DrawTextShadowed(canvas, FONT_CONDENSED_BOLD, 8, x + w / 2, y + h / 2 + 3, text, ALIGN_CENTRE,
                     colour, 1);
}

static void DrawAddButton(Canvas *canvas, int32_t) {
    DrawButtonFace(canvas, 2, 1, 74, 21, false);
    float width = TextWidth(canvas, FONT_CONDENSED_BOLD, 8, "ADD EFFECT", 1);
    float start = 39 - (width + 10) / 2;
    // The plus drawn, not typed, so it sits centred on the capitals.
    FillLine(canvas, start, 11.5f, start + 6, 11.5f, 1.6f, INK_ACCENT);
    FillLine(canvas, start + 3, 8.5f, start + 3, 14.5f, 1.6f, INK_ACCENT);
    DrawTextShadowed(canvas, FONT_CONDENSED_BOLD, 8, start + 10, 14.5f, "ADD EFFECT", ALIGN_LEFT,
                     INK_TEXT, 1);
}

static void DrawInsertButton(Canvas *canvas, int32_t) {
    DrawButtonFace(canvas, 2, 1, 74, 19, true);
    DrawButtonLabel(canvas, 2, 1, 74, 19, "INSERT HERE", INK_ACCENT_SOFT);
}

static void DrawMoveButton(Canvas *canvas, int32_t) {
    DrawButtonFace(canvas, 2, 1, 45, 19, false);
    DrawButtonLabel(canvas, 2, 1, 45, 19, "MOVE", INK_TEXT);
}

static void DrawDeleteButton(Canvas *canvas, int32_t) {
    DrawButtonFace(canvas, 2, 1, 21, 19, false);
    float cx = 12.5f, cy = 10.5f, d = 3.3f;
    MaskClear(canvas);
    UIPath path = {};
    PathMoveTo(&path, canvas, cx - d, cy - d);
    PathLineTo(&path, canvas, cx + d, cy + d);
    PathMoveTo(&path, canvas, cx + d, cy - d);
    PathLineTo(&path, canvas, cx - d, cy + d);
    MaskStroke(canvas, &path, 1.6f, true);
    PaintMask(canvas, Solid(Rgb(0x000000, 0.5f)), 1.0f, 0, 1);
    PaintMask(canvas, Solid(Rgb(0xF2B8B8)));
}

static void DrawArrowButton(Canvas *canvas, bool up) {
    DrawButtonFace(canvas, 2, 1, 21, 19, false);
    float cx = 12.5f, cy = 10.5f, s = up ? -1.0f : 1.0f;
    MaskClear(canvas);
    UIPath path = {};
    PathMoveTo(&path, canvas, cx - 4, cy - 2 * s);
    PathLineTo(&path, canvas, cx + 4, cy - 2 * s);
    PathLineTo(&path, canvas, cx, cy + 2.5f * s);
    MaskFill(canvas, &path);
    PaintMask(canvas, Solid(INK_TEXT));
}

static void DrawUpButton(Canvas *canvas, int32_t) { DrawArrowButton(canvas, true); }
static void DrawDownButton(Canvas *canvas, int32_t) { DrawArrowButton(canvas, false); }

// A gear of `teeth` teeth as one outline.
static void MaskGear(Canvas *canvas, float cx, float cy, float outer, float inner, int32_t teeth) {
    UIPath path = {};
    UIPathEndSubpath(&path);
    int32_t steps = teeth * 16;
    for (int32_t i = 0; i < steps; i++) {
        float phase = (float)(i % 16) / 16;
        // Flat-topped teeth with sloped flanks.
        float lift = phase < 0.15f ? phase / 0.15f : phase < 0.5f ? 1 : phase < 0.65f ? 1 - (phase - 0.5f) / 0.15f : 0;
        float r = inner + (outer - inner) * lift;
        float a = 2 * PI * i / steps;
        PathLineTo(&path, canvas, cx + r * sinf(a), cy - r * cosf(a));
    }
    UIPathEndSubpath(&path);
    MaskClear(canvas);
    MaskCircle(canvas, cx, cy, inner * 0.45f);
    SpareFromMask(canvas);
    MaskClear(canvas);
    MaskFill(canvas, &path);
    MaskSubtractSpare(canvas);
}

static void DrawSettingsButton(Canvas *canvas, int32_t) {
    DrawButtonFace(canvas, 2, 5, 74, 21, false);
    float width = TextWidth(canvas, FONT_CONDENSED_BOLD, 8, "SETTINGS", 1);
    float start = 39 - (width + 13) / 2;
    MaskClear(canvas);
    MaskGear(canvas, start + 4.5f, 15.5f, 5, 3.6f, 8);
    PaintMask(canvas, Solid(Rgb(0x000000, 0.5f)), 1.0f, 0, 1);
    PaintMask(canvas, Solid(INK_ACCENT));
    DrawTextShadowed(canvas, FONT_CONDENSED_BOLD, 8, start + 13, 18.5f, "SETTINGS", ALIGN_LEFT,
                     INK_TEXT, 1);
}

// ---- switches, lamps, handles ----

static void DrawCheckboxOff(Canvas *canvas, int32_t) { DrawSwitch(canvas, 3, 1, false); }
// Drawn one unit higher by the editor: the same key one row lower, with the
// lamp's glow free to reach the extra row.
static void DrawCheckboxOn(Canvas *canvas, int32_t) { DrawSwitch(canvas, 3, 2, true); }

static void DrawUsedIndicator(Canvas *canvas, int32_t) {
    MaskClear(canvas);
    MaskCircle(canvas, 6, 6, 2.6f);
    MaskBlur(canvas, 3.2f);
    PaintMask(canvas, Solid(INK_ACCENT));
    FillCircle(canvas, 6, 6, 2.4f, Radial(Rgb(0xFFFFFF), INK_ACCENT, 5.5f, 5.3f, 2.6f));
}

static void DrawUnusedIndicator(Canvas *canvas, int32_t) {
    FillCircle(canvas, 3, 3, 2.5f, Solid(Rgb(0x000000, 0.5f)));
    FillCircle(canvas, 3, 3, 2.0f, Vertical(Rgb(0x20262B), Rgb(0x3A434C), 1, 5));
}

static void DrawCurveHandleEndpoint(Canvas *canvas, int32_t) {
    FillCircle(canvas, 6.5f, 6.5f, 5.5f, Solid(Rgb(0x000000, 0.45f)));
    FillCircle(canvas, 6.5f, 6.5f, 4.4f, Solid(INK_ACCENT));
    FillCircle(canvas, 6.5f, 6.5f, 2.6f, Solid(Rgb(0xF6FFFB)));
}

static void DrawCurveHandleTension(Canvas *canvas, int32_t) {
    FillCircle(canvas, 6.5f, 6.5f, 4.2f, Solid(Rgb(0x000000, 0.45f)));
    StrokeRoundRect(canvas, 3.1f, 3.1f, 6.8f, 6.8f, 3.4f, 1.3f, Solid(INK_ACCENT_SOFT));
}

// ---- modulator tabs ----

static void DrawTab(Canvas *canvas, bool focused) {
    FillRoundRect(canvas, 0.5f, 0.5f, 49, 37, 3,
                  Vertical(focused ? Rgb(0x3A434D) : Rgb(0x22272D),
                           focused ? Rgb(0x2A3138) : Rgb(0x1A1E22), 0, 38));
    StrokeRoundRect(canvas, 0.5f, 0.5f, 49, 37, 3, 1,
                    Vertical(Rgb(0xFFFFFF, focused ? 0.16f : 0.07f), Rgb(0x000000, 0.3f), 0, 38));
    if (focused) FillRoundRect(canvas, 6, 34, 38, 2, 1, Solid(INK_ACCENT));
}

static void DrawModulatorButtonFocused(Canvas *canvas, int32_t) { DrawTab(canvas, true); }
static void DrawModulatorButtonNotFocused(Canvas *canvas, int32_t) { DrawTab(canvas, false); }

static void DrawModulatorLabels(Canvas *canvas, int32_t) {
    static const char *const LABELS[3] = {"MOD 1", "MOD 2", "MOD 3"};
    for (int32_t i = 0; i < 3; i++) {
        DrawTextShadowed(canvas, FONT_CONDENSED_BOLD, 8, 25 + 50 * i, 12, LABELS[i], ALIGN_CENTRE,
                         INK_TEXT, 1);
    }
}

// Six small pictures of curve shapes, one above the other (no element of
// this editor shows them; the list keeps them for skins).
static void DrawLFOShapes(Canvas *canvas, int32_t) {
    for (int32_t shape = 0; shape < 6; shape++) {
        float top = 3 + shape * 26.5f, bottom = top + 20, left = 4, right = 34;
        FillRoundRect(canvas, 1, top - 2, 36, 24, 3, Solid(Rgb(0x15191D)));
        MaskClear(canvas);
        UIPath path = {};
        UIPathEndSubpath(&path);
        for (int32_t i = 0; i <= 60; i++) {
            float t = i / 60.0f, v = 0;
            switch (shape) {
                case 0: v = 0.5f - 0.5f * cosf(2 * PI * t); break;                 // sine
                case 1: v = t < 0.5f ? 2 * t : 2 - 2 * t; break;                     // triangle
                case 2: v = t; break;                                                // ramp up
                case 3: v = 1 - t; break;                                            // ramp down
                case 4: v = t < 0.5f ? 1 : 0; break;                                 // square
                default: v = powf(t, 2.5f); break;                                   // curve
            }
            PathLineTo(&path, canvas, left + (right - left) * t, bottom - 2 - v * (bottom - top - 4));
        }
        MaskStroke(canvas, &path, 1.5f, true);
        PaintMask(canvas, Solid(INK_ACCENT));
    }
}

const ArtPiece controlArt[] = {
    {"DialNormalUniMainLayer", 56, 54, DrawNormalMain, false},
    {"DialNormalBiMainLayer", 56, 54, DrawNormalMain, false},
    {"DialNormalUniModLayer", 56, 54, DrawNormalUniMod, false},
    {"DialNormalBiModLayer", 56, 54, DrawNormalBiMod, false},
    {"DialSmallUniMainLayer", 40, 40, DrawSmallMain, false},
    {"DialSmallBiMainLayer", 40, 40, DrawSmallMain, false},
    {"DialSmallUniModLayer", 40, 40, DrawSmallUniMod, false},
    {"DialSmallBiModLayer", 40, 40, DrawSmallBiMod, false},
    {"DialTinyUniMainLayer", 40, 40, DrawTinyMain, false},
    {"DialTinyBiMainLayer", 40, 40, DrawTinyMain, false},
    {"DialTinyUniModLayer", 40, 40, DrawTinyUniMod, false},
    {"DialTinyBiModLayer", 40, 40, DrawTinyBiMod, false},
    {"Slider", 29, 94, DrawSlider, false},
    {"AddButton", 78, 25, DrawAddButton, false},
    {"InsertButton", 78, 23, DrawInsertButton, false},
    {"MoveButton", 49, 23, DrawMoveButton, false},
    {"DeleteButton", 25, 23, DrawDeleteButton, false},
    {"SettingsButton", 78, 29, DrawSettingsButton, false},
    {"ModulatorButtonFocused", 50, 38, DrawModulatorButtonFocused, false},
    {"ModulatorButtonNotFocused", 50, 38, DrawModulatorButtonNotFocused, false},
    {"ModulatorLabels", 150, 38, DrawModulatorLabels, false},
    {"CheckboxOff", 19, 21, DrawCheckboxOff, false},
    {"CheckboxOn", 19, 22, DrawCheckboxOn, false},
    {"CurveHandleEndpoint", 13, 13, DrawCurveHandleEndpoint, false},
    {"CurveHandleTension", 13, 13, DrawCurveHandleTension, false},
    {"DialDisabledNormal", 37, 39, DrawDialDisabledNormal, false},
    {"DialDisabledSmall", 29, 32, DrawDialDisabledSmall, false},
    {"SliderDisabled", 23, 89, DrawSliderDisabled, false},
    {"UsedIndicator", 12, 12, DrawUsedIndicator, false},
    {"UnusedIndicator", 6, 6, DrawUnusedIndicator, false},
    {"UpButton", 25, 23, DrawUpButton, false},
    {"DownButton", 25, 23, DrawDownButton, false},
    {"LFOShapes", 38, 162, DrawLFOShapes, false},
    {nullptr, 0, 0, nullptr, false},
};
