#include "tests/support/plugin_rig.h"

#include <gtest/gtest.h>
#include <math.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

std::vector<uint8_t> Saved(const Instance &instance) {
    std::optional<std::vector<uint8_t>> state = SaveState(instance);
    EXPECT_TRUE(state.has_value());
    return state.value_or(std::vector<uint8_t>());
}

const std::vector<uint8_t> &DefaultState() {
    static const std::vector<uint8_t> state = Saved(*CreateInstance(TestPlugin()));
    return state;
}

std::vector<float> DefaultValues() {
    std::vector<float> values;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++)
        values.push_back(GetLE<float>(DefaultState(), STATE_VALUES_AT + 4 * i));
    return values;
}

std::vector<float> Ramp() {
    std::vector<float> values;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) values.push_back(float(i) / float(PARAM_TOTAL - 1));
    return values;
}

std::vector<CurveImage> OddCurves() {
    CurveImage looped, shortest, bounds;
    looped.loopStart = 2;
    looped.points = {{0, 0.25f, 1}, {0.2f, 0.9f, -3}, {0.5f, 0.1f, 0}, {0.8f, 1, 7.5f}, {1, 0.5f, 0}};
    shortest.points = {{0, 1, 0}, {1, 0, 0}};
    bounds.loopStart = 1;
    bounds.points = {{0, 0, -20}, {1, 1, 20}, {0.5f, 0.5f, -0.0f}};
    return {looped, shortest, bounds};
}

std::vector<uint8_t> DefaultBlock() {
    return std::vector<uint8_t>(DefaultState().begin() + 4, DefaultState().begin() + STATE_CURVES_AT);
}

std::vector<uint8_t> Stream(uint32_t length, const std::vector<uint8_t> &block, const std::vector<uint8_t> &rest) {
    std::vector<uint8_t> bytes;
    PutLE(bytes, length);
    bytes.insert(bytes.end(), block.begin(), block.end());
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

std::vector<uint8_t> StateWith(const std::vector<float> &values, const std::vector<CurveImage> &curves,
                               const std::string &name) {
    std::vector<uint8_t> stream = Stream(STATE_BLOCK_SIZE, DefaultBlock(), CurveBlockBytes(curves));
    memset(&stream[STATE_NAME_AT], 0, PATCH_NAME_BYTES);
    memcpy(&stream[STATE_NAME_AT], name.data(), std::min<size_t>(name.size(), PATCH_NAME_BYTES - 1));
    for (size_t i = 0; i < values.size(); i++) SetLE(stream, STATE_VALUES_AT + 4 * i, values[i]);
    return stream;
}

std::vector<uint8_t> PatchFile(const std::string &name, const std::vector<float> &values,
                               const std::vector<CurveImage> &curves, uint64_t version) {
    std::vector<uint8_t> file;
    PutLE(file, SYNTHPATCH_MAGIC);
    PutLE(file, version);
    file.insert(file.end(), name.begin(), name.end());
    file.resize(FILE_VALUES_AT, 0);
    for (float v : values) PutLE(file, v);
    for (uint32_t i = 0; i < PATCH_RESERVED_BYTES; i++) file.push_back(uint8_t(3 * i + 5));
    file.insert(file.end(), {0, 0, 0, 0});
    std::vector<uint8_t> block = CurveBlockBytes(curves);
    file.insert(file.end(), block.begin(), block.end());
    return file;
}

std::string NameOf(const std::vector<uint8_t> &state) {
    return std::string((const char *)&state[STATE_NAME_AT],
                       strnlen((const char *)&state[STATE_NAME_AT], PATCH_NAME_BYTES));
}

std::vector<uint8_t> CurvesOf(const std::vector<uint8_t> &state) {
    return std::vector<uint8_t>(state.begin() + STATE_CURVES_AT, state.end());
}

void ExpectValues(const Instance &instance, const std::vector<float> &expected) {
    std::vector<uint8_t> state = Saved(instance);
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) {
        EXPECT_EQ(GetParamValue(instance, i), double(expected[i])) << "get_value " << i;
        EXPECT_EQ(GetLE<float>(state, STATE_VALUES_AT + 4 * i), expected[i]) << "saved " << i;
    }
}

std::string WriteTo(const TemporaryFolder &folder, const std::string &name, const std::vector<uint8_t> &bytes,
                    off_t size) {
    std::string path = folder.File(name);
    WriteFileBytes(path, bytes);
    if (size >= 0) EXPECT_EQ(truncate(path.c_str(), size), 0);
    return path;
}

std::vector<HostEvent> ChainEvents(const std::string &chain, uint32_t time) {
    std::vector<HostEvent> events;
    for (const ParamSetting &s : ChainSettings(chain)) events.push_back(ParamValueEvent(time, s.id, s.value));
    return events;
}

void Click(Instance &instance, EditorFrame &frame, int32_t x, int32_t y, uint32_t button) {
    PointerMove(frame, x, y);
    RunEditor(instance, 0.1, &frame);
    for (bool press : {true, false}) PointerButton(frame, button, press), RunEditor(instance, 0.1, &frame);
}

std::string Heard(Instance &instance) {
    std::string heard;
    for (const HostEvent &e : FlushParams(instance))
        if (e.header.type == CLAP_EVENT_PARAM_VALUE) heard += std::to_string(lround(e.value.value * 1000)) + " ";
    return heard;
}
