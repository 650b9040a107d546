// The Engine record: all DSP state of one instance, one zero-filled heap
// allocation made by the first block. Its layout is the same in every build.
#pragma once
#include <stdint.h>

// Two second-order sections that may run in cascade, on two lanes (left,
// right). State is never cleared by a design, so a coefficient change needs
// no ramp.
struct BiquadStage {
    float y1[2], y2[2], x1[2], x2[2];      // first section's state per lane
    float y1b[2], y2b[2], x1b[2], x2b[2];  // second section's state per lane
    float a1, a2, b0, b1, b2;              // first section, a0 normalised to 1
    float a1b, a2b, b0b, b1b, b2b;         // second section
    uint8_t cascade;                       // nonzero: the second section runs on the first's output
};

// The inputs from which a unit last designed its filters, bit for bit, so
// that it designs again only when one of them moves; designed is 0 until the
// first design.
struct DesignInputs {
    uint32_t bits[8];
    uint8_t designed;
};

// A ring of floats; the element at writeIndex is also the oldest.
struct DelayLine {
    float *samples;  // null when released
    int32_t writeIndex;
    int32_t length;
};

// ---- unit states ----
// The Engine holds every unit's state by value, so their layouts are all
// here; each record is read and written by its unit's file in engine/ alone
// (the block loop only hands it to the unit's Release).

struct PolyDelayLine {
    DelayLine line;  // interleaved pairs: length counts frames, writeIndex floats
    BiquadStage feedbackFilter;
    BiquadStage wetFilter;
    DesignInputs design;  // of both filters
};

struct PolyDelayState {
    PolyDelayLine lines[2];
};

// Two mono lines, each fed by the opposite channel's input and recirculating
// into itself; lineA's tap is heard on the left, lineB's on the right.
struct PingPongState {
    DelayLine lineA;              // holds the right input
    DelayLine lineB;              // holds the left input
    BiquadStage feedbackFilter;   // low-pass in the loop; lanes are lineA, lineB
    BiquadStage wetFilter;        // fourth-order high-pass on the taps; lanes left, right
    float phaseA, phaseB;         // the two read-modulation LFOs, 0 .. 1
    DesignInputs design;          // of both filters
};

struct PhaserState {
    float feedback[2];  // last output of the chain, per lane
    float phase;        // LFO phase, 0 .. 1, shared by both lanes
    float cells[6][2];  // state of the six all-pass cells, per cell both lanes
};

struct ChorusState {
    DelayLine lineL, lineR;       // 0.1 s of each channel
    float phaseL[4], phaseR[4];   // LFO phase of each voice, per channel
};

// The lines of the reverb's figure-of-eight tank, kept together so that the
// per-frame loop can work on a copy of them.
struct TankLines {
    DelayLine diffuser1, diffuser2, diffuser3, diffuser4;  // input diffusion
    DelayLine apA, apE;  // modulated all-passes, one per half, 0.2 s long
    DelayLine dlB, apC, dlD;  // rest of the left half
    DelayLine dlF, apG, dlH;  // rest of the right half
};

// The tank of Hall, Room, Church and Atmosphere.
struct TankReverbState {
    TankLines lines;
    float tapDelay[14];  // output taps, in frames
    float bandwidthState, dampState1, dampState2;  // one-pole states
    float phase;  // LFO phase, 0 .. 6.2847
    // The algorithm's set, written anew at every SubBlock.
    float c1, c2, c3, c4, decay, bandwidth, damping, lfoRate, lfoDepth;
    BiquadStage outHighPass, outLowPass;  // on the left and right sums; cascade off
    DesignInputs design;  // of the one-poles' coefficients and the two filters
};

// The Plate: a bank of four filtered feedback combs per channel. The two
// banks share their filter designs, so each filter is one two-lane stage whose
// left lane belongs to the left bank and right lane to the right bank.
struct PlateReverbState {
    DelayLine combLine[2][4];  // [channel][comb], 0.2 s long
    BiquadStage combFilter[4];  // low-pass in each comb's loop; cascade off
    float combDelay[2][4];  // tap delay in frames
    float combGain[2][4];  // feedback gain
    float allPass1[2], allPass2[2];  // all-pass states per channel
    BiquadStage outLowPass, outHighPass;  // cascade off
    DesignInputs design;  // of the five filters
};

struct ReverbState {
    DelayLine predelay[2];  // mono lines, left and right, made to one length
    TankReverbState tank;
    PlateReverbState plate;
};

// Three single sections (cascade off), run in this order.
struct EqState {
    BiquadStage mid;   // peak
    BiquadStage low;   // low shelf
    BiquadStage high;  // high shelf
    DesignInputs design;  // of all three
};

// The gate keeps nothing: its clock is the engine's unitPosition.
struct TranceGateState {
    uint8_t unused;
};

// The distortion's instances keep nothing of their own: their band split
// memory is the one DistortionShared of the Engine.
struct DistortionState {
    uint8_t unused;
};

// The two cascades of one-pole low-passes that split each channel into low,
// mid and high bands: s1, s2 at the low crossover, s3, s4 at the high one.
struct BandSplitState {
    float s1[2], s2[2], s3[2], s4[2];  // per lane (left, right)
};

// Shared by the three distortion instances: two of them in one chain run
// through the same filter memory, the second continuing where the first ended.
struct DistortionShared {
    BandSplitState bandSplit;
    float kLow, kHigh;    // the one-poles' coefficients of the last design
    DesignInputs design;  // of kLow and kHigh: the sample rate
};

// Two rings of N frame energies over the last 25 ms, with their running
// sums: the detector's, which drives the gain, and the output's, for the meter.
struct CompressorState {
    uint64_t ringIndex;  // next element of both rings
    float inputSum;      // sum of inputRing
    float outputSum;     // sum of outputRing
    float *inputRing;    // null when released
    float *outputRing;
    float reductionDb;   // smoothed gain change, at most 0
    uint64_t ringLength; // N; 0 when released
    float attack, release;  // per-frame smoothing factors of the last design
    DesignInputs design;    // of attack and release
};

struct ModulatorState {
    uint8_t unused;  // the three modulators' running state, if any
};

enum { UNIT_INSTANCES = 3, UNIT_KINDS = 9, SLOT_COUNT = 8, SUBBLOCK_FRAMES = 32 };

enum UnitKind {
    UnitPolyrhythmicDelay = 0,
    UnitPingPongDelay = 1,
    UnitDistortion = 2,
    UnitChorus = 3,
    UnitPhaser = 4,
    UnitEQ = 5,
    UnitTranceGate = 6,
    UnitReverb = 7,
    UnitCompressor = 8,
};

struct Engine {
    PolyDelayState polyDelay[UNIT_INSTANCES];
    PingPongState pingPong[UNIT_INSTANCES];
    DistortionState distortion[UNIT_INSTANCES];
    DistortionShared distortionShared;
    ChorusState chorus[UNIT_INSTANCES];
    PhaserState phaser[UNIT_INSTANCES];
    EqState eq[UNIT_INSTANCES];
    TranceGateState tranceGate[UNIT_INSTANCES];
    ReverbState reverb[UNIT_INSTANCES];
    CompressorState compressor[UNIT_INSTANCES];
    ModulatorState modulators;
    double unitPosition;       // samples; what units read
    double modulatorPosition;  // samples; what the modulators read
    double silentFrames;       // frames since the last sound
    float postGainValue, postGain;  // the Post Gain value last seen and its factor
    uint8_t postGainKnown;
};
