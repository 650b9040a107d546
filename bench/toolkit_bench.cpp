// The interface toolkit's costs that a user feels: decoding the embedded art
// (at an editor's first paint and after every change of scale or skin),
// drawing film-strip frames (every dial, every paint), reading the interface
// file (every opening of the editor), the editor's full repaint, and what an
// idle timer tick sends to the X server (with DISPLAY set). Fastest of a few
// runs.
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <vector>

#include "editor/editor.h"
#include "toolkit/embedded.h"
#include "toolkit/images.h"
#include "toolkit/interface_file.h"
#include "toolkit/painter.h"
#include "toolkit/scale.h"
#include "store/curves.h"
#include "toolkit/window.h"
#include "vocabulary/params.h"
#include "vocabulary/context.h"

static double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

static const int RUNS = 5;

// Every image decoded (and shrunk where the scale asks), from a fresh selection.
static double DecodeAll(int32_t scale) {
    double best = 1e30;
    for (int run = 0; run < RUNS; run++) {
        uiScale = scale;
        UISkinSelect();
        double start = Now();
        for (int32_t i = 0; i < UI_IMAGE_COUNT; i++) UIImageEnsureLoaded(UIImageAt(i));
        double seconds = Now() - start;
        if (seconds < best) best = seconds;
    }
    return best;
}

// Each frame of the twelve dial strips drawn once into a window-sized buffer,
// pictures already decoded: the drawing alone.
static double PaintDialFrames(int32_t scale, int32_t *count) {
    UIPainter painter = {};
    painter.width = 1068 * scale / 100;
    painter.height = 573 * scale / 100;
    std::vector<uint32_t> pixels((size_t)painter.width * painter.height, 0xFF202020);
    painter.pixels = pixels.data();
    double best = 1e30;
    for (int run = 0; run < RUNS; run++) {
        *count = 0;
        double start = Now();
        for (int32_t strip = 0; strip < UI_IMAGE_STRIP_COUNT; strip++) {
            if (strip == STRIP_SLIDER) continue;
            for (int32_t n = UIImageStripFirstFrame((UIImageStrip)strip);
                 n <= UIImageStripLastFrame((UIImageStrip)strip); n++) {
                // Dials stand on a grid of design positions, as in the rack.
                int32_t x = 42 + 56 * (*count % 17), y = 60 + 60 * (*count / 17 % 8);
                UIDrawImage(&painter, UIImageFrame((UIImageStrip)strip, n), x, y, true);
                ++*count;
            }
        }
        double seconds = Now() - start;
        if (seconds < best) best = seconds;
    }
    return best;
}

// The program takes every kind the toolkit offers, so all 321 elements are made.
static int32_t TakeEveryKind(Editor *, UIWindow *, Plugin *, uint32_t, int64_t, void *) { return 1; }

// The shipped interface file parsed into a fresh window, as at an editor's opening.
static double ParseInterfaceFile(uint64_t *count) {
    const UIEmbeddedFile *file = UIEmbeddedFind("lathemoorfx_ui.txt");
    if (!file) return 0;
    const char *text = (const char *)file->start;
    double best = 1e30;
    for (int run = 0; run < RUNS * 20; run++) {
        UIWindow window = {};
        window.editorMessage = TakeEveryKind;
        double start = Now();
        UIInterfaceFileParse(&window, text, text + file->size);
        double seconds = Now() - start;
        if (seconds < best) best = seconds;
        *count = window.templateCount;
        UIWindowFree(&window);
    }
    return best;
}

// An instance's values with a full rack of eight units switched on (the trance
// gate and the compressor among them, so their views draw), the compressor's
// meters and the modulators live, and default curves.
static EngineContext *FullRack() {
    static EngineContext editor;
    static MeterBlock meter;
    if (editor.meter) return &editor;
    for (int i = 0; i < PARAM_COUNT; i++) editor.editorValue[i] = PARAM_INFO[i].defaultValue;
    const int32_t kinds[8] = {1, 2, 3, 4, 5, 6, 7, 8};   // Ping-Pong to Compressor
    const int32_t enables[9] = {PARAM_DELAY_ENABLE, PARAM_PINGPONG_ENABLE, PARAM_DIST_ENABLE,
                                PARAM_CHORUS_ENABLE, PARAM_PHASER_ENABLE, PARAM_EQ_ENABLE,
                                PARAM_GATE_ENABLE, PARAM_REVERB_ENABLE, PARAM_COMP_ENABLE};
    for (int slot = 0; slot < 8; slot++) {
        editor.editorValue[PARAM_EFFECT_SLOT + slot] = ParamEncodeWhole(kinds[slot]);
        editor.editorValue[enables[kinds[slot]]] = 1.0f;
    }
    meter.audioActive = 1;
    meter.compressorInputDb[0] = -18.0f, meter.compressorOutputDb[0] = -14.0f;
    for (int m = 0; m < 3; m++) meter.modulatorUsed[m] = 1, meter.modPhase[m] = 0.3f * m;
    editor.meter = &meter;
    CurvesReset(&editor.curves);
    return &editor;
}

