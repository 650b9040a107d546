// Patches: the default block, sanitising, .synthpatch files, the clap.state
// stream, and the hand-over of a whole new sound to the audio side.
#include "store/patch.h"

#include <fcntl.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "shell/params.h"
#include "shell/plugin.h"
#include "store/curves.h"
#include "store/settings.h"
#include "store/undo.h"

// The file form lacks the record index: from the name on, each field stands
// four bytes earlier than in the Patch.
enum { FILE_NAME_OFFSET = 16, PATCH_NAME_OFFSET = 20 };

void PatchFillDefault(Patch *patch) {
    memset(patch, 0, sizeof *patch);
    patch->magic = PATCH_MAGIC;
    patch->version = PATCH_VERSION;
    strcpy(patch->name, "init");
    for (int i = 0; i < PARAM_COUNT; i++) patch->values[i] = PARAM_INFO[i].defaultValue;
}

void PatchSanitise(Patch *patch) {
    patch->name[PATCH_NAME_SIZE - 1] = 0;
    for (float &v : patch->values) {
        if (!isfinite(v)) v = 0.0f;
        v = v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v);
    }
    patch->version = PATCH_VERSION;
    // The block holds one record; an index pointing past it is cleared so the
    // name and values are read where they are.
    patch->recordIndex = 0;
}

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

void PatchCommit(Plugin *plugin) {
    EngineContext *context = &plugin->context;
    pthread_mutex_lock(&globals.paramLock);
    context->reloadRequest = 1;
    memcpy(context->editorValue, plugin->patch.values, sizeof context->editorValue);
    pthread_mutex_unlock(&globals.paramLock);
    pthread_mutex_unlock(&context->engineLock);
    MarkDirty(plugin);
    TellHostAllChanged(plugin);
}

void PatchResetToDefault(Plugin *plugin) {
    EngineContext *context = &plugin->context;
    pthread_mutex_lock(&context->engineLock);
    CurvesFree(&context->curves);
    CurvesReset(&context->curves);
    pthread_mutex_unlock(&context->engineLock);
    MarkDirty(plugin);
    pthread_mutex_lock(&globals.paramLock);
    context->reloadRequest = 1;
    for (int i = 0; i < PARAM_COUNT; i++)
        plugin->patch.values[i] = context->editorValue[i] = PARAM_INFO[i].defaultValue;
    strcpy(plugin->patch.name, "init");
    pthread_mutex_unlock(&globals.paramLock);
    TellHostAllChanged(plugin);
}

// ---- .synthpatch files ----

static bool ReadFromBuffer(void *context, void *bytes, size_t length) {
    ByteReader *reader = (ByteReader *)context;
    if (reader->size - reader->position < length) return false;
    memcpy(bytes, reader->data + reader->position, length);
    reader->position += length;
    return true;
}

int PatchLoadFromBuffer(Plugin *plugin, ByteReader *reader) {
    EngineContext *context = &plugin->context;
    PushUndo(plugin);
    uint8_t file[PATCH_BLOCK_SIZE];
    if (!ReadFromBuffer(reader, file, sizeof file)) return 0;

    pthread_mutex_lock(&context->engineLock);
    CurvesFree(&context->curves);
    uint64_t magic, version;
    memcpy(&magic, file, 8);
    memcpy(&version, file + 8, 8);
    bool accepted = magic == PATCH_FILE_MAGIC && version < 14 &&
                    CurvesRead(&context->curves, ReadFromBuffer, reader);
    if (!accepted) {
        CurvesFree(&context->curves);
        CurvesReset(&context->curves);
        pthread_mutex_unlock(&context->engineLock);
        MarkDirty(plugin);
        return 0;
    }
    Patch scratch;
    memset(&scratch, 0, sizeof scratch);
    scratch.magic = PATCH_MAGIC;
    scratch.version = version;
    memcpy((uint8_t *)&scratch + PATCH_NAME_OFFSET, file + FILE_NAME_OFFSET,
           PATCH_NAME_SIZE + PATCH_RECORD_BYTES);
    PatchSanitise(&scratch);
    pthread_mutex_lock(&globals.paramLock);  // the values are read by get_value meanwhile
    memcpy((uint8_t *)&plugin->patch + PATCH_NAME_OFFSET, (uint8_t *)&scratch + PATCH_NAME_OFFSET,
           PATCH_NAME_SIZE + PATCH_RECORD_BYTES);
    pthread_mutex_unlock(&globals.paramLock);
    PatchCommit(plugin);
    return 1;
}

int PatchLoadFromFile(Plugin *plugin, int fd) {
    off_t size = lseek(fd, 0, SEEK_END);
    if (size < PATCH_BLOCK_SIZE || size > PATCH_FILE_MAX_SIZE || lseek(fd, 0, SEEK_SET) != 0) {
        close(fd);
        return 0;
    }
    uint8_t *data = (uint8_t *)malloc((size_t)size);
    bool whole = read(fd, data, (size_t)size) == size;
    close(fd);
    int result = 0;
    if (whole) {
        ByteReader reader = {data, 0, (size_t)size};
        result = PatchLoadFromBuffer(plugin, &reader);
    }
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
    uint32_t length = PATCH_BLOCK_SIZE;
    if (!WriteToStream((void *)stream, &length, sizeof length)) return false;
    if (!WriteToStream((void *)stream, &plugin->patch, sizeof plugin->patch)) return false;
    return CurvesWrite(plugin->context.curves, WriteToStream, (void *)stream);
}

bool PatchStateLoad(Plugin *plugin, const clap_istream_t *stream) {
    EngineContext *context = &plugin->context;
    DrainHostValues(plugin);  // what the host changed before is overwritten by the load
    Patch *patch = &plugin->patch;
    uint32_t length = 0, copyLength = 0;
    bool lengthRead = stream && ReadFromStream((void *)stream, &length, sizeof length);
    bool good = false;
    if (lengthRead) {
        copyLength = length < (uint32_t)PATCH_BLOCK_SIZE ? length : (uint32_t)PATCH_BLOCK_SIZE;
        PatchFillDefault(patch);
        if (ReadFromStream((void *)stream, patch, copyLength)) {
            pthread_mutex_lock(&context->engineLock);
            CurvesFree(&context->curves);
            bool curves = CurvesRead(&context->curves, ReadFromStream, (void *)stream);
            pthread_mutex_unlock(&context->engineLock);
            good = curves && patch->magic == PATCH_MAGIC && patch->version <= PATCH_VERSION;
        }
    }
    if (good) {
        PatchSanitise(patch);
    } else {
        PatchFillDefault(patch);
        pthread_mutex_lock(&context->engineLock);
        CurvesFree(&context->curves);
        CurvesReset(&context->curves);
        pthread_mutex_unlock(&context->engineLock);
    }
    // Also after a failure, so that get_value and the audio side agree with
    // the patch the instance now holds. The audio side takes all values over
    // at its next block, as in a reload but keeping the units' buffers; it
    // owns audioParam and liveValue, which a host may be processing with now.
    pthread_mutex_lock(&globals.paramLock);
    memcpy(context->editorValue, patch->values, sizeof context->editorValue);
    context->valuesRequest = 1;
    pthread_mutex_unlock(&globals.paramLock);

    // Bytes beyond the block stand after the curves: read and drop them.
    uint8_t byte;
    for (uint32_t excess = length - copyLength; lengthRead && excess > 0; excess--)
        if (!stream->read || stream->read(stream, &byte, 1) < 1) break;
    return good;
}
