// The clap.state stream: the bytes a save writes, round trips of values,
// names and curves, the repairs a load makes, streams of odd lengths and
// odd hosts, and what a failed load leaves behind. Also orwen.randomize,
// which the saved state shows.
#include <gtest/gtest.h>
#include <math.h>
#include <stdint.h>
#include <string.h>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>
#include "tools/host/host.h"

namespace {

const clap_id POST_GAIN = 0, DELAY_FEEDBACK = 10, DELAY_MIX = 19, LAST_PARAM = 230;
const uint32_t PARAM_TOTAL = 231;
const uint64_t VERSION_14 = 14;
const float NAN_VALUE = std::numeric_limits<float>::quiet_NaN();
const float INF = std::numeric_limits<float>::infinity();

// ---- host streams with the habits of real hosts ----

// Gives at most `chunk` bytes per read and remembers how far the plug-in read.
struct InputStream {
    std::vector<uint8_t> bytes;
    size_t chunk = SIZE_MAX;
    size_t position = 0;
    clap_istream_t stream{this, Read};

    explicit InputStream(std::vector<uint8_t> b, size_t c = SIZE_MAX)
        : bytes(std::move(b)), chunk(c) {}
    static int64_t Read(const clap_istream_t *s, void *buffer, uint64_t size) {
        InputStream *self = (InputStream *)s->ctx;
        size_t n =
            std::min<size_t>({size_t(size), self->chunk, self->bytes.size() - self->position});
        if (n) memcpy(buffer, self->bytes.data() + self->position, n);
        self->position += n;
        return int64_t(n);
    }
};

// Takes at most `chunk` bytes per write. The write that would take the byte
// at `failAt` gets `failure` instead, once, or every time after if `forever`.
struct OutputStream {
    std::vector<uint8_t> bytes;
    size_t chunk = SIZE_MAX;
    size_t failAt = SIZE_MAX;
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
        const uint8_t *p = (const uint8_t *)buffer;
        self->bytes.insert(self->bytes.end(), p, p + n);
        return int64_t(n);
    }
};

bool Load(const Instance &instance, InputStream &input) {
    return instance.state->load(instance.plugin, &input.stream);
}

bool Save(const Instance &instance, OutputStream &output) {
    return instance.state->save(instance.plugin, &output.stream);
}

std::vector<uint8_t> Saved(const Instance &instance) {
    std::optional<std::vector<uint8_t>> state = SaveState(instance);
    EXPECT_TRUE(state.has_value());
    return state.value_or(std::vector<uint8_t>());
}

// What a new instance saves: the default block and the default curves.
const std::vector<uint8_t> &DefaultState() {
    static const std::vector<uint8_t> state = Saved(*CreateInstance(TestPlugin()));
    return state;
}

std::vector<uint8_t> DefaultBlock() {
    return std::vector<uint8_t>(DefaultState().begin() + 4,
                                DefaultState().begin() + STATE_CURVES_AT);
}

// A stream: the length field, the block's bytes, then the rest.
std::vector<uint8_t> Stream(uint32_t length, const std::vector<uint8_t> &block,
                            const std::vector<uint8_t> &rest) {
    std::vector<uint8_t> bytes;
    PutLE(bytes, length);
    bytes.insert(bytes.end(), block.begin(), block.end());
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

// The default stream with other values and curves.
std::vector<uint8_t> StateWith(const std::vector<float> &values,
                               const std::vector<CurveImage> &curves = DefaultCurveImages()) {
    std::vector<uint8_t> block = DefaultBlock();
    for (size_t i = 0; i < values.size(); i++) SetLE(block, STATE_VALUES_AT - 4 + 4 * i, values[i]);
    return Stream(STATE_BLOCK_SIZE, block, CurveBlockBytes(curves));
}

std::vector<float> Ramp() {
    std::vector<float> values;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) values.push_back(float(i) / float(PARAM_TOTAL - 1));
    return values;
}

std::vector<float> Defaults() {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::vector<float> values;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++)
        values.push_back(float(GetParamInfo(*instance, i)->default_value));
    return values;
}

