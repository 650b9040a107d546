// Multiband Distortion: each channel is split into low, mid and high bands by
// two cascades of one-pole low-passes, each band is multiplied by its own
// pre-gain, and the sum of the three goes through one waveshaper of nineteen.
// One shaper per channel, not one per band, so the bands intermodulate in it.
// Nothing compensates the level: most shapers level off near 0.5, not 1.
//
// The band split's memory is shared by the three instances (DistortionShared):
// two instances in one chain pass each SubBlock through it one after the other.
//
// Per SubBlock the band-split loop runs frame by frame on both lanes and
// leaves the drive of every sample in a small buffer; then one loop, chosen by
// the mode before it starts, shapes and mixes those samples. Within that loop
// the shaper is a constant, and the shapers made of arithmetic alone (all but
// the four that call the library's atanf or tanhf) run as vector loops.
#include <math.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

// The one-pole coefficients are 2 sin(SPLIT / sr): near 400 Hz and 2 kHz.
const float DISTORTION_LOW_SPLIT = 1256.6f;
const float DISTORTION_HIGH_SPLIT = 6283.0f;
// Bound on the split's angles SPLIT / sr (OnePoleCoefficient): pi/6, where
// the coefficient is 1. Up to there both cascades stay plain low-passes and
// the three bands stay within a few times the input; beyond, the pole turns
// negative and the split first lifts the top of the band and then, near
// 1.2 kHz for the high split, grows without end. At 44.1 kHz and up the
// angles are at most 0.15, so the bound engages only below 12 kHz (high
// split) and 2.4 kHz (low split).
const float SPLIT_ANGLE_LIMIT = 0.5235988f;
// Pre-gain of a band: p^4 PRE_GAIN_RANGE + PRE_GAIN_FLOOR, 0.75 to 75.
const float PRE_GAIN_RANGE = 74.25f;
const float PRE_GAIN_FLOOR = 0.75f;

enum DistortionMode {
    DISTORTION_OFF, DISTORTION_LIGHT, DISTORTION_SOFT, DISTORTION_MEDIUM, DISTORTION_HARD,
    DISTORTION_TRIPLE, DISTORTION_DIGITAL, DISTORTION_FOLDBACK, DISTORTION_WRAPBACK,
    DISTORTION_FALLBACK, DISTORTION_SINE, DISTORTION_VRS_LIGHT, DISTORTION_VRS_SOFT,
    DISTORTION_VRS_MID, DISTORTION_VRS_HARD, DISTORTION_ASYM_1, DISTORTION_ASYM_2,
    DISTORTION_ASYM_3, DISTORTION_TEETH,
    DISTORTION_MODE_COUNT
};

// atan scaled so that its limits lie just inside 0.5.
const float ATAN_SCALE = 0.318f;
const float MEDIUM_SLOPE = 1.56f, MEDIUM_KNEE = 2.9f;
// The rational curve of "Hard" and of the positive half of "Asym 1".
const float HARD_NUMERATOR = 5.6f, HARD_DENOMINATOR = 4.6f;
const float SINE_DRIVE = 1.57f;
// "Asym 2" is -1 below this, where 2^v no longer moves its result.
const float ASYM_2_FLOOR = -50.0f;
// The "VRS" curves pass v unchanged for |v| below this.
const float VRS_LINEAR_ZONE = 0.001f;

// A "VRS" curve: FastPow(FastAtan(drive v), exponent) scale, with a triple of
// its own on each side of the linear zone. The negative side's drive is
// negative, so the argument of FastAtan is positive on both sides.
struct VrsCurve {
    float drive, exponent, scale;                          // v at VRS_LINEAR_ZONE or more
    float negativeDrive, negativeExponent, negativeScale;  // v at -VRS_LINEAR_ZONE or less
};

const VrsCurve VRS_LIGHT = {2.65f, 0.84f, 0.28f, -1.5f, 0.9f, -0.544f};
const VrsCurve VRS_SOFT = {5.9f, 0.81f, 0.125f, -0.825f, 0.95f, -1.0f};
const VrsCurve VRS_MID = {13.5f, 0.93f, 0.133f, -3.7f, 0.955f, -0.53f};
const VrsCurve VRS_HARD = {19.0f, 0.707f, 0.18f, -10.0f, 0.69f, -0.365f};

// fmodf(a, 2) for a of 0 or more, exactly: half of a is exact, its whole part
// doubled is an even number within 2 below a and on a's grid, and so the
// difference is formed without rounding. From 2^24 up every float is even,
// and the remainder is 0. Branch-free, like the primitives, so that the
// shaper loops vectorise.
static inline float RemainderOfTwo(float a) { return a - 2.0f * WholePart(a * 0.5f); }

