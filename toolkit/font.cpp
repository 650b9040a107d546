#include "toolkit/font.h"

#include <string.h>

#include "toolkit/element.h"
#include "toolkit/embedded.h"
#include "toolkit/scale.h"

const uint8_t *uiFontBlob = nullptr;

void UIFontUseEmbedded(void) {
    const UIEmbeddedFile *file = UIEmbeddedFind("res/BakedFonts.dat");
    uiFontBlob = file ? file->start : nullptr;
}

namespace {

const int32_t SIZE_ROW_BYTES = 16;
const int32_t GLYPH_RECORD_BYTES = 24;
const uint32_t FIRST_CODE = 32, LAST_CODE = 127;
const uint32_t QUESTION_MARK_RECORD = '?' - FIRST_CODE;
const uint32_t SPACE = ' ';

const int32_t DESIGN_SIZE_SMALL = 8, DESIGN_SIZE_MEDIUM = 9, DESIGN_SIZE_LARGE = 11;

struct GlyphRecord {
    int32_t xOffset, yOffset, advance, width, height, bitmap;
};

// The blob is embedded as bytes with no promise of alignment, so its words
// are read by copying.
int32_t ReadWord(const uint8_t *at) {
    int32_t value;
    memcpy(&value, at, sizeof(value));
    return value;
}

GlyphRecord ReadGlyph(const uint8_t *table, uint32_t code) {
    uint32_t record = code < FIRST_CODE || code > LAST_CODE ? QUESTION_MARK_RECORD
                                                            : code - FIRST_CODE;
    GlyphRecord glyph;
    memcpy(&glyph, table + (size_t)record * GLYPH_RECORD_BYTES, sizeof(glyph));
    return glyph;
}

int32_t Advance(const uint8_t *table, uint32_t code) { return ReadGlyph(table, code).advance; }

int32_t TextWidthPixels(const uint8_t *table, const uint32_t *text) {
    int32_t width = 0;
    for (size_t i = 0; text[i]; i++) width += Advance(table, text[i]);
    return width;
}

int32_t ToDevice(int32_t design) { return design * uiScale / 100; }
int32_t ToDesign(int32_t device) { return device * 100 / uiScale; }

// ---- word wrap ----

// Called for each line that has something to draw: text[start] to
// text[end - 1] on line number `line` (counted from 0).
typedef void (*WrapLineFunction)(void *context, const uint32_t *text, size_t start, size_t end,
                                 int32_t line);

// Breaks text into lines no wider than `limit` pixels. A line ends before the
// last space that fits; the space itself is dropped. Lines that would be
// empty (a space at the line's start) are not emitted but still count, so
// the text after them moves down a line. Returns the number of lines: one,
// plus one for each time a line filled.
//
// A word wider than the limit has no space to fall back on; returning to the
// last space would restart the walk where it stood, for ever. Such a word is
// broken at the limit instead: the line takes the characters that fit, and
// the character that overflowed starts the next line (a single character
// wider than the whole limit gets a line of its own). This always moves
// forward, and it keeps every character visible, which for a label is better
// than cutting it off at the box's edge.
int32_t WrapText(const uint32_t *text, const uint8_t *table, int32_t limit,
                 WrapLineFunction emit, void *context) {
    size_t i = 0, lastSpace = 0, lineStart = 0;
    int32_t width = 0, line = 0;
    bool spaceSeen = false;   // a space lies at lastSpace, at or after lineStart
    while (text[i]) {
        width += Advance(table, text[i]);
        if (text[i] == SPACE) {
            lastSpace = i;
            spaceSeen = true;
        }
        i++;
        if (width <= limit) continue;

        if (spaceSeen && lastSpace >= lineStart) {
            if (lastSpace > lineStart && emit) emit(context, text, lineStart, lastSpace, line);
            lineStart = i = lastSpace + 1;
            line++;
            // A line that filled up at the end of the text still counts one
            // more (empty) line.
            if (!text[i]) return line + 1;
        } else {
            // No space in this line: cut the word before the character that
            // overflowed, or after it when it alone is too wide. In that case
            // the text may end here, and the line just drawn is the last.
            size_t end = i - 1 > lineStart ? i - 1 : i;
            if (emit) emit(context, text, lineStart, end, line);
            lineStart = i = end;
            line++;
            if (!text[i]) return line;
        }
        spaceSeen = false;
        width = 0;
    }
    if (text[lineStart] && emit) emit(context, text, lineStart, i, line);
    return line + 1;
}

struct WrapDrawing {
    UIPainter *painter;
    const uint8_t *table;
    uint32_t colour;
    UIElement *clip;
    int32_t penX, top, lineHeight;
};

void DrawWrappedLine(void *context, const uint32_t *text, size_t start, size_t end, int32_t line) {
    WrapDrawing *drawing = (WrapDrawing *)context;
    int32_t pen = drawing->penX;
    int32_t lineTop = drawing->top + drawing->lineHeight * line;
    for (size_t i = start; i < end; i++) {
        pen += UIDrawGlyph(drawing->painter, uiFontBlob, drawing->table, pen, lineTop, text[i],
                           drawing->colour, drawing->clip);
    }
}

// The pen's start for one line of `textWidth` pixels in a box whose left
// edge is X and width W, device pixels.
enum LinePlacement { PLACE_CENTRE, PLACE_LEFT, PLACE_RIGHT };

void DrawLine(UIPainter *painter, const uint32_t *text, int32_t x, int32_t y, int32_t width,
              int32_t height, uint32_t colour, LinePlacement placement, int32_t fontClass,
              UIElement *clip) {
    if (!text || !uiFontBlob) return;
    int32_t lineHeight, boxHeight;
    const uint8_t *table = UIFontSelect(fontClass, &lineHeight, &boxHeight);
    int32_t left = ToDevice(x), boxWidth = ToDevice(width);
    int32_t textWidth = TextWidthPixels(table, text);
    int32_t pen = placement == PLACE_LEFT    ? left
                  : placement == PLACE_RIGHT ? left + boxWidth - textWidth
                                             : left + boxWidth / 2 - textWidth / 2;
    int32_t lineTop = ToDevice(y) + (height * uiScale) / 200 - boxHeight / 2;
    for (size_t i = 0; text[i]; i++) {
        pen += UIDrawGlyph(painter, uiFontBlob, table, pen, lineTop, text[i], colour, clip);
    }
}

}  // namespace

