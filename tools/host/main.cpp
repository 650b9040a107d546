// lathemoor-host: describe the plug-in, run a WAV file through it, render the
// demo piece, write a .synthpatch file, index presets as a host does, or
// open the editor in a window of its own and take pictures of it.
#include <errno.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>
#include <atomic>
#include <cmath>
#include <optional>
#include <string>
#include <thread>
#include <vector>
#include "tools/host/art_sheet.h"
#include "tools/host/banks.h"
#include "tools/host/host.h"
#include "tools/host/samples.h"
#include "tools/png_write.h"

// ---- the demo ----

// The showcase chain of `demo`, slot 1 first, and the settings it starts
// from (by parameter name). Units join as the engine gains them, e.g.
//     "Chorus", "Ping-Pong Delay", "Reverb", "Compressor"
// with {"Reverb Mix", 0.25}, {"Ping-Pong Delay Mix", 0.2}.
const std::vector<const char *> DEMO_CHAIN = {
    "Multiband Distortion", "Parametric EQ", "Chorus", "Phaser",
    "Polyrhythmic Delay",   "Reverb",        "Compressor",
};
// Modulator 1 (a triangle, one cycle a beat by default) sweeps the phaser's
// mix; destination values are coded as (row + 1) / 65536.
const std::vector<std::pair<const char *, double>> DEMO_SETTINGS = {
    {"Distortion Mix", 0.35},
    {"EQ Low Gain", 0.58},
    {"EQ High Gain", 0.56},
    {"Chorus Mix", 0.35},
    {"Phaser Mix", 0.3},
    {"Polyrhythmic Delay Mix", 0.22},
    {"Polyrhythmic Delay Mix 2", 0.0},
    {"Reverb Mix", 0.2},
    {"Compressor Threshold", 0.6},
    {"Modulator 1 Destination 1", (64 + 1) / 65536.0},
    {"Modulator 1 Amount 1", 0.8},
    {"Post Gain", 0.45},
};
const double DEMO_TEMPO = 120.0;
const double DEMO_SECONDS = 8.0;
const uint32_t DEMO_RATE = 48000;
const char *const DEMO_OUTPUT = "demo-out.wav";

// ---- rendering ----

const uint32_t DEFAULT_BLOCK = 512;
const uint32_t LARGEST_BLOCK = 1 << 20;
const uint32_t LARGEST_RATE = 1536000;
const double PROGRESS_AFTER_SECONDS = 30.0;  // shorter files render without a bar
const char *const DEFAULT_PATCH_NAME = "untitled";

struct RenderJob {
    std::string pluginPath;
    StereoBuffer input;
    uint32_t sampleRate = 0;
    std::string chain;
    std::vector<std::pair<std::string, std::string>> sets;  // name or id, value text
    double tempo = 0;  // 0: no transport
    uint32_t block = DEFAULT_BLOCK;
    std::string patchPath;  // a .synthpatch loaded through the plug-in first, or empty
    std::string stateIn;    // a clap.state stream loaded first, or empty
    std::string stateOut;   // where the state goes after the render, or empty
    std::vector<std::pair<int, CurveImage>> curves;  // modulator 0..2 and its new curve
    bool meters = false;    // print the compressors' levels as the render goes
};

struct RenderOutcome {
    StereoBuffer output;
    double wallSeconds = 0;
    double audioSeconds = 0;
};

static double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

static double ParseNumber(const std::string &text, const char *what) {
    char *end = nullptr;
    errno = 0;
    double value = strtod(text.c_str(), &end);
    if (text.empty() || *end || errno || !std::isfinite(value))
        throw HostError(std::string("bad ") + what + " \"" + text + "\"");
    return value;
}

static uint32_t ParseCount(const std::string &text, const char *what, uint32_t largest) {
    double value = ParseNumber(text, what);
    if (value < 1 || value > largest || value != floor(value))
        throw HostError(std::string("bad ") + what + " \"" + text + "\" (1 to " +
                        std::to_string(largest) + ")");
    return uint32_t(value);
}

static int64_t ParseWhole(const std::string &text, const char *what, int64_t lowest, int64_t highest) {
    double value = ParseNumber(text, what);
    if (value < (double)lowest || value > (double)highest || value != floor(value))
        throw HostError(std::string("bad ") + what + " \"" + text + "\"");
    return (int64_t)value;
}

// The value events of the job's chain and settings, for frame 0.
static std::vector<HostEvent> SettingEvents(const Instance &instance, const RenderJob &job) {
    std::vector<HostEvent> events;
    for (const ParamSetting &setting : ChainSettings(job.chain))
        events.push_back(ParamValueEvent(0, setting.id, setting.value));
    for (const auto &set : job.sets) {
        clap_id id = FindParam(instance, set.first);
        if (id == CLAP_INVALID_ID) throw HostError("no parameter \"" + set.first + "\"");
        double value = ParseNumber(set.second, "parameter value");
        if (value < 0 || value > 1)
            throw HostError("value of \"" + set.first + "\" outside 0..1: " + set.second);
        events.push_back(ParamValueEvent(0, id, value));
    }
    return events;
}

