// The parameter controls: the dials in their six looks and the slider, check
// boxes and radio buttons, and the option pickers. Each writes its parameter
// through the hook's UI_ASK_PARAM_SET and marks a drag's begin and end with
// UI_ASK_PARAM_GESTURE.
#pragma once
#include "toolkit/interface_file.h"

void DialNormal(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                UIMessage message, void *data);
void DialNormalBipolar(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                       UIMessage message, void *data);
void DialSmall(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
               UIMessage message, void *data);
void DialSmallBipolar(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                      UIMessage message, void *data);
void DialTiny(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
              UIMessage message, void *data);
void DialTinyBipolar(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                     UIMessage message, void *data);
void SliderHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                   UIMessage message, void *data);
// `toggle`, and `radio` with UI_ELEMENT_RADIO.
void ToggleHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                   UIMessage message, void *data);
// All four pickers; the element's context names its option table.
void PickerHandler(Editor *editor, UIWindow *window, Plugin *plugin, UIElement *element,
                   UIMessage message, void *data);

// EDITOR_MSG_MAKE_ELEMENT for the picker kinds: sets the handler and the
// option table and answers true, or false for any other kind.
bool ControlsMakePicker(UIMakeElement *offer);
