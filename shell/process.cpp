// The process driver: takes over what the editor changed, follows the
// transport, splits the host's block at event times into chunks of at most
// PLUGIN_BLOCK_FRAMES, runs the engine on each, and carries parameter values
// between the host, the audio side and the editor.
#include <math.h>
#include <string.h>

#include "engine/engine.h"
#include "shell/plugin.h"

// A host value limited to 0..1 in double precision before it becomes a float,
// so that NaN and the infinities never reach a value array.
static float HostValueToFloat(double v) {
    if (!(v > 0.0)) return 0.0f;
    if (v > 1.0) return 1.0f;
    return (float)v;
}

// audioParam and hostMod are written by the audio thread and read by
// get_value and the editor on the main thread without a common lock; a relaxed
// atomic store keeps each float whole and costs a plain move on x86-64.
static void StoreShared(float *slot, float v) { __atomic_store(slot, &v, __ATOMIC_RELAXED); }

static void RequestFlush(Plugin *plugin) {
    const clap_host_params_t *params = plugin->hostParams;
    if (params && params->request_flush) params->request_flush(plugin->host);
}

void ParamSet(Plugin *plugin, int32_t parameter, float value) {
    if (parameter < 0 || parameter >= PARAM_COUNT) return;
    value = Clamp01(value);
    pthread_mutex_lock(&globals.paramLock);
    uint8_t *state = &plugin->pendingParam[parameter];
    if (*state != PENDING_GESTURE_BEGIN && *state != PENDING_GESTURE_WHOLE) *state = PENDING_VALUE;
    plugin->patch.values[parameter] = value;
    plugin->context.editorValue[parameter] = value;
    pthread_mutex_unlock(&globals.paramLock);
    RequestFlush(plugin);
}

void ParamGesture(Plugin *plugin, int32_t parameter, bool begin) {
    if (parameter < 0 || parameter >= PARAM_COUNT) return;
    pthread_mutex_lock(&globals.paramLock);
    uint8_t *state = &plugin->pendingParam[parameter];
    // An end whose begin the host has not heard yet keeps the begin and value.
    *state = begin ? PENDING_GESTURE_BEGIN
             : *state == PENDING_GESTURE_BEGIN || *state == PENDING_GESTURE_WHOLE ? PENDING_GESTURE_WHOLE
                                                                                 : PENDING_GESTURE_END;
    pthread_mutex_unlock(&globals.paramLock);
    RequestFlush(plugin);
}

static void PushGesture(const clap_output_events_t *out, uint16_t type, clap_id parameter) {
    clap_event_param_gesture_t event = {};
    event.header = {sizeof event, 0, CLAP_CORE_EVENT_SPACE_ID, type, 0};
    event.param_id = parameter;
    out->try_push(out, &event.header);  // a refused event is dropped
}

static void PushValue(const clap_output_events_t *out, clap_id parameter, float value) {
    clap_event_param_value_t event = {};
    event.header = {sizeof event, 0, CLAP_CORE_EVENT_SPACE_ID, CLAP_EVENT_PARAM_VALUE, 0};
    event.param_id = parameter;
    event.note_id = -1;
    event.port_index = -1;
    event.channel = -1;
    event.key = -1;
    event.value = value;
    out->try_push(out, &event.header);
}

