// The painter: the blend rule, block clipping, rounded blocks and the ring box.
#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/canvas.h"
#include "toolkit/painter.h"

namespace {

const uint32_t BLACK = 0xFF000000, WHITE = 0xFFFFFFFF, GREEN = 0xFF00FF00;

TEST(Painter, blend_truncates_and_blocks_shift_at_negative_origins_and_cut_at_the_far_edges) {
    EXPECT_EQ(UIBlend(BLACK, 0x80FFFFFF), 0xFF7F7F7Fu);
    EXPECT_EQ(UIBlend(WHITE, 0x01000000), 0xFFFDFDFDu);   // the factors sum to 255: 1/256 is lost
    EXPECT_EQ(UIBlend(WHITE, 0xFF123456), 0xFF123456u);

    Canvas canvas(32, 32);
    UIDrawBlock(&canvas.painter, -5, -3, 20, 4, WHITE);   // moved to 0, not cut
    EXPECT_EQ(canvas.At(19, 3), WHITE);
    EXPECT_EQ(canvas.At(20, 3), BLACK);
    EXPECT_EQ(canvas.At(19, 4), BLACK);
    UIDrawBlock(&canvas.painter, 30, 31, 20, 20, GREEN);
    EXPECT_EQ(canvas.At(31, 31), GREEN);

    // Design units truncate each value: (3, 3, 5, 1) at 150 is (4, 4, 7, 1).
    Canvas scaled(20, 20);
    UIDrawBlockScaled(&scaled.painter, 3, 3, 5, 1, WHITE, 150);
    EXPECT_EQ(scaled.Changed(), 7);
    EXPECT_EQ(scaled.At(4, 4), WHITE);
}

TEST(Painter, rounded_blocks_are_symmetric_capsules_and_fall_back_below_a_pixel) {
    Canvas canvas(20, 11);
    UIDrawRoundedBlock(&canvas.painter, 0, 0, 20, 11, WHITE, 50);   // radius over half the height
    for (int32_t y = 0; y < 11; y++)
        for (int32_t x = 0; x < 20; x++) ASSERT_EQ(canvas.At(x, y), canvas.At(19 - x, 10 - y)) << x << "," << y;
    EXPECT_EQ(canvas.At(0, 0), BLACK);
    EXPECT_EQ(canvas.At(0, 5), WHITE);          // the one middle row is the full width
    EXPECT_EQ(canvas.At(0, 4), 0xFFF6F6F6u);    // an edge pixel, 97% covered

    Canvas small(20, 20);
    UIDrawRoundedScaled(&small.painter, 0, 0, 10, 10, WHITE, 1, 50);   // radius under a pixel: a block
    UIDrawRoundedScaled(&small.painter, 10, 10, 1, 8, GREEN, 0, 50);   // side under a pixel: nothing
    EXPECT_EQ(small.Changed(), 25);
}

TEST(Painter, the_ring_box_fits_its_radii_and_lands_on_known_pixels) {
    // Around a control centred on (50, 50): 19 by 18, borders 2, radii 10 fitted to 9.
    Canvas canvas(100, 100);
    UIDrawTarget target = {{0, 100, 0, 100}, canvas.pixels.data(), 100};
    UIBox box = {};
    box.borderLeft = box.borderRight = box.borderTop = box.borderBottom = 2;
    box.radiusTopLeft = box.radiusTopRight = box.radiusBottomLeft = box.radiusBottomRight = 10;
    box.borderPaint = UI_PAINT_SOLID;
    UIDrawBox(&target, {41, 60, 42, 60}, &box, nullptr, &GREEN, nullptr, nullptr, 1.0f);
    EXPECT_EQ(canvas.At(41, 50), GREEN);
    EXPECT_EQ(canvas.At(59, 50), GREEN);
    EXPECT_EQ(canvas.At(50, 42), GREEN);
    EXPECT_EQ(canvas.At(50, 44), BLACK);   // no fill
    EXPECT_EQ(canvas.At(41, 42), BLACK);   // beyond the corner's circle
    EXPECT_EQ(canvas.At(60, 50), BLACK);   // outside the rectangle
    // Unfitted radius 10 on (10, 10)-(50, 50): samples in whole eighths outward from each
    // corner's centre give the same landmarks in all four corners, mirrored.
    Canvas ring(60, 60);
    target = {{0, 60, 0, 60}, ring.pixels.data(), 60};
    UIDrawBox(&target, {10, 50, 10, 50}, &box, nullptr, &WHITE, nullptr, nullptr, 1.0f);
    for (auto [x, y, grey] : {std::tuple{19, 11, 250u}, {17, 12, 82u}, {18, 12, 14u}, {14, 13, 234u}, {16, 10, 110u}})
        for (int32_t corner = 0; corner < 4; corner++)
            EXPECT_EQ(ring.At(corner & 1 ? 59 - x : x, corner & 2 ? 59 - y : y) & 0xFF, grey);
}

}  // namespace
