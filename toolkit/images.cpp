// The image table and rows, built at compile time from toolkit/image_list.h;
// the selection by scale and skin; decoding with a custom skin's files; the
// shrink; and the cache that owns every decoded picture.
#include "toolkit/images.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "toolkit/embedded.h"
#include "toolkit/png.h"
#include "toolkit/scale.h"
#include "vocabulary/grow.h"

static char *skinFolder;

void UISkinSetFolder(const char *folder) {
    free(skinFolder);
    skinFolder = folder && folder[0] ? strdup(folder) : nullptr;
}

const char *UISkinFolder(void) { return skinFolder ? skinFolder : ""; }

namespace {

// ---- the pictures by rule ----

struct StripRule {
    const char *name;
    int32_t designWidth, designHeight, firstFrame, lastFrame;
    const char *fileStem, *fileSuffix;
};

constexpr StripRule STRIP_RULES[UI_IMAGE_STRIP_COUNT] = {
#define STRIP_RULE(id, name, w, h, first, last, stem, suffix) {name, w, h, first, last, stem, suffix},
    UI_IMAGE_STRIPS(STRIP_RULE)
#undef STRIP_RULE
};

struct SingleRule {
    const char *name;
    int32_t designWidth, designHeight;
};

constexpr SingleRule SINGLE_RULES[UI_IMAGE_SINGLE_COUNT] = {
#define SINGLE_RULE(id, name, w, h) {name, w, h},
    UI_IMAGE_SINGLES(SINGLE_RULE)
#undef SINGLE_RULE
};

const char SINGLE_FILE_STEM[] = "LathemoorFX";

// Where each strip's frames begin in the image table.
struct StripStarts {
    int32_t index[UI_IMAGE_STRIP_COUNT];
};

constexpr StripStarts MakeStripStarts() {
    StripStarts starts = {};
    int32_t next = 0;
    for (int32_t s = 0; s < UI_IMAGE_STRIP_COUNT; s++) {
        starts.index[s] = next;
        next += STRIP_RULES[s].lastFrame - STRIP_RULES[s].firstFrame + 1;
    }
    return starts;
}

constexpr StripStarts STRIP_STARTS = MakeStripStarts();

// ---- names: "CheckboxOn", "Slider/49" ----

enum { NAME_CAPACITY = 32 };

struct NameTable {
    char32_t text[UI_IMAGE_COUNT][NAME_CAPACITY];
};

constexpr int32_t TextLength(const char *text) {
    int32_t length = 0;
    while (text[length]) length++;
    return length;
}

// name, then "/" and the frame number when number is not negative.
constexpr void WriteName(char32_t *out, const char *name, int32_t number) {
    int32_t n = 0;
    for (; name[n]; n++) out[n] = (unsigned char)name[n];
    if (number < 0) return;
    out[n++] = U'/';
    if (number >= 100) out[n++] = U'0' + number / 100;
    if (number >= 10) out[n++] = U'0' + number / 10 % 10;
    out[n++] = U'0' + number % 10;
}

constexpr NameTable MakeNames() {
    NameTable names = {};
    int32_t i = 0;
    for (const StripRule &strip : STRIP_RULES) {
        for (int32_t frame = strip.firstFrame; frame <= strip.lastFrame; frame++) {
            WriteName(names.text[i++], strip.name, frame);
        }
    }
    for (const SingleRule &single : SINGLE_RULES) WriteName(names.text[i++], single.name, -1);
    return names;
}

constexpr bool NamesFit() {
    for (const StripRule &strip : STRIP_RULES)
        if (TextLength(strip.name) + 4 >= NAME_CAPACITY) return false;
    for (const SingleRule &single : SINGLE_RULES)
        if (TextLength(single.name) >= NAME_CAPACITY) return false;
    return true;
}
static_assert(NamesFit(), "an image name with its frame number and terminator must fit NAME_CAPACITY");

constexpr NameTable NAMES = MakeNames();

// ---- the images and rows ----

struct ImageTable {
    UIImage image[UI_IMAGE_COUNT];
};

constexpr UIImage MakeImage(int32_t designWidth, int32_t designHeight, const char32_t *name) {
    return UIImage{designWidth, designHeight, designWidth, designHeight, 0, 0, nullptr, name, nullptr, 0, 100};
}

constexpr ImageTable MakeImages() {
    ImageTable table = {};
    int32_t i = 0;
    for (const StripRule &strip : STRIP_RULES) {
        for (int32_t frame = strip.firstFrame; frame <= strip.lastFrame; frame++, i++) {
            table.image[i] = MakeImage(strip.designWidth, strip.designHeight, NAMES.text[i]);
        }
    }
    for (const SingleRule &single : SINGLE_RULES) {
        table.image[i] = MakeImage(single.designWidth, single.designHeight, NAMES.text[i]);
        i++;
    }
    return table;
}

ImageTable images = MakeImages();

// The shipped rows: art drawn for 100 percent serves 1..100, art for 200
// percent serves 101..200. uiScale is held to 1..UI_SCALE_MAX (UIScaleLimit in
// toolkit/scale.h), so these two ranges serve every scale the program can be
// set to, and a larger setting draws with the 200 percent art.
struct ShippedRange {
    int32_t scaleMin, scaleMax;   // scaleMax is also the art's scale and its folder's name
};

constexpr ShippedRange SHIPPED_RANGES[] = {{1, 100}, {101, UI_SCALE_MAX}};
constexpr int32_t RANGE_COUNT = sizeof SHIPPED_RANGES / sizeof SHIPPED_RANGES[0];
static_assert(RANGE_COUNT * UI_IMAGE_COUNT == UI_IMAGE_ROW_COUNT, "each image has a row per range");

struct RowTable {
    UIImageRow row[UI_IMAGE_ROW_COUNT];
};

constexpr RowTable MakeRows() {
    RowTable table = {};
    for (int32_t i = 0; i < UI_IMAGE_COUNT; i++) {
        for (int32_t r = 0; r < RANGE_COUNT; r++) {
            table.row[i * RANGE_COUNT + r] = UIImageRow{&images.image[i], nullptr, nullptr,
                                                        SHIPPED_RANGES[r].scaleMin,
                                                        SHIPPED_RANGES[r].scaleMax, UI_SKIN_SHIPPED};
        }
    }
    return table;
}

RowTable rows = MakeRows();
bool rowsResolved;

// ---- the cache: every image that holds pixels ----

struct ImageCache {
    UIImage **image;
    int32_t count, capacity;
};

ImageCache cache;

void CacheAdd(UIImage *image) {
    ArrayReserve(&cache.image, &cache.capacity, (size_t)cache.count + 1);
    cache.image[cache.count++] = image;
}

void CacheEmpty(void) {
    for (int32_t i = 0; i < cache.count; i++) {
        UIImage *image = cache.image[i];
        free(image->pixels);
        image->pixels = nullptr;
    }
    cache.count = 0;
}

// ---- files ----

// The embedded file of image `index` in the art folder for `artScale`:
// "res/200/lmx/LathemoorFXSynthSlider49_.png", "res/100/lmx/LathemoorFXAddButton.png".
void FormatFilePath(char *out, size_t capacity, int32_t index, int32_t artScale) {
    if (index >= UI_IMAGE_FRAME_COUNT) {
        snprintf(out, capacity, "res/%d/lmx/%s%s.png", artScale, SINGLE_FILE_STEM,
                 SINGLE_RULES[index - UI_IMAGE_FRAME_COUNT].name);
        return;
    }
    int32_t strip = UI_IMAGE_STRIP_COUNT - 1;
    while (STRIP_STARTS.index[strip] > index) strip--;
    const StripRule &rule = STRIP_RULES[strip];
    int32_t frame = rule.firstFrame + index - STRIP_STARTS.index[strip];
    snprintf(out, capacity, "res/%d/lmx/%s%d%s.png", artScale, rule.fileStem, frame, rule.fileSuffix);
}

void ResolveRows(void) {
    if (rowsResolved) return;
    rowsResolved = true;
    char path[128];
    for (UIImageRow &row : rows.row) {
        FormatFilePath(path, sizeof path, (int32_t)(row.image - images.image), row.scaleMax);
        const UIEmbeddedFile *file = UIEmbeddedFind(path);
        if (!file) continue;
        row.fileStart = file->start;
        row.fileEnd = file->start + file->size;
    }
}

// The custom skin's picture for image: "<folder>/<name>_<n>x.png", n being
// artScale / 100 (a strip frame lives in a subfolder named after the strip),
// decoded, and only when it has exactly the embedded picture's size.
uint32_t *DecodeCustom(const UIImage *image, const uint8_t *data, size_t dataSize, int32_t *width,
                       int32_t *height) {
    int32_t embeddedWidth = 0, embeddedHeight = 0;
    if (!UIImageReadPNGSize(data, dataSize, &embeddedWidth, &embeddedHeight)) return nullptr;
    if (!skinFolder) return nullptr;
    // Picture names are plain ASCII, so each character is one byte.
    char name[NAME_CAPACITY + 1];
    size_t length = 0;
    for (const char32_t *c = image->name; *c && length < NAME_CAPACITY; c++) name[length++] = (char)*c;
    name[length] = 0;
    size_t pathSize = strlen(skinFolder) + length + 32;
    char *path = (char *)malloc(pathSize);
    snprintf(path, pathSize, "%s/%s_%dx.png", skinFolder, name, image->artScale / 100);
    size_t size = 0;
    uint8_t *file = UIReadFile(path, UI_IMAGE_CUSTOM_MAX_FILE_SIZE, &size);
    free(path);
    if (!file) return nullptr;
    uint32_t *pixels = nullptr;
    bool decoded = UIImageDecodePNG(file, size, &pixels, width, height, malloc, free);
    free(file);
    if (!decoded) return nullptr;
    if (*width != embeddedWidth || *height != embeddedHeight) {
        free(pixels);
        *width = *height = 0;
        return nullptr;
    }
    return pixels;
}

}  // namespace

