// The modulators' curves: three user-drawn shapes, one per modulator, owned
// by the EngineContext and read by the engine under engineLock.
#pragma once
#include <stdint.h>

struct CurvePoint {
    float x;        // position in the cycle, 0 to 1
    float y;        // output, 0 to 1
    float tension;  // shape of the segment that ends here, -20 to 20; 0 is a straight line
};

struct Curve {
    uint16_t pointCount;     // 2 to CURVE_MAX_POINTS for a curve that the modulator reads
    uint16_t loopStart;      // index of a point, 0 for none; kept and stored, never evaluated
    CurvePoint *points;      // ascending in x, owned here
    CurvePoint *dragPoints;  // the editor's copy from the start of a drag, or null; not stored
};

enum { CURVE_COUNT = 3, CURVE_MIN_POINTS = 2, CURVE_MAX_POINTS = 20000 };
