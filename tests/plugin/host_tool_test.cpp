// The host's own pieces that the command-line tool rests on: WAV reading and
// writing, effect chains as text, the demo piece, patch files made from a
// state, and the tool's commands themselves.
#include <gtest/gtest.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <string>
#include <vector>
#include "tools/host/host.h"

namespace {

// ---- building WAV files byte by byte ----

void Put16(std::vector<uint8_t> &out, uint32_t v) {
    for (int i = 0; i < 2; i++) out.push_back(uint8_t(v >> (8 * i)));
}
void Put32(std::vector<uint8_t> &out, uint32_t v) {
    for (int i = 0; i < 4; i++) out.push_back(uint8_t(v >> (8 * i)));
}
void PutChunk(std::vector<uint8_t> &out, const char *id, const std::vector<uint8_t> &body) {
    out.insert(out.end(), id, id + 4);
    Put32(out, uint32_t(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    if (body.size() & 1) out.push_back(0);
}

const uint8_t SUBFORMAT_TAIL[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                    0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

std::vector<uint8_t> FormatBody(uint16_t code, uint16_t channels, uint32_t rate, uint16_t bits,
                                bool extensible) {
    std::vector<uint8_t> body;
    uint16_t align = uint16_t(channels * bits / 8);
    Put16(body, extensible ? 0xFFFE : code);
    Put16(body, channels);
    Put32(body, rate);
    Put32(body, rate * align);
    Put16(body, align);
    Put16(body, bits);
    if (extensible) {
        Put16(body, 22);
        Put16(body, bits);
        Put32(body, channels == 1 ? 4 : 3);
        Put16(body, code);
        body.insert(body.end(), SUBFORMAT_TAIL, SUBFORMAT_TAIL + 14);
    }
    return body;
}

std::vector<uint8_t> Riff(const std::vector<uint8_t> &chunks) {
    std::vector<uint8_t> file = {'R', 'I', 'F', 'F'};
    Put32(file, uint32_t(chunks.size() + 4));
    file.insert(file.end(), {'W', 'A', 'V', 'E'});
    file.insert(file.end(), chunks.begin(), chunks.end());
    return file;
}

WavAudio Parse(const std::vector<uint8_t> &bytes) { return ParseWav(bytes.data(), bytes.size()); }

// The parse must fail with a one-line message.
void ExpectRefused(const std::vector<uint8_t> &bytes, const char *why) {
    try {
        Parse(bytes);
        ADD_FAILURE() << "accepted: " << why;
    } catch (const HostError &error) {
        std::string message = error.what();
        EXPECT_FALSE(message.empty()) << why;
        EXPECT_EQ(message.find('\n'), std::string::npos) << why;
    }
}

}  // namespace

// ---- WAV ----

TEST(Wav, float_stereo_survives_a_round_trip) {
    StereoBuffer audio = Noise(1001, 3, 1.5f);
    audio.left[0] = -0.0f;
    WavAudio back = Parse(EncodeWav(audio, 44100));
    EXPECT_EQ(back.sampleRate, 44100u);
    EXPECT_EQ(back.channels, 2);
    EXPECT_EQ(back.bitsPerSample, 32);
    EXPECT_EQ(FirstDifferentFrame(audio, back.audio), -1);
}

TEST(Wav, pcm16_mono_with_odd_chunks_is_duplicated_to_both_channels) {
    std::vector<uint8_t> chunks, data;
    PutChunk(chunks, "LIST", {'a', 'b', 'c'});  // odd: one pad byte follows
    PutChunk(chunks, "fmt ", FormatBody(1, 1, 22050, 16, false));
    PutChunk(chunks, "junk", {1, 2, 3, 4, 5});
    for (uint32_t v : {0x8000u, 0x7FFFu, 0u, 0x4000u}) Put16(data, v);
    data.push_back(0x12);  // a half frame at the end is dropped
    PutChunk(chunks, "data", data);
    PutChunk(chunks, "id3 ", {9});
    WavAudio wav = Parse(Riff(chunks));
    EXPECT_EQ(wav.sampleRate, 22050u);
    EXPECT_EQ(wav.channels, 1);
    ASSERT_EQ(wav.audio.frames(), 4u);
    const float EXPECTED[4] = {-1.0f, 32767.0f / 32768.0f, 0.0f, 0.5f};
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(wav.audio.left[i], EXPECTED[i]) << i;
        EXPECT_EQ(wav.audio.right[i], EXPECTED[i]) << i;
    }
}

TEST(Wav, extensible_pcm24_and_float_are_read) {
    std::vector<uint8_t> chunks, data;
    PutChunk(chunks, "fmt ", FormatBody(1, 2, 96000, 24, true));
    for (uint32_t v : {0x800000u, 0x7FFFFFu, 0xFFFFFFu, 0x400000u}) {
        data.push_back(uint8_t(v));
        data.push_back(uint8_t(v >> 8));
        data.push_back(uint8_t(v >> 16));
    }
    PutChunk(chunks, "data", data);
    WavAudio pcm = Parse(Riff(chunks));
    EXPECT_EQ(pcm.sampleRate, 96000u);
    EXPECT_EQ(pcm.bitsPerSample, 24);
    ASSERT_EQ(pcm.audio.frames(), 2u);
    EXPECT_EQ(pcm.audio.left[0], -1.0f);
    EXPECT_EQ(pcm.audio.right[0], 8388607.0f / 8388608.0f);
    EXPECT_EQ(pcm.audio.left[1], -1.0f / 8388608.0f);
    EXPECT_EQ(pcm.audio.right[1], 0.5f);

    chunks.clear();
    data.clear();
    PutChunk(chunks, "fmt ", FormatBody(3, 1, 48000, 32, true));
    float samples[3] = {0.25f, -2.0f, 1e-3f};
    data.resize(sizeof samples);
    memcpy(data.data(), samples, sizeof samples);
    PutChunk(chunks, "data", data);
    WavAudio floats = Parse(Riff(chunks));
    ASSERT_EQ(floats.audio.frames(), 3u);
    for (int i = 0; i < 3; i++) EXPECT_EQ(floats.audio.right[i], samples[i]);
}

TEST(Wav, damaged_and_unsupported_files_are_refused_with_one_line) {
    std::vector<uint8_t> goodFormat = FormatBody(1, 2, 48000, 16, false);
    std::vector<uint8_t> chunks;
    ExpectRefused({}, "empty");
    ExpectRefused({'R', 'I', 'F', 'F', 0, 0, 0, 0, 'A', 'V', 'I', ' '}, "not WAVE");
    ExpectRefused(Riff({}), "no chunks");
    PutChunk(chunks, "data", {0, 0, 0, 0});
    ExpectRefused(Riff(chunks), "no fmt");
    chunks.clear();
    PutChunk(chunks, "fmt ", goodFormat);
    ExpectRefused(Riff(chunks), "no data");

    auto withFormat = [](std::vector<uint8_t> format) {
        std::vector<uint8_t> c;
        PutChunk(c, "fmt ", format);
        PutChunk(c, "data", {0, 0, 0, 0, 0, 0, 0, 0});
        return Riff(c);
    };
    ExpectRefused(withFormat(FormatBody(1, 2, 48000, 8, false)), "8-bit");
    ExpectRefused(withFormat(FormatBody(1, 2, 48000, 32, false)), "32-bit integer");
    ExpectRefused(withFormat(FormatBody(3, 2, 48000, 64, false)), "64-bit float");
    ExpectRefused(withFormat(FormatBody(2, 2, 48000, 16, false)), "ADPCM");
    ExpectRefused(withFormat(FormatBody(1, 3, 48000, 16, false)), "three channels");
    ExpectRefused(withFormat(FormatBody(1, 0, 48000, 16, false)), "no channels");
    ExpectRefused(withFormat(FormatBody(1, 2, 0, 16, false)), "rate 0");
    std::vector<uint8_t> shortFormat(goodFormat.begin(), goodFormat.begin() + 14);
    ExpectRefused(withFormat(shortFormat), "short fmt");
    std::vector<uint8_t> badAlign = goodFormat;
    badAlign[12] = 3;
    ExpectRefused(withFormat(badAlign), "block align");
    std::vector<uint8_t> badGuid = FormatBody(1, 2, 48000, 16, true);
    badGuid.back() ^= 1;
    ExpectRefused(withFormat(badGuid), "foreign subformat");
    std::vector<uint8_t> shortExtensible = FormatBody(1, 2, 48000, 16, true);
    shortExtensible.resize(30);
    ExpectRefused(withFormat(shortExtensible), "short extensible fmt");

    // Sizes that point past the end of the file.
    std::vector<uint8_t> file = withFormat(goodFormat);
    std::vector<uint8_t> hugeData = file;
    size_t dataSize = hugeData.size() - 8 - 4;
    hugeData[dataSize] = hugeData[dataSize + 1] = hugeData[dataSize + 2] = 0xFF;
    hugeData[dataSize + 3] = 0x7F;
    ExpectRefused(hugeData, "data size past the end");
    std::vector<uint8_t> hugeFormat = file;
    hugeFormat[16] = hugeFormat[17] = hugeFormat[18] = hugeFormat[19] = 0xFF;
    ExpectRefused(hugeFormat, "fmt size past the end");
}

TEST(Wav, every_truncation_of_a_file_parses_or_is_refused) {
    std::vector<uint8_t> chunks;
    PutChunk(chunks, "LIST", {'x'});
    PutChunk(chunks, "fmt ", FormatBody(1, 2, 48000, 24, true));
    PutChunk(chunks, "data", std::vector<uint8_t>(60, 0x55));
    std::vector<uint8_t> file = Riff(chunks);
    for (size_t length = 0; length <= file.size(); length++) {
        // An exact-size copy, so that a read past the end is a read past the allocation.
        std::unique_ptr<uint8_t[]> copy(new uint8_t[length ? length : 1]);
        memcpy(copy.get(), file.data(), length);
        try {
            WavAudio wav = ParseWav(copy.get(), length);
            EXPECT_EQ(length, file.size());
            EXPECT_EQ(wav.audio.frames(), 10u);
        } catch (const HostError &) {
        }
    }
}

TEST(Wav, files_that_cannot_be_opened_name_the_path) {
    try {
        ReadWav("/nonexistent/lathemoor/input.wav");
        ADD_FAILURE() << "read a missing file";
    } catch (const HostError &error) {
        EXPECT_NE(std::string(error.what()).find("/nonexistent/lathemoor/input.wav"),
                  std::string::npos);
    }
    EXPECT_THROW(WriteWav("/nonexistent/lathemoor/out.wav", MakeStereo(4), 48000), HostError);
}

// ---- chains ----

TEST(Chain, units_fill_the_slots_in_order_and_switch_their_enable_on) {
    std::vector<ParamSetting> settings = ChainSettings(" Reverb , Compressor 2");
    ASSERT_EQ(settings.size(), 4u);
    EXPECT_EQ(settings[0].id, 223u);
    EXPECT_EQ(settings[0].value, 8.0 / 65536);  // reverb, instance 1: id 7
    EXPECT_EQ(settings[1].id, 100u);
    EXPECT_EQ(settings[1].value, 1.0);
    EXPECT_EQ(settings[2].id, 224u);
    EXPECT_EQ(settings[2].value, 18.0 / 65536);  // compressor, instance 2: id 9 + 8
    EXPECT_EQ(settings[3].id, 179u);
    EXPECT_TRUE(ChainSettings("").empty());
}

TEST(Chain, every_unit_instance_decodes_to_its_slot_id) {
    const char *const NAMES[9] = {"Polyrhythmic Delay", "Ping-Pong Delay", "Multiband Distortion",
                                  "Chorus", "Phaser", "Parametric EQ", "Trance Gate", "Reverb",
                                  "Compressor"};
    const clap_id ENABLE[9] = {4, 31, 160, 79, 55, 115, 139, 100, 178};
    for (int instance = 0; instance < 3; instance++) {
        for (int kind = 0; kind < 9; kind++) {
            std::string name = NAMES[kind];
            if (instance) name += " " + std::to_string(instance + 1);
            std::vector<ParamSetting> settings = ChainSettings(name);
            ASSERT_EQ(settings.size(), 2u) << name;
            float value = float(settings[0].value);
            EXPECT_EQ(int32_t(65536.0f * value - 1.0f), instance * 9 + kind) << name;
            EXPECT_EQ(settings[1].id, ENABLE[kind] + clap_id(instance)) << name;
        }
    }
    EXPECT_EQ(ChainSettings("EQ")[1].id, 115u);
    EXPECT_EQ(ChainSettings("distortion 3")[1].id, 162u);
}

TEST(Chain, unknown_units_and_long_chains_are_refused) {
    EXPECT_THROW(ChainSettings("Flanger"), HostError);
    EXPECT_THROW(ChainSettings("Reverb 4"), HostError);
    EXPECT_THROW(ChainSettings("Reverb,"), HostError);
    EXPECT_THROW(ChainSettings("Reverb,Chorus,Phaser,EQ,Reverb 2,Chorus 2,Phaser 2,EQ 2,Reverb 3"),
                 HostError);
    EXPECT_EQ(ChainSettings("Reverb,Chorus,Phaser,EQ,Reverb 2,Chorus 2,Phaser 2,EQ 2").size(), 16u);
}

TEST(Chain, settings_reach_the_plugin) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::vector<HostEvent> events;
    std::vector<ParamSetting> settings = ChainSettings("Trance Gate 3,Ping-Pong Delay");
    for (const ParamSetting &s : settings) events.push_back(ParamValueEvent(0, s.id, s.value));
    FlushParams(*instance, events);
    for (const ParamSetting &s : settings) EXPECT_EQ(GetParamValue(*instance, s.id), s.value);
}

// ---- the demo piece ----

TEST(DemoSignal, is_the_same_every_time_and_sounds_on_every_beat) {
    StereoBuffer first = DemoSignal(48000, 8.0), second = DemoSignal(48000, 8.0);
    ASSERT_EQ(first.frames(), 8u * 48000);
    EXPECT_EQ(FirstDifferentFrame(first, second), -1);
    EXPECT_NE(first.left, first.right);
    for (uint32_t beat = 0; beat < 16; beat++) {
        float peak = 0;
        for (uint32_t i = beat * 24000; i < (beat + 1) * 24000; i++)
            peak = fmaxf(peak, fmaxf(fabsf(first.left[i]), fabsf(first.right[i])));
        EXPECT_GT(peak, 0.3f) << "beat " << beat;
        EXPECT_LT(peak, 1.0f) << "beat " << beat;
    }
    EXPECT_EQ(DemoSignal(44100, 1.0).frames(), 44100u);
}

// ---- state, patch files and presets ----

namespace {

const clap_id POST_GAIN = 0, REVERB_ENABLE = 100, REVERB_MIX = 103, EFFECT_SLOT_1 = 223;

// A state whose values, reserved bytes and curves all differ from a new
// instance's, as the plug-in saves it.
std::vector<uint8_t> MarkedState() {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::vector<uint8_t> state = *SaveState(*instance);
    state.resize(STATE_CURVES_AT);
    for (uint32_t i = 0; i < 231; i++) SetLE(state, STATE_VALUES_AT + 4 * i, float(i % 10) / 10.0f);
    for (size_t i = STATE_RESERVED_AT; i < STATE_CURVES_AT; i++) state[i] = uint8_t(i);
    CurveImage curve;
    curve.loopStart = 1;
    curve.points = {{0, 0.5f, 3}, {0.5f, 0, -3}, {1, 0.5f, 0}};
    std::vector<uint8_t> curves = CurveBlockBytes({curve, DefaultCurveImages()[0], curve});
    state.insert(state.end(), curves.begin(), curves.end());
    EXPECT_TRUE(LoadState(*instance, state));
    return *SaveState(*instance);
}

// The command-line tool next to the plug-in this build made, or "" when it
// has not been built.
std::string ToolPath() {
    std::string plugin = LATHEMOOR_BUILT_PLUGIN;
    std::string tool = plugin.substr(0, plugin.rfind('/') + 1) + "lathemoor-host";
    return access(tool.c_str(), X_OK) == 0 ? tool : "";
}

std::string Quoted(const std::string &text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

struct ToolRun {
    int status = -1;
    std::string output;  // standard output and error together
};

// Runs the tool with these arguments on the test plug-in.
ToolRun RunTool(const std::vector<std::string> &arguments) {
    std::string command = Quoted(ToolPath()) + " --plugin " + Quoted(TestPluginPath());
    for (const std::string &argument : arguments) command += " " + Quoted(argument);
    ToolRun run;
    FILE *pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return run;
    char chunk[4096];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, pipe)) > 0) run.output.append(chunk, got);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

#define SKIP_WITHOUT_TOOL() \
    if (ToolPath().empty()) GTEST_SKIP() << "lathemoor-host has not been built"

}  // namespace

