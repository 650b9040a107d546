// The exported entry, the plug-in factory and descriptor, and the life of a
// Plugin: creation, init, activation, processing state and destroy, with the
// process-wide state that the instances share.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "engine/engine.h"
#include "shell/banks.h"
#include "shell/plugin.h"
#include "shell/whole_patch.h"
#include "store/dialogs.h"
#include "store/samples.h"
#include "store/settings.h"
#include "toolkit/font.h"
#include "toolkit/images.h"
#include "toolkit/palette.h"
#include "vocabulary/grow.h"

PluginGlobals globals;

// ---- descriptor ----

static char versionText[32];
static const char *const FEATURES[] = {"audio-effect", "multi-effects", "stereo", nullptr};

static const clap_plugin_descriptor_t DESCRIPTOR = {
    CLAP_VERSION_INIT,
    "orwen.LathemoorFX",
    "LathemoorFX",
    "orwen",
    "https://orwen.audio/lathemoorfx/",
    "https://orwen.audio/lathemoorfx/LathemoorFX-manual.pdf",
    "https://orwen.audio/lathemoorfx/",
    versionText,
    "The effects of the Lathemoor synthesizer.",
    FEATURES,
};

// Filled before any caller can read desc->version, however the host starts.
static void FillVersion(void) {
    if (!versionText[0]) snprintf(versionText, sizeof versionText, "%d.%d.%d", 1, 2, 1);
}

// ---- the plug-in's lifecycle ----

static void InstancesAppend(Plugin *plugin) {
    ArrayReserve(&globals.instances, &globals.instanceCapacity, (size_t)globals.instanceCount + 1);
    globals.instances[globals.instanceCount++] = plugin;
}

static void InstancesRemove(Plugin *plugin) {
    for (int32_t i = 0; i < globals.instanceCount; i++) {
        if (globals.instances[i] != plugin) continue;
        globals.instances[i] = globals.instances[--globals.instanceCount];
        return;
    }
}

// A missing, unreadable or zero integer setting takes its default.
static int32_t SettingOrDefault(const char32_t *key, int32_t fallback) {
    int32_t value = SettingsReadInt(key);
    return value ? value : fallback;
}

static void StartProcessWideState(void) {
    globals.uiRefreshMs = SettingOrDefault(U"UIRefresh", 50);
    uiScale = UIScaleLimit(SettingOrDefault(U"UIScale", 100));
    uiSkin = SettingOrDefault(U"UISkin", UI_SKIN_SHIPPED);
    globals.dialSmoothing = SettingOrDefault(U"DialSmoothing", 2);
    globals.lfoPhaseIndicator = SettingOrDefault(U"LFOPhaseIndicator", 2);
    UIFontUseEmbedded();
    char32_t *skinFolder = SettingsReadText(U"CustomSkin", 0);
    char *skinPath = skinFolder ? TextNarrow(skinFolder) : nullptr;
    UISkinSetFolder(skinPath);
    free(skinPath);
    free(skinFolder);
    UIPaletteReload();
    srand((unsigned)time(nullptr));
    pthread_mutex_init(&globals.paramLock, nullptr);
    SampleIndexLoad();
}

static void EndProcessWideState(void) {
    free(globals.instances);
    globals.instances = nullptr;
    globals.instanceCapacity = 0;
    SampleIndexFree();
    pthread_mutex_destroy(&globals.paramLock);
    UIImagesFree();
}

static const void *HostExtension(const clap_host_t *host, const char *id) {
    return host->get_extension ? host->get_extension(host, id) : nullptr;
}

