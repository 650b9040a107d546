// The host's side of patches: the plug-in's state saved to and loaded from
// memory, preset files loaded through the plug-in, .synthpatch files made
// from a state, and preset discovery as a host's indexer runs it. Also the
// temporary folders and HOME that the tests and tools use around settings.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <filesystem>
#include "tools/host/host.h"

namespace {

// ---- memory streams ----

struct MemoryInput {
    const std::vector<uint8_t> *bytes;
    size_t position;
    size_t chunk;  // the most one read gives
};

int64_t ReadMemory(const clap_istream_t *stream, void *buffer, uint64_t size) {
    MemoryInput *input = (MemoryInput *)stream->ctx;
    size_t remaining = input->bytes->size() - input->position;
    size_t n = size < remaining ? size_t(size) : remaining;
    if (n > input->chunk) n = input->chunk;
    if (n) memcpy(buffer, input->bytes->data() + input->position, n);
    input->position += n;
    return int64_t(n);
}

int64_t WriteMemory(const clap_ostream_t *stream, const void *buffer, uint64_t size) {
    std::vector<uint8_t> *output = (std::vector<uint8_t> *)stream->ctx;
    const uint8_t *bytes = (const uint8_t *)buffer;
    output->insert(output->end(), bytes, bytes + size);
    return int64_t(size);
}

// The own extension as the plug-in declares it.
struct RandomizeExtension {
    void (*randomize)(const clap_plugin_t *plugin);
};

// ---- the recording indexer and receiver ----

PresetCall Call(const char *function, std::vector<int64_t> numbers,
                std::vector<const char *> texts) {
    PresetCall call;
    call.function = function;
    call.numbers = std::move(numbers);
    for (const char *text : texts)
        call.texts.push_back(text ? std::optional<std::string>(text) : std::nullopt);
    return call;
}

PresetIndexer *IndexerOf(const clap_preset_discovery_indexer_t *indexer) {
    return (PresetIndexer *)indexer->indexer_data;
}

bool DeclareFiletype(const clap_preset_discovery_indexer_t *indexer,
                     const clap_preset_discovery_filetype_t *type) {
    IndexerOf(indexer)->declared.push_back(
        type ? Call("declare_filetype", {}, {type->name, type->description, type->file_extension})
             : Call("declare_filetype", {}, {}));
    return true;
}

bool DeclareLocation(const clap_preset_discovery_indexer_t *indexer,
                     const clap_preset_discovery_location_t *location) {
    IndexerOf(indexer)->declared.push_back(location ? Call("declare_location",
                                                           {location->flags, location->kind},
                                                           {location->name, location->location})
                                                    : Call("declare_location", {}, {}));
    return true;
}

bool DeclareSoundpack(const clap_preset_discovery_indexer_t *indexer,
                      const clap_preset_discovery_soundpack_t *pack) {
    IndexerOf(indexer)->declared.push_back(
        pack ? Call("declare_soundpack", {pack->flags}, {pack->id, pack->name})
             : Call("declare_soundpack", {}, {}));
    return true;
}

const void *IndexerGetExtension(const clap_preset_discovery_indexer_t *, const char *) {
    return nullptr;
}

struct Receiving {
    PresetMetadata *metadata;
    bool beginPreset;
};

void Record(const clap_preset_discovery_metadata_receiver_t *receiver, PresetCall call) {
    ((Receiving *)receiver->receiver_data)->metadata->calls.push_back(std::move(call));
}

void OnError(const clap_preset_discovery_metadata_receiver_t *r, int32_t code, const char *text) {
    Record(r, Call("on_error", {code}, {text}));
}
bool BeginPreset(const clap_preset_discovery_metadata_receiver_t *r, const char *name,
                 const char *key) {
    Record(r, Call("begin_preset", {}, {name, key}));
    return ((Receiving *)r->receiver_data)->beginPreset;
}
void AddPluginId(const clap_preset_discovery_metadata_receiver_t *r, const clap_plugin_id_t *id) {
    Record(r, id ? Call("add_plugin_id", {}, {id->abi, id->id}) : Call("add_plugin_id", {}, {}));
}
void SetSoundpackId(const clap_preset_discovery_metadata_receiver_t *r, const char *id) {
    Record(r, Call("set_soundpack_id", {}, {id}));
}
void SetFlags(const clap_preset_discovery_metadata_receiver_t *r, uint32_t flags) {
    Record(r, Call("set_flags", {flags}, {}));
}
void AddCreator(const clap_preset_discovery_metadata_receiver_t *r, const char *creator) {
    Record(r, Call("add_creator", {}, {creator}));
}
void SetDescription(const clap_preset_discovery_metadata_receiver_t *r, const char *text) {
    Record(r, Call("set_description", {}, {text}));
}
void SetTimestamps(const clap_preset_discovery_metadata_receiver_t *r, clap_timestamp_t made,
                   clap_timestamp_t changed) {
    Record(r, Call("set_timestamps", {int64_t(made), int64_t(changed)}, {}));
}
void AddFeature(const clap_preset_discovery_metadata_receiver_t *r, const char *feature) {
    Record(r, Call("add_feature", {}, {feature}));
}
void AddExtraInfo(const clap_preset_discovery_metadata_receiver_t *r, const char *key,
                  const char *value) {
    Record(r, Call("add_extra_info", {}, {key, value}));
}

}  // namespace

