// The 231 rows of the parameter table and the modulator rate table.
//
// The row numbers are the CLAP ids and the indices of every value array and of
// stored patches, so rows are never moved, only appended.
#include "vocabulary/params.h"
#include <string.h>

// Coded whole numbers, spelled out so the table stays constant data:
// n is stored as (n + 1) / 65536, which a float holds exactly.
static constexpr float CodedDefault(int32_t n) { return (float)(n + 1) / 65536.0f; }

enum {
    REVERB_ALGORITHM_HALL = 0,
    DISTORTION_MODE_LIGHT = 1,
    TRANCEGATE_SPEED_1_32 = 3,
    TRANCEGATE_DEFAULT_PATTERN = 30069,
};

// A unit parameter in its three instances: the stem, the stem with " 2" and
// with " 3"; the short stem with "2" and "3". Each instance belongs to the
// Enable row of its own instance, `enable` being that of instance 1.
#define UNIT_PARAM(enable, stem, shortStem, defaultValue, steps, modulatable, kind, help)      \
    { stem, shortStem, defaultValue, steps, modulatable, kind, help, (enable) },                  \
    { stem " 2", shortStem "2", defaultValue, steps, modulatable, kind, help, (enable) + 1 },      \
    { stem " 3", shortStem "3", defaultValue, steps, modulatable, kind, help, (enable) + 2 }

// The Enable switch of a unit's three instances; it has no owner itself.
#define UNIT_ENABLE(stem, shortStem)                                                           \
    { stem, shortStem, 0.0f, 0, 0, PARAM_KIND_SWITCH, nullptr, 0 },                            \
    { stem " 2", shortStem "2", 0.0f, 0, 0, PARAM_KIND_SWITCH, nullptr, 0 },                   \
    { stem " 3", shortStem "3", 0.0f, 0, 0, PARAM_KIND_SWITCH, nullptr, 0 }