// Three curves unlike the defaults: a loop, the fewest points, and the bounds.
std::vector<CurveImage> OddCurves() {
    CurveImage looped, shortest, bounds;
    looped.loopStart = 2;
    looped.points = {
        {0, 0.25f, 1}, {0.2f, 0.9f, -3}, {0.5f, 0.1f, 0}, {0.8f, 1, 7.5f}, {1, 0.5f, 0}};
    shortest.points = {{0, 1, 0}, {1, 0, 0}};
    bounds.loopStart = 1;
    bounds.points = {{0, 0, -20}, {1, 1, 20}, {0.5f, 0.5f, -0.0f}};
    return {looped, shortest, bounds};
}

// The default block with each modulator driving Post Gain at full amount.
std::vector<uint8_t> ModulatedBlock() {
    const clap_id DESTINATION = 199, AMOUNT = 208;
    const float CODED_POST_GAIN = 1.0f / 65536;  // parameter 0, coded as (0 + 1) / 65536
    std::vector<uint8_t> block = DefaultBlock();
    for (int m = 0; m < 3; m++) {
        SetLE(block, STATE_VALUES_AT - 4 + 4 * (DESTINATION + 3 * m), CODED_POST_GAIN);
        SetLE(block, STATE_VALUES_AT - 4 + 4 * (AMOUNT + 3 * m), 1.0f);
    }
    return block;
}

std::vector<uint8_t> CurvesOf(const std::vector<uint8_t> &state) {
    return std::vector<uint8_t>(state.begin() + STATE_CURVES_AT, state.end());
}

std::string NameOf(const std::vector<uint8_t> &state) {
    return std::string((const char *)&state[STATE_NAME_AT],
                       strnlen((const char *)&state[STATE_NAME_AT], PATCH_NAME_BYTES));
}

// Every get_value, and the values of a save, hold exactly these.
void ExpectValues(const Instance &instance, const std::vector<float> &expected) {
    std::vector<uint8_t> state = Saved(instance);
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) {
        EXPECT_EQ(GetParamValue(instance, i), double(expected[i])) << "get_value " << i;
        EXPECT_EQ(GetLE<float>(state, STATE_VALUES_AT + 4 * i), expected[i]) << "saved " << i;
    }
}

void RunBlock(Instance &instance, uint32_t frames = 64) {
    StereoBuffer input = Noise(frames), output = MakeStereo(frames);
    ProcessStereo(instance, input, output);
}

}  // namespace

// ---- what a save writes ----

TEST(StateSave, stream_holds_length_magic_name_defaults_and_the_default_curves) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    std::vector<uint8_t> state = Saved(*instance);
    ASSERT_EQ(state.size(), 1724u + 1 + 3 * (6 + 3 * 12));
    EXPECT_EQ(GetLE<uint32_t>(state, 0), 1720u);
    EXPECT_EQ(GetLE<uint64_t>(state, 4), 0x95A130791400F612ull);
    EXPECT_EQ(GetLE<uint64_t>(state, 12), 13u);
    EXPECT_EQ(GetLE<uint16_t>(state, 20), 0u);
    EXPECT_STREQ((const char *)&state[24], "init");
    for (size_t i = 24 + 5; i < 124; i++) ASSERT_EQ(state[i], 0) << i;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++)
        EXPECT_EQ(GetLE<float>(state, 124 + 4 * i),
                  float(GetParamInfo(*instance, i)->default_value))
            << i;
    for (size_t i = 1048; i < 1724; i++) ASSERT_EQ(state[i], 0) << i;
    EXPECT_EQ(state[1724], 1);
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(DefaultCurveImages()));
}

TEST(StateSave, host_automation_is_in_the_next_save) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    FlushParams(*instance,
                {ParamValueEvent(0, DELAY_MIX, 0.75), ParamValueEvent(0, LAST_PARAM, 1.0)});
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(GetLE<float>(state, STATE_VALUES_AT + 4 * DELAY_MIX), 0.75f);
    EXPECT_EQ(GetLE<float>(state, STATE_VALUES_AT + 4 * LAST_PARAM), 1.0f);
}

