// Our declarations of the CLAP 1.1.8 core ABI (x86-64): entry, plug-in
// factory, descriptor, plug-in and host tables, audio buffers, process record
// and streams. Field order and types must match the ABI exactly; the layout
// test pins every size and offset.
#pragma once
#include <stdbool.h>
#include <stdint.h>

extern "C" {

typedef uint32_t clap_id;
static const clap_id CLAP_INVALID_ID = UINT32_MAX;

enum { CLAP_NAME_SIZE = 256, CLAP_PATH_SIZE = 1024 };

struct clap_version_t {
    uint32_t major;
    uint32_t minor;
    uint32_t revision;
};
#define CLAP_VERSION_INIT {1u, 1u, 8u}

struct clap_plugin_entry_t {
    clap_version_t clap_version;
    bool (*init)(const char *plugin_path);
    void (*deinit)(void);
    const void *(*get_factory)(const char *factory_id);
};

struct clap_color_t {
    uint8_t alpha;
    uint8_t red;
    uint8_t green;
    uint8_t blue;
};

struct clap_host_t {
    clap_version_t clap_version;
    void *host_data;
    const char *name;
    const char *vendor;
    const char *url;
    const char *version;
    const void *(*get_extension)(const clap_host_t *host, const char *extension_id);
    void (*request_restart)(const clap_host_t *host);
    void (*request_process)(const clap_host_t *host);
    void (*request_callback)(const clap_host_t *host);
};

struct clap_audio_buffer_t {
    float **data32;
    double **data64;
    uint32_t channel_count;
    uint32_t latency;
    uint64_t constant_mask;
};

struct clap_event_transport_t;
struct clap_input_events_t;
struct clap_output_events_t;

enum {
    CLAP_PROCESS_ERROR = 0,
    CLAP_PROCESS_CONTINUE = 1,
    CLAP_PROCESS_CONTINUE_IF_NOT_QUIET = 2,
    CLAP_PROCESS_TAIL = 3,
    CLAP_PROCESS_SLEEP = 4,
};
typedef int32_t clap_process_status;

struct clap_process_t {
    int64_t steady_time;
    uint32_t frames_count;
    const clap_event_transport_t *transport;
    const clap_audio_buffer_t *audio_inputs;
    clap_audio_buffer_t *audio_outputs;
    uint32_t audio_inputs_count;
    uint32_t audio_outputs_count;
    const clap_input_events_t *in_events;
    const clap_output_events_t *out_events;
};

struct clap_plugin_descriptor_t {
    clap_version_t clap_version;
    const char *id;
    const char *name;
    const char *vendor;
    const char *url;
    const char *manual_url;
    const char *support_url;
    const char *version;
    const char *description;
    const char *const *features;
};

struct clap_plugin_t {
    const clap_plugin_descriptor_t *desc;
    void *plugin_data;
    bool (*init)(const clap_plugin_t *plugin);
    void (*destroy)(const clap_plugin_t *plugin);
    bool (*activate)(const clap_plugin_t *plugin, double sample_rate, uint32_t min_frames_count,
                     uint32_t max_frames_count);
    void (*deactivate)(const clap_plugin_t *plugin);
    bool (*start_processing)(const clap_plugin_t *plugin);
    void (*stop_processing)(const clap_plugin_t *plugin);
    void (*reset)(const clap_plugin_t *plugin);
    clap_process_status (*process)(const clap_plugin_t *plugin, const clap_process_t *process);
    const void *(*get_extension)(const clap_plugin_t *plugin, const char *id);
    void (*on_main_thread)(const clap_plugin_t *plugin);
};

static const char CLAP_PLUGIN_FACTORY_ID[] = "clap.plugin-factory";

struct clap_plugin_factory_t {
    uint32_t (*get_plugin_count)(const clap_plugin_factory_t *factory);
    const clap_plugin_descriptor_t *(*get_plugin_descriptor)(const clap_plugin_factory_t *factory,
                                                             uint32_t index);
    const clap_plugin_t *(*create_plugin)(const clap_plugin_factory_t *factory,
                                          const clap_host_t *host, const char *plugin_id);
};

struct clap_istream_t {
    void *ctx;
    int64_t (*read)(const clap_istream_t *stream, void *buffer, uint64_t size);
};

struct clap_ostream_t {
    void *ctx;
    int64_t (*write)(const clap_ostream_t *stream, const void *buffer, uint64_t size);
};

}  // extern "C"
