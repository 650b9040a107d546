// Our declarations of the CLAP 1.1.8 extensions that the plug-in offers or
// takes: params, audio ports, state, gui, timer, posix fd, log, thread check
// and voice info.
#pragma once
#include "clap/events.h"

extern "C" {

// ---- clap.params ----
static const char CLAP_EXT_PARAMS[] = "clap.params";

enum {
    CLAP_PARAM_IS_STEPPED = 1 << 0,
    CLAP_PARAM_IS_PERIODIC = 1 << 1,
    CLAP_PARAM_IS_HIDDEN = 1 << 2,
    CLAP_PARAM_IS_READONLY = 1 << 3,
    CLAP_PARAM_IS_BYPASS = 1 << 4,
    CLAP_PARAM_IS_AUTOMATABLE = 1 << 5,
    CLAP_PARAM_IS_MODULATABLE = 1 << 10,
    CLAP_PARAM_REQUIRES_PROCESS = 1 << 15,
};

struct clap_param_info_t {
    clap_id id;
    uint32_t flags;
    void *cookie;
    char name[CLAP_NAME_SIZE];
    char module[CLAP_PATH_SIZE];
    double min_value;
    double max_value;
    double default_value;
};

struct clap_plugin_params_t {
    uint32_t (*count)(const clap_plugin_t *plugin);
    bool (*get_info)(const clap_plugin_t *plugin, uint32_t param_index, clap_param_info_t *info);
    bool (*get_value)(const clap_plugin_t *plugin, clap_id param_id, double *out_value);
    bool (*value_to_text)(const clap_plugin_t *plugin, clap_id param_id, double value,
                          char *out_buffer, uint32_t out_buffer_capacity);
    bool (*text_to_value)(const clap_plugin_t *plugin, clap_id param_id,
                          const char *param_value_text, double *out_value);
    void (*flush)(const clap_plugin_t *plugin, const clap_input_events_t *in,
                  const clap_output_events_t *out);
};

enum {
    CLAP_PARAM_RESCAN_VALUES = 1 << 0,
    CLAP_PARAM_RESCAN_TEXT = 1 << 1,
    CLAP_PARAM_RESCAN_INFO = 1 << 2,
    CLAP_PARAM_RESCAN_ALL = 1 << 3,
};

struct clap_host_params_t {
    void (*rescan)(const clap_host_t *host, uint32_t flags);
    void (*clear)(const clap_host_t *host, clap_id param_id, uint32_t flags);
    void (*request_flush)(const clap_host_t *host);
};

// ---- clap.audio-ports ----
static const char CLAP_EXT_AUDIO_PORTS[] = "clap.audio-ports";
static const char CLAP_PORT_STEREO[] = "stereo";
enum { CLAP_AUDIO_PORT_IS_MAIN = 1 << 0 };

struct clap_audio_port_info_t {
    clap_id id;
    char name[CLAP_NAME_SIZE];
    uint32_t flags;
    uint32_t channel_count;
    const char *port_type;
    clap_id in_place_pair;
};

struct clap_plugin_audio_ports_t {
    uint32_t (*count)(const clap_plugin_t *plugin, bool is_input);
    bool (*get)(const clap_plugin_t *plugin, uint32_t index, bool is_input,
                clap_audio_port_info_t *info);
};

// ---- clap.state ----
static const char CLAP_EXT_STATE[] = "clap.state";

struct clap_plugin_state_t {
    bool (*save)(const clap_plugin_t *plugin, const clap_ostream_t *stream);
    bool (*load)(const clap_plugin_t *plugin, const clap_istream_t *stream);
};

struct clap_host_state_t {
    void (*mark_dirty)(const clap_host_t *host);
};

// ---- clap.gui ----
static const char CLAP_EXT_GUI[] = "clap.gui";
static const char CLAP_WINDOW_API_X11[] = "x11";

struct clap_window_t {
    const char *api;
    union {
        void *cocoa;
        unsigned long x11;
        void *win32;
        void *ptr;
    };
};

struct clap_gui_resize_hints_t {
    bool can_resize_horizontally;
    bool can_resize_vertically;
    bool preserve_aspect_ratio;
    uint32_t aspect_ratio_width;
    uint32_t aspect_ratio_height;
};

struct clap_plugin_gui_t {
    bool (*is_api_supported)(const clap_plugin_t *plugin, const char *api, bool is_floating);
    bool (*get_preferred_api)(const clap_plugin_t *plugin, const char **api, bool *is_floating);
    bool (*create)(const clap_plugin_t *plugin, const char *api, bool is_floating);
    void (*destroy)(const clap_plugin_t *plugin);
    bool (*set_scale)(const clap_plugin_t *plugin, double scale);
    bool (*get_size)(const clap_plugin_t *plugin, uint32_t *width, uint32_t *height);
    bool (*can_resize)(const clap_plugin_t *plugin);
    bool (*get_resize_hints)(const clap_plugin_t *plugin, clap_gui_resize_hints_t *hints);
    bool (*adjust_size)(const clap_plugin_t *plugin, uint32_t *width, uint32_t *height);
    bool (*set_size)(const clap_plugin_t *plugin, uint32_t width, uint32_t height);
    bool (*set_parent)(const clap_plugin_t *plugin, const clap_window_t *window);
    bool (*set_transient)(const clap_plugin_t *plugin, const clap_window_t *window);
    void (*suggest_title)(const clap_plugin_t *plugin, const char *title);
    bool (*show)(const clap_plugin_t *plugin);
    bool (*hide)(const clap_plugin_t *plugin);
};

struct clap_host_gui_t {
    void (*resize_hints_changed)(const clap_host_t *host);
    bool (*request_resize)(const clap_host_t *host, uint32_t width, uint32_t height);
    bool (*request_show)(const clap_host_t *host);
    bool (*request_hide)(const clap_host_t *host);
    void (*closed)(const clap_host_t *host, bool was_destroyed);
};

// ---- clap.timer-support ----
static const char CLAP_EXT_TIMER_SUPPORT[] = "clap.timer-support";

struct clap_plugin_timer_support_t {
    void (*on_timer)(const clap_plugin_t *plugin, clap_id timer_id);
};

struct clap_host_timer_support_t {
    bool (*register_timer)(const clap_host_t *host, uint32_t period_ms, clap_id *timer_id);
    bool (*unregister_timer)(const clap_host_t *host, clap_id timer_id);
};

// ---- clap.posix-fd-support ----
static const char CLAP_EXT_POSIX_FD_SUPPORT[] = "clap.posix-fd-support";
enum { CLAP_POSIX_FD_READ = 1 << 0, CLAP_POSIX_FD_WRITE = 1 << 1, CLAP_POSIX_FD_ERROR = 1 << 2 };

struct clap_plugin_posix_fd_support_t {
    void (*on_fd)(const clap_plugin_t *plugin, int fd, uint32_t flags);
};

struct clap_host_posix_fd_support_t {
    bool (*register_fd)(const clap_host_t *host, int fd, uint32_t flags);
    bool (*modify_fd)(const clap_host_t *host, int fd, uint32_t flags);
    bool (*unregister_fd)(const clap_host_t *host, int fd);
};

// ---- clap.log, clap.thread-check, clap.voice-info (host side only) ----
static const char CLAP_EXT_LOG[] = "clap.log";
static const char CLAP_EXT_THREAD_CHECK[] = "clap.thread-check";
static const char CLAP_EXT_VOICE_INFO[] = "clap.voice-info";

struct clap_host_log_t {
    void (*log)(const clap_host_t *host, int32_t severity, const char *msg);
};

struct clap_host_thread_check_t {
    bool (*is_main_thread)(const clap_host_t *host);
    bool (*is_audio_thread)(const clap_host_t *host);
};

struct clap_host_voice_info_t {
    void (*changed)(const clap_host_t *host);
};

}  // extern "C"