// What the job starts from: its state, then its patch file, each as a host
// would hand it over. The settings come on top of both.
// "N:x,y,t;x,y,t;..." — modulator N (1 to 3) and its points; the tension may
// be left out and is then 0 (a straight segment).
static std::pair<int, CurveImage> ParseCurve(const std::string &text) {
    size_t colon = text.find(':');
    if (colon == std::string::npos || colon != 1 || text[0] < '1' || text[0] > '3')
        throw HostError("--curve wants N:x,y,t;x,y,t;... with N from 1 to 3");
    CurveImage curve;
    std::string rest = text.substr(2);
    for (size_t at = 0; at <= rest.size();) {
        size_t end = rest.find(';', at);
        if (end == std::string::npos) end = rest.size();
        std::string point = rest.substr(at, end - at);
        at = end + 1;
        if (point.empty()) continue;
        float x = 0, y = 0, tension = 0;
        char extra;
        int n = sscanf(point.c_str(), "%f,%f,%f%c", &x, &y, &tension, &extra);
        if (n != 2 && n != 3) throw HostError("--curve: a point is x,y or x,y,tension: " + point);
        curve.points.push_back({x, y, tension});
    }
    if (curve.points.size() < 2) throw HostError("--curve: a curve needs at least two points");
    return {text[0] - '1', curve};
}

// The curves reach the plug-in the one way a host has: a state stream whose
// curve block carries them, the values kept as they are.
static void LoadCurves(const Instance &instance, const RenderJob &job) {
    if (job.curves.empty()) return;
    std::optional<std::vector<uint8_t>> state = SaveState(instance);
    if (!state || state->size() <= STATE_CURVES_AT) throw HostError("the plug-in could not save its state");
    std::vector<CurveImage> curves(3);
    size_t at = STATE_CURVES_AT + 1;  // the plug-in writes the marked form
    for (CurveImage &curve : curves) {
        curve.loopStart = GetLE<uint16_t>(*state, at + 2);
        uint16_t count = GetLE<uint16_t>(*state, at + 4);
        at += 6;
        for (int p = 0; p < count; p++, at += 12)
            curve.points.push_back({GetLE<float>(*state, at), GetLE<float>(*state, at + 4),
                                    GetLE<float>(*state, at + 8)});
    }
    for (const auto &given : job.curves) curves[given.first] = given.second;
    std::vector<uint8_t> bytes(state->begin(), state->begin() + STATE_CURVES_AT);
    std::vector<uint8_t> block = CurveBlockBytes(curves);
    bytes.insert(bytes.end(), block.begin(), block.end());
    if (!LoadState(instance, bytes)) throw HostError("the plug-in refused the curves");
}

static void LoadStartingPoint(const Instance &instance, const RenderJob &job) {
    if (!job.stateIn.empty() && !LoadState(instance, ReadFileBytes(job.stateIn)))
        throw HostError(job.stateIn + ": the plug-in refused this state");
    if (!job.patchPath.empty() && !LoadPresetFile(instance, job.patchPath))
        throw HostError(job.patchPath + ": the plug-in could not load this patch");
    LoadCurves(instance, job);
}

static std::vector<uint8_t> StateOf(const Instance &instance) {
    std::optional<std::vector<uint8_t>> state = SaveState(instance);
    if (!state) throw HostError("the plug-in could not save its state");
    return *state;
}

// The compressors in the chain now, read back from the Effect Slots: the
// instance (0..2) of each slot that holds one, in slot order.
static std::vector<uint32_t> CompressorsInChain(const Instance &instance) {
    const clap_id FIRST_SLOT = 223;
    const int SLOTS = 8, KINDS = 9, COMPRESSOR = 8;
    std::vector<uint32_t> found;
    for (int slot = 0; slot < SLOTS; slot++) {
        std::optional<double> value = GetParamValue(instance, FIRST_SLOT + slot);
        if (!value) continue;
        int id = int(float(*value) * 65536.0f - 1.0f);
        if (id >= 0 && id < 3 * KINDS && id % KINDS == COMPRESSOR) found.push_back(id / KINDS);
    }
    return found;
}

static std::string Decibels(float db) {
    if (std::isinf(db) && db < 0) return "-inf";
    char text[32];
    snprintf(text, sizeof text, "%.1f", db);
    return text;
}

// One line of levels at `seconds` into the render, as the editor's meter
// would show them then.
static void PrintMeters(const Instance &instance, double seconds) {
    std::string line;
    for (uint32_t unit : CompressorsInChain(instance)) {
        std::optional<CompressorLevels> levels = ReadCompressorLevels(instance, unit);
        if (!levels) continue;
        line += std::string(line.empty() ? "" : ", ") + "Compressor" +
                (unit ? " " + std::to_string(unit + 1) : "") + " in " +
                Decibels(levels->inputDb) + " dB out " + Decibels(levels->outputDb) + " dB";
    }
    printf("meters %7.2f s: %s\n", seconds, line.empty() ? "no compressor in the chain" : line.c_str());
}

