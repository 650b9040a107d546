// The process driver seen from inside: what the engine is called with, how
// host and editor values travel, and the events the driver sends back.
#include <gtest/gtest.h>
#include <math.h>

#include <vector>

#include "shell/params.h"
#include "shell/plugin.h"
#include "tests/support/recording_engine.h"

extern "C" const clap_plugin_entry_t clap_entry;

namespace {

int flushRequests;
void RequestFlush(const clap_host_t *) { flushRequests++; }
const clap_host_params_t HOST_PARAMS = {nullptr, nullptr, RequestFlush};
const void *HostGetExtension(const clap_host_t *, const char *id) {
    return strcmp(id, CLAP_EXT_PARAMS) ? nullptr : &HOST_PARAMS;
}
const clap_host_t HOST = {CLAP_VERSION_INIT, nullptr, "test", "test", "", "1",
                          HostGetExtension, nullptr, nullptr, nullptr};

// An input list over owned events and an output list that copies what it gets.
struct EventList {
    std::vector<std::vector<uint8_t>> events;
    uint32_t reads = 0;
    clap_input_events_t in = {this, Size, Get};
    clap_output_events_t out = {this, Push};

    static uint32_t Size(const clap_input_events_t *list) {
        return (uint32_t)((EventList *)list->ctx)->events.size();
    }
    static const clap_event_header_t *Get(const clap_input_events_t *list, uint32_t index) {
        EventList *self = (EventList *)list->ctx;
        self->reads++;
        return (const clap_event_header_t *)self->events[index].data();
    }
    static bool Push(const clap_output_events_t *list, const clap_event_header_t *event) {
        const uint8_t *bytes = (const uint8_t *)event;
        ((EventList *)list->ctx)->events.emplace_back(bytes, bytes + event->size);
        return true;
    }
    template <typename T> void Add(const T &event) {
        const uint8_t *bytes = (const uint8_t *)&event;
        events.emplace_back(bytes, bytes + sizeof event);
    }
    const clap_event_header_t *At(size_t i) const {
        return (const clap_event_header_t *)events[i].data();
    }
};

clap_event_param_value_t ValueEvent(uint32_t time, clap_id id, double value) {
    clap_event_param_value_t e = {};
    e.header = {sizeof e, time, 0, CLAP_EVENT_PARAM_VALUE, 0};
    e.param_id = id;
    e.note_id = -1;
    e.port_index = e.channel = e.key = -1;
    e.value = value;
    return e;
}

clap_event_transport_t Transport(uint32_t flags, double tempo, double seconds) {
    clap_event_transport_t t = {};
    t.header = {sizeof t, 0, 0, CLAP_EVENT_TRANSPORT, 0};
    t.flags = flags;
    t.tempo = tempo;
    t.song_pos_seconds = (clap_sectime)llround(seconds * CLAP_SECTIME_FACTOR);
    return t;
}

struct Driver : ::testing::Test {
    const clap_plugin_t *clapPlugin = nullptr;
    Plugin *plugin = nullptr;
    std::vector<float> inL, inR, outL, outR;

    void SetUp() override {
        auto factory = (const clap_plugin_factory_t *)clap_entry.get_factory(CLAP_PLUGIN_FACTORY_ID);
        clapPlugin = factory->create_plugin(factory, &HOST, "orwen.LathemoorFX");
        ASSERT_TRUE(clapPlugin && clapPlugin->init(clapPlugin));
        clapPlugin->activate(clapPlugin, 48000.0, 1, 8192);
        plugin = PluginFromClap(clapPlugin);
        RecordedEngineCalls().clear();
        flushRequests = 0;
    }
    void TearDown() override { clapPlugin->destroy(clapPlugin); }