TEST(StateSave, hosts_that_take_a_few_bytes_per_write_get_the_same_stream) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), OddCurves())));
    for (size_t chunk : {size_t(1), size_t(3), size_t(1000)}) {
        OutputStream output;
        output.chunk = chunk;
        EXPECT_TRUE(Save(*instance, output)) << chunk;
        EXPECT_EQ(output.bytes, StateWith(Ramp(), OddCurves())) << chunk;
    }
}

TEST(StateSave, a_write_that_makes_no_progress_ends_the_save_with_false) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    for (int64_t failure : {int64_t(0), int64_t(-1)}) {
        SCOPED_TRACE(failure);
        OutputStream never;
        never.failAt = 0;
        never.failure = failure;
        never.forever = true;
        EXPECT_FALSE(Save(*instance, never));
        EXPECT_LT(never.writes, 10);  // gave up, rather than asking again and again
        // Inside the block, and on the curves' present byte, a failure is final too.
        for (size_t at : {size_t(2), size_t(STATE_NAME_AT), size_t(STATE_CURVES_AT)}) {
            OutputStream once;
            once.failAt = at;
            once.failure = failure;
            EXPECT_FALSE(Save(*instance, once)) << at;
        }
    }
}

TEST(StateSave, a_failed_write_inside_a_curve_ends_that_curve_and_the_next_follows) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Defaults(), OddCurves())));
    std::vector<uint8_t> whole = Saved(*instance);
    // Curve 0: header (6 bytes), then point 1's y is refused.
    const size_t POINT_1_Y = STATE_CURVES_AT + 1 + 6 + 12 + 4;
    for (int64_t failure : {int64_t(0), int64_t(-1)}) {
        SCOPED_TRACE(failure);
        OutputStream output;
        output.failAt = POINT_1_Y;
        output.failure = failure;
        EXPECT_TRUE(Save(*instance, output));
        std::vector<uint8_t> expected(whole.begin(), whole.begin() + POINT_1_Y);
        std::vector<CurveImage> curves = OddCurves();
        PutCurve(expected, curves[1]);
        PutCurve(expected, curves[2]);
        EXPECT_EQ(output.bytes, expected);
    }
}

// ---- round trips and repairs ----

TEST(StateStream, values_name_and_curves_survive_a_round_trip) {
    std::vector<uint8_t> stream = StateWith(Ramp(), OddCurves());
    const char NAME[] = "Round trip";
    memset(&stream[STATE_NAME_AT], 0, PATCH_NAME_BYTES);
    memcpy(&stream[STATE_NAME_AT], NAME, sizeof NAME);
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, stream));
    EXPECT_EQ(Saved(*instance), stream);
    ExpectValues(*instance, Ramp());
    RunBlock(*instance);  // the audio side has taken them over, and agrees
    ExpectValues(*instance, Ramp());

    // A second instance given the first's save ends up the same.
    std::unique_ptr<Instance> other = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*other, Saved(*instance)));
    EXPECT_EQ(Saved(*other), stream);
}

TEST(StateStream, values_out_of_range_or_not_numbers_are_repaired) {
    std::vector<float> values = Ramp(), expected = Ramp();
    const float STORED[] = {1.5f, -3.0f, NAN_VALUE, INF, -INF, -0.0f, 1e-45f, 3e38f};
    const float REPAIRED[] = {1.0f, 0.0f, 0.0f, 0.0f, 0.0f, -0.0f, 1e-45f, 1.0f};
    for (size_t i = 0; i < sizeof STORED / sizeof STORED[0]; i++) {
        values[10 + i] = STORED[i];
        expected[10 + i] = REPAIRED[i];
    }
    std::vector<uint8_t> stream = StateWith(values);
    SetLE<uint32_t>(stream, STATE_VALUES_AT + 4 * 30, 0xFFC00001u);  // a NaN with payload and sign
    expected[30] = 0.0f;
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, stream));
    ExpectValues(*instance, expected);
}