static void ShowProgress(uint32_t done, uint32_t total, int *shown) {
    int percent = total ? int(uint64_t(done) * 100 / total) : 100;
    if (percent == *shown) return;
    *shown = percent;
    char bar[41];
    int filled = percent * 40 / 100;
    for (int i = 0; i < 40; i++) bar[i] = i < filled ? '#' : '.';
    bar[40] = 0;
    fprintf(stderr, "\r[%s] %3d%%", bar, percent);
    fflush(stderr);
}

static RenderOutcome Render(const RenderJob &job) {
    std::unique_ptr<PluginLibrary> library = OpenPlugin(job.pluginPath);
    RenderOutcome outcome;
    {
        std::unique_ptr<Instance> instance = CreateInstance(*library);
        LoadStartingPoint(*instance, job);
        std::vector<HostEvent> firstEvents = SettingEvents(*instance, job);
        uint32_t frames = job.input.frames();
        outcome.output = MakeStereo(frames);
        outcome.audioSeconds = double(frames) / job.sampleRate;
        bool progress = isatty(2) && outcome.audioSeconds > PROGRESS_AFTER_SECONDS;
        int shown = -1;

        if (job.meters && !RequestMeters(*instance, true))
            throw HostError("the plug-in offers no meters (orwen.meters)");
        uint32_t nextReport = job.sampleRate;  // a line of levels every second, and at the end

        double started = Now();
        Activate(*instance, job.sampleRate, job.block);
        for (uint32_t at = 0; at < frames; at += job.block) {
            ProcessRequest request;
            request.frames = frames - at < job.block ? frames - at : job.block;
            request.input[0] = const_cast<float *>(job.input.left.data()) + at;
            request.input[1] = const_cast<float *>(job.input.right.data()) + at;
            request.output[0] = outcome.output.left.data() + at;
            request.output[1] = outcome.output.right.data() + at;
            request.steadyTime = at;
            if (at == 0) request.events = firstEvents;
            clap_event_transport_t transport = MakeTransport(job.tempo, true, at, job.sampleRate);
            if (job.tempo > 0) request.transport = &transport;
            if (Process(*instance, request).status == CLAP_PROCESS_ERROR)
                throw HostError("the plug-in reported a processing error");
            if (progress) ShowProgress(at + request.frames, frames, &shown);
            uint32_t done = at + request.frames;
            if (job.meters && (done >= nextReport || done == frames)) {
                PrintMeters(*instance, double(done) / job.sampleRate);
                while (nextReport <= done) nextReport += job.sampleRate;
            }
        }
        if (progress) fprintf(stderr, "\r%60s\r", "");
        Deactivate(*instance);
        outcome.wallSeconds = Now() - started;
        if (!job.stateOut.empty()) WriteFileBytes(job.stateOut, StateOf(*instance));
    }
    ClosePlugin(library.get());
    return outcome;
}

static void PrintRealtime(const RenderOutcome &outcome) {
    double wall = outcome.wallSeconds > 1e-9 ? outcome.wallSeconds : 1e-9;
    printf("rendered %.2f s of audio in %.3f s: %.1fx realtime\n", outcome.audioSeconds,
           outcome.wallSeconds, outcome.audioSeconds / wall);
}

// ---- commands ----

static void Usage(FILE *to) {
    fprintf(to,
            "usage: lathemoor-host [--plugin PATH] COMMAND\n"
            "  info                      describe the plug-in: descriptor, extensions, ports,\n"
            "                            parameters\n"
            "  render IN.wav OUT.wav     run a WAV file through the plug-in, write 32-bit float\n"
            "    --set NAME=VALUE        set a parameter (exact name or id) to VALUE in 0..1;\n"
            "                            repeatable\n"
            "    --chain \"A,B 2,...\"     fill Effect Slot 1.. with these units and enable them\n"
            "    --tempo BPM             send a playing transport with this tempo\n"
            "    --block N               frames per process call (default %u)\n"
            "    --rate HZ               run the plug-in at this rate (default: the file's;\n"
            "                            no resampling)\n"
            "    --patch FILE.synthpatch load this patch first (clap.preset-load)\n"
            "    --state-in FILE         load this clap.state stream first\n"
            "    --curve N:x,y,t;...     modulator N's curve (1..3), points in 0..1,\n"
            "                            tension -20..20 (may be left out)\n"
            "    --state-out FILE        save the clap.state stream after the render\n"
            "    --meters                print the compressors' input and output levels\n"
            "                            every second, as the editor's meters show them\n"
            "  save-patch OUT.synthpatch write a patch file of the settings; takes --set,\n"
            "                            --chain, --patch and --state-in as render does\n"
            "    --name NAME             the patch's name (default \"%s\")\n"
            "  presets                   index presets as a host does: locations, file types,\n"
            "                            and every patch file in the \"UserPatches\" folder\n"
            "  demo [OUT.wav]            render the built-in demo piece (default %s)\n"
            "  art-sheet OUT.png         every picture of the editor on one sheet, drawn by\n"
            "    --scale N               the plug-in's own code at N percent (1..200, default 100)\n"
            "  gui [IN.wav]              open the editor in a window; plays the file (or\n"
            "                            silence) through the plug-in in real time; takes\n"
            "                            --set, --chain, --patch, --state-in and --curve\n"
            "  bank export FOLDER OUT.synthbank\n"
            "                            a patch folder and its subfolders as one bank file\n"
            "  bank import IN.synthbank  the bank's patches into \"UserPatches\"/<name>/, its\n"
            "                            samples into the library; prints the question and\n"
            "                            goes on\n"
            "  screenshot OUT.png        the editor under DISPLAY, saved as the user sees it,\n"
            "                            after a second of the demo; takes the sound options\n"
            "    --scale N               at N percent (a temporary HOME holds the setting)\n"
            "    --click X,Y             a left click at device pixel X,Y; repeatable\n"
            "    --drag X,Y,DY           a left press at X,Y, moved by DY down, released\n"
            "  sample import IN.wav      import a WAV file into the sample library named by\n"
            "                            \"UserContentStore\"; prints the new id\n"
            "    --name N                the sample's name (default: the file's)\n"
            "    --wavetable             import it as a wavetable\n"
            "    --tag T                 a number that enters the id (default 0)\n"
            "    --subcategory S         the index's subcategory (default 0)\n"
            "The plug-in is $LATHEMOOR_PLUGIN, else ~/.clap/LathemoorFX.clap, else the one\n"
            "this build made.\n",
            DEFAULT_BLOCK, DEFAULT_PATCH_NAME, DEMO_OUTPUT);
}