TEST(HostToolPatch, a_synthpatch_from_a_state_has_the_file_layout) {
    std::vector<uint8_t> state = MarkedState();
    std::vector<uint8_t> file = SynthPatchFromState(state, "Marked");
    ASSERT_EQ(file.size(), state.size() - 4);
    EXPECT_EQ(GetLE<uint64_t>(file, 0), 0x95A130791400F613ull);
    EXPECT_EQ(GetLE<uint64_t>(file, 8), 13u);
    EXPECT_STREQ((const char *)&file[16], "Marked");
    for (size_t i = 16 + 6; i < 116; i++) ASSERT_EQ(file[i], 0) << i;
    // Values and reserved bytes: 8 bytes earlier than in the stream.
    EXPECT_TRUE(std::equal(file.begin() + 116, file.begin() + 1716, state.begin() + 124));
    for (size_t i = 1716; i < 1720; i++) EXPECT_EQ(file[i], 0) << i;
    EXPECT_TRUE(std::equal(file.begin() + 1720, file.end(), state.begin() + 1724));

    std::string longName(150, 'n');
    std::vector<uint8_t> cut = SynthPatchFromState(state, longName);
    EXPECT_EQ(std::string((const char *)&cut[16]), std::string(99, 'n'));

    std::vector<uint8_t> wrongLength = state, wrongMagic = state, tooShort = state;
    SetLE<uint32_t>(wrongLength, 0, 1800);
    SetLE(wrongMagic, 4, SYNTHPATCH_MAGIC);
    tooShort.resize(1724);
    for (const std::vector<uint8_t> &bad :
         {wrongLength, wrongMagic, tooShort, std::vector<uint8_t>()})
        EXPECT_THROW(SynthPatchFromState(bad, "x"), HostError);
}

