// The project's own CLAP host: loads LathemoorFX.clap, runs instances of it
// with a configurable host table, drives `process` and the parameter calls,
// and reads and writes WAV files. The command-line tool and the black-box
// tests both stand on it. Failures that a caller cannot go on from throw
// HostError with a one-line message.
#pragma once
#include <stdint.h>
#include <string.h>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include "clap/clap.h"

struct HostError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// ---- the shared object ----

// A loaded .clap: the entry has been initialised with the path, and the
// plug-in factory and its first descriptor have been read.
struct PluginLibrary {
    std::string path;
    void *handle = nullptr;
    const clap_plugin_entry_t *entry = nullptr;
    const clap_plugin_factory_t *factory = nullptr;
    const clap_plugin_descriptor_t *descriptor = nullptr;
};

// dlopen, find clap_entry, init(path), fetch the plug-in factory and
// descriptor 0. Throws HostError when any of these fails.
std::unique_ptr<PluginLibrary> OpenPlugin(const std::string &path);
// deinit, then dlclose.
void ClosePlugin(PluginLibrary *library);
// What a host's scan does, on a handle of its own: dlopen (RTLD_NOW |
// RTLD_LOCAL), clap_entry's init, the plug-in factory, every descriptor,
// deinit, dlclose. Answers the plug-in ids read; throws HostError when a step
// fails or a descriptor lacks its id, name or version.
std::vector<std::string> ScanPlugin(const std::string &path);

// $LATHEMOOR_PLUGIN if set, else ~/.clap/LathemoorFX.clap if it exists, else the
// one this build made.
std::string DefaultPluginPath();
// $LATHEMOOR_PLUGIN if set, else the one this build made: what the tests load.
std::string TestPluginPath();
// One library for the whole test process, opened at first use and never closed.
PluginLibrary &TestPlugin();

// ---- the host table ----

// Host extensions that a Host offers through its get_extension.
enum HostOffer : uint32_t {
    HOST_OFFERS_NOTHING = 0,
    HOST_OFFERS_PARAMS = 1 << 0,        // clap.params
    HOST_OFFERS_STATE = 1 << 1,         // clap.state
    HOST_OFFERS_LOG = 1 << 2,           // clap.log
    HOST_OFFERS_THREAD_CHECK = 1 << 3,  // clap.thread-check
    HOST_OFFERS_TIMER = 1 << 4,         // clap.timer-support
    HOST_OFFERS_POSIX_FD = 1 << 5,      // clap.posix-fd-support
    HOST_OFFERS_GUI = 1 << 6,           // clap.gui
    HOST_OFFERS_ALL = (1 << 7) - 1,
};

struct HostConfig {
    uint32_t offers = HOST_OFFERS_ALL;
    clap_version_t version = CLAP_VERSION_INIT;
};

// What the plug-in asked of the host. Counted as the calls come, from
// whichever thread makes them.
struct HostCalls {
    int requestFlush = 0, rescan = 0, clear = 0, markDirty = 0;
    uint32_t rescanFlags = 0;  // every rescan's flags, or-ed together
    int requestRestart = 0, requestProcess = 0, requestCallback = 0;
    int logMessages = 0, timersRegistered = 0, timersUnregistered = 0;
    int fdsRegistered = 0, fdsUnregistered = 0;
    std::vector<std::string> extensionQueries;  // ids asked for, in order
    std::vector<std::string> log;               // messages sent to clap.log
    std::vector<std::pair<uint32_t, uint32_t>> resizeRequests;  // clap.gui request_resize
};

// A timer the plug-in registered and has not unregistered.
struct HostTimer {
    clap_id id;
    uint32_t periodMs;
    double due;   // seconds on the monotonic clock; RunEditor fires it then
};

// One host table; its host_data points back here. Lives at a fixed address.
struct Host {
    clap_host_t clap{};
    HostConfig config;
    HostCalls calls;
    uint64_t mainThread = 0;   // pthread_self() of the creator
    uint64_t audioThread = 0;  // the thread inside Process, 0 outside
    std::vector<HostTimer> timers;  // live registrations, main thread
    std::vector<int> fds;           // live descriptor registrations, main thread
};

