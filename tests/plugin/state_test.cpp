// The clap.state stream: saves, loads, repairs, refusals and curves; also
// orwen.randomize, which the saved state shows.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <limits>
#include <numeric>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id DELAY_FEEDBACK = 10, DELAY_MIX = 19;
const float NAN_VALUE = std::numeric_limits<float>::quiet_NaN(), INF = std::numeric_limits<float>::infinity();

// Gives at most `chunk` bytes per read and remembers how far the plug-in read.
struct InputStream {
    std::vector<uint8_t> bytes;
    size_t chunk, position = 0;
    clap_istream_t stream{this, Read};

    explicit InputStream(std::vector<uint8_t> b, size_t c = SIZE_MAX) : bytes(std::move(b)), chunk(c) {}
    static int64_t Read(const clap_istream_t *s, void *buffer, uint64_t size) {
        InputStream *self = (InputStream *)s->ctx;
        size_t n = std::min<size_t>({size_t(size), self->chunk, self->bytes.size() - self->position});
        if (n) memcpy(buffer, self->bytes.data() + self->position, n);
        self->position += n;
        return int64_t(n);
    }
};

// Takes at most `chunk` bytes per write. The write that would take the byte
// at `failAt` gets `failure` instead, once, or every time after if `forever`.
struct OutputStream {
    std::vector<uint8_t> bytes;
    size_t chunk = SIZE_MAX, failAt = SIZE_MAX;
    int64_t failure = -1;
    bool forever = false;
    int writes = 0;
    clap_ostream_t stream{this, Write};

    static int64_t Write(const clap_ostream_t *s, const void *buffer, uint64_t size) {
        OutputStream *self = (OutputStream *)s->ctx;
        self->writes++;
        size_t n = std::min<size_t>(size_t(size), self->chunk);
        if (self->failAt != SIZE_MAX && self->bytes.size() + n > self->failAt) {
            if (!self->forever) self->failAt = SIZE_MAX;
            return self->failure;
        }
        self->bytes.insert(self->bytes.end(), (const uint8_t *)buffer, (const uint8_t *)buffer + n);
        return int64_t(n);
    }
};

bool Load(const Instance &instance, InputStream &in) { return instance.state->load(instance.plugin, &in.stream); }
bool Save(const Instance &instance, OutputStream &out) { return instance.state->save(instance.plugin, &out.stream); }

void RunBlock(Instance &instance) {
    StereoBuffer input = Noise(64), output = MakeStereo(64);
    ProcessStereo(instance, input, output);
}

TEST(StateSave, the_stream_holds_length_magic_name_defaults_and_the_default_curves) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::vector<uint8_t> state = Saved(*instance);
    ASSERT_EQ(state.size(), 1724u + 1 + 3 * (6 + 3 * 12));
    EXPECT_EQ(GetLE<uint32_t>(state, 0), 1720u);
    EXPECT_EQ(GetLE<uint64_t>(state, 4), 0x95A130791400F612ull);
    EXPECT_EQ(GetLE<uint64_t>(state, 12), 13u);
    EXPECT_STREQ((const char *)&state[24], "init");
    EXPECT_EQ(state[1724], 1);
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(DefaultCurveImages()));
}

TEST(StateSave, hosts_taking_a_few_bytes_get_the_same_stream_and_a_write_that_makes_no_progress_ends_it) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), OddCurves())));
    OutputStream bytewise;
    bytewise.chunk = 1;
    EXPECT_TRUE(Save(*instance, bytewise));
    EXPECT_EQ(bytewise.bytes, StateWith(Ramp(), OddCurves()));
    OutputStream never;  // a write returning 0 forever: the save gives up
    never.failAt = 0, never.failure = 0, never.forever = true;
    EXPECT_FALSE(Save(*instance, never));
    EXPECT_LT(never.writes, 10);
    OutputStream inBlock;  // a failure inside the block is final
    inBlock.failAt = STATE_NAME_AT;
    EXPECT_FALSE(Save(*instance, inBlock));
    // Inside a curve it ends that curve, and the next one follows.
    const size_t POINT_1_Y = STATE_CURVES_AT + 1 + 6 + 12 + 4;
    OutputStream output;
    output.failAt = POINT_1_Y, output.failure = 0;
    EXPECT_TRUE(Save(*instance, output));
    std::vector<uint8_t> expected = Saved(*instance);
    expected.resize(POINT_1_Y);
    PutCurve(expected, OddCurves()[1]);
    PutCurve(expected, OddCurves()[2]);
    EXPECT_EQ(output.bytes, expected);
}