TEST(HostToolPatch, a_written_patch_loads_back_into_a_new_instance) {
    TemporaryFolder folder;
    std::vector<uint8_t> state = MarkedState();
    std::string path = folder.File("marked.synthpatch");
    WriteFileBytes(path, SynthPatchFromState(state, "Marked"));
    EXPECT_EQ(ReadFileBytes(path), SynthPatchFromState(state, "Marked"));
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadPresetFile(*instance, path));
    std::vector<uint8_t> loaded = *SaveState(*instance);
    EXPECT_STREQ((const char *)&loaded[STATE_NAME_AT], "Marked");
    EXPECT_TRUE(std::equal(loaded.begin() + STATE_VALUES_AT, loaded.begin() + STATE_RESERVED_AT,
                           state.begin() + STATE_VALUES_AT));
    EXPECT_TRUE(std::equal(loaded.begin() + STATE_CURVES_AT, loaded.end(),
                           state.begin() + STATE_CURVES_AT));
    EXPECT_EQ(loaded.size(), state.size());
}

TEST(HostToolFiles, find_files_walks_every_folder_and_sorts) {
    TemporaryFolder folder;
    ASSERT_EQ(mkdir(folder.File("b").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(folder.File("b/deeper").c_str(), 0755), 0);
    for (const char *name : {"z.synthpatch", "b/deeper/a.synthpatch", "a.synthpatch", "notes.txt",
                             "b/x.synthpatch.bak", "b/.synthpatch"})
        WriteFileBytes(folder.File(name), {1, 2, 3});
    ASSERT_EQ(mkdir(folder.File("folder.synthpatch").c_str(), 0755), 0);
    EXPECT_EQ(FindFiles(folder.path, ".synthpatch"),
              (std::vector<std::string>{folder.File("a.synthpatch"), folder.File("b/.synthpatch"),
                                        folder.File("b/deeper/a.synthpatch"),
                                        folder.File("z.synthpatch")}));
    EXPECT_TRUE(FindFiles(folder.File("missing"), ".synthpatch").empty());
    EXPECT_THROW(ReadFileBytes(folder.File("missing")), HostError);
    EXPECT_THROW(WriteFileBytes(folder.File("missing/x"), {}), HostError);
}

TEST(HostToolFiles, a_temporary_home_is_used_and_the_old_home_comes_back) {
    const char *before = getenv("HOME");
    std::string saved = before ? before : "";
    std::string folder;
    {
        TemporaryHome home;
        folder = home.folder.path;
        EXPECT_EQ(std::string(getenv("HOME")), folder);
        home.WriteSettings("[LathemoorFX]\nUIScale=150\n");
        EXPECT_EQ(ReadFileBytes(folder + "/.config/OrwenAudioPlugins.ini").size(), 26u);
    }
    EXPECT_EQ(std::string(getenv("HOME") ? getenv("HOME") : ""), saved);
    EXPECT_NE(access(folder.c_str(), F_OK), 0);  // removed with its content
}

// ---- the commands ----

TEST(HostToolCommand, save_patch_stores_the_settings_under_the_name) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string path = folder.File("reverb.synthpatch");
    ToolRun run = RunTool({"save-patch", path, "--chain", "Reverb", "--set", "Post Gain=0.25",
                           "--set", "103=0.75", "--name", "Wide room"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("Wide room"), std::string::npos) << run.output;
    std::vector<uint8_t> file = ReadFileBytes(path);
    EXPECT_EQ(GetLE<uint64_t>(file, 0), SYNTHPATCH_MAGIC);
    EXPECT_STREQ((const char *)&file[FILE_NAME_AT], "Wide room");
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadPresetFile(*instance, path));
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
    EXPECT_EQ(GetParamValue(*instance, REVERB_MIX), 0.75);
    EXPECT_EQ(GetParamValue(*instance, REVERB_ENABLE), 1.0);
    EXPECT_EQ(GetParamValue(*instance, EFFECT_SLOT_1), double(8.0f / 65536));

    // Without --name the patch is "untitled"; the default curves come along.
    ASSERT_EQ(RunTool({"save-patch", path}).status, 0);
    file = ReadFileBytes(path);
    EXPECT_STREQ((const char *)&file[FILE_NAME_AT], "untitled");
    EXPECT_EQ(std::vector<uint8_t>(file.begin() + FILE_CURVES_AT, file.end()),
              CurveBlockBytes(DefaultCurveImages()));
}

