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

// A ring of floats; the element at writeIndex is also the oldest.
struct DelayLine {
    float *samples;  // null when released
    int32_t writeIndex;
    int32_t length;
};

// ---- unit states ----

struct PolyDelayLine {
    DelayLine line;  // interleaved pairs: length counts frames, writeIndex floats
    BiquadStage feedbackFilter;
    BiquadStage wetFilter;
};

struct PolyDelayState {
    PolyDelayLine lines[2];
};

// Each record below belongs to its unit's file in engine/.
struct PingPongState {
    uint8_t unused;  // ping-pong delay
};

struct PhaserState {
    uint8_t unused;  // phaser
};

struct ChorusState {
    uint8_t unused;  // chorus
};

struct ReverbState {
    uint8_t unused;  // reverb
};

struct EqState {
    uint8_t unused;  // parametric EQ
};

struct TranceGateState {
    uint8_t unused;  // trance gate
};

struct DistortionState {
    uint8_t unused;  // multiband distortion, per instance
};

struct DistortionShared {
    uint8_t unused;  // multiband distortion, shared by the three instances
};

struct CompressorState {
    uint8_t unused;  // compressor
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