// ---- the tables ----

UIImage *UIImageAt(int32_t index) { return &images.image[index]; }

UIImage *UIImageGet(UIImageSingle single) { return &images.image[UI_IMAGE_FRAME_COUNT + single]; }

UIImage *UIImageFrame(UIImageStrip strip, int32_t number) {
    const StripRule &rule = STRIP_RULES[strip];
    if (number < rule.firstFrame) number = rule.firstFrame;
    if (number > rule.lastFrame) number = rule.lastFrame;
    return &images.image[STRIP_STARTS.index[strip] + number - rule.firstFrame];
}

int32_t UIImageStripFirstFrame(UIImageStrip strip) { return STRIP_RULES[strip].firstFrame; }

int32_t UIImageStripLastFrame(UIImageStrip strip) { return STRIP_RULES[strip].lastFrame; }

const UIImageRow *UIImageRowAt(int32_t index) {
    ResolveRows();
    return &rows.row[index];
}

// ---- selection and loading ----

void UISkinSelect(void) {
    ResolveRows();
    CacheEmpty();
    // Nothing stays selected from before: an image that no row serves (a skin
    // number without rows) has no file and size 0, and draws nothing.
    for (UIImage &image : images.image) {
        image.data = nullptr;
        image.dataSize = 0;
        image.width = image.height = 0;
    }
    for (const UIImageRow &row : rows.row) {
        bool skinMatches = row.skin == uiSkin || (row.skin == UI_SKIN_SHIPPED && uiSkin == UI_SKIN_CUSTOM);
        if (uiScale < row.scaleMin || uiScale > row.scaleMax || !skinMatches || !row.fileStart) continue;
        UIImage *image = row.image;
        image->artScale = row.scaleMax;
        image->data = row.fileStart;
        image->dataSize = (size_t)(row.fileEnd - row.fileStart);
        image->width = uiScale * image->designWidth / 100;
        image->height = uiScale * image->designHeight / 100;
    }
    // CheckboxOn is one pixel taller than CheckboxOff; drawn one higher, the
    // two boxes line up.
    UIImageGet(IMAGE_CHECKBOX_ON)->offsetY = -1;
}

