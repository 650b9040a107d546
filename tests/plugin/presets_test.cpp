// Patches from outside the host's state: .synthpatch files loaded through
// clap.preset-load, the start-up patch named by the settings, and preset discovery.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <limits>

#include "tests/support/plugin_rig.h"

namespace {

const off_t LARGEST_PATCH_FILE = 0xFFFFFF, METADATA_LIMIT = 10000000;
const char *const PROVIDER_ID = "orwen.LathemoorFX.preset_discovery_provider";
typedef std::vector<std::optional<std::string>> Texts;

// What the plug-in told clap.preset-load.draft/2 it loaded: the location, and whether the key was null.
std::vector<std::pair<std::string, bool>> loaded;
const clap_host_preset_load_t PRESET_LOAD = {
    [](const clap_host_t *, uint32_t, const char *, const char *, int32_t, const char *) {},
    [](const clap_host_t *, uint32_t, const char *location, const char *key) {
        loaded.push_back({location ? location : "(null)", key == nullptr});
    }};
const void *(*hostLibraryExtension)(const clap_host_t *, const char *);

// An instance whose host is the host library's with clap.preset-load added.
std::unique_ptr<Instance> PresetLoadInstance() {
    const PluginLibrary &library = TestPlugin();
    auto instance = std::make_unique<Instance>();
    instance->library = &library;
    instance->host = NewHost();
    hostLibraryExtension = instance->host->clap.get_extension;
    instance->host->clap.get_extension = [](const clap_host_t *host, const char *id) -> const void * {
        return strcmp(id, CLAP_EXT_PRESET_LOAD) ? hostLibraryExtension(host, id) : &PRESET_LOAD;
    };
    instance->plugin = library.factory->create_plugin(library.factory, &instance->host->clap, library.descriptor->id);
    if (!instance->plugin || !instance->plugin->init(instance->plugin)) throw HostError("no instance");
    const clap_plugin_t *plugin = instance->plugin;
    instance->params = (const clap_plugin_params_t *)plugin->get_extension(plugin, CLAP_EXT_PARAMS);
    instance->state = (const clap_plugin_state_t *)plugin->get_extension(plugin, CLAP_EXT_STATE);
    loaded.clear();
    return instance;
}

bool FromLocation(const Instance &instance, uint32_t kind, const char *location) {
    auto presetLoad =
        (const clap_plugin_preset_load_t *)instance.plugin->get_extension(instance.plugin, CLAP_EXT_PRESET_LOAD);
    return presetLoad->from_location(instance.plugin, kind, location, nullptr);
}

// What an instance holds before a test's load: the default values under
// another name, with curves unlike both the defaults and the files'.
std::vector<uint8_t> EarlierState() {
    CurveImage steps;
    steps.points = {{0, 0, 0}, {0.5f, 0.5f, 0}, {0.75f, 0.25f, 0}, {1, 1, 0}};
    return StateWith(DefaultValues(), {steps, steps, steps}, "earlier");
}

// The instance holds the earlier block, and the default curves.
void ExpectEarlierValuesAndDefaultCurves(const Instance &instance) {
    std::vector<uint8_t> state = Saved(instance), earlier = EarlierState();
    EXPECT_TRUE(std::equal(earlier.begin(), earlier.begin() + STATE_CURVES_AT, state.begin()));
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(DefaultCurveImages()));
}

TEST(PresetLoad, a_good_file_loads_repaired_tells_the_host_and_carries_its_reserved_bytes) {
    TemporaryFolder folder;
    std::vector<float> values = Ramp(), expected = Ramp();
    values[3] = 1.5f, values[4] = std::numeric_limits<float>::quiet_NaN(), expected[3] = 1.0f, expected[4] = 0.0f;
    std::vector<uint8_t> file = PatchFile("From a file", values);
    file[FILE_CURVES_AT - 1] = 0xEE;  // the 4 bytes behind the reserved ones are ignored
    std::string path = WriteTo(folder, "good.synthpatch", file);
    std::unique_ptr<Instance> instance = PresetLoadInstance();
    const HostCalls &host = instance->host->calls;
    int dirtyBefore = host.markDirty;
    ASSERT_TRUE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str()));
    EXPECT_EQ(loaded, (std::vector<std::pair<std::string, bool>>{{path, true}}));
    EXPECT_GT(host.markDirty, dirtyBefore);
    EXPECT_EQ(host.rescanFlags, uint32_t(CLAP_PARAM_RESCAN_VALUES));
    ExpectValues(*instance, expected);
    // A value the host set just before the load is replaced by the file's, and
    // does not come back at the next save.
    FlushParams(*instance, {ParamValueEvent(0, 0, 0.8)});
    ASSERT_TRUE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str()));
    ExpectValues(*instance, expected);
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(NameOf(state), "From a file");
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(OddCurves()));
    // The file's 676 reserved bytes stand at stream bytes 1,048 to 1,723.
    EXPECT_TRUE(std::equal(file.begin() + FILE_RESERVED_AT, file.begin() + FILE_RESERVED_AT + PATCH_RESERVED_BYTES,
                           state.begin() + STATE_RESERVED_AT));

    std::unique_ptr<Instance> other = CreateInstance(TestPlugin());  // a host without preset-load still gets it
    EXPECT_TRUE(FromLocation(*other, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str()));
    EXPECT_EQ(NameOf(Saved(*other)), "From a file");
}

