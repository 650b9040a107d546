// The editor's answers to the toolkit: the main picture as the background,
// and the values the controls show.
#include "editor/editor.h"

#include "toolkit/images.h"
#include "vocabulary/context.h"

int32_t EditorMessage(Editor *editor, UIWindow *window, Plugin *plugin, uint32_t message,
                      int64_t argument, void *data) {
    switch (message) {
    case EDITOR_MSG_PAINT_BACKGROUND:
        UIDrawImageOpaque(&window->painter, UIImageGet(IMAGE_PAGE_MAIN), 0, 0);
        return 0;
    case UI_ASK_PARAM_VALUE:
        if (argument >= 0 && argument < PARAM_COUNT) *(float *)data = editor->editorValue[argument];
        return 0;
    }
    return 0;
}