static std::string FlagsText(uint32_t flags) {
    std::string text;
    struct Name {
        uint32_t bit;
        const char *name;
    };
    static const Name NAMES[] = {
        {CLAP_PARAM_IS_STEPPED, "stepped"},     {CLAP_PARAM_IS_PERIODIC, "periodic"},
        {CLAP_PARAM_IS_HIDDEN, "hidden"},       {CLAP_PARAM_IS_READONLY, "read-only"},
        {CLAP_PARAM_IS_BYPASS, "bypass"},       {CLAP_PARAM_IS_AUTOMATABLE, "automatable"},
        {CLAP_PARAM_IS_MODULATABLE, "modulatable"},
    };
    for (const Name &name : NAMES)
        if (flags & name.bit) text += (text.empty() ? "" : ",") + std::string(name.name);
    return text.empty() ? "-" : text;
}

static const char *OrNull(const char *text) { return text ? text : "(null)"; }

static void PrintPorts(const Instance &instance, bool isInput) {
    const char *way = isInput ? "in " : "out";
    if (!instance.audioPorts) return;
    uint32_t count = instance.audioPorts->count(instance.plugin, isInput);
    printf("audio ports %s  %u\n", way, count);
    for (uint32_t i = 0; i < count; i++) {
        clap_audio_port_info_t info;
        memset(&info, 0, sizeof info);
        if (!instance.audioPorts->get(instance.plugin, i, isInput, &info)) {
            printf("  %u: get failed\n", i);
            continue;
        }
        info.name[sizeof info.name - 1] = 0;
        char pair[16];
        if (info.in_place_pair == CLAP_INVALID_ID)
            snprintf(pair, sizeof pair, "none");
        else
            snprintf(pair, sizeof pair, "%u", info.in_place_pair);
        printf("  %u: id %u \"%s\", %u channels, type %s, flags %u, in-place pair %s\n", i,
               info.id, info.name, info.channel_count, OrNull(info.port_type), info.flags, pair);
    }
}

static int CommandInfo(const std::string &pluginPath) {
    std::unique_ptr<PluginLibrary> library = OpenPlugin(pluginPath);
    const clap_plugin_descriptor_t *d = library->descriptor;
    printf("plug-in file  %s\n", library->path.c_str());
    printf("clap version  %u.%u.%u\n", d->clap_version.major, d->clap_version.minor,
           d->clap_version.revision);
    printf("id            %s\n", OrNull(d->id));
    printf("name          %s\n", OrNull(d->name));
    printf("vendor        %s\n", OrNull(d->vendor));
    printf("version       %s\n", OrNull(d->version));
    printf("url           %s\n", OrNull(d->url));
    printf("manual url    %s\n", OrNull(d->manual_url));
    printf("support url   %s\n", OrNull(d->support_url));
    printf("description   %s\n", OrNull(d->description));
    printf("features     ");
    for (const char *const *f = d->features; f && *f; f++) printf(" %s", *f);
    printf("\n");
    printf("factories    ");
    for (const char *id : {CLAP_PLUGIN_FACTORY_ID, CLAP_PRESET_DISCOVERY_FACTORY_ID,
                           CLAP_PLUGIN_INVALIDATION_FACTORY_ID})
        if (library->entry->get_factory(id)) printf(" %s", id);
    printf("\n");
    {
        std::unique_ptr<Instance> instance = CreateInstance(*library);
        const clap_plugin_t *plugin = instance->plugin;
        std::string offered, missing;
        for (int i = 0; i < KNOWN_PLUGIN_EXTENSION_COUNT; i++) {
            const char *id = KNOWN_PLUGIN_EXTENSIONS[i];
            (plugin->get_extension(plugin, id) ? offered : missing) += std::string(" ") + id;
        }
        printf("extensions   %s\n", offered.c_str());
        printf("not offered  %s\n", missing.c_str());
        PrintPorts(*instance, true);
        PrintPorts(*instance, false);
        if (instance->params) {
            uint32_t count = ParamCount(*instance);
            printf("parameters    %u\n", count);
            printf("  %4s  %-36s %-9s %-6s %-25s %s\n", "id", "name", "default", "flags", "",
                   "default text");
            for (uint32_t i = 0; i < count; i++) {
                std::optional<clap_param_info_t> info = GetParamInfo(*instance, i);
                if (!info) {
                    printf("  %4u  get_info failed\n", i);
                    continue;
                }
                std::optional<std::string> text =
                    ParamText(*instance, info->id, info->default_value);
                printf("  %4u  %-36s %-9.7g %-6u %-25s %s\n", info->id, info->name,
                       info->default_value, info->flags, FlagsText(info->flags).c_str(),
                       text ? text->c_str() : "(no text)");
            }
        }
    }
    ClosePlugin(library.get());
    return 0;
}