TEST(PresetLoad, refused_locations_and_files_change_nothing_or_once_past_the_header_only_the_curves) {
    TemporaryFolder folder;
    std::string path = WriteTo(folder, "good.synthpatch", PatchFile("never", Ramp()));
    std::unique_ptr<Instance> instance = PresetLoadInstance();
    const HostCalls &host = instance->host->calls;
    ASSERT_TRUE(LoadState(*instance, EarlierState()));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN, path.c_str()));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, folder.File("missing").c_str()));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, nullptr));
    // A file one byte larger than the largest is refused unread.
    std::string tooLarge = WriteTo(folder, "too-large.synthpatch", PatchFile("x", Ramp()), LARGEST_PATCH_FILE + 1);
    EXPECT_FALSE(LoadPresetFile(*instance, tooLarge));
    // Text shorter than a block is refused before anything changes.
    std::string shortText = WriteTo(folder, "short.synthpatch", std::vector<uint8_t>(STATE_BLOCK_SIZE - 1, 'z'));
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, shortText.c_str()));
    EXPECT_TRUE(loaded.empty());
    EXPECT_EQ(Saved(*instance), EarlierState());

    // Text of a block's size resets the curves and says so; so does a file
    // that gets as far as its curves but is no patch. Name and values stay.
    std::string longText = WriteTo(folder, "long.synthpatch", std::vector<uint8_t>(STATE_BLOCK_SIZE, 'z'));
    int dirtyBefore = host.markDirty;
    EXPECT_FALSE(FromLocation(*instance, CLAP_PRESET_DISCOVERY_LOCATION_FILE, longText.c_str()));
    EXPECT_GT(host.markDirty, dirtyBefore);
    EXPECT_TRUE(loaded.empty());
    ExpectEarlierValuesAndDefaultCurves(*instance);
    std::vector<uint8_t> stateMagic = PatchFile("x", Ramp()), noCurves = stateMagic;
    SetLE(stateMagic, 0, STATE_BLOCK_MAGIC);
    noCurves.resize(FILE_CURVES_AT);
    for (const std::vector<uint8_t> &file : {stateMagic, noCurves}) {
        ASSERT_TRUE(LoadState(*instance, EarlierState()));
        EXPECT_FALSE(LoadPresetFile(*instance, WriteTo(folder, "refused.synthpatch", file)));
        ExpectEarlierValuesAndDefaultCurves(*instance);
    }
}

TEST(PresetLoad, versions_0_to_13_and_files_up_to_the_largest_size_load) {
    TemporaryFolder folder;
    for (uint64_t version : {0, 13, 14}) {
        std::string name = "v" + std::to_string(version);
        std::string path = WriteTo(folder, "v.synthpatch", PatchFile(name, Ramp(), OddCurves(), version));
        std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
        EXPECT_EQ(LoadPresetFile(*instance, path), version < 14) << version;
        std::vector<uint8_t> state = Saved(*instance);
        EXPECT_EQ(NameOf(state), version < 14 ? name : "init") << version;
        EXPECT_EQ(GetLE<uint64_t>(state, STATE_VERSION_AT), 13u) << version;
    }
    std::string largest = WriteTo(folder, "largest.synthpatch", PatchFile("largest", Ramp()), LARGEST_PATCH_FILE);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_TRUE(LoadPresetFile(*instance, largest));
    EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes(OddCurves()));
}

TEST(PresetInit, the_custom_init_patch_setting_names_the_start_up_patch_unless_it_cannot_be_loaded) {
    TemporaryHome home;
    EXPECT_EQ(Saved(*CreateInstance(TestPlugin())), DefaultState());  // no settings file
    std::string path = WriteTo(home.folder, "start.synthpatch", PatchFile("Start here", Ramp()));
    home.WriteSettings("[LathemoorFX]\nCustomInitPatch=" + path + "\n");
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_EQ(NameOf(Saved(*instance)), "Start here");
    ExpectValues(*instance, Ramp());
    // A missing file, a text file and the special values start with the default patch.
    std::string textPath = WriteTo(home.folder, "text.synthpatch", std::vector<uint8_t>(2000, 'z'));
    for (std::string value : {home.folder.File("missing.synthpatch"), std::string("!"), textPath}) {
        home.WriteSettings("[LathemoorFX]\nCustomInitPatch=" + value + "\n");
        EXPECT_EQ(Saved(*CreateInstance(TestPlugin())), DefaultState()) << value;
    }
}

