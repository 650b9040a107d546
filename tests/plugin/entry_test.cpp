// The entry, the factories, the descriptor, the life of instances, the
// extensions offered and the audio ports, as a host sees them.
#include <gtest/gtest.h>
#include <string.h>
#include <algorithm>
#include <string>
#include <vector>
#include "tools/host/host.h"

namespace {

const clap_plugin_factory_t *Factory() { return TestPlugin().factory; }

// Runs a short block of noise through the instance and checks that it comes
// out unchanged, as it must with the default patch.
void ExpectPassesAudio(Instance &instance) {
    StereoBuffer input = Noise(256, 7), output = MakeStereo(256);
    EXPECT_EQ(ProcessStereo(instance, input, output).status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}

}  // namespace

// ---- descriptor and factories ----

TEST(Descriptor, names_the_plugin) {
    const clap_plugin_descriptor_t *d = TestPlugin().descriptor;
    EXPECT_STREQ(d->id, "orwen.LathemoorFX");
    EXPECT_STREQ(d->name, "LathemoorFX");
    EXPECT_STREQ(d->vendor, "orwen");
    EXPECT_STREQ(d->description, "The effects of the Lathemoor synthesizer.");
    EXPECT_EQ(d->clap_version.major, 1u);
    std::vector<std::string> features;
    for (const char *const *f = d->features; *f; f++) features.push_back(*f);
    EXPECT_EQ(features, (std::vector<std::string>{"audio-effect", "multi-effects", "stereo"}));
}

TEST(Descriptor, addresses_are_the_site_and_a_manual_under_it) {
    const clap_plugin_descriptor_t *d = TestPlugin().descriptor;
    std::string url = d->url, manual = d->manual_url;
    EXPECT_EQ(url.rfind("https://", 0), 0u);
    EXPECT_STREQ(d->support_url, d->url);
    EXPECT_EQ(manual.rfind(url, 0), 0u) << manual;
    ASSERT_GT(manual.size(), 4u);
    EXPECT_EQ(manual.substr(manual.size() - 4), ".pdf");
}

TEST(Descriptor, version_stays_1_2_1_after_many_calls) {
    const clap_plugin_factory_t *factory = Factory();
    EXPECT_EQ(factory->get_plugin_count(factory), 1u);
    for (int i = 0; i < 1000; i++) {
        const clap_plugin_descriptor_t *d = factory->get_plugin_descriptor(factory, 0);
        ASSERT_NE(d, nullptr);
        ASSERT_STREQ(d->version, "1.2.1");
    }
    // Also through an instance's own descriptor.
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_STREQ(instance->plugin->desc->version, "1.2.1");
    EXPECT_STREQ(instance->plugin->desc->id, "orwen.LathemoorFX");
}

TEST(Factory, descriptor_past_the_count_is_null) {
    EXPECT_EQ(Factory()->get_plugin_descriptor(Factory(), 1), nullptr);
}

TEST(Factory, unknown_factory_ids_give_null) {
    const clap_plugin_entry_t *entry = TestPlugin().entry;
    EXPECT_EQ(entry->get_factory("clap.no-such-factory"), nullptr);
    EXPECT_EQ(entry->get_factory("clap.plugin-factory/2"), nullptr);
    EXPECT_EQ(entry->get_factory("clap.plugin-factor"), nullptr);
    EXPECT_EQ(entry->get_factory(""), nullptr);
    EXPECT_EQ(entry->get_factory(CLAP_PLUGIN_FACTORY_ID), Factory());
}

TEST(Factory, create_with_a_wrong_id_gives_null) {
    std::unique_ptr<Host> host = NewHost();
    EXPECT_EQ(Factory()->create_plugin(Factory(), &host->clap, "orwen.LathemoorFx"), nullptr);
    EXPECT_EQ(Factory()->create_plugin(Factory(), &host->clap, "orwen.LathemoorFX "), nullptr);
    EXPECT_EQ(Factory()->create_plugin(Factory(), &host->clap, ""), nullptr);
}

TEST(Factory, create_for_a_host_of_clap_major_0_gives_null) {
    HostConfig config;
    config.version = {0, 9, 0};
    std::unique_ptr<Host> host = NewHost(config);
    EXPECT_EQ(Factory()->create_plugin(Factory(), &host->clap, "orwen.LathemoorFX"), nullptr);
}

TEST(Entry, init_twice_keeps_working) {
    const PluginLibrary &library = TestPlugin();
    EXPECT_TRUE(library.entry->init(library.path.c_str()));
    EXPECT_EQ(library.entry->get_factory(CLAP_PLUGIN_FACTORY_ID), Factory());
    std::unique_ptr<Instance> instance = StartInstance(library);
    ExpectPassesAudio(*instance);
}

// ---- instances ----

TEST(Lifecycle, two_instances_end_in_either_order_then_a_new_one_works) {
    for (bool firstGoesFirst : {true, false}) {
        SCOPED_TRACE(firstGoesFirst ? "first destroyed first" : "second destroyed first");
        std::unique_ptr<Instance> first = StartInstance(TestPlugin());
        std::unique_ptr<Instance> second = StartInstance(TestPlugin());
        ExpectPassesAudio(*first);
        ExpectPassesAudio(*second);
        Instance &gone = firstGoesFirst ? *first : *second;
        Instance &kept = firstGoesFirst ? *second : *first;
        DestroyInstance(gone);
        ExpectPassesAudio(kept);
        FlushParams(kept, {ParamValueEvent(0, 0, 0.25)});
        EXPECT_EQ(GetParamValue(kept, 0), 0.25);
        DestroyInstance(kept);

        // The last one is gone: the shared state starts again.
        std::unique_ptr<Instance> fresh = StartInstance(TestPlugin());
        ExpectPassesAudio(*fresh);
        EXPECT_EQ(GetParamValue(*fresh, 0), 0.5);
    }
}

TEST(Lifecycle, instance_destroyed_without_activation_or_init) {
    // Created and destroyed at once, as hosts do when they scan.
    std::unique_ptr<Host> host = NewHost();
    const clap_plugin_t *plugin =
        Factory()->create_plugin(Factory(), &host->clap, "orwen.LathemoorFX");
    ASSERT_NE(plugin, nullptr);
    plugin->destroy(plugin);
    std::unique_ptr<Instance> initialised = CreateInstance(TestPlugin());
    DestroyInstance(*initialised);
    std::unique_ptr<Instance> next = StartInstance(TestPlugin());
    ExpectPassesAudio(*next);
}

TEST(Lifecycle, second_init_returns_true_and_changes_nothing) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(64), output = MakeStereo(64);
    ProcessStereo(*instance, input, output, {ParamValueEvent(0, 10, 0.75)});
    EXPECT_TRUE(instance->plugin->init(instance->plugin));
    EXPECT_EQ(GetParamValue(*instance, 10), 0.75);
    ExpectPassesAudio(*instance);
}

