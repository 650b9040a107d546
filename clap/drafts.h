// Our declarations of the CLAP 1.1.8 draft interfaces: context menu (draft 0),
// parameter indication (draft 4), preset load (draft 2), the preset discovery
// factory (draft 2) and the plug-in invalidation factory (draft 0).
#pragma once
#include "clap/core.h"

extern "C" {

// ---- clap.context-menu.draft/0 ----
static const char CLAP_EXT_CONTEXT_MENU[] = "clap.context-menu.draft/0";
enum { CLAP_CONTEXT_MENU_TARGET_KIND_GLOBAL = 0, CLAP_CONTEXT_MENU_TARGET_KIND_PARAM = 1 };
enum {
    CLAP_CONTEXT_MENU_ITEM_ENTRY = 0,
    CLAP_CONTEXT_MENU_ITEM_CHECK_ENTRY = 1,
    CLAP_CONTEXT_MENU_ITEM_SEPARATOR = 2,
    CLAP_CONTEXT_MENU_ITEM_BEGIN_SUBMENU = 3,
    CLAP_CONTEXT_MENU_ITEM_END_SUBMENU = 4,
    CLAP_CONTEXT_MENU_ITEM_TITLE = 5,
};

struct clap_context_menu_target_t {
    uint32_t kind;
    clap_id id;
};

struct clap_context_menu_entry_t {
    const char *label;
    bool is_enabled;
    clap_id action_id;
};

struct clap_context_menu_check_entry_t {
    const char *label;
    bool is_enabled;
    bool is_checked;
    clap_id action_id;
};

struct clap_context_menu_builder_t {
    void *ctx;
    bool (*add_item)(const clap_context_menu_builder_t *builder, uint32_t item_kind,
                     const void *item_data);
    bool (*supports)(const clap_context_menu_builder_t *builder, uint32_t item_kind);
};

struct clap_host_context_menu_t {
    bool (*populate)(const clap_host_t *host, const clap_context_menu_target_t *target,
                     const clap_context_menu_builder_t *builder);
    bool (*perform)(const clap_host_t *host, const clap_context_menu_target_t *target,
                    clap_id action_id);
    bool (*can_popup)(const clap_host_t *host);
    bool (*popup)(const clap_host_t *host, const clap_context_menu_target_t *target,
                  int32_t screen_index, int32_t x, int32_t y);
};

// ---- clap.param-indication.draft/4 ----
static const char CLAP_EXT_PARAM_INDICATION[] = "clap.param-indication.draft/4";
enum { CLAP_PARAM_INDICATION_AUTOMATION_NONE = 0 };

struct clap_plugin_param_indication_t {
    void (*set_mapping)(const clap_plugin_t *plugin, clap_id param_id, bool has_mapping,
                        const clap_color_t *color, const char *label, const char *description);
    void (*set_automation)(const clap_plugin_t *plugin, clap_id param_id,
                           uint32_t automation_state, const clap_color_t *color);
};

// ---- clap.preset-load.draft/2 ----
static const char CLAP_EXT_PRESET_LOAD[] = "clap.preset-load.draft/2";

struct clap_plugin_preset_load_t {
    bool (*from_location)(const clap_plugin_t *plugin, uint32_t location_kind,
                          const char *location, const char *load_key);
};

struct clap_host_preset_load_t {
    void (*on_error)(const clap_host_t *host, uint32_t location_kind, const char *location,
                     const char *load_key, int32_t os_error, const char *msg);
    void (*loaded)(const clap_host_t *host, uint32_t location_kind, const char *location,
                   const char *load_key);
};

// ---- clap.preset-discovery-factory/draft-2 ----
static const char CLAP_PRESET_DISCOVERY_FACTORY_ID[] = "clap.preset-discovery-factory/draft-2";
enum { CLAP_PRESET_DISCOVERY_LOCATION_FILE = 0, CLAP_PRESET_DISCOVERY_LOCATION_PLUGIN = 1 };
enum {
    CLAP_PRESET_DISCOVERY_IS_FACTORY_CONTENT = 1 << 0,
    CLAP_PRESET_DISCOVERY_IS_USER_CONTENT = 1 << 1,
    CLAP_PRESET_DISCOVERY_IS_DEMO_CONTENT = 1 << 2,
    CLAP_PRESET_DISCOVERY_IS_FAVORITE = 1 << 3,
};
typedef uint64_t clap_timestamp_t;

struct clap_plugin_id_t {
    const char *abi;
    const char *id;
};

struct clap_preset_discovery_metadata_receiver_t {
    void *receiver_data;
    void (*on_error)(const clap_preset_discovery_metadata_receiver_t *receiver, int32_t os_error,
                     const char *error_message);
    bool (*begin_preset)(const clap_preset_discovery_metadata_receiver_t *receiver,
                         const char *name, const char *load_key);
    void (*add_plugin_id)(const clap_preset_discovery_metadata_receiver_t *receiver,
                          const clap_plugin_id_t *plugin_id);
    void (*set_soundpack_id)(const clap_preset_discovery_metadata_receiver_t *receiver,
                             const char *soundpack_id);
    void (*set_flags)(const clap_preset_discovery_metadata_receiver_t *receiver, uint32_t flags);
    void (*add_creator)(const clap_preset_discovery_metadata_receiver_t *receiver,
                        const char *creator);
    void (*set_description)(const clap_preset_discovery_metadata_receiver_t *receiver,
                            const char *description);
    void (*set_timestamps)(const clap_preset_discovery_metadata_receiver_t *receiver,
                           clap_timestamp_t creation_time, clap_timestamp_t modification_time);
    void (*add_feature)(const clap_preset_discovery_metadata_receiver_t *receiver,
                        const char *feature);
    void (*add_extra_info)(const clap_preset_discovery_metadata_receiver_t *receiver,
                           const char *key, const char *value);
};

struct clap_preset_discovery_filetype_t {
    const char *name;
    const char *description;
    const char *file_extension;
};

struct clap_preset_discovery_location_t {
    uint32_t flags;
    const char *name;
    uint32_t kind;
    const char *location;
};

struct clap_preset_discovery_soundpack_t {
    uint32_t flags;
    const char *id;
    const char *name;
    const char *description;
    const char *homepage_url;
    const char *vendor;
    const char *image_path;
    clap_timestamp_t release_timestamp;
};

struct clap_preset_discovery_provider_descriptor_t {
    clap_version_t clap_version;
    const char *id;
    const char *name;
    const char *vendor;
};

struct clap_preset_discovery_provider_t {
    const clap_preset_discovery_provider_descriptor_t *desc;
    void *provider_data;
    bool (*init)(const clap_preset_discovery_provider_t *provider);
    void (*destroy)(const clap_preset_discovery_provider_t *provider);
    bool (*get_metadata)(const clap_preset_discovery_provider_t *provider, uint32_t location_kind,
                         const char *location,
                         const clap_preset_discovery_metadata_receiver_t *metadata_receiver);
    const void *(*get_extension)(const clap_preset_discovery_provider_t *provider,
                                 const char *extension_id);
};

struct clap_preset_discovery_indexer_t {
    clap_version_t clap_version;
    const char *name;
    const char *vendor;
    const char *url;
    const char *version;
    void *indexer_data;
    bool (*declare_filetype)(const clap_preset_discovery_indexer_t *indexer,
                             const clap_preset_discovery_filetype_t *filetype);
    bool (*declare_location)(const clap_preset_discovery_indexer_t *indexer,
                             const clap_preset_discovery_location_t *location);
    bool (*declare_soundpack)(const clap_preset_discovery_indexer_t *indexer,
                              const clap_preset_discovery_soundpack_t *soundpack);
    const void *(*get_extension)(const clap_preset_discovery_indexer_t *indexer,
                                 const char *extension_id);
};

struct clap_preset_discovery_factory_t {
    uint32_t (*count)(const clap_preset_discovery_factory_t *factory);
    const clap_preset_discovery_provider_descriptor_t *(*get_descriptor)(
        const clap_preset_discovery_factory_t *factory, uint32_t index);
    const clap_preset_discovery_provider_t *(*create)(
        const clap_preset_discovery_factory_t *factory,
        const clap_preset_discovery_indexer_t *indexer, const char *provider_id);
};

// ---- clap.plugin-invalidation-factory/draft0 ----
static const char CLAP_PLUGIN_INVALIDATION_FACTORY_ID[] = "clap.plugin-invalidation-factory/draft0";

struct clap_plugin_invalidation_source_t {
    const char *directory;
    const char *filename_glob;
    bool recursive_scan;
};

struct clap_plugin_invalidation_factory_t {
    uint32_t (*count)(const clap_plugin_invalidation_factory_t *factory);
    const clap_plugin_invalidation_source_t *(*get)(
        const clap_plugin_invalidation_factory_t *factory, uint32_t index);
    bool (*refresh)(const clap_plugin_invalidation_factory_t *factory);
};

}  // extern "C"
