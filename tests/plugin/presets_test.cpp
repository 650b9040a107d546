// Patches from outside the host's state: .synthpatch files loaded through
// clap.preset-load, the start-up patch named by the settings, the preset
// discovery factory and its provider, and the invalidation factory.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <math.h>
#include <string.h>
#include <unistd.h>
#include <limits>
#include <string>
#include <vector>
#include "tools/host/host.h"

namespace {

const uint32_t PARAM_TOTAL = 231;
const off_t LARGEST_PATCH_FILE = 0xFFFFFF;
const off_t METADATA_LIMIT = 10000000;
const char *const PROVIDER_ID = "orwen.LathemoorFX.preset_discovery_provider";

// ---- a host that offers clap.preset-load.draft/2 ----

struct Loaded {
    uint32_t kind;
    std::string location;
    bool nullKey;
};

// The host table of these tests: the preset-load extension (unless told
// otherwise), and clap.state and clap.params to count what the plug-in tells.
struct PresetHost {
    clap_host_t clap{};
    bool offerPresetLoad = true;
    std::vector<Loaded> loaded;
    int errors = 0, markDirty = 0, rescans = 0;
    uint32_t rescanFlags = 0;

    PresetHost() {
        clap.clap_version = CLAP_VERSION_INIT;
        clap.host_data = this;
        clap.name = "preset test host";
        clap.vendor = clap.url = clap.version = "";
        clap.get_extension = GetExtension;
    }
    static PresetHost *Of(const clap_host_t *host) { return (PresetHost *)host->host_data; }

    static void OnError(const clap_host_t *host, uint32_t, const char *, const char *, int32_t,
                        const char *) {
        Of(host)->errors++;
    }
    static void OnLoaded(const clap_host_t *host, uint32_t kind, const char *location,
                         const char *key) {
        Of(host)->loaded.push_back({kind, location ? location : "(null)", key == nullptr});
    }
    static void MarkDirty(const clap_host_t *host) { Of(host)->markDirty++; }
    static void Rescan(const clap_host_t *host, uint32_t flags) {
        Of(host)->rescans++;
        Of(host)->rescanFlags |= flags;
    }
    static void Clear(const clap_host_t *, clap_id, uint32_t) {}
    static void RequestFlush(const clap_host_t *) {}

    static const void *GetExtension(const clap_host_t *host, const char *id) {
        static const clap_host_preset_load_t PRESET_LOAD = {OnError, OnLoaded};
        static const clap_host_state_t STATE = {MarkDirty};
        static const clap_host_params_t PARAMS = {Rescan, Clear, RequestFlush};
        if (!strcmp(id, CLAP_EXT_PRESET_LOAD))
            return Of(host)->offerPresetLoad ? &PRESET_LOAD : nullptr;
        if (!strcmp(id, CLAP_EXT_STATE)) return &STATE;
        if (!strcmp(id, CLAP_EXT_PARAMS)) return &PARAMS;
        return nullptr;
    }
};

// An instance of the test plug-in that talks to `host`; the Instance's own
// Host record only keeps the host library's bookkeeping.
std::unique_ptr<Instance> CreateWithHost(const PresetHost &host) {
    const PluginLibrary &library = TestPlugin();
    auto instance = std::make_unique<Instance>();
    instance->library = &library;
    instance->host = NewHost();
    instance->plugin =
        library.factory->create_plugin(library.factory, &host.clap, library.descriptor->id);
    if (!instance->plugin || !instance->plugin->init(instance->plugin))
        throw HostError("no instance");
    const clap_plugin_t *plugin = instance->plugin;
    instance->params = (const clap_plugin_params_t *)plugin->get_extension(plugin, CLAP_EXT_PARAMS);
    instance->state = (const clap_plugin_state_t *)plugin->get_extension(plugin, CLAP_EXT_STATE);
    return instance;
}

bool FromLocation(const Instance &instance, uint32_t kind, const char *location) {
    auto presetLoad = (const clap_plugin_preset_load_t *)instance.plugin->get_extension(
        instance.plugin, CLAP_EXT_PRESET_LOAD);
    return presetLoad->from_location(instance.plugin, kind, location, nullptr);
}

// ---- patch files ----

std::vector<float> Ramp() {
    std::vector<float> values;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++)
        values.push_back(float(PARAM_TOTAL - i) / float(PARAM_TOTAL));
    return values;
}

