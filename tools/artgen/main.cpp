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

#include <atomic>
#include <thread>

#include "toolkit/image_list.h"
#include "toolkit/png.h"
#include "vocabulary/grow.h"
#include "tools/artgen/art.h"
#include "tools/png_write.h"

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
const int32_t ART_SCALE_COUNT = 2;

// One file to draw, at both scales; the workers fill in the encoded sizes.
struct Job {
    const ArtPiece *piece;
    int32_t frame;
    char file[128];
    uint64_t bytes[ART_SCALE_COUNT];
};

struct Output {
    const char *root;      // OUTDIR
    const char *folder;    // its last component, which starts every line of art.list
    const char *fontFolder;  // FONTDIR: the DejaVu Sans faces
    Job *jobs;
    uint64_t jobCount, jobCapacity;
    std::atomic<uint64_t> nextJob;
};

[[noreturn]] void Fail(const char *format, const char *a, const char *b = "") {
    fprintf(stderr, "lathemoor-artgen: ");
    fprintf(stderr, format, a, b);
    fputc('\n', stderr);
    exit(1);
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
// drawing with the plug-in's decoder, and writes it. Answers its size.
uint64_t Produce(const Output *out, const Job *job, int32_t artScale) {
    const ArtPiece *piece = job->piece;
    Canvas canvas;
    CanvasInit(&canvas, piece->width * artScale / 100, piece->height * artScale / 100,
               artScale / 100.0f);
    piece->draw(&canvas, job->frame);
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
        Fail("%s does not read back as drawn at scale %s", job->file, artScale == 100 ? "100" : "200");
    }
    free(decoded);

    char path[4096];
    snprintf(path, sizeof(path), "%s/%d/lmx/%s.png", out->root, artScale, job->file);
    WriteIfChanged(path, bytes, size);
    free(bytes);
    free(pixels);
    CanvasFree(&canvas);
    return size;
}

// A worker takes jobs until none is left; each has its own fonts, as a
// FreeType face serves one thread at a time.
void Work(Output *out) {
    if (!FontsLoad(out->fontFolder)) Fail("cannot start FreeType%s", "");
    for (;;) {
        uint64_t i = out->nextJob.fetch_add(1);
        if (i >= out->jobCount) break;
        for (int32_t s = 0; s < ART_SCALE_COUNT; s++) {
            out->jobs[i].bytes[s] = Produce(out, &out->jobs[i], ART_SCALES[s]);
        }
    }
    FontsFree();
}

void AddJob(Output *out, const ArtPiece *piece, int32_t frame, const char *file) {
    for (uint64_t i = 0; i < out->jobCount; i++) {
        if (!strcmp(out->jobs[i].file, file)) return;   // a file shared by two strips
    }
    ArrayReserve(&out->jobs, &out->jobCapacity, out->jobCount + 1);
    Job *job = &out->jobs[out->jobCount++];
    memset(job, 0, sizeof(*job));
    job->piece = piece, job->frame = frame;
    snprintf(job->file, sizeof(job->file), "%s", file);
}

int CompareLines(const void *a, const void *b) {
    return strcmp(*(char *const *)a, *(char *const *)b);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: lathemoor-artgen OUTDIR FONTDIR\n");
        return 2;
    }
    static Output out;
    out.fontFolder = argv[2];
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

    // Single images first: the big pictures start early, so no worker is
    // left drawing one alone at the end.
    for (int32_t pass = 0; pass < 2; pass++) for (const ListedImage &image : LISTED) {
        if ((image.firstFrame >= 0) != (pass == 1)) continue;
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
            char file[128];
            if (strip) snprintf(file, sizeof(file), "%s%d%s", image.stem, frame, image.suffix);
            else snprintf(file, sizeof(file), "LathemoorFX%s", image.name);
            AddJob(&out, piece, frame, file);
        }
    }

    uint32_t threads = std::thread::hardware_concurrency();
    threads = threads < 1 ? 1 : threads > 8 ? 8 : threads;
    std::thread workers[8];
    for (uint32_t t = 1; t < threads; t++) workers[t] = std::thread(Work, &out);
    Work(&out);
    for (uint32_t t = 1; t < threads; t++) workers[t].join();

    uint64_t lineCount = out.jobCount * ART_SCALE_COUNT, totalBytes = 0;
    char **lines = (char **)malloc(lineCount * sizeof(char *));
    for (uint64_t i = 0; i < out.jobCount; i++) {
        for (int32_t s = 0; s < ART_SCALE_COUNT; s++) {
            char line[512];
            snprintf(line, sizeof(line), "%s/%d/lmx/%s.png", out.folder, ART_SCALES[s], out.jobs[i].file);
            lines[i * ART_SCALE_COUNT + s] = strdup(line);
            totalBytes += out.jobs[i].bytes[s];
        }
    }
    qsort(lines, lineCount, sizeof(char *), CompareLines);
    uint64_t listSize = 0;
    for (uint64_t i = 0; i < lineCount; i++) listSize += strlen(lines[i]) + 1;
    char *list = (char *)malloc(listSize + 1), *at = list;
    for (uint64_t i = 0; i < lineCount; i++) at += sprintf(at, "%s\n", lines[i]);
    char path[4096];
    snprintf(path, sizeof(path), "%s/art.list", root);
    WriteIfChanged(path, (const uint8_t *)list, listSize);
    printf("lathemoor-artgen: %llu files, %.2f MB\n", (unsigned long long)lineCount,
           totalBytes / 1048576.0);

    free(list);
    for (uint64_t i = 0; i < lineCount; i++) free(lines[i]);
    free(lines);
    free(out.jobs);
    return 0;
}
