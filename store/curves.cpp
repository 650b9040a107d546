#include "store/curves.h"

#include <stdlib.h>
#include <string.h>

static const CurvePoint DEFAULT_CURVE[] = {
    {0.0f, 0.0f, 0.0f},
    {0.5f, 1.0f, 0.0f},
    {1.0f, 0.0f, 0.0f},
};
enum { DEFAULT_CURVE_POINTS = sizeof DEFAULT_CURVE / sizeof DEFAULT_CURVE[0] };

static Curve *DefaultCurves(void) {
    Curve *curves = (Curve *)calloc(CURVE_COUNT, sizeof(Curve));
    for (int i = 0; i < CURVE_COUNT; i++) {
        curves[i].pointCount = DEFAULT_CURVE_POINTS;
        curves[i].points = (CurvePoint *)malloc(sizeof DEFAULT_CURVE);
        memcpy(curves[i].points, DEFAULT_CURVE, sizeof DEFAULT_CURVE);
    }
    return curves;
}

static void FreeCurveArray(Curve *curves) {
    if (!curves) return;
    for (int i = 0; i < CURVE_COUNT; i++) {
        free(curves[i].points);
        free(curves[i].dragPoints);
    }
    free(curves);
}

void CurvesReset(Curve **curves) {
    Curve *old = *curves;
    *curves = DefaultCurves();
    FreeCurveArray(old);
}

void CurvesFree(Curve **curves) {
    FreeCurveArray(*curves);
    *curves = nullptr;
}

// ---- the stored form ----

static const uint16_t CURVE_MARKER = 0xFFFF;
static const uint16_t OLDEST_COUNT_FORM = 0xFEFF;  // a first u16 up to here is the count itself
static const float TENSION_LIMIT = 20.0f;

bool CurvesWrite(const Curve *curves, CurveTransfer write, void *context) {
    uint8_t present = 1;
    if (!write(context, &present, 1)) return false;
    for (int i = 0; i < CURVE_COUNT; i++) {
        // A curve that holds no points (a count out of range, or no curves at
        // all) is written with its header alone, so a reload reads it back the same.
        Curve empty = {};
        const Curve *curve = curves ? &curves[i] : &empty;
        uint16_t header[3] = {CURVE_MARKER, curve->loopStart, curve->pointCount};
        bool ok = true;
        for (int h = 0; h < 3 && ok; h++) ok = write(context, &header[h], 2);
        if (!curve->points) continue;
        for (int p = 0; p < curve->pointCount && ok; p++) {
            CurvePoint point = curve->points[p];
            ok = write(context, &point.x, 4) && write(context, &point.y, 4) &&
                 write(context, &point.tension, 4);
        }
    }
    return true;
}

// Bounds are inclusive; a NaN is out of every bound.
static bool PointInBounds(CurvePoint p) {
    return p.x >= 0.0f && p.x <= 1.0f && p.y >= 0.0f && p.y <= 1.0f &&
           p.tension >= -TENSION_LIMIT && p.tension <= TENSION_LIMIT;
}

static void ReadCurve(Curve *curve, CurveTransfer read, void *context) {
    uint16_t first;
    if (!read(context, &first, 2)) return;
    if (first <= OLDEST_COUNT_FORM) {
        curve->pointCount = first;
    } else if (first == CURVE_MARKER) {
        uint16_t loopStart, count;
        if (!read(context, &loopStart, 2) || !read(context, &count, 2)) return;
        curve->loopStart = loopStart;
        curve->pointCount = count;
    } else {
        return;  // no known form: the curve stays empty and the next header follows
    }
    // A count out of range keeps its header and no points; the modulator
    // reads such a curve as 0 and a save writes it back unchanged.
    if (curve->pointCount < CURVE_MIN_POINTS || curve->pointCount > CURVE_MAX_POINTS) return;
    curve->points = (CurvePoint *)calloc(curve->pointCount, sizeof(CurvePoint));
    for (int p = 0; p < curve->pointCount; p++) {
        CurvePoint point;
        bool whole = read(context, &point.x, 4) && read(context, &point.y, 4) &&
                     read(context, &point.tension, 4);
        if (!whole || !PointInBounds(point)) return;
        curve->points[p] = point;
    }
}

bool CurvesRead(Curve **curves, CurveTransfer read, void *context) {
    uint8_t present;
    if (!read(context, &present, 1) || present != 1) return false;
    *curves = (Curve *)calloc(CURVE_COUNT, sizeof(Curve));
    for (int i = 0; i < CURVE_COUNT; i++) ReadCurve(&(*curves)[i], read, context);
    return true;
}
