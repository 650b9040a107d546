// The interface file: the text that lists the editor's elements.
#pragma once
#include "toolkit/element.h"

// Reads the text from `text` to `end` into the window's template elements.
void UIInterfaceFileParse(UIWindow *window, const char *text, const char *end);
