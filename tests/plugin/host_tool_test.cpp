// The host's own pieces that the command-line tool rests on: WAV reading and
// writing, effect chains as text, and the demo piece.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>
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
