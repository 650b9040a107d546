// lathemoor-artgen OUTDIR: draws every picture of the editor's image list at
// 100 and 200 percent and writes OUTDIR/100/lmx/*.png, OUTDIR/200/lmx/*.png
// and OUTDIR/art.list (one line per file, relative to OUTDIR's parent,
// sorted). Each file is read back with the plug-in's own decoder and compared
// with what was drawn; any mismatch of size or pixels stops the build.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "toolkit/image_list.h"
#include "toolkit/png.h"
#include "tools/artgen/art.h"

namespace {

struct ListedImage {
    const char *name;
    int32_t width, height;
    int32_t firstFrame, lastFrame;   // -1, -1 for a single image
    const char *stem, *suffix;
};

#define LISTED_STRIP(id, name, w, h, first, last, stem, suffix) {name, w, h, first, last, stem, suffix},
#define LISTED_SINGLE(id, name, w, h) {name, w, h, -1, -1, nullptr, ""},
const ListedImage LISTED[] = {UI_IMAGE_STRIPS(LISTED_STRIP) UI_IMAGE_SINGLES(LISTED_SINGLE)};
#undef LISTED_STRIP
#undef LISTED_SINGLE

const int32_t ART_SCALES[] = {100, 200};

struct Output {
    const char *root;      // OUTDIR
    const char *folder;    // its last component, which starts every line of art.list
    char **lines;
    uint64_t lineCount, lineCapacity;
    char **written;        // file names already drawn (the Bi knob strips share the Uni files)
    uint64_t writtenCount, writtenCapacity;
    uint64_t totalBytes;
};

[[noreturn]] void Fail(const char *format, const char *a, const char *b = "") {
    fprintf(stderr, "lathemoor-artgen: ");
    fprintf(stderr, format, a, b);
    fputc('\n', stderr);
    exit(1);
}

void Append(char ***list, uint64_t *count, uint64_t *capacity, const char *text) {
    if (*count == *capacity) {
        *capacity = *capacity * 2 > *count + 1 ? *capacity * 2 : *count + 1;
        *list = (char **)realloc(*list, *capacity * sizeof(char *));
    }
    (*list)[(*count)++] = strdup(text);
}

const ArtPiece *FindArt(const char *name) {
    const ArtPiece *const tables[] = {controlArt, panelArt};
    for (const ArtPiece *table : tables) {
        for (const ArtPiece *p = table; p->name; p++) {
            if (!strcmp(p->name, name)) return p;
        }
    }
    return nullptr;
}

void MakeFolder(const char *path) {
    char buffer[4096];
    snprintf(buffer, sizeof(buffer), "%s", path);
    for (char *p = buffer + 1; *p; p++) {
        if (*p != '/') continue;
        *p = 0;
        if (mkdir(buffer, 0755) && errno != EEXIST) Fail("cannot make the folder %s", buffer);
        *p = '/';
    }
    if (mkdir(buffer, 0755) && errno != EEXIST) Fail("cannot make the folder %s", buffer);
}

// Writes the file unless it already holds exactly these bytes, so a rerun
// leaves the embedded copies untouched.
void WriteIfChanged(const char *path, const uint8_t *bytes, uint64_t size) {
    FILE *f = fopen(path, "rb");
    if (f) {
        uint8_t *old = (uint8_t *)malloc(size + 1);
        uint64_t got = fread(old, 1, size + 1, f);
        fclose(f);
        bool same = got == size && !memcmp(old, bytes, size);
        free(old);
        if (same) return;
    }
    f = fopen(path, "wb");
    if (!f || fwrite(bytes, 1, size, f) != size || fclose(f)) Fail("cannot write %s", path);
}

// Draws one picture at one scale, checks the encoded file against the
// drawing with the plug-in's decoder, and writes it.
void Produce(Output *out, const ArtPiece *piece, int32_t frame, const char *file, int32_t artScale) {
    Canvas canvas;
    float scale = artScale / 100.0f;
    CanvasInit(&canvas, piece->width * artScale / 100, piece->height * artScale / 100, scale);
    piece->draw(&canvas, frame);
    uint32_t *pixels = (uint32_t *)malloc((size_t)canvas.width * canvas.height * 4);
    CanvasToPixels(&canvas, pixels, piece->opaque);

    uint8_t *bytes;
    uint64_t size;
    EncodePNG(pixels, canvas.width, canvas.height, &bytes, &size);
    uint32_t *decoded = nullptr;
    int32_t width = 0, height = 0;
    if (!UIImageDecodePNG(bytes, size, &decoded, &width, &height, malloc, free) ||
        width != canvas.width || height != canvas.height ||
        memcmp(decoded, pixels, (size_t)width * height * 4)) {
        Fail("%s does not read back as drawn at scale %s", file, artScale == 100 ? "100" : "200");
    }
    free(decoded);

    char path[4096], line[4096];
    snprintf(path, sizeof(path), "%s/%d/lmx/%s.png", out->root, artScale, file);
    snprintf(line, sizeof(line), "%s/%d/lmx/%s.png", out->folder, artScale, file);
    WriteIfChanged(path, bytes, size);
    Append(&out->lines, &out->lineCount, &out->lineCapacity, line);
    out->totalBytes += size;
    free(bytes);
    free(pixels);
    CanvasFree(&canvas);
}

bool AlreadyWritten(const Output *out, const char *file) {
    for (uint64_t i = 0; i < out->writtenCount; i++) {
        if (!strcmp(out->written[i], file)) return true;
    }
    return false;
}

int CompareLines(const void *a, const void *b) {
    return strcmp(*(char *const *)a, *(char *const *)b);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: lathemoor-artgen OUTDIR\n");
        return 2;
    }
    Output out = {};
    char root[4096];
    snprintf(root, sizeof(root), "%s", argv[1]);
    for (size_t n = strlen(root); n > 1 && root[n - 1] == '/'; n--) root[n - 1] = 0;
    out.root = root;
    const char *slash = strrchr(root, '/');
    out.folder = slash ? slash + 1 : root;
    for (int32_t artScale : ART_SCALES) {
        char folder[4096];
        snprintf(folder, sizeof(folder), "%s/%d/lmx", root, artScale);
        MakeFolder(folder);
    }
    if (!FontsLoad()) return 1;