TEST(HostToolCommand, curve_option_replaces_one_modulators_curve_and_keeps_the_others) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string path = folder.File("curve.synthpatch");
    ToolRun run = RunTool({"save-patch", path, "--curve", "2:0,0;0.25,1,3;1,0.5,-2"});
    ASSERT_EQ(run.status, 0) << run.output;
    std::vector<CurveImage> expected = DefaultCurveImages();
    expected[1].points = {{0.0f, 0.0f, 0.0f}, {0.25f, 1.0f, 3.0f}, {1.0f, 0.5f, -2.0f}};
    std::vector<uint8_t> file = ReadFileBytes(path);
    EXPECT_EQ(std::vector<uint8_t>(file.begin() + FILE_CURVES_AT, file.end()), CurveBlockBytes(expected));
    EXPECT_NE(RunTool({"save-patch", path, "--curve", "4:0,0;1,1"}).status, 0);
    EXPECT_NE(RunTool({"save-patch", path, "--curve", "1:0,0"}).status, 0);
    EXPECT_NE(RunTool({"save-patch", path, "--curve", "1:0,0;x,1"}).status, 0);
}

TEST(HostToolCommand, render_starts_from_a_patch_or_a_state_and_saves_the_state_after) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string in = folder.File("in.wav"), patch = folder.File("start.synthpatch");
    WriteWav(in, Noise(9600, 4), 48000);
    WriteFileBytes(patch, SynthPatchFromState(MarkedState(), "start"));
    std::string out1 = folder.File("out1.wav"), state1 = folder.File("one.state");
    ToolRun first = RunTool({"render", in, out1, "--patch", patch, "--chain", "Reverb", "--set",
                             "Reverb Mix=0.5", "--state-out", state1});
    ASSERT_EQ(first.status, 0) << first.output;
    std::vector<uint8_t> saved = ReadFileBytes(state1);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, saved));
    EXPECT_EQ(GetParamValue(*instance, REVERB_MIX), 0.5);
    EXPECT_EQ(GetParamValue(*instance, REVERB_ENABLE), 1.0);
    EXPECT_STREQ((const char *)&saved[STATE_NAME_AT], "start");
    std::vector<uint8_t> marked = MarkedState();
    EXPECT_TRUE(std::equal(saved.begin() + STATE_CURVES_AT, saved.end(),
                           marked.begin() + STATE_CURVES_AT, marked.end()));

    // The saved state gives the same sound and saves itself again unchanged.
    std::string out2 = folder.File("out2.wav"), state2 = folder.File("two.state");
    ToolRun second = RunTool({"render", in, out2, "--state-in", state1, "--state-out", state2});
    ASSERT_EQ(second.status, 0) << second.output;
    EXPECT_EQ(ReadFileBytes(state2), saved);
    EXPECT_EQ(FirstDifferentFrame(ReadWav(out1).audio, ReadWav(out2).audio), -1);
}

