// Modulation assignment: the destination pickers, which start the assign
// mode in which a click on a control makes it the destination, and the tab
// switcher of the three modulators with a trace of each one's recent output.
#pragma once
#include "toolkit/interface_file.h"

void DestinationPicker(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                       UIMessage message, void *data);
void TabSwitcher(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                 UIMessage message, void *data);

// EDITOR_MSG_MAKE_ELEMENT for `modulation_switcher`; false for any other kind.
bool ModulationMakeSwitcher(UIMakeElement *offer);