    for (const ListedImage &image : LISTED) {
        const ArtPiece *piece = FindArt(image.name);
        if (!piece) Fail("no art for the picture %s", image.name);
        if (piece->width != image.width || piece->height != image.height) {
            char drawn[64], listed[64];
            snprintf(drawn, sizeof(drawn), "%dx%d", piece->width, piece->height);
            snprintf(listed, sizeof(listed), "%dx%d", image.width, image.height);
            fprintf(stderr, "lathemoor-artgen: %s is drawn at %s but listed at %s\n", image.name,
                    drawn, listed);
            return 1;
        }
        bool strip = image.firstFrame >= 0;
        int32_t first = strip ? image.firstFrame : 0, last = strip ? image.lastFrame : 0;
        for (int32_t frame = first; frame <= last; frame++) {
            char file[256];
            if (strip) snprintf(file, sizeof(file), "%s%d%s", image.stem, frame, image.suffix);
            else snprintf(file, sizeof(file), "LathemoorFX%s", image.name);
            if (AlreadyWritten(&out, file)) continue;
            Append(&out.written, &out.writtenCount, &out.writtenCapacity, file);
            for (int32_t artScale : ART_SCALES) Produce(&out, piece, frame, file, artScale);
        }
    }
    FontsFree();

    qsort(out.lines, out.lineCount, sizeof(char *), CompareLines);
    uint64_t listSize = 0;
    for (uint64_t i = 0; i < out.lineCount; i++) listSize += strlen(out.lines[i]) + 1;
    char *list = (char *)malloc(listSize + 1), *at = list;
    for (uint64_t i = 0; i < out.lineCount; i++) at += sprintf(at, "%s\n", out.lines[i]);
    char path[4096];
    snprintf(path, sizeof(path), "%s/art.list", root);
    WriteIfChanged(path, (const uint8_t *)list, listSize);
    printf("lathemoor-artgen: %llu files, %.2f MB\n", (unsigned long long)out.lineCount,
           out.totalBytes / 1048576.0);

    free(list);
    for (uint64_t i = 0; i < out.lineCount; i++) free(out.lines[i]);
    for (uint64_t i = 0; i < out.writtenCount; i++) free(out.written[i]);
    free(out.lines);
    free(out.written);
    return 0;
}
