// The audio and main threads at once, as a host runs them: these tests are
// meant for ThreadSanitizer, which checks that what the two threads share is
// guarded as it should be.
#include <gtest/gtest.h>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>
#include "tools/host/host.h"

namespace {

const clap_id POST_GAIN = 0, DELAY_MIX = 19, EFFECT_SLOT_1 = 223, DELAY_ENABLE = 4;

// The audio thread processes blocks with automation and host modulation
// while the main thread reads values and texts, resets the instance, and
// creates and destroys a second instance.
TEST(Threads, main_thread_calls_while_audio_thread_processes) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    std::atomic<bool> done{false};
    std::thread audio([&] {
        StereoBuffer input = Noise(256, 3), output = MakeStereo(256);
        for (int block = 0; block < 400; block++) {
            std::vector<HostEvent> events = {
                ParamValueEvent(0, DELAY_MIX, (block % 10) / 10.0),
                ParamModEvent(64, POST_GAIN, 0.01 * (block % 5)),
                ParamValueEvent(128, EFFECT_SLOT_1, block % 2 ? 1.0 / 65536 : 0.0),
                ParamValueEvent(128, DELAY_ENABLE, 1.0),
            };
            ProcessStereo(*instance, input, output, events);
        }
        done = true;
    });
    int rounds = 0;
    while (!done || rounds < 10) {
        for (clap_id id : {POST_GAIN, DELAY_MIX, EFFECT_SLOT_1}) {
            EXPECT_TRUE(GetParamValue(*instance, id).has_value());
            EXPECT_TRUE(ParamText(*instance, id, 0.5).has_value());
        }
        instance->plugin->reset(instance->plugin);
        std::unique_ptr<Instance> other = CreateInstance(TestPlugin());
        rounds++;
    }
    audio.join();
    double mix = GetParamValue(*instance, DELAY_MIX).value_or(-1.0);
    EXPECT_TRUE(mix >= 0.0 && mix <= 1.0) << mix;
}

// Two instances process on two audio threads: the process-wide lock they
// share must be all they share, so each renders what it renders alone.
TEST(Threads, two_instances_process_on_two_threads_as_each_does_alone) {
    std::vector<HostEvent> chain;
    for (const ParamSetting &s : ChainSettings("Polyrhythmic Delay,Chorus"))
        chain.push_back(ParamValueEvent(0, s.id, s.value));
    auto run = [&chain](Instance *instance, uint32_t seed, std::vector<float> *rendered) {
        StereoBuffer input = Noise(512, seed), output = MakeStereo(512);
        for (int block = 0; block < 200; block++) {
            std::vector<HostEvent> events = block ? std::vector<HostEvent>() : chain;
            events.push_back(ParamValueEvent(100, DELAY_MIX, 0.1 * (block % 7)));
            ProcessStereo(*instance, input, output, events);
            rendered->insert(rendered->end(), output.left.begin(), output.left.end());
        }
    };
    std::unique_ptr<Instance> instances[4];  // started and destroyed on the main thread
    for (std::unique_ptr<Instance> &instance : instances) instance = StartInstance(TestPlugin());
    std::vector<float> alone[2], together[2];
    for (uint32_t k = 0; k < 2; k++) run(instances[k].get(), k + 1, &alone[k]);
    std::thread first(run, instances[2].get(), 1, &together[0]), second(run, instances[3].get(), 2, &together[1]);
    first.join();
    second.join();
    for (int k = 0; k < 2; k++) EXPECT_EQ(together[k], alone[k]) << k;
    EXPECT_NE(alone[0], alone[1]);
}

// The audio thread processes for two seconds while the main thread saves
// and loads the state, loads a patch file, reads values and randomises: the
// whole-sound changes meet the audio side only through the locks and the
// hand-over, and neither thread waits for ever.
TEST(Threads, state_and_patch_loads_while_audio_thread_processes) {
    TemporaryFolder folder;
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    std::vector<HostEvent> chain;
    for (const ParamSetting &s : ChainSettings("Polyrhythmic Delay,Chorus,Ping-Pong Delay"))
        chain.push_back(ParamValueEvent(0, s.id, s.value));
    FlushParams(*instance, chain);
    std::optional<std::vector<uint8_t>> state = SaveState(*instance);
    ASSERT_TRUE(state.has_value());
    std::string patch = folder.File("threads.synthpatch");
    WriteFileBytes(patch, SynthPatchFromState(*state, "threads"));

    std::atomic<bool> done{false};
    std::thread audio([&] {
        StereoBuffer input = Noise(256, 5), output = MakeStereo(256);
        auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        for (int block = 0; std::chrono::steady_clock::now() < end; block++) {
            ProcessStereo(*instance, input, output,
                          {ParamValueEvent(0, DELAY_MIX, (block % 10) / 10.0),
                           ParamModEvent(100, POST_GAIN, 0.01 * (block % 3))});
        }
        done = true;
    });
    int rounds = 0;
    while (!done) {
        EXPECT_TRUE(SaveState(*instance).has_value());
        EXPECT_TRUE(LoadState(*instance, *state));
        EXPECT_TRUE(GetParamValue(*instance, DELAY_MIX).has_value());
        EXPECT_TRUE(LoadPresetFile(*instance, patch));
        EXPECT_TRUE(Randomize(*instance));
        EXPECT_TRUE(GetParamValue(*instance, POST_GAIN).has_value());
        rounds++;
    }
    audio.join();
    EXPECT_GT(rounds, 0);
    ASSERT_TRUE(LoadState(*instance, *state));
    EXPECT_EQ(SaveState(*instance), state);
}

}  // namespace