void PullFromEditor(Plugin *plugin, const clap_output_events_t *out) {
    EngineContext *context = &plugin->context;
    pthread_mutex_lock(&globals.paramLock);
    memcpy(plugin->workingParam, plugin->pendingParam, PARAM_COUNT);
    memset(plugin->pendingParam, 0, PARAM_COUNT);
    bool all = context->reloadRequest || context->valuesRequest;
    for (int i = 0; i < PARAM_COUNT; i++)
        if (all || plugin->workingParam[i])
            StoreShared(&plugin->audioParam[i], context->editorValue[i]);
    // Only ever set here: a reload that a flush took over must still clear
    // the units at the engine's next block, even if another pull comes first.
    if (context->reloadRequest) context->engineReset = 1;
    context->reloadRequest = 0;
    context->valuesRequest = 0;
    pthread_mutex_unlock(&globals.paramLock);

    bool canPush = out && out->try_push;
    for (int i = 0; i < PARAM_COUNT; i++) {
        context->liveValue[i] = Clamp01(plugin->audioParam[i] + plugin->meter.hostMod[i]);
        uint8_t state = plugin->workingParam[i];
        if (!canPush || state == PENDING_NONE) continue;
        if (state == PENDING_GESTURE_BEGIN || state == PENDING_GESTURE_WHOLE)
            PushGesture(out, CLAP_EVENT_PARAM_GESTURE_BEGIN, i);
        if (state != PENDING_GESTURE_END) PushValue(out, i, context->liveValue[i]);
        if (state == PENDING_GESTURE_END || state == PENDING_GESTURE_WHOLE)
            PushGesture(out, CLAP_EVENT_PARAM_GESTURE_END, i);
    }
}

void TakeHostValue(Plugin *plugin, const clap_event_param_value_t *event) {
    clap_id i = event->param_id;
    if (i >= PARAM_COUNT) return;
    float v = HostValueToFloat(event->value);
    StoreShared(&plugin->audioParam[i], v);
    plugin->context.liveValue[i] = Clamp01(v + plugin->meter.hostMod[i]);
    pthread_mutex_lock(&plugin->hostValuesLock);
    plugin->hostChangedMask[i / 32] |= 1u << (i % 32);
    plugin->hostChangedValue[i] = v;
    plugin->hostChanged = 1;
    pthread_mutex_unlock(&plugin->hostValuesLock);
}

bool DrainHostValues(Plugin *plugin) {
    // Copied out under hostValuesLock and written under paramLock, so that
    // the two locks are never held together and editorValue is only written
    // under the lock that guards it.
    uint32_t mask[8];
    float value[PARAM_COUNT];
    pthread_mutex_lock(&plugin->hostValuesLock);
    if (!plugin->hostChanged) {
        pthread_mutex_unlock(&plugin->hostValuesLock);
        return false;
    }
    memcpy(mask, plugin->hostChangedMask, sizeof mask);
    memcpy(value, plugin->hostChangedValue, sizeof value);
    memset(plugin->hostChangedMask, 0, sizeof plugin->hostChangedMask);
    plugin->hostChanged = 0;
    pthread_mutex_unlock(&plugin->hostValuesLock);

    pthread_mutex_lock(&globals.paramLock);
    for (int i = 0; i < PARAM_COUNT; i++) {
        if (!(mask[i / 32] & (1u << (i % 32)))) continue;
        plugin->patch.values[i] = value[i];
        plugin->context.editorValue[i] = value[i];
    }
    pthread_mutex_unlock(&globals.paramLock);
    return true;
}

static void TakeHostModulation(Plugin *plugin, const clap_event_param_mod_t *event) {
    clap_id i = event->param_id;
    if (i >= PARAM_COUNT || event->note_id != -1) return;
    float amount = isfinite(event->amount) ? (float)event->amount : 0.0f;  // an offset: not limited
    StoreShared(&plugin->meter.hostMod[i], amount);
    plugin->context.liveValue[i] = Clamp01(plugin->audioParam[i] + amount);
}

static void ApplyTransport(EngineContext *context, const clap_event_transport_t *transport) {
    uint32_t flags = transport->flags;
    if (flags & CLAP_TRANSPORT_HAS_TEMPO)
        context->samplesPerBeat = (float)((double)context->sampleRate / (transport->tempo / 60.0));
    if (flags & CLAP_TRANSPORT_HAS_SECONDS_TIMELINE)
        context->songPosition = (double)transport->song_pos_seconds * (1.0 / CLAP_SECTIME_FACTOR) *
                                context->sampleRate;
    context->transportPlaying = (flags & CLAP_TRANSPORT_IS_PLAYING) ? 1 : 0;
}

