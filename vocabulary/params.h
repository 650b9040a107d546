// The constant parameter tables, the coding of whole numbers inside a 0..1
// value, and the text of a value.
#pragma once
#include <stdint.h>
#include "vocabulary/context.h"

// Value texts: `step` and `count` are the option/step index and count (0 when
// the kind has neither), `value` the 0..1 value being shown.
typedef void (*ParamFormatFunction)(const EngineContext *context, char *buffer, int32_t size,
                                    int32_t step, int32_t count, int32_t parameter, float value);

struct ParamInfo {
    const char *name;
    const char *shortName;
    float defaultValue;
    int32_t stepCount;
    uint8_t modulatable;
    int32_t kind;
    const char32_t *helpText;  // tooltip, or null
    int32_t ownerEnable;       // Enable row of the owning unit instance, 0 for none
};

struct ParamKind {
    uint8_t hostReadOnly;
    int32_t optionCount;
    ParamFormatFunction formatValue;  // null: plain percent
};

enum { PARAM_KIND_COUNT = 28, MODULATOR_RATE_COUNT = 27 };

// Rows of the ParamKind table that parameters use; the others are zero rows.
enum ParamKindRow {
    PARAM_KIND_PERCENT = 0,         // plain amounts
    PARAM_KIND_BIPOLAR = 1,         // -100% .. 100%, centre at 0.5
    PARAM_KIND_TIME = 2,            // three-segment time curve, 0 .. 10 s
    PARAM_KIND_PHASER_STEPS = 3,
    PARAM_KIND_PHASER_BASE = 4,
    PARAM_KIND_BEATS = 5,           // delay times in eighths of a beat
    PARAM_KIND_VOICES = 6,
    PARAM_KIND_CUTOFF = 9,          // delay filters, 40 Hz .. 21.5 kHz
    PARAM_KIND_PHASER_RATE = 10,
    PARAM_KIND_DECIBELS = 12,       // -20 .. +20 dB
    PARAM_KIND_THRESHOLD = 13,      // -40 .. 0 dB
    PARAM_KIND_RATIO = 14,
    PARAM_KIND_CHORUS_SPEED = 15,
    PARAM_KIND_MODULATOR_RATE = 16, // the 27 named rates
    PARAM_KIND_UNUSED = 18,
    PARAM_KIND_DECAY = 22,          // Reverb Time, as an estimated decay
    PARAM_KIND_CODED = 23,          // coded whole numbers, Ping-Pong Ratio
    PARAM_KIND_SWITCH = 24,
    PARAM_KIND_DESTINATION = 25,    // a modulator's destination
    PARAM_KIND_EQ = 27,             // EQ frequencies and band widths
};

// First row of each triple (instance 1); instances 2 and 3 follow at +1, +2.
enum ParamRow {
    PARAM_POST_GAIN = 0,
    PARAM_DELAY_ENABLE = 4, PARAM_DELAY_PAN = 7, PARAM_DELAY_FEEDBACK = 10,
    PARAM_DELAY_LOW_PASS = 13, PARAM_DELAY_HIGH_PASS = 16, PARAM_DELAY_MIX = 19,
    PARAM_DELAY_TIME = 22, PARAM_DELAY_MIX2 = 25, PARAM_DELAY_TIME2 = 28,
    PARAM_PINGPONG_ENABLE = 31, PARAM_PINGPONG_MODULATE = 34, PARAM_PINGPONG_FEEDBACK = 37,
    PARAM_PINGPONG_LOW_PASS = 40, PARAM_PINGPONG_HIGH_PASS = 43, PARAM_PINGPONG_MIX = 46,
    PARAM_PINGPONG_TIME = 49, PARAM_PINGPONG_RATIO = 52,
    PARAM_PHASER_ENABLE = 55, PARAM_PHASER_STEPS = 58, PARAM_PHASER_FEEDBACK = 61,
    PARAM_PHASER_MIX = 64, PARAM_PHASER_BASE = 67, PARAM_PHASER_RATE = 70,
    PARAM_PHASER_GAIN = 73, PARAM_PHASER_STEREO = 76,
    PARAM_CHORUS_ENABLE = 79, PARAM_CHORUS_DEPTH = 82, PARAM_CHORUS_MIX = 85,
    PARAM_CHORUS_FEEDBACK = 88, PARAM_CHORUS_SPEED = 91, PARAM_CHORUS_STEREO = 94,
    PARAM_CHORUS_VOICES = 97,
    PARAM_REVERB_ENABLE = 100, PARAM_REVERB_MIX = 103, PARAM_REVERB_TIME = 106,
    PARAM_REVERB_ALGORITHM = 109, PARAM_REVERB_PREDELAY = 112,
    PARAM_EQ_ENABLE = 115, PARAM_EQ_MID_FREQUENCY = 118, PARAM_EQ_MID_GAIN = 121,
    PARAM_EQ_MID_WIDTH = 124, PARAM_EQ_LOW_FREQUENCY = 127, PARAM_EQ_LOW_GAIN = 130,
    PARAM_EQ_HIGH_FREQUENCY = 133, PARAM_EQ_HIGH_GAIN = 136,
    PARAM_GATE_ENABLE = 139, PARAM_GATE_MIX = 142, PARAM_GATE_CONTOUR = 145,
    PARAM_GATE_STEREO = 148, PARAM_GATE_LEFT = 151, PARAM_GATE_RIGHT = 154,
    PARAM_GATE_SPEED = 157,
    PARAM_DIST_ENABLE = 160, PARAM_DIST_MIX = 163, PARAM_DIST_LOW = 166,
    PARAM_DIST_MID = 169, PARAM_DIST_HIGH = 172, PARAM_DIST_MODE = 175,
    PARAM_COMP_ENABLE = 178, PARAM_COMP_ATTACK = 181, PARAM_COMP_RELEASE = 184,
    PARAM_COMP_MAKEUP = 187, PARAM_COMP_THRESHOLD = 190, PARAM_COMP_RATIO = 193,
    PARAM_COMP_SIDECHAIN = 196,
    PARAM_MOD_DESTINATION = 199,  // 9 rows: modulator * 3 + destination
    PARAM_MOD_AMOUNT = 208,       // 9 rows, same order
    PARAM_MOD_RATE = 217,         // 3 rows
    PARAM_MOD_PINGPONG = 220,     // 3 rows
    PARAM_EFFECT_SLOT = 223,      // 8 rows
};

extern const ParamInfo PARAM_INFO[PARAM_COUNT];
extern const ParamKind PARAM_KIND[PARAM_KIND_COUNT];
extern const float MODULATOR_RATE_BEATS[MODULATOR_RATE_COUNT];  // cycle length in beats
extern const char *const MODULATOR_RATE_NAME[MODULATOR_RATE_COUNT];

// A value limited to 0..1; NaN gives 0, since no value array may hold it.
inline float Clamp01(float v) { return v >= 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }

// Whole number n stored as (n + 1) / 65536; reads back truncate(65536 v - 1), in f32.
float ParamEncodeWhole(int32_t n);
int32_t ParamDecodeWhole(float value);
// Step of a stepped value: floor(count * 0.9999 * value), limited to 0 .. count - 1.
int32_t ParamStep(float value, int32_t count);
// Text of a value into buffer (always terminated). A value of exactly -1.0
// means "the parameter's current editorValue".
void ParamFormatValue(const EngineContext *context, int32_t parameter, char *buffer,
                      int32_t size, float value);
// First row whose name matches exactly, or -1.
int32_t ParamFindByName(const char *name);
