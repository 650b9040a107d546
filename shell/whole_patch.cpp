// Whole-sound changes of one instance. Every one of them first folds the
// values the host changed (and the editor has not taken yet) into the Patch,
// so that a later drain cannot bring back a value the new sound replaced, and
// the undo entry holds the sound as it was heard.
#include "shell/whole_patch.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "store/settings.h"
#include "store/undo.h"

static void MarkDirty(Plugin *plugin) {
    const clap_host_state_t *state = plugin->hostState;
    if (state && state->mark_dirty) state->mark_dirty(plugin->host);
}

// After a whole-patch change the host rereads every value: nothing else
// tells it, since the reload sends no events.
static void TellHostAllChanged(Plugin *plugin) {
    const clap_host_voice_info_t *voices = plugin->hostVoiceInfo;
    if (voices && voices->changed) voices->changed(plugin->host);
    const clap_host_params_t *params = plugin->hostParams;
    if (params && params->rescan) params->rescan(plugin->host, CLAP_PARAM_RESCAN_VALUES);
}

// The engine reads the curves under engineLock: the new set replaces the old
// in one step, and the old is freed after the lock is let go.
static void SwapCurves(Plugin *plugin, Curve *fresh) {
    EngineContext *context = &plugin->context;
    pthread_mutex_lock(&context->engineLock);
    Curve *old = context->curves;
    context->curves = fresh;
    pthread_mutex_unlock(&context->engineLock);
    CurvesFree(&old);
}

// Hands a whole new sound to the audio side: the curves and the values change
// together while the engine is held, and every unit reloads at its next block.
void PatchCommit(Plugin *plugin, Curve *fresh, const Patch *patch) {
    EngineContext *context = &plugin->context;
    pthread_mutex_lock(&context->engineLock);
    Curve *old = context->curves;
    context->curves = fresh;
    pthread_mutex_lock(&globals.paramLock);  // get_value reads the Patch meanwhile
    plugin->patch = *patch;
    memcpy(context->editorValue, patch->values, sizeof context->editorValue);
    context->reloadRequest = 1;
    pthread_mutex_unlock(&globals.paramLock);
    pthread_mutex_unlock(&context->engineLock);
    CurvesFree(&old);
    MarkDirty(plugin);
    TellHostAllChanged(plugin);
}

void PushUndo(Plugin *plugin) {
    UndoStackPush(plugin->undoStack, &plugin->patch, plugin->context.curves);
}

void PatchResetToDefault(Plugin *plugin) {
    DrainHostValues(plugin);
    Patch patch = plugin->patch;
    for (int i = 0; i < PARAM_COUNT; i++) patch.values[i] = PARAM_INFO[i].defaultValue;
    PatchSetName(&patch, "init");
    Curve *fresh = nullptr;
    CurvesReset(&fresh);
    PatchCommit(plugin, fresh, &patch);
}

int PatchLoadFromBuffer(Plugin *plugin, ByteReader *reader) {
    DrainHostValues(plugin);
    PushUndo(plugin);
    Patch loaded = plugin->patch;
    Curve *fresh = nullptr;
    PatchFileResult result = PatchFileParse(reader, &loaded, &fresh);
    if (result == PATCH_FILE_SHORT) return 0;
    if (result == PATCH_FILE_REFUSED) {
        // The curves were the first part to be replaced: a refused file
        // leaves the default ones, with the values as they were.
        SwapCurves(plugin, fresh);
        MarkDirty(plugin);
        return 0;
    }
    PatchCommit(plugin, fresh, &loaded);
    return 1;
}

int PatchLoadFromFile(Plugin *plugin, int fd) {
    size_t size = 0;
    uint8_t *data = PatchFileReadAll(fd, &size);
    if (!data) return 0;
    ByteReader reader = {data, 0, size};
    int result = PatchLoadFromBuffer(plugin, &reader);
    free(data);
    return result;
}

void PatchInit(Plugin *plugin) {
    char32_t *path = SettingsReadText(U"CustomInitPatch", 0);
    bool loaded = false;
    // "!" and "e" both ask for the default: in this effect the empty patch
    // and the default patch are one and the same.
    if (path && !(path[0] == U'!' && !path[1]) && !(path[0] == U'e' && !path[1])) {
        char *bytes = TextNarrow(path);
        int fd = open(bytes, O_RDONLY | O_CLOEXEC);
        free(bytes);
        loaded = fd >= 0 && PatchLoadFromFile(plugin, fd);
    }
    free(path);
    if (!loaded) PatchResetToDefault(plugin);
}

void Randomise(Plugin *plugin) {
    DrainHostValues(plugin);
    PushUndo(plugin);
    for (int i = 0; i < PARAM_COUNT; i++) {
        if (PARAM_KIND[PARAM_INFO[i].kind].hostReadOnly) continue;
        float v = (float)rand() * 4.656613e-10f;
        if (v != plugin->context.editorValue[i]) ParamSet(plugin, i, v);
    }
    pthread_mutex_lock(&globals.paramLock);
    PatchSetName(&plugin->patch, "random");
    pthread_mutex_unlock(&globals.paramLock);
}

// ---- the clap.state stream ----

// A host stream takes or gives bytes in pieces; a result of -1 ends the
// transfer, and so does 0, which would otherwise make no progress for ever.
static bool WriteToStream(void *context, void *bytes, size_t length) {
    const clap_ostream_t *stream = (const clap_ostream_t *)context;
    if (!stream->write) return false;
    for (size_t done = 0; done < length;) {
        int64_t n = stream->write(stream, (uint8_t *)bytes + done, length - done);
        if (n < 1 || (uint64_t)n > length - done) return false;
        done += (size_t)n;
    }
    return true;
}

static bool ReadFromStream(void *context, void *bytes, size_t length) {
    const clap_istream_t *stream = (const clap_istream_t *)context;
    if (!stream->read) return false;
    for (size_t done = 0; done < length;) {
        int64_t n = stream->read(stream, (uint8_t *)bytes + done, length - done);
        if (n < 1 || (uint64_t)n > length - done) return false;
        done += (size_t)n;
    }
    return true;
}

bool PatchStateSave(Plugin *plugin, const clap_ostream_t *stream) {
    if (!stream) return false;
    DrainHostValues(plugin);  // the host's latest values belong in what it saves
    return PatchStateWrite(&plugin->patch, plugin->context.curves, WriteToStream, (void *)stream);
}

bool PatchStateLoad(Plugin *plugin, const clap_istream_t *stream) {
    EngineContext *context = &plugin->context;
    DrainHostValues(plugin);  // what the host changed before is overwritten by the load
    Curve *fresh = nullptr;
    bool good;
    if (stream) {
        good = PatchStateRead(&plugin->patch, &fresh, ReadFromStream, (void *)stream);
    } else {
        good = false;
        PatchFillDefault(&plugin->patch);
        CurvesReset(&fresh);
    }
    SwapCurves(plugin, fresh);
    // Also after a failure, so that get_value and the audio side agree with
    // the patch the instance now holds. The audio side takes all values over
    // at its next block, as in a reload but keeping the units' buffers; it
    // owns audioParam and liveValue, which a host may be processing with now.
    // No rescan: the host that loads a state knows the values it gave.
    pthread_mutex_lock(&globals.paramLock);
    memcpy(context->editorValue, plugin->patch.values, sizeof context->editorValue);
    context->valuesRequest = 1;
    pthread_mutex_unlock(&globals.paramLock);
    return good;
}
