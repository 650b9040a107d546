// The Plugin record of one instance, the process-wide state shared by all
// instances, and the hand-over of parameter values between the main thread
// (editor, host main-thread calls) and the audio thread.
#pragma once
#include <pthread.h>
#include <stdint.h>

#include "clap/clap.h"
#include "store/patch.h"
#include "store/undo.h"
#include "toolkit/window.h"
#include "vocabulary/context.h"
#include "vocabulary/params.h"

enum { PLUGIN_BLOCK_FRAMES = 2048, HOST_MENU_LABEL_SIZE = 80 };

// pendingParam states: what waits to be told to the audio side.
// A gesture that begins and ends before the audio side looks (a click) is
// told whole: begin, the value, end.
enum {
    PENDING_NONE = 0,
    PENDING_VALUE = 1,
    PENDING_GESTURE_BEGIN = 2,
    PENDING_GESTURE_END = 3,
    PENDING_GESTURE_WHOLE = 4,
};

struct HostMenuItem {
    uint32_t kind;  // CLAP_CONTEXT_MENU_ITEM_ENTRY, _CHECK_ENTRY or _SEPARATOR
    clap_id actionId;
    uint8_t disabled, checked;
    char32_t label[HOST_MENU_LABEL_SIZE];
};

struct Plugin {
    clap_plugin_t clapPlugin;  // first, so a clap_plugin_t pointer is the Plugin
    const clap_host_t *host;

    // Host extensions, null when the host does not offer them.
    const clap_host_log_t *hostLog;
    const clap_host_thread_check_t *hostThreadCheck;
    const clap_host_params_t *hostParams;
    const clap_host_state_t *hostState;
    const clap_host_gui_t *hostGui;
    const clap_host_voice_info_t *hostVoiceInfo;
    const clap_host_timer_support_t *hostTimerSupport;
    const clap_host_posix_fd_support_t *hostPosixFdSupport;
    const clap_host_context_menu_t *hostContextMenu;
    const clap_host_preset_load_t *hostPresetLoad;

    uint8_t pendingParam[PARAM_COUNT];  // guarded by paramLock
    uint8_t workingParam[PARAM_COUNT];  // audio thread's copy of pendingParam
    float audioParam[PARAM_COUNT];      // base values as the audio side knows them

    uint32_t hostChangedMask[8];  // guarded by hostValuesLock, with the next two
    float hostChangedValue[PARAM_COUNT];
    pthread_mutex_t hostValuesLock;
    uint8_t hostChanged;
    uint8_t initialised;

    HostMenuItem *hostMenuItems;
    uint32_t hostMenuCount, hostMenuCapacity;
    clap_context_menu_target_t hostMenuTarget;

    float dryBlock[PLUGIN_BLOCK_FRAMES * 2];  // the engine's input copy
    float wetBlock[PLUGIN_BLOCK_FRAMES * 2];  // the engine's in-place work buffer

    EngineContext context;
    Patch patch;
    MeterBlock meter;
    UndoEntry undoStack[UNDO_DEPTH];  // newest first

    UIHostWindow gui;                 // the editor's window and elements, while open
    clap_id guiTimer;                 // the host's timer, when guiTimerRegistered
    uint8_t guiTimerRegistered, guiFdRegistered;
    uint8_t metersRequested;          // orwen.meters: measure while no editor shows
    char32_t *patchPath;              // the patch file the browser loaded last, or null

    struct BankWorker *bankWorker;    // a bank export or import not yet joined, or null
    uint8_t bankWorkerDone;           // set by the worker as it ends (atomic)
    uint8_t bankCancel;               // read by the worker between blocks (atomic)
    const char *bankError;            // the worker's message (static text), null for none
};

struct PluginGlobals {
    Plugin **instances;
    int32_t instanceCount, instanceCapacity;
    pthread_mutex_t paramLock;
    int32_t uiRefreshMs, dialSmoothing, lfoPhaseIndicator;   // uiScale, uiSkin: toolkit/scale.h
};

extern PluginGlobals globals;

inline Plugin *PluginFromClap(const clap_plugin_t *plugin) {
    return (Plugin *)plugin->plugin_data;
}

// Editor side (main thread).
void ParamSet(Plugin *plugin, int32_t parameter, float value);
void ParamGesture(Plugin *plugin, int32_t parameter, bool begin);
bool DrainHostValues(Plugin *plugin);

// Audio side (also the main thread's flush while not processing).
void PullFromEditor(Plugin *plugin, const clap_output_events_t *out);
void TakeHostValue(Plugin *plugin, const clap_event_param_value_t *event);
clap_process_status PluginProcess(const clap_plugin_t *clapPlugin, const clap_process_t *process);

// The editor's window (shell/gui.cpp). The tick drains the host's values,
// paints and shows; the descriptor callback pumps the X connection.
void UITimerTick(Plugin *plugin);
void UIDescriptorReady(Plugin *plugin);
// Process-wide: the new scale (percent) and skin reach every open editor,
// and the settings file; the timer period likewise.
void UISetScale(int32_t scale, int32_t skin);
void UISetRefresh(int32_t milliseconds);

// The host's context-menu items for a parameter: fills the Plugin's list and
// answers how many there are (0 without the host's menu or when it fails).
uint32_t HostMenuPopulate(Plugin *plugin, int32_t parameter);
// Runs the host's action of item `index` of the last populated list.
void HostMenuPerform(Plugin *plugin, uint32_t index);
uint32_t PackIndicationColour(const clap_color_t *colour);

// The plug-in's own extensions.
struct OrwenEnsureSamplesLoaded {
    void (*ensure)(const clap_plugin_t *plugin);
};
struct OrwenPaletteAccess {
    uint32_t *(*get)(const clap_plugin_t *plugin, uint32_t index, const char **name);
    void (*reserved)(const clap_plugin_t *plugin);
};
struct OrwenRandomize {
    void (*randomize)(const clap_plugin_t *plugin);
};
// The meters without an editor: a host that shows levels of its own asks the
// audio side to measure (as an open editor does), and reads what it measured.
struct OrwenMeters {
    void (*request)(const clap_plugin_t *plugin, bool wanted);
    // The compressor levels of instance 0..2 in dB (minus infinity before any
    // sound); false for another instance.
    bool (*compressor_levels)(const clap_plugin_t *plugin, uint32_t instance, float *input_db,
                              float *output_db);
};

// The extension tables offered through get_extension.
extern const clap_plugin_params_t PLUGIN_PARAMS;
extern const clap_plugin_audio_ports_t PLUGIN_AUDIO_PORTS;
extern const clap_plugin_gui_t PLUGIN_GUI;
extern const clap_plugin_timer_support_t PLUGIN_TIMER_SUPPORT;
extern const clap_plugin_posix_fd_support_t PLUGIN_POSIX_FD_SUPPORT;
extern const clap_plugin_param_indication_t PLUGIN_PARAM_INDICATION;
extern const OrwenEnsureSamplesLoaded PLUGIN_ENSURE_SAMPLES_LOADED;
extern const OrwenPaletteAccess PLUGIN_PALETTE_ACCESS;
extern const OrwenRandomize PLUGIN_RANDOMIZE;
extern const OrwenMeters PLUGIN_METERS;
extern const clap_plugin_state_t PLUGIN_STATE;
extern const clap_plugin_preset_load_t PLUGIN_PRESET_LOAD;

// The factories offered through clap_entry besides the plug-in factory.
extern const clap_preset_discovery_factory_t PRESET_DISCOVERY_FACTORY;
extern const clap_plugin_invalidation_factory_t INVALIDATION_FACTORY;
