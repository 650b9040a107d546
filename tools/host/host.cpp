// Loading the plug-in, the host table we hand it, its instances, events,
// process calls and parameter calls.
#include "tools/host/host.h"

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cmath>

#ifndef LATHEMOOR_BUILT_PLUGIN
#define LATHEMOOR_BUILT_PLUGIN "LathemoorFX.clap"
#endif

// ---- the shared object ----

static bool FileExists(const std::string &path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::unique_ptr<PluginLibrary> OpenPlugin(const std::string &path) {
    if (!FileExists(path)) throw HostError(path + ": no such plug-in file");
    auto library = std::make_unique<PluginLibrary>();
    library->path = path;
    library->handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library->handle) {
        const char *why = dlerror();
        throw HostError(path + ": cannot load: " + (why ? why : "unknown reason"));
    }
    auto fail = [&](const std::string &why) {
        dlclose(library->handle);
        throw HostError(path + ": " + why);
    };
    library->entry = (const clap_plugin_entry_t *)dlsym(library->handle, "clap_entry");
    if (!library->entry) fail("no clap_entry symbol");
    const clap_plugin_entry_t *entry = library->entry;
    if (entry->clap_version.major < 1) fail("clap_entry has CLAP version 0.x");
    if (!entry->init || !entry->get_factory) fail("clap_entry lacks init or get_factory");
    if (!entry->init(path.c_str())) fail("clap_entry.init failed");
    library->factory =
        (const clap_plugin_factory_t *)entry->get_factory(CLAP_PLUGIN_FACTORY_ID);
    const clap_plugin_factory_t *factory = library->factory;
    if (!factory || !factory->get_plugin_count || !factory->get_plugin_descriptor ||
        !factory->create_plugin) {
        if (entry->deinit) entry->deinit();
        fail("no usable plug-in factory");
    }
    if (factory->get_plugin_count(factory) < 1 ||
        !(library->descriptor = factory->get_plugin_descriptor(factory, 0)) ||
        !library->descriptor->id) {
        if (entry->deinit) entry->deinit();
        fail("the factory offers no plug-in");
    }
    return library;
}

void ClosePlugin(PluginLibrary *library) {
    if (!library || !library->handle) return;
    if (library->entry && library->entry->deinit) library->entry->deinit();
    dlclose(library->handle);
    library->handle = nullptr;
    library->entry = nullptr;
    library->factory = nullptr;
    library->descriptor = nullptr;
}

std::vector<std::string> ScanPlugin(const std::string &path) {
    void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char *why = dlerror();
        throw HostError(path + ": cannot load: " + (why ? why : "unknown reason"));
    }
    std::string failure;
    std::vector<std::string> ids;
    auto entry = (const clap_plugin_entry_t *)dlsym(handle, "clap_entry");
    if (!entry || !entry->init || !entry->get_factory || !entry->deinit) {
        failure = "no usable clap_entry";
    } else if (!entry->init(path.c_str())) {
        failure = "clap_entry.init failed";
    } else {
        auto factory = (const clap_plugin_factory_t *)entry->get_factory(CLAP_PLUGIN_FACTORY_ID);
        uint32_t count = factory ? factory->get_plugin_count(factory) : 0;
        if (!count) failure = "no plug-in factory, or one without plug-ins";
        for (uint32_t i = 0; i < count && failure.empty(); i++) {
            const clap_plugin_descriptor_t *d = factory->get_plugin_descriptor(factory, i);
            if (!d || !d->id || !d->name || !d->version)
                failure = "descriptor " + std::to_string(i) + " lacks its id, name or version";
            else
                ids.push_back(d->id);
        }
        entry->deinit();
    }
    dlclose(handle);
    if (!failure.empty()) throw HostError(path + ": " + failure);
    return ids;
}

std::string DefaultPluginPath() {
    const char *fromEnvironment = getenv("LATHEMOOR_PLUGIN");
    if (fromEnvironment && *fromEnvironment) return fromEnvironment;
    const char *home = getenv("HOME");
    if (home && *home) {
        std::string installed = std::string(home) + "/.clap/LathemoorFX.clap";
        if (FileExists(installed)) return installed;
    }
    return LATHEMOOR_BUILT_PLUGIN;
}