// A modulator's three destinations, and its three amounts in the same order.
#define MODULATOR_DESTINATIONS(m)                                                              \
    { "Modulator " #m " Destination 1", "Mod" #m "Dst1", 0.0f, 0, 0, PARAM_KIND_DESTINATION, nullptr, 0 }, \
    { "Modulator " #m " Destination 2", "Mod" #m "Dst2", 0.0f, 0, 0, PARAM_KIND_DESTINATION, nullptr, 0 }, \
    { "Modulator " #m " Destination 3", "Mod" #m "Dst3", 0.0f, 0, 0, PARAM_KIND_DESTINATION, nullptr, 0 }
#define MODULATOR_AMOUNTS(m)                                                                   \
    { "Modulator " #m " Amount 1", "Mod" #m "Amt1", 0.5f, 0, 0, PARAM_KIND_BIPOLAR, nullptr, 0 }, \
    { "Modulator " #m " Amount 2", "Mod" #m "Amt2", 0.5f, 0, 0, PARAM_KIND_BIPOLAR, nullptr, 0 }, \
    { "Modulator " #m " Amount 3", "Mod" #m "Amt3", 0.5f, 0, 0, PARAM_KIND_BIPOLAR, nullptr, 0 }
#define MODULATOR_RATE(m)                                                                      \
    { "Modulator " #m " Rate", "Mod" #m "Rate", 0.5925926f, MODULATOR_RATE_COUNT, 0, PARAM_KIND_MODULATOR_RATE, nullptr, 0 }
#define MODULATOR_PING_PONG(m)                                                                 \
    { "Modulator " #m " Ping Pong", "Mod" #m "Ping", 0.0f, 0, 0, PARAM_KIND_SWITCH, nullptr, 0 }
#define EFFECT_SLOT(n)                                                                         \
    { "Effect Slot " #n, "FXSlot" #n, 0.0f, 0, 0, PARAM_KIND_CODED, nullptr, 0 }

// Columns of UNIT_PARAM: owning Enable row, name stem, short stem, default,
// steps, modulatable, kind, help text.
const ParamInfo PARAM_INFO[PARAM_COUNT] = {
    { "Post Gain", "PostGain", 0.5f, 0, 1, PARAM_KIND_DECIBELS,
      U"Post gain, applied after all effects.", 0 },
    { "Unused", "Unused", 0.0f, 0, 0, PARAM_KIND_SWITCH, nullptr, 0 },
    { "Unused", "Unused", 0.0f, 0, 0, PARAM_KIND_PERCENT, nullptr, 0 },
    { "Unused", "Unused", 0.0f, 0, 0, PARAM_KIND_UNUSED, nullptr, 0 },

    UNIT_ENABLE("Polyrhythmic Delay Enable", "Dl1Enbl"),
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay Pan", "Dl1Pan", 0.9f, 0, 1, PARAM_KIND_BIPOLAR,
               U"The initial pan of the input. When the signal is fed back, the stereo channels are swapped."),
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay Feedback", "Dl1Fdbk", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"The gain of an amplifier applied to the delay line feedback."),
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay Low Pass", "Dl1LP", 0.08f, 0, 0, PARAM_KIND_CUTOFF,
               U"The cutoff of a low pass filter applied to the delay line feedback."),
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay High Pass", "Dl1HP", 0.15f, 0, 0, PARAM_KIND_CUTOFF,
               U"The cutoff of a high pass filter applied to the output wet signal."),
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay Mix", "Dl1Mix", 0.18f, 0, 1, PARAM_KIND_PERCENT,
               U"The amount of the first delay line's output to be mixed with the dry signal."),
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay Time", "Dl1Time", 0.32f, 16, 0, PARAM_KIND_BEATS,
               U"The length of the first delay line."),
    // The second line's Mix and Time repeat the names of the second instances
    // of Mix and Time above ("Polyrhythmic Delay Mix 2"); a lookup finds those.
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay Mix 2", "Dl1Mix2", 0.15f, 0, 1, PARAM_KIND_PERCENT,
               U"The amount of the second delay line's output to be mixed with the dry signal. Set to 0% for a classic delay."),
    UNIT_PARAM(PARAM_DELAY_ENABLE, "Polyrhythmic Delay Time 2", "Dl1Time2", 0.45f, 16, 0, PARAM_KIND_BEATS,
               U"The length of the second delay time."),

    UNIT_ENABLE("Ping-Pong Delay Enable", "Dl2Enbl"),
    UNIT_PARAM(PARAM_PINGPONG_ENABLE, "Ping-Pong Delay Modulate", "Dl2Mod", 0.5f, 0, 0, PARAM_KIND_PERCENT,
               U"Slightly modulates the delay time to reduce phasing with the feedback."),
    UNIT_PARAM(PARAM_PINGPONG_ENABLE, "Ping-Pong Delay Feedback", "Dl2Fdbk", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"The gain of an amplifier applied to the delay line feedback."),
    UNIT_PARAM(PARAM_PINGPONG_ENABLE, "Ping-Pong Delay Low Pass", "Dl2LP", 0.08f, 0, 0, PARAM_KIND_CUTOFF,
               U"The cutoff of a low pass filter applied to the delay line feedback."),
    UNIT_PARAM(PARAM_PINGPONG_ENABLE, "Ping-Pong Delay High Pass", "Dl2HP", 0.15f, 0, 0, PARAM_KIND_CUTOFF,
               U"The cutoff of a high pass filter applied to the output wet signal."),
    UNIT_PARAM(PARAM_PINGPONG_ENABLE, "Ping-Pong Delay Mix", "Dl2Mix", 0.18f, 0, 1, PARAM_KIND_PERCENT,
               U"The amount of the delay line's output to be mixed with the dry signal."),
    UNIT_PARAM(PARAM_PINGPONG_ENABLE, "Ping-Pong Delay Time", "Dl2Time", 0.49f, 16, 0, PARAM_KIND_BEATS,
               U"The length of the delay line."),
    UNIT_PARAM(PARAM_PINGPONG_ENABLE, "Ping-Pong Delay Ping-Pong Ratio", "Dl2Ratio", 1.0f, 0, 0, PARAM_KIND_CODED,
               nullptr),

    UNIT_ENABLE("Phaser Enable", "PhasEnbl"),
    UNIT_PARAM(PARAM_PHASER_ENABLE, "Phaser Steps", "PhasStep", 0.5f, 6, 0, PARAM_KIND_PHASER_STEPS,
               U"The number of times the phaser is applied in series."),
    UNIT_PARAM(PARAM_PHASER_ENABLE, "Phaser Feedback", "PhasFeed", 0.8888889f, 0, 1, PARAM_KIND_BIPOLAR,
               U"The amount the phaser's signal is fed back into the phaser."),
    UNIT_PARAM(PARAM_PHASER_ENABLE, "Phaser Mix", "PhasMix", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"How much of the phaser's output signal to mix with the dry signal."),
    UNIT_PARAM(PARAM_PHASER_ENABLE, "Phaser Base Frequency", "PhasBase", 0.41f, 0, 0, PARAM_KIND_PHASER_BASE,
               U"The base frequency of the phaser."),
    UNIT_PARAM(PARAM_PHASER_ENABLE, "Phaser LFO Rate", "PhasRate", 0.2f, 0, 1, PARAM_KIND_PHASER_RATE,
               U"The rate at which the frequency changes."),
    UNIT_PARAM(PARAM_PHASER_ENABLE, "Phaser LFO Gain", "PhasGain", 0.56f, 0, 1, PARAM_KIND_PERCENT,
               U"The maximum amount by which the phaser frequency can change."),
    UNIT_PARAM(PARAM_PHASER_ENABLE, "Phaser Stereo", "PhasSter", 0.2f, 0, 1, PARAM_KIND_PERCENT,
               U"Offsets the base frequency used between the stereo channels."),

    UNIT_ENABLE("Chorus Enable", "ChrsEnbl"),
    UNIT_PARAM(PARAM_CHORUS_ENABLE, "Chorus Depth", "ChrsDpth", 0.3f, 0, 1, PARAM_KIND_PERCENT,
               U"The maximum depth into the sound buffer."),
    UNIT_PARAM(PARAM_CHORUS_ENABLE, "Chorus Mix", "ChrsMix", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"How much of the chorused signal to mix with the dry signal."),
    UNIT_PARAM(PARAM_CHORUS_ENABLE, "Chorus Feedback", "ChrsFdbk", 0.0f, 0, 1, PARAM_KIND_PERCENT,
               U"How much of the chorused signal to mix into the buffer's input signal."),
    UNIT_PARAM(PARAM_CHORUS_ENABLE, "Chorus Speed", "ChrsSpd", 0.2f, 0, 1, PARAM_KIND_CHORUS_SPEED,
               U"The rate at which the depth changes."),
    UNIT_PARAM(PARAM_CHORUS_ENABLE, "Chorus Stereo", "ChrsSter", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"Adjusts the used depth between the stereo channels."),
    UNIT_PARAM(PARAM_CHORUS_ENABLE, "Chorus Voices", "ChrsVoic", 0.5f, 4, 0, PARAM_KIND_VOICES,
               U"The number of distinct chorus voices."),

    UNIT_ENABLE("Reverb Enable", "RvbEnbl"),
    UNIT_PARAM(PARAM_REVERB_ENABLE, "Reverb Mix", "RvbMix", 0.137f, 0, 1, PARAM_KIND_PERCENT,
               U"How much of the reverberated signal to mix with the dry signal."),
    UNIT_PARAM(PARAM_REVERB_ENABLE, "Reverb Time", "RvbTime", 0.66f, 0, 0, PARAM_KIND_DECAY,
               U"Controls the damping of reverberations, affecting the time it takes to decay to silence."),
    UNIT_PARAM(PARAM_REVERB_ENABLE, "Reverb Algorithm", "RvbAlgo", CodedDefault(REVERB_ALGORITHM_HALL), 0, 0,
               PARAM_KIND_PERCENT, nullptr),
    UNIT_PARAM(PARAM_REVERB_ENABLE, "Reverb Predelay", "RvbPre", 0.0f, 0, 0, PARAM_KIND_TIME,
               U"The delay before the signal begins to reverberate."),

    UNIT_ENABLE("EQ Enable", "EQEnbl"),
    UNIT_PARAM(PARAM_EQ_ENABLE, "EQ Mid Frequency", "EQMidFrq", 0.5f, 0, 1, PARAM_KIND_EQ, nullptr),
    UNIT_PARAM(PARAM_EQ_ENABLE, "EQ Mid Gain", "EQMidGn", 0.5f, 0, 1, PARAM_KIND_DECIBELS, nullptr),
    UNIT_PARAM(PARAM_EQ_ENABLE, "EQ Mid Band Width", "EQMidWdh", 0.5f, 0, 1, PARAM_KIND_EQ, nullptr),
    UNIT_PARAM(PARAM_EQ_ENABLE, "EQ Low Frequency", "EQLowFrq", 0.5f, 0, 1, PARAM_KIND_EQ, nullptr),
    UNIT_PARAM(PARAM_EQ_ENABLE, "EQ Low Gain", "EQLowGn", 0.5f, 0, 1, PARAM_KIND_DECIBELS, nullptr),
    UNIT_PARAM(PARAM_EQ_ENABLE, "EQ High Frequency", "EQHiFrq", 0.5f, 0, 1, PARAM_KIND_EQ, nullptr),
    UNIT_PARAM(PARAM_EQ_ENABLE, "EQ High Gain", "EQHiGn", 0.5f, 0, 1, PARAM_KIND_DECIBELS, nullptr),

    UNIT_ENABLE("Trancegate Enable", "TGEnbl"),
    UNIT_PARAM(PARAM_GATE_ENABLE, "Trancegate Mix", "TGMix", 1.0f, 0, 1, PARAM_KIND_PERCENT,
               U"At 0% the gate is disabled, and at 100% the gate is fully enabled."),
    UNIT_PARAM(PARAM_GATE_ENABLE, "Trancegate Contour", "TGContr", 0.03f, 0, 1, PARAM_KIND_PERCENT,
               U"Higher values create a smoother gate, lower values are sharper."),
    UNIT_PARAM(PARAM_GATE_ENABLE, "Trancegate Stereo", "TGStereo", 0.0f, 0, 0, PARAM_KIND_SWITCH, nullptr),
    UNIT_PARAM(PARAM_GATE_ENABLE, "Trancegate Left", "TGLeft", CodedDefault(TRANCEGATE_DEFAULT_PATTERN), 0, 0,
               PARAM_KIND_CODED, nullptr),
    UNIT_PARAM(PARAM_GATE_ENABLE, "Trancegate Right", "TGRight", CodedDefault(TRANCEGATE_DEFAULT_PATTERN), 0, 0,
               PARAM_KIND_CODED, nullptr),
    UNIT_PARAM(PARAM_GATE_ENABLE, "Trancegate Speed", "TGSpeed", CodedDefault(TRANCEGATE_SPEED_1_32), 0, 0,
               PARAM_KIND_CODED, nullptr),

    UNIT_ENABLE("Distortion Enable", "DistEnbl"),
    UNIT_PARAM(PARAM_DIST_ENABLE, "Distortion Mix", "DistMix", 1.0f, 0, 1, PARAM_KIND_PERCENT,
               U"How much of the distorted signal to mix with the dry signal."),
    UNIT_PARAM(PARAM_DIST_ENABLE, "Distortion Low", "DistLow", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"Pre-gain applied to the low frequency range."),
    UNIT_PARAM(PARAM_DIST_ENABLE, "Distortion Mid", "DistMid", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"Pre-gain applied to the mid frequency range."),
    UNIT_PARAM(PARAM_DIST_ENABLE, "Distortion High", "DistHigh", 0.5f, 0, 1, PARAM_KIND_PERCENT,
               U"Pre-gain applied to the high frequency range."),
    UNIT_PARAM(PARAM_DIST_ENABLE, "Distortion Mode", "DistMode", CodedDefault(DISTORTION_MODE_LIGHT), 0, 0,
               PARAM_KIND_CODED, nullptr),

    UNIT_ENABLE("Compressor Enable", "CompEnbl"),
    UNIT_PARAM(PARAM_COMP_ENABLE, "Compressor Attack", "CompAtk", 0.2f, 0, 1, PARAM_KIND_TIME,
               U"How long the compressor takes to engage once the threshold is exceeded."),
    UNIT_PARAM(PARAM_COMP_ENABLE, "Compressor Release", "CompRel", 0.4f, 0, 1, PARAM_KIND_TIME,
               U"How long the compressor takes to disengage once the threshold is no longer exceeded."),
    UNIT_PARAM(PARAM_COMP_ENABLE, "Compressor Makeup", "CompMkup", 0.55f, 0, 1, PARAM_KIND_DECIBELS,
               U"Post-gain, applied after the compressor."),
    UNIT_PARAM(PARAM_COMP_ENABLE, "Compressor Threshold", "CompThrs", 0.7f, 0, 1, PARAM_KIND_THRESHOLD,
               U"The volume threshold that, once exceeded, the compression ratio will be applied."),
    UNIT_PARAM(PARAM_COMP_ENABLE, "Compressor Ratio", "CompRtio", 0.5f, 0, 1, PARAM_KIND_RATIO,
               U"The volume ratio applied to signal, relative to how much it exceeds the threshold."),
    UNIT_PARAM(PARAM_COMP_ENABLE, "Compressor Sidechain by Dry", "CompDySC", 0.0f, 0, 0, PARAM_KIND_SWITCH,
               nullptr),

    MODULATOR_DESTINATIONS(1), MODULATOR_DESTINATIONS(2), MODULATOR_DESTINATIONS(3),
    MODULATOR_AMOUNTS(1), MODULATOR_AMOUNTS(2), MODULATOR_AMOUNTS(3),
    MODULATOR_RATE(1), MODULATOR_RATE(2), MODULATOR_RATE(3),
    MODULATOR_PING_PONG(1), MODULATOR_PING_PONG(2), MODULATOR_PING_PONG(3),
    EFFECT_SLOT(1), EFFECT_SLOT(2), EFFECT_SLOT(3), EFFECT_SLOT(4),
    EFFECT_SLOT(5), EFFECT_SLOT(6), EFFECT_SLOT(7), EFFECT_SLOT(8),
};

#undef UNIT_PARAM
#undef UNIT_ENABLE
#undef MODULATOR_DESTINATIONS
#undef MODULATOR_AMOUNTS
#undef MODULATOR_RATE
#undef MODULATOR_PING_PONG
#undef EFFECT_SLOT

// Length of one modulator cycle for each rate option, in beats: the plain
// lengths, then dotted (x 1.5) and triplet (x 2/3) ones.
const float MODULATOR_RATE_BEATS[MODULATOR_RATE_COUNT] = {
    32.0f, 24.0f, 64.0f / 3.0f, 16.0f, 12.0f, 32.0f / 3.0f, 8.0f, 6.0f, 16.0f / 3.0f,
    4.0f, 3.0f, 8.0f / 3.0f, 2.0f, 1.5f, 4.0f / 3.0f, 1.0f, 0.75f, 2.0f / 3.0f,
    0.5f, 0.375f, 1.0f / 3.0f, 0.25f, 0.1875f, 1.0f / 6.0f, 0.125f, 0.09375f, 1.0f / 12.0f,
};

const char *const MODULATOR_RATE_NAME[MODULATOR_RATE_COUNT] = {
    "8/1", "4/1D", "8/1T", "4/1", "2/1D", "4/1T", "2/1", "1/1D", "2/1T",
    "1/1", "1/2D", "1/1T", "1/2", "1/4D", "1/2T", "1/4", "1/8D", "1/4T",
    "1/8", "1/16D", "1/8T", "1/16", "1/32D", "1/16T", "1/32", "1/64D", "1/32T",
};

int32_t ParamFindByName(const char *name) {
    if (!name) return -1;
    for (int32_t i = 0; i < PARAM_COUNT; i++) {
        if (strcmp(PARAM_INFO[i].name, name) == 0) return i;
    }
    return -1;
}
