// Benchmarks, not tests: ns per stereo frame of each chain at each processor
// level this machine runs, with 32-, 512- and 2,048-frame host blocks, the
// realtime factor at 48 kHz, and the cost of one CLAP process call.
//
//   lathemoor_bench [seconds-of-audio-per-case]
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <random>
#include <vector>

#include "engine/backend.h"
#include "engine/dispatch.h"
#include "engine/engine.h"
#include "engine/state.h"
#include "vocabulary/params.h"
#include "store/curves.h"
#include "tools/host/host.h"

static double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

struct Chain {
    const char *name;
    void (*setUp)(float *value);
};

static void EmptyChain(float *value) {}
static void PolyDelayChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitPolyrhythmicDelay);
    value[PARAM_DELAY_ENABLE] = 1.0f;
}
static void PingPongChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitPingPongDelay);
    value[PARAM_PINGPONG_ENABLE] = 1.0f;
}
static void PhaserChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitPhaser);
    value[PARAM_PHASER_ENABLE] = 1.0f;
}
static void ChorusChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitChorus);
    value[PARAM_CHORUS_ENABLE] = 1.0f;
}

static void EqChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitEQ);
    value[PARAM_EQ_ENABLE] = 1.0f;
}
static void TranceGateChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitTranceGate);
    value[PARAM_GATE_ENABLE] = 1.0f;
}
static void CompressorChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitCompressor);
    value[PARAM_COMP_ENABLE] = 1.0f;
}

// The showcase chain: eight units, all enabled at their defaults.
static void WholeChain(float *value) {
    const int kinds[SLOT_COUNT] = {UnitDistortion,     UnitEQ,       UnitChorus,
                                   UnitPhaser,         UnitPingPongDelay,
                                   UnitPolyrhythmicDelay, UnitReverb, UnitCompressor};
    const int enable[UNIT_KINDS] = {PARAM_DELAY_ENABLE,  PARAM_PINGPONG_ENABLE, PARAM_DIST_ENABLE,
                                    PARAM_CHORUS_ENABLE, PARAM_PHASER_ENABLE,   PARAM_EQ_ENABLE,
                                    PARAM_GATE_ENABLE,   PARAM_REVERB_ENABLE,   PARAM_COMP_ENABLE};
    for (int s = 0; s < SLOT_COUNT; s++) {
        value[PARAM_EFFECT_SLOT + s] = ParamEncodeWhole(kinds[s]);
        value[enable[kinds[s]]] = 1.0f;
    }
}

// The Reverb with one algorithm (0 Hall, 1 Room, 2 Plate, 3 Church, 4 Atmosphere).
template <int algorithm>
static void ReverbChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitReverb);
    value[PARAM_REVERB_ENABLE] = 1.0f;
    value[PARAM_REVERB_ALGORITHM] = ParamEncodeWhole(algorithm);
}

// The Multiband Distortion in one mode: 4 "Hard", plain arithmetic that runs
// as a vector loop; 5 "Triple", a library tanhf per sample, the dearest.
template <int mode>
static void DistortionChain(float *value) {
    value[PARAM_EFFECT_SLOT] = ParamEncodeWhole(UnitDistortion);
    value[PARAM_DIST_ENABLE] = 1.0f;
    value[PARAM_DIST_MODE] = ParamEncodeWhole(mode);
}

// Nine destinations on modulatable rows, each moved by the whole output.
static void ModulationChain(float *value) {
    const int rows[9] = {PARAM_POST_GAIN,     PARAM_DELAY_MIX,  PARAM_DELAY_MIX + 1,
                         PARAM_DELAY_MIX + 2, PARAM_PINGPONG_MIX, PARAM_PHASER_MIX,
                         PARAM_CHORUS_MIX,    PARAM_REVERB_MIX, PARAM_GATE_MIX};
    for (int k = 0; k < 9; k++) {
        value[PARAM_MOD_DESTINATION + k] = ParamEncodeWhole(rows[k]);
        value[PARAM_MOD_AMOUNT + k] = 1.0f;
    }
}

static const Chain CHAINS[] = {
    {"empty chain", EmptyChain},
    {"modulation (3 x 3)", ModulationChain},
    {"Polyrhythmic Delay", PolyDelayChain},
    {"Ping-Pong Delay", PingPongChain},
    {"Phaser", PhaserChain},
    {"Chorus", ChorusChain},
    {"Parametric EQ", EqChain},
    {"Trance Gate", TranceGateChain},
    {"Distortion (cheap mode)", DistortionChain<4>},
    {"Distortion (expensive mode)", DistortionChain<5>},
    {"Reverb Hall", ReverbChain<0>},
    {"Reverb Room", ReverbChain<1>},
    {"Reverb Plate", ReverbChain<2>},
    {"Reverb Church", ReverbChain<3>},
    {"Reverb Atmosphere", ReverbChain<4>},
    {"Compressor", CompressorChain},
    {"whole chain (8 units)", WholeChain},
};

