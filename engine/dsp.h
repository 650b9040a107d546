// The numeric primitives every effect unit shares: the fast approximations,
// the filter section and its two designs, the parameter curves, the LFO
// shape and the delay line. Each has this one home; a unit that needs a
// variant says why.
//
// Everything here is per-level code: it lives in the level's namespace, so
// that the five builds of the engine never share a symbol.
#pragma once
#include <math.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "engine/backend.h"
#include "engine/state.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

// ---- small helpers ----

inline uint32_t FloatBits(float v) {
    uint32_t bits;
    memcpy(&bits, &v, sizeof bits);
    return bits;
}

inline float BitsFloat(uint32_t bits) {
    float v;
    memcpy(&v, &bits, sizeof v);
    return v;
}

// The primitives below choose between pieces without branches: a branch
// keeps a loop scalar, since the compiler forms a piece only on its own path
// and may not form it for lanes that would not take that path. So every piece
// is formed and the result Picked; the results are those of the branching
// forms for every input.

// a where `condition` holds, else b, by a bit mask: both are formed first.
// Conditions are combined with | and &, which evaluate both sides.
inline float Pick(bool condition, float a, float b) {
    uint32_t mask = 0u - (uint32_t)condition;
    return BitsFloat((FloatBits(a) & mask) | (FloatBits(b) & ~mask));
}

// From 2^23 up every float is a whole number.
const float ALL_WHOLE_FROM = 8388608.0f;

// truncf(a): below 2^23 in magnitude through a whole-number conversion, with
// a's sign put back (-0.5 gives -0); from there up, and for NaN and
// infinity, a itself.
inline float WholePart(float a) {
    bool small = fabsf(a) < ALL_WHOLE_FROM;
    float whole = copysignf((float)(int32_t)Pick(small, a, 0.0f), a);
    return Pick(small, whole, a);
}

// floorf(a): the whole part, one less where it lies above a.
inline float FloorPart(float a) {
    float whole = WholePart(a);
    return Pick(whole > a, whole - 1.0f, whole);
}

// ---- approximated functions ----
// Each takes and returns a float and runs in single precision by Horner's
// rule; only the range reduction of FastSin and FastCos is done in doubles.

const double HALF_PI = 1.5707963267948966, QUARTER_PI = 0.7853981633974483;
const double PI = 3.141592653589793, THREE_HALVES_PI = 4.71238898038469;
const double TWO_PI = 6.283185307179586, INVERSE_TWO_PI = 0.15915494309189535;

// sin(t) for t in 0 .. pi/4.
inline float SinPoly(float t) {
    float y = t * t;
    return ((-0.00019490719f * y + 0.0083319545f) * y - 0.16666651f) * y * t + t;
}

// cos(t) for t in 0 .. pi/4.
inline float CosPoly(float t) {
    float y = t * t;
    return ((-0.0013593435f * y + 0.041655898f) * y - 0.49999887f) * y + 1.0f;
}

// Reduces |x| to r in 0 .. pi/2 and tells the quadrant (0 to 3) of |x|.
// Every step is formed in doubles from the float operand and rounded to a
// float where it is assigned. Up to |x| of 2^22 turns (about 2.6e7) the
// reduction is exact but for the rounding of the reduced angle (a turn count
// rounded up leaves a slightly negative angle, which the odd and even
// polynomials take as it is); beyond, the count can be a whole turn off.
inline float FoldAngle(float x, int *quadrant) {
    float a = fabsf(x);
    float q = (float)((double)a * INVERSE_TWO_PI);
    float turned = (float)((double)a - (double)FloorPart(q) * TWO_PI);
    a = Pick(q >= 1.0f, turned, a);
    double wide = a;
    bool belowHalf = wide < HALF_PI, belowPi = wide < PI, belowThreeHalves = wide < THREE_HALVES_PI;
    *quadrant = !belowHalf + !belowPi + !belowThreeHalves;
    return Pick(belowHalf, a,
                Pick(belowPi, (float)(PI - wide),
                     Pick(belowThreeHalves, (float)(wide - PI), (float)(TWO_PI - wide))));
}

// sin(x) for finite x: within 4.3e-8 plus the rounding of the reduced angle
// and of the result (half an ulp each), while the reduction is exact.
inline float FastSin(float x) {
    int quadrant;
    float r = FoldAngle(x, &quadrant);
    float v = Pick((double)r < QUARTER_PI, SinPoly(r), CosPoly((float)(HALF_PI - (double)r)));
    bool negative = (quadrant >= 2) != (x < 0.0f);
    return Pick(negative, -v, v);
}

