// The process call: what an empty chain does to the audio, block sizes,
// events of every kind and at odd times, and the odd shapes of buffers and
// hosts that the plug-in must survive.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>
#include <string>
#include <vector>
#include "tools/host/host.h"

namespace {

const clap_id POST_GAIN = 0;
const clap_id DELAY_FEEDBACK = 10;
const float MINUS_20_DB = 0.1f;

// Output buffers start as NaN, so that a frame the plug-in never writes shows.
StereoBuffer Unwritten(uint32_t frames) { return MakeStereo(frames, NAN); }

}  // namespace

// ---- the audio of an empty chain, and Post Gain ----

TEST(Process, empty_chain_returns_its_input_bit_exactly_at_any_block_size) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    uint32_t seed = 1;
    for (uint32_t frames : {1u, 7u, 31u, 32u, 33u, 100u, 2047u, 2048u, 2049u, 4096u, 5000u}) {
        StereoBuffer input = Noise(frames, seed++, 0.9f), output = Unwritten(frames);
        EXPECT_EQ(ProcessStereo(*instance, input, output).status, CLAP_PROCESS_CONTINUE);
        EXPECT_EQ(FirstDifferentFrame(input, output), -1) << frames << " frames";
    }
}

TEST(Process, extreme_samples_pass_unchanged) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = MakeStereo(8);
    const float SAMPLES[8] = {0.0f, -0.0f, 1e-40f, -1e-40f, 1e30f, -1.0f, 1.0f, 3.0f};
    for (int i = 0; i < 8; i++) {
        input.left[i] = SAMPLES[i];
        input.right[i] = -SAMPLES[7 - i];
    }
    StereoBuffer output = Unwritten(8);
    ProcessStereo(*instance, input, output);
    // Denormals may come out flushed to zero; everything else is exact.
    auto same = [](float in, float out) { return out == in || (fabsf(in) < 1e-37f && out == 0); };
    for (int i = 0; i < 8; i++) {
        EXPECT_PRED2(same, input.left[i], output.left[i]) << i;
        EXPECT_PRED2(same, input.right[i], output.right[i]) << i;
    }
}

TEST(Process, value_events_for_units_outside_the_chain_leave_the_audio_alone) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(100), output = Unwritten(100);
    ProcessStereo(*instance, input, output,
                  {ParamValueEvent(0, DELAY_FEEDBACK, 0.9),
                   ParamValueEvent(40, DELAY_FEEDBACK, 0.1), ParamValueEvent(40, 82, 1.0),
                   ParamValueEvent(99, 103, 1.0)});
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}

TEST(Process, value_event_mid_block_splits_the_render_at_its_frame) {
    struct Case {
        uint32_t frames, at;
    };
    for (Case c : {Case{100, 40}, Case{7, 6}, Case{2049, 2048}, Case{5000, 2100}}) {
        SCOPED_TRACE(std::to_string(c.at) + " of " + std::to_string(c.frames));
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
        StereoBuffer input = Noise(c.frames), output = Unwritten(c.frames);
        ProcessStereo(*instance, input, output, {ParamValueEvent(c.at, POST_GAIN, 0.0)});
        for (uint32_t i = 0; i < c.at; i++) ASSERT_EQ(output.left[i], input.left[i]) << i;
        for (uint32_t i = c.at; i < c.frames; i++) {
            ASSERT_NEAR(output.left[i], input.left[i] * MINUS_20_DB, 1e-6f) << i;
            ASSERT_NEAR(output.right[i], input.right[i] * MINUS_20_DB, 1e-6f) << i;
        }
    }
}

TEST(Process, host_modulation_adds_to_the_value_until_it_changes) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(96), output = Unwritten(96);
    ProcessStereo(*instance, input, output,
                  {ParamModEvent(0, POST_GAIN, 0.5), ParamModEvent(32, POST_GAIN, -0.5, 7),
                   ParamValueEvent(64, POST_GAIN, 0.25)});
    for (uint32_t i = 0; i < 64; i++)  // 0.5 + 0.5: +20 dB; the per-note amount is ignored
        ASSERT_NEAR(output.left[i], input.left[i] * 10.0f, 1e-5f) << i;
    for (uint32_t i = 64; i < 96; i++)  // 0.25 + 0.5: +10 dB
        ASSERT_NEAR(output.left[i], input.left[i] * 3.1622777f, 1e-5f) << i;
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
}