    // One process call of n frames; input frame f is (f + 1, -(f + 1)).
    void Process(uint32_t n, EventList *events, const clap_event_transport_t *transport = nullptr) {
        inL.resize(n);
        inR.resize(n);
        outL.assign(n, NAN);
        outR.assign(n, NAN);
        for (uint32_t f = 0; f < n; f++) inL[f] = f + 1.0f, inR[f] = -(f + 1.0f);
        float *ins[2] = {inL.data(), inR.data()}, *outs[2] = {outL.data(), outR.data()};
        clap_audio_buffer_t input = {ins, nullptr, 2, 0, 0}, output = {outs, nullptr, 2, 0, 0};
        clap_process_t process = {0, n, transport, &input, &output, 1, 1,
                                  events ? &events->in : nullptr, events ? &events->out : nullptr};
        EXPECT_EQ(clapPlugin->process(clapPlugin, &process), CLAP_PROCESS_CONTINUE);
    }

    std::vector<int> CallFrames() {
        std::vector<int> frames;
        for (const EngineCall &call : RecordedEngineCalls()) frames.push_back(call.frames);
        return frames;
    }
    double GetValue(clap_id id) {
        auto params = (const clap_plugin_params_t *)clapPlugin->get_extension(clapPlugin, CLAP_EXT_PARAMS);
        double v = -1;
        EXPECT_TRUE(params->get_value(clapPlugin, id, &v));
        return v;
    }
};

TEST_F(Driver, long_block_is_cut_into_chunks_of_2048) {
    EventList events;
    Process(5000, &events);
    EXPECT_EQ(CallFrames(), (std::vector<int>{2048, 2048, 904}));
    EXPECT_EQ(RecordedEngineCalls()[1].firstDry[0], 2049.0f);
    for (uint32_t f = 0; f < 5000; f++) ASSERT_EQ(outL[f], inL[f]) << f;
    EXPECT_EQ(plugin->context.songPosition, 5000.0);
}

TEST_F(Driver, value_event_splits_block_and_reaches_second_part) {
    EventList events;
    events.Add(ValueEvent(40, PARAM_DELAY_MIX, 0.75));
    Process(100, &events);
    ASSERT_EQ(CallFrames(), (std::vector<int>{40, 60}));
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[PARAM_DELAY_MIX], PARAM_INFO[PARAM_DELAY_MIX].defaultValue);
    EXPECT_EQ(RecordedEngineCalls()[1].liveValue[PARAM_DELAY_MIX], 0.75f);
    EXPECT_EQ(RecordedEngineCalls()[1].firstDry[0], 41.0f);
}

TEST_F(Driver, events_at_frame_zero_and_at_one_time_apply_before_rendering) {
    EventList events;
    events.Add(ValueEvent(0, 0, 0.25));
    events.Add(ValueEvent(10, 1, 0.5));
    events.Add(ValueEvent(10, 2, 0.75));
    Process(20, &events);
    ASSERT_EQ(CallFrames(), (std::vector<int>{10, 10}));
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[0], 0.25f);
    EXPECT_EQ(RecordedEngineCalls()[1].liveValue[1], 0.5f);
    EXPECT_EQ(RecordedEngineCalls()[1].liveValue[2], 0.75f);
}

TEST_F(Driver, events_out_of_order_or_past_the_block_stay_inside_the_buffers) {
    EventList events;
    events.Add(ValueEvent(30, 0, 0.1));
    events.Add(ValueEvent(5, 0, 0.2));   // runs backward: taken at once
    events.Add(ValueEvent(500, 0, 0.3)); // past the end: never reached
    Process(64, &events);
    int total = 0;
    for (int frames : CallFrames()) total += frames;
    EXPECT_EQ(total, 64);
    EXPECT_EQ(RecordedEngineCalls().back().liveValue[0], 0.2f);
    for (uint32_t f = 0; f < 64; f++) ASSERT_EQ(outR[f], inR[f]);
}

TEST_F(Driver, empty_block_pulls_editor_values_but_reads_no_events) {
    EventList events;
    events.Add(ValueEvent(0, 0, 0.9));
    ParamSet(plugin, 5, 1.0f);
    Process(0, &events);
    EXPECT_TRUE(RecordedEngineCalls().empty());
    EXPECT_EQ(events.reads, 0u);
    ASSERT_EQ(events.events.size(), 2u);  // the input event plus one output value
    EXPECT_EQ(events.At(1)->type, CLAP_EVENT_PARAM_VALUE);
    EXPECT_EQ(GetValue(0), PARAM_INFO[0].defaultValue);
}