static bool PluginInit(const clap_plugin_t *clapPlugin) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    if (plugin->initialised) return true;
    plugin->initialised = 1;
    EngineContext *context = &plugin->context;

    if (globals.instanceCount == 0) StartProcessWideState();
    InstancesAppend(plugin);
    context->meter = &plugin->meter;
    context->patch = &plugin->patch;
    EngineDetectProcessor();
    pthread_mutex_init(&context->engineLock, nullptr);
    PatchFillDefault(&plugin->patch);
    memcpy(context->editorValue, plugin->patch.values, sizeof context->editorValue);
    memcpy(context->liveValue, plugin->patch.values, sizeof context->liveValue);
    pthread_mutex_lock(&context->engineLock);
    CurvesReset(&context->curves);
    pthread_mutex_unlock(&context->engineLock);
    PatchInit(plugin);
    PushUndo(plugin);
    memcpy(plugin->audioParam, plugin->patch.values, sizeof plugin->audioParam);
    pthread_mutex_init(&plugin->hostValuesLock, nullptr);

    const clap_host_t *host = plugin->host;
    plugin->hostLog = (const clap_host_log_t *)HostExtension(host, CLAP_EXT_LOG);
    plugin->hostThreadCheck =
        (const clap_host_thread_check_t *)HostExtension(host, CLAP_EXT_THREAD_CHECK);
    plugin->hostParams = (const clap_host_params_t *)HostExtension(host, CLAP_EXT_PARAMS);
    plugin->hostState = (const clap_host_state_t *)HostExtension(host, CLAP_EXT_STATE);
    plugin->hostGui = (const clap_host_gui_t *)HostExtension(host, CLAP_EXT_GUI);
    plugin->hostVoiceInfo =
        (const clap_host_voice_info_t *)HostExtension(host, CLAP_EXT_VOICE_INFO);
    plugin->hostTimerSupport =
        (const clap_host_timer_support_t *)HostExtension(host, CLAP_EXT_TIMER_SUPPORT);
    plugin->hostPosixFdSupport =
        (const clap_host_posix_fd_support_t *)HostExtension(host, CLAP_EXT_POSIX_FD_SUPPORT);
    plugin->hostContextMenu =
        (const clap_host_context_menu_t *)HostExtension(host, CLAP_EXT_CONTEXT_MENU);
    plugin->hostPresetLoad =
        (const clap_host_preset_load_t *)HostExtension(host, CLAP_EXT_PRESET_LOAD);
    return true;
}

static void PluginDestroy(const clap_plugin_t *clapPlugin) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    // A host should have destroyed the editor first; its X resources must
    // not outlive the instance either way.
    PLUGIN_GUI.destroy(clapPlugin);
    BankWorkerEnd(plugin);
    if (plugin->initialised) {
        CurvesFree(&plugin->context.curves);
        EngineDestroy(&plugin->context);
        pthread_mutex_destroy(&plugin->context.engineLock);
        UndoStackFree(plugin->undoStack);
        InstancesRemove(plugin);
        if (globals.instanceCount == 0) EndProcessWideState();
        pthread_mutex_destroy(&plugin->hostValuesLock);
    }
    // A file choice still running must not complete into a freed instance.
    DialogFileForget(plugin);
    free(plugin->patchPath);
    free(plugin->hostMenuItems);
    free(plugin);
}

static bool PluginActivate(const clap_plugin_t *clapPlugin, double sampleRate, uint32_t minFrames,
                           uint32_t maxFrames) {
    // Nothing is sized from the frame counts: the driver cuts what it gets.
    PluginFromClap(clapPlugin)->context.sampleRate = (float)sampleRate;
    return true;
}

static void PluginDeactivate(const clap_plugin_t *clapPlugin) {}

static bool PluginStartProcessing(const clap_plugin_t *clapPlugin) {
    fputs("start processing\n", stderr);
    return true;
}

static void PluginStopProcessing(const clap_plugin_t *clapPlugin) {
    fputs("stop processing\n", stderr);
}

static void PluginReset(const clap_plugin_t *clapPlugin) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    // The reload takes editorValue over: first bring the host's latest values
    // there, or a reset without an open editor would undo its automation.
    DrainHostValues(plugin);
    pthread_mutex_lock(&globals.paramLock);
    plugin->context.reloadRequest = 1;
    pthread_mutex_unlock(&globals.paramLock);
}

