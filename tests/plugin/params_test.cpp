// The parameters through clap.params: their number, info, flags and texts,
// and how host values, modulation and flushes reach get_value.
#include <gtest/gtest.h>
#include <math.h>
#include <limits>
#include <string>
#include <vector>
#include "tools/host/host.h"

namespace {

const clap_id POST_GAIN = 0;
const clap_id UNUSED_SWITCH = 1;
const clap_id DELAY_ENABLE = 4;
const clap_id DELAY_FEEDBACK = 10;
const clap_id DELAY_TIME = 22;
const clap_id COMPRESSOR_THRESHOLD = 190;
const clap_id MODULATOR_DESTINATION = 199;
const clap_id MODULATOR_RATE = 217;
const clap_id EFFECT_SLOT = 223;
const clap_id LAST_PARAM = 230;
const uint32_t PARAM_TOTAL = 231;

const double INF = std::numeric_limits<double>::infinity();
const double NAN_VALUE = std::numeric_limits<double>::quiet_NaN();

// Processes one short block with these events and returns what the plug-in pushed.
std::vector<HostEvent> RunBlock(Instance &instance, std::vector<HostEvent> events,
                                uint32_t frames = 64) {
    StereoBuffer input = Noise(frames), output = MakeStereo(frames);
    ProcessResult result = ProcessStereo(instance, input, output, std::move(events));
    EXPECT_EQ(result.status, CLAP_PROCESS_CONTINUE);
    return result.output;
}

}  // namespace

// ---- the table as the host sees it ----

TEST(Params, count_is_231) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_EQ(ParamCount(*instance), PARAM_TOTAL);
}

TEST(Params, info_gives_id_name_range_and_default_for_every_row) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) {
        std::optional<clap_param_info_t> info = GetParamInfo(*instance, i);
        ASSERT_TRUE(info) << i;
        EXPECT_EQ(info->id, i);
        EXPECT_EQ(info->cookie, nullptr) << i;
        EXPECT_NE(info->name[0], 0) << i;
        EXPECT_STREQ(info->module, "") << i;
        EXPECT_EQ(info->min_value, 0.0) << i;
        EXPECT_EQ(info->max_value, 1.0) << i;
        EXPECT_TRUE(info->default_value >= 0.0 && info->default_value <= 1.0) << i;
        // Stepped parameters are offered as continuous all the same.
        EXPECT_EQ(info->flags & CLAP_PARAM_IS_STEPPED, 0u) << i;
    }
    EXPECT_STREQ(GetParamInfo(*instance, POST_GAIN)->name, "Post Gain");
    EXPECT_EQ(GetParamInfo(*instance, POST_GAIN)->default_value, 0.5);
    EXPECT_STREQ(GetParamInfo(*instance, LAST_PARAM)->name, "Effect Slot 8");
    EXPECT_FALSE(GetParamInfo(*instance, PARAM_TOTAL));
    EXPECT_FALSE(GetParamInfo(*instance, CLAP_INVALID_ID));
}

TEST(Params, flags_follow_the_kind) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    const uint32_t READ_ONLY = CLAP_PARAM_IS_READONLY;
    const uint32_t AUTOMATABLE = CLAP_PARAM_IS_AUTOMATABLE;
    const uint32_t MODULATABLE = CLAP_PARAM_IS_AUTOMATABLE | CLAP_PARAM_IS_MODULATABLE;
    EXPECT_EQ(GetParamInfo(*instance, DELAY_ENABLE)->flags, READ_ONLY);
    EXPECT_EQ(GetParamInfo(*instance, EFFECT_SLOT)->flags, READ_ONLY);
    EXPECT_EQ(GetParamInfo(*instance, MODULATOR_DESTINATION)->flags, READ_ONLY);
    EXPECT_EQ(GetParamInfo(*instance, POST_GAIN)->flags, MODULATABLE);
    EXPECT_EQ(GetParamInfo(*instance, POST_GAIN)->flags, 1056u);
    EXPECT_EQ(GetParamInfo(*instance, DELAY_TIME)->flags, AUTOMATABLE);
    EXPECT_EQ(GetParamInfo(*instance, DELAY_TIME)->flags, 32u);
}