TEST_F(Driver, host_values_are_limited_and_unknown_ids_ignored) {
    EventList events;
    events.Add(ValueEvent(0, 0, NAN));
    events.Add(ValueEvent(0, 1, INFINITY));
    events.Add(ValueEvent(0, 2, -INFINITY));
    events.Add(ValueEvent(0, 3, 1.5));
    events.Add(ValueEvent(0, 231, 0.5));
    events.Add(ValueEvent(0, 0xFFFFFFFF, 0.5));
    Process(8, &events);
    const EngineCall &call = RecordedEngineCalls()[0];
    EXPECT_EQ(call.liveValue[0], 0.0f);
    EXPECT_EQ(call.liveValue[1], 1.0f);
    EXPECT_EQ(call.liveValue[2], 0.0f);
    EXPECT_EQ(call.liveValue[3], 1.0f);
    EXPECT_EQ(GetValue(1), 1.0);
}

TEST_F(Driver, host_modulation_offsets_live_value_only) {
    EventList events;
    clap_event_param_mod_t mod = {};
    mod.header = {sizeof mod, 0, 0, CLAP_EVENT_PARAM_MOD, 0};
    mod.param_id = PARAM_POST_GAIN;
    mod.note_id = -1;
    mod.amount = 0.7;
    events.Add(mod);
    mod.param_id = PARAM_DELAY_MIX;
    mod.amount = NAN;  // not finite: taken as no modulation
    events.Add(mod);
    mod.param_id = PARAM_DELAY_PAN;
    mod.note_id = 3;  // per-note modulation is not ours
    events.Add(mod);
    Process(8, &events);
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[PARAM_POST_GAIN], 1.0f);  // 0.5 + 0.7, limited
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[PARAM_DELAY_MIX], PARAM_INFO[PARAM_DELAY_MIX].defaultValue);
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[PARAM_DELAY_PAN], PARAM_INFO[PARAM_DELAY_PAN].defaultValue);
    EXPECT_EQ(GetValue(PARAM_POST_GAIN), 0.5);

    // The offset stays on top of later host values and pulls.
    EventList next;
    next.Add(ValueEvent(0, PARAM_POST_GAIN, 0.1));
    Process(8, &next);
    EXPECT_FLOAT_EQ(RecordedEngineCalls()[1].liveValue[PARAM_POST_GAIN], 0.8f);
    Process(8, nullptr);
    EXPECT_FLOAT_EQ(RecordedEngineCalls()[2].liveValue[PARAM_POST_GAIN], 0.8f);
}

TEST_F(Driver, note_and_midi_events_and_other_spaces_are_skipped) {
    EventList events;
    clap_event_note_t note = {};
    note.header = {sizeof note, 0, 0, CLAP_EVENT_NOTE_ON, 0};
    events.Add(note);
    clap_event_midi_t midi = {};
    midi.header = {sizeof midi, 0, 0, CLAP_EVENT_MIDI, 0};
    events.Add(midi);
    clap_event_param_value_t foreign = ValueEvent(0, 0, 0.0);
    foreign.header.space_id = 7;
    events.Add(foreign);
    clap_event_param_value_t shortEvent = ValueEvent(0, 0, 0.0);
    shortEvent.header.size = sizeof(clap_event_header_t);  // too short to be a value event
    events.Add(shortEvent);
    Process(16, &events);
    EXPECT_EQ(CallFrames(), (std::vector<int>{16}));
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[0], 0.5f);
}

