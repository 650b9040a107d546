// The views that paint live data rather than a film strip: the compressor's
// level meter, the trance gate's step pattern, the EQ's response graph, and
// the menu of the interface file's preview rows. None keeps state of its own:
// each paint reads the meter block and the editor's values anew.
#pragma once
#include <stdint.h>

#include "toolkit/interface_file.h"

// `compressor_view`: the input and output levels of the compressor instance
// in its context, with the threshold's mark over both bars.
void CompressorViewHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                           UIMessage message, void *data);
// `trancegate`: the 16 steps of a gate's patterns in two rows, left over
// right; a press flips one step, a reset restores the left pattern.
void TranceGateViewHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                           UIMessage message, void *data);

// EDITOR_MSG_MAKE_ELEMENT for the two view kinds: sets the handler (and the
// compressor's instance) and answers true, or false for any other kind.
bool UnitViewsMakeElement(UIMakeElement *offer);

// 128 samples as a filled line graph in a rectangle of design units, the
// zero line across the middle and positive samples above it. `colour` gives
// the RGB only; the areas and the line carry alphas of their own.
void UIDrawResponseGraph(UIWindow *window, int32_t x, int32_t y, int32_t width, int32_t height,
                         const float *samples, uint32_t colour);
// The response sketch of EQ instance 0..2 from the editor's values, worked
// out now by the shell (UI_ASK_EQ_RESPONSE) and drawn in PAL_PREVIEW.
void DrawEqResponse(Editor *editor, UIWindow *window, Plugin *plugin, int32_t instance, int32_t x,
                    int32_t y, int32_t width, int32_t height);

// UI_ASK_PREVIEW_MENU: the menu of preview row `row`, which chooses what the
// row shows.
void OpenPreviewMenu(UIWindow *window, int32_t row);
