// A load test for ThreadSanitizer: one audio thread processes blocks of any
// size with automation and host modulation while the main thread does
// everything a host and a user do to an instance at once: values, texts,
// reset, states, patch files, randomising, the editor and its scale, and a
// second instance made and destroyed. It runs LATHEMOOR_STRESS_SECONDS (default
// 3) and prints how often each thing was done.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id POST_GAIN = 0, DELAY_MIX = 19, EFFECT_SLOT_1 = 223, UNIT_IDS = 27;

double StressSeconds() {
    const char *text = getenv("LATHEMOOR_STRESS_SECONDS");
    double seconds = text ? atof(text) : 0.0;
    return seconds > 0.0 ? seconds : 3.0;
}

// Up to five events at random times of a block, in time order: a value for
// any parameter (a unit for a slot), now and then a tempo; and in one block
// of four a host modulation at the end.
std::vector<HostEvent> Automation(std::mt19937 &random, uint32_t frames) {
    std::vector<HostEvent> events;
    uint32_t time = 0;
    for (int count = random() % 6; count > 0; count--) {
        time += random() % (frames - time);
        clap_id id = random() % 231;
        double value = random() / 4294967296.0;
        if (id >= EFFECT_SLOT_1) value = (random() % UNIT_IDS + 1) / 65536.0;
        events.push_back(random() % 16 ? ParamValueEvent(time, id, value)
                                       : TransportEvent(time, MakeTransport(60 + random() % 140, true)));
    }
    if (random() % 4 == 0) {
        double amount = (int(random() % 201) - 100) / 1000.0;
        events.push_back(ParamModEvent(time, random() % EFFECT_SLOT_1, amount));
    }
    return events;
}

}  // namespace

TEST(ThreadsStress, audio_with_automation_against_state_presets_randomise_editor_and_scale) {
    TemporaryHome home;  // the scale is written to the settings file
    TemporaryFolder folder;
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    FlushParams(*instance, ChainEvents("Polyrhythmic Delay,Ping-Pong Delay,Chorus,Reverb,Compressor,"
                                       "Reverb 2,Phaser,Multiband Distortion"));
    std::vector<uint8_t> chainState = SaveState(*instance).value();
    std::string patch = folder.File("stress.synthpatch");
    WriteFileBytes(patch, SynthPatchFromState(chainState, "stress"));

    // While `quiet` is set the audio thread sends no events; quietBlocks counts
    // the blocks that began after it saw the flag.
    std::atomic<bool> done{false}, quiet{false};
    std::atomic<long> blocks{0}, quietBlocks{0}, frames{0};
    std::thread audio([&] {
        std::mt19937 random(7);
        StereoBuffer noise = Noise(2048, 9);
        while (!done) {
            bool still = quiet;
            uint32_t n = 1 + random() % 2048;
            StereoBuffer input = {{noise.left.begin(), noise.left.begin() + n},
                                  {noise.right.begin(), noise.right.begin() + n}};
            StereoBuffer output = MakeStereo(n);
            ProcessStereo(*instance, input, output, still ? std::vector<HostEvent>() : Automation(random, n));
            blocks++, frames += n;
            if (still) quietBlocks++;
        }
    });

    bool editor = getenv("DISPLAY") != nullptr;
    // The audio thread ends also when an assertion ends the test early.
    std::shared_ptr<void> stop(nullptr, [&](void *) { done = true, audio.join(); });
    std::unique_ptr<EditorFrame> frame;
    long rounds = 0, saves = 0, editorOpens = 0, scaleChanges = 0;
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(StressSeconds());
    while (std::chrono::steady_clock::now() < end && !HasFailure()) {
        // Two saves with no event between them, after the audio side has
        // taken in everything sent before: the same bytes.
        long from = quietBlocks;
        quiet = true;
        auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (quietBlocks < from + 2 && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ASSERT_GE(quietBlocks, from + 2) << "the audio thread stopped";
        std::optional<std::vector<uint8_t>> first = SaveState(*instance), second = SaveState(*instance);
        quiet = false;
        ASSERT_TRUE(first.has_value());
        EXPECT_EQ(first, second);
        saves += 2;

        EXPECT_TRUE(LoadState(*instance, rounds % 2 ? chainState : *first));
        EXPECT_TRUE(LoadPresetFile(*instance, patch));
        EXPECT_TRUE(Randomize(*instance));
        for (clap_id id : {POST_GAIN, DELAY_MIX, EFFECT_SLOT_1})
            EXPECT_TRUE(GetParamValue(*instance, id) && ParamText(*instance, id, 0.5)) << id;
        instance->plugin->reset(instance->plugin);
        CreateInstance(TestPlugin());
        // The editor opens for six rounds in twelve, repaints at every round
        // while open, and goes to 150 percent and back once per opening.
        if (editor && rounds % 12 == 0) frame = OpenEditor(*instance), editorOpens++;
        if (frame) RunEditor(*instance, 0.03, frame.get());
        if (frame && rounds % 12 == 1) {
            Click(*instance, *frame, 1009, 16), Click(*instance, *frame, 1009, 31 + 4 + 19 * 2 + 9);
            EXPECT_EQ(frame->width, 1602u);
            Click(*instance, *frame, 1514, 24), Click(*instance, *frame, 1514, (31 + 4 + 9) * 3 / 2);
            EXPECT_EQ(frame->width, 1068u);
            scaleChanges += 2;
        }
        if (rounds % 12 == 5) frame.reset();
        rounds++;
    }
    frame.reset();
    stop.reset();
    EXPECT_GT(rounds, 0);
    printf("stress: %ld rounds: %ld saves, %ld state loads, %ld preset loads, %ld randomisations, "
           "%ld editor opens, %ld scale changes; %ld blocks, %ld frames\n",
           rounds, saves, rounds, rounds, rounds, editorOpens, scaleChanges, blocks.load(), frames.load());
}
