// libFuzzer target: the ini walker must get through any bytes to their end,
// one item at least one byte long at a time, without reading past the data;
// with terminate set it writes only the one byte behind the data that it is
// given. Its normal form must be a fixed point, which is what keeps a second
// rewrite of the settings file from changing anything.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "store/settings.h"

static bool Within(const char *text, size_t length, const char *data, size_t size) {
    return length == 0 || (text >= data && text + length <= data + size);
}

// Walks size bytes at data and writes the normal form of every item to out,
// which holds at least 4 bytes per input byte: the most an item grows is "["
// becoming "\n[]\n". Returns the bytes written.
static size_t WalkAndFormat(char *data, size_t size, bool terminate, char *out, size_t capacity) {
    IniCursor cursor = {};
    cursor.cursor = data;
    cursor.remaining = size;
    size_t items = 0, used = 0;
    while (IniNext(&cursor, terminate)) {
        if (++items > size) __builtin_trap();  // an item that consumed nothing
        if (cursor.cursor + cursor.remaining != data + size) __builtin_trap();
        if (!Within(cursor.section, cursor.sectionLength, data, size) ||
            !Within(cursor.key, cursor.keyLength, data, size) ||
            !Within(cursor.value, cursor.valueLength, data, size))
            __builtin_trap();
        if (terminate && (cursor.section[cursor.sectionLength] || cursor.key[cursor.keyLength] ||
                          cursor.value[cursor.valueLength]))
            __builtin_trap();
        size_t wrote = IniFormatItem(&cursor, out + used, capacity - used);
        if (wrote > capacity - used) __builtin_trap();
        used += wrote;
    }
    if (cursor.remaining != 0) __builtin_trap();
    return used;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    // An exact-size copy, so that AddressSanitizer catches a read one past it.
    char *data = (char *)malloc(size);
    if (size) memcpy(data, bytes, size);
    size_t capacity = 4 * size + 4;
    char *once = (char *)malloc(capacity);
    size_t onceLength = WalkAndFormat(data, size, false, once, capacity);
    if (size && memcmp(data, bytes, size)) __builtin_trap();  // a plain walk writes nothing

    // The same walk with terminate set, over a copy with room for one byte more.
    char *terminated = (char *)malloc(size + 1);
    if (size) memcpy(terminated, bytes, size);
    terminated[size] = 'x';
    char *again = (char *)malloc(capacity);
    if (WalkAndFormat(terminated, size, true, again, capacity) != onceLength ||
        (onceLength && memcmp(again, once, onceLength)))
        __builtin_trap();

    // Walking the normal form gives it back unchanged.
    char *twice = (char *)malloc(4 * onceLength + 4);
    size_t twiceLength = WalkAndFormat(once, onceLength, false, twice, 4 * onceLength + 4);
    if (twiceLength != onceLength || (onceLength && memcmp(twice, once, onceLength)))
        __builtin_trap();

    free(data);
    free(once);
    free(terminated);
    free(again);
    free(twice);
    return 0;
}