// ---- the shapers ----

// One FastPow serves both sides: the side picks the triple first. In the
// linear zone the curve's value is discarded.
static inline float ShapeVrs(float v, const VrsCurve &k) {
    bool positive = v >= VRS_LINEAR_ZONE, negative = v <= -VRS_LINEAR_ZONE;
    float drive = positive ? k.drive : k.negativeDrive;
    float exponent = positive ? k.exponent : k.negativeExponent;
    float scale = positive ? k.scale : k.negativeScale;
    float curve = FastExp2(FastLog2(FastAtan(drive * v)) * exponent) * scale;
    return Pick(positive | negative, curve, v);
}

// A drive this large comes only from a chain of gain stages before the unit.
// The rational curves have long reached their limits there, but their own
// arithmetic would overflow into inf / inf, so the drive is held at this
// size: the same float result wherever the formula's is finite, and no NaN
// from finite audio.
const float RATIONAL_DRIVE_LIMIT = 1e18f;
// FastSin reduces its argument exactly only up to about 2.6e7; beyond it the
// sine's phase means nothing anyway, so the drive is held below.
const float SINE_DRIVE_LIMIT = 1e7f;

static inline float Limit(float v, float limit) { return v < -limit ? -limit : (v > limit ? limit : v); }

// The waveshaper of a mode; "Off" and any index outside the table pass v.
// "Foldback" and "Wrapback" fold |v| and multiply the result by the sign of
// v, so both are odd: "Wrapback" gives -0.25 at 1.5 and 0.25 at -1.5.
__attribute__((always_inline)) static inline float Shape(int32_t mode, float v) {
    float magnitude = fabsf(v);
    switch (mode) {
    case DISTORTION_LIGHT: return atanf(v) * ATAN_SCALE;
    case DISTORTION_SOFT: return tanhf(v) * 0.5f;
    case DISTORTION_MEDIUM: {
        float h = Limit(v, RATIONAL_DRIVE_LIMIT);
        return MEDIUM_SLOPE * h / (1.0f + MEDIUM_KNEE * fabsf(h));
    }
    case DISTORTION_HARD: {
        float h = Limit(v, RATIONAL_DRIVE_LIMIT), size = fabsf(h);
        return 0.5f * h * (HARD_NUMERATOR + size) / (1.0f + h * h + HARD_DENOMINATOR * size);
    }
    case DISTORTION_TRIPLE: {
        float t = tanhf(v);
        return 0.5f * t * t * t;
    }
    case DISTORTION_DIGITAL: return v < -0.5f ? -0.5f : (v > 0.5f ? 0.5f : v);
    case DISTORTION_FOLDBACK: {
        float u = RemainderOfTwo(magnitude);
        float half = Pick(u > 1.0f, 2.0f - u, u) * 0.5f;
        return Pick(v < 0.0f, -half, half);
    }
    case DISTORTION_WRAPBACK: {
        float u = RemainderOfTwo(magnitude);
        float half = Pick(u > 1.0f, u - 2.0f, u) * 0.5f;
        return Pick(v < 0.0f, -half, half);
    }
    case DISTORTION_FALLBACK: return v / (v * v + 1.0f);
    case DISTORTION_SINE: return FastSin(SINE_DRIVE * Limit(v, SINE_DRIVE_LIMIT)) * 0.5f;
    case DISTORTION_VRS_LIGHT: return ShapeVrs(v, VRS_LIGHT);
    case DISTORTION_VRS_SOFT: return ShapeVrs(v, VRS_SOFT);
    case DISTORTION_VRS_MID: return ShapeVrs(v, VRS_MID);
    case DISTORTION_VRS_HARD: return ShapeVrs(v, VRS_HARD);
    case DISTORTION_ASYM_1: {
        float h = Limit(v, RATIONAL_DRIVE_LIMIT);
        float curve = 0.5f * h * (HARD_NUMERATOR + h) / ((HARD_DENOMINATOR + h) * h + 1.0f);
        return Pick(v < 0.0f, v, curve);
    }
    case DISTORTION_ASYM_2: {
        // Its positive side calls atanf, so this loop stays scalar anyway.
        if (v >= 0.0f) return atanf(v) * ATAN_SCALE;
        if (v < ASYM_2_FLOOR) return -1.0f;
        float t = FastExp2(v);
        return (t - 1.0f) / (t + 1.0f);
    }
    case DISTORTION_ASYM_3: {
        float u = RemainderOfTwo(-v);
        float negative = -0.5f * Pick(u > 1.0f, 2.0f - u, u);
        return Pick(v < 0.0f, negative, v / (v * v + 1.0f));
    }
    case DISTORTION_TEETH: {
        // floor and the whole part agree on what is taken here: each
        // argument is 0 or more, or -0.
        float above = (v - WholePart(v)) * 0.5f;
        float below = (v + WholePart(-v)) * 0.5f;
        return Pick(v >= 0.0f, above, below);
    }
    default: return v;
    }
}

