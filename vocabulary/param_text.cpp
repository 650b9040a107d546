// Texts of parameter values, the ParamKind table that picks them, and the
// coding of whole numbers inside a 0..1 value.
//
// Every formula runs in f32 exactly as written, and the text is whatever the
// printf format makes of the result, so a kind-12 value just below 0.5 shows
// "-0.0dB". Only the threshold at exactly 1.0 is made to read "0.0dB".
#include "vocabulary/params.h"
#include <math.h>
#include <stdarg.h>
#include <stdio.h>

// 1 / 65536 as written; the float nearest to it is exactly 2^-16.
static const float WHOLE_STEP = 1.5258789e-5f;
// Keeps a value of exactly 1.0 on the last step rather than one past it.
static const float STEP_SCALE = 0.9999f;

float ParamEncodeWhole(int32_t n) {
    return (float)(n + 1) * WHOLE_STEP;
}

int32_t ParamDecodeWhole(float value) {
    float n = 65536.0f * value - 1.0f;
    // Only a damaged value can be out of range; read it as "nothing".
    if (!(n > -2147483648.0f && n < 2147483648.0f)) return -1;
    return (int32_t)n;
}

int32_t ParamStep(float value, int32_t count) {
    float s = floorf((float)count * STEP_SCALE * value);
    if (!(s > 0.0f)) return 0;
    if (s > (float)(count - 1)) return count - 1;
    return (int32_t)s;
}

// snprintf that is safe for any size, also zero or negative.
static void Print(char *buffer, int32_t size, const char *format, ...) {
    if (size <= 0) return;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(buffer, (size_t)size, format, arguments);
    va_end(arguments);
}

static void FormatBipolar(const EngineContext *context, char *buffer, int32_t size,
                          int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%d%%", (int32_t)(value * 200.0f - 100.0f));
}

// Three straight segments: 0..0.1 s up to 0.2, 0.1..2 s up to 0.9, 2..10 s above.
static void FormatTime(const EngineContext *context, char *buffer, int32_t size,
                       int32_t step, int32_t count, int32_t parameter, float value) {
    float t;
    if (value < 0.2f) t = 0.5f * value;
    else if (value < 0.9f) t = (value - 0.2f) * 2.7142856f + 0.1f;
    else t = (value - 0.9f) * 80.0f + 2.0f;
    if (t < 0.01f) Print(buffer, size, "%.2fms", 1000.0f * t);
    else if (t < 1.0f) Print(buffer, size, "%dms", (int32_t)(1000.0f * t));
    else Print(buffer, size, "%.2fs", t);
}

static void FormatPhaserSteps(const EngineContext *context, char *buffer, int32_t size,
                              int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%d step%s", step + 1, step == 0 ? "" : "s");
}

static void FormatPhaserBase(const EngineContext *context, char *buffer, int32_t size,
                             int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%.2fHz", value * 2000.0f + 200.0f);
}

static void FormatBeats(const EngineContext *context, char *buffer, int32_t size,
                        int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%d/8 beats", step + 1);
}

static void FormatVoices(const EngineContext *context, char *buffer, int32_t size,
                         int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%d voice%s", step + 1, step == 0 ? "" : "s");
}

static void FormatCutoff(const EngineContext *context, char *buffer, int32_t size,
                         int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%dHz", (int32_t)(40.0f * powf(537.5f, value)));
}

static void FormatPhaserRate(const EngineContext *context, char *buffer, int32_t size,
                             int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%.2fHz", 2.0f * value);
}

static void FormatDecibels(const EngineContext *context, char *buffer, int32_t size,
                           int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%.1fdB", 40.0f * value - 20.0f);
}

static void FormatThreshold(const EngineContext *context, char *buffer, int32_t size,
                            int32_t step, int32_t count, int32_t parameter, float value) {
    float decibels = value < 1.0f ? -(40.0f * (1.0f - value)) : 0.0f;
    Print(buffer, size, "%.1fdB", decibels);
}

static void FormatRatio(const EngineContext *context, char *buffer, int32_t size,
                        int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%.1f:1", 1.0f / (1.0f - 0.95f * value));
}

// Fine control up to 2.5 Hz on the lower half, then up to 50 Hz.
static void FormatChorusSpeed(const EngineContext *context, char *buffer, int32_t size,
                              int32_t step, int32_t count, int32_t parameter, float value) {
    float hertz = value < 0.5f ? 5.0f * value : (value - 0.5f) * 95.0f + 2.5f;
    Print(buffer, size, "%.1fHz", hertz);
}