const uint8_t *UIFontSelect(int32_t fontClass, int32_t *lineHeight, int32_t *boxHeight) {
    *lineHeight = *boxHeight = 0;
    if (!uiFontBlob) return nullptr;
    int32_t designSize = fontClass == UI_FONT_SMALL    ? DESIGN_SIZE_SMALL
                         : fontClass == UI_FONT_MEDIUM ? DESIGN_SIZE_MEDIUM
                                                       : DESIGN_SIZE_LARGE;
    int32_t target = designSize * uiScale / 100;
    const uint8_t *row = uiFontBlob;
    while (target > ReadWord(row) && ReadWord(row + SIZE_ROW_BYTES) != 0) row += SIZE_ROW_BYTES;
    *lineHeight = ReadWord(row + 4);
    *boxHeight = ReadWord(row + 12);
    return uiFontBlob + ReadWord(row + 8);
}

int32_t UIMeasureText(const uint32_t *text, int32_t fontClass) {
    if (!text || !uiFontBlob) return 0;
    int32_t lineHeight, boxHeight;
    const uint8_t *table = UIFontSelect(fontClass, &lineHeight, &boxHeight);
    return ToDesign(TextWidthPixels(table, text));
}

int32_t UIMeasureTextHeight(const uint32_t *text, int32_t width, int32_t fontClass) {
    if (!uiFontBlob) return 0;
    int32_t lineHeight, boxHeight;
    const uint8_t *table = UIFontSelect(fontClass, &lineHeight, &boxHeight);
    static const uint32_t EMPTY[1] = {0};
    int32_t lines = WrapText(text ? text : EMPTY, table, ToDevice(width), nullptr, nullptr);
    return lines * lineHeight * 100 / uiScale;
}

void UIDrawText(UIPainter *painter, const uint32_t *text, int32_t x, int32_t y, int32_t width,
                int32_t height, uint32_t colour, int32_t align, int32_t fontClass,
                UIElement *clip) {
    if (!text || !uiFontBlob) return;
    if (align == UI_ALIGN_WRAP) {
        WrapDrawing drawing;
        drawing.painter = painter;
        drawing.colour = colour;
        drawing.clip = clip;
        drawing.penX = ToDevice(x);
        drawing.top = ToDevice(y);
        int32_t boxHeight;
        drawing.table = UIFontSelect(fontClass, &drawing.lineHeight, &boxHeight);
        WrapText(text, drawing.table, ToDevice(width), DrawWrappedLine, &drawing);
        return;
    }
    // Alignments other than left and right centre the line.
    LinePlacement placement = align == UI_ALIGN_LEFT    ? PLACE_LEFT
                              : align == UI_ALIGN_RIGHT ? PLACE_RIGHT
                                                        : PLACE_CENTRE;
    DrawLine(painter, text, x, y, width, height, colour, placement, fontClass, clip);
}