// cos(x) for any finite x, to the same accuracy as FastSin.
inline float FastCos(float x) {
    int quadrant;
    float r = FoldAngle(x, &quadrant);
    float v = Pick((double)r < QUARTER_PI, CosPoly(r), SinPoly((float)(HALF_PI - (double)r)));
    bool negative = (quadrant == 1) | (quadrant == 2);
    return Pick(negative, -v, v);
}

// 2^x, within 2e-7 relative. 0 when floor(x) is below -126, where adding
// the exponent would wrap into the sign bit; infinity from 128 up; NaN stays
// NaN.
inline float FastExp2(float x) {
    float floorX = FloorPart(x);
    bool tooSmall = floorX < -126.0f, inRange = floorX < 128.0f;
    float t = x - floorX;
    float p = ((((0.0018965006f * t + 0.008942246f) * t + 0.055867314f) * t + 0.24013901f) * t +
               0.69315493f) * t + 0.9999999f;
    // The exponent comes from a value held inside the range in which it is
    // added; outside it the result is 0, or x + infinity (NaN stays NaN).
    int32_t i = (int32_t)Pick(!tooSmall & inRange, floorX, 0.0f);
    float scaled = BitsFloat(FloatBits(p) + ((uint32_t)i << 23));
    return Pick(tooSmall, 0.0f, Pick(inRange, scaled, x + INFINITY));
}

// log2(x) for positive normal x. The polynomial is within 4.1e-6 of log2 on
// 1 .. 2, but its evaluation in floats, whose Horner terms reach 10, adds
// rounding: the result is within 1.1e-5 of the exact value for x in 1 .. 2
// and within 2e-5 over the whole range, where the exponent term is large.
inline float FastLog2(float x) {
    uint32_t bits = FloatBits(x);
    float m = BitsFloat((bits & 0x007FFFFFu) | 0x3F800000u);  // x scaled into 1 .. 2
    float e = (float)((int32_t)((bits >> 23) & 0xFFu) - 127);
    return (((((((-0.009099126f * m + 0.12405455f) * m - 0.7499014f) * m + 2.6447005f) * m -
               6.0268226f) * m + 9.304538f) * m - 10.022685f) * m + 8.162054f) * m +
           (e - 3.4268389f);
}

// x^y for positive x, as FastExp2(FastLog2(x) y).
inline float FastPow(float x, float y) { return FastExp2(FastLog2(x) * y); }

// atan(t) for t in 0 .. 0.5.
inline float AtanPoly(float t) {
    float y = t * t;
    return (y * (((0.066598296f * y - 0.13309622f) * y + 0.19901109f) * y - 0.3332919f) +
            0.9999995f) * t;
}

// atan(x) for x of 0 or more; within 2e-7 of the exact value, and its two
// pieces meet at 0.5 and 1 to within 2e-7.
inline float FastAtan(float x) {
    bool inverted = x > 1.0f;
    float v = Pick(inverted, 1.0f / x, x);
    // atan(v) = atan(1/2) + atan((2v - 1) / (v + 2)) from v = 1/2 up
    float u = (2.0f * v - 1.0f) / (v + 2.0f);
    float r = Pick(v < 0.5f, AtanPoly(v), AtanPoly(u) + 0.4636476f);
    return Pick(inverted, 1.5707963267948966f - r, r);
}

// ---- the filter section ----

// One second-order section's coefficients, a0 normalised to 1.
struct BiquadCoefficients {
    float a1, a2, b0, b1, b2;
};

inline void SetFirstSection(BiquadStage *stage, BiquadCoefficients c) {
    stage->a1 = c.a1, stage->a2 = c.a2, stage->b0 = c.b0, stage->b1 = c.b1, stage->b2 = c.b2;
}

inline void SetSecondSection(BiquadStage *stage, BiquadCoefficients c) {
    stage->a1b = c.a1, stage->a2b = c.a2, stage->b0b = c.b0, stage->b1b = c.b1, stage->b2b = c.b2;
}

// The two lanes of a stereo frame in one vector register; the upper two
// elements are unused. Each element is computed exactly as scalar code would,
// so the vector form changes no result.
typedef float Lanes __attribute__((vector_size(16)));

inline Lanes LoadLanes(const float pair[2]) { return Lanes{pair[0], pair[1], 0.0f, 0.0f}; }
inline void StoreLanes(Lanes v, float pair[2]) { pair[0] = v[0], pair[1] = v[1]; }
inline Lanes Splat(float v) { return Lanes{v, v, v, v}; }