std::vector<CurveImage> FileCurves() {
    CurveImage a, b, c;
    a.loopStart = 1;
    a.points = {{0, 0.5f, 0}, {0.25f, 1, 2}, {1, 0, -2}};
    b.points = {{0, 0, 0}, {0.1f, 0.2f, 0.3f}, {0.4f, 0.5f, 0.6f}, {1, 1, 0}};
    c.loopStart = 3;
    c.points = {{0, 1, 20}, {1, 1, -20}};
    return {a, b, c};
}

// A .synthpatch file laid out byte by byte: magic, version, name, values,
// 676 reserved bytes with a pattern, 4 trailing bytes, the curve block.
std::vector<uint8_t> PatchFile(const std::string &name, const std::vector<float> &values,
                               const std::vector<CurveImage> &curves = FileCurves(),
                               uint64_t version = 13) {
    std::vector<uint8_t> file;
    PutLE(file, SYNTHPATCH_MAGIC);
    PutLE(file, version);
    file.insert(file.end(), name.begin(), name.end());
    file.resize(FILE_VALUES_AT, 0);
    for (float v : values) PutLE(file, v);
    for (uint32_t i = 0; i < PATCH_RESERVED_BYTES; i++) file.push_back(uint8_t(3 * i + 5));
    file.insert(file.end(), {0, 0, 0, 0});
    std::vector<uint8_t> block = CurveBlockBytes(curves);
    file.insert(file.end(), block.begin(), block.end());
    return file;
}

std::string Write(const TemporaryFolder &folder, const std::string &name,
                  const std::vector<uint8_t> &bytes) {
    std::string path = folder.File(name);
    WriteFileBytes(path, bytes);
    return path;
}

// A file of `size` bytes: these bytes, then zeros.
std::string WriteSized(const TemporaryFolder &folder, const std::string &name,
                       const std::vector<uint8_t> &bytes, off_t size) {
    std::string path = Write(folder, name, bytes);
    EXPECT_EQ(truncate(path.c_str(), size), 0);
    return path;
}

std::vector<uint8_t> Saved(const Instance &instance) {
    std::optional<std::vector<uint8_t>> state = SaveState(instance);
    EXPECT_TRUE(state.has_value());
    return state.value_or(std::vector<uint8_t>());
}

std::string NameOf(const std::vector<uint8_t> &state) {
    return std::string((const char *)&state[STATE_NAME_AT],
                       strnlen((const char *)&state[STATE_NAME_AT], PATCH_NAME_BYTES));
}

std::vector<uint8_t> CurvesOf(const std::vector<uint8_t> &state) {
    return std::vector<uint8_t>(state.begin() + STATE_CURVES_AT, state.end());
}

void ExpectValues(const Instance &instance, const std::vector<float> &expected) {
    std::vector<uint8_t> state = Saved(instance);
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) {
        EXPECT_EQ(GetParamValue(instance, i), double(expected[i])) << "get_value " << i;
        EXPECT_EQ(GetLE<float>(state, STATE_VALUES_AT + 4 * i), expected[i]) << "saved " << i;
    }
}

// A state with the defaults' block and curves unlike both the defaults and
// FileCurves: what an instance holds before a test's load.
std::vector<uint8_t> EarlierState() {
    std::vector<uint8_t> state = Saved(*CreateInstance(TestPlugin()));
    state.resize(STATE_CURVES_AT);
    const char NAME[] = "earlier";
    memcpy(&state[STATE_NAME_AT], NAME, sizeof NAME);
    CurveImage steps;
    steps.points = {{0, 0, 0}, {0.5f, 0.5f, 0}, {0.75f, 0.25f, 0}, {1, 1, 0}};
    std::vector<uint8_t> curves = CurveBlockBytes({steps, steps, steps});
    state.insert(state.end(), curves.begin(), curves.end());
    return state;
}

}  // namespace

// ---- clap.preset-load from_location ----

