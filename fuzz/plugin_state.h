// What the plug-in's fuzz targets share: a host that offers no extension, an
// instance made through clap_entry, and clap.state loads and saves over
// memory. A failed step that can't be the input's fault traps.
#pragma once
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <vector>

#include "clap/clap.h"

extern "C" const clap_plugin_entry_t clap_entry;

namespace fuzz {

const clap_host_t HOST = {CLAP_VERSION_INIT, nullptr, "fuzz",  "",     "", "1",
                          nullptr,           nullptr, nullptr, nullptr};

// The bytes a host's stream gives, at most `chunk` per read (0: all asked for).
struct Input {
    const uint8_t *data;
    size_t size, position, chunk;
};

inline int64_t Read(const clap_istream_t *stream, void *buffer, uint64_t size) {
    Input *input = (Input *)stream->ctx;
    size_t n = input->size - input->position;
    if (size < n) n = (size_t)size;
    if (input->chunk && input->chunk < n) n = input->chunk;
    if (n) memcpy(buffer, input->data + input->position, n);
    input->position += n;
    return (int64_t)n;
}

inline int64_t Write(const clap_ostream_t *stream, const void *buffer, uint64_t size) {
    std::vector<uint8_t> *out = (std::vector<uint8_t> *)stream->ctx;
    out->insert(out->end(), (const uint8_t *)buffer, (const uint8_t *)buffer + size);
    return (int64_t)size;
}

inline const clap_plugin_t *NewInstance(uint32_t activateFrames) {
    auto factory = (const clap_plugin_factory_t *)clap_entry.get_factory(CLAP_PLUGIN_FACTORY_ID);
    const clap_plugin_t *plugin = factory->create_plugin(factory, &HOST, "orwen.LathemoorFX");
    if (!plugin || !plugin->init(plugin)) __builtin_trap();
    if (activateFrames && !plugin->activate(plugin, 48000.0, 1, activateFrames)) __builtin_trap();
    return plugin;
}

inline const clap_plugin_state_t *State(const clap_plugin_t *plugin) {
    return (const clap_plugin_state_t *)plugin->get_extension(plugin, CLAP_EXT_STATE);
}

// A load never reads past the data it was given.
inline bool Load(const clap_plugin_t *plugin, const uint8_t *data, size_t size, size_t chunk) {
    Input input = {data, size, 0, chunk};
    clap_istream_t stream = {&input, Read};
    bool loaded = State(plugin)->load(plugin, &stream);
    if (input.position > size) __builtin_trap();
    return loaded;
}

inline std::vector<uint8_t> Save(const clap_plugin_t *plugin) {
    std::vector<uint8_t> bytes;
    clap_ostream_t stream = {&bytes, Write};
    if (!State(plugin)->save(plugin, &stream)) __builtin_trap();
    return bytes;
}

}  // namespace fuzz
