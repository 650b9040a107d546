// The interface's process-wide scale and skin, read from the settings file at
// the first instance's init and changed only from the settings menu, on the
// main thread. Every editor of the process draws at the same scale.
#pragma once
#include <stdint.h>

enum {
    UI_SKIN_SHIPPED = 1,
    UI_SKIN_CUSTOM = 65535,   // pictures and palette from the "CustomSkin" folder
    UI_SCALE_MAX = 200,       // the largest scale the shipped art has rows for
};

// Percent: device pixels = design units * uiScale / 100, truncated. Always
// 1..UI_SCALE_MAX (see UIScaleLimit).
extern int32_t uiScale;
extern int32_t uiSkin;

// The art stops at 200 percent, and a scale the images have no row for would
// leave every picture empty, so a larger (or non-positive) setting is brought
// into 1..200 rather than given art it doesn't have.
inline int32_t UIScaleLimit(int32_t scale) {
    return scale < 1 ? 100 : scale > UI_SCALE_MAX ? UI_SCALE_MAX : scale;
}