TEST(Params, duplicate_names_find_the_first_row) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_EQ(FindParam(*instance, "Polyrhythmic Delay Mix 2"), 20u);
    EXPECT_EQ(FindParam(*instance, "Polyrhythmic Delay Time 2"), 23u);
    EXPECT_EQ(FindParam(*instance, "Reverb Time 2"), 107u);
    EXPECT_EQ(FindParam(*instance, "Effect Slot 1"), EFFECT_SLOT);
}

TEST(Params, value_to_text_refuses_unknown_ids_and_values_outside_0_to_1) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_FALSE(ParamText(*instance, PARAM_TOTAL, 0.5));
    EXPECT_FALSE(ParamText(*instance, CLAP_INVALID_ID, 0.5));
    for (double value : {-1.0, NAN_VALUE, 1.5, -1e-9, 1.0000001, INF, -INF}) {
        EXPECT_FALSE(ParamText(*instance, POST_GAIN, value)) << value;
        EXPECT_FALSE(ParamText(*instance, DELAY_ENABLE, value)) << value;
    }
    EXPECT_TRUE(ParamText(*instance, POST_GAIN, 0.0));
    EXPECT_TRUE(ParamText(*instance, POST_GAIN, 1.0));
}

TEST(Params, value_to_text_shows_the_value_in_units) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    struct Case {
        clap_id id;
        double value;
        const char *text;
    };
    const Case CASES[] = {
        {POST_GAIN, 0.5, "0.0dB"},
        {POST_GAIN, 1.0, "20.0dB"},
        {DELAY_ENABLE, 0.5, "on"},
        {DELAY_ENABLE, 0.49, "off"},
        {UNUSED_SWITCH, 0.0, "off"},
        {DELAY_TIME, 1.0, "16/8 beats"},
        {DELAY_TIME, 0.0, "1/8 beats"},
        {COMPRESSOR_THRESHOLD, 1.0, "0.0dB"},
        {MODULATOR_DESTINATION, 0.0, "unassigned"},
        {MODULATOR_DESTINATION, 1.0 / 65536, "PostGain"},
        {MODULATOR_RATE, 16.0 / 27.0, "1/4"},
        {DELAY_FEEDBACK, 0.5, "50%"},
    };
    for (const Case &c : CASES) EXPECT_EQ(ParamText(*instance, c.id, c.value), c.text) << c.id;
}

TEST(Params, text_to_value_always_refuses) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    double value = 0.25;
    EXPECT_FALSE(instance->params->text_to_value(instance->plugin, POST_GAIN, "0.0dB", &value));
    EXPECT_FALSE(instance->params->text_to_value(instance->plugin, DELAY_FEEDBACK, "50%", &value));
}

// ---- values from the host ----

TEST(HostValues, get_value_gives_the_defaults_before_any_event) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    for (uint32_t i = 0; i < PARAM_TOTAL; i++)
        EXPECT_EQ(GetParamValue(*instance, i), GetParamInfo(*instance, i)->default_value) << i;
    EXPECT_FALSE(GetParamValue(*instance, PARAM_TOTAL));
    EXPECT_FALSE(GetParamValue(*instance, CLAP_INVALID_ID));
}

TEST(HostValues, value_event_shows_in_get_value_right_after_the_block) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, 0.25)});
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
    RunBlock(*instance, {ParamValueEvent(40, DELAY_FEEDBACK, 0.125)}, 100);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.125);
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
}

TEST(HostValues, events_at_the_same_frame_are_all_taken_the_last_one_wins) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    RunBlock(*instance, {ParamValueEvent(40, DELAY_FEEDBACK, 0.25),
                         ParamValueEvent(40, DELAY_TIME, 0.75),
                         ParamValueEvent(40, DELAY_FEEDBACK, 0.375)},
             100);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.375);
    EXPECT_EQ(GetParamValue(*instance, DELAY_TIME), 0.75);
}