TEST(StateStream, a_round_trip_keeps_everything_and_a_load_repairs_values_name_and_record_index) {
    std::vector<uint8_t> stream = StateWith(Ramp(), OddCurves(), "Round trip");
    for (size_t i = STATE_RESERVED_AT; i < STATE_CURVES_AT; i++) stream[i] = uint8_t(i * 7 + 1);
    stream[STATE_RECORD_INDEX_AT + 2] = 0xAB, stream[STATE_RECORD_INDEX_AT + 3] = 0xCD;  // carried as loaded
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    FlushParams(*instance, {ParamValueEvent(0, DELAY_FEEDBACK, 0.125)});  // pending: must not outlive the load
    ASSERT_TRUE(LoadState(*instance, stream));
    EXPECT_EQ(Saved(*instance), stream);
    ExpectValues(*instance, Ramp());
    RunBlock(*instance);  // the audio side has taken them over, and agrees
    ExpectValues(*instance, Ramp());

    // Bad values are repaired, a 100-byte name keeps 99, the record index is cleared, version 0 saves as 13.
    std::vector<float> values = Ramp(), expected = Ramp();
    const float STORED[] = {1.5f, -3.0f, NAN_VALUE, -INF, 1e-45f};
    const float REPAIRED[] = {1.0f, 0.0f, 0.0f, 0.0f, 1e-45f};
    for (size_t i = 0; i < 5; i++) values[10 + i] = STORED[i], expected[10 + i] = REPAIRED[i];
    expected[30] = 0.0f;
    stream = StateWith(values);
    SetLE<uint32_t>(stream, STATE_VALUES_AT + 4 * 30, 0xFFC00001u);  // a NaN with payload and sign
    memset(&stream[STATE_NAME_AT], 'x', PATCH_NAME_BYTES);
    SetLE<uint16_t>(stream, STATE_RECORD_INDEX_AT, 3);
    SetLE(stream, STATE_VERSION_AT, uint64_t(0));
    ASSERT_TRUE(LoadState(*instance, stream));
    std::vector<uint8_t> state = Saved(*instance);
    ExpectValues(*instance, expected);
    EXPECT_EQ(NameOf(state), std::string(99, 'x'));
    EXPECT_EQ(GetLE<uint16_t>(state, STATE_RECORD_INDEX_AT), 0u);
    EXPECT_EQ(GetLE<uint64_t>(state, STATE_VERSION_AT), 13u);
}

TEST(StateStream, lengths_other_than_1720_overlay_the_default_block_and_excess_is_read_and_dropped) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    // Length 100: the head of the default block is overlaid.
    std::vector<uint8_t> head = DefaultBlock();
    head.resize(100);
    memcpy(&head[20], "short", 6);
    SetLE<uint64_t>(head, 8, 5);
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp())));
    InputStream shorter(Stream(100, head, CurveBlockBytes(OddCurves())));
    ASSERT_TRUE(Load(*instance, shorter));
    EXPECT_EQ(shorter.position, shorter.bytes.size());
    EXPECT_EQ(Saved(*instance), StateWith(DefaultValues(), OddCurves(), "short"));

    // Length 1,800: curves read at 1,724, the 80 bytes behind them dropped, the host's byte after unread.
    std::vector<uint8_t> stream = StateWith(Ramp(), OddCurves());
    SetLE<uint32_t>(stream, 0, 1800);
    for (int i = 0; i < 80; i++) stream.push_back(uint8_t(0xF0 + i));
    stream.push_back(0x55);
    InputStream input(stream, 1);
    ASSERT_TRUE(Load(*instance, input));
    EXPECT_EQ(input.position, stream.size() - 1);
    EXPECT_EQ(Saved(*instance), StateWith(Ramp(), OddCurves()));
    stream.resize(stream.size() - 41);  // a stream that ends before its excess does is no failure
    EXPECT_TRUE(LoadState(*instance, stream));
    EXPECT_EQ(Saved(*instance), StateWith(Ramp(), OddCurves()));
}