bool UIImageEnsureLoaded(UIImage *image) {
    if (!image->data) return image->pixels != nullptr;
    const uint8_t *data = image->data;
    size_t dataSize = image->dataSize;
    image->data = nullptr;
    image->dataSize = 0;

    int32_t width = 0, height = 0;
    uint32_t *pixels = nullptr;
    if (uiSkin == UI_SKIN_CUSTOM) pixels = DecodeCustom(image, data, dataSize, &width, &height);
    if (!pixels && !UIImageDecodePNG(data, dataSize, &pixels, &width, &height, malloc, free)) {
        pixels = nullptr;
        width = height = 0;
    }
    // Art is only ever shrunk: the rows give art at or above the scale.
    if (pixels && uiScale < image->artScale) {
        int32_t shrunkWidth = 0, shrunkHeight = 0;
        uint32_t *shrunk = UIImageShrink(pixels, width, height, image->artScale, uiScale, &shrunkWidth,
                                         &shrunkHeight);
        free(pixels);
        pixels = shrunk, width = shrunkWidth, height = shrunkHeight;
    }
    image->pixels = pixels;
    image->width = pixels ? width : 0;
    image->height = pixels ? height : 0;
    if (pixels) CacheAdd(image);
    return pixels != nullptr;
}

void UIImagesFree(void) {
    UISkinSetFolder(nullptr);
    CacheEmpty();
    free(cache.image);
    cache = ImageCache{};
    for (UIImage &image : images.image) {
        image.data = nullptr;
        image.dataSize = 0;
    }
}