std::string TestPluginPath() {
    const char *fromEnvironment = getenv("LATHEMOOR_PLUGIN");
    if (fromEnvironment && *fromEnvironment) return fromEnvironment;
    return LATHEMOOR_BUILT_PLUGIN;
}

PluginLibrary &TestPlugin() {
    // Deliberately never closed: instances of other tests may still hold code
    // of it when the process ends.
    static PluginLibrary *library = OpenPlugin(TestPluginPath()).release();
    return *library;
}

// ---- the host table ----

static Host *HostOf(const clap_host_t *host) { return (Host *)host->host_data; }

static uint64_t ThisThread() { return (uint64_t)pthread_self(); }

static void HostRescan(const clap_host_t *host, uint32_t flags) {
    HostOf(host)->calls.rescan++;
    HostOf(host)->calls.rescanFlags |= flags;
}
static void HostClear(const clap_host_t *host, clap_id, uint32_t) { HostOf(host)->calls.clear++; }
static void HostRequestFlush(const clap_host_t *host) { HostOf(host)->calls.requestFlush++; }
static const clap_host_params_t HOST_PARAMS = {HostRescan, HostClear, HostRequestFlush};

static void HostMarkDirty(const clap_host_t *host) { HostOf(host)->calls.markDirty++; }
static const clap_host_state_t HOST_STATE = {HostMarkDirty};

static void HostLog(const clap_host_t *host, int32_t severity, const char *message) {
    HostOf(host)->calls.logMessages++;
    HostOf(host)->calls.log.push_back(message ? message : "(null)");
}
static const clap_host_log_t HOST_LOG = {HostLog};

static bool HostIsMainThread(const clap_host_t *host) {
    return HostOf(host)->mainThread == ThisThread();
}
static bool HostIsAudioThread(const clap_host_t *host) {
    return HostOf(host)->audioThread == ThisThread();
}
static const clap_host_thread_check_t HOST_THREAD_CHECK = {HostIsMainThread, HostIsAudioThread};

// Timers and descriptors are counted and kept; RunEditor fires them.
static bool HostRegisterTimer(const clap_host_t *host, uint32_t period, clap_id *id) {
    Host *self = HostOf(host);
    clap_id given = clap_id(self->calls.timersRegistered++);
    if (id) *id = given;
    self->timers.push_back({given, period, 0.0});
    return true;
}
static bool HostUnregisterTimer(const clap_host_t *host, clap_id id) {
    Host *self = HostOf(host);
    self->calls.timersUnregistered++;
    for (size_t i = 0; i < self->timers.size(); i++)
        if (self->timers[i].id == id) {
            self->timers.erase(self->timers.begin() + i);
            return true;
        }
    return false;
}
static const clap_host_timer_support_t HOST_TIMER = {HostRegisterTimer, HostUnregisterTimer};

static bool HostRegisterFd(const clap_host_t *host, int fd, uint32_t) {
    HostOf(host)->calls.fdsRegistered++;
    HostOf(host)->fds.push_back(fd);
    return true;
}
static bool HostModifyFd(const clap_host_t *, int, uint32_t) { return true; }
static bool HostUnregisterFd(const clap_host_t *host, int fd) {
    Host *self = HostOf(host);
    self->calls.fdsUnregistered++;
    for (size_t i = 0; i < self->fds.size(); i++)
        if (self->fds[i] == fd) {
            self->fds.erase(self->fds.begin() + i);
            return true;
        }
    return false;
}
static const clap_host_posix_fd_support_t HOST_POSIX_FD = {HostRegisterFd, HostModifyFd,
                                                           HostUnregisterFd};

static void HostResizeHintsChanged(const clap_host_t *) {}
static bool HostRequestResize(const clap_host_t *host, uint32_t width, uint32_t height) {
    HostOf(host)->calls.resizeRequests.push_back({width, height});
    return true;
}
static bool HostRequestShow(const clap_host_t *) { return false; }
static bool HostRequestHide(const clap_host_t *) { return false; }
static void HostClosed(const clap_host_t *, bool) {}
static const clap_host_gui_t HOST_GUI = {HostResizeHintsChanged, HostRequestResize,
                                         HostRequestShow, HostRequestHide, HostClosed};

