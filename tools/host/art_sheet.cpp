// `art-sheet`: every picture of the editor on one contact sheet, drawn by the
// plug-in's own image table, decoder, shrink and painter from the art linked
// into this program, at a chosen scale. The single images come first, each
// named under it, then each film strip as one run of frames.
#include "tools/host/art_sheet.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "toolkit/font.h"
#include "toolkit/images.h"
#include "toolkit/painter.h"
#include "toolkit/scale.h"
#include "tools/host/host.h"
#include "tools/png_write.h"

namespace {

const uint32_t SHEET_BACKGROUND = 0xFF2B2F35;   // a mid grey: dark art and shadows both show
const uint32_t LABEL_COLOUR = 0x00C8CDD2;       // text takes its alpha from the glyphs
const int32_t GAP = 8;                          // device pixels between pictures

struct Placement {
    UIImage *image;
    int32_t x, y;
    std::u32string label;   // drawn under the picture when not empty
};

std::u32string Wide(const char32_t *text) { return text ? std::u32string(text) : U""; }

// Shelf packing: left to right, a new row when the next picture doesn't fit.
// A strip's frames are packed as a run that starts on a new row.
struct Shelf {
    int32_t width, x = GAP, y = GAP, rowHeight = 0;
    void NewRow() {
        if (x > GAP) y += rowHeight + GAP;
        x = GAP, rowHeight = 0;
    }
    // A single image's cell is as wide as its label; a frame's as the picture.
    void Place(std::vector<Placement> &out, UIImage *image, int32_t cellWidth, int32_t cellHeight,
               std::u32string label) {
        if (x + cellWidth + GAP > width && x > GAP) NewRow();
        out.push_back({image, x, y, std::move(label)});
        x += cellWidth + GAP;
        if (cellHeight > rowHeight) rowHeight = cellHeight;
    }
};

}  // namespace

int CommandArtSheet(const std::string &path, int32_t scale) {
    if (scale < 1 || scale > UI_SCALE_MAX) {
        throw HostError("--scale wants 1.." + std::to_string((int)UI_SCALE_MAX) +
                        " (the art stops at 200 percent)");
    }
    uiScale = scale;
    uiSkin = UI_SKIN_SHIPPED;
    UIFontUseEmbedded();
    UISkinSelect();

    int32_t missing = 0;
    for (int32_t i = 0; i < UI_IMAGE_COUNT; i++) {
        if (!UIImageEnsureLoaded(UIImageAt(i))) missing++;
    }

    // The label line's height in device pixels, from the small font's box.
    int32_t lineHeight = 0, boxHeight = 0;
    if (uiFontBlob) UIFontSelect(UI_FONT_SMALL, &lineHeight, &boxHeight);

    UIImage *page = UIImageGet(IMAGE_PAGE_MAIN);
    Shelf shelf;
    shelf.width = (page->width > 0 ? page->width : 1068 * scale / 100) + 2 * GAP;
    std::vector<Placement> placements;
    for (int32_t single = 0; single < UI_IMAGE_SINGLE_COUNT; single++) {
        UIImage *image = UIImageGet((UIImageSingle)single);
        std::u32string name = Wide(image->name);
        int32_t labelWidth = UIMeasureText((const uint32_t *)name.c_str(), UI_FONT_SMALL) * scale / 100;
        shelf.Place(placements, image, image->width > labelWidth ? image->width : labelWidth,
                    image->height + boxHeight, name);
    }
    for (int32_t strip = 0; strip < UI_IMAGE_STRIP_COUNT; strip++) {
        shelf.NewRow();
        int32_t first = UIImageStripFirstFrame((UIImageStrip)strip);
        int32_t last = UIImageStripLastFrame((UIImageStrip)strip);
        for (int32_t number = first; number <= last; number++) {
            UIImage *image = UIImageFrame((UIImageStrip)strip, number);
            // The strip is named once, under its first frame.
            std::u32string label;
            if (number == first) label = Wide(image->name);
            shelf.Place(placements, image, image->width, image->height + boxHeight, label);
        }
    }
    shelf.NewRow();

    UIPainter painter = {};
    painter.width = shelf.width;
    painter.height = shelf.y;
    std::vector<uint32_t> pixels((size_t)painter.width * painter.height, SHEET_BACKGROUND);
    painter.pixels = pixels.data();
    for (const Placement &placement : placements) {
        UIDrawImage(&painter, placement.image, placement.x, placement.y, false);
        if (placement.label.empty()) continue;
        // Text is placed in design units; the sheet is laid out in pixels.
        std::vector<uint32_t> text(placement.label.begin(), placement.label.end());
        text.push_back(0);
        UIDrawTextLeft(&painter, text.data(), placement.x * 100 / scale,
                       (placement.y + placement.image->height) * 100 / scale, 400,
                       boxHeight * 100 / scale + 1, LABEL_COLOUR, UI_FONT_SMALL, nullptr);
    }
    UIImagesFree();

    uint8_t *bytes = nullptr;
    uint64_t size = 0;
    EncodePNG(pixels.data(), painter.width, painter.height, &bytes, &size);
    FILE *file = fopen(path.c_str(), "wb");
    bool written = file && fwrite(bytes, 1, size, file) == size;
    if (file && fclose(file) != 0) written = false;
    free(bytes);
    if (!written) throw HostError("cannot write " + path);
    printf("%s: %d images at %d %%, %d x %d pixels", path.c_str(), (int)UI_IMAGE_COUNT, scale,
           painter.width, painter.height);
    if (missing) printf(", %d without pixels", missing);
    printf("\n");
    return missing ? 1 : 0;
}