static int CommandRender(RenderJob job, const std::string &inPath, const std::string &outPath,
                         uint32_t rate) {
    WavAudio wav = ReadWav(inPath);
    job.input = std::move(wav.audio);
    job.sampleRate = rate ? rate : wav.sampleRate;
    RenderOutcome outcome = Render(job);
    WriteWav(outPath, outcome.output, job.sampleRate);
    std::string sound = job.chain.empty() ? "no chain" : "chain " + job.chain;
    if (!job.stateIn.empty()) sound += ", state " + job.stateIn;
    if (!job.patchPath.empty()) sound += ", patch " + job.patchPath;
    printf("%s -> %s: %u Hz, %u-bit %s in, %s\n", inPath.c_str(), outPath.c_str(),
           job.sampleRate, wav.bitsPerSample, wav.channels == 1 ? "mono" : "stereo",
           sound.c_str());
    if (!job.stateOut.empty()) printf("state saved to %s\n", job.stateOut.c_str());
    PrintRealtime(outcome);
    return 0;
}

static int CommandDemo(const std::string &pluginPath, const std::string &outPath) {
    RenderJob job;
    job.pluginPath = pluginPath;
    job.sampleRate = DEMO_RATE;
    job.tempo = DEMO_TEMPO;
    job.input = DemoSignal(DEMO_RATE, DEMO_SECONDS);
    std::string chainText;
    for (const char *unit : DEMO_CHAIN)
        chainText += (chainText.empty() ? "" : ",") + std::string(unit);
    job.chain = chainText;
    for (const auto &setting : DEMO_SETTINGS) {
        char value[32];
        snprintf(value, sizeof value, "%.9g", setting.second);
        job.sets.push_back({setting.first, value});
    }
    RenderOutcome outcome = Render(job);
    WriteWav(outPath, outcome.output, DEMO_RATE);
    printf("plug-in  %s\n", pluginPath.c_str());
    printf("chain    %s\n", chainText.empty() ? "(empty: the piece passes through)"
                                              : chainText.c_str());
    for (const auto &setting : DEMO_SETTINGS)
        printf("setting  %s = %g\n", setting.first, setting.second);
    printf("signal   %.1f s demo piece at %u Hz, %.0f BPM\n", DEMO_SECONDS, DEMO_RATE, DEMO_TEMPO);
    printf("wrote    %s\n", outPath.c_str());
    PrintRealtime(outcome);
    return 0;
}

static int CommandSavePatch(const RenderJob &job, const std::string &outPath,
                            const std::string &name) {
    std::unique_ptr<PluginLibrary> library = OpenPlugin(job.pluginPath);
    {
        std::unique_ptr<Instance> instance = CreateInstance(*library);
        LoadStartingPoint(*instance, job);
        FlushParams(*instance, SettingEvents(*instance, job));
        std::vector<uint8_t> file = SynthPatchFromState(StateOf(*instance), name);
        WriteFileBytes(outPath, file);
        printf("wrote %s: patch \"%s\", %zu bytes\n", outPath.c_str(),
               name.substr(0, PATCH_NAME_BYTES - 1).c_str(), file.size());
    }
    ClosePlugin(library.get());
    return 0;
}

// A call to the indexer or receiver as text: function(numbers, "texts").
static std::string CallText(const PresetCall &call) {
    std::string text = call.function + "(";
    bool first = true;
    for (int64_t number : call.numbers) {
        text += (first ? "" : ", ") + std::to_string(number);
        first = false;
    }
    for (const std::optional<std::string> &t : call.texts) {
        text += (first ? "" : ", ") + (t ? "\"" + *t + "\"" : std::string("null"));
        first = false;
    }
    return text + ")";
}