TEST(StateStream, a_name_of_100_bytes_keeps_99) {
    std::vector<uint8_t> stream = DefaultState();
    memset(&stream[STATE_NAME_AT], 'x', PATCH_NAME_BYTES);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, stream));
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(NameOf(state), std::string(99, 'x'));
    EXPECT_EQ(state[STATE_NAME_AT + 99], 0);
    EXPECT_EQ(GetLE<float>(state, STATE_VALUES_AT), GetLE<float>(stream, STATE_VALUES_AT));
}

TEST(StateStream, reserved_bytes_are_carried_to_the_next_save) {
    std::vector<uint8_t> stream = DefaultState();
    for (size_t i = STATE_RESERVED_AT; i < STATE_CURVES_AT; i++) stream[i] = uint8_t(i * 7 + 1);
    stream[STATE_RECORD_INDEX_AT + 2] = 0xAB;  // the 2 bytes behind the record index
    stream[STATE_RECORD_INDEX_AT + 3] = 0xCD;
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, stream));
    EXPECT_EQ(Saved(*instance), stream);
    // Values changed meanwhile don't disturb them.
    FlushParams(*instance, {ParamValueEvent(0, POST_GAIN, 0.25)});
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_TRUE(std::equal(stream.begin() + STATE_RESERVED_AT, stream.end(),
                           state.begin() + STATE_RESERVED_AT));
}

TEST(StateStream, a_record_index_is_cleared_and_the_record_read_in_its_place) {
    std::vector<uint8_t> stream = StateWith(Ramp());
    SetLE<uint16_t>(stream, STATE_RECORD_INDEX_AT, 3);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, stream));
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(GetLE<uint16_t>(state, STATE_RECORD_INDEX_AT), 0u);
    ExpectValues(*instance, Ramp());
}

TEST(StateStream, any_version_up_to_13_loads_and_is_saved_as_13) {
    for (uint64_t version : {uint64_t(0), uint64_t(7), uint64_t(13)}) {
        std::vector<uint8_t> stream = StateWith(Ramp());
        SetLE(stream, STATE_VERSION_AT, version);
        std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*instance, stream)) << version;
        EXPECT_EQ(GetLE<uint64_t>(Saved(*instance), STATE_VERSION_AT), 13u);
        ExpectValues(*instance, Ramp());
    }
}

// ---- lengths other than 1,720 ----

TEST(StateStream, length_0_gives_the_default_patch_with_the_streams_curves) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp())));
    InputStream input(Stream(0, {}, CurveBlockBytes(OddCurves())));
    ASSERT_TRUE(Load(*instance, input));
    EXPECT_EQ(input.position, input.bytes.size());
    EXPECT_EQ(Saved(*instance),
              Stream(STATE_BLOCK_SIZE, DefaultBlock(), CurveBlockBytes(OddCurves())));
    ExpectValues(*instance, Defaults());
}

TEST(StateStream, length_100_overlays_the_head_of_the_default_block) {
    std::vector<uint8_t> head = DefaultBlock();
    head.resize(100);
    memcpy(&head[20], "short", 6);
    SetLE<uint64_t>(head, 8, 5);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp())));
    InputStream input(Stream(100, head, CurveBlockBytes(OddCurves())));
    ASSERT_TRUE(Load(*instance, input));
    EXPECT_EQ(input.position, input.bytes.size());
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(NameOf(state), "short");
    EXPECT_EQ(GetLE<uint64_t>(state, STATE_VERSION_AT), 13u);
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(OddCurves()));
    ExpectValues(*instance, Defaults());
}

TEST(StateStream, length_1800_reads_the_curves_at_1724_and_drops_80_bytes_behind_them) {
    std::vector<uint8_t> excess(80);
    for (size_t i = 0; i < excess.size(); i++) excess[i] = uint8_t(0xF0 + i);
    std::vector<uint8_t> curves = CurveBlockBytes(OddCurves());
    curves.insert(curves.end(), excess.begin(), excess.end());
    std::vector<uint8_t> stream = StateWith(Ramp());
    stream.resize(STATE_CURVES_AT);
    SetLE<uint32_t>(stream, 0, 1800);
    stream.insert(stream.end(), curves.begin(), curves.end());
    // A host may keep more behind the state: that stays unread.
    stream.push_back(0x55);

    for (size_t chunk : {SIZE_MAX, size_t(1)}) {
        std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
        InputStream input(stream, chunk);
        ASSERT_TRUE(Load(*instance, input)) << chunk;
        EXPECT_EQ(input.position, stream.size() - 1) << chunk;
        EXPECT_EQ(Saved(*instance), StateWith(Ramp(), OddCurves())) << chunk;
    }
    // A stream that ends before its excess does is no failure.
    stream.resize(stream.size() - 41);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_TRUE(LoadState(*instance, stream));
    EXPECT_EQ(Saved(*instance), StateWith(Ramp(), OddCurves()));
}

