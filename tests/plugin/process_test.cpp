// The process call through the built plug-in: an empty chain at any block
// size, and the odd events, buffers and hosts it must survive.
#include <gtest/gtest.h>
#include <math.h>

#include <vector>

#include "tools/host/host.h"

namespace {

const clap_id POST_GAIN = 0, DELAY_FEEDBACK = 10;

// Output buffers start as NaN, so that a frame the plug-in never writes shows.
StereoBuffer Unwritten(uint32_t frames) { return MakeStereo(frames, NAN); }

TEST(Process, an_empty_chain_returns_its_input_bit_exactly_at_any_block_size_and_through_silence) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    for (uint32_t frames : {1u, 33u, 2048u, 2049u, 144000u}) {
        StereoBuffer input = Noise(frames, frames, 0.9f), output = Unwritten(frames);
        EXPECT_EQ(ProcessStereo(*instance, input, output).status, CLAP_PROCESS_CONTINUE);
        EXPECT_EQ(FirstDifferentFrame(input, output), -1) << frames << " frames";
    }
    // Denormals may come out flushed to zero; every other sample is exact.
    StereoBuffer input = MakeStereo(8), output = Unwritten(8);
    const float SAMPLES[8] = {0.0f, -0.0f, 1e-40f, -1e-40f, 1e30f, -1.0f, 1.0f, 3.0f};
    for (int i = 0; i < 8; i++) input.left[i] = SAMPLES[i];
    ProcessStereo(*instance, input, output);
    auto same = [](float in, float out) { return out == in || (fabsf(in) < 1e-37f && out == 0); };
    for (int i = 0; i < 8; i++) EXPECT_PRED2(same, input.left[i], output.left[i]) << i;
    for (int block = 0; block < 600; block++) {  // over six seconds of silence, then a quiet signal
        StereoBuffer silence = MakeStereo(512), out = Unwritten(512);
        ASSERT_EQ(ProcessStereo(*instance, silence, out).status, CLAP_PROCESS_CONTINUE);
        ASSERT_EQ(FirstDifferentFrame(silence, out), -1) << "block " << block;
    }
    StereoBuffer quiet = MakeStereo(512, 0.001f), out = Unwritten(512);
    ProcessStereo(*instance, quiet, out);
    EXPECT_EQ(FirstDifferentFrame(quiet, out), -1);
}

// Notes, MIDI, transports and damaged events change neither audio nor values.
// Of value events out of time order, one that runs backward is applied at
// once, after the one before it, and one beyond the block is never applied.
TEST(Events, foreign_and_damaged_events_change_nothing_and_disordered_values_apply_in_list_order) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    clap_event_transport_t playing = MakeTransport(120.0, true, 0), zeroTempo = MakeTransport(0.0, true, 0);
    HostEvent tooShort = ParamValueEvent(0, POST_GAIN, 0.9), transportTooShort = TransportEvent(5, playing);
    tooShort.header.size = sizeof(clap_event_header_t);
    transportTooShort.header.size = 8;
    const std::vector<HostEvent> lists[] = {
        {NoteEvent(0, CLAP_EVENT_NOTE_ON, 60, 1.0), MidiEvent(10, 0x90, 64, 100), Midi2Event(20, 0x40903C00u)},
        {TransportEvent(150, playing), TransportEvent(299, zeroTempo)},
        {ParamValueEvent(60, DELAY_FEEDBACK, 0.25), ParamValueEvent(10, DELAY_FEEDBACK, 0.75),
         ParamValueEvent(UINT32_MAX, DELAY_FEEDBACK, 0.875)},
        {tooShort, transportTooShort},
    };
    for (const std::vector<HostEvent> &events : lists) {  // under a block transport of tempo 0
        StereoBuffer input = Noise(300), output = Unwritten(300);
        ProcessResult result = ProcessStereo(*instance, input, output, events, &zeroTempo);
        EXPECT_EQ(result.status, CLAP_PROCESS_CONTINUE);
        EXPECT_TRUE(result.output.empty());
        EXPECT_EQ(FirstDifferentFrame(input, output), -1);
    }
    for (uint32_t i = 0; i < 231; i++)  // no delay in the chain hears its Feedback
        EXPECT_EQ(GetParamValue(*instance, i), i == DELAY_FEEDBACK ? 0.75 : GetParamInfo(*instance, i)->default_value)
            << i;
}

TEST(OddHosts, a_host_without_extensions_and_null_lists_channels_and_ports_do_not_stop_the_plugin) {
    HostConfig bare;
    bare.offers = HOST_OFFERS_NOTHING;
    std::unique_ptr<Instance> lonely = StartInstance(TestPlugin(), bare);
    StereoBuffer input = Noise(600), output = Unwritten(600);
    EXPECT_EQ(ProcessStereo(*lonely, input, output, {ParamValueEvent(100, POST_GAIN, 0.5)}).status,
              CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
    EXPECT_TRUE(FlushParams(*lonely, {ParamValueEvent(0, DELAY_FEEDBACK, 0.3)}).empty());

    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    std::vector<std::function<void(ProcessRequest &)>> shapes = {
        [](ProcessRequest &r) { r.inputChannels = r.outputChannels = 0; },
        [](ProcessRequest &r) { r.input[0] = r.input[1] = nullptr; },
        [](ProcessRequest &r) { r.output[1] = nullptr; },
        [](ProcessRequest &r) { r.inputChannels = r.outputChannels = 1, r.input[1] = r.output[1] = nullptr; },
        [](ProcessRequest &r) { r.nullChannelArrays = true; },
        [](ProcessRequest &r) { r.inputPorts = 0; },
        [](ProcessRequest &r) { r.refuseOutput = true; },
        [](ProcessRequest &r) { r.nullEventLists = true; },
    };
    for (size_t i = 0; i < shapes.size(); i++) {
        ProcessRequest r;
        r.frames = 600;
        r.input[0] = input.left.data(), r.input[1] = input.right.data();
        r.output[0] = output.left.data(), r.output[1] = output.right.data();
        r.events = {ParamValueEvent(300, DELAY_FEEDBACK, 0.2)};
        shapes[i](r);
        EXPECT_EQ(Process(*instance, r).status, CLAP_PROCESS_CONTINUE) << "shape " << i;
    }
    // It still works normally afterwards.
    StereoBuffer after = Unwritten(600);
    ProcessStereo(*instance, input, after);
    EXPECT_EQ(FirstDifferentFrame(input, after), -1);
}

}  // namespace
