// What hosts check of a CLAP audio effect before they trust it: the scan and
// the descriptor, clean audio at any rate, block size, transport and setting,
// parameters under random and extreme automation, states that reproduce and
// survive garbage, and presets found by the discovery factory. The timed half
// of these checks lives in bench/conformance_bench.cpp.
#include <gtest/gtest.h>
#include <float.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <random>

#include "tests/support/plugin_rig.h"

namespace {

// Two chains of eight that hold all nine kinds between them, each with the
// units that follow the tempo.
const char *const CHAINS[] = {"Distortion,EQ,Chorus,Phaser,Ping-Pong,Delay,Reverb,Trance Gate",
                              "Compressor,Reverb 2,Chorus 2,Trance Gate 2,Distortion 2,Phaser 2,Delay 2,Ping-Pong 2"};

bool Clean(float x) { return isfinite(x) && (x == 0.0f || fabsf(x) >= FLT_MIN); }

double Uniform(std::mt19937 &random, double low = 0.0, double high = 1.0) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

// The parameters a host may automate.
std::vector<clap_id> Writable(const Instance &instance) {
    std::vector<clap_id> ids;
    for (uint32_t i = 0; i < ParamCount(instance); i++)
        if (!(GetParamInfo(instance, i)->flags & CLAP_PARAM_IS_READONLY)) ids.push_back(i);
    return ids;
}

// Value events at `time` that build the chain and give every writable
// parameter a random value (or a random bound), with the null cookie that
// get_info hands out.
std::vector<HostEvent> RandomSettings(const Instance &instance, const char *chain, std::mt19937 &random,
                                      bool bounds = false, uint32_t time = 0) {
    std::vector<HostEvent> events = chain ? ChainEvents(chain, time) : std::vector<HostEvent>();
    for (clap_id id : Writable(instance))
        events.push_back(ParamValueEvent(time, id, bounds ? double(random() & 1) : Uniform(random)));
    return events;
}

// One block of random input (or denormal input, with a tiny amplitude),
// out of place or in place; every output sample must be finite and not
// subnormal. This plug-in declares no tail, so it asks to go on being
// processed after every block, also when its reverb or delays fall silent.
void ExpectCleanBlock(Instance &instance, uint32_t frames, std::vector<HostEvent> events = {},
                      const clap_event_transport_t *transport = nullptr, bool inPlace = false,
                      float amplitude = 0.5f) {
    static uint32_t seed = 7;
    StereoBuffer input = Noise(frames, seed++, amplitude), output = MakeStereo(frames, NAN);
    std::stable_sort(events.begin(), events.end(),
                     [](const HostEvent &a, const HostEvent &b) { return a.header.time < b.header.time; });
    ProcessResult result;
    if (inPlace) {
        ProcessRequest request;
        request.frames = frames;
        request.input[0] = request.output[0] = input.left.data();
        request.input[1] = request.output[1] = input.right.data();
        request.events = std::move(events);
        request.transport = transport;
        result = Process(instance, request);
        output = input;
    } else {
        result = ProcessStereo(instance, input, output, std::move(events), transport);
    }
    ASSERT_EQ(result.status, CLAP_PROCESS_CONTINUE);
    for (uint32_t i = 0; i < frames; i++) {
        ASSERT_PRED1(Clean, output.left[i]) << "left, frame " << i << " of " << frames;
        ASSERT_PRED1(Clean, output.right[i]) << "right, frame " << i << " of " << frames;
    }
}

// ---- the scan and the descriptor ----

TEST(ConformanceScan, a_scan_with_rtld_now_reads_every_descriptor_and_an_instance_carries_the_factorys) {
    for (int scan = 0; scan < 2; scan++)  // a second scan after the first one's deinit works the same
        EXPECT_EQ(ScanPlugin(TestPluginPath()), std::vector<std::string>{"orwen.LathemoorFX"});
    const clap_plugin_descriptor_t *factory = TestPlugin().descriptor;
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    const clap_plugin_descriptor_t *own = instance->plugin->desc;
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->clap_version.major, factory->clap_version.major);
    typedef clap_plugin_descriptor_t D;
    for (const char *D::*text : {&D::id, &D::name, &D::vendor, &D::url, &D::manual_url, &D::support_url,
                                 &D::version, &D::description})
        EXPECT_STREQ(own->*text, factory->*text);
    size_t f = 0;
    for (; own->features[f] && factory->features[f]; f++) EXPECT_STREQ(own->features[f], factory->features[f]);
    EXPECT_TRUE(!own->features[f] && !factory->features[f]);
}

// ---- audio ----