// ---- state and presets through the instance ----

std::optional<std::vector<uint8_t>> SaveState(const Instance &instance) {
    if (!instance.plugin || !instance.state) throw HostError("the plug-in offers no clap.state");
    std::vector<uint8_t> bytes;
    clap_ostream_t stream = {&bytes, WriteMemory};
    if (!instance.state->save(instance.plugin, &stream)) return std::nullopt;
    return bytes;
}

bool LoadState(const Instance &instance, const std::vector<uint8_t> &bytes, size_t chunk) {
    if (!instance.plugin || !instance.state) throw HostError("the plug-in offers no clap.state");
    MemoryInput input = {&bytes, 0, chunk};
    clap_istream_t stream = {&input, ReadMemory};
    return instance.state->load(instance.plugin, &stream);
}

bool LoadPresetFile(const Instance &instance, const std::string &path) {
    if (!instance.plugin) throw HostError("preset load: the instance is gone");
    const clap_plugin_t *plugin = instance.plugin;
    auto presetLoad =
        (const clap_plugin_preset_load_t *)plugin->get_extension(plugin, CLAP_EXT_PRESET_LOAD);
    if (!presetLoad || !presetLoad->from_location) return false;
    return presetLoad->from_location(plugin, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str(),
                                     nullptr);
}

bool Randomize(const Instance &instance) {
    if (!instance.plugin) throw HostError("randomize: the instance is gone");
    const clap_plugin_t *plugin = instance.plugin;
    auto extension = (const RandomizeExtension *)plugin->get_extension(plugin, "orwen.randomize");
    if (!extension || !extension->randomize) return false;
    extension->randomize(plugin);
    return true;
}

// ---- .synthpatch files ----

std::vector<uint8_t> SynthPatchFromState(const std::vector<uint8_t> &state,
                                         const std::string &name) {
    if (state.size() <= STATE_CURVES_AT || GetLE<uint32_t>(state, 0) != STATE_BLOCK_SIZE ||
        GetLE<uint64_t>(state, STATE_MAGIC_AT) != STATE_BLOCK_MAGIC)
        throw HostError("the state does not start with a patch block");
    std::vector<uint8_t> file;
    PutLE(file, SYNTHPATCH_MAGIC);
    PutLE(file, SYNTHPATCH_VERSION);
    std::string shortName = name.substr(0, PATCH_NAME_BYTES - 1);
    file.insert(file.end(), shortName.begin(), shortName.end());
    file.resize(FILE_VALUES_AT, 0);
    // The values and the reserved bytes behind them, up to the curve block.
    file.insert(file.end(), state.begin() + STATE_VALUES_AT, state.begin() + STATE_CURVES_AT);
    file.resize(FILE_CURVES_AT, 0);  // the file's last 4 reserved bytes are 0
    file.insert(file.end(), state.begin() + STATE_CURVES_AT, state.end());
    static_assert(FILE_VALUES_AT + (STATE_CURVES_AT - STATE_VALUES_AT) + 4 == FILE_CURVES_AT,
                  "the file's block ends 4 bytes after the stream's data");
    return file;
}

// ---- curve blocks ----

std::vector<CurveImage> DefaultCurveImages() {
    CurveImage triangle;
    triangle.points = {{0.0f, 0.0f, 0.0f}, {0.5f, 1.0f, 0.0f}, {1.0f, 0.0f, 0.0f}};
    return {triangle, triangle, triangle};
}

void PutCurve(std::vector<uint8_t> &bytes, const CurveImage &curve) {
    const uint16_t MARKER = 0xFFFF;
    PutLE<uint16_t>(bytes, MARKER);
    PutLE<uint16_t>(bytes, curve.loopStart);
    PutLE<uint16_t>(bytes, uint16_t(curve.points.size()));
    for (const CurvePointImage &point : curve.points) {
        PutLE(bytes, point.x);
        PutLE(bytes, point.y);
        PutLE(bytes, point.tension);
    }
}

std::vector<uint8_t> CurveBlockBytes(const std::vector<CurveImage> &curves) {
    std::vector<uint8_t> bytes = {1};
    for (const CurveImage &curve : curves) PutCurve(bytes, curve);
    return bytes;
}

