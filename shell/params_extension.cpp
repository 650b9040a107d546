// The host's view of the parameters (clap.params) and of the audio ports
// (clap.audio-ports).
#include <math.h>
#include <string.h>

#include "vocabulary/params.h"
#include "shell/plugin.h"

// ---- clap.params ----

static uint32_t ParamsCount(const clap_plugin_t *clapPlugin) { return PARAM_COUNT; }

static bool ParamsGetInfo(const clap_plugin_t *clapPlugin, uint32_t index, clap_param_info_t *info) {
    if (index >= PARAM_COUNT || !info) return false;
    const ParamInfo *row = &PARAM_INFO[index];
    memset(info, 0, sizeof *info);
    info->id = index;
    // Every parameter is continuous to the host, stepped ones included.
    if (PARAM_KIND[row->kind].hostReadOnly)
        info->flags = CLAP_PARAM_IS_READONLY;
    else if (row->modulatable)
        info->flags = CLAP_PARAM_IS_AUTOMATABLE | CLAP_PARAM_IS_MODULATABLE;
    else
        info->flags = CLAP_PARAM_IS_AUTOMATABLE;
    strncpy(info->name, row->name, sizeof info->name - 1);
    info->min_value = 0.0;
    info->max_value = 1.0;
    info->default_value = row->defaultValue;
    return true;
}

static bool ParamsGetValue(const clap_plugin_t *clapPlugin, clap_id id, double *out) {
    if (id >= PARAM_COUNT || !out) return false;
    Plugin *plugin = PluginFromClap(clapPlugin);
    pthread_mutex_lock(&globals.paramLock);
    // A value the editor set but the audio side has not taken yet is newer
    // than the audio side's copy.
    float value;
    // The request flags are read one by one: the compiler could otherwise
    // fold them into one wider load that also takes in engineReset, which the
    // audio thread writes under another lock.
    bool reload = __atomic_load_n(&plugin->context.reloadRequest, __ATOMIC_RELAXED) ||
                  __atomic_load_n(&plugin->context.valuesRequest, __ATOMIC_RELAXED);
    if (plugin->pendingParam[id] == PENDING_NONE && !reload)
        __atomic_load(&plugin->audioParam[id], &value, __ATOMIC_RELAXED);
    else
        value = plugin->context.editorValue[id];
    pthread_mutex_unlock(&globals.paramLock);
    *out = value;
    return true;
}

static bool ParamsValueToText(const clap_plugin_t *clapPlugin, clap_id id, double value,
                              char *buffer, uint32_t capacity) {
    // -1.0 (and NaN) fall outside 0..1: only the program's own calls may ask
    // for the current value that way.
    if (id >= PARAM_COUNT || !(value >= 0.0 && value <= 1.0) || !buffer || capacity == 0)
        return false;
    int32_t size = capacity > 0x7FFFFFFF ? 0x7FFFFFFF : (int32_t)capacity;
    ParamFormatValue(&PluginFromClap(clapPlugin)->context, (int32_t)id, buffer, size, (float)value);
    return true;
}

// The texts are for reading only: the host can't type a value in.
static bool ParamsTextToValue(const clap_plugin_t *clapPlugin, clap_id id, const char *text,
                              double *out) {
    return false;
}

static void ParamsFlush(const clap_plugin_t *clapPlugin, const clap_input_events_t *in,
                        const clap_output_events_t *out) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    PullFromEditor(plugin, out);
    uint32_t count = (in && in->size && in->get) ? in->size(in) : 0;
    for (uint32_t e = 0; e < count; e++) {
        const clap_event_header_t *header = in->get(in, e);
        if (header && header->space_id == CLAP_CORE_EVENT_SPACE_ID &&
            header->type == CLAP_EVENT_PARAM_VALUE &&
            header->size >= sizeof(clap_event_param_value_t))
            TakeHostValue(plugin, (const clap_event_param_value_t *)header);
    }
}

const clap_plugin_params_t PLUGIN_PARAMS = {
    ParamsCount, ParamsGetInfo, ParamsGetValue, ParamsValueToText, ParamsTextToValue, ParamsFlush,
};

// ---- clap.audio-ports: one stereo port each way ----

static uint32_t AudioPortsCount(const clap_plugin_t *clapPlugin, bool isInput) { return 1; }

static bool AudioPortsGet(const clap_plugin_t *clapPlugin, uint32_t index, bool isInput,
                          clap_audio_port_info_t *info) {
    if (index != 0 || !info) return false;
    memset(info, 0, sizeof *info);
    info->id = 0;
    strcpy(info->name, "My Port Name");
    info->flags = CLAP_AUDIO_PORT_IS_MAIN;
    info->channel_count = 2;
    info->port_type = CLAP_PORT_STEREO;
    info->in_place_pair = CLAP_INVALID_ID;
    return true;
}

const clap_plugin_audio_ports_t PLUGIN_AUDIO_PORTS = {AudioPortsCount, AudioPortsGet};