std::unique_ptr<Host> NewHost(const HostConfig &config = HostConfig());

// ---- an instance ----

struct Instance {
    const PluginLibrary *library = nullptr;
    std::unique_ptr<Host> host;
    const clap_plugin_t *plugin = nullptr;
    // The plug-in's extensions, fetched after init; null when not offered.
    const clap_plugin_params_t *params = nullptr;
    const clap_plugin_audio_ports_t *audioPorts = nullptr;
    const clap_plugin_state_t *state = nullptr;
    double sampleRate = 0;
    bool active = false, processing = false;

    Instance() = default;
    Instance(const Instance &) = delete;
    Instance &operator=(const Instance &) = delete;
    ~Instance();  // stops, deactivates and destroys what is still running
};

// create_plugin with the descriptor's id, then init. Throws HostError when
// the factory answers null or init answers false.
std::unique_ptr<Instance> CreateInstance(const PluginLibrary &library,
                                         const HostConfig &config = HostConfig());
// CreateInstance, then Activate: an instance ready for Process.
std::unique_ptr<Instance> StartInstance(const PluginLibrary &library,
                                        const HostConfig &config = HostConfig(),
                                        double sampleRate = 48000.0);
// activate (min 1, max maxFrames) and start_processing.
void Activate(Instance &instance, double sampleRate = 48000.0, uint32_t maxFrames = 4096);
// stop_processing and deactivate, for what is running.
void Deactivate(Instance &instance);
// Deactivate, then destroy; the record stays and holds a null plugin.
void DestroyInstance(Instance &instance);

// ---- events ----

// Room for any one event record. Events that the plug-in sends out are
// copied into it; a longer one keeps its first sizeof(HostEvent) bytes.
union HostEvent {
    clap_event_header_t header;
    clap_event_param_value_t value;
    clap_event_param_mod_t mod;
    clap_event_param_gesture_t gesture;
    clap_event_transport_t transport;
    clap_event_note_t note;
    clap_event_note_expression_t expression;
    clap_event_midi_t midi;
    clap_event_midi_sysex_t sysex;
    clap_event_midi2_t midi2;
};

HostEvent ParamValueEvent(uint32_t time, clap_id id, double value);
HostEvent ParamModEvent(uint32_t time, clap_id id, double amount, int32_t noteId = -1);
HostEvent GestureEvent(uint32_t time, clap_id id, bool begin);
// A playing transport with tempo, and beat and seconds timelines at the
// given frame position.
clap_event_transport_t MakeTransport(double tempo, bool playing, uint64_t position = 0,
                                     double sampleRate = 48000.0);
HostEvent TransportEvent(uint32_t time, const clap_event_transport_t &transport);
// type: CLAP_EVENT_NOTE_ON, _OFF, _CHOKE or _END.
HostEvent NoteEvent(uint32_t time, uint16_t type, int16_t key, double velocity);
HostEvent MidiEvent(uint32_t time, uint8_t status, uint8_t data1, uint8_t data2);
HostEvent Midi2Event(uint32_t time, uint32_t word0);
// Moves the event to another event space.
HostEvent InSpace(HostEvent event, uint16_t space);

// ---- processing ----

// Two channels of equal length.
struct StereoBuffer {
    std::vector<float> left, right;
    uint32_t frames() const { return uint32_t(left.size()); }
};
StereoBuffer MakeStereo(uint32_t frames, float fill = 0.0f);
// Deterministic white noise in -amplitude .. amplitude, different per seed.
StereoBuffer Noise(uint32_t frames, uint32_t seed = 1, float amplitude = 0.5f);
// The first frame at which the two differ in any bit (or in length, at the
// shorter length); -1 when they are the same.
int64_t FirstDifferentFrame(const StereoBuffer &a, const StereoBuffer &b);