TEST(PresetLoad, a_good_file_loads_and_the_host_is_told) {
    TemporaryFolder folder;
    std::vector<float> values = Ramp();
    values[3] = 1.5f;
    values[4] = -3.0f;
    values[5] = std::numeric_limits<float>::quiet_NaN();
    values[6] = std::numeric_limits<float>::infinity();
    std::string path = Write(folder, "good.synthpatch", PatchFile("From a file", values));
    PresetHost host;
    std::unique_ptr<Instance> instance = CreateWithHost(host);
    int dirtyBefore = host.markDirty;

    ASSERT_TRUE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str()));
    ASSERT_EQ(host.loaded.size(), 1u);
    EXPECT_EQ(host.loaded[0].kind, uint32_t(CLAP_PRESET_DISCOVERY_LOCATION_FILE));
    EXPECT_EQ(host.loaded[0].location, path);
    EXPECT_TRUE(host.loaded[0].nullKey);
    EXPECT_EQ(host.errors, 0);
    EXPECT_GT(host.markDirty, dirtyBefore);
    EXPECT_GT(host.rescans, 0);
    EXPECT_EQ(host.rescanFlags, uint32_t(CLAP_PARAM_RESCAN_VALUES));

    std::vector<float> expected = Ramp();
    expected[3] = 1.0f;
    expected[4] = expected[5] = expected[6] = 0.0f;
    ExpectValues(*instance, expected);
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(NameOf(state), "From a file");
    EXPECT_EQ(GetLE<uint64_t>(state, STATE_MAGIC_AT), STATE_BLOCK_MAGIC);
    EXPECT_EQ(GetLE<uint64_t>(state, STATE_VERSION_AT), 13u);
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(FileCurves()));

    // The audio side takes the patch over at its next block.
    Activate(*instance);
    StereoBuffer input = Noise(64), output = MakeStereo(64);
    ProcessStereo(*instance, input, output);
    ExpectValues(*instance, expected);
}

// The 676 reserved bytes of the file stand at stream bytes 1,048 to 1,723 of
// the next save.
TEST(PresetLoad, reserved_bytes_of_a_file_reach_the_next_state_save) {
    TemporaryFolder folder;
    std::vector<uint8_t> file = PatchFile("reserved", Ramp());
    file[FILE_CURVES_AT - 1] = 0xEE;  // the 4 bytes behind them are ignored
    std::string path = Write(folder, "reserved.synthpatch", file);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadPresetFile(*instance, path));
    std::vector<uint8_t> state = Saved(*instance);
    std::vector<uint8_t> fromFile(file.begin() + FILE_RESERVED_AT,
                                  file.begin() + FILE_RESERVED_AT + PATCH_RESERVED_BYTES);
    std::vector<uint8_t> saved(state.begin() + STATE_RESERVED_AT, state.begin() + STATE_CURVES_AT);
    EXPECT_EQ(saved, fromFile);
}

TEST(PresetLoad, a_host_without_preset_load_still_gets_the_patch) {
    TemporaryFolder folder;
    std::string path = Write(folder, "good.synthpatch", PatchFile("quiet host", Ramp()));
    PresetHost host;
    host.offerPresetLoad = false;
    std::unique_ptr<Instance> instance = CreateWithHost(host);
    EXPECT_TRUE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str()));
    EXPECT_EQ(NameOf(Saved(*instance)), "quiet host");
    EXPECT_TRUE(host.loaded.empty());
}

TEST(PresetLoad, plugin_locations_and_missing_files_are_refused_and_change_nothing) {
    TemporaryFolder folder;
    std::string path = Write(folder, "good.synthpatch", PatchFile("never", Ramp()));
    PresetHost host;
    std::unique_ptr<Instance> instance = CreateWithHost(host);
    ASSERT_TRUE(LoadState(*instance, EarlierState()));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN, path.c_str()));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN, ""));
    EXPECT_FALSE(FromLocation(*instance, 7, path.c_str()));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE,
                              folder.File("missing.synthpatch").c_str()));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, nullptr));
    EXPECT_TRUE(host.loaded.empty());
    EXPECT_EQ(Saved(*instance), EarlierState());
}

TEST(PresetLoad, a_text_file_is_refused_and_resets_the_curves_only_when_it_is_long_enough) {
    TemporaryFolder folder;
    std::string line = "This is not a patch, only some words on a line of text.\n";
    std::string shortText, longText;
    while (shortText.size() + line.size() < STATE_BLOCK_SIZE) shortText += line;
    longText = shortText + line;
    std::string shortPath =
        Write(folder, "short.synthpatch", std::vector<uint8_t>(shortText.begin(), shortText.end()));
    std::string longPath =
        Write(folder, "long.synthpatch", std::vector<uint8_t>(longText.begin(), longText.end()));
    PresetHost host;
    std::unique_ptr<Instance> instance = CreateWithHost(host);
    ASSERT_TRUE(LoadState(*instance, EarlierState()));

    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, shortPath.c_str()));
    EXPECT_EQ(Saved(*instance), EarlierState());

    int dirtyBefore = host.markDirty;
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, longPath.c_str()));
    EXPECT_GT(host.markDirty, dirtyBefore);
    EXPECT_TRUE(host.loaded.empty());
    std::vector<uint8_t> state = Saved(*instance), earlier = EarlierState();
    EXPECT_TRUE(std::equal(earlier.begin(), earlier.begin() + STATE_CURVES_AT, state.begin()));
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(DefaultCurveImages()));
}