static const void *HostGetExtension(const clap_host_t *host, const char *id) {
    Host *self = HostOf(host);
    if (!id) return nullptr;
    self->calls.extensionQueries.push_back(id);
    struct Offer {
        uint32_t bit;
        const char *id;
        const void *table;
    };
    static const Offer OFFERS[] = {
        {HOST_OFFERS_PARAMS, CLAP_EXT_PARAMS, &HOST_PARAMS},
        {HOST_OFFERS_STATE, CLAP_EXT_STATE, &HOST_STATE},
        {HOST_OFFERS_LOG, CLAP_EXT_LOG, &HOST_LOG},
        {HOST_OFFERS_THREAD_CHECK, CLAP_EXT_THREAD_CHECK, &HOST_THREAD_CHECK},
        {HOST_OFFERS_TIMER, CLAP_EXT_TIMER_SUPPORT, &HOST_TIMER},
        {HOST_OFFERS_POSIX_FD, CLAP_EXT_POSIX_FD_SUPPORT, &HOST_POSIX_FD},
        {HOST_OFFERS_GUI, CLAP_EXT_GUI, &HOST_GUI},
    };
    for (const Offer &offer : OFFERS)
        if ((self->config.offers & offer.bit) && strcmp(id, offer.id) == 0) return offer.table;
    return nullptr;
}

static void HostRequestRestart(const clap_host_t *host) { HostOf(host)->calls.requestRestart++; }
static void HostRequestProcess(const clap_host_t *host) { HostOf(host)->calls.requestProcess++; }
static void HostRequestCallback(const clap_host_t *host) { HostOf(host)->calls.requestCallback++; }

std::unique_ptr<Host> NewHost(const HostConfig &config) {
    auto host = std::make_unique<Host>();
    host->config = config;
    host->mainThread = ThisThread();
    clap_host_t &table = host->clap;
    table.clap_version = config.version;
    table.host_data = host.get();
    table.name = "lathemoor-host";
    table.vendor = "LathemoorFX developers";
    table.url = "";
    table.version = "1.0.0";
    table.get_extension = HostGetExtension;
    table.request_restart = HostRequestRestart;
    table.request_process = HostRequestProcess;
    table.request_callback = HostRequestCallback;
    return host;
}

// ---- an instance ----

std::unique_ptr<Instance> CreateInstance(const PluginLibrary &library, const HostConfig &config) {
    auto instance = std::make_unique<Instance>();
    instance->library = &library;
    instance->host = NewHost(config);
    const clap_plugin_factory_t *factory = library.factory;
    instance->plugin =
        factory->create_plugin(factory, &instance->host->clap, library.descriptor->id);
    if (!instance->plugin) throw HostError(library.path + ": create_plugin answered null");
    const clap_plugin_t *plugin = instance->plugin;
    if (!plugin->init(plugin)) {
        plugin->destroy(plugin);
        instance->plugin = nullptr;
        throw HostError(library.path + ": init failed");
    }
    instance->params = (const clap_plugin_params_t *)plugin->get_extension(plugin, CLAP_EXT_PARAMS);
    instance->audioPorts =
        (const clap_plugin_audio_ports_t *)plugin->get_extension(plugin, CLAP_EXT_AUDIO_PORTS);
    instance->state = (const clap_plugin_state_t *)plugin->get_extension(plugin, CLAP_EXT_STATE);
    return instance;
}

std::unique_ptr<Instance> StartInstance(const PluginLibrary &library, const HostConfig &config,
                                        double sampleRate) {
    std::unique_ptr<Instance> instance = CreateInstance(library, config);
    Activate(*instance, sampleRate);
    return instance;
}

void Activate(Instance &instance, double sampleRate, uint32_t maxFrames) {
    const clap_plugin_t *plugin = instance.plugin;
    if (!plugin) throw HostError("activate: the instance is gone");
    if (!instance.active) {
        if (!plugin->activate(plugin, sampleRate, 1, maxFrames))
            throw HostError("activate failed");
        instance.active = true;
        instance.sampleRate = sampleRate;
    }
    if (!instance.processing) {
        if (!plugin->start_processing(plugin)) throw HostError("start_processing failed");
        instance.processing = true;
    }
}

void Deactivate(Instance &instance) {
    const clap_plugin_t *plugin = instance.plugin;
    if (!plugin) return;
    if (instance.processing) plugin->stop_processing(plugin);
    if (instance.active) plugin->deactivate(plugin);
    instance.processing = instance.active = false;
}