// A BiquadStage opened for a per-frame loop: coefficients and state in
// registers. BiquadOpen before the loop, BiquadRun per frame, BiquadClose
// after it to put the state back.
struct BiquadLanes {
    Lanes b0, b1, b2, a1, a2, x1, x2, y1, y2;
    Lanes b0b, b1b, b2b, a1b, a2b, x1b, x2b, y1b, y2b;
    bool cascade;
};

inline BiquadLanes BiquadOpen(const BiquadStage *s) {
    BiquadLanes l;
    l.b0 = Splat(s->b0), l.b1 = Splat(s->b1), l.b2 = Splat(s->b2);
    l.a1 = Splat(s->a1), l.a2 = Splat(s->a2);
    l.x1 = LoadLanes(s->x1), l.x2 = LoadLanes(s->x2), l.y1 = LoadLanes(s->y1), l.y2 = LoadLanes(s->y2);
    l.b0b = Splat(s->b0b), l.b1b = Splat(s->b1b), l.b2b = Splat(s->b2b);
    l.a1b = Splat(s->a1b), l.a2b = Splat(s->a2b);
    l.x1b = LoadLanes(s->x1b), l.x2b = LoadLanes(s->x2b);
    l.y1b = LoadLanes(s->y1b), l.y2b = LoadLanes(s->y2b);
    l.cascade = s->cascade != 0;
    return l;
}

inline void BiquadClose(const BiquadLanes *l, BiquadStage *s) {
    StoreLanes(l->x1, s->x1), StoreLanes(l->x2, s->x2);
    StoreLanes(l->y1, s->y1), StoreLanes(l->y2, s->y2);
    StoreLanes(l->x1b, s->x1b), StoreLanes(l->x2b, s->x2b);
    StoreLanes(l->y1b, s->y1b), StoreLanes(l->y2b, s->y2b);
}

// One frame through the stage on both lanes: y = b0 x + b1 x1 + b2 x2 -
// a1 y1 - a2 y2, and with `cascade` the second section on that y.
inline Lanes BiquadRun(BiquadLanes *l, Lanes x) {
    Lanes y = l->b0 * x + l->b1 * l->x1 + l->b2 * l->x2 - l->a1 * l->y1 - l->a2 * l->y2;
    l->x2 = l->x1, l->x1 = x, l->y2 = l->y1, l->y1 = y;
    if (!l->cascade) return y;
    Lanes z = l->b0b * y + l->b1b * l->x1b + l->b2b * l->x2b - l->a1b * l->y1b - l->a2b * l->y2b;
    l->x2b = l->x1b, l->x1b = y, l->y2b = l->y1b, l->y1b = z;
    return z;
}

// One frame through a stage kept in memory, for code outside a per-frame loop.
inline void BiquadStep(BiquadStage *s, float lanes[2]) {
    BiquadLanes l = BiquadOpen(s);
    StoreLanes(BiquadRun(&l, LoadLanes(lanes)), lanes);
    BiquadClose(&l, s);
}

// True when `inputs` (at most eight) are bit for bit those of the last
// design: a design is a function of its inputs alone, so the coefficients it
// made still hold. Otherwise remembers them and answers false.
inline bool SameDesignInputs(DesignInputs *last, const float *inputs, int count) {
    bool same = last->designed != 0;
    for (int i = 0; i < count; i++) {
        uint32_t bits = FloatBits(inputs[i]);
        same = same && last->bits[i] == bits;
        last->bits[i] = bits;
    }
    last->designed = 1;
    return same;
}

// cos and sin of a filter's angle w = 2 pi f / sr, with f held at 0.49 sr.
struct FilterAngle {
    float c, s;
};

inline FilterAngle AngleOf(float f, float sampleRate) {
    float limit = 0.49f * sampleRate;
    if (f > limit) f = limit;
    float w = f * 6.28318f / sampleRate;
    return {FastCos(w), FastSin(w)};
}

// The shared part of the two designs at Q 0.5, where the bandwidth term is
// sin(w) itself. Gives cos(w) and 1 / (1 + sin(w)).
inline BiquadCoefficients PoleDesign(float f, float sampleRate, float *c, float *g) {
    FilterAngle angle = AngleOf(f, sampleRate);
    *c = angle.c;
    *g = 1.0f / (1.0f + angle.s);
    BiquadCoefficients design = {};
    design.a1 = -2.0f * *c * *g;
    design.a2 = (1.0f - angle.s) * *g;
    return design;
}

// Second-order low-pass at f Hz (at most 0.49 sr), Q 0.5, unit gain at DC.
inline BiquadCoefficients LowPassDesign(float f, float sampleRate) {
    float c, g;
    BiquadCoefficients design = PoleDesign(f, sampleRate, &c, &g);
    design.b1 = (1.0f - c) * g;
    design.b0 = design.b2 = 0.5f * design.b1;
    return design;
}