// A file that gets as far as its curves but is no patch keeps the name and
// values and leaves the default curves.
TEST(PresetLoad, a_file_refused_after_its_header_keeps_values_and_resets_the_curves) {
    TemporaryFolder folder;
    std::vector<uint8_t> stateMagic = PatchFile("x", Ramp());
    SetLE(stateMagic, 0, STATE_BLOCK_MAGIC);
    std::vector<uint8_t> noCurves = PatchFile("x", Ramp());
    noCurves.resize(FILE_CURVES_AT);
    std::vector<uint8_t> notPresent = PatchFile("x", Ramp());
    notPresent[FILE_CURVES_AT] = 0;
    struct Case {
        const char *what;
        std::vector<uint8_t> file;
    };
    for (const Case &c :
         {Case{"state magic", stateMagic}, Case{"1,720 bytes, no curve block", noCurves},
          Case{"present byte 0", notPresent},
          Case{"version 14", PatchFile("x", Ramp(), FileCurves(), 14)},
          Case{"version 2^63", PatchFile("x", Ramp(), FileCurves(), 1ull << 63)}}) {
        SCOPED_TRACE(c.what);
        std::string path = Write(folder, "refused.synthpatch", c.file);
        std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*instance, EarlierState()));
        EXPECT_FALSE(LoadPresetFile(*instance, path));
        std::vector<uint8_t> state = Saved(*instance), earlier = EarlierState();
        EXPECT_TRUE(std::equal(earlier.begin(), earlier.begin() + STATE_CURVES_AT, state.begin()));
        EXPECT_EQ(CurvesOf(state), CurveBlockBytes(DefaultCurveImages()));
    }
}

TEST(PresetLoad, versions_0_to_13_load_and_14_is_refused) {
    TemporaryFolder folder;
    for (uint64_t version = 0; version <= 14; version++) {
        std::string path =
            Write(folder, "v.synthpatch",
                  PatchFile("v" + std::to_string(version), Ramp(), FileCurves(), version));
        std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
        EXPECT_EQ(LoadPresetFile(*instance, path), version < 14) << version;
        std::vector<uint8_t> state = Saved(*instance);
        EXPECT_EQ(NameOf(state), version < 14 ? "v" + std::to_string(version) : "init") << version;
        EXPECT_EQ(GetLE<uint64_t>(state, STATE_VERSION_AT), 13u) << version;
    }
}

TEST(PresetLoad, a_file_of_the_largest_size_loads_and_one_byte_more_is_refused_unread) {
    TemporaryFolder folder;
    std::vector<uint8_t> file = PatchFile("largest", Ramp());
    std::string largest = WriteSized(folder, "largest.synthpatch", file, LARGEST_PATCH_FILE);
    std::string tooLarge = WriteSized(folder, "too-large.synthpatch", file, LARGEST_PATCH_FILE + 1);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, EarlierState()));
    EXPECT_FALSE(LoadPresetFile(*instance, tooLarge));
    EXPECT_EQ(Saved(*instance), EarlierState());  // not even the curves were touched
    EXPECT_TRUE(LoadPresetFile(*instance, largest));
    EXPECT_EQ(NameOf(Saved(*instance)), "largest");
    EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes(FileCurves()));
}

// ---- the start-up patch ----

TEST(PresetInit, the_custom_init_patch_setting_names_the_start_up_patch) {
    TemporaryHome home;
    std::string path = Write(home.folder, "start.synthpatch", PatchFile("Start here", Ramp()));
    home.WriteSettings("[LathemoorFX]\nCustomInitPatch=" + path + "\n");
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(NameOf(state), "Start here");
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(FileCurves()));
    ExpectValues(*instance, Ramp());
    Activate(*instance);
    StereoBuffer input = Noise(64), output = MakeStereo(64);
    ProcessStereo(*instance, input, output);
    ExpectValues(*instance, Ramp());
}