static std::string LocationKindText(int64_t kind) {
    return kind == CLAP_PRESET_DISCOVERY_LOCATION_FILE     ? "file"
           : kind == CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN ? "plug-in"
                                                           : "kind " + std::to_string(kind);
}

static std::string ContentFlagsText(int64_t flags) {
    std::string text;
    const char *const NAMES[] = {"factory", "user", "demo", "favorite"};
    for (int bit = 0; bit < 4; bit++)
        if (flags & (int64_t(1) << bit))
            text += (text.empty() ? "" : ",") + std::string(NAMES[bit]);
    return text.empty() ? "-" : text;
}

static void PrintMetadata(const std::string &what, const PresetMetadata &metadata) {
    int presets = 0;
    for (const PresetCall &call : metadata.calls) presets += call.function == "begin_preset";
    printf("  %s: %s, %d preset%s\n", what.c_str(), metadata.result ? "true" : "false", presets,
           presets == 1 ? "" : "s");
    for (const PresetCall &call : metadata.calls) printf("      %s\n", CallText(call).c_str());
}

// What a host's preset indexer does: the provider declares its locations and
// file types, then each location is asked for its presets; a file location
// that is a folder is searched for files of the declared types.
static int CommandPresets(const std::string &pluginPath) {
    std::unique_ptr<PluginLibrary> library = OpenPlugin(pluginPath);
    {
        std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(*library);
        const clap_preset_discovery_provider_descriptor_t *d = indexer->provider->desc;
        if (d)
            printf("provider   %s \"%s\" by %s\n", OrNull(d->id), OrNull(d->name),
                   OrNull(d->vendor));
        printf("init       %s\n", indexer->initResult ? "true" : "false");
        std::vector<std::string> suffixes;
        std::vector<const PresetCall *> locations;
        for (const PresetCall &call : indexer->declared) {
            if (call.function == "declare_location" && call.numbers.size() == 2 &&
                call.texts.size() == 2) {
                printf("location   \"%s\": %s, %s content, %s\n",
                       call.texts[0].value_or("(null)").c_str(),
                       LocationKindText(call.numbers[1]).c_str(),
                       ContentFlagsText(call.numbers[0]).c_str(),
                       call.texts[1] ? ("\"" + *call.texts[1] + "\"").c_str() : "null");
                locations.push_back(&call);
            } else if (call.function == "declare_filetype" && call.texts.size() == 3) {
                printf("file type  \"%s\", *.%s: %s\n", call.texts[0].value_or("(null)").c_str(),
                       call.texts[2].value_or("").c_str(), call.texts[1].value_or("").c_str());
                suffixes.push_back("." + call.texts[2].value_or(""));
            } else {
                printf("declared   %s\n", CallText(call).c_str());
            }
        }
        bool userFolder = false;
        for (const PresetCall *location : locations) {
            const std::optional<std::string> &where = location->texts[1];
            printf("presets of \"%s\"\n", location->texts[0].value_or("(null)").c_str());
            if (location->numbers[1] != CLAP_PRESET_DISCOVERY_LOCATION_FILE || !where) {
                PrintMetadata("the location itself",
                              ReadPresetMetadata(*indexer, uint32_t(location->numbers[1]),
                                                 where ? where->c_str() : nullptr));
                continue;
            }
            userFolder = true;
            std::vector<std::string> files;
            for (const std::string &suffix : suffixes)
                for (const std::string &file : FindFiles(*where, suffix)) files.push_back(file);
            if (files.empty()) printf("  no patch files under \"%s\"\n", where->c_str());
            for (const std::string &file : files)
                PrintMetadata(file,
                              ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_FILE,
                                                 file.c_str()));
        }
        if (!userFolder)
            printf(
                "no user patch folder: the setting \"UserPatches\" names it, in section\n"
                "[LathemoorFX] of $HOME/.config/OrwenAudioPlugins.ini\n");
    }
    ClosePlugin(library.get());
    return 0;
}

// ---- the editor ----

// The editor in a window of its own while the file (or silence) plays
// through the plug-in in real time on a second thread, as a host's audio
// thread would; the sound goes nowhere. Ends when the window is closed.
static int CommandGui(const RenderJob &job, const std::string &inPath) {
    std::unique_ptr<PluginLibrary> library = OpenPlugin(job.pluginPath);
    WavAudio wav;
    wav.sampleRate = 48000;
    wav.audio = MakeStereo(wav.sampleRate);
    if (!inPath.empty()) wav = ReadWav(inPath);
    std::unique_ptr<Instance> instance = StartInstance(*library, HostConfig(), wav.sampleRate);
    LoadStartingPoint(*instance, job);
    FlushParams(*instance, SettingEvents(*instance, job));
    std::unique_ptr<EditorFrame> frame = OpenEditor(*instance, "LathemoorFX - lathemoor-host");
    std::atomic<bool> running{true};
    std::thread audio([&] {
        const uint32_t block = DEFAULT_BLOCK;
        StereoBuffer in = MakeStereo(block), out = MakeStereo(block);
        uint64_t position = 0, played = 0;
        double start = Now();
        while (running) {
            for (uint32_t i = 0; i < block; i++, position++) {
                if (position >= wav.audio.frames()) position = 0;
                in.left[i] = wav.audio.left[position];
                in.right[i] = wav.audio.right[position];
            }
            ProcessStereo(*instance, in, out);
            played += block;
            double ahead = start + (double)played / wav.sampleRate - Now();
            if (ahead > 0) usleep((useconds_t)(ahead * 1e6));
        }
    });
    while (RunEditor(*instance, 0.25, frame.get())) {
    }
    running = false;
    audio.join();
    frame.reset();
    instance.reset();
    ClosePlugin(library.get());
    return 0;
}