// Second-order high-pass at f Hz (at most 0.49 sr), Q 0.5, unit gain at Nyquist.
inline BiquadCoefficients HighPassDesign(float f, float sampleRate) {
    float c, g;
    BiquadCoefficients design = PoleDesign(f, sampleRate, &c, &g);
    float h = (1.0f + c) * g;
    design.b1 = -h;
    design.b0 = design.b2 = 0.5f * h;
    return design;
}

// ---- parameter curves and the LFO ----

const float LN_10 = 2.3025851f;

// The linear gain of a level in decibels: 10^(db / 20).
inline float DecibelsToGain(float db) { return expf(db * 0.05f * LN_10); }

// Decibels of a gain dial: -20 dB at 0 to +20 dB at 1, linear in decibels.
inline float DialDecibels(float p) { return 40.0f * p - 20.0f; }

// Length of a tempo-locked delay dial in eighth beats: 1 to 16 in 16 equal
// steps; the top of the dial stays at 16.
const float EIGHTH_BEAT = 0.125f;
inline float DelayEighths(float p) { return floorf(15.9984f * p) + 1.0f; }

// Filter frequency of a dial: 40 Hz at 0 to 21.5 kHz at 1, exponential.
inline float CutoffCurve(float p) { return 40.0f * expf(6.2869287f * p); }

// Time of a dial in seconds: 0 to 0.1 s below 0.2, 0.1 to 2 s up to 0.9,
// 2 to 10 s above.
inline float LongTimeCurve(float p) {
    if (p < 0.2f) return p * 0.5f;
    if (p < 0.9f) return (p - 0.2f) * 2.7142856f + 0.1f;
    return (p - 0.9f) * 80.0f + 2.0f;
}

// Triangle of a phase in 0 .. 1: -1 at 0, 1 at one half.
inline float TriangleLfo(float phase) {
    return phase < 0.5f ? 4.0f * phase - 1.0f : 3.0f - 4.0f * phase;
}

// The phase after one step of `increment`, wrapped into 0 .. 1 by one subtraction.
inline float AdvancePhase(float phase, float increment) {
    phase += increment;
    if (phase >= 1.0f) phase -= 1.0f;
    return phase;
}

// ---- simple recursive sections ----

// First-order all-pass with coefficient a and one float of state: out = s - a in.
inline float FirstOrderAllPass(float a, float *state, float in) {
    float out = *state - a * in;
    *state = in + a * out;
    return out;
}

// One-pole low-pass with coefficient k: s moves by k of the way to x.
inline float OnePoleLowPass(float k, float *state, float x) {
    *state = (x - *state) * k + *state;
    return *state;
}

// The coefficient k = 2 sin(x) of a one-pole low-pass, from the angle
// x = omega / sr. The pole lies at 1 - k, so the section is stable for k
// between 0 and 2. As the sample rate falls, x grows: past pi/6 the pole
// turns negative and the section lifts the top of the band, at pi/2 it
// reaches -1 (an undamped ring at the Nyquist frequency), past pi it leaves
// the unit circle and the output grows without end. So x is held at most
// `limit`, below pi/2; each caller sets it above the largest x its own
// formula reaches at 44.1 kHz, so from there up the plain formula stands.
inline float OnePoleCoefficient(float omega, float sampleRate, float limit) {
    float x = omega / sampleRate;
    return 2.0f * FastSin(x < limit ? x : limit);
}

// ---- the delay line ----

// A line's length from a length in frames formed as a float product: the
// truncated count, or 0 when that is not a positive number below `limit`
// (NaN, infinity, negative, below one frame, or too long to index). A line
// given 0 does nothing for that SubBlock: no read, no write, no advance, its
// storage untouched. The test comes before the conversion, which is defined
// only for floats in the integer's range.
inline int32_t DelayLength(float frames, int32_t limit) {
    if (!(frames >= 1.0f && frames < (float)limit)) return 0;
    return (int32_t)frames;
}

// Frees a line's storage and leaves it empty: length and writeIndex 0.
inline void ReleaseDelayLine(DelayLine *line) {
    free(line->samples);
    line->samples = nullptr;
    line->writeIndex = 0;
    line->length = 0;
}