// Events shorter than the record of their type are not read: a damaged list
// must not make us read past an event.
static void HandleEvent(Plugin *plugin, const clap_event_header_t *header) {
    if (header->space_id != CLAP_CORE_EVENT_SPACE_ID) return;
    switch (header->type) {
    case CLAP_EVENT_PARAM_VALUE:
        if (header->size >= sizeof(clap_event_param_value_t))
            TakeHostValue(plugin, (const clap_event_param_value_t *)header);
        break;
    case CLAP_EVENT_PARAM_MOD:
        if (header->size >= sizeof(clap_event_param_mod_t))
            TakeHostModulation(plugin, (const clap_event_param_mod_t *)header);
        break;
    case CLAP_EVENT_TRANSPORT:
        if (header->size >= sizeof(clap_event_transport_t))
            ApplyTransport(&plugin->context, (const clap_event_transport_t *)header);
        break;
    default:  // notes, MIDI and anything newer: no effect on the sound
        break;
    }
}

// The first port's channel c, or null when the host gave none.
static float *PortChannel(const clap_audio_buffer_t *ports, uint32_t count, uint32_t c) {
    if (!ports || count == 0 || !ports[0].data32 || ports[0].channel_count <= c) return nullptr;
    return ports[0].data32[c];
}

static void Render(Plugin *plugin, const clap_process_t *process, uint32_t start, uint32_t frames) {
    EngineContext *context = &plugin->context;
    const float *inL = PortChannel(process->audio_inputs, process->audio_inputs_count, 0);
    const float *inR = PortChannel(process->audio_inputs, process->audio_inputs_count, 1);
    float *outL = PortChannel(process->audio_outputs, process->audio_outputs_count, 0);
    float *outR = PortChannel(process->audio_outputs, process->audio_outputs_count, 1);
    if (!(context->sampleRate > 0.0f)) {  // not activated: nothing to run the engine at
        if (outL) memset(outL + start, 0, frames * sizeof(float));
        if (outR) memset(outR + start, 0, frames * sizeof(float));
        return;
    }
    while (frames > 0) {
        uint32_t m = frames < (uint32_t)PLUGIN_BLOCK_FRAMES ? frames : (uint32_t)PLUGIN_BLOCK_FRAMES;
        float *dry = plugin->dryBlock, *wet = plugin->wetBlock;
        context->dryBlock = dry;
        for (uint32_t f = 0; f < m; f++) {  // a missing input channel is silence
            dry[2 * f] = inL ? inL[start + f] : 0.0f;
            dry[2 * f + 1] = inR ? inR[start + f] : 0.0f;
        }
        pthread_mutex_lock(&context->engineLock);
        EngineProcess(context, wet, (int32_t)m);
        pthread_mutex_unlock(&context->engineLock);
        context->songPosition += m;
        if (outL)
            for (uint32_t f = 0; f < m; f++) outL[start + f] = wet[2 * f];
        if (outR)
            for (uint32_t f = 0; f < m; f++) outR[start + f] = wet[2 * f + 1];
        start += m;
        frames -= m;
    }
}

clap_process_status PluginProcess(const clap_plugin_t *clapPlugin, const clap_process_t *process) {
    Plugin *plugin = PluginFromClap(clapPlugin);
    EngineContext *context = &plugin->context;
    PullFromEditor(plugin, process->out_events);
    if (process->transport)
        ApplyTransport(context, process->transport);
    else
        context->transportPlaying = 0;

    const clap_input_events_t *in = process->in_events;
    uint32_t eventCount = (in && in->size && in->get) ? in->size(in) : 0;
    uint32_t n = process->frames_count, p = 0, e = 0;
    while (p < n) {
        // Events at or before the position are applied before it is rendered;
        // one that runs backward in time is taken at once.
        const clap_event_header_t *next = nullptr;
        for (; e < eventCount; e++) {
            next = in->get(in, e);
            if (next && next->time > p) break;
            if (next) HandleEvent(plugin, next);
            next = nullptr;
        }
        uint32_t q = next && next->time < n ? next->time : n;
        Render(plugin, process, p, q - p);
        p = q;
    }
    return CLAP_PROCESS_CONTINUE;
}
