// libFuzzer target: the PNG decoder must turn any bytes into pixels or a
// refusal, never a crash, a read past the data, or memory left behind.
// Seed it with the corpus: png_fuzz CORPUS_DIR tests/png
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include "toolkit/png.h"

static int32_t liveBlocks;
static volatile uint32_t pixelSum;

static void *CountedAllocate(size_t size) {
    liveBlocks++;
    return malloc(size);
}

static void CountedFree(void *pointer) {
    if (pointer) liveBlocks--;
    free(pointer);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // The decoder takes the rows' whole block before inflating; leave the
    // gigabyte images that the header allows to the unit tests' reasoning.
    int32_t width, height;
    bool sized = UIImageReadPNGSize(data, size, &width, &height);
    if (sized && (int64_t)width * height > 4 << 20) return 0;

    uint32_t *pixels;
    int32_t decodedWidth, decodedHeight;
    liveBlocks = 0;
    UIPNGResult result = UIPNGDecode(data, size, &pixels, &decodedWidth, &decodedHeight,
                                     CountedAllocate, CountedFree);
    if (result == UI_PNG_DECODED) {
        if (!sized || decodedWidth != width || decodedHeight != height || liveBlocks != 1) {
            __builtin_trap();
        }
        // Touch every pixel, so that a short block shows up under ASan.
        uint32_t sum = 0;
        for (int64_t i = 0; i < (int64_t)width * height; i++) sum += pixels[i];
        pixelSum = sum;
        CountedFree(pixels);
    } else if (pixels || decodedWidth || decodedHeight || liveBlocks) {
        __builtin_trap();
    }
    return 0;
}