struct PointerAction {
    bool drag;
    int32_t x, y, dy;   // device pixels in the editor's window
};

static PointerAction ParsePointerAction(const std::string &text, bool drag) {
    PointerAction action = {drag, 0, 0, 0};
    int used = 0;
    bool read = drag ? sscanf(text.c_str(), "%d,%d,%d%n", &action.x, &action.y, &action.dy, &used) == 3
                     : sscanf(text.c_str(), "%d,%d%n", &action.x, &action.y, &used) == 2;
    if (!read || used != (int)text.size())
        throw HostError(std::string(drag ? "--drag wants X,Y,DY" : "--click wants X,Y") +
                        ", not \"" + text + "\"");
    return action;
}

// The editor under the present DISPLAY, after the scripted pointer actions
// and a few timer ticks, read back from the server into a PNG file. The sound
// options set the chain first, and a second of the demo piece plays through
// it, so that meters and traces show sound. --scale runs the plug-in with
// HOME at a temporary folder whose settings file holds only that scale, so
// the user's own settings are neither read nor changed.
static int CommandScreenshot(const RenderJob &job, const std::string &outPath,
                             std::optional<int32_t> scale,
                             const std::vector<PointerAction> &actions) {
    std::optional<TemporaryHome> home;
    if (scale) {
        home.emplace();
        home->WriteSettings("[LathemoorFX]\nUIScale=" + std::to_string(*scale) + "\n");
    }
    std::unique_ptr<PluginLibrary> library = OpenPlugin(job.pluginPath);
    std::unique_ptr<Instance> instance = StartInstance(*library);
    LoadStartingPoint(*instance, job);
    FlushParams(*instance, SettingEvents(*instance, job));
    std::unique_ptr<EditorFrame> frame = OpenEditor(*instance);
    StereoBuffer demo = DemoSignal(48000, 1.0), out = MakeStereo(DEFAULT_BLOCK);
    for (uint32_t at = 0; at + DEFAULT_BLOCK <= demo.frames(); at += DEFAULT_BLOCK) {
        StereoBuffer in = MakeStereo(DEFAULT_BLOCK);
        std::copy_n(&demo.left[at], DEFAULT_BLOCK, in.left.begin());
        std::copy_n(&demo.right[at], DEFAULT_BLOCK, in.right.begin());
        ProcessStereo(*instance, in, out);
        if (at % (8 * DEFAULT_BLOCK) == 0) RunEditor(*instance, 0.0, frame.get());
    }
    const double SETTLE = 0.06;
    RunEditor(*instance, 0.2, frame.get());
    for (const PointerAction &action : actions) {
        PointerMove(*frame, action.x, action.y);
        RunEditor(*instance, SETTLE, frame.get());
        PointerButton(*frame, 1, true);
        RunEditor(*instance, SETTLE, frame.get());
        for (int step = 1; action.drag && step <= 8; step++) {
            PointerMove(*frame, action.x, action.y + action.dy * step / 8);
            RunEditor(*instance, SETTLE, frame.get());
        }
        PointerButton(*frame, 1, false);
        RunEditor(*instance, SETTLE, frame.get());
    }
    RunEditor(*instance, 0.2, frame.get());
    uint32_t width, height;
    std::vector<uint32_t> pixels = EditorPixels(*frame, &width, &height);
    uint8_t *bytes;
    uint64_t size;
    EncodePNG(pixels.data(), (int32_t)width, (int32_t)height, &bytes, &size);
    std::vector<uint8_t> file(bytes, bytes + size);
    free(bytes);
    WriteFileBytes(outPath, file);
    printf("%s: %u x %u pixels\n", outPath.c_str(), width, height);
    frame.reset();
    instance.reset();
    ClosePlugin(library.get());
    return 0;
}

// ---- arguments ----

// Which command takes which option; --plugin and --help go with all of them.
static bool OptionBelongs(const std::string &option, const std::string &command) {
    if (option == "--set" || option == "--chain" || option == "--patch" || option == "--state-in" ||
        option == "--curve")
        return command == "render" || command == "save-patch" || command == "gui" ||
               command == "screenshot";
    if (option == "--name") return command == "save-patch" || command == "sample";
    if (option == "--wavetable" || option == "--tag" || option == "--subcategory")
        return command == "sample";
    if (option == "--scale") return command == "art-sheet" || command == "screenshot";
    if (option == "--click" || option == "--drag") return command == "screenshot";
    return command == "render";  // --tempo, --block, --rate, --state-out, --meters
}

