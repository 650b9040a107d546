// The patch browser's three buttons: the patch menu, and the previous and
// next patch of the user's patch folder. The browser itself is the shell's;
// the buttons ask for it through the editor hook.
#pragma once
#include "toolkit/element.h"

// `button_patch_menu`, `button_previous_patch`, `button_next_patch`.
void PatchMenuButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     UIMessage message, void *data);
void PreviousPatchButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                         UIMessage message, void *data);
void NextPatchButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     UIMessage message, void *data);