// ---- files and folders ----

std::vector<uint8_t> ReadFileBytes(const std::string &path) {
    FILE *file = fopen(path.c_str(), "rb");
    if (!file) throw HostError(path + ": " + strerror(errno));
    std::vector<uint8_t> bytes;
    uint8_t chunk[65536];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, file)) > 0)
        bytes.insert(bytes.end(), chunk, chunk + got);
    bool failed = ferror(file);
    fclose(file);
    if (failed) throw HostError(path + ": read error");
    return bytes;
}

void WriteFileBytes(const std::string &path, const std::vector<uint8_t> &bytes) {
    FILE *file = fopen(path.c_str(), "wb");
    if (!file) throw HostError(path + ": " + strerror(errno));
    bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (fclose(file) != 0 || !written) throw HostError(path + ": write error");
}

std::vector<std::string> FindFiles(const std::string &folder, const std::string &suffix) {
    namespace fs = std::filesystem;
    std::vector<std::string> found;
    std::error_code error;
    fs::recursive_directory_iterator walk(folder, fs::directory_options::skip_permission_denied,
                                          error);
    for (; !error && walk != fs::recursive_directory_iterator(); walk.increment(error)) {
        const std::string path = walk->path().string();
        if (walk->is_regular_file(error) && path.size() >= suffix.size() &&
            path.compare(path.size() - suffix.size(), suffix.size(), suffix) == 0)
            found.push_back(path);
    }
    std::sort(found.begin(), found.end());
    return found;
}

TemporaryFolder::TemporaryFolder() {
    const char *base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/lathemoor-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back(0);
    if (!mkdtemp(name.data())) throw HostError(pattern + ": cannot make a temporary folder");
    path = name.data();
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

TemporaryHome::TemporaryHome() {
    const char *home = getenv("HOME");
    if (home) savedHome = home;
    mkdir((folder.path + "/.config").c_str(), 0755);
    setenv("HOME", folder.path.c_str(), 1);
}

TemporaryHome::~TemporaryHome() {
    if (savedHome)
        setenv("HOME", savedHome->c_str(), 1);
    else
        unsetenv("HOME");
}

void TemporaryHome::WriteSettings(const std::string &text) const {
    WriteFileBytes(SettingsPath(), std::vector<uint8_t>(text.begin(), text.end()));
}

// ---- preset discovery ----

PresetIndexer::~PresetIndexer() {
    if (provider && provider->destroy) provider->destroy(provider);
}

std::unique_ptr<PresetIndexer> StartPresetIndexer(const PluginLibrary &library) {
    auto factory = (const clap_preset_discovery_factory_t *)library.entry->get_factory(
        CLAP_PRESET_DISCOVERY_FACTORY_ID);
    if (!factory || !factory->count || !factory->get_descriptor || !factory->create)
        throw HostError(library.path + ": no preset discovery factory");
    const clap_preset_discovery_provider_descriptor_t *descriptor =
        factory->count(factory) > 0 ? factory->get_descriptor(factory, 0) : nullptr;
    if (!descriptor || !descriptor->id)
        throw HostError(library.path + ": the preset discovery factory offers no provider");

    auto indexer = std::make_unique<PresetIndexer>();
    clap_preset_discovery_indexer_t &table = indexer->indexer;
    table.clap_version = CLAP_VERSION_INIT;
    table.name = "lathemoor-host";
    table.vendor = "LathemoorFX developers";
    table.url = "";
    table.version = "1.0.0";
    table.indexer_data = indexer.get();
    table.declare_filetype = DeclareFiletype;
    table.declare_location = DeclareLocation;
    table.declare_soundpack = DeclareSoundpack;
    table.get_extension = IndexerGetExtension;
    indexer->provider = factory->create(factory, &table, descriptor->id);
    if (!indexer->provider || !indexer->provider->init)
        throw HostError(library.path + ": the preset provider could not be created");
    indexer->initResult = indexer->provider->init(indexer->provider);
    return indexer;
}

PresetMetadata ReadPresetMetadata(const PresetIndexer &indexer, uint32_t kind, const char *location,
                                  bool beginPreset) {
    PresetMetadata metadata;
    const clap_preset_discovery_provider_t *provider = indexer.provider;
    if (!provider || !provider->get_metadata) throw HostError("the preset provider is gone");
    Receiving receiving = {&metadata, beginPreset};
    clap_preset_discovery_metadata_receiver_t receiver = {
        &receiving, OnError,        BeginPreset,   AddPluginId, SetSoundpackId, SetFlags,
        AddCreator, SetDescription, SetTimestamps, AddFeature,  AddExtraInfo,
    };
    metadata.result = provider->get_metadata(provider, kind, location, &receiver);
    return metadata;
}