TEST(StateStream, a_host_that_gives_one_byte_per_read_loads_the_same) {
    std::vector<uint8_t> stream = StateWith(Ramp(), OddCurves());
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    InputStream input(stream, 1);
    ASSERT_TRUE(Load(*instance, input));
    EXPECT_EQ(Saved(*instance), stream);
}

// ---- streams that are refused ----

TEST(StateStream, a_bad_stream_gives_the_default_patch_everywhere) {
    std::vector<uint8_t> wrongMagic = StateWith(Ramp(), OddCurves());
    SetLE(wrongMagic, STATE_MAGIC_AT, SYNTHPATCH_MAGIC);
    std::vector<uint8_t> version14 = StateWith(Ramp(), OddCurves());
    SetLE(version14, STATE_VERSION_AT, VERSION_14);
    std::vector<uint8_t> noCurves = StateWith(Ramp(), OddCurves());
    noCurves.resize(STATE_CURVES_AT);
    std::vector<uint8_t> notPresent = StateWith(Ramp(), OddCurves());
    notPresent[STATE_CURVES_AT] = 2;
    std::vector<uint8_t> shortBlock = StateWith(Ramp());
    shortBlock.resize(500);
    struct Case {
        const char *what;
        std::vector<uint8_t> stream;
    };
    const Case CASES[] = {{"wrong magic", wrongMagic},
                          {"version 14", version14},
                          {"no curve block", noCurves},
                          {"present byte 2", notPresent},
                          {"block cut short", shortBlock},
                          {"half a length", {0xB8, 0x06}},
                          {"empty", {}}};
    for (const Case &c : CASES) {
        SCOPED_TRACE(c.what);
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), OddCurves())));
        RunBlock(*instance);
        EXPECT_FALSE(LoadState(*instance, c.stream));
        EXPECT_EQ(Saved(*instance), DefaultState());
        ExpectValues(*instance, Defaults());
        RunBlock(*instance);
        ExpectValues(*instance, Defaults());
    }
}

// ---- curves ----

TEST(StateCurves, the_older_form_loads_with_loop_start_0) {
    std::vector<CurveImage> curves = OddCurves();
    std::vector<uint8_t> block = {1};
    PutLE<uint16_t>(block, uint16_t(curves[0].points.size()));  // the count first, no loop start
    for (const CurvePointImage &p : curves[0].points) {
        PutLE(block, p.x);
        PutLE(block, p.y);
        PutLE(block, p.tension);
    }
    PutCurve(block, curves[1]);
    PutCurve(block, curves[2]);
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, Stream(STATE_BLOCK_SIZE, DefaultBlock(), block)));
    curves[0].loopStart = 0;
    EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes(curves));
}

TEST(StateCurves, an_unknown_header_leaves_its_curve_empty_and_the_next_header_follows) {
    std::vector<CurveImage> curves = OddCurves();
    for (uint16_t header : {uint16_t(0xFF00), uint16_t(0xFFFE)}) {
        std::vector<uint8_t> block = {1};
        PutLE<uint16_t>(block, header);
        PutCurve(block, curves[1]);
        PutCurve(block, curves[2]);
        std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*instance, Stream(STATE_BLOCK_SIZE, DefaultBlock(), block)));
        std::vector<CurveImage> expected = {CurveImage(), curves[1], curves[2]};
        EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes(expected)) << header;
    }
}

