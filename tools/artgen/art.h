// Every picture the generator draws, by the image name of the toolkit's list.
// A piece knows its own size in design units; the generator checks it against
// the list before drawing, so art and table can't drift apart unnoticed.
#pragma once
#include <stdint.h>

#include "tools/artgen/canvas.h"

// Draws one picture (a strip's frame number, or 0 for a single image) on a
// cleared canvas of the piece's size at the canvas's scale.
typedef void (*DrawFunction)(Canvas *canvas, int32_t frame);

struct ArtPiece {
    const char *name;
    int32_t width, height;   // design units
    DrawFunction draw;
    bool opaque;             // drawn without alpha by the editor
};

// Null-terminated tables of the two drawing files.
extern const ArtPiece controlArt[];
extern const ArtPiece panelArt[];

// ---- the shared look ----

// Surfaces from the page's ground up to raised panels, and the one accent.
extern const Colour INK_GROUND, INK_GROUND_DEEP, INK_PANEL, INK_PANEL_TOP, INK_WELL, INK_EDGE,
    INK_TEXT, INK_TEXT_DIM, INK_CAPTION, INK_ACCENT, INK_ACCENT_DEEP, INK_ACCENT_SOFT;

// A raised rounded panel with shadow, a top sheen and a hairline edge.
void DrawRaisedPanel(Canvas *canvas, float x, float y, float w, float h, float r);
// A sunken field for something the editor draws itself (pickers, displays).
void DrawRecessedField(Canvas *canvas, float x, float y, float w, float h, float r);
// The field of a pop-up picker: sunken, with a small chevron at its right
// end; the editor centres the chosen option's text in it.
void DrawPickerField(Canvas *canvas, float x, float y, float w, float h);
// A control caption, in capitals.
const float CAPTION_SIZE = 8;
void DrawCaption(Canvas *canvas, float x, float y, const char *text, uint32_t align = ALIGN_CENTRE);
// The look of the toggle and check box faces, shared with the page's art.
void DrawSwitch(Canvas *canvas, float x, float y, bool on);