void UIDrawTextCentred(UIPainter *painter, const uint32_t *text, int32_t x, int32_t y,
                       int32_t width, int32_t height, uint32_t colour, int32_t fontClass,
                       UIElement *clip) {
    DrawLine(painter, text, x, y, width, height, colour, PLACE_CENTRE, fontClass, clip);
}

void UIDrawTextLeft(UIPainter *painter, const uint32_t *text, int32_t x, int32_t y,
                    int32_t width, int32_t height, uint32_t colour, int32_t fontClass,
                    UIElement *clip) {
    DrawLine(painter, text, x, y, width, height, colour, PLACE_LEFT, fontClass, clip);
}

int32_t UIDrawGlyph(UIPainter *painter, const uint8_t *blob, const uint8_t *table, int32_t penX,
                    int32_t lineTop, uint32_t code, uint32_t colour, UIElement *clip) {
    GlyphRecord glyph = ReadGlyph(table, code);
    int32_t left = penX + glyph.xOffset, top = lineTop + glyph.yOffset;
    int32_t right = left + glyph.width, bottom = top + glyph.height;

    // The visible area: the buffer, cut to the clip element's rectangle. Its
    // sides are scaled one by one (the right one from x + width), so clips of
    // neighbouring elements meet without gaps or overlaps at any scale.
    int32_t visibleLeft = 0, visibleTop = 0;
    int32_t visibleRight = painter->width, visibleBottom = painter->height;
    if (clip) {
        int32_t clipLeft = ToDevice(clip->x), clipTop = ToDevice(clip->y);
        int32_t clipRight = ToDevice(clip->x + clip->width);
        int32_t clipBottom = ToDevice(clip->y + clip->height);
        if (clipLeft > visibleLeft) visibleLeft = clipLeft;
        if (clipTop > visibleTop) visibleTop = clipTop;
        if (clipRight < visibleRight) visibleRight = clipRight;
        if (clipBottom < visibleBottom) visibleBottom = clipBottom;
    }
    int32_t fromX = left > visibleLeft ? left : visibleLeft;
    int32_t toX = right < visibleRight ? right : visibleRight;
    int32_t fromY = top > visibleTop ? top : visibleTop;
    int32_t toY = bottom < visibleBottom ? bottom : visibleBottom;

    for (int32_t y = fromY; y < toY; y++) {
        const uint8_t *coverage = blob + glyph.bitmap + (size_t)(y - top) * glyph.width;
        uint32_t *row = painter->pixels + (size_t)y * painter->width;
        for (int32_t x = fromX; x < toX; x++) {
            uint32_t c = coverage[x - left];
            if (c == 0) continue;
            row[x] = UIBlend(row[x], c << 24 | colour);
        }
    }
    return glyph.advance;
}

// ---- wide strings ----

size_t UIWideLength(const uint32_t *text) {
    size_t length = 0;
    if (text) {
        while (text[length]) length++;
    }
    return length;
}

uint32_t *UIWideConcatenate(uint32_t *destination, const uint32_t *source) {
    UIWideCopy(destination + UIWideLength(destination), source);
    return destination;
}

uint32_t *UIWideCopy(uint32_t *destination, const uint32_t *source) {
    size_t length = UIWideLength(source);
    if (length) memcpy(destination, source, length * sizeof(uint32_t));
    destination[length] = 0;
    return destination;
}

int32_t UIWideCompare(const uint32_t *a, const uint32_t *b) {
    static const uint32_t EMPTY[1] = {0};
    if (!a) a = EMPTY;
    if (!b) b = EMPTY;
    for (size_t i = 0;; i++) {
        if (a[i] == b[i]) {
            if (!a[i]) return 0;
            continue;
        }
        if (!a[i]) return -1;
        if (!b[i]) return 1;
        return (int32_t)(a[i] - b[i]);
    }
}