// The editor's whole paint pass into a window-sized buffer, with the shipped
// file's elements, a full rack and the art decoded.
static double FullRepaint(int32_t scale) {
    uiScale = scale;
    UISkinSelect();
    EngineContext &editor = *FullRack();
    UIWindow window = {};
    int32_t width, height;
    UIWindowSize(&width, &height);
    std::vector<uint32_t> pixels((size_t)width * height);
    window.painter = {width, height, pixels.data(), nullptr};
    window.editorMessage = EditorMessage;
    EditorInstall();
    const UIEmbeddedFile *file = UIEmbeddedFind("lathemoorfx_ui.txt");
    if (file) UIInterfaceFileParse(&window, (const char *)file->start, (const char *)file->start + file->size);
    UIWindowStart(&window);
    UIPaintAll(&editor, &window, nullptr, false);   // decodes the art
    double best = 1e30;
    for (int run = 0; run < RUNS * 4; run++) {
        double start = Now();
        UIPaintAll(&editor, &window, nullptr, false);
        double seconds = Now() - start;
        if (seconds < best) best = seconds;
    }
    size_t drawn = 0;
    for (uint32_t pixel : pixels) drawn += pixel != 0;
    if (drawn < pixels.size() / 2) printf("  (the picture is missing: %zu pixels drawn)\n", drawn);
    UIWindowFree(&window);
    return best;
}

// Timer ticks with nothing changed on an open editor: how many full buffers
// go to the server (the first tick after opening draws and shows once).
static void IdleTicks() {
    uiScale = 100;
    UISkinSelect();
    static EngineContext editor;
    static UIHostWindow host;
    host.editor = &editor;
    host.ui.editorMessage = EditorMessage;
    UIWindowStart(&host.ui);
    if (!UIHostWindowOpen(&host)) {
        printf("idle ticks: no X server at DISPLAY, not measured\n");
        UIWindowFree(&host.ui);
        return;
    }
    const int TICKS = 100;
    double start = Now();
    for (int tick = 0; tick < TICKS; tick++) {
        UIHostWindowPaint(&host, true);
        if (UIHostWindowPending(&host)) UIPumpEvents(&host);
    }
    double seconds = Now() - start;
    printf("idle ticks: %d ticks sent %llu buffers to the server, %.1f us per tick\n", TICKS,
           (unsigned long long)host.putImageCount, seconds * 1e6 / TICKS);
    UIWindowFree(&host.ui);
    UIHostWindowClose(&host);
}

int main() {
    uint64_t elements = 0;
    double parse = ParseInterfaceFile(&elements);
    printf("parsing the interface file (fastest of %d): %llu elements in %.3f ms\n", RUNS * 20,
           (unsigned long long)elements, parse * 1e3);
    printf("decoding all %d images (fastest of %d):\n", (int)UI_IMAGE_COUNT, RUNS);
    for (int32_t scale : {100, 125, 150, 200}) {
        printf("  at %3d %%: %7.1f ms\n", scale, DecodeAll(scale) * 1e3);
    }
    printf("drawing every dial frame once, decoded (fastest of %d):\n", RUNS);
    for (int32_t scale : {100, 200}) {
        DecodeAll(scale);
        int32_t count = 0;
        double seconds = PaintDialFrames(scale, &count);
        printf("  at %3d %%: %d frames in %6.3f ms, %5.2f us per frame\n", scale, count,
               seconds * 1e3, seconds * 1e6 / count);
    }
    printf("the editor's full repaint, a full rack with its views live (fastest of %d):\n", RUNS * 4);
    for (int32_t scale : {100, 200}) {
        printf("  at %3d %%: %6.3f ms\n", scale, FullRepaint(scale) * 1e3);
    }
    IdleTicks();
    UIImagesFree();
    return 0;
}