TEST_F(Driver, transport_sets_tempo_position_and_play_state) {
    Process(4, nullptr);
    EXPECT_EQ(RecordedEngineCalls()[0].samplesPerBeat, 19200.0f);
    EXPECT_FALSE(RecordedEngineCalls()[0].transportPlaying);

    clap_event_transport_t transport = Transport(
        CLAP_TRANSPORT_HAS_TEMPO | CLAP_TRANSPORT_HAS_SECONDS_TIMELINE | CLAP_TRANSPORT_IS_PLAYING,
        120.0, 2.0);
    Process(4, nullptr, &transport);
    EXPECT_EQ(RecordedEngineCalls()[1].samplesPerBeat, 24000.0f);
    EXPECT_EQ(RecordedEngineCalls()[1].songPosition, 96000.0);
    EXPECT_TRUE(RecordedEngineCalls()[1].transportPlaying);

    // A transport event mid-block: a stopped transport without tempo keeps the tempo.
    EventList events;
    clap_event_transport_t stop = Transport(0, 0.0, 0.0);
    stop.header.time = 2;
    events.Add(stop);
    Process(4, &events, &transport);
    EXPECT_TRUE(RecordedEngineCalls()[2].transportPlaying);
    EXPECT_FALSE(RecordedEngineCalls()[3].transportPlaying);
    EXPECT_EQ(RecordedEngineCalls()[3].samplesPerBeat, 24000.0f);
    EXPECT_EQ(RecordedEngineCalls()[3].songPosition, 96002.0);  // counts on from the frames rendered

    Process(4, nullptr);  // no transport at all: stopped
    EXPECT_FALSE(RecordedEngineCalls()[4].transportPlaying);
}

TEST_F(Driver, editor_value_is_seen_by_get_value_before_any_block) {
    ParamSet(plugin, PARAM_REVERB_MIX, 0.33f);
    EXPECT_EQ(GetValue(PARAM_REVERB_MIX), (double)0.33f);
    EXPECT_EQ(flushRequests, 1);
    ParamSet(plugin, PARAM_REVERB_MIX, 7.0f);  // limited
    EXPECT_EQ(GetValue(PARAM_REVERB_MIX), 1.0);
    ParamSet(plugin, 231, 0.5f);               // ignored
    EXPECT_EQ(flushRequests, 2);
    Process(1, nullptr);
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[PARAM_REVERB_MIX], 1.0f);
    EXPECT_EQ(GetValue(PARAM_REVERB_MIX), 1.0);
}

TEST_F(Driver, drag_sends_begin_then_values_then_end) {
    EventList first, second, third;
    ParamGesture(plugin, PARAM_CHORUS_MIX, true);
    ParamSet(plugin, PARAM_CHORUS_MIX, 0.6f);
    ParamSet(plugin, PARAM_PHASER_MIX, 0.2f);  // a second parameter in the same pass
    Process(1, &first);
    // Parameter order, and for one parameter the gesture ahead of its value.
    ASSERT_EQ(first.events.size(), 3u);
    const auto *phaser = (const clap_event_param_value_t *)first.At(0);
    EXPECT_EQ(phaser->header.type, CLAP_EVENT_PARAM_VALUE);
    EXPECT_EQ(phaser->param_id, (clap_id)PARAM_PHASER_MIX);
    EXPECT_EQ(phaser->value, (double)0.2f);
    EXPECT_EQ(phaser->note_id, -1);
    EXPECT_EQ(phaser->header.time, 0u);
    EXPECT_EQ(first.At(1)->type, CLAP_EVENT_PARAM_GESTURE_BEGIN);
    EXPECT_EQ(((const clap_event_param_gesture_t *)first.At(1))->param_id, (clap_id)PARAM_CHORUS_MIX);
    EXPECT_EQ(first.At(2)->type, CLAP_EVENT_PARAM_VALUE);
    EXPECT_EQ(((const clap_event_param_value_t *)first.At(2))->value, (double)0.6f);

    ParamSet(plugin, PARAM_CHORUS_MIX, 0.7f);
    Process(1, &second);
    ASSERT_EQ(second.events.size(), 1u);
    EXPECT_EQ(((const clap_event_param_value_t *)second.At(0))->value, (double)0.7f);

    ParamGesture(plugin, PARAM_CHORUS_MIX, false);
    Process(1, &third);
    ASSERT_EQ(third.events.size(), 1u);
    EXPECT_EQ(third.At(0)->type, CLAP_EVENT_PARAM_GESTURE_END);
}

