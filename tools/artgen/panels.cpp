// The large pictures: the nine unit panels, the main page and the about page.
// Every caption stands under the control the editor draws there: the layouts
// below carry the window positions of the shipped interface, and a unit's
// picture is drawn at window (UNIT_X, its bgY), so a control at window (x, y)
// lies at (x - UNIT_X, y - bgY) in the picture.
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "tools/artgen/art.h"

namespace {

const float UNIT_X = 42;      // window x of every unit picture in slot 0
const float DIAL_SIZE = 56;   // a normal dial's element; its picture is drawn 1 unit low
const float CAPTION_DROP = 54;   // from a dial's element top to its caption's baseline

enum {
    CONTROL_END = 0,
    CONTROL_DIAL,      // caption centred under the dial
    CONTROL_PICKER,    // a sunken field with the caption under it
    CONTROL_SWITCH,    // a toggle or radio: the text stands right of the key
    CONTROL_GATE,      // the trance gate's step display
    CONTROL_METER,     // the compressor's level display
    CONTROL_CAPTION,   // a caption alone, centred on x + w / 2, on the dials' baseline
};

struct UnitControl {
    uint32_t kind;
    float x, y, w, h;   // window position and size of the element
    const char *text;
};

struct UnitLayout {
    const char *name, *title;
    int32_t width, height;
    float bgY;
    UnitControl controls[12];
};

const UnitLayout UNIT_LAYOUTS[] = {
    {"UnitPolyrhythmicDelay", "POLYRHYTHMIC DELAY", 448, 79, 60, {
        {CONTROL_DIAL, 42, 74, 56, 56, "PAN"},
        {CONTROL_DIAL, 98, 74, 56, 56, "FEEDBACK"},
        {CONTROL_DIAL, 154, 74, 56, 56, "LOW PASS"},
        {CONTROL_DIAL, 210, 74, 56, 56, "HIGH PASS"},
        {CONTROL_DIAL, 266, 74, 56, 56, "MIX"},
        {CONTROL_DIAL, 322, 74, 56, 56, "TIME"},
        {CONTROL_DIAL, 378, 74, 56, 56, "MIX 2"},
        {CONTROL_DIAL, 434, 74, 56, 56, "TIME 2"},
    }},
    {"UnitPingPongDelay", "PING-PONG DELAY", 429, 79, 60, {
        {CONTROL_DIAL, 42, 74, 56, 56, "MODULATE"},
        {CONTROL_DIAL, 98, 74, 56, 56, "FEEDBACK"},
        {CONTROL_DIAL, 154, 74, 56, 56, "LOW PASS"},
        {CONTROL_DIAL, 210, 74, 56, 56, "HIGH PASS"},
        {CONTROL_DIAL, 266, 74, 56, 56, "MIX"},
        {CONTROL_DIAL, 322, 74, 56, 56, "TIME"},
        {CONTROL_SWITCH, 406, 78, 60, 15, "1:1"},
        {CONTROL_SWITCH, 406, 92, 60, 15, "2:1"},
        {CONTROL_SWITCH, 406, 106, 60, 15, "3:4"},
        // Under the radio column: from the keys' left edge to the labels' end.
        {CONTROL_CAPTION, 410, 0, 30, 0, "RATIO"},
    }},
    {"UnitDistortion", "MULTIBAND DISTORTION", 450, 81, 58, {
        {CONTROL_DIAL, 42, 75, 56, 56, "MIX"},
        {CONTROL_DIAL, 98, 75, 56, 56, "LOW"},
        {CONTROL_DIAL, 154, 75, 56, 56, "MID"},
        {CONTROL_DIAL, 210, 75, 56, 56, "HIGH"},
        {CONTROL_PICKER, 285, 92, 74, 17, "MODE"},
    }},
    {"UnitChorus", "CHORUS", 450, 81, 58, {
        {CONTROL_DIAL, 42, 74, 56, 56, "MIX"},
        {CONTROL_DIAL, 98, 74, 56, 56, "VOICES"},
        {CONTROL_DIAL, 154, 74, 56, 56, "STEREO"},
        {CONTROL_DIAL, 210, 74, 56, 56, "SPEED"},
        {CONTROL_DIAL, 266, 74, 56, 56, "FEEDBACK"},
        {CONTROL_DIAL, 322, 74, 56, 56, "DEPTH"},
    }},
    {"UnitPhaser", "PHASER", 449, 81, 58, {
        {CONTROL_DIAL, 42, 74, 56, 56, "MIX"},
        {CONTROL_DIAL, 98, 74, 56, 56, "STEPS"},
        {CONTROL_DIAL, 154, 74, 56, 56, "FREQUENCY"},
        {CONTROL_DIAL, 210, 74, 56, 56, "LFO GAIN"},
        {CONTROL_DIAL, 266, 74, 56, 56, "LFO RATE"},
        {CONTROL_DIAL, 322, 74, 56, 56, "STEREO"},
        {CONTROL_DIAL, 378, 74, 56, 56, "FEEDBACK"},
    }},
    {"UnitEQ", "PARAMETRIC EQ", 449, 81, 58, {
        {CONTROL_DIAL, 42, 74, 56, 56, "LOW GAIN"},
        {CONTROL_DIAL, 98, 74, 56, 56, "LOW FREQ"},
        {CONTROL_DIAL, 154, 74, 56, 56, "MID GAIN"},
        {CONTROL_DIAL, 210, 74, 56, 56, "MID FREQ"},
        {CONTROL_DIAL, 266, 74, 56, 56, "MID WIDTH"},
        {CONTROL_DIAL, 322, 74, 56, 56, "HIGH GAIN"},
        {CONTROL_DIAL, 378, 74, 56, 56, "HIGH FREQ"},
    }},
    {"UnitTranceGate", "TRANCE GATE", 450, 81, 58, {
        {CONTROL_DIAL, 42, 75, 56, 56, "MIX"},
        {CONTROL_DIAL, 98, 75, 56, 56, "CONTOUR"},
        {CONTROL_PICKER, 169, 92, 62, 17, "SPEED"},
        {CONTROL_GATE, 252, 87, 157, 28, "PATTERN"},
        {CONTROL_SWITCH, 427, 94, 70, 21, "STEREO"},
    }},
    {"UnitReverb", "REVERB", 450, 81, 58, {
        {CONTROL_DIAL, 42, 74, 56, 56, "PREDELAY"},
        {CONTROL_DIAL, 98, 74, 56, 56, "TIME"},
        {CONTROL_DIAL, 154, 74, 56, 56, "MIX"},
        {CONTROL_PICKER, 222, 92, 86, 17, "ALGORITHM"},
    }},
    {"UnitCompressor", "COMPRESSOR", 450, 81, 57, {
        {CONTROL_DIAL, 41, 74, 56, 56, "THRESHOLD"},
        {CONTROL_DIAL, 97, 74, 56, 56, "RATIO"},
        {CONTROL_DIAL, 153, 74, 56, 56, "MAKEUP"},
        {CONTROL_DIAL, 209, 74, 56, 56, "ATTACK"},
        {CONTROL_DIAL, 265, 74, 56, 56, "RELEASE"},
        {CONTROL_METER, 362, 80, 76, 40, nullptr},
        {CONTROL_SWITCH, 164, 59, 150, 21, "SIDECHAIN BY DRY"},
    }},
};

const UnitLayout *FindLayout(const char *name) {
    for (const UnitLayout &layout : UNIT_LAYOUTS) {
        if (!strcmp(layout.name, name)) return &layout;
    }
    return nullptr;
}

// The text beside a toggle's key, centred on the key's rows (1 to 14 of the
// check box picture).
void DrawSwitchLabel(Canvas *canvas, float keyX, float keyY, const char *text) {
    DrawCaption(canvas, keyX + 20, keyY + 10.5f, text, ALIGN_LEFT);
}

// Title bar, body and every caption of one unit, in picture coordinates.
void DrawUnit(Canvas *canvas, const UnitLayout *layout) {
    float w = layout->width, h = layout->height;
    // The first dial's top gives the header's depth and the captions' baseline.
    float dialTop = 74, captionY = 0;
    for (const UnitControl &c : layout->controls) {
        if (c.kind == CONTROL_DIAL) {
            dialTop = c.y - layout->bgY;
            break;
        }
    }
    captionY = dialTop + CAPTION_DROP;
    // The title bar ends just above the dials' rings.
    float header = dialTop + 0.5f;

    FillRoundRect(canvas, 0, 0, w, h, 5, Solid(Rgb(0x06080A, 0.85f)));
    FillRoundRect(canvas, 1, 1, w - 2, h - 2, 4, Vertical(INK_PANEL_TOP, INK_PANEL, 0, h));
    // The title bar: a shade lighter, parted from the body by a groove.
    MaskClear(canvas);
    MaskRoundRect(canvas, 1, 1, w - 2, h - 2, 4);
    SpareFromMask(canvas);
    MaskClear(canvas);
    MaskRoundRect(canvas, 1, 1, w - 2, header, 0);
    MaskIntersectSpare(canvas);
    PaintMask(canvas, Vertical(Rgb(0xFFFFFF, 0.06f), Rgb(0xFFFFFF, 0.025f), 1, header));
    FillLine(canvas, 1, header + 0.5f, w - 1, header + 0.5f, 1, Rgb(0x000000, 0.45f));
    FillLine(canvas, 1, header + 1.5f, w - 1, header + 1.5f, 1, Rgb(0xFFFFFF, 0.05f));
    StrokeRoundRect(canvas, 1, 1, w - 2, h - 2, 4, 1,
                    Vertical(Rgb(0xFFFFFF, 0.12f), Rgb(0xFFFFFF, 0.02f), 0, h * 0.5f));

    FillRoundRect(canvas, 7, header / 2 - 3.5f, 2.5f, 7, 1.25f, Solid(INK_ACCENT));
    DrawText(canvas, FONT_BOLD, 8, 14, header / 2 + 3, layout->title, ALIGN_LEFT, INK_TEXT, 1);

    for (const UnitControl &c : layout->controls) {
        float x = c.x - UNIT_X, y = c.y - layout->bgY;
        switch (c.kind) {
            case CONTROL_DIAL: {
                // Centred under the dial, but kept off the panel's edges.
                float half = TextDesignWidth(FONT_CONDENSED_BOLD, CAPTION_SIZE, c.text) / 2 + 1;
                float cx = x + DIAL_SIZE / 2;
                cx = cx - half < 3 ? 3 + half : cx + half > w - 3 ? w - 3 - half : cx;
                DrawCaption(canvas, cx, captionY, c.text);
                break;
            }
            case CONTROL_PICKER:
                DrawPickerField(canvas, x, y, c.w, c.h);
                DrawCaption(canvas, x + c.w / 2, captionY, c.text);
                break;
            case CONTROL_SWITCH:
                DrawSwitchLabel(canvas, x, y, c.text);
                break;
            case CONTROL_GATE:
                // The editor covers this field, grown by 4 all round, when
                // the unit is off; the rows' initials stand left of it.
                DrawRecessedField(canvas, x - 4, y - 4, c.w + 8, c.h + 8, 3);
                DrawText(canvas, FONT_CONDENSED_BOLD, 7, x - 8, y + 9.5f, "L", ALIGN_RIGHT, INK_TEXT_DIM);
                DrawText(canvas, FONT_CONDENSED_BOLD, 7, x - 8, y + 24.5f, "R", ALIGN_RIGHT, INK_TEXT_DIM);
                DrawCaption(canvas, x + c.w / 2, captionY, c.text);
                break;
            case CONTROL_CAPTION:
                DrawCaption(canvas, x + c.w / 2, captionY, c.text);
                break;
            case CONTROL_METER:
                DrawRecessedField(canvas, x, y, c.w, c.h, 3);
                DrawText(canvas, FONT_CONDENSED_BOLD, 7, x - 5, y + 14, "IN", ALIGN_RIGHT, INK_TEXT_DIM, 0);
                DrawText(canvas, FONT_CONDENSED_BOLD, 7, x - 5, y + 35, "OUT", ALIGN_RIGHT, INK_TEXT_DIM, 0);
                break;
        }
    }
}

void DrawUnitByName(Canvas *canvas, const char *name) {
    const UnitLayout *layout = FindLayout(name);
    if (layout) DrawUnit(canvas, layout);
}

void DrawUnitPolyrhythmicDelay(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitPolyrhythmicDelay"); }
void DrawUnitPingPongDelay(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitPingPongDelay"); }
void DrawUnitDistortion(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitDistortion"); }
void DrawUnitChorus(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitChorus"); }
void DrawUnitPhaser(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitPhaser"); }
void DrawUnitEQ(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitEQ"); }
void DrawUnitTranceGate(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitTranceGate"); }
void DrawUnitReverb(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitReverb"); }
void DrawUnitCompressor(Canvas *canvas, int32_t) { DrawUnitByName(canvas, "UnitCompressor"); }

// ---- the main page ----

const float PLACE_OFFSETS[8][2] = {{0, 0},   {0, 99},   {0, 198},   {0, 297},
                                   {0, 396}, {535, 0},  {535, 99},  {535, 198}};
const float PLACE_Y = 58;   // window y of slot 0's unit picture
// A bay reaches this far round a unit's picture, room for the move and
// delete buttons that stand above the picture's top edge.
const float BAY_MARGIN_X = 8, BAY_MARGIN_Y = 6, BAY_WIDTH = 466, BAY_HEIGHT = 93;

// A bay of the rack: a sunken tray a little larger than a unit, which the
// unit's panel covers when the place is filled.
void DrawBay(Canvas *canvas, float x, float y, int32_t number) {
    float left = x - BAY_MARGIN_X, top = y - BAY_MARGIN_Y, w = BAY_WIDTH, h = BAY_HEIGHT;
    FillRoundRect(canvas, left, top, w, h, 6, Solid(Rgb(0x0F1215)));
    MaskClear(canvas);
    MaskRoundRect(canvas, left, top, w, h, 6);
    MaskInvertWithin(canvas, left - 6, top - 6, w + 12, h + 12);
    MaskBlur(canvas, 4);
    SpareFromMask(canvas);
    MaskClear(canvas);
    MaskRoundRect(canvas, left, top, w, h, 6);
    MaskIntersectSpare(canvas);
    PaintMask(canvas, Solid(Rgb(0x000000, 0.8f)), 1.0f, 0, 1.5f);
    StrokeRoundRect(canvas, left - 1, top - 1, w + 2, h + 2, 7, 1,
                    Vertical(Rgb(0x000000, 0.35f), Rgb(0xFFFFFF, 0.07f), top, top + h));
    char label[8];
    snprintf(label, sizeof(label), "%d", number);
    // An empty place: a faint inner outline, its number, and a hint under
    // the add button that the editor puts in the middle.
    StrokeRoundRect(canvas, left + 5, top + 5, w - 10, h - 10, 4, 1, Solid(Rgb(0xFFFFFF, 0.035f)));
    DrawText(canvas, FONT_CONDENSED_BOLD, 8, left + 14, top + 19, label, ALIGN_LEFT, Rgb(0x4C5660));
    DrawText(canvas, FONT_CONDENSED_BOLD, 7, x + 225, y + 63, "EMPTY SLOT", ALIGN_CENTRE,
             Rgb(0x404952), 2);
}

void DrawPageMain(Canvas *canvas, int32_t) {
    float W = 1068, H = 573;
    FillRoundRect(canvas, 0, 0, W, H, 0, Vertical(Rgb(0x1D2227), Rgb(0x15181C), 0, H));
    // Light pooled at the top, the corners falling off.
    FillRoundRect(canvas, 0, 0, W, H, 0, Radial(Rgb(0x7A8CA0, 0.07f), Rgb(0x7A8CA0, 0), W / 2, 0, W * 0.7f));

    // Header.
    FillRoundRect(canvas, 0, 0, W, 46, 0, Vertical(Rgb(0x262C33), Rgb(0x1E2328), 0, 46));
    FillLine(canvas, 0, 46.5f, W, 46.5f, 1, Rgb(0x000000, 0.6f));
    FillLine(canvas, 0, 47.5f, W, 47.5f, 1, Rgb(0xFFFFFF, 0.05f));
    float nameWidth = TextWidth(canvas, FONT_BOLD, 20, "Lathemoor", 0);
    DrawTextShadowed(canvas, FONT_BOLD, 20, 42, 31, "Lathemoor", ALIGN_LEFT, INK_TEXT, 0);
    DrawTextShadowed(canvas, FONT_BOLD, 20, 42 + nameWidth + 1, 31, "FX", ALIGN_LEFT, INK_ACCENT, 0);
    float fxWidth = TextWidth(canvas, FONT_BOLD, 20, "FX", 0);
    DrawText(canvas, FONT_CONDENSED_BOLD, 7.5f, 42 + nameWidth + fxWidth + 12, 30,
             "MULTI-EFFECT RACK", ALIGN_LEFT, INK_TEXT_DIM, 2);
    // Post Gain: a small dial at (877, 0) with its caption to the left.
    FillCircle(canvas, 897, 20, 18.5f, Solid(Rgb(0x000000, 0.25f)));
    DrawCaption(canvas, 870, 23, "POST GAIN", ALIGN_RIGHT);

    for (int32_t i = 0; i < 8; i++) {
        DrawBay(canvas, UNIT_X + PLACE_OFFSETS[i][0], PLACE_Y + PLACE_OFFSETS[i][1], i + 1);
    }

    // The modulation section, below the right column.
    float mx = UNIT_X + 535 - BAY_MARGIN_X, my = 348, mw = BAY_WIDTH, mh = 193;
    DrawRaisedPanel(canvas, mx, my, mw, mh, 6);
    FillRoundRect(canvas, mx + 12, my + 9.5f, 2.5f, 7, 1.25f, Solid(INK_ACCENT));
    DrawText(canvas, FONT_BOLD, 8, mx + 19, my + 16, "MODULATION", ALIGN_LEFT, INK_TEXT, 1);
    DrawCaption(canvas, 770, 366, "RATE", ALIGN_RIGHT);
    DrawPickerField(canvas, 776, 354, 62, 17);
    DrawSwitchLabel(canvas, 959, 355, "PING PONG");
    for (int32_t m = 0; m < 3; m++) {
        DrawPickerField(canvas, 629, 391 + 33 * m, 92, 17);
    }
    // Captions under their columns, as under every unit's dials.
    DrawCaption(canvas, 605, 487, "AMOUNT");
    DrawCaption(canvas, 675, 487, "DESTINATION");
    DrawRecessedField(canvas, 741, 380, 290, 154, 4);
    DrawRecessedField(canvas, 579, 495, 154, 42, 4);
    DrawText(canvas, FONT_CONDENSED_BOLD, 7, mx + mw - 4, 563, "ORWEN AUDIO", ALIGN_RIGHT,
             Rgb(0x48525C), 2);
}

// The curve motif along the foot of the about page: a modulation curve with
// its shade, as the curve editor draws one.
float MotifY(float t) {
    const float TAU = 6.2831853f;
    return 312 + 16 * sinf(TAU * (1.2f * t + 0.15f)) + 7 * sinf(TAU * (2.9f * t + 0.4f));
}

void DrawAboutPage(Canvas *canvas, int32_t) {
    float W = 624, H = 363;
    FillRoundRect(canvas, 0, 0, W, H, 8, Solid(Rgb(0x06080A)));
    FillRoundRect(canvas, 1, 1, W - 2, H - 2, 7, Vertical(Rgb(0x2C333B), Rgb(0x181B1F), 0, H));
    FillRoundRect(canvas, 1, 1, W - 2, H - 2, 7, Radial(Rgb(0x6BFDC0, 0.08f), Rgb(0x6BFDC0, 0), W / 2, 70, 300));

    // The motif, kept inside the page's rounded outline.
    MaskClear(canvas);
    MaskRoundRect(canvas, 1, 1, W - 2, H - 2, 7);
    SpareFromMask(canvas);
    const int32_t STEPS = 160;
    MaskClear(canvas);
    UIPath shade = {};
    PathMoveTo(&shade, canvas, 0, H);
    for (int32_t i = 0; i <= STEPS; i++) {
        float t = (float)i / STEPS;
        PathLineTo(&shade, canvas, W * t, MotifY(t));
    }
    PathLineTo(&shade, canvas, W, H);
    MaskFill(canvas, &shade);
    MaskIntersectSpare(canvas);
    PaintMask(canvas, Vertical(Rgb(0x3D926F, 0.30f), Rgb(0x3D926F, 0), 290, H));
    MaskClear(canvas);
    UIPath line = {};
    PathMoveTo(&line, canvas, 0, MotifY(0));
    for (int32_t i = 1; i <= STEPS; i++) {
        float t = (float)i / STEPS;
        PathLineTo(&line, canvas, W * t, MotifY(t));
    }
    MaskStroke(canvas, &line, 2, true);
    MaskIntersectSpare(canvas);
    PaintMask(canvas, Solid(WithAlpha(INK_ACCENT, 0.55f)));

    StrokeRoundRect(canvas, 1, 1, W - 2, H - 2, 7, 1,
                    Vertical(Rgb(0xFFFFFF, 0.14f), Rgb(0xFFFFFF, 0.02f), 0, H / 2));
    float nameWidth = TextWidth(canvas, FONT_BOLD, 40, "Lathemoor");
    float fxWidth = TextWidth(canvas, FONT_BOLD, 40, "FX");
    float start = (W - nameWidth - fxWidth - 2) / 2;
    DrawTextShadowed(canvas, FONT_BOLD, 40, start, 112, "Lathemoor", ALIGN_LEFT, INK_TEXT);
    DrawTextShadowed(canvas, FONT_BOLD, 40, start + nameWidth + 2, 112, "FX", ALIGN_LEFT, INK_ACCENT);
    DrawText(canvas, FONT_CONDENSED_BOLD, 9, W / 2, 140, "STEREO MULTI-EFFECT", ALIGN_CENTRE, INK_TEXT_DIM, 3);
    FillLine(canvas, W / 2 - 60, 160.5f, W / 2 + 60, 160.5f, 1, Rgb(0xFFFFFF, 0.12f));
    // No version here: the editor writes it under the page from the descriptor, so a new
    // release needs no new art.
    DrawText(canvas, FONT_SANS, 9, W / 2, 192,
             "The effect section of the Lathemoor synthesizer, by Orwen Audio.", ALIGN_CENTRE,
             INK_CAPTION);
    DrawText(canvas, FONT_CONDENSED, 8.5f, W / 2, 240,
             "Polyrhythmic Delay  \xC2\xB7  Ping-Pong Delay  \xC2\xB7  Multiband Distortion  \xC2\xB7  Chorus  \xC2\xB7  Phaser",
             ALIGN_CENTRE, INK_TEXT_DIM);
    DrawText(canvas, FONT_CONDENSED, 8.5f, W / 2, 255,
             "Parametric EQ  \xC2\xB7  Trance Gate  \xC2\xB7  Reverb  \xC2\xB7  Compressor", ALIGN_CENTRE,
             INK_TEXT_DIM);
    DrawTextShadowed(canvas, FONT_SANS, 8, W / 2, 348, "Click anywhere to close", ALIGN_CENTRE,
                     Rgb(0x8C98A3));
}

}  // namespace

const ArtPiece panelArt[] = {
    {"PageMain", 1068, 573, DrawPageMain, true},
    {"AboutPage", 624, 363, DrawAboutPage, false},
    {"UnitPolyrhythmicDelay", 448, 79, DrawUnitPolyrhythmicDelay, false},
    {"UnitPingPongDelay", 429, 79, DrawUnitPingPongDelay, false},
    {"UnitDistortion", 450, 81, DrawUnitDistortion, false},
    {"UnitChorus", 450, 81, DrawUnitChorus, false},
    {"UnitPhaser", 449, 81, DrawUnitPhaser, false},
    {"UnitEQ", 449, 81, DrawUnitEQ, false},
    {"UnitTranceGate", 450, 81, DrawUnitTranceGate, false},
    {"UnitReverb", 450, 81, DrawUnitReverb, false},
    {"UnitCompressor", 450, 81, DrawUnitCompressor, false},
    // Copies of the delay panels, kept in the list for skins.
    {"PingPongDelay", 429, 79, DrawUnitPingPongDelay, false},
    {"PolyrhythmicDelay", 448, 79, DrawUnitPolyrhythmicDelay, false},
    {nullptr, 0, 0, nullptr, false},
};
