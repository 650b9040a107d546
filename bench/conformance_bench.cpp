// Benchmarks, not tests: the two timed checks hosts make of a plug-in. A scan
// (load, entry init, factory, every descriptor, deinit, unload) should take
// under 100 ms; denormal input should cost at most twice what normal input
// costs. Prints the figures and "ok" or "over" against those bounds.
//
//   lathemoor_conformance_bench [blocks-per-run]
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <vector>

#include "tools/host/host.h"

static const double SCAN_BOUND_MS = 100.0, DENORMAL_BOUND = 2.0;
static const uint32_t BLOCK_FRAMES = 512;

static double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

// The first scan of the process is the one a host's scanner makes; the
// median of the rest shows the cost without a cold file cache.
static bool BenchScan() {
    std::vector<double> ms;
    for (int i = 0; i < 21; i++) {
        double start = Now();
        ScanPlugin(TestPluginPath());
        ms.push_back((Now() - start) * 1e3);
    }
    double first = ms[0], worst = *std::max_element(ms.begin(), ms.end());
    std::sort(ms.begin() + 1, ms.end());
    bool ok = worst < SCAN_BOUND_MS;
    printf("scan: first %.2f ms, median %.2f ms, worst %.2f ms (bound %.0f ms): %s\n", first, ms[11], worst,
           SCAN_BOUND_MS, ok ? "ok" : "over");
    return ok;
}

// Seconds for `blocks` blocks of this input.
static double Run(Instance &instance, const StereoBuffer &input, int blocks) {
    StereoBuffer output = MakeStereo(input.frames());
    double start = Now();
    for (int b = 0; b < blocks; b++) ProcessStereo(instance, input, output);
    return Now() - start;
}

// Two instances with the same chain, one fed normal noise and one noise of
// denormal size, timed in alternation; the best of five runs each.
static bool BenchDenormals(const char *name, const char *chain, int blocks) {
    std::unique_ptr<Instance> normal = StartInstance(TestPlugin()), denormal = StartInstance(TestPlugin());
    std::vector<HostEvent> events;
    for (const ParamSetting &s : ChainSettings(chain)) events.push_back(ParamValueEvent(0, s.id, s.value));
    FlushParams(*normal, events);
    FlushParams(*denormal, events);
    StereoBuffer loud = Noise(BLOCK_FRAMES, 1, 0.5f), tiny = Noise(BLOCK_FRAMES, 1, 1e-39f);
    Run(*normal, loud, blocks / 4 + 1), Run(*denormal, tiny, blocks / 4 + 1);
    double bestNormal = 1e30, bestDenormal = 1e30;
    for (int round = 0; round < 5; round++) {
        bestNormal = std::min(bestNormal, Run(*normal, loud, blocks));
        bestDenormal = std::min(bestDenormal, Run(*denormal, tiny, blocks));
    }
    double frames = double(blocks) * BLOCK_FRAMES, ratio = bestDenormal / bestNormal;
    bool ok = ratio <= DENORMAL_BOUND;
    printf("denormal input, %s: normal %.1f ns/frame, denormal %.1f ns/frame, ratio %.2f (bound %.1f): %s\n", name,
           bestNormal / frames * 1e9, bestDenormal / frames * 1e9, ratio, DENORMAL_BOUND, ok ? "ok" : "over");
    return ok;
}

int main(int argc, char **argv) {
    int blocks = argc > 1 ? atoi(argv[1]) : 400;
    if (blocks < 1) blocks = 1;
    bool ok = BenchScan();
    ok &= BenchDenormals("empty chain", "", blocks);
    ok &= BenchDenormals("eight units", "Distortion,EQ,Chorus,Phaser,Ping-Pong,Delay,Reverb,Compressor", blocks);
    ok &= BenchDenormals("gate and second instances",
                         "Trance Gate,Reverb 2,Chorus 2,Compressor 2,Distortion 2,Phaser 2,Delay 2,Ping-Pong 2",
                         blocks);
    printf("%s\n", ok ? "all ok" : "some over");
    return 0;
}
