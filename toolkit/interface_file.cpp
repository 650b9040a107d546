#include "toolkit/interface_file.h"

void UIInterfaceFileParse(UIWindow *window, const char *text, const char *end) {}