TEST(Process, instances_do_not_share_their_values) {
    std::unique_ptr<Instance> quiet = StartInstance(TestPlugin());
    std::unique_ptr<Instance> plain = StartInstance(TestPlugin());
    StereoBuffer input = Noise(64), quietOut = Unwritten(64), plainOut = Unwritten(64);
    ProcessStereo(*quiet, input, quietOut, {ParamValueEvent(0, POST_GAIN, 0.0)});
    ProcessStereo(*plain, input, plainOut);
    EXPECT_EQ(FirstDifferentFrame(input, plainOut), -1);
    EXPECT_NEAR(quietOut.left[10], input.left[10] * MINUS_20_DB, 1e-6f);
}

TEST(Process, value_events_at_frame_0_apply_to_the_whole_block) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(64), output = Unwritten(64);
    ProcessStereo(*instance, input, output,
                  {ParamValueEvent(0, POST_GAIN, 1.0), ParamValueEvent(0, POST_GAIN, 0.0)});
    for (uint32_t i = 0; i < 64; i++)
        ASSERT_NEAR(output.left[i], input.left[i] * MINUS_20_DB, 1e-6f) << i;
}

TEST(Process, empty_block_returns_continue_and_reads_no_events) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    ProcessRequest request;
    request.frames = 0;
    request.events = {ParamValueEvent(0, POST_GAIN, 0.9)};
    EXPECT_EQ(Process(*instance, request).status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.5);
}

TEST(Process, silence_in_gives_silence_out_and_continue) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    for (int block = 0; block < 600; block++) {  // over six seconds at 48 kHz
        StereoBuffer input = MakeStereo(512), output = Unwritten(512);
        ASSERT_EQ(ProcessStereo(*instance, input, output).status, CLAP_PROCESS_CONTINUE);
        ASSERT_EQ(FirstDifferentFrame(input, output), -1) << "block " << block;
    }
    StereoBuffer input = MakeStereo(512, 0.001f), output = Unwritten(512);
    ProcessStereo(*instance, input, output);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}

// ---- chains ----

TEST(Chains, a_unit_in_a_slot_sounds_only_while_enabled) {
    for (bool enabled : {true, false}) {
        SCOPED_TRACE(enabled ? "enabled" : "disabled");
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
        std::vector<HostEvent> events;
        for (const ParamSetting &s : ChainSettings("Polyrhythmic Delay"))
            events.push_back(ParamValueEvent(0, s.id, s.value));
        if (!enabled) events.push_back(ParamValueEvent(0, 4, 0.0));
        StereoBuffer input = MakeStereo(48000), output = Unwritten(48000);
        input.left[0] = input.right[0] = 1.0f;
        ProcessStereo(*instance, input, output, events);
        EXPECT_EQ(FirstDifferentFrame(input, output) != -1, enabled);
    }
}

// ---- events that do not touch the sound ----

TEST(Events, note_and_midi_events_are_skipped) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(128), output = Unwritten(128);
    ProcessResult result = ProcessStereo(
        *instance, input, output,
        {NoteEvent(0, CLAP_EVENT_NOTE_ON, 60, 1.0), MidiEvent(10, 0x90, 64, 100),
         MidiEvent(10, 0xB0, 7, 0), Midi2Event(20, 0x40903C00u),
         NoteEvent(50, CLAP_EVENT_NOTE_OFF, 60, 0.0), NoteEvent(60, CLAP_EVENT_NOTE_CHOKE, 60, 0),
         NoteEvent(127, CLAP_EVENT_NOTE_END, 60, 0.0)});
    EXPECT_EQ(result.status, CLAP_PROCESS_CONTINUE);
    EXPECT_TRUE(result.output.empty());
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
    for (uint32_t i = 0; i < 231; i++)
        EXPECT_EQ(GetParamValue(*instance, i), GetParamInfo(*instance, i)->default_value) << i;
}

TEST(Events, transports_in_the_block_and_in_the_list_leave_the_audio_alone) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    clap_event_transport_t playing = MakeTransport(120.0, true, 0);
    clap_event_transport_t stopped = MakeTransport(97.5, false, 4800);
    clap_event_transport_t zeroTempo = MakeTransport(0.0, true, 0);
    const clap_event_transport_t *blockTransports[] = {&playing, &stopped, &zeroTempo, nullptr};
    for (const clap_event_transport_t *transport : blockTransports) {
        StereoBuffer input = Noise(300), output = Unwritten(300);
        ProcessStereo(*instance, input, output,
                      {TransportEvent(0, stopped), TransportEvent(150, playing),
                       TransportEvent(299, zeroTempo)},
                      transport);
        EXPECT_EQ(FirstDifferentFrame(input, output), -1);
    }
}

// ---- events outside the contract ----