TEST(PresetInit, a_missing_file_and_the_special_values_start_with_the_default_patch) {
    TemporaryHome home;
    std::vector<uint8_t> defaults = Saved(*CreateInstance(TestPlugin()));  // no settings file
    EXPECT_EQ(NameOf(defaults), "init");
    EXPECT_EQ(CurvesOf(defaults), CurveBlockBytes(DefaultCurveImages()));
    std::vector<uint8_t> text(2000, 'z');
    std::string textPath = Write(home.folder, "text.synthpatch", text);
    for (std::string value : {home.folder.File("missing.synthpatch"), std::string("!"),
                              std::string("e"), std::string(""), textPath, std::string("e\r")}) {
        SCOPED_TRACE(value);
        home.WriteSettings("[LathemoorFX]\nCustomInitPatch=" + value + "\n");
        EXPECT_EQ(Saved(*CreateInstance(TestPlugin())), defaults);
    }
}

// ---- the preset discovery factory ----

TEST(PresetDiscovery, the_factory_offers_one_provider_and_refuses_other_ids) {
    auto factory = (const clap_preset_discovery_factory_t *)TestPlugin().entry->get_factory(
        CLAP_PRESET_DISCOVERY_FACTORY_ID);
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(factory->count(factory), 1u);
    const clap_preset_discovery_provider_descriptor_t *d = factory->get_descriptor(factory, 0);
    ASSERT_NE(d, nullptr);
    EXPECT_STREQ(d->id, PROVIDER_ID);
    EXPECT_STREQ(d->name, "The preset discovery provider for LathemoorFX");
    EXPECT_STREQ(d->vendor, "orwen");
    EXPECT_EQ(d->clap_version.major, 1u);
    EXPECT_EQ(factory->get_descriptor(factory, 1), nullptr);
    clap_preset_discovery_indexer_t indexer{};
    EXPECT_EQ(factory->create(factory, &indexer, "orwen.LathemoorFX"), nullptr);
    EXPECT_EQ(factory->create(factory, &indexer, "orwen.LathemoorFX.preset_discovery_provider2"),
              nullptr);
    EXPECT_EQ(factory->create(factory, &indexer, nullptr), nullptr);
    const clap_preset_discovery_provider_t *provider =
        factory->create(factory, &indexer, PROVIDER_ID);
    ASSERT_NE(provider, nullptr);
    EXPECT_EQ(provider->desc, d);
    EXPECT_EQ(provider->get_extension(provider, "clap.preset-discovery-provider.anything"),
              nullptr);
    provider->destroy(provider);
}

TEST(PresetDiscovery, without_user_patches_init_declares_the_factory_location_then_the_file_type) {
    TemporaryHome home;
    for (const char *settings :
         {(const char *)nullptr, "[LathemoorFX]\nUIScale=150\n[Other]\nUserPatches=/x\n"}) {
        SCOPED_TRACE(settings ? "settings without the key" : "no settings file");
        if (settings) home.WriteSettings(settings);
        std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
        EXPECT_TRUE(indexer->initResult);
        ASSERT_EQ(indexer->declared.size(), 2u);
        const PresetCall &factory = indexer->declared[0], &type = indexer->declared[1];
        EXPECT_EQ(factory.function, "declare_location");
        EXPECT_EQ(factory.numbers, (std::vector<int64_t>{CLAP_PRESET_DISCOVERY_IS_FACTORY_CONTENT,
                                                         CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN}));
        EXPECT_EQ(factory.texts, (std::vector<std::optional<std::string>>{"Factory ROM", ""}));
        EXPECT_EQ(type.function, "declare_filetype");
        EXPECT_EQ(type.texts,
                  (std::vector<std::optional<std::string>>{
                      "LathemoorFX patch", "An individual patch for the LathemoorFX audio plugin.",
                      "synthpatch"}));
    }
}

TEST(PresetDiscovery, user_patches_adds_a_user_file_location_between_them) {
    TemporaryHome home;
    for (std::string folder : {std::string("/home/someone/My Patches"), std::string("")}) {
        SCOPED_TRACE(folder);
        home.WriteSettings("; patches\n[LathemoorFX]\nUserPatches=" + folder + "\n");
        std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
        ASSERT_EQ(indexer->declared.size(), 3u);
        EXPECT_EQ(indexer->declared[0].texts[0], "Factory ROM");
        const PresetCall &user = indexer->declared[1];
        EXPECT_EQ(user.function, "declare_location");
        EXPECT_EQ(user.numbers, (std::vector<int64_t>{CLAP_PRESET_DISCOVERY_IS_USER_CONTENT,
                                                      CLAP_PRESET_DISCOVERY_LOCATION_FILE}));
        EXPECT_EQ(user.texts,
                  (std::vector<std::optional<std::string>>{"User patch folder", folder}));
        EXPECT_EQ(indexer->declared[2].function, "declare_filetype");
    }
}