float DistortionShape(int32_t mode, float v) { return Shape(mode, v); }

typedef void ShapeLoop(const float *drive, float *samples, int count, float dry, float wet);

// Shapes `count` samples of drive and mixes them into the dry samples in
// place: x (1 - mix) + y mix, with dry = 1 - mix and wet = mix.
template <int32_t MODE>
static void ShapeAndMix(const float *drive, float *samples, int count, float dry, float wet) {
    for (int i = 0; i < count; i++) samples[i] = samples[i] * dry + Shape(MODE, drive[i]) * wet;
}

static ShapeLoop *const SHAPE_LOOPS[DISTORTION_MODE_COUNT] = {
    ShapeAndMix<0>,  ShapeAndMix<1>,  ShapeAndMix<2>,  ShapeAndMix<3>,  ShapeAndMix<4>,
    ShapeAndMix<5>,  ShapeAndMix<6>,  ShapeAndMix<7>,  ShapeAndMix<8>,  ShapeAndMix<9>,
    ShapeAndMix<10>, ShapeAndMix<11>, ShapeAndMix<12>, ShapeAndMix<13>, ShapeAndMix<14>,
    ShapeAndMix<15>, ShapeAndMix<16>, ShapeAndMix<17>, ShapeAndMix<18>,
};

// A band's pre-gain from its dial, clamped to 0 .. 1; the fourth power is
// multiplied out from the left.
static float PreGain(float value) {
    float p = Clamp01(value);
    return p * p * p * p * PRE_GAIN_RANGE + PRE_GAIN_FLOOR;
}

void DistortionRun(Engine *engine, const EngineContext *context, int instance, float *frames,
                   int count) {
    const float *value = context->liveValue;
    if (!(value[PARAM_DIST_ENABLE + instance] > 0.5f)) return;
    float sampleRate = context->sampleRate;
    DistortionShared *shared = &engine->distortionShared;
    if (!SameDesignInputs(&shared->design, &sampleRate, 1)) {
        shared->kLow = OnePoleCoefficient(DISTORTION_LOW_SPLIT, sampleRate, SPLIT_ANGLE_LIMIT);
        shared->kHigh = OnePoleCoefficient(DISTORTION_HIGH_SPLIT, sampleRate, SPLIT_ANGLE_LIMIT);
    }
    Lanes kLow = Splat(shared->kLow), kHigh = Splat(shared->kHigh);
    Lanes gLow = Splat(PreGain(value[PARAM_DIST_LOW + instance]));
    Lanes gMid = Splat(PreGain(value[PARAM_DIST_MID + instance]));
    Lanes gHigh = Splat(PreGain(value[PARAM_DIST_HIGH + instance]));
    float mix = Clamp01(value[PARAM_DIST_MIX + instance]);
    int32_t mode = ParamDecodeWhole(value[PARAM_DIST_MODE + instance]);
    if (mode < 0 || mode >= DISTORTION_MODE_COUNT) mode = DISTORTION_OFF;

    // Each one-pole moves its state by k of the way to its input (as
    // OnePoleLowPass, on both lanes). Low is what the first cascade lets
    // through, mid what the second lets through of the rest, high what
    // remains: the three add up to x again.
    float drive[2 * SUBBLOCK_FRAMES];
    BandSplitState *split = &shared->bandSplit;
    Lanes s1 = LoadLanes(split->s1), s2 = LoadLanes(split->s2);
    Lanes s3 = LoadLanes(split->s3), s4 = LoadLanes(split->s4);
    for (int i = 0; i < count; i++) {
        Lanes x = LoadLanes(frames + 2 * i);
        s1 = (x - s1) * kLow + s1;
        s2 = (s1 - s2) * kLow + s2;
        Lanes low = s2, rest = x - low;
        s3 = (rest - s3) * kHigh + s3;
        s4 = (s3 - s4) * kHigh + s4;
        Lanes mid = s4, high = rest - mid;
        StoreLanes(low * gLow + mid * gMid + high * gHigh, drive + 2 * i);
    }
    StoreLanes(s1, split->s1), StoreLanes(s2, split->s2);
    StoreLanes(s3, split->s3), StoreLanes(s4, split->s4);

    SHAPE_LOOPS[mode](drive, frames, 2 * count, 1.0f - mix, mix);
}

}  // namespace ENGINE_NAMESPACE