void DestroyInstance(Instance &instance) {
    if (!instance.plugin) return;
    Deactivate(instance);
    instance.plugin->destroy(instance.plugin);
    instance.plugin = nullptr;
    instance.params = nullptr;
    instance.audioPorts = nullptr;
    instance.state = nullptr;
}

Instance::~Instance() { DestroyInstance(*this); }

// ---- events ----

static clap_event_header_t Header(uint32_t size, uint32_t time, uint16_t type) {
    clap_event_header_t header;
    header.size = size;
    header.time = time;
    header.space_id = CLAP_CORE_EVENT_SPACE_ID;
    header.type = type;
    header.flags = 0;
    return header;
}

HostEvent ParamValueEvent(uint32_t time, clap_id id, double value) {
    HostEvent event;
    memset(&event, 0, sizeof event);
    clap_event_param_value_t &e = event.value;
    e.header = Header(sizeof e, time, CLAP_EVENT_PARAM_VALUE);
    e.param_id = id;
    e.cookie = nullptr;
    e.note_id = -1;
    e.port_index = e.channel = e.key = -1;
    e.value = value;
    return event;
}

HostEvent ParamModEvent(uint32_t time, clap_id id, double amount, int32_t noteId) {
    HostEvent event;
    memset(&event, 0, sizeof event);
    clap_event_param_mod_t &e = event.mod;
    e.header = Header(sizeof e, time, CLAP_EVENT_PARAM_MOD);
    e.param_id = id;
    e.cookie = nullptr;
    e.note_id = noteId;
    e.port_index = e.channel = e.key = -1;
    e.amount = amount;
    return event;
}

HostEvent GestureEvent(uint32_t time, clap_id id, bool begin) {
    HostEvent event;
    memset(&event, 0, sizeof event);
    event.gesture.header = Header(sizeof event.gesture, time,
                                  begin ? CLAP_EVENT_PARAM_GESTURE_BEGIN
                                        : CLAP_EVENT_PARAM_GESTURE_END);
    event.gesture.param_id = id;
    return event;
}

clap_event_transport_t MakeTransport(double tempo, bool playing, uint64_t position,
                                     double sampleRate) {
    clap_event_transport_t t;
    memset(&t, 0, sizeof t);
    t.header = Header(sizeof t, 0, CLAP_EVENT_TRANSPORT);
    t.flags = CLAP_TRANSPORT_HAS_TEMPO | CLAP_TRANSPORT_HAS_BEATS_TIMELINE |
              CLAP_TRANSPORT_HAS_SECONDS_TIMELINE | CLAP_TRANSPORT_HAS_TIME_SIGNATURE |
              (playing ? CLAP_TRANSPORT_IS_PLAYING : 0);
    double seconds = sampleRate > 0 ? double(position) / sampleRate : 0.0;
    double beats = seconds * tempo / 60.0;
    t.song_pos_seconds = clap_sectime(std::llround(seconds * double(CLAP_SECTIME_FACTOR)));
    t.song_pos_beats = clap_beattime(std::llround(beats * double(CLAP_BEATTIME_FACTOR)));
    t.tempo = tempo;
    t.bar_start = clap_beattime(std::floor(beats / 4.0) * 4.0 * double(CLAP_BEATTIME_FACTOR));
    t.bar_number = int32_t(beats / 4.0);
    t.tsig_num = 4;
    t.tsig_denom = 4;
    return t;
}

HostEvent TransportEvent(uint32_t time, const clap_event_transport_t &transport) {
    HostEvent event;
    memset(&event, 0, sizeof event);
    event.transport = transport;
    event.transport.header = Header(sizeof transport, time, CLAP_EVENT_TRANSPORT);
    return event;
}

HostEvent NoteEvent(uint32_t time, uint16_t type, int16_t key, double velocity) {
    HostEvent event;
    memset(&event, 0, sizeof event);
    event.note.header = Header(sizeof event.note, time, type);
    event.note.note_id = -1;
    event.note.port_index = 0;
    event.note.channel = 0;
    event.note.key = key;
    event.note.velocity = velocity;
    return event;
}

