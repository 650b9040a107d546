// The editor: the program's answers to the toolkit's messages and questions.
#pragma once
#include <stdint.h>

#include "toolkit/element.h"

// Fills the toolkit's table of handlers for the kinds it knows by name;
// called before the first interface file is parsed.
void EditorInstall();

// The window's editorMessage hook.
int32_t EditorMessage(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                      int64_t argument, void *data);