TEST(PresetDiscovery, the_plugin_location_has_no_presets_and_other_kinds_fail) {
    std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
    PresetMetadata factory =
        ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN, "");
    EXPECT_TRUE(factory.result);
    EXPECT_TRUE(factory.calls.empty());
    PresetMetadata other = ReadPresetMetadata(*indexer, 2, "/tmp");
    EXPECT_FALSE(other.result);
    EXPECT_TRUE(other.calls.empty());
}

TEST(PresetDiscovery, every_readable_file_below_10000000_bytes_is_one_user_preset) {
    TemporaryFolder folder;
    std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
    std::string empty = Write(folder, "empty.synthpatch", {});
    std::string text = Write(folder, "text.txt", {'h', 'i', '\n'});
    std::string patch = Write(folder, "patch.synthpatch", PatchFile("p", Ramp()));
    std::string largest = WriteSized(folder, "large.synthpatch", {}, METADATA_LIMIT - 1);
    for (const std::string &path : {empty, text, patch, largest}) {
        SCOPED_TRACE(path);
        PresetMetadata metadata =
            ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str());
        EXPECT_TRUE(metadata.result);
        ASSERT_EQ(metadata.calls.size(), 3u);
        EXPECT_EQ(metadata.calls[0].function, "begin_preset");
        EXPECT_EQ(metadata.calls[0].texts,
                  (std::vector<std::optional<std::string>>{std::nullopt, std::nullopt}));
        EXPECT_EQ(metadata.calls[1].function, "add_plugin_id");
        EXPECT_EQ(metadata.calls[1].texts,
                  (std::vector<std::optional<std::string>>{"clap", "orwen.LathemoorFX"}));
        EXPECT_EQ(metadata.calls[2].function, "set_flags");
        EXPECT_EQ(metadata.calls[2].numbers,
                  std::vector<int64_t>{CLAP_PRESET_DISCOVERY_IS_USER_CONTENT});
    }
    // A receiver that declines the preset hears nothing more of it.
    PresetMetadata declined =
        ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_FILE, empty.c_str(), false);
    EXPECT_TRUE(declined.result);
    ASSERT_EQ(declined.calls.size(), 1u);
    EXPECT_EQ(declined.calls[0].function, "begin_preset");
}

TEST(PresetDiscovery, a_file_that_cannot_be_read_gives_the_error_and_false) {
    TemporaryFolder folder;
    std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
    std::string tooLarge = WriteSized(folder, "huge.synthpatch", {}, METADATA_LIMIT);
    std::string missing = folder.File("missing.synthpatch");
    for (const char *path : {missing.c_str(), tooLarge.c_str(), "", (const char *)nullptr}) {
        SCOPED_TRACE(path ? path : "null");
        PresetMetadata metadata =
            ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path);
        EXPECT_FALSE(metadata.result);
        ASSERT_EQ(metadata.calls.size(), 1u);
        EXPECT_EQ(metadata.calls[0].function, "on_error");
        EXPECT_EQ(metadata.calls[0].numbers, std::vector<int64_t>{0});
        EXPECT_EQ(metadata.calls[0].texts,
                  (std::vector<std::optional<std::string>>{"The file could not be loaded."}));
    }
}

// ---- the invalidation factory ----

TEST(PresetInvalidation, one_source_watches_the_settings_file) {
    TemporaryHome home;
    auto factory = (const clap_plugin_invalidation_factory_t *)TestPlugin().entry->get_factory(
        CLAP_PLUGIN_INVALIDATION_FACTORY_ID);
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(factory->count(factory), 1u);
    EXPECT_EQ(factory->get(factory, 1), nullptr);
    const clap_plugin_invalidation_source_t *source = factory->get(factory, 0);
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(std::string(source->directory), home.folder.path + "/.config/");
    EXPECT_STREQ(source->filename_glob, "OrwenAudioPlugins.ini");
    EXPECT_FALSE(source->recursive_scan);
    EXPECT_EQ(factory->get(factory, 0), source);
    EXPECT_EQ(std::string(source->directory), home.folder.path + "/.config/");
    EXPECT_TRUE(factory->refresh(factory));
}
