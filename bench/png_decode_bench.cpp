// The PNG decoder against libpng on the given files: time per decode, and a
// check that both give the same pixels. Built as lathemoor_png_bench when
// libpng-dev is installed. A large photo-like test file, with ImageMagick:
//
//   convert -size 2048x2048 -seed 1 plasma:fractal -depth 8 PNG24:/tmp/plasma.png
//   convert /tmp/plasma.png -alpha set -channel A -fx 'i/w' +channel PNG32:/tmp/plasma_rgba.png
//   build/bench/lathemoor_png_bench /tmp/plasma.png /tmp/plasma_rgba.png
//
// libpng checks the chunk CRCs and zlib the Adler checksum; our decoder
// reads neither. Both write 0xAARRGGBB (libpng's BGRA byte order).
#include <png.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <algorithm>
#include <vector>
#include "toolkit/png.h"

static double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

static std::vector<uint8_t> ReadFile(const char *path) {
    std::vector<uint8_t> bytes;
    FILE *file = fopen(path, "rb");
    if (!file) return bytes;
    uint8_t buffer[65536];
    size_t count;
    while ((count = fread(buffer, 1, sizeof buffer, file)) > 0) {
        bytes.insert(bytes.end(), buffer, buffer + count);
    }
    fclose(file);
    return bytes;
}

static uint32_t *DecodeOurs(const std::vector<uint8_t> &file, int32_t *width, int32_t *height) {
    uint32_t *pixels;
    if (!UIImageDecodePNG(file.data(), file.size(), &pixels, width, height, malloc, free)) {
        return NULL;
    }
    return pixels;
}

static uint32_t *DecodeLibpng(const std::vector<uint8_t> &file, int32_t *width, int32_t *height) {
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, file.data(), file.size())) return NULL;
    image.format = PNG_FORMAT_BGRA;
    uint32_t *pixels = (uint32_t *)malloc(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, NULL, pixels, 0, NULL)) {
        free(pixels);
        return NULL;
    }
    *width = (int32_t)image.width;
    *height = (int32_t)image.height;
    return pixels;
}

typedef uint32_t *(*Decoder)(const std::vector<uint8_t> &, int32_t *, int32_t *);

// The fastest and the median of `runs` decodes, in milliseconds.
static void Time(const char *name, Decoder decode, const std::vector<uint8_t> &file, int runs) {
    std::vector<double> times;
    int32_t width = 0, height = 0;
    for (int run = 0; run < runs; run++) {
        double start = Now();
        uint32_t *pixels = decode(file, &width, &height);
        times.push_back((Now() - start) * 1e3);
        free(pixels);
    }
    std::sort(times.begin(), times.end());
    double megapixels = width * (double)height * 1e-6;
    printf("  %-7s fastest %7.1f ms   median %7.1f ms   %6.1f Mpixel/s\n", name, times[0],
           times[runs / 2], megapixels / (times[0] * 1e-3));
}

int main(int argc, char **argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: %s FILE.png ...   (RUNS=n, default 10)\n", argv[0]);
        return 2;
    }
    int runs = getenv("RUNS") ? atoi(getenv("RUNS")) : 10;
    if (runs < 1) runs = 1;
    int failures = 0;
    for (int i = 1; i < argc; i++) {
        std::vector<uint8_t> file = ReadFile(argv[i]);
        int32_t width = 0, height = 0, libpngWidth = 0, libpngHeight = 0;
        uint32_t *ours = DecodeOurs(file, &width, &height);
        uint32_t *theirs = DecodeLibpng(file, &libpngWidth, &libpngHeight);
        bool same = ours && theirs && width == libpngWidth && height == libpngHeight &&
                    !memcmp(ours, theirs, (size_t)width * height * 4);
        printf("%s: %d x %d, %zu bytes, pixels %s\n", argv[i], libpngWidth, libpngHeight,
               file.size(), same ? "identical" : "DIFFER");
        free(ours);
        free(theirs);
        if (!same) {
            failures++;
            continue;
        }
        Time("ours", DecodeOurs, file, runs);
        Time("libpng", DecodeLibpng, file, runs);
    }
    return failures ? 1 : 0;
}
