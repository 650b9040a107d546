// Reverb: five algorithms on two structures, behind a shared predelay and a
// dry/wet crossfade.
//
// Hall, Room, Church and Atmosphere run a figure-of-eight tank. The channels
// are summed to mono, band-limited by a one-pole, diffused by four all-passes
// in series and fed to both halves of a loop. Each half is a modulated
// all-pass, a delay, a damping one-pole, an all-pass and a delay, and its end
// feeds the other half's start. Fourteen taps on the loop's lines make the
// left and right outputs. The four algorithms differ in constants only, so
// switching among them carries the tail on. The line lengths are given in
// seconds, so the tank scales with the sample rate.
//
// Plate runs a bank of four filtered feedback combs per channel, with no path
// between the channels, then two first-order all-passes.
//
// A structure that is not selected is not touched at all: its lines, filters
// and phase stay as they are and it resumes its old tail when chosen again.
// Every line is made when first needed, and a line whose length changes (a
// new sample rate, a new predelay) starts again empty.
#include <math.h>
#include <string.h>

#include "engine/dsp.h"
#include "engine/units.h"
#include "vocabulary/params.h"

namespace ENGINE_NAMESPACE {

enum ReverbAlgorithm {
    REVERB_HALL = 0,
    REVERB_ROOM = 1,
    REVERB_PLATE = 2,
    REVERB_CHURCH = 3,
    REVERB_ATMOSPHERE = 4,
    REVERB_ALGORITHM_COUNT = 5,
};

// A line longer than this is treated like one of no length.
const int32_t REVERB_MAX_FRAMES = 1 << 30;
// The predelay's length in frames is its time times sr plus this, so it is
// never shorter.
const float PREDELAY_EXTRA_FRAMES = 2.0f;
// The modulated all-passes of the tank and the comb lines of the plate.
const float LONG_LINE_SECONDS = 0.2f;
// Output low-pass of both structures.
const float REVERB_LOW_PASS_HZ = 3260.8054f;

// ---- the tank ----

const float DIFFUSER1_SECONDS = 0.004771345f, DIFFUSER2_SECONDS = 0.003595309f;
const float DIFFUSER3_SECONDS = 0.012734787f, DIFFUSER4_SECONDS = 0.009307483f;
const float DL_B_SECONDS = 0.14962535f, AP_C_SECONDS = 0.06048184f, DL_D_SECONDS = 0.1249958f;
const float DL_F_SECONDS = 0.14169551f, AP_G_SECONDS = 0.08924431f, DL_H_SECONDS = 0.10628003f;

// The LFO's phase runs from 0 up to this and is scaled by it into an angle,
// so the angle sweeps 0 .. 39.5 rad and jumps back at each wrap.
const float LFO_WRAP = 6.2847f;

// The output taps: a line and the delay behind its write position in
// seconds; the frame count is formed in doubles. Taps 0 to 6 make the left
// sum and 7 to 13 the right, with the signs written out in TankRun.
struct TankTap {
    DelayLine TankLines::*line;
    double seconds;
};
enum { TANK_TAPS = 14 };
const TankTap TANK_TAP[TANK_TAPS] = {
    {&TankLines::dlF, 0.008937872}, {&TankLines::dlF, 0.099929438},
    {&TankLines::apG, 0.064278754}, {&TankLines::dlH, 0.067067639},
    {&TankLines::dlB, 0.066866033}, {&TankLines::apC, 0.006283391},
    {&TankLines::dlD, 0.035818689}, {&TankLines::dlB, 0.011861161},
    {&TankLines::dlB, 0.121870905}, {&TankLines::apC, 0.041262054},
    {&TankLines::dlD, 0.08981553},  {&TankLines::dlF, 0.070931756},
    {&TankLines::apG, 0.011256342}, {&TankLines::dlH, 0.004065724},
};

// What sets one tank algorithm apart.
struct TankSet {
    float c1, c2;       // input diffusion all-passes: first pair, second pair
    float c3, c4;       // the tank's modulated all-passes, and its second all-passes
    float decayScale;   // decay = decayScale (0.24 T + 0.75)
    float bandwidthOmega, dampingOmega;  // the one-poles' angles are omega / sr
    float lfoHz;        // lfoRate = lfoHz / sr, as the phase runs to LFO_WRAP
    float lfoDepthSeconds;  // lfoDepth in frames = lfoDepthSeconds sr
    float highPassHz;   // output high-pass
};

const float TANK_HIGH_PASS_HZ = 263.73853f, ATMOSPHERE_HIGH_PASS_HZ = 494.55136f;
const float DECAY_PER_TIME = 0.24f, DECAY_AT_TIME_ZERO = 0.75f;

// Bounds on the angles omega / sr of the two one-poles (OnePoleCoefficient),
// which below about 20 kHz leave a one-pole's stable range. Each lies just
// above the largest angle any algorithm has at 44.1 kHz (Atmosphere's: 1.4247
// and 0.5699), so neither engages at 44.1 kHz and up.
// The bandwidth one-pole stands before the loop: at its bound the coefficient
// is 1.98, which lifts the Nyquist frequency about 94 times but stays stable.
const float BANDWIDTH_ANGLE_LIMIT = 1.425f;
// The damping one-poles stand inside the loop, where a coefficient above 1
// lifts the top of the band and the loop's gain with it: at 8 kHz Hall's
// would reach 1.99 and the tail would grow without end. At this bound it is
// 1.08, under which the loop of Hall, Room and Church stays below a gain of 1
// at every frequency, and Atmosphere's modulated all-passes take off the rest,
// as they do at 44.1 kHz.
const float DAMPING_ANGLE_LIMIT = 0.57f;

// Indexed by algorithm; Plate's row is unused. Church has no modulation at
// all: its modulated all-passes read at a depth of 0, which is the oldest
// element, so they are 0.2 s long where the others are at most 2 lfoDepth.
const TankSet TANK_SETS[REVERB_ALGORITHM_COUNT] = {
    {0.23f, 0.667f, 0.7f, 0.5f, 0.86f, 20312.94f, 13436.195f, 0.7f, 0.0012f, TANK_HIGH_PASS_HZ},
    {0.75f, 0.625f, 0.7f, 0.5f, 0.5f, 23086.883f, 22961.223f, 0.5f, 0.00070000003f,
     TANK_HIGH_PASS_HZ},
    {},
    {0.7341f, 0.4634f, 0.7939f, 0.1292f, 0.86f, 25132.0f, 18849.0f, 0.0f, 0.0f, TANK_HIGH_PASS_HZ},
    {0.4341f, 0.6634f, 0.2939f, 0.4292f, 0.95f, 62830.0f, 25132.0f, 0.5f, 0.00080000004f,
     ATMOSPHERE_HIGH_PASS_HZ},
};

// ---- the comb bank ----

enum { PLATE_COMBS = 4 };
const float COMB_LOW_PASS_HZ[PLATE_COMBS] = {5741.9453f, 6511.283f, 6933.784f, 7862.8105f};
// [channel][comb]; the delays in frames are formed in doubles.
const double COMB_DELAY_SECONDS[2][PLATE_COMBS] = {
    {0.051245987, 0.1208976, 0.023357294, 0.084986575},
    {0.050001394, 0.12092546, 0.025442459, 0.08313066},
};
const float COMB_GAIN[2][PLATE_COMBS] = {
    {0.499f, 0.18f, 0.22510001f, 0.36769998f},
    {0.5f, 0.19f, 0.22569999f, 0.3687f},
};
// At T = 1 the largest gain is 0.95: with a low-pass in each loop, every comb
// stays stable.
const float COMB_GAIN_PER_TIME = 0.45f;
const float PLATE_ALL_PASS = 0.131f;
const float PLATE_HIGH_PASS_HZ = 192.59926f;

// ---- line helpers ----

// The element at writeIndex: the oldest, a full length behind.
static inline float Oldest(const DelayLine *line) { return line->samples[line->writeIndex]; }

// Where the line's next write goes, which is also its oldest element.
static inline float *NextWrite(DelayLine *line) { return line->samples + line->writeIndex; }

// Moves the line's write position on by `frames`, which reach its end at most.
static inline void AdvanceLine(DelayLine *line, int32_t frames) {
    line->writeIndex += frames;
    if (line->writeIndex == line->length) line->writeIndex = 0;
}

// The frames, up to `limit`, before the first of `lines` reaches its end. In
// such a run each line's write position, which is also its oldest element,
// moves on by one element per frame from where the run starts, so the
// per-frame loop indexes every line from one base.
static inline int FramesBeforeAnEnd(DelayLine *const *lines, int lineCount, int limit) {
    for (int k = 0; k < lineCount; k++)
        if (lines[k]->length - lines[k]->writeIndex < limit)
            limit = lines[k]->length - lines[k]->writeIndex;
    return limit;
}

// A reverb line of `seconds` at sr, its length truncated from the float
// product; false when it cannot be had (a sample rate too low or too high for
// it, or storage refused), and then the structure does nothing this SubBlock.
static bool EnsureLine(DelayLine *line, float seconds, float sampleRate) {
    int32_t length = DelayLength(seconds * sampleRate, REVERB_MAX_FRAMES);
    return length != 0 && EnsureDelayLine(line, length, 1);
}

// A stage opened for a loop, with cascade known to be off: no reverb filter
// uses the second section, and saying so lets the loop drop it.
static inline BiquadLanes OpenSingle(const BiquadStage *stage) {
    BiquadLanes lanes = BiquadOpen(stage);
    lanes.cascade = false;
    return lanes;
}

// The line's write position after one more write.
static inline int32_t NextIndex(const DelayLine *line) {
    return line->writeIndex + 1 == line->length ? 0 : line->writeIndex + 1;
}

// ---- the tank ----

enum { TANK_LINES = 12 };

// The tank's lines in one list, for what is done to all of them alike.
static inline void ListTankLines(TankLines *l, DelayLine *list[TANK_LINES]) {
    DelayLine *lines[TANK_LINES] = {&l->diffuser1, &l->diffuser2, &l->diffuser3, &l->diffuser4,
                                    &l->apA,       &l->apE,       &l->dlB,       &l->apC,
                                    &l->dlD,       &l->dlF,       &l->apG,       &l->dlH};
    memcpy(list, lines, sizeof lines);
}

static bool TankSetUp(TankReverbState *tank, int32_t algorithm, float time, float sr) {
    TankLines *l = &tank->lines;
    if (!EnsureLine(&l->diffuser1, DIFFUSER1_SECONDS, sr) ||
        !EnsureLine(&l->diffuser2, DIFFUSER2_SECONDS, sr) ||
        !EnsureLine(&l->diffuser3, DIFFUSER3_SECONDS, sr) ||
        !EnsureLine(&l->diffuser4, DIFFUSER4_SECONDS, sr) ||
        !EnsureLine(&l->apA, LONG_LINE_SECONDS, sr) ||
        !EnsureLine(&l->apE, LONG_LINE_SECONDS, sr) ||
        !EnsureLine(&l->dlB, DL_B_SECONDS, sr) || !EnsureLine(&l->apC, AP_C_SECONDS, sr) ||
        !EnsureLine(&l->dlD, DL_D_SECONDS, sr) || !EnsureLine(&l->dlF, DL_F_SECONDS, sr) ||
        !EnsureLine(&l->apG, AP_G_SECONDS, sr) || !EnsureLine(&l->dlH, DL_H_SECONDS, sr))
        return false;
    // TankRun reads the taps after the whole SubBlock has been written, so no
    // tap may reach into the frames that the SubBlock overwrites. That holds
    // from about 1.8 kHz up; below, the tank does not run.
    for (int k = 0; k < TANK_TAPS; k++) {
        float d = (float)(TANK_TAP[k].seconds * (double)sr);
        if (!(d > 1.0f && d + (SUBBLOCK_FRAMES + 2) <= (float)(l->*TANK_TAP[k].line).length))
            return false;
        tank->tapDelay[k] = d;
    }

    const TankSet &set = TANK_SETS[algorithm];
    float base = DECAY_PER_TIME * time + DECAY_AT_TIME_ZERO;
    tank->c1 = set.c1, tank->c2 = set.c2, tank->c3 = set.c3, tank->c4 = set.c4;
    tank->decay = set.decayScale * base;
    tank->lfoRate = set.lfoHz / sr;
    tank->lfoDepth = set.lfoDepthSeconds * sr;
    // The filters depend on the algorithm and the sample rate alone.
    const float inputs[2] = {(float)algorithm, sr};
    if (!SameDesignInputs(&tank->design, inputs, 2)) {
        tank->bandwidth = OnePoleCoefficient(set.bandwidthOmega, sr, BANDWIDTH_ANGLE_LIMIT);
        tank->damping = OnePoleCoefficient(set.dampingOmega, sr, DAMPING_ANGLE_LIMIT);
        SetFirstSection(&tank->outLowPass, LowPassDesign(REVERB_LOW_PASS_HZ, sr));
        SetFirstSection(&tank->outHighPass, HighPassDesign(set.highPassHz, sr));
    }
    return true;
}

// The tank in stages over runs of frames. In a run that no line's end
// interrupts, each frame reads its lines' oldest elements, which the run has
// not yet written, so every read of an unmodulated line is known before the
// run starts. What depends on earlier frames of the run is small: the three
// one-poles and the LFO phase, which run frame by frame in one loop, and the
// modulated all-passes, whose reads may reach frames that the run has just
// written. Everything else runs as whole-run loops over local arrays, which
// the compiler turns into vector code. Each sample sees the same arithmetic
// in the same order as in a plain per-frame loop, so the results are the same
// to the bit.
//
// `in` holds the predelay's output for the SubBlock's frames.
static void TankRun(TankReverbState *tank, const float (*in)[2], float mix, float *frames,
                    int count) {
    const TankLines start = tank->lines;
    TankLines l = start;
    const float *tap = tank->tapDelay;
    const float c1 = tank->c1, c2 = tank->c2, c3 = tank->c3, c4 = tank->c4;
    const float decay = tank->decay, bandwidth = tank->bandwidth, damping = tank->damping;
    const float lfoRate = tank->lfoRate, lfoDepth = tank->lfoDepth;
    float bandwidthState = tank->bandwidthState, phase = tank->phase;
    float dampState1 = tank->dampState1, dampState2 = tank->dampState2;
    BiquadLanes highPass = OpenSingle(&tank->outHighPass);
    BiquadLanes lowPass = OpenSingle(&tank->outLowPass);
    Lanes dryGain = Splat(1.0f - mix), wetGain = Splat(mix);

    DelayLine *lines[TANK_LINES];
    ListTankLines(&l, lines);
    for (int done = 0; done < count;) {
        int run = FramesBeforeAnEnd(lines, TANK_LINES, count - done);
        const size_t bytes = run * sizeof(float);
        float *diffuser1 = NextWrite(&l.diffuser1), *diffuser2 = NextWrite(&l.diffuser2);
        float *diffuser3 = NextWrite(&l.diffuser3), *diffuser4 = NextWrite(&l.diffuser4);
        float *apA = NextWrite(&l.apA), *dlB = NextWrite(&l.dlB), *apC = NextWrite(&l.apC);
        float *dlD = NextWrite(&l.dlD), *apE = NextWrite(&l.apE), *dlF = NextWrite(&l.dlF);
        float *apG = NextWrite(&l.apG), *dlH = NextWrite(&l.dlH);
        const float apAStart = (float)l.apA.writeIndex, apEStart = (float)l.apE.writeIndex;

        // The oldest elements of the unmodulated lines, one per frame.
        float d1[SUBBLOCK_FRAMES], d2[SUBBLOCK_FRAMES], d3[SUBBLOCK_FRAMES], d4[SUBBLOCK_FRAMES];
        float b[SUBBLOCK_FRAMES], c[SUBBLOCK_FRAMES], d[SUBBLOCK_FRAMES];
        float f[SUBBLOCK_FRAMES], g[SUBBLOCK_FRAMES], h[SUBBLOCK_FRAMES];
        memcpy(d1, diffuser1, bytes), memcpy(d2, diffuser2, bytes);
        memcpy(d3, diffuser3, bytes), memcpy(d4, diffuser4, bytes);
        memcpy(b, dlB, bytes), memcpy(c, apC, bytes), memcpy(d, dlD, bytes);
        memcpy(f, dlF, bytes), memcpy(g, apG, bytes), memcpy(h, dlH, bytes);

        // The recursions that run frame by frame: the band-limiting one-pole
        // on the mono input, the LFO phase, and the damping one-poles on the
        // oldest elements of dlB and dlF.
        float bandLimited[SUBBLOCK_FRAMES], angle[SUBBLOCK_FRAMES];
        float damped1[SUBBLOCK_FRAMES], damped2[SUBBLOCK_FRAMES];
        for (int i = 0; i < run; i++) {
            float x = (in[done + i][0] + in[done + i][1]) * 0.5f;
            bandLimited[i] = OnePoleLowPass(bandwidth, &bandwidthState, x);
            angle[i] = phase * LFO_WRAP;
            phase += lfoRate;
            if (phase > LFO_WRAP) phase -= LFO_WRAP;
            damped1[i] = OnePoleLowPass(damping, &dampState1, b[i]);
            damped2[i] = OnePoleLowPass(damping, &dampState2, f[i]);
        }

        // The delays of the modulated all-passes, in frames. Each is rounded
        // to a float before it is taken from the read position.
        // A read reaches an element that an earlier frame of the run wrote
        // only at a delay above 0 and at most one frame more than the frames
        // before it in the run.
        // Past the run's end the delays are zero, which reads inside the lines.
        float mA[SUBBLOCK_FRAMES + TAP_GROUP], mE[SUBBLOCK_FRAMES + TAP_GROUP];
        for (int i = 0; i < run; i++) {
            mA[i] = (FastCos(angle[i]) + 1.0f) * lfoDepth;
            mE[i] = (FastSin(angle[i]) + 1.0f) * lfoDepth;
        }
        memset(mA + run, 0, TAP_GROUP * sizeof(float));
        memset(mE + run, 0, TAP_GROUP * sizeof(float));
        int reachesRun = 0;
        for (int i = 0; i < run; i++) {
            float reach = (float)(i + 1);
            reachesRun |= ((mA[i] != 0.0f) & !(mA[i] > reach)) | ((mE[i] != 0.0f) & !(mE[i] > reach));
        }

        // Input diffusion, four all-passes in series; the parts of each half
        // that do not wait for its modulated all-pass; the second all-pass
        // of each half.
        float w1[SUBBLOCK_FRAMES], w2[SUBBLOCK_FRAMES], w3[SUBBLOCK_FRAMES], w4[SUBBLOCK_FRAMES];
        float intoA[SUBBLOCK_FRAMES], intoE[SUBBLOCK_FRAMES];
        float wC[SUBBLOCK_FRAMES], wG[SUBBLOCK_FRAMES], toD[SUBBLOCK_FRAMES], toH[SUBBLOCK_FRAMES];
        for (int i = 0; i < run; i++) {
            w1[i] = bandLimited[i] - c1 * d1[i];
            w2[i] = (w1[i] - d2[i]) * c1 + d1[i];
            w3[i] = d2[i] - c2 * d3[i] + c1 * w2[i];
            w4[i] = (w3[i] - d4[i]) * c2 + d3[i];
            float y = c2 * w4[i] + d4[i];
            intoA[i] = decay * h[i] + y;  // fed from the right half's end
            intoE[i] = decay * d[i] + y;  // fed from the left half's end
            wC[i] = decay * damped1[i] - c4 * c[i];
            toD[i] = c[i] + c4 * wC[i];
            wG[i] = decay * damped2[i] - c4 * g[i];
            toH[i] = g[i] + c4 * wG[i];
        }

        // The modulated all-passes: side by side where no read reaches the
        // run's own writes, else frame by frame.
        float mAout[SUBBLOCK_FRAMES + TAP_GROUP], mEout[SUBBLOCK_FRAMES + TAP_GROUP];
        float wA[SUBBLOCK_FRAMES], wE[SUBBLOCK_FRAMES];
        if (!reachesRun) {
            for (int n = 0; n < run; n += TAP_GROUP) {
                TapFrames delayA, delayE;
                memcpy(&delayA, mA + n, sizeof delayA), memcpy(&delayE, mE + n, sizeof delayE);
                TapFrames outA = ReadTaps(&l.apA, l.apA.writeIndex, delayA, n);
                TapFrames outE = ReadTaps(&l.apE, l.apE.writeIndex, delayE, n);
                memcpy(mAout + n, &outA, sizeof outA), memcpy(mEout + n, &outE, sizeof outE);
            }
            for (int i = 0; i < run; i++) {
                wA[i] = intoA[i] + c3 * mAout[i];
                wE[i] = intoE[i] + c3 * mEout[i];
            }
            memcpy(apA, wA, bytes), memcpy(apE, wE, bytes);
        } else {
            for (int i = 0; i < run; i++) {
                mAout[i] = ReadDelayLine(&l.apA, apAStart + (float)i, mA[i]);
                wA[i] = intoA[i] + c3 * mAout[i];
                apA[i] = wA[i];
                mEout[i] = ReadDelayLine(&l.apE, apEStart + (float)i, mE[i]);
                wE[i] = intoE[i] + c3 * mEout[i];
                apE[i] = wE[i];
            }
        }
        float toB[SUBBLOCK_FRAMES], toF[SUBBLOCK_FRAMES];
        for (int i = 0; i < run; i++) {
            toB[i] = mAout[i] - c3 * wA[i];
            toF[i] = mEout[i] - c3 * wE[i];
        }

        memcpy(diffuser1, w1, bytes), memcpy(diffuser2, w2, bytes);
        memcpy(diffuser3, w3, bytes), memcpy(diffuser4, w4, bytes);
        memcpy(dlB, toB, bytes), memcpy(apC, wC, bytes), memcpy(dlD, toD, bytes);
        memcpy(dlF, toF, bytes), memcpy(apG, wG, bytes), memcpy(dlH, toH, bytes);
        for (DelayLine *line : lines) AdvanceLine(line, run);
        done += run;
    }

    // The taps of the whole SubBlock, now that its frames have been written:
    // they feed nothing back.
    int32_t first[TANK_TAPS];  // each tap line's write position after frame 0
    for (int k = 0; k < TANK_TAPS; k++) first[k] = NextIndex(&(start.*TANK_TAP[k].line));
    float sums[2][SUBBLOCK_FRAMES];
    for (int n = 0; n < count; n += TAP_GROUP) {
        auto t = [&](int k) {
            return ReadTaps(&(l.*TANK_TAP[k].line), first[k], SplatFrames(tap[k]), n);
        };
        TapFrames left = t(0) + t(1) - t(2) + t(3) - t(4) - t(5) - t(6);
        TapFrames right = t(7) + t(8) - t(9) + t(10) - t(11) - t(12) - t(13);
        memcpy(&sums[0][n], &left, sizeof left);
        memcpy(&sums[1][n], &right, sizeof right);
    }
    for (int i = 0; i < count; i++) {
        float *frame = frames + 2 * i;
        Lanes sum = {sums[0][i], sums[1][i], 0.0f, 0.0f};
        Lanes wet = BiquadRun(&lowPass, BiquadRun(&highPass, sum));
        StoreLanes(LoadLanes(frame) * dryGain + wet * wetGain, frame);
    }

    tank->lines = l;
    tank->bandwidthState = bandwidthState, tank->phase = phase;
    tank->dampState1 = dampState1, tank->dampState2 = dampState2;
    BiquadClose(&highPass, &tank->outHighPass);
    BiquadClose(&lowPass, &tank->outLowPass);
}

// ---- the comb bank ----

static bool PlateSetUp(PlateReverbState *plate, float time, float sr) {
    for (int channel = 0; channel < 2; channel++)
        for (int k = 0; k < PLATE_COMBS; k++)
            if (!EnsureLine(&plate->combLine[channel][k], LONG_LINE_SECONDS, sr)) return false;
    // PlateRun reads a whole SubBlock before it writes any of it, so every comb
    // must reach further back than a SubBlock. That holds from about 1.5 kHz
    // up; below, the comb bank does not run.
    for (int channel = 0; channel < 2; channel++) {
        for (int k = 0; k < PLATE_COMBS; k++) {
            float d = (float)(COMB_DELAY_SECONDS[channel][k] * (double)sr);
            if (!(d >= SUBBLOCK_FRAMES + 2 && d <= (float)plate->combLine[channel][k].length))
                return false;
            plate->combDelay[channel][k] = d;
            plate->combGain[channel][k] = COMB_GAIN[channel][k] + COMB_GAIN_PER_TIME * time;
        }
    }
    // The filters depend on the sample rate alone.
    if (!SameDesignInputs(&plate->design, &sr, 1)) {
        for (int k = 0; k < PLATE_COMBS; k++)
            SetFirstSection(&plate->combFilter[k], LowPassDesign(COMB_LOW_PASS_HZ[k], sr));
        SetFirstSection(&plate->outLowPass, LowPassDesign(REVERB_LOW_PASS_HZ, sr));
        SetFirstSection(&plate->outHighPass, HighPassDesign(PLATE_HIGH_PASS_HZ, sr));
    }
    return true;
}

// Both banks at once: the left bank on the left lane, the right on the right.
// `in` holds the predelay's output for the SubBlock's frames.
static void PlateRun(PlateReverbState *plate, const float (*in)[2], float mix, float *frames,
                     int count) {
    // What each comb gives back at each frame, gain applied: read first, as
    // no comb reaches the frames that this SubBlock writes.
    float back[2][PLATE_COMBS][SUBBLOCK_FRAMES];
    for (int channel = 0; channel < 2; channel++) {
        for (int k = 0; k < PLATE_COMBS; k++) {
            const DelayLine *line = &plate->combLine[channel][k];
            float d = plate->combDelay[channel][k], gain = plate->combGain[channel][k];
            for (int n = 0; n < count; n += TAP_GROUP) {
                TapFrames r = ReadTaps(line, line->writeIndex, SplatFrames(d), n) * gain;
                memcpy(&back[channel][k][n], &r, sizeof r);
            }
        }
    }

    BiquadLanes combFilter[PLATE_COMBS];
    for (int k = 0; k < PLATE_COMBS; k++) combFilter[k] = OpenSingle(&plate->combFilter[k]);
    float allPass1L = plate->allPass1[0], allPass1R = plate->allPass1[1];
    float allPass2L = plate->allPass2[0], allPass2R = plate->allPass2[1];
    BiquadLanes lowPass = OpenSingle(&plate->outLowPass);
    BiquadLanes highPass = OpenSingle(&plate->outHighPass);
    Lanes dryGain = Splat(1.0f - mix), wetGain = Splat(mix);

    DelayLine(&comb)[2][PLATE_COMBS] = plate->combLine;
    DelayLine *const lines[2 * PLATE_COMBS] = {&comb[0][0], &comb[0][1], &comb[0][2], &comb[0][3],
                                               &comb[1][0], &comb[1][1], &comb[1][2], &comb[1][3]};
    for (int done = 0; done < count;) {
        int run = FramesBeforeAnEnd(lines, 2 * PLATE_COMBS, count - done);
        float *combL[PLATE_COMBS], *combR[PLATE_COMBS];
        for (int k = 0; k < PLATE_COMBS; k++)
            combL[k] = NextWrite(&comb[0][k]), combR[k] = NextWrite(&comb[1][k]);

        for (int i = 0; i < run; i++) {
            int at = done + i;
            Lanes x = LoadLanes(in[at]);
            Lanes sum = Splat(0.0f);
            for (int k = 0; k < PLATE_COMBS; k++) {
                Lanes r = {back[0][k][at], back[1][k][at], 0.0f, 0.0f};
                sum = sum + r;
                Lanes w = BiquadRun(&combFilter[k], x + r);
                combL[k][i] = w[0], combR[k][i] = w[1];
            }
            float diffusedL = FirstOrderAllPass(PLATE_ALL_PASS, &allPass1L, sum[0]);
            float diffusedR = FirstOrderAllPass(PLATE_ALL_PASS, &allPass1R, sum[1]);
            diffusedL = FirstOrderAllPass(PLATE_ALL_PASS, &allPass2L, diffusedL);
            diffusedR = FirstOrderAllPass(PLATE_ALL_PASS, &allPass2R, diffusedR);
            Lanes diffused = {diffusedL, diffusedR, 0.0f, 0.0f};
            Lanes wet = BiquadRun(&highPass, BiquadRun(&lowPass, diffused));
            float *frame = frames + 2 * at;
            StoreLanes(LoadLanes(frame) * dryGain + wet * wetGain, frame);
        }
        for (DelayLine *line : lines) AdvanceLine(line, run);
        done += run;
    }

    for (int k = 0; k < PLATE_COMBS; k++) BiquadClose(&combFilter[k], &plate->combFilter[k]);
    plate->allPass1[0] = allPass1L, plate->allPass1[1] = allPass1R;
    plate->allPass2[0] = allPass2L, plate->allPass2[1] = allPass2R;
    BiquadClose(&lowPass, &plate->outLowPass);
    BiquadClose(&highPass, &plate->outHighPass);
}

// ---- the unit ----

void ReverbRun(Engine *engine, const EngineContext *context, int instance, float *frames,
               int count) {
    ReverbState *state = &engine->reverb[instance];
    const float *value = context->liveValue;
    if (!(value[PARAM_REVERB_ENABLE + instance] > 0.5f)) {
        ReverbRelease(state);
        return;
    }
    // When a line cannot be had the audio passes untouched, and the next
    // SubBlock tries again.
    float sr = context->sampleRate;
    float predelay = LongTimeCurve(value[PARAM_REVERB_PREDELAY + instance]);
    int32_t predelayLength = DelayLength(predelay * sr + PREDELAY_EXTRA_FRAMES, REVERB_MAX_FRAMES);
    if (predelayLength == 0 || !EnsureDelayLine(&state->predelay[0], predelayLength, 1) ||
        !EnsureDelayLine(&state->predelay[1], predelayLength, 1))
        return;

    int32_t algorithm = ParamDecodeWhole(value[PARAM_REVERB_ALGORITHM + instance]);
    float time = value[PARAM_REVERB_TIME + instance];
    float mix = Clamp01(value[PARAM_REVERB_MIX + instance]);
    bool tank = algorithm >= 0 && algorithm < REVERB_ALGORITHM_COUNT && algorithm != REVERB_PLATE;
    bool ready = tank ? TankSetUp(&state->tank, algorithm, time, sr)
                      : PlateSetUp(&state->plate, time, sr);  // Plate, and any other index
    if (!ready) return;

    // The predelay: each frame takes the oldest pair, a full length old, and
    // leaves the incoming pair in its place.
    float delayed[SUBBLOCK_FRAMES][2];
    DelayLine *left = &state->predelay[0], *right = &state->predelay[1];
    for (int i = 0; i < count; i++) {
        delayed[i][0] = Oldest(left), delayed[i][1] = Oldest(right);
        WriteDelayLine(left, frames[2 * i]);
        WriteDelayLine(right, frames[2 * i + 1]);
    }
    if (tank)
        TankRun(&state->tank, delayed, mix, frames, count);
    else
        PlateRun(&state->plate, delayed, mix, frames, count);
}

void ReverbRelease(ReverbState *state) {
    ReleaseDelayLine(&state->predelay[0]);
    ReleaseDelayLine(&state->predelay[1]);
    DelayLine *tankLines[TANK_LINES];
    ListTankLines(&state->tank.lines, tankLines);
    for (DelayLine *line : tankLines) ReleaseDelayLine(line);
    for (int channel = 0; channel < 2; channel++)
        for (DelayLine &line : state->plate.combLine[channel]) ReleaseDelayLine(&line);
}

}  // namespace ENGINE_NAMESPACE