TEST(HostToolCommand, presets_lists_the_locations_and_every_patch_file_of_the_user_folder) {
    SKIP_WITHOUT_TOOL();
    TemporaryHome home;
    std::string patches = home.folder.File("My Patches");
    ASSERT_EQ(mkdir(patches.c_str(), 0755), 0);
    ASSERT_EQ(mkdir((patches + "/pads").c_str(), 0755), 0);
    WriteFileBytes(patches + "/lead.synthpatch", SynthPatchFromState(MarkedState(), "lead"));
    WriteFileBytes(patches + "/pads/empty.synthpatch", {});
    WriteFileBytes(patches + "/readme.txt", {'h', 'i'});

    ToolRun without = RunTool({"presets"});
    ASSERT_EQ(without.status, 0) << without.output;
    EXPECT_NE(without.output.find("\"Factory ROM\": plug-in, factory content, \"\""),
              std::string::npos)
        << without.output;
    EXPECT_NE(without.output.find("no user patch folder"), std::string::npos) << without.output;

    home.WriteSettings("[LathemoorFX]\nUserPatches=" + patches + "\n");
    ToolRun with = RunTool({"presets"});
    ASSERT_EQ(with.status, 0) << with.output;
    const std::string &text = with.output;
    EXPECT_NE(text.find("\"User patch folder\": file, user content, \"" + patches + "\""),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\"LathemoorFX patch\", *.synthpatch"), std::string::npos) << text;
    size_t lead = text.find(patches + "/lead.synthpatch: true, 1 preset");
    size_t empty = text.find(patches + "/pads/empty.synthpatch: true, 1 preset");
    EXPECT_NE(lead, std::string::npos) << text;
    EXPECT_NE(empty, std::string::npos) << text;
    EXPECT_LT(lead, empty);
    EXPECT_NE(text.find("add_plugin_id(\"clap\", \"orwen.LathemoorFX\")"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("readme.txt"), std::string::npos) << text;
}