static const void *PluginGetExtension(const clap_plugin_t *clapPlugin, const char *id) {
    if (!id) return nullptr;
    if (!strcmp(id, CLAP_EXT_AUDIO_PORTS)) return &PLUGIN_AUDIO_PORTS;
    if (!strcmp(id, CLAP_EXT_PARAMS)) return &PLUGIN_PARAMS;
    if (!strcmp(id, CLAP_EXT_GUI)) return &PLUGIN_GUI;
    if (!strcmp(id, CLAP_EXT_TIMER_SUPPORT)) return &PLUGIN_TIMER_SUPPORT;
    if (!strcmp(id, CLAP_EXT_POSIX_FD_SUPPORT)) return &PLUGIN_POSIX_FD_SUPPORT;
    if (!strcmp(id, CLAP_EXT_PARAM_INDICATION)) return &PLUGIN_PARAM_INDICATION;
    if (!strcmp(id, "orwen.ensure_samples_loaded")) return &PLUGIN_ENSURE_SAMPLES_LOADED;
    if (!strcmp(id, "orwen.palette_access")) return &PLUGIN_PALETTE_ACCESS;
    if (!strcmp(id, "orwen.randomize")) return &PLUGIN_RANDOMIZE;
    if (!strcmp(id, "orwen.meters")) return &PLUGIN_METERS;
    if (!strcmp(id, CLAP_EXT_STATE)) return &PLUGIN_STATE;
    if (!strcmp(id, CLAP_EXT_PRESET_LOAD)) return &PLUGIN_PRESET_LOAD;
    return nullptr;
}

static void PluginOnMainThread(const clap_plugin_t *clapPlugin) {}

// ---- the plug-in factory ----

static uint32_t FactoryGetPluginCount(const clap_plugin_factory_t *factory) { return 1; }

static const clap_plugin_descriptor_t *FactoryGetPluginDescriptor(
    const clap_plugin_factory_t *factory, uint32_t index) {
    if (index >= 1) return nullptr;
    FillVersion();
    return &DESCRIPTOR;
}

static const clap_plugin_t *FactoryCreatePlugin(const clap_plugin_factory_t *factory,
                                                const clap_host_t *host, const char *pluginId) {
    if (!host || host->clap_version.major == 0) return nullptr;
    if (!pluginId || strcmp(pluginId, DESCRIPTOR.id)) return nullptr;
    FillVersion();
    Plugin *plugin = (Plugin *)calloc(1, sizeof(Plugin));
    plugin->clapPlugin = {
        &DESCRIPTOR,          plugin,           PluginInit,     PluginDestroy,
        PluginActivate,       PluginDeactivate, PluginStartProcessing,
        PluginStopProcessing, PluginReset,      PluginProcess,  PluginGetExtension,
        PluginOnMainThread,
    };
    plugin->host = host;
    plugin->context.samplesPerBeat = 19200.0f;
    return &plugin->clapPlugin;
}

static const clap_plugin_factory_t PLUGIN_FACTORY = {
    FactoryGetPluginCount,
    FactoryGetPluginDescriptor,
    FactoryCreatePlugin,
};

// ---- the entry ----

static bool EntryInit(const char *pluginPath) { return true; }
static void EntryDeinit(void) {}

static const void *EntryGetFactory(const char *factoryId) {
    if (!factoryId) return nullptr;
    if (!strcmp(factoryId, CLAP_PLUGIN_FACTORY_ID)) return &PLUGIN_FACTORY;
    if (!strcmp(factoryId, CLAP_PRESET_DISCOVERY_FACTORY_ID)) return &PRESET_DISCOVERY_FACTORY;
    if (!strcmp(factoryId, CLAP_PLUGIN_INVALIDATION_FACTORY_ID)) return &INVALIDATION_FACTORY;
    return nullptr;
}

extern "C" __attribute__((visibility("default"))) const clap_plugin_entry_t clap_entry = {
    CLAP_VERSION_INIT,
    EntryInit,
    EntryDeinit,
    EntryGetFactory,
};