TEST(Events, event_times_past_the_block_render_the_block_once) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(64), output = Unwritten(64);
    ProcessResult result = ProcessStereo(
        *instance, input, output,
        {ParamValueEvent(100, DELAY_FEEDBACK, 0.25), ParamValueEvent(64, DELAY_FEEDBACK, 0.75),
         ParamValueEvent(UINT32_MAX, DELAY_FEEDBACK, 0.875)});
    EXPECT_EQ(result.status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}

TEST(Events, events_out_of_order_render_every_frame) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(100), output = Unwritten(100);
    ProcessResult result = ProcessStereo(
        *instance, input, output,
        {ParamValueEvent(60, DELAY_FEEDBACK, 0.25), ParamValueEvent(10, DELAY_FEEDBACK, 0.75),
         ParamValueEvent(90, DELAY_FEEDBACK, 0.5), ParamValueEvent(0, DELAY_FEEDBACK, 0.125)});
    EXPECT_EQ(result.status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}

TEST(Events, short_or_damaged_event_sizes_do_not_crash) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    HostEvent tooShort = ParamValueEvent(0, POST_GAIN, 0.9);
    tooShort.header.size = sizeof(clap_event_header_t);
    HostEvent transportTooShort = TransportEvent(5, MakeTransport(60.0, true));
    transportTooShort.header.size = 8;
    StereoBuffer input = Noise(32), output = Unwritten(32);
    EXPECT_EQ(ProcessStereo(*instance, input, output, {tooShort, transportTooShort}).status,
              CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}

// ---- odd hosts and buffers ----

TEST(OddHosts, a_host_without_extensions_runs_the_plugin) {
    HostConfig bare;
    bare.offers = HOST_OFFERS_NOTHING;
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin(), bare);
    StereoBuffer input = Noise(3000), output = Unwritten(3000);
    ProcessResult result = ProcessStereo(*instance, input, output,
                                         {ParamValueEvent(100, POST_GAIN, 0.5)});
    EXPECT_EQ(result.status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
    EXPECT_TRUE(FlushParams(*instance, {ParamValueEvent(0, DELAY_FEEDBACK, 0.3)}).empty());
    instance->plugin->reset(instance->plugin);
    ProcessStereo(*instance, input, output);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
    EXPECT_FALSE(instance->host->calls.extensionQueries.empty());
    DestroyInstance(*instance);
}

TEST(OddHosts, null_transport_event_lists_channels_and_ports_do_not_crash) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(600), output = Unwritten(600);
    auto request = [&] {
        ProcessRequest r;
        r.frames = 600;
        r.input[0] = input.left.data();
        r.input[1] = input.right.data();
        r.output[0] = output.left.data();
        r.output[1] = output.right.data();
        r.events = {ParamValueEvent(300, DELAY_FEEDBACK, 0.2)};
        return r;
    };
    std::vector<ProcessRequest> shapes;
    shapes.push_back(request());  // null transport
    ProcessRequest r = request();
    r.inputChannels = r.outputChannels = 0;
    shapes.push_back(r);
    r = request();
    r.input[0] = r.input[1] = nullptr;
    shapes.push_back(r);
    r = request();
    r.output[1] = nullptr;
    shapes.push_back(r);
    r = request();
    r.inputChannels = r.outputChannels = 1;
    r.input[1] = r.output[1] = nullptr;
    shapes.push_back(r);
    r = request();
    r.nullChannelArrays = true;
    shapes.push_back(r);
    r = request();
    r.inputPorts = r.outputPorts = 0;
    shapes.push_back(r);
    r = request();
    r.inputPorts = 0;
    shapes.push_back(r);
    r = request();
    r.refuseOutput = true;
    shapes.push_back(r);
    r = request();
    r.nullEventLists = true;
    shapes.push_back(r);
    for (size_t i = 0; i < shapes.size(); i++)
        EXPECT_EQ(Process(*instance, shapes[i]).status, CLAP_PROCESS_CONTINUE) << "shape " << i;
    // And it still works normally afterwards.
    StereoBuffer after = Unwritten(600);
    ProcessStereo(*instance, input, after);
    EXPECT_EQ(FirstDifferentFrame(input, after), -1);
}

TEST(OddHosts, a_missing_input_is_taken_as_silence) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer output = Unwritten(64);
    ProcessRequest request;
    request.frames = 64;
    request.inputPorts = 0;
    request.output[0] = output.left.data();
    request.output[1] = output.right.data();
    EXPECT_EQ(Process(*instance, request).status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(MakeStereo(64), output), -1);
}

TEST(OddHosts, large_blocks_pass_whole) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    StereoBuffer input = Noise(48000 * 3, 11), output = Unwritten(48000 * 3);
    EXPECT_EQ(ProcessStereo(*instance, input, output).status, CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(FirstDifferentFrame(input, output), -1);
}
