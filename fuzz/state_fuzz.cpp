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
#include "fuzz/plugin_state.h"
#include "engine/backend.h"
#include "engine/engine.h"


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

using namespace fuzz;

const uint32_t BLOCK_SIZE = 1720, NAME_AT = 24, VALUES_AT = 124, VALUE_COUNT = 231;
const uint64_t MAGIC = 0x95A130791400F612ull;
const uint32_t FRAMES = 256;

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
    keeper = NewInstance(FRAMES);
    defaultSave = Save(keeper);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    if (size == 0) return 0;
    size_t chunk = bytes[0];
    // An exact-size copy, so that AddressSanitizer sees a read one past it.
    uint8_t *data = (uint8_t *)malloc(size - 1 ? size - 1 : 1);
    memcpy(data, bytes + 1, size - 1);

    const clap_plugin_t *plugin = NewInstance(FRAMES);
    bool loaded = Load(plugin, data, size - 1, chunk);
    std::vector<uint8_t> saved = Save(plugin);
    CheckSave(saved);
    if (!loaded && saved != defaultSave) __builtin_trap();

    // The save is a fixed point: loaded into a new instance it saves the same.
    const clap_plugin_t *again = NewInstance(FRAMES);
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
