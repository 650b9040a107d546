// The process driver seen from inside: what the engine is called with, how
// host and editor values travel, and the events the driver sends back.
#include <gtest/gtest.h>
#include <math.h>

#include <vector>

#include "vocabulary/params.h"
#include "tests/support/recording_engine.h"
#include "tests/support/shell_rig.h"

namespace {

int flushRequests;
void RequestFlush(const clap_host_t *) { flushRequests++; }
const clap_host_params_t HOST_PARAMS = {nullptr, nullptr, RequestFlush};
const clap_host_t HOST = MakeHost([](const clap_host_t *, const char *id) -> const void * {
    return strcmp(id, CLAP_EXT_PARAMS) ? nullptr : &HOST_PARAMS;
});

// An input list over owned events and an output list that copies what it gets.
struct EventList {
    std::vector<std::vector<uint8_t>> events;
    clap_input_events_t in = {this, Size, Get};
    clap_output_events_t out = {this, Push};

    static uint32_t Size(const clap_input_events_t *list) { return (uint32_t)((EventList *)list->ctx)->events.size(); }
    static const clap_event_header_t *Get(const clap_input_events_t *list, uint32_t index) {
        return (const clap_event_header_t *)((EventList *)list->ctx)->events[index].data();
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
    const clap_event_header_t *At(size_t i) const { return (const clap_event_header_t *)events[i].data(); }
};

clap_event_param_value_t ValueEvent(uint32_t time, clap_id id, double value) {
    return {{sizeof(clap_event_param_value_t), time, 0, CLAP_EVENT_PARAM_VALUE, 0}, id, nullptr, -1, -1, -1, -1, value};
}
clap_event_param_mod_t ModEvent(clap_id id, double amount, int32_t noteId = -1) {
    return {{sizeof(clap_event_param_mod_t), 0, 0, CLAP_EVENT_PARAM_MOD, 0}, id, nullptr, noteId, -1, -1, -1, amount};
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
    const clap_plugin_params_t *params = nullptr;
    Plugin *plugin = nullptr;
    std::vector<float> inL, inR, outL, outR;
    const std::vector<EngineCall> &calls = RecordedEngineCalls();

    void SetUp() override {
        clapPlugin = NewPlugin(&HOST);
        clapPlugin->activate(clapPlugin, 48000.0, 1, 8192);
        plugin = PluginFromClap(clapPlugin);
        params = (const clap_plugin_params_t *)clapPlugin->get_extension(clapPlugin, CLAP_EXT_PARAMS);
        RecordedEngineCalls().clear();
        flushRequests = 0;
    }
    void TearDown() override { clapPlugin->destroy(clapPlugin); }

    // One process call of n frames; input frame f is (f + 1, -(f + 1)).
    void Process(uint32_t n, EventList *events, const clap_event_transport_t *transport = nullptr) {
        inL.resize(n), inR.resize(n), outL.assign(n, NAN), outR.assign(n, NAN);
        for (uint32_t f = 0; f < n; f++) inL[f] = f + 1.0f, inR[f] = -(f + 1.0f);
        float *ins[2] = {inL.data(), inR.data()}, *outs[2] = {outL.data(), outR.data()};
        clap_audio_buffer_t input = {ins, nullptr, 2, 0, 0}, output = {outs, nullptr, 2, 0, 0};
        clap_process_t process = {0, n, transport, &input, &output, 1, 1,
                                  events ? &events->in : nullptr, events ? &events->out : nullptr};
        EXPECT_EQ(clapPlugin->process(clapPlugin, &process), CLAP_PROCESS_CONTINUE);
    }
    std::vector<int> CallFrames() const {
        std::vector<int> frames;
        for (const EngineCall &call : calls) frames.push_back(call.frames);
        return frames;
    }
    double GetValue(clap_id id) {
        double v = -1;
        EXPECT_TRUE(params->get_value(clapPlugin, id, &v));
        return v;
    }
};

TEST_F(Driver, blocks_are_cut_into_chunks_of_2048_and_at_each_event_time) {
    EventList none;
    Process(5000, &none);
    EXPECT_EQ(CallFrames(), (std::vector<int>{2048, 2048, 904}));
    EXPECT_EQ(calls[1].firstDry[0], 2049.0f);
    EXPECT_EQ(outL[4999], inL[4999]);

    RecordedEngineCalls().clear();
    EventList events;
    events.Add(ValueEvent(0, 0, 0.25));
    events.Add(ValueEvent(40, PARAM_DELAY_MIX, 0.75));
    events.Add(ValueEvent(40, 2, 0.5));  // one time, one split
    Process(100, &events);
    ASSERT_EQ(CallFrames(), (std::vector<int>{40, 60}));
    EXPECT_EQ(calls[0].liveValue[0], 0.25f);  // frame 0: before rendering
    EXPECT_EQ(calls[1].liveValue[2], 0.5f);
    EXPECT_EQ(calls[1].firstDry[0], 41.0f);
}

TEST_F(Driver, modulation_offsets_the_live_value_limited_and_skips_per_note_and_non_finite_amounts) {
    EventList events;
    events.Add(ModEvent(PARAM_POST_GAIN, 0.7));
    events.Add(ModEvent(PARAM_DELAY_MIX, NAN));      // not finite: taken as no modulation
    events.Add(ModEvent(PARAM_DELAY_PAN, 0.3, 3));  // per-note modulation is not ours
    Process(8, &events);
    const EngineCall &call = calls[0];
    EXPECT_EQ(call.liveValue[PARAM_POST_GAIN], 1.0f);  // 0.5 + 0.7, limited
    for (int row : {(int)PARAM_DELAY_MIX, (int)PARAM_DELAY_PAN})
        EXPECT_EQ(call.liveValue[row], PARAM_INFO[row].defaultValue) << row;
    EXPECT_EQ(GetValue(PARAM_POST_GAIN), 0.5);

    EventList next;  // the offset stays on top of later host values
    next.Add(ValueEvent(0, PARAM_POST_GAIN, 0.1));
    Process(8, &next);
    EXPECT_FLOAT_EQ(calls[1].liveValue[PARAM_POST_GAIN], 0.8f);
}

TEST_F(Driver, transport_sets_tempo_position_and_play_state) {
    Process(4, nullptr);
    EXPECT_EQ(calls[0].samplesPerBeat, 19200.0f);
    clap_event_transport_t transport = Transport(
        CLAP_TRANSPORT_HAS_TEMPO | CLAP_TRANSPORT_HAS_SECONDS_TIMELINE | CLAP_TRANSPORT_IS_PLAYING, 120.0, 2.0);
    Process(4, nullptr, &transport);
    EXPECT_EQ(calls[1].samplesPerBeat, 24000.0f);
    EXPECT_EQ(calls[1].songPosition, 96000.0);
    EXPECT_TRUE(calls[1].transportPlaying);

    // A transport event mid-block: a stopped transport without tempo keeps the tempo.
    EventList events;
    clap_event_transport_t stop = Transport(0, 0.0, 0.0);
    stop.header.time = 2;
    events.Add(stop);
    Process(4, &events, &transport);
    EXPECT_FALSE(calls[3].transportPlaying);
    EXPECT_EQ(calls[3].samplesPerBeat, 24000.0f);
    EXPECT_EQ(calls[3].songPosition, 96002.0);  // counts on from the frames rendered
}

TEST_F(Driver, editor_values_show_at_once_and_a_gesture_goes_ahead_of_its_value_in_parameter_order) {
    ParamSet(plugin, PARAM_REVERB_MIX, 0.33f);
    EXPECT_EQ(GetValue(PARAM_REVERB_MIX), (double)0.33f);
    EXPECT_EQ(flushRequests, 1);
    ParamSet(plugin, PARAM_REVERB_MIX, 7.0f);  // limited
    ParamSet(plugin, 231, 0.5f);                // ignored
    EXPECT_EQ(flushRequests, 2);
    Process(1, nullptr);
    EXPECT_EQ(calls[0].liveValue[PARAM_REVERB_MIX], 1.0f);

    EventList first;
    ParamGesture(plugin, PARAM_CHORUS_MIX, true);
    ParamSet(plugin, PARAM_CHORUS_MIX, 0.6f);
    ParamSet(plugin, PARAM_PHASER_MIX, 0.2f);  // a second parameter in the same pass
    Process(1, &first);
    // Parameter order, and for one parameter the gesture ahead of its value.
    ASSERT_EQ(first.events.size(), 3u);
    EXPECT_EQ(((const clap_event_param_value_t *)first.At(0))->param_id, (clap_id)PARAM_PHASER_MIX);
    EXPECT_EQ(first.At(1)->type, CLAP_EVENT_PARAM_GESTURE_BEGIN);
    EXPECT_EQ(((const clap_event_param_value_t *)first.At(2))->value, (double)0.6f);
}

TEST_F(Driver, host_values_reach_the_editor_on_drain_and_survive_a_reset) {
    EventList events;
    events.Add(ValueEvent(0, PARAM_COMP_RATIO, 0.9));
    Process(4, &events);
    EXPECT_EQ(plugin->context.editorValue[PARAM_COMP_RATIO], PARAM_INFO[PARAM_COMP_RATIO].defaultValue);
    EXPECT_TRUE(DrainHostValues(plugin));
    EXPECT_EQ(plugin->patch.values[PARAM_COMP_RATIO], 0.9f);
    EXPECT_FALSE(DrainHostValues(plugin));

    // Automation that the editor has not seen yet is kept through a reset.
    EventList more;
    more.Add(ValueEvent(0, PARAM_CHORUS_DEPTH, 0.9));
    Process(4, &more);
    clapPlugin->reset(clapPlugin);
    Process(4, nullptr);
    EXPECT_EQ(calls[2].liveValue[PARAM_CHORUS_DEPTH], 0.9f);
    EXPECT_TRUE(calls[2].engineReset);
}

TEST_F(Driver, reset_reloads_editor_values_and_clears_the_units_once_also_when_a_flush_takes_it) {
    plugin->context.editorValue[PARAM_DELAY_FEEDBACK] = 0.1f;  // as a whole-patch change writes
    clapPlugin->reset(clapPlugin);
    EXPECT_EQ(GetValue(PARAM_DELAY_FEEDBACK), (double)0.1f);
    EventList empty;
    params->flush(clapPlugin, &empty.in, &empty.out);
    Process(4, nullptr);
    Process(4, nullptr);
    EXPECT_TRUE(calls[0].engineReset);
    EXPECT_FALSE(calls[1].engineReset);
    EXPECT_EQ(calls[0].liveValue[PARAM_DELAY_FEEDBACK], 0.1f);

    // A flush takes editor changes, but no transports.
    EventList in, out;
    in.Add(Transport(CLAP_TRANSPORT_HAS_TEMPO, 60.0, 0.0));
    ParamSet(plugin, PARAM_EQ_HIGH_GAIN, 0.3f);
    float tempo = plugin->context.samplesPerBeat;
    params->flush(clapPlugin, &in.in, &out.out);
    EXPECT_EQ(plugin->context.samplesPerBeat, tempo);
    EXPECT_EQ(out.events.size(), 1u);
}

}  // namespace