// Makes the line `length` elements of `width` floats long (length at least
// 1; a line keeps one width for its life). An unchanged length does nothing;
// any other length gets fresh zeroed storage and writeIndex 0, so a resized
// line is silent at once. Runs in the audio callback: the old content is
// discarded, so the storage is freed and made anew by calloc, which takes
// zeroed pages from the system without touching them. Answers false, with
// the line released, when the allocator cannot give the storage; the caller
// then skips the line and the next SubBlock tries again.
inline bool EnsureDelayLine(DelayLine *line, int32_t length, int32_t width) {
    if (line->length == length) return true;
    ReleaseDelayLine(line);
    line->samples = (float *)calloc((size_t)length * (size_t)width, sizeof(float));
    if (!line->samples) return false;
    line->length = length;
    return true;
}

// Stores one element at writeIndex and moves writeIndex on, wrapping at length.
inline void WriteDelayLine(DelayLine *line, float value) {
    line->samples[line->writeIndex] = value;
    if (++line->writeIndex == line->length) line->writeIndex = 0;
}

// The line's content d elements behind `index` (a write index as a float),
// linearly interpolated. A d of 0 reads the element at index, which is the
// oldest, `length` behind; a d between 0 and 1 mixes the newest element with
// the oldest, because an index that reaches `length` reads element 0. A
// position outside the line (d outside 0 .. length, or NaN) is held to its
// ends, so no index can leave the storage.
inline float ReadDelayLine(const DelayLine *line, float index, float d) {
    float length = (float)line->length;
    float p = index - d;
    if (p < 0.0f) p += length;
    if (!(p >= 0.0f)) p = 0.0f;
    if (p > length) p = length;
    int32_t i0 = (int32_t)p, i1 = (int32_t)(p + 1.0f);
    if (i0 >= line->length) i0 = 0;
    if (i1 >= line->length) i1 = 0;
    float whole = floorf(p);
    return (whole + 1.0f - p) * line->samples[i0] + (p - whole) * line->samples[i1];
}

// ---- reading a line at a run of frames ----

// Frames of one signal side by side, with their positions in a line: eight
// where the build has 256-bit integer vectors, four otherwise. Each element is
// computed exactly as scalar code would, so the width changes no result.
#ifdef __AVX2__
enum { TAP_GROUP = 8 };
#else
enum { TAP_GROUP = 4 };
#endif
typedef float TapFrames __attribute__((vector_size(4 * TAP_GROUP)));
typedef int32_t TapIndices __attribute__((vector_size(4 * TAP_GROUP)));

inline TapFrames SplatFrames(float v) { return TapFrames{} + v; }

inline TapIndices FrameSteps() {
    TapIndices steps;
    for (int j = 0; j < TAP_GROUP; j++) steps[j] = j;
    return steps;
}

inline bool AllZero(TapIndices v) {
    uint64_t words[TAP_GROUP / 2], any = 0;
    memcpy(words, &v, sizeof words);
    for (uint64_t word : words) any |= word;
    return any == 0;
}

// ReadDelayLine(line, index, d) for the TAP_GROUP frames from frame n of a
// run, each at the write position the line has at that frame, and each with
// its own d; `first` is that position for frame 0. The same arithmetic
// element by element, for a d in 0 .. length: there ReadDelayLine's guards
// against positions outside the line have nothing to do, and p is never
// negative, so its floor is its truncation. Where the positions follow each
// other, which is all but a frame or two in a line's length, each row of
// elements is one load. The caller sees to it that no element read is one
// that an earlier frame of the run writes.
inline TapFrames ReadTaps(const DelayLine *line, int32_t first, TapFrames d, int n) {
    const int32_t length = line->length;
    const TapIndices steps = FrameSteps(), none = {};
    TapIndices index = first + n + steps;
    index = index >= length ? index - length : index;
    TapFrames p = __builtin_convertvector(index, TapFrames) - d;
    p = p < 0.0f ? p + (float)length : p;
    TapIndices i0 = __builtin_convertvector(p, TapIndices);
    TapIndices i1 = __builtin_convertvector(p + 1.0f, TapIndices);
    TapFrames whole = __builtin_convertvector(i0, TapFrames);
    i0 = i0 >= length ? none : i0;
    i1 = i1 >= length ? none : i1;
    const float *samples = line->samples;
    TapFrames a, b;
    if (AllZero(((i0 - i0[0]) ^ steps) | ((i1 - i1[0]) ^ steps))) {
        memcpy(&a, samples + i0[0], sizeof a);
        memcpy(&b, samples + i1[0], sizeof b);
    } else {
        for (int j = 0; j < TAP_GROUP; j++) a[j] = samples[i0[j]], b[j] = samples[i1[j]];
    }
    return (whole + 1.0f - p) * a + (p - whole) * b;
}

}  // namespace ENGINE_NAMESPACE
