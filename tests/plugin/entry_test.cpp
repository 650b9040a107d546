// The entry, the factories, the descriptor, the life of instances, the
// extensions offered and the audio ports, as a host sees them.
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "tools/host/host.h"

namespace {

const clap_plugin_factory_t *Factory() { return TestPlugin().factory; }

// A short block of noise comes out unchanged, as it must with the default patch.
void ExpectPassesAudio(Instance &instance) {
    StereoBuffer input = Noise(256, 7), output = MakeStereo(256);
    EXPECT_EQ(ProcessStereo(instance, input, output).status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}

TEST(Descriptor, names_the_plugin_its_site_and_a_manual_under_it_and_keeps_version_1_2_1) {
    const clap_plugin_descriptor_t *d = TestPlugin().descriptor;
    EXPECT_STREQ(d->id, "orwen.LathemoorFX");
    EXPECT_STREQ(d->name, "LathemoorFX");
    EXPECT_STREQ(d->vendor, "orwen");
    std::vector<std::string> features;
    for (const char *const *f = d->features; *f; f++) features.push_back(*f);
    EXPECT_EQ(features, (std::vector<std::string>{"audio-effect", "multi-effects", "stereo"}));
    std::string url = d->url, manual = d->manual_url;
    EXPECT_EQ(url.rfind("https://", 0), 0u);
    EXPECT_EQ(manual.rfind(url, 0), 0u) << manual;
    for (int i = 0; i < 1000; i++) ASSERT_STREQ(Factory()->get_plugin_descriptor(Factory(), 0)->version, "1.2.1");
}

TEST(Factory, offers_one_plugin_under_its_exact_id_to_clap_1_hosts) {
    const clap_plugin_entry_t *entry = TestPlugin().entry;
    EXPECT_EQ(Factory()->get_plugin_count(Factory()), 1u);
    EXPECT_EQ(Factory()->get_plugin_descriptor(Factory(), 1), nullptr);
    for (const char *id : {"clap.plugin-factory/2", "clap.plugin-factor"})
        EXPECT_EQ(entry->get_factory(id), nullptr) << id;
    auto invalidation = (const clap_plugin_invalidation_factory_t *)entry->get_factory(
        CLAP_PLUGIN_INVALIDATION_FACTORY_ID);  // one source: the settings file
    ASSERT_NE(invalidation, nullptr);
    EXPECT_STREQ(invalidation->get(invalidation, 0)->filename_glob, "OrwenAudioPlugins.ini");
    std::unique_ptr<Host> host = NewHost();
    for (const char *id : {"orwen.LathemoorFx", "orwen.LathemoorFX "})
        EXPECT_EQ(Factory()->create_plugin(Factory(), &host->clap, id), nullptr) << id;
    host->clap.clap_version = {0, 9, 0};
    EXPECT_EQ(Factory()->create_plugin(Factory(), &host->clap, "orwen.LathemoorFX"), nullptr);
}

TEST(Lifecycle, instances_end_in_any_order_the_last_one_restarts_the_shared_state) {
    const PluginLibrary &library = TestPlugin();
    EXPECT_TRUE(library.entry->init(library.path.c_str()));  // a second init keeps working
    for (bool firstGoesFirst : {true, false}) {
        SCOPED_TRACE(firstGoesFirst ? "first destroyed first" : "second destroyed first");
        std::unique_ptr<Instance> first = StartInstance(library), second = StartInstance(library);
        ExpectPassesAudio(*second);
        FlushParams(*first, {ParamValueEvent(0, 10, 0.125)});  // instances keep their values apart
        EXPECT_EQ(GetParamValue(*second, 10), 0.5);
        DestroyInstance(firstGoesFirst ? *first : *second);
        Instance &kept = firstGoesFirst ? *second : *first;
        ExpectPassesAudio(kept);
        DestroyInstance(kept);
        std::unique_ptr<Instance> fresh = StartInstance(library);
        ExpectPassesAudio(*fresh);
        EXPECT_EQ(GetParamValue(*fresh, 0), 0.5);
    }
    // Created and destroyed at once, as hosts do when they scan.
    std::unique_ptr<Host> host = NewHost();
    const clap_plugin_t *plugin = Factory()->create_plugin(Factory(), &host->clap, "orwen.LathemoorFX");
    ASSERT_NE(plugin, nullptr);
    plugin->destroy(plugin);
    ExpectPassesAudio(*StartInstance(library));
}

TEST(Extensions, only_ours_are_offered_with_one_stereo_main_port_each_way) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    const clap_plugin_t *plugin = instance->plugin;
    for (const char *id : {"clap.latency", "clap.note-ports", "clap.params.x", "clap.param"})
        EXPECT_EQ(plugin->get_extension(plugin, id), nullptr) << id;

    // One stereo main port each way.
    const clap_plugin_audio_ports_t *ports = instance->audioPorts;
    ASSERT_NE(ports, nullptr);
    for (bool isInput : {true, false}) {
        SCOPED_TRACE(isInput ? "input" : "output");
        EXPECT_EQ(ports->count(plugin, isInput), 1u);
        clap_audio_port_info_t info;
        memset(&info, 0xAB, sizeof info);
        ASSERT_TRUE(ports->get(plugin, 0, isInput, &info));
        EXPECT_STREQ(info.name, "My Port Name");
        EXPECT_EQ(info.flags, uint32_t(CLAP_AUDIO_PORT_IS_MAIN));
        EXPECT_EQ(info.channel_count, 2u);
        EXPECT_EQ(info.in_place_pair, CLAP_INVALID_ID);
        EXPECT_FALSE(ports->get(plugin, 1, isInput, &info));
    }
}

}  // namespace