TEST(StateStream, a_refused_stream_gives_the_default_patch_everywhere) {
    std::vector<uint8_t> wrongMagic = StateWith(Ramp(), OddCurves()), version14 = wrongMagic, noCurves = wrongMagic,
                         shortBlock = wrongMagic;
    SetLE(wrongMagic, STATE_MAGIC_AT, SYNTHPATCH_MAGIC);
    SetLE(version14, STATE_VERSION_AT, uint64_t(14));
    noCurves.resize(STATE_CURVES_AT);
    shortBlock.resize(500);
    const struct { const char *what; std::vector<uint8_t> stream; } cases[] = {
        {"wrong magic", wrongMagic}, {"version 14", version14}, {"no curve block", noCurves},
        {"block cut short", shortBlock}, {"half a length", {0xB8, 0x06}}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), OddCurves())));
        EXPECT_FALSE(LoadState(*instance, c.stream));
        EXPECT_EQ(Saved(*instance), DefaultState());
        RunBlock(*instance);
        ExpectValues(*instance, DefaultValues());
    }
}

// The curve block after the default block, loaded and saved again.
std::vector<uint8_t> CurvesThrough(Instance &instance, const std::vector<uint8_t> &block) {
    EXPECT_TRUE(LoadState(instance, Stream(STATE_BLOCK_SIZE, DefaultBlock(), block)));
    return CurvesOf(Saved(instance));
}

TEST(StateCurves, the_older_form_unknown_headers_bad_points_and_counts_and_short_blocks_keep_what_was_read) {
    std::vector<CurveImage> curves = OddCurves();
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    // The older form: the count first, no loop start (loads with 0).
    std::vector<uint8_t> block = {1};
    PutLE<uint16_t>(block, uint16_t(curves[0].points.size()));
    for (const CurvePointImage &p : curves[0].points) PutLE(block, p.x), PutLE(block, p.y), PutLE(block, p.tension);
    PutCurve(block, curves[1]);
    PutCurve(block, curves[2]);
    CurveImage older = curves[0];
    older.loopStart = 0;
    EXPECT_EQ(CurvesThrough(*instance, block), CurveBlockBytes({older, curves[1], curves[2]}));
    // An unknown header leaves its curve empty and the next header follows.
    block = {1};
    PutLE<uint16_t>(block, 0xFFFE);
    PutCurve(block, curves[1]);
    PutCurve(block, curves[2]);
    EXPECT_EQ(CurvesThrough(*instance, block), CurveBlockBytes({CurveImage(), curves[1], curves[2]}));
    // A point out of bounds (the second of five) ends its curve; the rest stay zero.
    CurveImage kept = curves[0];
    for (size_t p = 1; p < kept.points.size(); p++) kept.points[p] = {0, 0, 0};
    CurveImage sent = curves[0];
    sent.points[1] = {0.5f, 1.0001f, 0};
    block = {1};
    PutCurve(block, sent);
    block.resize(block.size() - 3 * 12);  // the next curve's header follows the bad point directly
    PutCurve(block, curves[1]);
    PutCurve(block, curves[2]);
    EXPECT_EQ(CurvesThrough(*instance, block), CurveBlockBytes({kept, curves[1], curves[2]}));
    // A count past the largest keeps its header and no points; such a save loads back to itself.
    block = {1};
    PutLE<uint16_t>(block, 0xFFFF), PutLE<uint16_t>(block, 9), PutLE<uint16_t>(block, 20001);
    PutCurve(block, curves[1]);
    PutCurve(block, curves[2]);
    EXPECT_EQ(CurvesThrough(*instance, block), block);
    ASSERT_TRUE(LoadState(*instance, Saved(*instance)));
    EXPECT_EQ(CurvesOf(Saved(*instance)), block);
    // A block cut short inside curve 0's third point keeps what was read.
    block = CurveBlockBytes(curves);
    block.resize(1 + 6 + 2 * 12 + 8);
    kept = curves[0];
    for (size_t p = 2; p < kept.points.size(); p++) kept.points[p] = {0, 0, 0};
    EXPECT_EQ(CurvesThrough(*instance, block), CurveBlockBytes({kept, CurveImage(), CurveImage()}));
    CurveImage large;  // the largest curve has 20,000 points
    for (int i = 0; i < 20000; i++) large.points.push_back({float(i) / 19999, float(i % 7) / 6, 0});
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), {large, curves[1], large})));
    EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes({large, curves[1], large}));
}

