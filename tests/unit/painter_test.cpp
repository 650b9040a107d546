// The painter: the blend rule's truncation, block clipping, rounded blocks,
// the design-unit helpers, and the ring box the editor draws around controls.
#include <gtest/gtest.h>
#include <vector>
#include "toolkit/painter.h"

namespace {

struct Canvas {
    std::vector<uint32_t> pixels;
    UIPainter painter;
    Canvas(int32_t width, int32_t height, uint32_t background = 0xFF000000)
        : pixels((size_t)width * height, background) {
        painter = {width, height, pixels.data(), nullptr};
    }
    uint32_t At(int32_t x, int32_t y) const { return pixels[(size_t)y * painter.width + x]; }
};

const uint32_t BLACK = 0xFF000000, WHITE = 0xFFFFFFFF, GREEN = 0xFF00FF00;

TEST(PainterBlend, TruncatesWithFactorsSummingTo255) {
    EXPECT_EQ(UIBlend(BLACK, 0x80FFFFFF), 0xFF7F7F7Fu);
    // Nearly transparent black over white still darkens by the lost 1/256.
    EXPECT_EQ(UIBlend(WHITE, 0x01000000), 0xFFFDFDFDu);
    // Opaque sources are copied as they stand.
    EXPECT_EQ(UIBlend(WHITE, 0xFF123456), 0xFF123456u);
}

TEST(PainterBlock, AlphaZeroChangesNothingAndAlphaOneOnlyMakesOpaque) {
    Canvas canvas(4, 4, 0x00102030);
    UIDrawBlock(&canvas.painter, 0, 0, 4, 4, 0x00FFFFFF);
    for (uint32_t pixel : canvas.pixels) EXPECT_EQ(pixel, 0x00102030u);
    UIDrawBlock(&canvas.painter, 0, 0, 4, 4, 0x01FFFFFF);
    for (uint32_t pixel : canvas.pixels) EXPECT_EQ(pixel, 0xFF102030u);
}

TEST(PainterBlock, NegativeOriginShiftsInsteadOfCutting) {
    Canvas canvas(32, 32);
    UIDrawBlock(&canvas.painter, -5, -3, 20, 4, WHITE);
    for (int32_t x = 0; x < 32; x++) {
        for (int32_t y = 0; y < 5; y++) {
            EXPECT_EQ(canvas.At(x, y), x < 20 && y < 4 ? WHITE : BLACK) << x << "," << y;
        }
    }
    UIDrawBlock(&canvas.painter, 30, 31, 20, 20, GREEN);   // the right and bottom edges cut
    EXPECT_EQ(canvas.At(31, 31), GREEN);
    EXPECT_EQ(canvas.At(29, 31), BLACK);
}

TEST(PainterRounded, OversizedRadiusGivesSymmetricCapsule) {
    Canvas canvas(20, 11);
    UIDrawRoundedBlock(&canvas.painter, 0, 0, 20, 11, WHITE, 50);
    for (int32_t y = 0; y < 11; y++) {
        for (int32_t x = 0; x < 20; x++) {
            EXPECT_EQ(canvas.At(x, y), canvas.At(19 - x, y)) << x << "," << y;
            EXPECT_EQ(canvas.At(x, y), canvas.At(x, 10 - y)) << x << "," << y;
        }
    }
    EXPECT_EQ(canvas.At(0, 0), BLACK);
    EXPECT_EQ(canvas.At(10, 0), WHITE);           // the top band between the corners
    EXPECT_EQ(canvas.At(0, 5), WHITE);            // the one middle row is the full width
    EXPECT_EQ(canvas.At(0, 4), 0xFFF6F6F6u);      // an edge pixel, 97% covered
    EXPECT_EQ(canvas.At(2, 2), WHITE);
}

TEST(PainterScaled, DesignUnitsTruncateAndSmallRoundedFallBack) {
    Canvas canvas(20, 20);
    UIDrawBlockScaled(&canvas.painter, 3, 3, 5, 1, WHITE, 150);   // 4, 4, 7 wide, 1 high
    EXPECT_EQ(canvas.At(3, 4), BLACK);
    EXPECT_EQ(canvas.At(10, 4), WHITE);
    EXPECT_EQ(canvas.At(11, 4), BLACK);
    EXPECT_EQ(canvas.At(4, 5), BLACK);
    UIDrawOutlineOuterScaled(&canvas.painter, 12, 12, 4, 4, GREEN, 100);
    EXPECT_EQ(canvas.At(11, 11), GREEN);
    EXPECT_EQ(canvas.At(12, 12), BLACK);

    Canvas rounded(20, 20);
    UIDrawRoundedScaled(&rounded.painter, 0, 0, 10, 10, WHITE, 1, 50);   // radius under a pixel
    EXPECT_EQ(rounded.At(0, 0), WHITE);
    UIDrawRoundedScaled(&rounded.painter, 10, 10, 1, 8, GREEN, 0, 50);   // side under a pixel
    for (uint32_t pixel : rounded.pixels) EXPECT_NE(pixel, GREEN);
}

// ---- boxes ----

struct BoxCanvas : Canvas {
    UIDrawTarget target;
    BoxCanvas(int32_t width, int32_t height) : Canvas(width, height) {
        target = {{0, width, 0, height}, pixels.data(), width};
    }
};

UIBox SolidBorder(int8_t border, int8_t radius) {
    UIBox box = {};
    box.borderLeft = box.borderRight = box.borderTop = box.borderBottom = border;
    box.radiusTopLeft = box.radiusTopRight = box.radiusBottomLeft = box.radiusBottomRight = radius;
    box.borderPaint = UI_PAINT_SOLID;
    return box;
}

TEST(PainterBox, NarrowBoxFitsItsRadiiToTheWidth) {
    BoxCanvas canvas(10, 30);
    UIBox box = SolidBorder(1, 10);
    UIDrawBox(&canvas.target, {2, 6, 2, 22}, &box, nullptr, &GREEN, nullptr, nullptr, 1.0f);
    // Radii of 2: the straight sides start at the third row.
    EXPECT_EQ(canvas.At(2, 4), GREEN);
    EXPECT_EQ(canvas.At(5, 4), GREEN);
    EXPECT_EQ(canvas.At(3, 4), BLACK);
    EXPECT_NE(canvas.At(2, 3), GREEN);   // anti-aliased corner
    EXPECT_NE(canvas.At(2, 3), BLACK);
}

TEST(PainterBox, AutomationRingAtKnownPixels) {
    // The ring around a control centred on (50, 50): 19 by 18 pixels,
    // borders 2, radii 10 fitted down to 9.
    BoxCanvas canvas(100, 100);
    UIBox box = SolidBorder(2, 10);
    UIDrawBox(&canvas.target, {41, 60, 42, 60}, &box, nullptr, &GREEN, nullptr, nullptr, 1.0f);
    EXPECT_EQ(canvas.At(41, 50), GREEN);   // left side, wholly inside the border
    EXPECT_EQ(canvas.At(59, 50), GREEN);
    EXPECT_EQ(canvas.At(50, 42), GREEN);   // top, between the corners
    EXPECT_EQ(canvas.At(50, 44), BLACK);   // no fill
    EXPECT_EQ(canvas.At(50, 51), BLACK);
    EXPECT_EQ(canvas.At(41, 42), BLACK);   // beyond the corner's circle
    EXPECT_EQ(canvas.At(60, 50), BLACK);   // outside the rectangle
}

}  // namespace