TEST_F(Driver, host_values_reach_editor_on_drain) {
    EventList events;
    events.Add(ValueEvent(0, PARAM_COMP_RATIO, 0.9));
    Process(4, &events);
    EXPECT_EQ(plugin->context.editorValue[PARAM_COMP_RATIO], PARAM_INFO[PARAM_COMP_RATIO].defaultValue);
    EXPECT_TRUE(DrainHostValues(plugin));
    EXPECT_EQ(plugin->context.editorValue[PARAM_COMP_RATIO], 0.9f);
    EXPECT_EQ(plugin->patch.values[PARAM_COMP_RATIO], 0.9f);
    EXPECT_FALSE(DrainHostValues(plugin));
}

TEST_F(Driver, reset_reloads_editor_values_and_clears_units_once) {
    plugin->context.editorValue[PARAM_DELAY_FEEDBACK] = 0.1f;  // as a whole-patch change writes
    clapPlugin->reset(clapPlugin);
    EXPECT_EQ(GetValue(PARAM_DELAY_FEEDBACK), (double)0.1f);
    // A flush takes the reload over; the engine still clears its units next block.
    auto params = (const clap_plugin_params_t *)clapPlugin->get_extension(clapPlugin, CLAP_EXT_PARAMS);
    EventList empty;
    params->flush(clapPlugin, &empty.in, &empty.out);
    Process(4, nullptr);
    Process(4, nullptr);
    EXPECT_TRUE(RecordedEngineCalls()[0].engineReset);
    EXPECT_FALSE(RecordedEngineCalls()[1].engineReset);
    EXPECT_EQ(RecordedEngineCalls()[0].liveValue[PARAM_DELAY_FEEDBACK], 0.1f);
}

TEST_F(Driver, reset_keeps_host_automation_that_the_editor_has_not_seen) {
    EventList events;
    events.Add(ValueEvent(0, PARAM_CHORUS_DEPTH, 0.9));
    Process(4, &events);
    clapPlugin->reset(clapPlugin);
    Process(4, nullptr);
    EXPECT_EQ(RecordedEngineCalls()[1].liveValue[PARAM_CHORUS_DEPTH], 0.9f);
    EXPECT_TRUE(RecordedEngineCalls()[1].engineReset);
}

TEST_F(Driver, flush_takes_value_events_and_editor_changes) {
    auto params = (const clap_plugin_params_t *)clapPlugin->get_extension(clapPlugin, CLAP_EXT_PARAMS);
    EventList in, out;
    in.Add(ValueEvent(0, PARAM_EQ_LOW_GAIN, 0.8));
    clap_event_transport_t transport = Transport(CLAP_TRANSPORT_HAS_TEMPO, 60.0, 0.0);
    in.Add(transport);  // flush takes value events only
    ParamSet(plugin, PARAM_EQ_HIGH_GAIN, 0.3f);
    params->flush(clapPlugin, &in.in, &out.out);
    EXPECT_EQ(GetValue(PARAM_EQ_LOW_GAIN), (double)0.8f);
    EXPECT_EQ(plugin->context.liveValue[PARAM_EQ_HIGH_GAIN], 0.3f);
    EXPECT_EQ(plugin->context.samplesPerBeat, 19200.0f);
    ASSERT_EQ(out.events.size(), 1u);
    params->flush(clapPlugin, nullptr, nullptr);  // a careless host
}

TEST_F(Driver, missing_audio_is_silence_in_and_nothing_out) {
    clap_process_t process = {0, 16, nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr};
    EXPECT_EQ(clapPlugin->process(clapPlugin, &process), CLAP_PROCESS_CONTINUE);
    ASSERT_EQ(CallFrames(), (std::vector<int>{16}));
    EXPECT_EQ(RecordedEngineCalls()[0].firstDry[0], 0.0f);

    float left[16] = {1}, *channels[2] = {left, nullptr};
    clap_audio_buffer_t oneChannel = {channels, nullptr, 1, 0, 0};
    process.audio_inputs = &oneChannel;
    process.audio_outputs = &oneChannel;
    process.audio_inputs_count = process.audio_outputs_count = 1;
    EXPECT_EQ(clapPlugin->process(clapPlugin, &process), CLAP_PROCESS_CONTINUE);
    EXPECT_EQ(RecordedEngineCalls()[1].firstDry[0], 1.0f);
    EXPECT_EQ(RecordedEngineCalls()[1].firstDry[1], 0.0f);
}

}  // namespace
