// Two instances on two audio threads: meant for ThreadSanitizer, which checks
// that what the threads share is guarded as it should be. The main thread
// against the audio thread is the stress test's.
#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include "tests/support/plugin_rig.h"

namespace {

const clap_id DELAY_MIX = 19;

// Two instances process on two audio threads: the process-wide lock they
// share must be all they share, so each renders what it renders alone.
TEST(Threads, two_instances_process_on_two_threads_as_each_does_alone) {
    std::vector<HostEvent> chain = ChainEvents("Polyrhythmic Delay,Chorus");
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

}  // namespace