// One process call as the host hands it over. Pointers may be null and
// counts zero on purpose, to try the shapes a careless host sends.
struct ProcessRequest {
    uint32_t frames = 0;
    float *input[2] = {nullptr, nullptr};
    float *output[2] = {nullptr, nullptr};
    uint32_t inputChannels = 2, outputChannels = 2;  // up to 8; those past 2 are null
    uint32_t inputPorts = 1, outputPorts = 1;        // 0: the port array is null
    bool nullChannelArrays = false;                  // data32 is null
    std::vector<HostEvent> events;                   // handed over in this order
    const clap_event_transport_t *transport = nullptr;
    bool nullEventLists = false;  // in_events and out_events null (outside the contract)
    bool refuseOutput = false;    // try_push answers false to everything
    int64_t steadyTime = -1;
};

struct ProcessResult {
    clap_process_status status = CLAP_PROCESS_ERROR;
    std::vector<HostEvent> output;  // copies of what the plug-in pushed, refused ones too
};

ProcessResult Process(Instance &instance, const ProcessRequest &request);
// The common case: one stereo buffer in, one out, of the same length. The
// plug-in gets copies placed between guard frames; a write into them throws
// HostError.
ProcessResult ProcessStereo(Instance &instance, const StereoBuffer &input, StereoBuffer &output,
                            std::vector<HostEvent> events = {},
                            const clap_event_transport_t *transport = nullptr);

// ---- parameters ----

uint32_t ParamCount(const Instance &instance);
std::optional<clap_param_info_t> GetParamInfo(const Instance &instance, uint32_t index);
std::optional<double> GetParamValue(const Instance &instance, clap_id id);
std::optional<std::string> ParamText(const Instance &instance, clap_id id, double value);
// params.flush with these input events; returns what the plug-in pushed.
std::vector<HostEvent> FlushParams(Instance &instance, std::vector<HostEvent> events = {});
// An exact name (the first row that has it), else a decimal id below the count;
// CLAP_INVALID_ID when neither fits.
clap_id FindParam(const Instance &instance, const std::string &nameOrId);

// ---- meters ----

// The plug-in's own "orwen.meters": measuring asked for (or let go) without an
// editor; false when the plug-in does not offer it.
bool RequestMeters(const Instance &instance, bool wanted);
struct CompressorLevels {
    float inputDb, outputDb;
};
// The levels of compressor instance 0..2 as the editor's meter shows them.
std::optional<CompressorLevels> ReadCompressorLevels(const Instance &instance, uint32_t unit);

// ---- effect chains ----

struct ParamSetting {
    clap_id id;
    double value;
};

// "Reverb,Compressor 2": fills Effect Slot 1, 2, ... in order and switches on
// each unit instance's Enable. Unknown names and more than eight units throw.
std::vector<ParamSetting> ChainSettings(const std::string &chain);

// ---- state, patch files and presets ----

// The plug-in's clap.state save into memory, through a stream that takes
// every write whole; nullopt when save answers false.
std::optional<std::vector<uint8_t>> SaveState(const Instance &instance);
// clap.state load from memory, through a stream that gives each read all it
// asks for while bytes remain, or at most `chunk` bytes a read.
bool LoadState(const Instance &instance, const std::vector<uint8_t> &bytes, size_t chunk = SIZE_MAX);
// clap.preset-load.draft/2 from_location for a file; false also when the
// plug-in does not offer the extension.
bool LoadPresetFile(const Instance &instance, const std::string &path);
// The plug-in's own "orwen.randomize"; false when it is not offered.
bool Randomize(const Instance &instance);

// The two stored forms of a patch. A clap.state stream is a u32 length, a
// block that starts with STATE_BLOCK_MAGIC, then the curve block. A
// .synthpatch file is the same block without its record index, under its
// own magic, then the curve block: from the name on, each field stands 4
// bytes earlier than in the block, 8 earlier than in the stream.
const uint64_t STATE_BLOCK_MAGIC = 0x95A130791400F612ull;
const uint64_t SYNTHPATCH_MAGIC = 0x95A130791400F613ull;
const uint64_t SYNTHPATCH_VERSION = 13;
const uint32_t STATE_BLOCK_SIZE = 1720;
const uint32_t PATCH_NAME_BYTES = 100;  // zero-terminated, so at most 99 characters
const uint32_t PATCH_RESERVED_BYTES = 676;
// Offsets in a clap.state stream (the block's plus 4)...
const size_t STATE_MAGIC_AT = 4, STATE_VERSION_AT = 12, STATE_RECORD_INDEX_AT = 20,
             STATE_NAME_AT = 24, STATE_VALUES_AT = 124, STATE_RESERVED_AT = 1048,
             STATE_CURVES_AT = 1724;