HostEvent MidiEvent(uint32_t time, uint8_t status, uint8_t data1, uint8_t data2) {
    HostEvent event;
    memset(&event, 0, sizeof event);
    event.midi.header = Header(sizeof event.midi, time, CLAP_EVENT_MIDI);
    event.midi.data[0] = status;
    event.midi.data[1] = data1;
    event.midi.data[2] = data2;
    return event;
}

HostEvent Midi2Event(uint32_t time, uint32_t word0) {
    HostEvent event;
    memset(&event, 0, sizeof event);
    event.midi2.header = Header(sizeof event.midi2, time, CLAP_EVENT_MIDI2);
    event.midi2.data[0] = word0;
    return event;
}

HostEvent InSpace(HostEvent event, uint16_t space) {
    event.header.space_id = space;
    return event;
}

// ---- event lists ----

static uint32_t InputSize(const clap_input_events_t *list) {
    return uint32_t(((const std::vector<HostEvent> *)list->ctx)->size());
}

static const clap_event_header_t *InputGet(const clap_input_events_t *list, uint32_t index) {
    const auto *events = (const std::vector<HostEvent> *)list->ctx;
    return index < events->size() ? &(*events)[index].header : nullptr;
}

struct OutputSink {
    std::vector<HostEvent> *events;
    bool refuse;
};

static bool OutputPush(const clap_output_events_t *list, const clap_event_header_t *header) {
    OutputSink *sink = (OutputSink *)list->ctx;
    if (!header) return false;
    HostEvent copy;
    memset(&copy, 0, sizeof copy);
    size_t size = header->size < sizeof copy ? header->size : sizeof copy;
    if (size < sizeof(clap_event_header_t)) size = sizeof(clap_event_header_t);
    memcpy(&copy, header, size);
    sink->events->push_back(copy);
    return !sink->refuse;
}

// ---- processing ----

StereoBuffer MakeStereo(uint32_t frames, float fill) {
    StereoBuffer buffer;
    buffer.left.assign(frames, fill);
    buffer.right.assign(frames, fill);
    return buffer;
}

StereoBuffer Noise(uint32_t frames, uint32_t seed, float amplitude) {
    StereoBuffer buffer = MakeStereo(frames);
    uint32_t state = seed * 2654435761u + 12345u;
    auto next = [&state, amplitude] {
        state = state * 1664525u + 1013904223u;
        return (float(state >> 8) * (1.0f / 8388608.0f) - 1.0f) * amplitude;
    };
    for (uint32_t i = 0; i < frames; i++) {
        buffer.left[i] = next();
        buffer.right[i] = next();
    }
    return buffer;
}

int64_t FirstDifferentFrame(const StereoBuffer &a, const StereoBuffer &b) {
    uint32_t frames = a.frames() < b.frames() ? a.frames() : b.frames();
    for (uint32_t i = 0; i < frames; i++)
        if (memcmp(&a.left[i], &b.left[i], sizeof(float)) != 0 ||
            memcmp(&a.right[i], &b.right[i], sizeof(float)) != 0)
            return i;
    return a.frames() == b.frames() ? -1 : int64_t(frames);
}

ProcessResult Process(Instance &instance, const ProcessRequest &request) {
    if (!instance.plugin) throw HostError("process: the instance is gone");
    // Channels past the first two are there, and null.
    const uint32_t CHANNEL_ROOM = 8;
    if (request.inputChannels > CHANNEL_ROOM || request.outputChannels > CHANNEL_ROOM)
        throw HostError("process: at most 8 channels a port");
    float *inputChannels[CHANNEL_ROOM] = {request.input[0], request.input[1]};
    float *outputChannels[CHANNEL_ROOM] = {request.output[0], request.output[1]};

    clap_audio_buffer_t input{}, output{};
    input.data32 = request.nullChannelArrays ? nullptr : inputChannels;
    input.channel_count = request.inputChannels;
    output.data32 = request.nullChannelArrays ? nullptr : outputChannels;
    output.channel_count = request.outputChannels;
    std::vector<clap_audio_buffer_t> inputs(request.inputPorts, input);
    std::vector<clap_audio_buffer_t> outputs(request.outputPorts, output);

    ProcessResult result;
    clap_input_events_t inEvents = {(void *)&request.events, InputSize, InputGet};
    OutputSink sink = {&result.output, request.refuseOutput};
    clap_output_events_t outEvents = {&sink, OutputPush};

    clap_process_t process{};
    process.steady_time = request.steadyTime;
    process.frames_count = request.frames;
    process.transport = request.transport;
    process.audio_inputs = inputs.empty() ? nullptr : inputs.data();
    process.audio_outputs = outputs.empty() ? nullptr : outputs.data();
    process.audio_inputs_count = request.inputPorts;
    process.audio_outputs_count = request.outputPorts;
    process.in_events = request.nullEventLists ? nullptr : &inEvents;
    process.out_events = request.nullEventLists ? nullptr : &outEvents;

    instance.host->audioThread = ThisThread();
    result.status = instance.plugin->process(instance.plugin, &process);
    instance.host->audioThread = 0;
    return result;
}