static void FormatModulatorRate(const EngineContext *context, char *buffer, int32_t size,
                                int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%s", MODULATOR_RATE_NAME[step]);
}

// Reverb Time shows a rough decay time, which depends on the algorithm. All
// three instances follow the first instance's algorithm as the editor holds it.
static void FormatDecay(const EngineContext *context, char *buffer, int32_t size,
                        int32_t step, int32_t count, int32_t parameter, float value) {
    float seconds;
    switch (ParamDecodeWhole(context->editorValue[PARAM_REVERB_ALGORITHM])) {
    case 0: seconds = 5.0f * value + 3.0f; break;  // Hall
    case 1: seconds = value + 1.5f; break;         // Room
    case 2: seconds = 4.0f * value + 1.0f; break;  // Plate
    case 3: seconds = 3.0f * value + 8.0f; break;  // Church
    default: seconds = 8.0f * value + 3.0f; break; // Atmosphere, and anything else
    }
    Print(buffer, size, "~%.1fs", seconds);
}

static void FormatSwitch(const EngineContext *context, char *buffer, int32_t size,
                         int32_t step, int32_t count, int32_t parameter, float value) {
    Print(buffer, size, "%s", value >= 0.5f ? "on" : "off");
}

// The destination is tested before truncation, so a value a little above 0
// still reads as unassigned.
static void FormatDestination(const EngineContext *context, char *buffer, int32_t size,
                              int32_t step, int32_t count, int32_t parameter, float value) {
    float target = 65536.0f * value - 1.0f;
    if (target < 0.0f || target >= (float)PARAM_COUNT) Print(buffer, size, "unassigned");
    else Print(buffer, size, "%s", PARAM_INFO[(int32_t)target].shortName);
}

const ParamKind PARAM_KIND[PARAM_KIND_COUNT] = {
    /*  0 percent        */ { 0, 0, nullptr },
    /*  1 bipolar        */ { 0, 0, FormatBipolar },
    /*  2 time           */ { 0, 0, FormatTime },
    /*  3 phaser steps   */ { 0, 0, FormatPhaserSteps },
    /*  4 phaser base    */ { 0, 0, FormatPhaserBase },
    /*  5 beats          */ { 0, 0, FormatBeats },
    /*  6 voices         */ { 0, 0, FormatVoices },
    /*  7                */ { 0, 0, nullptr },
    /*  8                */ { 0, 0, nullptr },
    /*  9 cutoff         */ { 0, 0, FormatCutoff },
    /* 10 phaser rate    */ { 0, 0, FormatPhaserRate },
    /* 11                */ { 0, 0, nullptr },
    /* 12 decibels       */ { 0, 0, FormatDecibels },
    /* 13 threshold      */ { 0, 0, FormatThreshold },
    /* 14 ratio          */ { 0, 0, FormatRatio },
    /* 15 chorus speed   */ { 0, 0, FormatChorusSpeed },
    /* 16 modulator rate */ { 0, MODULATOR_RATE_COUNT, FormatModulatorRate },
    /* 17                */ { 0, 0, nullptr },
    /* 18 unused         */ { 1, 0, nullptr },
    /* 19                */ { 0, 0, nullptr },
    /* 20                */ { 0, 0, nullptr },
    /* 21                */ { 0, 0, nullptr },
    /* 22 decay          */ { 0, 0, FormatDecay },
    /* 23 coded          */ { 1, 0, nullptr },
    /* 24 switch         */ { 1, 0, FormatSwitch },
    /* 25 destination    */ { 1, 0, FormatDestination },
    /* 26                */ { 0, 0, nullptr },
    /* 27 eq             */ { 0, 0, nullptr },
};

void ParamFormatValue(const EngineContext *context, int32_t parameter, char *buffer,
                      int32_t size, float value) {
    if (size <= 0) return;
    if (parameter < 0 || parameter >= PARAM_COUNT) {
        buffer[0] = 0;
        return;
    }
    if (value == -1.0f) value = context->editorValue[parameter];
    const ParamInfo *info = &PARAM_INFO[parameter];
    const ParamKind *kind = &PARAM_KIND[info->kind];
    int32_t count = kind->optionCount ? kind->optionCount : info->stepCount;
    int32_t step = count ? ParamStep(value, count) : 0;
    if (kind->formatValue) kind->formatValue(context, buffer, size, step, count, parameter, value);
    else Print(buffer, size, "%d%%", (int32_t)(value * 100.0f));
}
