// Writes PNG files for the build-time tools and the command-line host: colour
// type 6, bit depth 8, with only IHDR, IDAT and IEND, compressed with zlib.
// The bytes are the same for the same pixels.
#pragma once
#include <stdint.h>

// pixels: 0xAARRGGBB, row by row. The caller frees *bytes.
void EncodePNG(const uint32_t *pixels, int32_t width, int32_t height, uint8_t **bytes,
               uint64_t *size);