TEST(HostValues, read_only_parameters_take_host_values_too) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    RunBlock(*instance, {ParamValueEvent(0, MODULATOR_DESTINATION, 0.5)});
    EXPECT_EQ(GetParamValue(*instance, MODULATOR_DESTINATION), 0.5);
}

TEST(HostValues, values_outside_0_to_1_are_limited) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    struct Case {
        double sent, kept;
    };
    const Case CASES[] = {{-0.5, 0.0}, {1.5, 1.0},        {NAN_VALUE, 0.0}, {INF, 1.0},
                          {-INF, 0.0}, {1e300, 1.0},      {-1e-30, 0.0},    {1.0, 1.0},
                          {0.0, 0.0},  {0.3, double(0.3f)}};
    for (const Case &c : CASES) {
        RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, 0.5)});
        RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, c.sent)});
        std::optional<double> kept = GetParamValue(*instance, POST_GAIN);
        ASSERT_TRUE(kept);
        EXPECT_EQ(*kept, c.kept) << "sent " << c.sent;
    }
}

TEST(HostValues, ids_past_the_table_are_ignored) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    RunBlock(*instance, {ParamValueEvent(0, PARAM_TOTAL, 0.9), ParamValueEvent(0, 1000, 0.9),
                         ParamValueEvent(0, CLAP_INVALID_ID, 0.9),
                         ParamModEvent(0, PARAM_TOTAL, 0.9),
                         ParamModEvent(0, CLAP_INVALID_ID, 0.9)});
    FlushParams(*instance, {ParamValueEvent(0, 255, 0.9), ParamValueEvent(0, 256, 0.9)});
    for (uint32_t i = 0; i < PARAM_TOTAL; i++)
        EXPECT_EQ(GetParamValue(*instance, i), GetParamInfo(*instance, i)->default_value) << i;
}

TEST(HostValues, modulation_leaves_get_value_alone) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    RunBlock(*instance, {ParamModEvent(0, POST_GAIN, 0.3), ParamModEvent(10, DELAY_FEEDBACK, -2.0),
                         ParamModEvent(20, POST_GAIN, NAN_VALUE), ParamModEvent(30, POST_GAIN, INF),
                         ParamModEvent(30, DELAY_FEEDBACK, 0.2, 7)});
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.5);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.5);
    RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, 0.25), ParamModEvent(1, POST_GAIN, 0.5)});
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
}

TEST(HostValues, events_of_other_spaces_are_skipped) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    RunBlock(*instance, {InSpace(ParamValueEvent(0, POST_GAIN, 0.1), 1),
                         InSpace(ParamValueEvent(0, DELAY_FEEDBACK, 0.1), 0x7FFF)});
    FlushParams(*instance, {InSpace(ParamValueEvent(0, POST_GAIN, 0.2), 2)});
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.5);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.5);
}

TEST(HostValues, flush_while_not_processing_takes_value_events_only) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());  // never activated
    std::vector<HostEvent> pushed =
        FlushParams(*instance, {ParamValueEvent(0, POST_GAIN, 0.75), ParamModEvent(0, 10, 0.4),
                                GestureEvent(0, DELAY_TIME, true),
                                ParamValueEvent(5, DELAY_TIME, 0.0),
                                GestureEvent(9, DELAY_TIME, false)});
    EXPECT_TRUE(pushed.empty());
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.75);
    EXPECT_EQ(GetParamValue(*instance, DELAY_TIME), 0.0);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.5);
    // The values carry into processing.
    Activate(*instance);
    RunBlock(*instance, {});
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.75);
}

TEST(HostValues, host_values_are_not_echoed_back) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    EXPECT_TRUE(RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, 0.25),
                                     GestureEvent(0, DELAY_FEEDBACK, true),
                                     ParamValueEvent(3, DELAY_FEEDBACK, 0.3),
                                     GestureEvent(5, DELAY_FEEDBACK, false)})
                    .empty());
    EXPECT_TRUE(FlushParams(*instance, {ParamValueEvent(0, POST_GAIN, 0.75)}).empty());
}