// A state load leaves the units running; a patch load is a new sound and starts them afresh.
TEST(StateStream, a_state_load_keeps_the_delay_tail_and_a_patch_load_clears_it) {
    TemporaryFolder folder;
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    std::vector<HostEvent> events = ChainEvents("Polyrhythmic Delay");
    events.push_back(ParamValueEvent(0, DELAY_MIX, 1.0));
    FlushParams(*instance, events);
    std::vector<uint8_t> state = Saved(*instance);
    std::string patch = WriteTo(folder, "delay.synthpatch", SynthPatchFromState(state, "delay"));
    auto tailAfter = [&](auto load) {
        StereoBuffer noise = Noise(48000), out = MakeStereo(48000);
        ProcessStereo(*instance, noise, out);
        EXPECT_TRUE(load());
        StereoBuffer silence = MakeStereo(48000), tail = MakeStereo(48000);
        ProcessStereo(*instance, silence, tail);
        // A reset keeps the filters' memories, so a faint click still circulates.
        return std::inner_product(tail.left.begin(), tail.left.end(), tail.left.begin(), 0.0) +
               std::inner_product(tail.right.begin(), tail.right.end(), tail.right.begin(), 0.0);
    };
    double kept = tailAfter([&] { return LoadState(*instance, state); });
    double cleared = tailAfter([&] { return LoadPresetFile(*instance, patch); });
    EXPECT_GT(kept, 100.0);
    EXPECT_LT(cleared, kept * 1e-3);
}

TEST(StateRandomize, changes_every_value_the_host_may_change_names_the_patch_random_and_tells_the_host) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), OddCurves(), "a much longer name")));
    FlushParams(*instance, {ParamValueEvent(0, 0, 0.25)});  // replaced, never brought back
    ASSERT_TRUE(Randomize(*instance));
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(NameOf(state), "random");
    EXPECT_NE(GetLE<float>(state, STATE_VALUES_AT), 0.25f);
    EXPECT_EQ(std::count(&state[STATE_NAME_AT], &state[STATE_NAME_AT + PATCH_NAME_BYTES], 0), PATCH_NAME_BYTES - 6);
    int writable = 0;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) {
        bool readOnly = GetParamInfo(*instance, i)->flags & CLAP_PARAM_IS_READONLY;
        writable += !readOnly;
        EXPECT_EQ(float(*GetParamValue(*instance, i)) == Ramp()[i], readOnly) << i;
    }
    int valueEvents = 0;  // the host hears each new value once
    for (const HostEvent &e : FlushParams(*instance)) valueEvents += e.header.type == CLAP_EVENT_PARAM_VALUE;
    EXPECT_EQ(valueEvents, writable);
    ASSERT_TRUE(Randomize(*instance));  // two randomisations differ
    EXPECT_NE(Saved(*instance), state);
}

}  // namespace