TEST(ConformanceAudio, random_and_denormal_input_at_default_and_random_settings_in_and_out_of_place_comes_out_clean) {
    std::mt19937 random(11);
    for (const char *chain : {(const char *)nullptr, CHAINS[0], CHAINS[1]}) {
        for (bool inPlace : {false, true}) {
            SCOPED_TRACE(std::string(chain ? chain : "defaults") + (inPlace ? ", in place" : ", out of place"));
            std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
            std::vector<HostEvent> settings;
            if (chain) settings = RandomSettings(*instance, chain, random);
            ExpectCleanBlock(*instance, 512, settings, nullptr, inPlace);
            for (float amplitude : {0.5f, 1.0f, 1e-39f, 1e-42f})
                for (int block = 0; block < 3; block++)
                    ExpectCleanBlock(*instance, 512, {}, nullptr, inPlace, amplitude);
        }
    }
}

TEST(ConformanceAudio, rates_from_8_to_768_khz_odd_rates_and_block_sizes_from_1_to_16384_give_clean_output) {
    std::mt19937 random(17);
    int n = 0;
    for (double rate : {8000.0, 11025.0, 22050.0, 44100.0, 88200.0, 192000.0, 384000.0, 768000.0, 1234.5678,
                        45678.901, 123456.78}) {
        SCOPED_TRACE(rate);
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin(), HostConfig(), rate);
        ExpectCleanBlock(*instance, 1024, RandomSettings(*instance, CHAINS[n++ % 2], random));
        for (int block = 0; block < 3; block++) ExpectCleanBlock(*instance, 1024);
    }
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    Activate(*instance, 48000.0, 16384);
    ExpectCleanBlock(*instance, 64, RandomSettings(*instance, CHAINS[0], random));
    for (uint32_t frames : {1u, 10u, 17u, 256u, 1024u, 1536u, 2027u, 4096u, 16384u}) {
        SCOPED_TRACE(frames);
        for (uint32_t block = 0; block < std::max(2u, 4096u / frames); block++) ExpectCleanBlock(*instance, frames);
    }
    for (int block = 0; block < 40; block++) {
        uint32_t frames = std::uniform_int_distribution<uint32_t>(1, 2048)(random);
        SCOPED_TRACE(frames);
        ExpectCleanBlock(*instance, frames);
    }
}

// A second init and reactivations keep the instance and its values; a block
// longer than max_frames_count is cut by the plug-in, every frame written.
TEST(ConformanceAudio, reset_and_reactivation_between_blocks_leave_the_output_clean) {
    std::mt19937 random(19);
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    ExpectCleanBlock(*instance, 1024, RandomSettings(*instance, CHAINS[1], random));
    std::vector<uint8_t> state = Saved(*instance);
    instance->plugin->reset(instance->plugin);
    ExpectCleanBlock(*instance, 1024);
    EXPECT_TRUE(instance->plugin->init(instance->plugin));
    Deactivate(*instance);
    Activate(*instance, 96000.0);
    ExpectCleanBlock(*instance, 1024);
    instance->plugin->reset(instance->plugin);
    Deactivate(*instance);
    Activate(*instance, 22050.0, 64);
    ExpectCleanBlock(*instance, 1024);
    EXPECT_EQ(Saved(*instance), state);
}

// Any tempo from 10 to 999 BPM, any mix of flags, positions before and far
// after the start.
clap_event_transport_t RandomTransport(std::mt19937 &random) {
    clap_event_transport_t t = MakeTransport(Uniform(random, 10, 999), random() & 1);
    t.flags = random() & (CLAP_TRANSPORT_HAS_TEMPO | CLAP_TRANSPORT_HAS_BEATS_TIMELINE |
                          CLAP_TRANSPORT_HAS_SECONDS_TIMELINE | CLAP_TRANSPORT_HAS_TIME_SIGNATURE |
                          CLAP_TRANSPORT_IS_PLAYING | CLAP_TRANSPORT_IS_RECORDING | CLAP_TRANSPORT_IS_LOOP_ACTIVE);
    t.song_pos_seconds = clap_sectime(Uniform(random, -1e3, 1e6) * double(CLAP_SECTIME_FACTOR));
    t.song_pos_beats = clap_beattime(Uniform(random, -1e3, 1e6) * double(CLAP_BEATTIME_FACTOR));
    return t;
}