TEST(StateCurves, a_point_out_of_bounds_ends_its_curve_and_the_rest_stay_zero) {
    std::vector<CurveImage> curves = OddCurves();
    const CurvePointImage BAD[] = {{0.5f, 0.5f, 21},     {0.5f, 0.5f, -20.001f},
                                   {NAN_VALUE, 0.5f, 0}, {0.5f, 1.0001f, 0},
                                   {-1e-30f, 0.5f, 0},   {0.5f, 0.5f, NAN_VALUE}};
    for (const CurvePointImage &bad : BAD) {
        SCOPED_TRACE(testing::Message() << bad.x << " " << bad.y << " " << bad.tension);
        // The bad point is the second of five; the next curve's header follows it directly.
        CurveImage sent = curves[0];
        sent.points[1] = bad;
        std::vector<uint8_t> block = {1};
        PutCurve(block, sent);
        block.resize(block.size() - 3 * 12);
        PutCurve(block, curves[1]);
        PutCurve(block, curves[2]);
        std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*instance, Stream(STATE_BLOCK_SIZE, DefaultBlock(), block)));
        CurveImage kept = curves[0];
        for (size_t p = 1; p < kept.points.size(); p++) kept.points[p] = {0, 0, 0};
        EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes({kept, curves[1], curves[2]}));
    }
}

TEST(StateCurves, a_count_out_of_range_keeps_its_header_and_no_points) {
    std::vector<CurveImage> curves = OddCurves();
    for (uint16_t count : {uint16_t(0), uint16_t(1), uint16_t(20001), uint16_t(0xFEFF)}) {
        std::vector<uint8_t> block = {1};
        PutLE<uint16_t>(block, 0xFFFF);
        PutLE<uint16_t>(block, 9);
        PutLE<uint16_t>(block, count);
        PutCurve(block, curves[1]);
        PutCurve(block, curves[2]);
        std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
        ASSERT_TRUE(LoadState(*instance, Stream(STATE_BLOCK_SIZE, ModulatedBlock(), block)))
            << count;
        std::vector<uint8_t> saved = CurvesOf(Saved(*instance));
        EXPECT_EQ(saved, block) << count;
        // Such a save loads back to itself, and the modulators can run over it.
        ASSERT_TRUE(LoadState(*instance, Saved(*instance)));
        EXPECT_EQ(CurvesOf(Saved(*instance)), block) << count;
        StereoBuffer input = Noise(4096), output = MakeStereo(4096);
        ProcessStereo(*instance, input, output);
        for (uint32_t i = 0; i < output.frames(); i++)
            ASSERT_TRUE(std::isfinite(output.left[i])) << i;
    }
}

TEST(StateCurves, the_largest_curve_of_20000_points_loads) {
    CurveImage large;
    for (int i = 0; i < 20000; i++) large.points.push_back({float(i) / 19999, float(i % 7) / 6, 0});
    std::vector<CurveImage> curves = {large, OddCurves()[1], large};
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), curves)));
    EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes(curves));
}

TEST(StateCurves, a_curve_block_cut_short_keeps_what_was_read) {
    std::vector<CurveImage> curves = OddCurves();
    std::vector<uint8_t> block = CurveBlockBytes(curves);
    block.resize(1 + 6 + 2 * 12 + 8);  // curve 0 stops inside its third point
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, Stream(STATE_BLOCK_SIZE, DefaultBlock(), block)));
    CurveImage kept = curves[0];
    for (size_t p = 2; p < kept.points.size(); p++) kept.points[p] = {0, 0, 0};
    EXPECT_EQ(CurvesOf(Saved(*instance)), CurveBlockBytes({kept, CurveImage(), CurveImage()}));
}

// ---- the audio side after a load ----

TEST(StateStream, loaded_values_reach_the_audio_at_the_next_block) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    RunBlock(*instance);
    std::vector<float> values = Defaults();
    values[POST_GAIN] = 0.0f;  // -20 dB
    ASSERT_TRUE(LoadState(*instance, StateWith(values)));
    StereoBuffer input = Noise(64), output = MakeStereo(64);
    ProcessStereo(*instance, input, output);
    for (uint32_t i = 0; i < 64; i++) ASSERT_NEAR(output.left[i], input.left[i] * 0.1f, 1e-6f) << i;
}

