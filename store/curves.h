// The curves' stored form: the default shapes, and the curve block that the
// state stream, patch files and undo entries carry.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "vocabulary/curve.h"

// A transfer of `length` bytes to or from a stream or buffer; true when all of
// them moved. One curve reader and writer serve memory and host streams.
typedef bool (*CurveTransfer)(void *context, void *bytes, size_t length);

// The curve functions work on a set of three records. A set the engine may be
// reading is changed only under its engineLock (the caller's business), so
// that the engine sees the old curves or the new, never a half-made set.

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