TEST(PresetDiscovery, the_factory_offers_one_provider_which_declares_its_locations_and_file_type) {
    auto factory = (const clap_preset_discovery_factory_t *)TestPlugin().entry->get_factory(
        CLAP_PRESET_DISCOVERY_FACTORY_ID);
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(factory->count(factory), 1u);
    const clap_preset_discovery_provider_descriptor_t *d = factory->get_descriptor(factory, 0);
    ASSERT_NE(d, nullptr);
    EXPECT_STREQ(d->id, PROVIDER_ID);
    EXPECT_EQ(factory->get_descriptor(factory, 1), nullptr);
    clap_preset_discovery_indexer_t indexer{};
    EXPECT_EQ(factory->create(factory, &indexer, "orwen.LathemoorFX"), nullptr);

    // The factory location, then a user file location when UserPatches is
    // set in the own section, then the file type.
    TemporaryHome home;
    const struct { const char *settings; std::optional<std::string> userFolder; } cases[] = {
        {"[LathemoorFX]\nUIScale=150\n[Other]\nUserPatches=/x\n", std::nullopt},
        {"; patches\n[LathemoorFX]\nUserPatches=/home/someone/My Patches\n", "/home/someone/My Patches"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.settings);
        home.WriteSettings(c.settings);
        std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
        EXPECT_TRUE(indexer->initResult);
        const std::vector<PresetCall> &declared = indexer->declared;
        ASSERT_EQ(declared.size(), c.userFolder ? 3u : 2u);
        EXPECT_EQ(declared[0].function, "declare_location");
        EXPECT_EQ(declared[0].numbers, (std::vector<int64_t>{CLAP_PRESET_DISCOVERY_IS_FACTORY_CONTENT,
                                                             CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN}));
        EXPECT_EQ(declared[0].texts, (Texts{"Factory ROM", ""}));
        if (c.userFolder) {
            EXPECT_EQ(declared[1].numbers, (std::vector<int64_t>{CLAP_PRESET_DISCOVERY_IS_USER_CONTENT,
                                                                 CLAP_PRESET_DISCOVERY_LOCATION_FILE}));
            EXPECT_EQ(declared[1].texts, (Texts{"User patch folder", *c.userFolder}));
        }
        EXPECT_EQ(declared.back().texts.back(), "synthpatch");
    }
}

TEST(PresetDiscovery, every_readable_file_below_10000000_bytes_is_one_user_preset_and_others_an_error) {
    TemporaryFolder folder;
    std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
    PresetMetadata factory = ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN, "");
    EXPECT_TRUE(factory.result);  // the plug-in location has no presets
    EXPECT_TRUE(factory.calls.empty());

    std::string empty = WriteTo(folder, "empty.synthpatch", {});
    for (const std::string &path : {empty, WriteTo(folder, "text.txt", {'h', 'i', '\n'}),
                                    WriteTo(folder, "large.synthpatch", {}, METADATA_LIMIT - 1)}) {
        SCOPED_TRACE(path);
        PresetMetadata metadata = ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path.c_str());
        EXPECT_TRUE(metadata.result);
        ASSERT_EQ(metadata.calls.size(), 3u);
        EXPECT_EQ(metadata.calls[0].texts, (Texts{std::nullopt, std::nullopt}));
        EXPECT_EQ(metadata.calls[1].texts, (Texts{"clap", "orwen.LathemoorFX"}));
        EXPECT_EQ(metadata.calls[2].numbers, std::vector<int64_t>{CLAP_PRESET_DISCOVERY_IS_USER_CONTENT});
    }
    // A receiver that declines the preset hears nothing more of it.
    PresetMetadata declined =
        ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_FILE, empty.c_str(), false);
    EXPECT_TRUE(declined.result);
    EXPECT_EQ(declined.calls.size(), 1u);

    std::string tooLarge = WriteTo(folder, "huge.synthpatch", {}, METADATA_LIMIT), missing = folder.File("missing");
    for (const char *path : {missing.c_str(), tooLarge.c_str(), (const char *)nullptr}) {
        SCOPED_TRACE(path ? path : "null");
        PresetMetadata metadata = ReadPresetMetadata(*indexer, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path);
        EXPECT_FALSE(metadata.result);
        ASSERT_EQ(metadata.calls.size(), 1u);
        EXPECT_EQ(metadata.calls[0].texts, (Texts{"The file could not be loaded."}));
    }
}

}  // namespace