TEST(ConformanceAudio, null_and_random_transports_and_transport_events_every_1_100_and_1000_frames_keep_the_output_clean) {
    std::mt19937 random(23);
    for (const char *chain : CHAINS) {
        SCOPED_TRACE(chain);
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
        ExpectCleanBlock(*instance, 512, RandomSettings(*instance, chain, random));
        for (int block = 0; block < 8; block++) {
            clap_event_transport_t transport = RandomTransport(random);
            ExpectCleanBlock(*instance, 512, {}, block % 4 ? &transport : nullptr);
        }
        for (uint32_t every : {1u, 100u, 1000u}) {
            SCOPED_TRACE(every);
            std::vector<HostEvent> events;
            for (uint32_t time = 0; time < 2000; time += every)
                events.push_back(TransportEvent(time, RandomTransport(random)));
            clap_event_transport_t transport = RandomTransport(random);
            ExpectCleanBlock(*instance, 2000, events, &transport);
        }
    }
}

// ---- parameters ----

// The plug-in reads no text back (text_to_value refuses every text), so the
// round trip ends at the text: each value of each parameter has one, and the
// host keeps the number it sent.
TEST(ConformanceParams, every_parameter_starts_at_its_default_has_a_text_for_every_value_and_read_only_ones_are_not_automated) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::mt19937 random(29);
    // CLAP's flag bits 5 to 14: automatable and modulatable, also per note, key, channel and port.
    const uint32_t HOST_CHANGES = (1u << 15) - uint32_t(CLAP_PARAM_IS_AUTOMATABLE);
    for (uint32_t i = 0; i < ParamCount(*instance); i++) {
        clap_param_info_t info = *GetParamInfo(*instance, i);
        EXPECT_EQ(GetParamValue(*instance, info.id), info.default_value) << i;
        EXPECT_TRUE(info.min_value <= info.default_value && info.default_value <= info.max_value) << i;
        if (info.flags & CLAP_PARAM_IS_READONLY) EXPECT_EQ(info.flags & HOST_CHANGES, 0u) << i;
        for (double value : {info.min_value, info.default_value, info.max_value, Uniform(random)}) {
            std::optional<std::string> text = ParamText(*instance, info.id, value);
            ASSERT_TRUE(text && !text->empty()) << i << " at " << value;
            double back = -7.0;
            EXPECT_FALSE(instance->params->text_to_value(instance->plugin, info.id, text->c_str(), &back));
        }
    }
}

TEST(ConformanceParams, random_values_set_by_process_or_by_flush_leave_the_same_values_and_state) {
    std::mt19937 random(31);
    std::unique_ptr<Instance> processed = StartInstance(TestPlugin()), flushed = CreateInstance(TestPlugin());
    std::vector<HostEvent> events = RandomSettings(*processed, CHAINS[0], random);
    ExpectCleanBlock(*processed, 256, events);
    EXPECT_TRUE(FlushParams(*flushed, events).empty());
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) EXPECT_EQ(GetParamValue(*processed, i), GetParamValue(*flushed, i)) << i;
    EXPECT_EQ(Saved(*processed), Saved(*flushed));
}

// Random and extreme values, as whole settings at a block's head and one at
// a time every 10, 100 or 1,000 frames, and host modulation at irregular times.
TEST(ConformanceParams, random_and_bound_values_at_any_interval_and_irregular_modulation_keep_the_output_clean) {
    std::mt19937 random(37);
    int n = 0;
    for (bool bounds : {false, true}) {
        for (uint32_t every : {10u, 100u, 1000u}) {
            SCOPED_TRACE(std::string(bounds ? "bounds" : "random") + " every " + std::to_string(every));
            std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
            std::vector<clap_id> writable = Writable(*instance), modulatable;
            for (clap_id id : writable)
                if (GetParamInfo(*instance, id)->flags & CLAP_PARAM_IS_MODULATABLE) modulatable.push_back(id);
            for (int block = 0; block < 3; block++) {
                const char *chain = block ? nullptr : CHAINS[n++ % 2];
                std::vector<HostEvent> events = RandomSettings(*instance, chain, random, bounds);
                for (uint32_t time = every; time < 2000; time += every) {
                    clap_id id = writable[random() % writable.size()];
                    events.push_back(ParamValueEvent(time, id, bounds ? double(random() & 1) : Uniform(random)));
                }
                for (int m = 0; m < 20; m++)
                    events.push_back(ParamModEvent(random() % 2000, modulatable[random() % modulatable.size()],
                                                   bounds ? double(random() % 3) - 1.0 : Uniform(random, -1, 1)));
                ExpectCleanBlock(*instance, 2000, events);
            }
        }
    }
}

// ---- state ----

