// libFuzzer target: any bytes as a clap.state stream. The first byte says how
// many bytes the host's stream gives per read (0: all that is asked for), the
// rest is the stream. A load may refuse, never crash or read past the data;
// whatever it leaves behind is a patch with values within 0..1, its save
// loads back to the same save, and the engine runs over it, modulators and
// curves included.
#include <math.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <vector>

#include "clap/clap.h"
#include "engine/backend.h"
#include "engine/engine.h"

extern "C" const clap_plugin_entry_t clap_entry;

// The engine's entry points go straight to the plain build: this target
// compiles the DSP source once, without the dispatcher's other levels.
void EngineProcess(EngineContext *context, float *wet, int32_t frames) {
    ENGINE_BACKEND_1.process(context, wet, frames);
}
void EngineEqResponse(EngineContext *context, int32_t instance) {
    ENGINE_BACKEND_1.eqResponse(context, instance);
}
void EngineDestroy(EngineContext *context) { ENGINE_BACKEND_1.destroy(context); }
void EngineDetectProcessor(void) {}

namespace {

const uint32_t BLOCK_SIZE = 1720, NAME_AT = 24, VALUES_AT = 124, VALUE_COUNT = 231;
const uint64_t MAGIC = 0x95A130791400F612ull;
const uint32_t FRAMES = 256;

// A host that offers no extension at all.
const clap_host_t HOST = {CLAP_VERSION_INIT, nullptr, "fuzz",  "",     "", "1",
                          nullptr,           nullptr, nullptr, nullptr};

struct Input {
    const uint8_t *data;
    size_t size, position, chunk;
};

int64_t Read(const clap_istream_t *stream, void *buffer, uint64_t size) {
    Input *input = (Input *)stream->ctx;
    size_t n = input->size - input->position;
    if (size < n) n = (size_t)size;
    if (input->chunk && input->chunk < n) n = input->chunk;
    if (n) memcpy(buffer, input->data + input->position, n);
    input->position += n;
    return (int64_t)n;
}

int64_t Write(const clap_ostream_t *stream, const void *buffer, uint64_t size) {
    std::vector<uint8_t> *out = (std::vector<uint8_t> *)stream->ctx;
    out->insert(out->end(), (const uint8_t *)buffer, (const uint8_t *)buffer + size);
    return (int64_t)size;
}

const clap_plugin_t *NewInstance() {
    auto factory = (const clap_plugin_factory_t *)clap_entry.get_factory(CLAP_PLUGIN_FACTORY_ID);
    const clap_plugin_t *plugin = factory->create_plugin(factory, &HOST, "orwen.LathemoorFX");
    if (!plugin || !plugin->init(plugin) || !plugin->activate(plugin, 48000.0, 1, FRAMES))
        __builtin_trap();
    return plugin;
}

const clap_plugin_state_t *State(const clap_plugin_t *plugin) {
    return (const clap_plugin_state_t *)plugin->get_extension(plugin, CLAP_EXT_STATE);
}

bool Load(const clap_plugin_t *plugin, const uint8_t *data, size_t size, size_t chunk) {
    Input input = {data, size, 0, chunk};
    clap_istream_t stream = {&input, Read};
    bool loaded = State(plugin)->load(plugin, &stream);
    if (input.position > size) __builtin_trap();
    return loaded;
}

std::vector<uint8_t> Save(const clap_plugin_t *plugin) {
    std::vector<uint8_t> bytes;
    clap_ostream_t stream = {&bytes, Write};
    if (!State(plugin)->save(plugin, &stream)) __builtin_trap();
    return bytes;
}

// What every save must look like: the length, the magic, and values that a
// load has repaired.
void CheckSave(const std::vector<uint8_t> &saved) {
    uint32_t length;
    uint64_t magic;
    if (saved.size() < 4 + BLOCK_SIZE + 1 + 3 * 6) __builtin_trap();
    memcpy(&length, saved.data(), 4);
    memcpy(&magic, saved.data() + 4, 8);
    if (length != BLOCK_SIZE || magic != MAGIC || saved[NAME_AT + 99] != 0) __builtin_trap();
    for (uint32_t i = 0; i < VALUE_COUNT; i++) {
        float v;
        memcpy(&v, saved.data() + VALUES_AT + 4 * i, 4);
        if (!(v >= 0.0f && v <= 1.0f)) __builtin_trap();
    }
}

std::vector<uint8_t> defaultSave;
const clap_plugin_t *keeper;  // keeps the process-wide state alive between inputs

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    setenv("HOME", "/nonexistent/lathemoor-fuzz", 1);  // no settings, no start-up patch
    keeper = NewInstance();
    defaultSave = Save(keeper);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    if (size == 0) return 0;
    size_t chunk = bytes[0];
    // An exact-size copy, so that AddressSanitizer sees a read one past it.
    uint8_t *data = (uint8_t *)malloc(size - 1 ? size - 1 : 1);
    memcpy(data, bytes + 1, size - 1);

    const clap_plugin_t *plugin = NewInstance();
    bool loaded = Load(plugin, data, size - 1, chunk);
    std::vector<uint8_t> saved = Save(plugin);
    CheckSave(saved);
    if (!loaded && saved != defaultSave) __builtin_trap();

    // The save is a fixed point: loaded into a new instance it saves the same.
    const clap_plugin_t *again = NewInstance();
    if (!Load(again, saved.data(), saved.size(), 0) || Save(again) != saved) __builtin_trap();
    again->destroy(again);

    // The engine runs over what was loaded; nothing it makes may be NaN or infinite.
    std::vector<float> left(FRAMES), right(FRAMES);
    for (uint32_t i = 0; i < FRAMES; i++) {
        left[i] = 0.5f * sinf(0.05f * (float)i);
        right[i] = (i % 17) / 17.0f - 0.5f;
    }
    float *channels[2] = {left.data(), right.data()};
    clap_audio_buffer_t buffer = {};
    buffer.data32 = channels;
    buffer.channel_count = 2;
    clap_process_t process = {};
    process.frames_count = FRAMES;
    process.audio_inputs = &buffer;
    process.audio_outputs = &buffer;
    process.audio_inputs_count = process.audio_outputs_count = 1;
    plugin->process(plugin, &process);
    for (uint32_t i = 0; i < FRAMES; i++)
        if (!isfinite(left[i]) || !isfinite(right[i])) __builtin_trap();

    plugin->destroy(plugin);
    free(data);
    return 0;
}
