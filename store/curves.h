// The modulators' curves: three user-drawn shapes, one per modulator, owned
// by the EngineContext and read by the engine under engineLock.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "shell/context.h"

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

// A transfer of `length` bytes to or from a stream or buffer; true when all of
// them moved. One curve reader and writer serve memory and host streams.
typedef bool (*CurveTransfer)(void *context, void *bytes, size_t length);

// The curve functions work on the context's `curves` field. Every caller that
// may run while the instance processes holds engineLock around them, so that
// the engine sees the old curves or the new, never a half-made set.

// Replaces whatever curves there are with the three default triangles
// (0, 0), (0.5, 1), (1, 0), all straight, loopStart 0.
void CurvesReset(Curve **curves);
// Frees the three curves with their points and drag copies; curves becomes null.
void CurvesFree(Curve **curves);
// Writes the curve block: the present byte, then for each curve the marker,
// loopStart, pointCount and its points. False only when the present byte
// could not be written; a failed write inside a curve ends that curve.
bool CurvesWrite(const Curve *curves, CurveTransfer write, void *context);
// Reads a curve block in either stored form into fresh records (*curves must
// be null). False when the present byte is missing or not 1. A curve cut
// short keeps the points read so far; the rest stay (0, 0, 0).
bool CurvesRead(Curve **curves, CurveTransfer read, void *context);