// The instance is born where a pattern lay in the heap, a different one each
// round: no uninitialised byte may reach the save.
TEST(ConformanceState, a_save_holds_no_byte_that_depends_on_the_destination_or_on_what_the_heap_held) {
    std::vector<uint8_t> saves[2];
    std::mt19937 settings(41);
    std::vector<HostEvent> events;
    for (int round = 0; round < 2; round++) {
        std::vector<uint8_t *> dirty;
        for (int i = 0; i < 64; i++)
            dirty.push_back((uint8_t *)malloc(65536)), memset(dirty.back(), round ? 0x55 : 0xAA, 65536);
        for (uint8_t *block : dirty) free(block);
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
        if (events.empty()) events = RandomSettings(*instance, CHAINS[1], settings);
        ExpectCleanBlock(*instance, 256, events);
        saves[round] = Saved(*instance);
    }
    EXPECT_EQ(saves[0], saves[1]);
}

TEST(ConformanceState, an_empty_stream_is_refused_and_megabytes_of_random_bytes_leave_a_working_instance) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    EXPECT_FALSE(LoadState(*instance, {}));
    std::mt19937 random(47);
    for (int round = 0; round < 4; round++) {
        std::vector<uint8_t> bytes(1 << 20);
        for (uint8_t &b : bytes) b = uint8_t(random());
        // The last round keeps a good head, so that random curves are read.
        if (round == 3) std::copy(DefaultState().begin(), DefaultState().begin() + STATE_CURVES_AT, bytes.begin());
        LoadState(*instance, bytes, round == 1 ? 17 : SIZE_MAX);
        ASSERT_EQ(Saved(*instance).empty(), false);
        ExpectCleanBlock(*instance, 512, RandomSettings(*instance, CHAINS[round % 2], random));
    }
}

// A state load tells the host nothing: the host that loads a state knows it,
// so this plug-in asks for no rescan, and get_value answers the loaded values
// at once.
TEST(ConformanceState, random_values_saved_load_into_new_instances_and_save_again_byte_for_byte_also_17_bytes_a_read) {
    std::mt19937 random(43);
    std::unique_ptr<Instance> original = CreateInstance(TestPlugin());
    FlushParams(*original, RandomSettings(*original, CHAINS[0], random));
    std::vector<uint8_t> state = Saved(*original);
    for (size_t chunk : {SIZE_MAX, size_t(17)}) {
        SCOPED_TRACE(chunk);
        std::unique_ptr<Instance> copy = CreateInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*copy, state, chunk));
        EXPECT_EQ(copy->host->calls.rescan, 0);
        for (uint32_t i = 0; i < PARAM_TOTAL; i++) EXPECT_EQ(GetParamValue(*copy, i), GetParamValue(*original, i)) << i;
        EXPECT_EQ(Saved(*copy), state);
    }
}

// ---- presets ----

TEST(ConformancePresets, every_preset_the_discovery_factory_finds_loads_into_one_instance_which_then_processes) {
    TemporaryHome home;
    const std::string folder = home.folder.File("patches");
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    ASSERT_EQ(mkdir((folder + "/nested").c_str(), 0755), 0);
    std::mt19937 random(53);
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    FlushParams(*instance, RandomSettings(*instance, CHAINS[1], random));
    WriteFileBytes(folder + "/chain.synthpatch", SynthPatchFromState(Saved(*instance), "chain"));
    WriteFileBytes(folder + "/nested/ramp.synthpatch", PatchFile("ramp", Ramp()));
    WriteFileBytes(folder + "/notes.txt", {'n', 'o'});
    home.WriteSettings("[LathemoorFX]\nUserPatches=" + folder + "\n");

    std::unique_ptr<PresetIndexer> indexer = StartPresetIndexer(TestPlugin());
    ASSERT_TRUE(indexer->initResult);
    std::string extension;
    for (const PresetCall &call : indexer->declared)
        if (call.function == "declare_filetype") extension = "." + call.texts.at(2).value_or("");
    int loaded = 0;
    for (const PresetCall &call : indexer->declared) {
        if (call.function != "declare_location") continue;
        const char *location = call.texts.at(1) ? call.texts[1]->c_str() : nullptr;
        uint32_t kind = uint32_t(call.numbers.at(1));
        std::vector<std::string> files;
        if (kind == CLAP_PRESET_DISCOVERY_LOCATION_FILE) files = FindFiles(location, extension);
        else EXPECT_TRUE(ReadPresetMetadata(*indexer, kind, location).result);  // the plug-in's own: none
        for (const std::string &file : files) {
            SCOPED_TRACE(file);
            PresetMetadata metadata = ReadPresetMetadata(*indexer, kind, file.c_str());
            ASSERT_TRUE(metadata.result);
            for (const PresetCall &found : metadata.calls) {
                if (found.function != "begin_preset") continue;
                EXPECT_TRUE(LoadPresetFile(*instance, file));
                ExpectCleanBlock(*instance, 1024);
                loaded++;
            }
        }
    }
    EXPECT_EQ(loaded, 2);
}

}  // namespace
