// The curve element: one per modulator, drawing its curve and editing it in
// place with the mouse. The left button drags points and tension handles or
// draws a rubber band that selects a range; the right button adds a point and
// drags it, or opens a point's menu; Shift snaps to the grid.
#pragma once
#include "toolkit/interface_file.h"

void CurveEditorHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                        UIMessage message, void *data);

// EDITOR_MSG_MAKE_ELEMENT for `curve_editor`: its colours from the keys
// line_color and shade_color, and the window's grid of sixteenths. False for
// any other kind.
bool CurveEditorMake(UIWindow *window, UIMakeElement *offer);