// ...and in a .synthpatch file.
const size_t FILE_VERSION_AT = 8, FILE_NAME_AT = 16, FILE_VALUES_AT = 116,
             FILE_RESERVED_AT = 1040, FILE_CURVES_AT = 1720;

// Fixed-size values appended to, read from and written into bytes, in the
// machine's order, which is the stored forms' (little-endian). GetLE and
// SetLE throw HostError past the end.
template <typename T>
void PutLE(std::vector<uint8_t> &bytes, T value) {
    size_t at = bytes.size();
    bytes.resize(at + sizeof value);
    memcpy(&bytes[at], &value, sizeof value);
}
template <typename T>
T GetLE(const std::vector<uint8_t> &bytes, size_t at) {
    if (at > bytes.size() || bytes.size() - at < sizeof(T)) throw HostError("read past the bytes");
    T value;
    memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}
template <typename T>
void SetLE(std::vector<uint8_t> &bytes, size_t at, T value) {
    if (at > bytes.size() || bytes.size() - at < sizeof(T)) throw HostError("write past the bytes");
    memcpy(bytes.data() + at, &value, sizeof value);
}

// A modulator curve as the stored forms hold it.
struct CurvePointImage {
    float x, y, tension;
};
struct CurveImage {
    uint16_t loopStart = 0;
    std::vector<CurvePointImage> points;
};
// The three curves of a new instance: (0, 0), (0.5, 1), (1, 0), straight, no loop.
std::vector<CurveImage> DefaultCurveImages();
// A curve block as the plug-in writes it: the present byte 1, then for each
// curve the marker 0xFFFF, its loop start, its point count and its points.
std::vector<uint8_t> CurveBlockBytes(const std::vector<CurveImage> &curves);
// One curve in that form, appended.
void PutCurve(std::vector<uint8_t> &bytes, const CurveImage &curve);

// A .synthpatch file from a clap.state stream as the plug-in saves it: the
// block's values and reserved bytes and the curve block, under `name` (cut
// to 99 bytes). Throws HostError for a stream of any other shape.
std::vector<uint8_t> SynthPatchFromState(const std::vector<uint8_t> &state,
                                         const std::string &name);

// Whole files. Both throw HostError naming the path.
std::vector<uint8_t> ReadFileBytes(const std::string &path);
void WriteFileBytes(const std::string &path, const std::vector<uint8_t> &bytes);
// Regular files under folder, at any depth, whose names end in suffix, in
// sorted order; none when the folder can't be read.
std::vector<std::string> FindFiles(const std::string &folder, const std::string &suffix);

// A fresh folder under $TMPDIR (else /tmp), removed with its content at the end.
struct TemporaryFolder {
    std::string path;
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    std::string File(const std::string &name) const { return path + "/" + name; }
};

// HOME pointed at a temporary folder holding an empty ".config", for as long
// as this lives; the old HOME (or its absence) comes back at the end.
struct TemporaryHome {
    TemporaryFolder folder;
    std::optional<std::string> savedHome;
    TemporaryHome();
    ~TemporaryHome();
    // The settings file's path, and the file written with this text.
    std::string SettingsPath() const { return folder.path + "/.config/OrwenAudioPlugins.ini"; }
    void WriteSettings(const std::string &text) const;
};

// One call that a preset provider made to the host's indexer or to a
// metadata receiver, with its arguments in order.
struct PresetCall {
    std::string function;                           // "declare_location", "begin_preset", ...
    std::vector<int64_t> numbers;                   // flags, kinds, error codes, times
    std::vector<std::optional<std::string>> texts;  // nullopt for a null pointer
};

// The first provider of the plug-in's preset discovery factory, created with
// an indexer that records what it is told, and initialised: what a host's
// preset indexer does first. Lives at a fixed address; destroys the provider.
struct PresetIndexer {
    const clap_preset_discovery_provider_t *provider = nullptr;
    clap_preset_discovery_indexer_t indexer{};
    bool initResult = false;
    std::vector<PresetCall> declared;  // declare_location, _filetype, _soundpack, in order