static int Run(int argc, char **argv) {
    std::string pluginPath;
    std::vector<std::string> words, options;
    RenderJob job;
    std::string name = DEFAULT_PATCH_NAME;
    uint32_t rate = 0;
    std::optional<int32_t> scale;
    std::vector<PointerAction> actions;
    SampleImportJob sample;
    for (int i = 1; i < argc; i++) {
        std::string arg = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) throw HostError(arg + " needs a value");
            return argv[++i];
        };
        if (arg == "-h" || arg == "--help") {
            Usage(stdout);
            return 0;
        } else if (arg == "--plugin") {
            pluginPath = value();
            continue;
        } else if (arg == "--set") {
            std::string setting = value();
            size_t equals = setting.rfind('=');
            if (equals == std::string::npos || equals == 0)
                throw HostError("--set wants NAME=VALUE, not \"" + setting + "\"");
            job.sets.push_back({setting.substr(0, equals), setting.substr(equals + 1)});
        } else if (arg == "--chain") {
            job.chain = value();
            ChainSettings(job.chain);  // a bad name fails here, before any work
        } else if (arg == "--tempo") {
            job.tempo = ParseNumber(value(), "tempo");
            if (job.tempo <= 0 || job.tempo > 999) throw HostError("tempo outside 0..999 BPM");
        } else if (arg == "--block") {
            job.block = ParseCount(value(), "block size", LARGEST_BLOCK);
        } else if (arg == "--rate") {
            rate = ParseCount(value(), "sample rate", LARGEST_RATE);
        } else if (arg == "--patch") {
            job.patchPath = value();
        } else if (arg == "--state-in") {
            job.stateIn = value();
        } else if (arg == "--curve") {
            job.curves.push_back(ParseCurve(value()));
        } else if (arg == "--state-out") {
            job.stateOut = value();
        } else if (arg == "--meters") {
            job.meters = true;
        } else if (arg == "--name") {
            name = sample.name = value();
        } else if (arg == "--wavetable") {
            sample.wavetable = true;
        } else if (arg == "--tag") {
            sample.tag = (uint32_t)ParseWhole(value(), "tag", 0, UINT32_MAX);
        } else if (arg == "--subcategory") {
            sample.subcategory = (int32_t)ParseWhole(value(), "subcategory", INT32_MIN, INT32_MAX);
        } else if (arg == "--scale") {
            scale = (int32_t)ParseCount(value(), "scale", 1000);
        } else if (arg == "--click" || arg == "--drag") {
            actions.push_back(ParsePointerAction(value(), arg == "--drag"));
        } else if (arg.size() > 1 && arg[0] == '-') {
            throw HostError("unknown option " + arg + " (see --help)");
        } else {
            words.push_back(arg);
            continue;
        }
        options.push_back(arg);
    }
    if (words.empty()) {
        Usage(stderr);
        return 2;
    }
    if (pluginPath.empty()) pluginPath = DefaultPluginPath();
    job.pluginPath = pluginPath;
    const std::string &command = words[0];
    for (const std::string &option : options)
        if (!OptionBelongs(option, command))
            throw HostError(option + " does not belong to " + command + " (see --help)");
    if (command == "info") {
        if (words.size() != 1) throw HostError("info takes no arguments");
        return CommandInfo(pluginPath);
    }
    if (command == "render") {
        if (words.size() != 3) throw HostError("render wants IN.wav OUT.wav");
        return CommandRender(job, words[1], words[2], rate);
    }
    if (command == "save-patch") {
        if (words.size() != 2) throw HostError("save-patch wants OUT.synthpatch");
        return CommandSavePatch(job, words[1], name);
    }
    if (command == "presets") {
        if (words.size() != 1) throw HostError("presets takes no arguments");
        return CommandPresets(pluginPath);
    }
    if (command == "demo") {
        if (words.size() > 2) throw HostError("demo takes at most one file name");
        return CommandDemo(pluginPath, words.size() == 2 ? words[1] : DEMO_OUTPUT);
    }
    if (command == "art-sheet") {
        if (words.size() != 2) throw HostError("art-sheet wants OUT.png");
        return CommandArtSheet(words[1], scale.value_or(100));
    }
    if (command == "bank") return CommandBank(words);
    if (command == "gui") {
        if (words.size() > 2) throw HostError("gui takes at most one file name");
        return CommandGui(job, words.size() == 2 ? words[1] : "");
    }
    if (command == "screenshot") {
        if (words.size() != 2) throw HostError("screenshot wants OUT.png");
        return CommandScreenshot(job, words[1], scale, actions);
    }
    if (command == "sample") {
        if (words.size() != 3 || words[1] != "import") throw HostError("sample wants import IN.wav");
        sample.path = words[2];
        return CommandSampleImport(sample);
    }
    throw HostError("unknown command \"" + command + "\" (see --help)");
}

int main(int argc, char **argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "lathemoor-host: %s\n", error.what());
        return 1;
    }
}