// Runs `seconds` of noise through one build in host blocks of `block` frames
// (cut into chunks of at most 2,048 as the driver does); the best of three.
static double NsPerFrame(const Chain &chain, int level, int block, double seconds) {
    const float rate = 48000.0f;
    int frames = (int)(seconds * rate);
    std::vector<float> input(2 * frames), wet(2 * ENGINE_MAX_FRAMES);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    for (float &s : input) s = uniform(random);
    double best = 1e30;
    for (int round = 0; round < 3; round++) {
        EngineContext context = {};
        MeterBlock meter = {};
        context.sampleRate = rate;
        context.samplesPerBeat = 24000.0f;
        context.meter = &meter;
        for (int i = 0; i < PARAM_COUNT; i++) context.liveValue[i] = PARAM_INFO[i].defaultValue;
        chain.setUp(context.liveValue);
        pthread_mutex_init(&context.engineLock, nullptr);
        CurvesReset(&context.curves);  // as every instance has them from init
        const EngineBackend *backend = EngineBackendOfLevel(level);
        double start = Now();
        for (int at = 0; at < frames; at += block) {
            int n = frames - at < block ? frames - at : block;
            for (int done = 0; done < n; done += ENGINE_MAX_FRAMES) {
                int m = n - done < ENGINE_MAX_FRAMES ? n - done : ENGINE_MAX_FRAMES;
                context.dryBlock = &input[2 * (at + done)];
                backend->process(&context, wet.data(), m);
            }
        }
        double elapsed = Now() - start;
        backend->destroy(&context);
        CurvesFree(&context.curves);
        pthread_mutex_destroy(&context.engineLock);
        if (elapsed < best) best = elapsed;
    }
    return best * 1e9 / frames;
}

// One CLAP process call of `block` frames through the installed or built
// plug-in, empty chain, called the way a host does (buffers and event lists
// made once), with no events and with a value event for each of the 231
// parameters: the driver's own cost per call.
struct BenchEvents {
    std::vector<HostEvent> events;
};
static uint32_t BenchSize(const clap_input_events_t *list) {
    return (uint32_t)((BenchEvents *)list->ctx)->events.size();
}
static const clap_event_header_t *BenchGet(const clap_input_events_t *list, uint32_t index) {
    return &((BenchEvents *)list->ctx)->events[index].header;
}
static bool BenchPush(const clap_output_events_t *list, const clap_event_header_t *event) {
    return true;
}

static void ProcessCallCost(double seconds) {
    PluginLibrary &library = *OpenPlugin(DefaultPluginPath()).release();
    printf("\nCLAP process call through %s (empty chain)\n", library.path.c_str());
    printf("%8s %14s %24s\n", "block", "ns per call", "ns per call, 231 events");
    for (uint32_t block : {1u, 32u, 512u}) {
        std::unique_ptr<Instance> instance = StartInstance(library);
        StereoBuffer in = Noise(block, 1), out = MakeStereo(block);
        float *ins[2] = {in.left.data(), in.right.data()}, *outs[2] = {out.left.data(), out.right.data()};
        clap_audio_buffer_t input = {ins, nullptr, 2, 0, 0}, output = {outs, nullptr, 2, 0, 0};
        BenchEvents none, all;
        for (clap_id id = 0; id < PARAM_COUNT; id++)
            all.events.push_back(ParamValueEvent(0, id, PARAM_INFO[id].defaultValue));
        double cost[2];
        for (int withEvents = 0; withEvents < 2; withEvents++) {
            clap_input_events_t inEvents = {withEvents ? &all : &none, BenchSize, BenchGet};
            clap_output_events_t outEvents = {nullptr, BenchPush};
            clap_process_t process = {0, block, nullptr, &input, &output, 1, 1, &inEvents, &outEvents};
            int calls = (int)(seconds * 48000.0 / block) + 1000;
            double start = Now();
            for (int i = 0; i < calls; i++) instance->plugin->process(instance->plugin, &process);
            cost[withEvents] = (Now() - start) * 1e9 / calls;
        }
        printf("%8u %14.0f %24.0f\n", block, cost[0], cost[1]);
    }
}

int main(int argc, char **argv) {
    double seconds = argc > 1 ? atof(argv[1]) : 10.0;
    EngineDetectProcessor();
    int top = EngineSelectedLevel();
    printf("ns per stereo frame at 48 kHz (%.0f s of noise per case, best of 3); "
           "realtime factor in brackets\n", seconds);
    printf("%-22s %5s %16s %16s %16s\n", "chain", "level", "block 32", "block 256", "block 2048");
    for (const Chain &chain : CHAINS) {
        for (int level = 1; level <= top; level++) {
            printf("%-22s %5d", chain.name, level);
            for (int block : {32, 256, 2048}) {
                double ns = NsPerFrame(chain, level, block, seconds);
                printf(" %6.2f (%6.0fx)", ns, 1e9 / 48000.0 / ns);
            }
            printf("\n");
        }
    }
    ProcessCallCost(seconds);
    return 0;
}