// Channels handed to the plug-in by ProcessStereo sit between guard frames
// that hold a marker, so that a write outside the block shows. Inputs and
// outputs have different markers: a plug-in that reads past the input and
// writes past the output must not copy one guard onto the other unseen.
static const uint32_t GUARD_FRAMES = 1024;
static const uint32_t INPUT_GUARD_MARK = 0x7FC0BEEFu;  // quiet NaNs that no arithmetic makes
static const uint32_t OUTPUT_GUARD_MARK = 0x7FC0DEADu;

static std::vector<float> Guarded(const std::vector<float> &channel, uint32_t markBits) {
    float mark;
    memcpy(&mark, &markBits, sizeof mark);
    std::vector<float> guarded(channel.size() + 2 * GUARD_FRAMES, mark);
    std::copy(channel.begin(), channel.end(), guarded.begin() + GUARD_FRAMES);
    return guarded;
}

static bool GuardsIntact(const std::vector<float> &guarded, uint32_t markBits) {
    for (size_t i = 0; i < guarded.size(); i++) {
        if (i == GUARD_FRAMES) i = guarded.size() - GUARD_FRAMES;
        if (memcmp(&guarded[i], &markBits, sizeof markBits) != 0) return false;
    }
    return true;
}

ProcessResult ProcessStereo(Instance &instance, const StereoBuffer &input, StereoBuffer &output,
                            std::vector<HostEvent> events,
                            const clap_event_transport_t *transport) {
    if (output.frames() != input.frames())
        throw HostError("process: input and output differ in length");
    std::vector<float> channels[4] = {
        Guarded(input.left, INPUT_GUARD_MARK), Guarded(input.right, INPUT_GUARD_MARK),
        Guarded(output.left, OUTPUT_GUARD_MARK), Guarded(output.right, OUTPUT_GUARD_MARK)};
    ProcessRequest request;
    request.frames = input.frames();
    for (int c = 0; c < 2; c++) {
        request.input[c] = channels[c].data() + GUARD_FRAMES;
        request.output[c] = channels[2 + c].data() + GUARD_FRAMES;
    }
    request.events = std::move(events);
    request.transport = transport;
    ProcessResult result = Process(instance, request);
    for (int c = 0; c < 4; c++)
        if (!GuardsIntact(channels[c], c < 2 ? INPUT_GUARD_MARK : OUTPUT_GUARD_MARK))
            throw HostError("process wrote outside the block's channel buffers");
    std::copy_n(request.output[0], output.frames(), output.left.begin());
    std::copy_n(request.output[1], output.frames(), output.right.begin());
    return result;
}

// ---- parameters ----

static const clap_plugin_params_t &Params(const Instance &instance) {
    if (!instance.plugin || !instance.params) throw HostError("the plug-in offers no clap.params");
    return *instance.params;
}

uint32_t ParamCount(const Instance &instance) {
    return Params(instance).count(instance.plugin);
}

std::optional<clap_param_info_t> GetParamInfo(const Instance &instance, uint32_t index) {
    clap_param_info_t info;
    memset(&info, 0, sizeof info);
    if (!Params(instance).get_info(instance.plugin, index, &info)) return std::nullopt;
    info.name[sizeof info.name - 1] = 0;
    info.module[sizeof info.module - 1] = 0;
    return info;
}

std::optional<double> GetParamValue(const Instance &instance, clap_id id) {
    double value = 0;
    if (!Params(instance).get_value(instance.plugin, id, &value)) return std::nullopt;
    return value;
}

