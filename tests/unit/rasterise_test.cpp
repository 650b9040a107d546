// The rasteriser: exact coverage, the left clip, the fill rules, stroke area.
#include <gtest/gtest.h>

#include <vector>

#include "toolkit/painter.h"
#include "toolkit/rasterise.h"

namespace {

const int32_t SIZE = 16;

struct Raster {
    std::vector<uint32_t> pixels = std::vector<uint32_t>(SIZE * SIZE, 0xFF000000);
    std::vector<float> area = std::vector<float>(SIZE, 0.0f);
    std::vector<float> cover = std::vector<float>(SIZE + 1, 0.0f);
    UIRasterTarget target = {pixels.data(), SIZE, SIZE, SIZE * 4, area.data(), cover.data()};
    UIPainter painter = {SIZE, SIZE, pixels.data(), nullptr};

    // The grey level a white fill left at a pixel over black.
    uint32_t Level(int32_t x, int32_t y) const { return pixels[y * SIZE + x] & 0xFF; }
    double Area() const {
        double sum = 0;
        for (uint32_t pixel : pixels) sum += (pixel & 0xFF) / 255.0;
        return sum;
    }
    void Fill(const std::vector<std::vector<UIPoint>> &polygons, bool evenOdd = false, float alpha = 1.0f) {
        UIPath path = {};
        for (const auto &polygon : polygons) {
            for (UIPoint p : polygon) UIPathAddPoint(&path, p.x, p.y);
            UIPathEndSubpath(&path);
        }
        UIEdgeList edges = UIPathEdges(&path);
        UIRasterFill(&target, &edges, evenOdd, 0xFFFFFF, alpha);
        UIPathFree(&path);
    }
};

std::vector<UIPoint> Rect(float left, float top, float right, float bottom) {
    return {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
}

// trunc(coverage * 255) blended white over black.
const uint32_t HALF = 126, QUARTER = 62;

TEST(Rasterise, fills_cover_each_pixel_exactly_by_its_area_under_either_rule) {
    Raster canvas;
    canvas.Fill({Rect(2.5f, 1, 6, 3)});
    EXPECT_EQ(canvas.Level(2, 1), HALF);
    EXPECT_EQ(canvas.Level(3, 1), 255u);
    EXPECT_EQ(canvas.Level(6, 2), 0u);
    canvas.Fill({Rect(8, 5.25f, 10, 6.25f)});   // one pixel high across two rows
    EXPECT_EQ(canvas.Level(8, 6), QUARTER);

    Raster triangle;   // the diagonal halves the pixels it crosses
    triangle.Fill({{{0, 0}, {4, 0}, {0, 4}}});
    EXPECT_EQ(triangle.Level(1, 2), HALF);
    EXPECT_EQ(triangle.Level(2, 2), 0u);
    EXPECT_NEAR(triangle.Area(), 8.0, 0.03);

    Raster left;   // polygons over the left edge fill from column 0
    left.Fill({{{-6, 1}, {2.5f, 1}, {2.5f, 2}, {-6, 2}}});
    EXPECT_EQ(left.Level(0, 1), 255u);
    EXPECT_EQ(left.Level(2, 1), HALF);

    Raster nonZero, evenOdd;   // overlaps count once, or cancel
    nonZero.Fill({Rect(1, 1, 5, 5), Rect(3, 3, 7, 7)}, false, 0.5f);
    evenOdd.Fill({Rect(1, 1, 5, 5), Rect(3, 3, 7, 7)}, true, 0.5f);
    EXPECT_EQ(nonZero.Level(4, 4), HALF);
    EXPECT_EQ(evenOdd.Level(4, 4), 0u);
}

TEST(Rasterise, strokes_cover_their_area_with_bevels_and_miters) {
    Raster line;
    UIPoint straight[] = {{1, 5}, {9, 5}};
    UIStrokePolyline(&line.painter, straight, 2, 0xFFFFFFFF, 2);
    EXPECT_EQ(line.Area(), 16.0);

    // Two arms of 8 by 2 overlapping in one pixel, and the bevel's half pixel.
    Raster bent;
    UIPoint corner[] = {{2, 10}, {10, 10}, {10, 2}};
    UIStrokePolyline(&bent.painter, corner, 3, 0xFFFFFFFF, 2);
    EXPECT_NEAR(bent.Area(), 31.5, 0.3);
    EXPECT_EQ(bent.Level(10, 10), HALF);

    Raster ring;   // a closed mitered square
    UIPath path = {};
    for (UIPoint p : Rect(3, 3, 12, 12)) UIPathAddPoint(&path, p.x, p.y);
    UIPathEndSubpath(&path);
    UIStroke stroke = {1, 1, UI_JOIN_MITER, 1, UI_CAP_BUTT};
    UIEdgeList edges = UIPathStroke(&path, false, &stroke);
    UIRasterFill(&ring.target, &edges, false, 0xFFFFFF, 1);
    UIPathFree(&path);
    EXPECT_NEAR(ring.Area(), 11 * 11 - 7 * 7, 0.02);
    EXPECT_EQ(ring.Level(2, 2), 255u);   // mitered corner
}

}  // namespace
