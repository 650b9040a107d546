// libFuzzer target: the interface file parser must turn any text into
// elements, messages on standard error, or nothing, never a crash, a read
// past the text, or memory left behind once the window is freed. The program
// takes every kind it is offered, so the editor's kinds are made too.
// Seed it with the shipped file, and keep the parser's messages out of the
// fuzzer's own: ui_fuzz -close_fd_mask=2 CORPUS_DIR resources
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "toolkit/interface_file.h"

static int32_t TakeEveryKind(Editor *, UIWindow *, Plugin *, uint32_t message, int64_t, void *) {
    return message == EDITOR_MSG_MAKE_ELEMENT;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // A copy of exactly `size` bytes, so that a read past the end shows up.
    char *text = (char *)malloc(size ? size : 1);
    memcpy(text, data, size);
    UIWindow window = {};
    window.editorMessage = TakeEveryKind;
    UIInterfaceFileParse(&window, text, text + size);
    UIWindowStart(&window);
    UIWindowFree(&window);
    free(text);
    return 0;
}
