// The editor's own parts of the toolkit's paint and pointer passes: the
// value tooltip over a dragged or hovered control, and the menu a right
// click opens on a parameter.
#pragma once
#include <stdint.h>

#include "toolkit/element.h"

// Draws the tooltip of `parameter` by `element`, over everything else.
void TooltipPaint(Editor *editor, UIWindow *window, Plugin *plugin, int32_t parameter,
                  const UIElement *element);

// Opens the parameter menu under `element`: the host's items, then Reset,
// Copy and Paste.
void ParamMenuOpen(UIWindow *window, UIElement *element);