uint32_t *UIImageShrink(const uint32_t *pixels, int32_t width, int32_t height, int32_t artScale,
                        int32_t uiScale, int32_t *newWidth, int32_t *newHeight) {
    int32_t w = width * uiScale / artScale, h = height * uiScale / artScale;
    *newWidth = *newHeight = 0;
    if (w < 1 || h < 1) return nullptr;
    uint32_t *out = (uint32_t *)malloc((size_t)w * h * sizeof(uint32_t));
    for (int32_t y = 0; y < h; y++) {
        float sy = (float)y * (float)artScale / (float)uiScale;
        int32_t y0 = (int32_t)sy, y1 = (int32_t)(sy + 0.99f);
        if (y1 > height - 1) y1 = height - 1;
        float fy = sy - (float)y0;
        const uint32_t *row0 = pixels + (size_t)y0 * width, *row1 = pixels + (size_t)y1 * width;
        for (int32_t x = 0; x < w; x++) {
            float sx = (float)x * (float)artScale / (float)uiScale;
            int32_t x0 = (int32_t)sx, x1 = (int32_t)(sx + 0.99f);
            if (x1 > width - 1) x1 = width - 1;
            float fx = sx - (float)x0;
            uint32_t p00 = row0[x0], p01 = row0[x1], p10 = row1[x0], p11 = row1[x1];
            uint32_t result = 0;
            for (int32_t shift = 0; shift < 32; shift += 8) {
                float c00 = (float)(p00 >> shift & 0xFF) / 255.0f, c01 = (float)(p01 >> shift & 0xFF) / 255.0f;
                float c10 = (float)(p10 >> shift & 0xFF) / 255.0f, c11 = (float)(p11 >> shift & 0xFF) / 255.0f;
                float c = (c00 * (1 - fx) + c01 * fx) * (1 - fy) + (c10 * (1 - fx) + c11 * fx) * fy;
                result |= (uint32_t)(c * 255.0f) << shift;
            }
            out[(size_t)y * w + x] = result;
        }
    }
    *newWidth = w, *newHeight = h;
    return out;
}

uint8_t *UIReadFile(const char *path, size_t limit, size_t *size) {
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || (size_t)info.st_size > limit) {
        close(fd);
        return nullptr;
    }
    size_t length = (size_t)info.st_size;
    uint8_t *bytes = (uint8_t *)malloc(length + 1);
    size_t done = 0;
    while (done < length) {
        ssize_t got = read(fd, bytes + done, length - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += (size_t)got;
    }
    close(fd);
    if (done != length) {
        free(bytes);
        return nullptr;
    }
    bytes[length] = 0;
    *size = length;
    return bytes;
}