std::optional<std::string> ParamText(const Instance &instance, clap_id id, double value) {
    char text[256];
    memset(text, 0, sizeof text);
    if (!Params(instance).value_to_text(instance.plugin, id, value, text, sizeof text))
        return std::nullopt;
    text[sizeof text - 1] = 0;
    return std::string(text);
}

std::vector<HostEvent> FlushParams(Instance &instance, std::vector<HostEvent> events) {
    const clap_plugin_params_t &params = Params(instance);
    std::vector<HostEvent> pushed;
    clap_input_events_t inEvents = {(void *)&events, InputSize, InputGet};
    OutputSink sink = {&pushed, false};
    clap_output_events_t outEvents = {&sink, OutputPush};
    params.flush(instance.plugin, &inEvents, &outEvents);
    return pushed;
}

clap_id FindParam(const Instance &instance, const std::string &nameOrId) {
    uint32_t count = ParamCount(instance);
    for (uint32_t i = 0; i < count; i++) {
        std::optional<clap_param_info_t> info = GetParamInfo(instance, i);
        if (info && nameOrId == info->name) return info->id;
    }
    if (nameOrId.empty() || nameOrId.size() > 9) return CLAP_INVALID_ID;
    for (char c : nameOrId)
        if (c < '0' || c > '9') return CLAP_INVALID_ID;
    unsigned long id = strtoul(nameOrId.c_str(), nullptr, 10);
    if (id >= count) return CLAP_INVALID_ID;
    std::optional<clap_param_info_t> info = GetParamInfo(instance, uint32_t(id));
    return info ? info->id : clap_id(id);
}

// ---- meters ----

struct MetersExtension {
    void (*request)(const clap_plugin_t *plugin, bool wanted);
    bool (*compressorLevels)(const clap_plugin_t *plugin, uint32_t instance, float *inputDb,
                             float *outputDb);
};

static const MetersExtension *Meters(const Instance &instance) {
    if (!instance.plugin) throw HostError("meters: the instance is gone");
    auto meters = (const MetersExtension *)instance.plugin->get_extension(instance.plugin,
                                                                          "orwen.meters");
    return meters && meters->request && meters->compressorLevels ? meters : nullptr;
}

bool RequestMeters(const Instance &instance, bool wanted) {
    const MetersExtension *meters = Meters(instance);
    if (meters) meters->request(instance.plugin, wanted);
    return meters != nullptr;
}

std::optional<CompressorLevels> ReadCompressorLevels(const Instance &instance, uint32_t unit) {
    const MetersExtension *meters = Meters(instance);
    CompressorLevels levels{};
    if (!meters || !meters->compressorLevels(instance.plugin, unit, &levels.inputDb,
                                             &levels.outputDb))
        return std::nullopt;
    return levels;
}

// ---- extension ids ----

const char *const KNOWN_PLUGIN_EXTENSIONS[] = {
    "clap.audio-ports",
    "clap.params",
    "clap.gui",
    "clap.state",
    "clap.timer-support",
    "clap.posix-fd-support",
    "clap.preset-load.draft/2",
    "clap.param-indication.draft/4",
    "orwen.ensure_samples_loaded",
    "orwen.palette_access",
    "orwen.randomize",
    "orwen.meters",
    "clap.latency",
    "clap.tail",
    "clap.note-ports",
    "clap.render",
    "clap.voice-info",
    "clap.audio-ports-config",
    "clap.note-name",
    "clap.thread-pool",
    "clap.context-menu.draft/0",
    "clap.remote-controls.draft/2",
};
const int KNOWN_PLUGIN_EXTENSION_COUNT =
    int(sizeof KNOWN_PLUGIN_EXTENSIONS / sizeof KNOWN_PLUGIN_EXTENSIONS[0]);

// ---- standard error ----

std::string CaptureStderr(const std::function<void()> &body) {
    fflush(stderr);
    FILE *file = tmpfile();
    if (!file) throw HostError("cannot make a temporary file for standard error");
    int saved = dup(2);
    dup2(fileno(file), 2);
    auto restore = [&] {
        fflush(stderr);
        dup2(saved, 2);
        close(saved);
    };
    try {
        body();
    } catch (...) {
        restore();
        fclose(file);
        throw;
    }
    restore();
    std::string text;
    rewind(file);
    char chunk[4096];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, file)) > 0) text.append(chunk, got);
    fclose(file);
    return text;
}
