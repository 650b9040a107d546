// The painter: the blend rule's truncation, block clipping, rounded blocks,
// the design-unit helpers, and the ring box the editor draws around controls.
#include <gtest/gtest.h>

#include "tests/support/canvas.h"
#include "toolkit/painter.h"

namespace {

const uint32_t BLACK = 0xFF000000, WHITE = 0xFFFFFFFF, GREEN = 0xFF00FF00;

TEST(Painter, blend_truncates_and_blocks_shift_at_negative_origins_and_cut_at_the_far_edges) {
    EXPECT_EQ(UIBlend(BLACK, 0x80FFFFFF), 0xFF7F7F7Fu);
    EXPECT_EQ(UIBlend(WHITE, 0x01000000), 0xFFFDFDFDu);   // the factors sum to 255: 1/256 is lost
    EXPECT_EQ(UIBlend(WHITE, 0xFF123456), 0xFF123456u);   // opaque sources copied as they stand

    Canvas clear(4, 4, 0x00102030);
    UIDrawBlock(&clear.painter, 0, 0, 4, 4, 0x00FFFFFF);
    EXPECT_EQ(clear.Changed(), 0);
    UIDrawBlock(&clear.painter, 0, 0, 4, 4, 0x01FFFFFF);   // alpha 1 only makes opaque
    for (uint32_t pixel : clear.pixels) EXPECT_EQ(pixel, 0xFF102030u);

    // A negative origin moves the block to 0 instead of cutting it.
    Canvas canvas(32, 32);
    UIDrawBlock(&canvas.painter, -5, -3, 20, 4, WHITE);
    for (int32_t x = 0; x < 32; x++)
        for (int32_t y = 0; y < 5; y++)
            EXPECT_EQ(canvas.At(x, y), x < 20 && y < 4 ? WHITE : BLACK) << x << "," << y;
    UIDrawBlock(&canvas.painter, 30, 31, 20, 20, GREEN);
    EXPECT_EQ(canvas.At(31, 31), GREEN);
    EXPECT_EQ(canvas.At(29, 31), BLACK);

    // Design units truncate each value: (3, 3, 5, 1) at 150 is (4, 4, 7, 1).
    Canvas scaled(20, 20);
    UIDrawBlockScaled(&scaled.painter, 3, 3, 5, 1, WHITE, 150);
    EXPECT_EQ(scaled.Changed(), 7);
    EXPECT_EQ(scaled.At(4, 4), WHITE);
    EXPECT_EQ(scaled.At(10, 4), WHITE);
    UIDrawOutlineOuterScaled(&scaled.painter, 12, 12, 4, 4, GREEN, 100);
    EXPECT_EQ(scaled.At(11, 11), GREEN);
    EXPECT_EQ(scaled.At(12, 12), BLACK);
}

TEST(Painter, rounded_blocks_are_symmetric_capsules_and_fall_back_below_a_pixel) {
    Canvas canvas(20, 11);
    UIDrawRoundedBlock(&canvas.painter, 0, 0, 20, 11, WHITE, 50);   // radius over half the height
    for (int32_t y = 0; y < 11; y++) {
        for (int32_t x = 0; x < 20; x++) {
            EXPECT_EQ(canvas.At(x, y), canvas.At(19 - x, y)) << x << "," << y;
            EXPECT_EQ(canvas.At(x, y), canvas.At(x, 10 - y)) << x << "," << y;
        }
    }
    EXPECT_EQ(canvas.At(0, 0), BLACK);
    EXPECT_EQ(canvas.At(10, 0), WHITE);         // the top band between the corners
    EXPECT_EQ(canvas.At(0, 5), WHITE);          // the one middle row is the full width
    EXPECT_EQ(canvas.At(0, 4), 0xFFF6F6F6u);    // an edge pixel, 97% covered

    Canvas small(20, 20);
    UIDrawRoundedScaled(&small.painter, 0, 0, 10, 10, WHITE, 1, 50);   // radius under a pixel: a block
    EXPECT_EQ(small.At(0, 0), WHITE);
    UIDrawRoundedScaled(&small.painter, 10, 10, 1, 8, GREEN, 0, 50);   // side under a pixel: nothing
    EXPECT_EQ(small.Changed(), 25);
}

UIBox SolidBorder(int8_t border, int8_t radius) {
    UIBox box = {};
    box.borderLeft = box.borderRight = box.borderTop = box.borderBottom = border;
    box.radiusTopLeft = box.radiusTopRight = box.radiusBottomLeft = box.radiusBottomRight = radius;
    box.borderPaint = UI_PAINT_SOLID;
    return box;
}

TEST(Painter, boxes_fit_their_radii_to_the_size_and_the_automation_ring_lands_on_known_pixels) {
    Canvas narrow(10, 30);
    UIDrawTarget target = {{0, 10, 0, 30}, narrow.pixels.data(), 10};
    UIBox box = SolidBorder(1, 10);
    UIDrawBox(&target, {2, 6, 2, 22}, &box, nullptr, &GREEN, nullptr, nullptr, 1.0f);
    // Radii fitted to 2: the straight sides start at the third row.
    EXPECT_EQ(narrow.At(2, 4), GREEN);
    EXPECT_EQ(narrow.At(5, 4), GREEN);
    EXPECT_EQ(narrow.At(3, 4), BLACK);
    EXPECT_NE(narrow.At(2, 3), GREEN);   // anti-aliased corner
    EXPECT_NE(narrow.At(2, 3), BLACK);

    // The ring around a control centred on (50, 50): 19 by 18 pixels,
    // borders 2, radii 10 fitted down to 9.
    Canvas canvas(100, 100);
    target = {{0, 100, 0, 100}, canvas.pixels.data(), 100};
    box = SolidBorder(2, 10);
    UIDrawBox(&target, {41, 60, 42, 60}, &box, nullptr, &GREEN, nullptr, nullptr, 1.0f);
    EXPECT_EQ(canvas.At(41, 50), GREEN);   // left side, wholly inside the border
    EXPECT_EQ(canvas.At(59, 50), GREEN);
    EXPECT_EQ(canvas.At(50, 42), GREEN);   // top, between the corners
    EXPECT_EQ(canvas.At(50, 44), BLACK);   // no fill
    EXPECT_EQ(canvas.At(50, 51), BLACK);
    EXPECT_EQ(canvas.At(41, 42), BLACK);   // beyond the corner's circle
    EXPECT_EQ(canvas.At(60, 50), BLACK);   // outside the rectangle
}

}  // namespace