TEST(HostToolCommand, options_of_other_commands_and_unloadable_files_are_refused) {
    SKIP_WITHOUT_TOOL();
    TemporaryFolder folder;
    std::string in = folder.File("in.wav"), out = folder.File("out.wav");
    WriteWav(in, Noise(480), 48000);
    std::string text = folder.File("text.synthpatch");
    WriteFileBytes(text, std::vector<uint8_t>(2000, 'x'));
    struct Case {
        std::vector<std::string> arguments;
        const char *message;
    };
    const Case CASES[] = {
        {{"save-patch", folder.File("x.synthpatch"), "--tempo", "120"},
         "--tempo does not belong to save-patch"},
        {{"render", in, out, "--name", "x"}, "--name does not belong to render"},
        {{"presets", "--set", "Post Gain=1"}, "--set does not belong to presets"},
        {{"save-patch"}, "save-patch wants OUT.synthpatch"},
        {{"render", in, out, "--patch", text}, "could not load this patch"},
        {{"render", in, out, "--state-in", text}, "refused this state"},
        {{"save-patch", folder.File("y.synthpatch"), "--state-in", folder.File("missing")},
         "missing"},
    };
    for (const Case &c : CASES) {
        ToolRun run = RunTool(c.arguments);
        EXPECT_EQ(run.status, 1) << c.message;
        EXPECT_NE(run.output.find(c.message), std::string::npos) << run.output;
    }
    EXPECT_NE(access(folder.File("x.synthpatch").c_str(), F_OK), 0);
}
