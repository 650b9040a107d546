// The parameter table, the coding of whole numbers and the value texts.
#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <string>

#include "vocabulary/params.h"

namespace {

std::string Text(const EngineContext *context, int32_t parameter, float value) {
    char buffer[64];
    memset(buffer, 'x', sizeof buffer);
    ParamFormatValue(context, parameter, buffer, sizeof buffer, value);
    return buffer;
}

// The nine unit families in table order, each from its Enable row up to the
// row where the next begins.
const struct Family {
    int32_t enable, end;
    const char *prefix;
} FAMILIES[] = {
    {PARAM_DELAY_ENABLE, PARAM_PINGPONG_ENABLE, "Polyrhythmic Delay "},
    {PARAM_PINGPONG_ENABLE, PARAM_PHASER_ENABLE, "Ping-Pong Delay "},
    {PARAM_PHASER_ENABLE, PARAM_CHORUS_ENABLE, "Phaser "}, {PARAM_CHORUS_ENABLE, PARAM_REVERB_ENABLE, "Chorus "},
    {PARAM_REVERB_ENABLE, PARAM_EQ_ENABLE, "Reverb "}, {PARAM_EQ_ENABLE, PARAM_GATE_ENABLE, "EQ "},
    {PARAM_GATE_ENABLE, PARAM_DIST_ENABLE, "Trancegate "}, {PARAM_DIST_ENABLE, PARAM_COMP_ENABLE, "Distortion "},
    {PARAM_COMP_ENABLE, PARAM_MOD_DESTINATION, "Compressor "},
};

// Parameter numbers are a stored format: every row constant names its row.
TEST(ParamTable, rows_stand_in_their_families_under_their_names_with_three_like_instances) {
    EXPECT_EQ(FAMILIES[0].enable, 4);
    for (const Family &family : FAMILIES) {
        SCOPED_TRACE(family.prefix);
        EXPECT_EQ((family.end - family.enable) % 3, 0);
        for (int32_t row = family.enable; row < family.end; row++) {
            const ParamInfo &info = PARAM_INFO[row];
            EXPECT_EQ(strncmp(info.name, family.prefix, strlen(family.prefix)), 0) << info.name;
            bool isEnable = row < family.enable + 3;
            EXPECT_EQ(info.kind == PARAM_KIND_SWITCH && info.ownerEnable == 0, isEnable) << info.name;
            if (!isEnable) {
                EXPECT_EQ(info.ownerEnable, family.enable + (row - family.enable) % 3) << info.name;
            }
        }
    }
    const struct { int32_t row; const char *name; } rows[] = {
        {PARAM_DELAY_MIX2, "Polyrhythmic Delay Mix 2"}, {PARAM_PINGPONG_RATIO, "Ping-Pong Delay Ping-Pong Ratio"},
        {PARAM_EQ_MID_WIDTH, "EQ Mid Band Width"}, {PARAM_COMP_SIDECHAIN, "Compressor Sidechain by Dry"},
        {PARAM_MOD_DESTINATION + 8, "Modulator 3 Destination 3"}, {PARAM_MOD_AMOUNT + 3, "Modulator 2 Amount 1"},
        {PARAM_MOD_PINGPONG + 2, "Modulator 3 Ping Pong"},
    };
    for (const auto &row : rows) EXPECT_STREQ(PARAM_INFO[row.row].name, row.name) << "row " << row.row;

    for (int32_t row = PARAM_DELAY_ENABLE; row < PARAM_MOD_DESTINATION; row += 3)
        for (int32_t instance = 1; instance < 3; instance++) {
            const ParamInfo &first = PARAM_INFO[row], &other = PARAM_INFO[row + instance];
            std::string digit = std::to_string(instance + 1);
            EXPECT_EQ(other.name, std::string(first.name) + " " + digit);
            EXPECT_EQ(other.shortName, std::string(first.shortName) + digit);
            EXPECT_EQ(other.defaultValue, first.defaultValue) << other.name;
            EXPECT_EQ(other.kind, first.kind) << other.name;
        }
}

TEST(ParamTable, defaults_lie_in_0_to_1_short_names_fit_and_only_host_writable_rows_are_modulatable) {
    EXPECT_EQ(ParamDecodeWhole(PARAM_INFO[PARAM_EFFECT_SLOT + 3].defaultValue), -1);  // slots start empty
    // Post Gain and 35 unit triples may be modulated, none of them read-only.
    int32_t modulatable = 0;
    for (int32_t row = 0; row < PARAM_COUNT; row++) {
        const ParamInfo &info = PARAM_INFO[row];
        ASSERT_TRUE(info.name && info.shortName) << row;
        EXPECT_LE(strlen(info.shortName), 9u) << info.shortName;
        EXPECT_TRUE(info.defaultValue >= 0.0f && info.defaultValue <= 1.0f) << info.name;
        modulatable += info.modulatable;
        EXPECT_FALSE(info.modulatable && PARAM_KIND[info.kind].hostReadOnly) << info.name;
    }
    EXPECT_EQ(modulatable, 1 + 35 * 3);
}

TEST(ParamNames, names_match_exactly_up_to_the_last_row_and_unknown_ones_find_none) {
    EXPECT_EQ(ParamFindByName("Effect Slot 8"), 230);
    for (const char *name : {"Reverb Time 4", "reverb time", "", (const char *)nullptr})
        EXPECT_EQ(ParamFindByName(name), -1) << (name ? name : "null");
}

TEST(ParamCoding, whole_numbers_round_trip_exactly_and_steps_stay_within_the_count) {
    EXPECT_EQ(ParamDecodeWhole(0.0f), -1);
    EXPECT_EQ(ParamEncodeWhole(-1), 0.0f);
    for (int32_t n = 0; n <= 65534; n++) {  // anything up to the next code reads as the same number
        ASSERT_EQ(ParamDecodeWhole(ParamEncodeWhole(n)), n) << n;
        ASSERT_EQ(ParamDecodeWhole(nextafterf(ParamEncodeWhole(n + 1), 0.0f)), n) << n;
    }
    EXPECT_EQ(ParamDecodeWhole(1.0f), 65535);
    const struct { float value; int32_t count, step; } steps[] = {
        {1.0f, 16, 15}, {1.0f / 16.0f, 16, 0},  // the 0.9999 shifts each step's start a little up
        {0.0626f, 16, 1}, {-0.5f, 4, 0}, {1.5f, 4, 3}, {NAN, 4, 0}};
    for (auto s : steps) EXPECT_EQ(ParamStep(s.value, s.count), s.step) << s.value << " of " << s.count;
}

TEST(ParamText, every_kind_prints_what_its_arithmetic_gives) {
    static EngineContext context = {};
    const struct { int32_t parameter; float value; const char *text; } cases[] = {
        {PARAM_REVERB_MIX, 0.137f, "13%"}, {PARAM_MOD_AMOUNT, 0.2525f, "-49%"},
        {PARAM_CHORUS_ENABLE, 0.49999997f, "off"}, {PARAM_PHASER_STEPS, 0.0f, "1 step"},
        {PARAM_CHORUS_VOICES, 1.0f, "4 voices"}, {PARAM_MOD_RATE + 2, 1.0f, "1/32T"},
        {PARAM_REVERB_PREDELAY, 0.01f, "5.00ms"}, {PARAM_COMP_RELEASE, 0.5f, "914ms"},
        {PARAM_COMP_RELEASE, 0.9f, "2.00s"}, {PARAM_DELAY_HIGH_PASS, 0.5f, "927Hz"},
        {PARAM_PHASER_BASE, 0.41f, "1020.00Hz"}, {PARAM_CHORUS_SPEED, 0.4999f, "2.5Hz"},
        {PARAM_CHORUS_SPEED, 0.6f, "12.0Hz"}, {PARAM_POST_GAIN, 0.49999997f, "-0.0dB"},
        {PARAM_COMP_RATIO, 0.5f, "1.9:1"}, {PARAM_MOD_DESTINATION + 8, ParamEncodeWhole(231), "unassigned"},
    };
    for (auto c : cases)
        EXPECT_EQ(Text(&context, c.parameter, c.value), c.text) << PARAM_INFO[c.parameter].name << " " << c.value;
}

TEST(ParamText, reverb_time_follows_the_first_algorithm_minus_one_reads_the_editor_and_buffers_hold) {
    EngineContext context = {};
    context.editorValue[PARAM_REVERB_ALGORITHM + 1] = ParamEncodeWhole(3);  // must not matter
    context.editorValue[PARAM_REVERB_ALGORITHM + 2] = ParamEncodeWhole(2);
    const struct { float algorithm; const char *text; } cases[] = {
        {ParamEncodeWhole(0), "~5.5s"}, {ParamEncodeWhole(3), "~9.5s"}, {ParamEncodeWhole(9), "~7.0s"},
        {0.0f, "~7.0s"}};
    for (auto c : cases) {
        context.editorValue[PARAM_REVERB_ALGORITHM] = c.algorithm;
        EXPECT_EQ(Text(&context, PARAM_REVERB_TIME + 2, 0.5f), c.text) << c.algorithm;
    }
    context.editorValue[PARAM_POST_GAIN] = context.editorValue[PARAM_DELAY_TIME2] = 1.0f;
    EXPECT_EQ(Text(&context, PARAM_POST_GAIN, -1.0f), "20.0dB");
    EXPECT_EQ(Text(&context, PARAM_DELAY_TIME2, -1.0f), "16/8 beats");

    for (int32_t size : {0, 1, 4}) {  // small buffers are terminated and never overrun
        char buffer[16];
        memset(buffer, 'x', sizeof buffer);
        ParamFormatValue(&context, PARAM_MOD_DESTINATION, buffer, size, 0.0f);
        ParamFormatValue(&context, PARAM_COMP_THRESHOLD, buffer, size, 0.0f);
        if (size > 0) {
            EXPECT_EQ(strlen(buffer), (size_t)size - 1);
        }
        for (int32_t i = size; i < 16; i++) ASSERT_EQ(buffer[i], 'x') << "size " << size;
    }
    char buffer[8];
    ParamFormatValue(&context, PARAM_COUNT, buffer, sizeof buffer, 0.5f);
    EXPECT_STREQ(buffer, "");
}

}  // namespace
