// The block shared by the shell, the engine and the editor, and the meter
// record through which the audio side shows its state to the editor.
#pragma once
#include <pthread.h>
#include <stdint.h>

enum { PARAM_COUNT = 231 };

struct Curve;
struct Engine;
struct Patch;

// Written by the audio side (and the host-extension glue) without a lock:
// each field has exactly one writer, and a late value only shows for a frame.
// A field that one thread writes while the other reads it goes through
// MeterRead and MeterWrite.
// Relaxed atomic access to a MeterBlock field that the other thread uses at
// the same time: each value stays whole, no order is promised, and on x86-64
// it is the plain move that an ordinary access would be.
template <typename T>
inline T MeterRead(const T &field) {
    T value;
    __atomic_load(&field, &value, __ATOMIC_RELAXED);
    return value;
}
template <typename T>
inline void MeterWrite(T &field, T value) {
    __atomic_store(&field, &value, __ATOMIC_RELAXED);
}

struct MeterBlock {
    float eqCurve[128];
    float modOffset[PARAM_COUNT];
    float hostMod[PARAM_COUNT];
    uint8_t audioActive;
    uint8_t metersWanted;
    uint8_t modulatorUsed[3];
    float modHistory[3][128];
    float modPhase[3], modValue[3];
    int32_t modHistoryIndex[3], modHistoryCountdown[3];
    float compressorInputDb[3], compressorOutputDb[3];
    uint32_t automationColour[PARAM_COUNT], mappingColour[PARAM_COUNT];
};

struct EngineContext {
    float sampleRate;                // set by activate; 0 before
    float samplesPerBeat;            // 19,200 until the host sends a tempo
    float editorValue[PARAM_COUNT];  // main thread's copy; written under paramLock
    float liveValue[PARAM_COUNT];    // what the engine reads (base + host mod + modulators)
    Curve *curves;                   // three curves, owned here; guarded by engineLock
    uint8_t engineReset;             // the engine clears its units at its next block
    uint8_t reloadRequest;           // main thread asks for a reload of all values
    uint8_t valuesRequest;           // main thread asks the audio side to take all editor
                                     // values over, keeping the units' state (a state load)
    double songPosition;             // samples
    uint8_t transportPlaying;
    Engine *engine;                  // made by the engine on its first block
    MeterBlock *meter;
    Patch *patch;
    pthread_mutex_t engineLock;      // held by the audio thread around every engine call
    float *dryBlock;                 // interleaved input of the current chunk
};
