// Text: one typeface pre-rendered at a row of pixel sizes into a read-only
// blob of 8-bit coverage bitmaps, blitted through the painter's blend rule.
// A request names a font class; the interface scale picks the pixel size.
//
// Text is a zero-terminated string of 32-bit codes. Only codes 32 to 127 have
// glyphs; every other code (tabs and line feeds included) draws and measures
// as "?". There is no kerning and no ellipsis: text that is too long runs on
// or is cut by the clip element.
//
// The blob (all numbers little-endian i32, offsets from its start):
//   size table    rows {size, lineHeight, glyphTable, boxHeight}, ended by a
//                 row whose size is 0
//   glyph tables  96 records {xOffset, yOffset, advance, width, height,
//                 bitmap} per size, record k for code 32 + k
//   bitmaps       width * height bytes of coverage each, top row first
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "toolkit/painter.h"

struct UIElement;

// Font classes and their design sizes at 100 percent: 8, 9 and 11 pixels.
// Any value other than 0 and 1 is taken as UI_FONT_LARGE.
enum {
    UI_FONT_SMALL = 0,
    UI_FONT_MEDIUM = 1,
    UI_FONT_LARGE = 2,
};

enum {
    UI_ALIGN_CENTRE = 0,
    UI_ALIGN_LEFT = 1,
    UI_ALIGN_RIGHT = 2,
    UI_ALIGN_WRAP = 3,   // left aligned lines broken at spaces, from the box's top
};

// The baked typeface, set once at start-up before any text is drawn (the
// plug-in points it at its embedded copy). While it is null, nothing draws
// and everything measures 0.
extern const uint8_t *uiFontBlob;
// Points uiFontBlob at the copy linked into the program ("res/BakedFonts.dat"),
// or leaves it null when the build has none.
void UIFontUseEmbedded(void);

// Picks the pixel size for the class at the current scale: the first size at
// least designSize * uiScale / 100, or the largest. Returns its glyph table
// (a pointer into the blob) and stores the size's line distance and
// single-line box height in pixels; null and zeros without a blob.
const uint8_t *UIFontSelect(int32_t fontClass, int32_t *lineHeight, int32_t *boxHeight);

// Width of one line of text, in design units.
int32_t UIMeasureText(const uint32_t *text, int32_t fontClass);

// Height that the text needs when wrapped into a box `width` design units
// wide, in design units. An empty string is one line.
int32_t UIMeasureTextHeight(const uint32_t *text, int32_t width, int32_t fontClass);

// Draws text into the box (design units) with the given alignment. `colour`
// is 0xRRGGBB with alpha 0: the glyph's coverage becomes the alpha. `clip` is
// the element whose rectangle bounds the pixels drawn, or null; callers pass
// the painter's textClip. Null text draws nothing.
void UIDrawText(UIPainter *painter, const uint32_t *text, int32_t x, int32_t y, int32_t width,
                int32_t height, uint32_t colour, int32_t align, int32_t fontClass,
                UIElement *clip);
void UIDrawTextCentred(UIPainter *painter, const uint32_t *text, int32_t x, int32_t y,
                       int32_t width, int32_t height, uint32_t colour, int32_t fontClass,
                       UIElement *clip);
void UIDrawTextLeft(UIPainter *painter, const uint32_t *text, int32_t x, int32_t y,
                    int32_t width, int32_t height, uint32_t colour, int32_t fontClass,
                    UIElement *clip);

// Draws one glyph of `table` (from UIFontSelect on `blob`) with its pen at
// penX and its line's top at lineTop, both device pixels. Returns the pen's
// advance, also when nothing was visible.
int32_t UIDrawGlyph(UIPainter *painter, const uint8_t *blob, const uint8_t *table, int32_t penX,
                    int32_t lineTop, uint32_t code, uint32_t colour, UIElement *clip);

// ---- zero-terminated strings of 32-bit codes; a null source reads as "" ----

size_t UIWideLength(const uint32_t *text);
// Appends source to destination, which must have room; returns destination.
uint32_t *UIWideConcatenate(uint32_t *destination, const uint32_t *source);
// Copies source with its terminator; returns destination.
uint32_t *UIWideCopy(uint32_t *destination, const uint32_t *source);
// 0 when equal; -1 when `a` ends first, 1 when `b` does; otherwise the
// difference of the first codes that differ.
int32_t UIWideCompare(const uint32_t *a, const uint32_t *b);
