// The settings button at the editor's top right and its menu: the scales the
// screen has room for, the refresh rates, the about page, the manual and the
// website.
#pragma once
#include "toolkit/element.h"

// `button_settings`.
void SettingsButton(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                    UIMessage message, void *data);