TEST(StateStream, pending_host_values_do_not_outlive_a_load) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    FlushParams(*instance, {ParamValueEvent(0, DELAY_FEEDBACK, 0.125)});
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp())));
    ExpectValues(*instance, Ramp());
}

// A state load hands the values over and leaves the units running; a patch
// load is a new sound and starts them afresh.
TEST(StateStream, a_state_load_keeps_the_delay_tail_and_a_patch_load_clears_it) {
    TemporaryFolder folder;
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    std::vector<HostEvent> events;
    for (const ParamSetting &s : ChainSettings("Polyrhythmic Delay"))
        events.push_back(ParamValueEvent(0, s.id, s.value));
    events.push_back(ParamValueEvent(0, DELAY_MIX, 1.0));
    FlushParams(*instance, events);
    std::vector<uint8_t> state = Saved(*instance);
    std::string patch = folder.File("delay.synthpatch");
    WriteFileBytes(patch, SynthPatchFromState(state, "delay"));

    auto tailAfter = [&](const std::function<bool()> &load) -> double {
        StereoBuffer noise = Noise(48000), out = MakeStereo(48000);
        ProcessStereo(*instance, noise, out);
        EXPECT_TRUE(load());
        StereoBuffer silence = MakeStereo(48000), tail = MakeStereo(48000);
        ProcessStereo(*instance, silence, tail);
        // The energy of the echoes. A reset empties the delay lines but keeps
        // the filters' memories, so a click of them still goes round the loop.
        double energy = 0;
        for (uint32_t i = 0; i < tail.frames(); i++)
            energy += double(tail.left[i]) * tail.left[i] + double(tail.right[i]) * tail.right[i];
        return energy;
    };
    double kept = tailAfter([&] { return LoadState(*instance, state); });
    double cleared = tailAfter([&] { return LoadPresetFile(*instance, patch); });
    EXPECT_GT(kept, 100.0);
    EXPECT_LT(cleared, kept * 1e-3);
}

// ---- orwen.randomize ----

TEST(StateRandomize, changes_every_value_the_host_may_change_and_names_the_patch_random) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(LoadState(*instance, StateWith(Ramp(), OddCurves())));
    ASSERT_TRUE(Randomize(*instance));
    std::vector<uint8_t> state = Saved(*instance);
    EXPECT_EQ(NameOf(state), "random");
    EXPECT_EQ(CurvesOf(state), CurveBlockBytes(OddCurves()));
    std::vector<float> now;
    int writable = 0;
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) {
        float value = float(*GetParamValue(*instance, i));
        now.push_back(value);
        EXPECT_EQ(GetLE<float>(state, STATE_VALUES_AT + 4 * i), value) << i;
        if (GetParamInfo(*instance, i)->flags & CLAP_PARAM_IS_READONLY) {
            EXPECT_EQ(value, Ramp()[i]) << "read-only " << i;
        } else {
            writable++;
            EXPECT_NE(value, Ramp()[i]) << i;
            EXPECT_TRUE(value >= 0.0f && value < 1.0f) << i;
        }
    }
    // The audio side learns each new value once, and tells the host.
    std::vector<HostEvent> pushed = FlushParams(*instance);
    int valueEvents = 0;
    for (const HostEvent &e : pushed) {
        if (e.header.type != CLAP_EVENT_PARAM_VALUE) continue;
        valueEvents++;
        EXPECT_EQ(e.value.value, double(now[e.value.param_id])) << e.value.param_id;
        EXPECT_FALSE(GetParamInfo(*instance, e.value.param_id)->flags & CLAP_PARAM_IS_READONLY);
    }
    EXPECT_EQ(valueEvents, writable);
    EXPECT_GT(instance->host->calls.requestFlush, 0);
    for (uint32_t i = 0; i < PARAM_TOTAL; i++)
        EXPECT_EQ(float(*GetParamValue(*instance, i)), now[i]) << i;
}

TEST(StateRandomize, two_randomisations_differ) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    ASSERT_TRUE(Randomize(*instance));
    std::vector<uint8_t> first = Saved(*instance);
    ASSERT_TRUE(Randomize(*instance));
    EXPECT_NE(Saved(*instance), first);
}
