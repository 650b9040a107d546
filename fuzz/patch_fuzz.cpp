// libFuzzer target: any bytes as a .synthpatch file, through the file loader
// (PatchLoadFromBuffer) of an instance that holds an earlier patch. The load
// may refuse, never crash or read past the data. A taken patch has the file's
// name and its values repaired into 0..1, and its state save loads back to
// the same save; a refused one leaves the name and values as they were, and
// the curves too when the file was shorter than a patch block, else the
// default curves.
#include <math.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <vector>

#include "engine/engine.h"
#include "fuzz/plugin_state.h"
#include "shell/plugin.h"
#include "shell/whole_patch.h"


// The file loader never reaches the DSP: a stand-in passes the audio through.
void EngineProcess(EngineContext *context, float *wet, int32_t frames) {
    memcpy(wet, context->dryBlock, (size_t)frames * 2 * sizeof(float));
}
void EngineEqResponse(EngineContext *context, int32_t instance) {}
void EngineDestroy(EngineContext *context) {}
void EngineDetectProcessor(void) {}

namespace {

using namespace fuzz;

// Offsets in a state stream (the Patch's plus the 4-byte length) and in a file.
const size_t STATE_NAME_AT = 24, STATE_VALUES_AT = 124, STATE_CURVES_AT = 1724;
const size_t FILE_NAME_AT = 16, FILE_VALUES_AT = 116;
const uint32_t VALUE_COUNT = 231;

bool Load(const clap_plugin_t *plugin, const std::vector<uint8_t> &bytes) {
    return fuzz::Load(plugin, bytes.data(), bytes.size(), 0);
}

float Repaired(float v) {
    if (!isfinite(v)) return 0.0f;
    return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v);
}

bool Same(const std::vector<uint8_t> &a, const std::vector<uint8_t> &b, size_t from, size_t to) {
    return a.size() >= to && b.size() >= to &&
           memcmp(a.data() + from, b.data() + from, to - from) == 0;
}

// What the instance holds before each load: a name, values and curves unlike
// the defaults.
std::vector<uint8_t> earlier, defaultCurves;
const clap_plugin_t *keeper;  // keeps the process-wide state alive between inputs

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    setenv("HOME", "/nonexistent/lathemoor-fuzz", 1);  // no settings, no start-up patch
    keeper = NewInstance(0);
    std::vector<uint8_t> state = Save(keeper);
    defaultCurves.assign(state.begin() + STATE_CURVES_AT, state.end());
    state.resize(STATE_CURVES_AT);
    memcpy(&state[STATE_NAME_AT], "earlier", 8);
    for (uint32_t i = 0; i < VALUE_COUNT; i++) {
        float v = (float)(i % 5) / 4.0f;
        memcpy(&state[STATE_VALUES_AT + 4 * i], &v, 4);
    }
    const uint8_t CURVES[] = {1,                             // present
                              0xFF, 0xFF, 1,    0,    2, 0,  // loop 1, 2 points
                              0,    0,    0,    0,    0, 0, 0x80, 0x3F, 0, 0, 0, 0,  // (0, 1, 0)
                              0,    0,    0x80, 0x3F, 0, 0, 0,    0,    0, 0, 0, 0,  // (1, 0, 0)
                              0,    0,    0,    0};  // two empty curves
    state.insert(state.end(), CURVES, CURVES + sizeof CURVES);
    if (!Load(keeper, state)) __builtin_trap();
    earlier = Save(keeper);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    // An exact-size copy, so that AddressSanitizer sees a read one past it.
    uint8_t *data = (uint8_t *)malloc(size ? size : 1);
    if (size) memcpy(data, bytes, size);

    const clap_plugin_t *plugin = NewInstance(0);
    if (!Load(plugin, earlier)) __builtin_trap();
    ByteReader reader = {data, 0, size};
    int result = PatchLoadFromBuffer(PluginFromClap(plugin), &reader);
    if (reader.position > size) __builtin_trap();
    std::vector<uint8_t> saved = Save(plugin);

    if (result == 1) {
        // The state block's head stays; the name and values come from the
        // file, repaired; the reserved bytes come over unchanged.
        if (!Same(saved, earlier, 0, STATE_NAME_AT)) __builtin_trap();
        if (memcmp(&saved[STATE_NAME_AT], data + FILE_NAME_AT, 99) || saved[STATE_NAME_AT + 99])
            __builtin_trap();
        for (uint32_t i = 0; i < VALUE_COUNT; i++) {
            float stored, loaded;
            memcpy(&stored, data + FILE_VALUES_AT + 4 * i, 4);
            memcpy(&loaded, &saved[STATE_VALUES_AT + 4 * i], 4);
            if (loaded != Repaired(stored)) __builtin_trap();
        }
        if (memcmp(&saved[4 + 1044], data + 1040, 676)) __builtin_trap();
        const clap_plugin_t *again = NewInstance(0);
        if (!Load(again, saved) || Save(again) != saved) __builtin_trap();
        again->destroy(again);
    } else if (result == 0) {
        // Refused: name and values stay; a file as long as a block has got
        // as far as the curves and leaves the default ones.
        std::vector<uint8_t> curves(saved.begin() + STATE_CURVES_AT, saved.end());
        if (size < PATCH_BLOCK_SIZE
                ? saved != earlier
                : !Same(saved, earlier, 0, STATE_CURVES_AT) || curves != defaultCurves)
            __builtin_trap();
    } else {
        __builtin_trap();
    }

    plugin->destroy(plugin);
    free(data);
    return 0;
}
