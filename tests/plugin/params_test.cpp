// The parameters through clap.params: their number, info, flags and texts,
// and how host values, modulation and flushes reach get_value.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/support/plugin_rig.h"

namespace {

const clap_id POST_GAIN = 0, DELAY_ENABLE = 4, DELAY_FEEDBACK = 10, DELAY_TIME = 22,
              MODULATOR_DESTINATION = 199, EFFECT_SLOT = 223;
const double INF = std::numeric_limits<double>::infinity(), NAN_VALUE = std::numeric_limits<double>::quiet_NaN();

// Processes one short block with these events and returns what the plug-in pushed.
std::vector<HostEvent> RunBlock(Instance &instance, std::vector<HostEvent> events, uint32_t frames = 64) {
    StereoBuffer input = Noise(frames), output = MakeStereo(frames);
    ProcessResult result = ProcessStereo(instance, input, output, std::move(events));
    EXPECT_EQ(result.status, CLAP_PROCESS_CONTINUE);
    return result.output;
}

TEST(Params, info_flags_names_and_texts_of_all_231_rows) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());
    EXPECT_EQ(ParamCount(*instance), PARAM_TOTAL);
    for (uint32_t i = 0; i < PARAM_TOTAL; i++) {
        std::optional<clap_param_info_t> info = GetParamInfo(*instance, i);
        ASSERT_TRUE(info) << i;
        EXPECT_EQ(info->id, i);
        EXPECT_EQ(info->max_value, 1.0) << i;
        EXPECT_EQ(info->flags & CLAP_PARAM_IS_STEPPED, 0u) << i;  // stepped ones are offered as continuous
    }
    EXPECT_STREQ(GetParamInfo(*instance, 230)->name, "Effect Slot 8");
    EXPECT_FALSE(GetParamInfo(*instance, PARAM_TOTAL));
    for (clap_id id : {DELAY_ENABLE, EFFECT_SLOT, MODULATOR_DESTINATION})
        EXPECT_EQ(GetParamInfo(*instance, id)->flags, uint32_t(CLAP_PARAM_IS_READONLY)) << id;
    EXPECT_EQ(GetParamInfo(*instance, POST_GAIN)->flags, 1056u);  // automatable and modulatable
    EXPECT_EQ(GetParamInfo(*instance, DELAY_TIME)->flags, 32u);   // automatable

    // value_to_text refuses unknown ids and values outside 0 to 1.
    EXPECT_FALSE(ParamText(*instance, PARAM_TOTAL, 0.5));
    for (double value : {NAN_VALUE, -1e-9, 1.0000001}) EXPECT_FALSE(ParamText(*instance, POST_GAIN, value)) << value;
    EXPECT_EQ(ParamText(*instance, POST_GAIN, 1.0), "20.0dB");  // 1 itself is inside
    EXPECT_EQ(ParamText(*instance, MODULATOR_DESTINATION, 1.0 / 65536), "PostGain");
}

TEST(HostValues, value_events_reach_get_value_after_the_block_limited_to_0_to_1_and_modulation_does_not) {
    std::unique_ptr<Instance> instance = StartInstance(TestPlugin());
    EXPECT_FALSE(GetParamValue(*instance, PARAM_TOTAL));
    // Events of one time are all taken, the last one wins; read-only rows take them too.
    RunBlock(*instance,
             {ParamValueEvent(40, DELAY_FEEDBACK, 0.25), ParamValueEvent(40, DELAY_TIME, 0.75),
              ParamValueEvent(40, DELAY_FEEDBACK, 0.375), ParamValueEvent(0, MODULATOR_DESTINATION, 0.5)},
             100);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.375);
    EXPECT_EQ(GetParamValue(*instance, MODULATOR_DESTINATION), 0.5);
    const struct { double sent, kept; } limits[] = {{-0.5, 0.0}, {NAN_VALUE, 0.0}, {INF, 1.0}, {0.3, double(0.3f)}};
    for (auto c : limits) {
        RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, 0.5)});
        RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, c.sent)});
        EXPECT_EQ(GetParamValue(*instance, POST_GAIN), c.kept) << "sent " << c.sent;
    }
    RunBlock(*instance, {ParamValueEvent(0, POST_GAIN, 0.25), ParamModEvent(1, POST_GAIN, 0.5),
                         ParamModEvent(10, DELAY_FEEDBACK, -2.0), ParamModEvent(20, POST_GAIN, NAN_VALUE)});
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.25);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.375);
}

TEST(HostValues, flushes_take_value_events_only_ignore_foreign_ones_and_nothing_is_echoed) {
    std::unique_ptr<Instance> instance = CreateInstance(TestPlugin());  // never activated
    EXPECT_TRUE(FlushParams(*instance, {ParamValueEvent(0, POST_GAIN, 0.75), ParamModEvent(0, 10, 0.4),
                                        GestureEvent(0, DELAY_TIME, true), ParamValueEvent(5, DELAY_TIME, 0.0),
                                        GestureEvent(9, DELAY_TIME, false)})
                    .empty());
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.75);
    EXPECT_EQ(GetParamValue(*instance, DELAY_TIME), 0.0);
    EXPECT_EQ(GetParamValue(*instance, DELAY_FEEDBACK), 0.5);
    Activate(*instance);  // the values carry into processing
    RunBlock(*instance, {});
    EXPECT_EQ(GetParamValue(*instance, POST_GAIN), 0.75);

    // Ids past the table and events of other spaces are ignored, in blocks and flushes.
    std::unique_ptr<Instance> other = StartInstance(TestPlugin());
    RunBlock(*other, {ParamValueEvent(0, PARAM_TOTAL, 0.9), ParamValueEvent(0, CLAP_INVALID_ID, 0.9),
                      ParamModEvent(0, PARAM_TOTAL, 0.9), InSpace(ParamValueEvent(0, POST_GAIN, 0.1), 1)});
    FlushParams(*other, {ParamValueEvent(0, 256, 0.9), InSpace(ParamValueEvent(0, POST_GAIN, 0.2), 2)});
    ExpectValues(*other, DefaultValues());
}

}  // namespace