TEST(Lifecycle, reactivation_at_another_rate_keeps_processing) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    ExpectPassesAudio(*instance);
    Deactivate(*instance);
    Activate(*instance, 44100.0, 64);
    ExpectPassesAudio(*instance);  // a block longer than max_frames_count is cut by the plug-in
}

TEST(Lifecycle, start_and_stop_processing_say_so_on_stderr) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    const clap_plugin_t *plugin = instance->plugin;
    ASSERT_TRUE(plugin->activate(plugin, 48000.0, 1, 512));
    instance->active = true;
    std::string started = CaptureStderr([&] { EXPECT_TRUE(plugin->start_processing(plugin)); });
    std::string stopped = CaptureStderr([&] { plugin->stop_processing(plugin); });
    EXPECT_EQ(started, "start processing\n");
    EXPECT_EQ(stopped, "stop processing\n");
}

// ---- extensions ----

TEST(Extensions, offers_params_and_audio_ports) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_NE(instance->params, nullptr);
    EXPECT_NE(instance->audioPorts, nullptr);
}

TEST(Extensions, has_no_latency_tail_notes_or_voice_info) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    const clap_plugin_t *plugin = instance->plugin;
    for (const char *id : {"clap.latency", "clap.tail", "clap.note-ports", "clap.render",
                           "clap.voice-info", "clap.audio-ports-config", "clap.params.x",
                           "clap.param", "orwen.unknown", ""})
        EXPECT_EQ(plugin->get_extension(plugin, id), nullptr) << id;
}

TEST(Extensions, init_asks_the_host_for_its_extensions) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    const std::vector<std::string> &asked = instance->host->calls.extensionQueries;
    for (const char *id : {CLAP_EXT_PARAMS, CLAP_EXT_STATE, CLAP_EXT_LOG, CLAP_EXT_THREAD_CHECK,
                           CLAP_EXT_TIMER_SUPPORT, CLAP_EXT_POSIX_FD_SUPPORT})
        EXPECT_NE(std::find(asked.begin(), asked.end(), id), asked.end()) << id;
}

// ---- audio ports ----

TEST(AudioPorts, one_stereo_main_port_each_way) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    const clap_plugin_audio_ports_t *ports = instance->audioPorts;
    ASSERT_NE(ports, nullptr);
    for (bool isInput : {true, false}) {
        SCOPED_TRACE(isInput ? "input" : "output");
        EXPECT_EQ(ports->count(instance->plugin, isInput), 1u);
        clap_audio_port_info_t info;
        memset(&info, 0xAB, sizeof info);
        ASSERT_TRUE(ports->get(instance->plugin, 0, isInput, &info));
        EXPECT_EQ(info.id, 0u);
        EXPECT_STREQ(info.name, "My Port Name");
        EXPECT_EQ(info.flags, uint32_t(CLAP_AUDIO_PORT_IS_MAIN));
        EXPECT_EQ(info.channel_count, 2u);
        ASSERT_NE(info.port_type, nullptr);
        EXPECT_STREQ(info.port_type, CLAP_PORT_STEREO);
        EXPECT_EQ(info.in_place_pair, CLAP_INVALID_ID);
        EXPECT_FALSE(ports->get(instance->plugin, 1, isInput, &info));
        EXPECT_FALSE(ports->get(instance->plugin, CLAP_INVALID_ID, isInput, &info));
    }
}