    PresetIndexer() = default;
    PresetIndexer(const PresetIndexer &) = delete;
    PresetIndexer &operator=(const PresetIndexer &) = delete;
    ~PresetIndexer();
};

// Throws HostError when the plug-in has no preset discovery factory or the
// factory offers no provider.
std::unique_ptr<PresetIndexer> StartPresetIndexer(const PluginLibrary &library);

struct PresetMetadata {
    bool result = false;
    std::vector<PresetCall> calls;  // what the receiver was told, in order
};

// The provider's get_metadata with a receiver that records every call and
// answers begin_preset with `beginPreset`.
PresetMetadata ReadPresetMetadata(const PresetIndexer &indexer, uint32_t kind,
                                  const char *location, bool beginPreset = true);

// ---- the editor (tools/host/gui.cpp) ----

// A top-level X window of the host's own, on a connection of its own, that
// holds the plug-in's editor: create, set_parent and show. The destructor
// hides and destroys the editor, then the window.
struct EditorFrame {
    Instance *instance = nullptr;
    const clap_plugin_gui_t *gui = nullptr;
    void *display = nullptr;     // Display *
    unsigned long window = 0;    // the host's window
    uint32_t width = 0, height = 0;
    EditorFrame() = default;
    EditorFrame(const EditorFrame &) = delete;
    EditorFrame &operator=(const EditorFrame &) = delete;
    ~EditorFrame();
};

// Throws HostError when the plug-in has no clap.gui or create fails.
std::unique_ptr<EditorFrame> OpenEditor(Instance &instance, const char *title = "LathemoorFX");
// The host's loop for `seconds`: the plug-in's timers when due and its
// descriptors when readable, as a host's main loop calls them. With `frame`,
// false as soon as the user closes that window.
bool RunEditor(Instance &instance, double seconds, EditorFrame *frame = nullptr);
// The plug-in's window: the one child of the frame's window, or 0.
unsigned long EditorWindow(const EditorFrame &frame);
// What the editor shows, read back from the server: width * height 0xAARRGGBB.
std::vector<uint32_t> EditorPixels(const EditorFrame &frame, uint32_t *width, uint32_t *height);
// Pointer input as the server's input devices would send it (XTest), at
// positions in the editor's window. button: 1 left, 2 middle, 3 right, 4 and
// 5 the wheel. alt holds the Alt key around the button.
void PointerMove(const EditorFrame &frame, int32_t x, int32_t y);
void PointerButton(const EditorFrame &frame, uint32_t button, bool press, bool alt = false);

// ---- extension ids, for reports ----

// Ids a CLAP host may ask a plug-in for, the ones this plug-in offers first.
extern const char *const KNOWN_PLUGIN_EXTENSIONS[];
extern const int KNOWN_PLUGIN_EXTENSION_COUNT;

// ---- standard error ----

// Runs body with file descriptor 2 sent to a temporary file; returns what was
// written there.
std::string CaptureStderr(const std::function<void()> &body);

// ---- audio files and the demo signal ----

struct WavAudio {
    uint32_t sampleRate = 0;
    uint16_t channels = 0;       // as stored: 1 or 2
    uint16_t bitsPerSample = 0;  // as stored: 16, 24 or 32 (float)
    StereoBuffer audio;          // mono is duplicated to both channels
};

// RIFF/WAVE, PCM 16 or 24 bit or 32-bit float, plain or extensible, mono or
// stereo. Throws HostError naming the file and the fault.
WavAudio ReadWav(const std::string &path);
WavAudio ParseWav(const uint8_t *bytes, size_t size);  // the same, from memory
// 32-bit float stereo.
void WriteWav(const std::string &path, const StereoBuffer &audio, uint32_t sampleRate);
std::vector<uint8_t> EncodeWav(const StereoBuffer &audio, uint32_t sampleRate);

// A short piece of music at 120 BPM made in code: kick, snare, hats and a
// chord pad. The same every time.
StereoBuffer DemoSignal(uint32_t sampleRate = 48000, double seconds = 8.0);
