// A pixel buffer filled with one colour and a painter over it, for the tests
// of everything that draws without a window.
#pragma once
#include <stdint.h>

#include <vector>

#include "toolkit/painter.h"

struct Canvas {
    uint32_t background;
    std::vector<uint32_t> pixels;
    UIPainter painter;

    Canvas(int32_t width, int32_t height, uint32_t fill = 0xFF000000)
        : background(fill), pixels((size_t)width * height, fill) {
        painter = {width, height, pixels.data(), nullptr};
    }
    Canvas(const Canvas &) = delete;
    uint32_t At(int32_t x, int32_t y) const { return pixels[(size_t)y * painter.width + x]; }
    // How many pixels no longer hold the fill.
    int32_t Changed() const {
        int32_t count = 0;
        for (uint32_t pixel : pixels) count += pixel != background;
        return count;
    }
};
