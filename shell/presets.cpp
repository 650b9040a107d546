// Presets through the host: the preset discovery factory and its provider,
// the invalidation factory that points the host at the settings file, and
// the instance's preset-load extension. The factories run without any
// instance, possibly in a host's scanning process, so they touch no
// process-wide state.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "shell/plugin.h"
#include "shell/whole_patch.h"
#include "store/settings.h"

enum { METADATA_FILE_LIMIT = 10000000 };

// ---- clap.preset-discovery-factory/draft-2 ----

static const clap_preset_discovery_provider_descriptor_t PROVIDER_DESCRIPTOR = {
    CLAP_VERSION_INIT,
    "orwen.LathemoorFX.preset_discovery_provider",
    "The preset discovery provider for LathemoorFX",
    "orwen",
};

struct PresetProvider {
    clap_preset_discovery_provider_t provider;
    const clap_preset_discovery_indexer_t *indexer;
};

// The factory location stands for presets of the plug-in itself; this
// effect has none, so it yields no preset.
static bool ProviderInit(const clap_preset_discovery_provider_t *provider) {
    const clap_preset_discovery_indexer_t *indexer = ((PresetProvider *)provider->provider_data)->indexer;
    if (!indexer) return true;
    clap_preset_discovery_location_t factory = {CLAP_PRESET_DISCOVERY_IS_FACTORY_CONTENT,
                                                "Factory ROM", CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN, ""};
    if (indexer->declare_location) indexer->declare_location(indexer, &factory);
    char32_t *folder = SettingsReadText(U"UserPatches", 0);
    if (folder) {
        char *path = TextNarrow(folder);
        clap_preset_discovery_location_t user = {CLAP_PRESET_DISCOVERY_IS_USER_CONTENT,
                                                 "User patch folder", CLAP_PRESET_DISCOVERY_LOCATION_FILE, path};
        if (indexer->declare_location) indexer->declare_location(indexer, &user);
        free(path);
        free(folder);
    }
    clap_preset_discovery_filetype_t type = {
        "LathemoorFX patch", "An individual patch for the LathemoorFX audio plugin.", "synthpatch"};
    if (indexer->declare_filetype) indexer->declare_filetype(indexer, &type);
    return true;
}

static void ProviderDestroy(const clap_preset_discovery_provider_t *provider) {
    free(provider->provider_data);
}

// Whether a whole file below the size limit can be read; its content is not
// looked at: every readable file offered counts as one user preset.
static bool FileReadable(const char *path) {
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    off_t size = lseek(fd, 0, SEEK_END);
    bool ok = size >= 0 && size < METADATA_FILE_LIMIT && lseek(fd, 0, SEEK_SET) == 0;
    if (ok && size > 0) {
        char *data = (char *)malloc((size_t)size);
        ok = read(fd, data, (size_t)size) == size;
        free(data);
    }
    close(fd);
    return ok;
}

static bool ProviderGetMetadata(const clap_preset_discovery_provider_t *provider, uint32_t kind,
                                const char *location,
                                const clap_preset_discovery_metadata_receiver_t *receiver) {
    if (kind != CLAP_PRESET_DISCOVERY_LOCATION_FILE) return kind == CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN;
    if (!receiver) return false;
    if (!FileReadable(location ? location : "")) {
        if (receiver->on_error) receiver->on_error(receiver, 0, "The file could not be loaded.");
        return false;
    }
    if (receiver->begin_preset && receiver->begin_preset(receiver, nullptr, nullptr)) {
        clap_plugin_id_t id = {"clap", "orwen.LathemoorFX"};
        if (receiver->add_plugin_id) receiver->add_plugin_id(receiver, &id);
        if (receiver->set_flags) receiver->set_flags(receiver, CLAP_PRESET_DISCOVERY_IS_USER_CONTENT);
    }
    return true;
}

static const void *ProviderGetExtension(const clap_preset_discovery_provider_t *provider,
                                        const char *id) {
    return nullptr;
}

static uint32_t DiscoveryCount(const clap_preset_discovery_factory_t *factory) { return 1; }

static const clap_preset_discovery_provider_descriptor_t *DiscoveryGetDescriptor(
    const clap_preset_discovery_factory_t *factory, uint32_t index) {
    return index == 0 ? &PROVIDER_DESCRIPTOR : nullptr;
}

static const clap_preset_discovery_provider_t *DiscoveryCreate(
    const clap_preset_discovery_factory_t *factory, const clap_preset_discovery_indexer_t *indexer,
    const char *providerId) {
    if (!providerId || strcmp(providerId, PROVIDER_DESCRIPTOR.id)) return nullptr;
    PresetProvider *record = (PresetProvider *)calloc(1, sizeof(PresetProvider));
    record->provider = {&PROVIDER_DESCRIPTOR, record,       ProviderInit,
                        ProviderDestroy,      ProviderGetMetadata, ProviderGetExtension};
    record->indexer = indexer;
    return &record->provider;
}

const clap_preset_discovery_factory_t PRESET_DISCOVERY_FACTORY = {
    DiscoveryCount, DiscoveryGetDescriptor, DiscoveryCreate,
};

// ---- clap.plugin-invalidation-factory: the settings file names the user folder ----

static char invalidationDirectory[4096];
static char invalidationGlob[128];
static const clap_plugin_invalidation_source_t INVALIDATION_SOURCE = {invalidationDirectory,
                                                                      invalidationGlob, false};

static uint32_t InvalidationCount(const clap_plugin_invalidation_factory_t *factory) { return 1; }

static const clap_plugin_invalidation_source_t *InvalidationGet(
    const clap_plugin_invalidation_factory_t *factory, uint32_t index) {
    if (index != 0) return nullptr;
    char *path = SettingsPath();  // without a home there is no folder to watch
    const char *whole = path ? path : "OrwenAudioPlugins.ini";
    const char *slash = strrchr(whole, '/');
    size_t folder = slash ? (size_t)(slash - whole) + 1 : 0;
    snprintf(invalidationDirectory, sizeof invalidationDirectory, "%.*s", (int)folder, whole);
    snprintf(invalidationGlob, sizeof invalidationGlob, "%s", whole + folder);
    free(path);
    return &INVALIDATION_SOURCE;
}

static bool InvalidationRefresh(const clap_plugin_invalidation_factory_t *factory) { return true; }

const clap_plugin_invalidation_factory_t INVALIDATION_FACTORY = {
    InvalidationCount, InvalidationGet, InvalidationRefresh,
};

// ---- clap.preset-load.draft/2 ----

static bool PresetLoadFromLocation(const clap_plugin_t *clapPlugin, uint32_t kind,
                                   const char *location, const char *loadKey) {
    if (kind != CLAP_PRESET_DISCOVERY_LOCATION_FILE) return false;
    const char *path = location ? location : "";
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    Plugin *plugin = PluginFromClap(clapPlugin);
    if (!PatchLoadFromFile(plugin, fd)) return false;
    const clap_host_preset_load_t *presetLoad = plugin->hostPresetLoad;
    if (presetLoad && presetLoad->loaded)
        presetLoad->loaded(plugin->host, CLAP_PRESET_DISCOVERY_LOCATION_FILE, path, nullptr);
    return true;
}

const clap_plugin_preset_load_t PLUGIN_PRESET_LOAD = {PresetLoadFromLocation};
