// The ini walker and the writer of one item.
//
// The grammar, byte by byte: spaces, line feeds and carriage returns between
// items are skipped (a tab is not: it starts a key). ";" starts a comment that
// runs to the next line feed or zero byte. "[" starts a header whose name runs
// to the next "]" or zero byte; what follows the "]" on that line is the next
// item. Anything else starts a key line: the key runs to the first "=" or line
// feed, and after an "=" the value runs to the next line feed or zero byte.
#include "vocabulary/ini.h"

#include <string.h>

static const char EMPTY_TEXT[] = "";

static bool IsSkipped(char c) { return c == ' ' || c == '\n' || c == '\r'; }

static void Step(IniCursor *cursor, size_t count) {
    cursor->cursor += count;
    cursor->remaining -= count;
}

// The number of bytes ahead of the cursor before the first stop or stop2, or
// before the end of the data.
static size_t Span(const IniCursor *cursor, char stop, char stop2) {
    size_t count = 0;
    while (count < cursor->remaining && cursor->cursor[count] != stop &&
           cursor->cursor[count] != stop2)
        count++;
    return count;
}

static void SetText(const char **text, size_t *length, const char *start, size_t count) {
    *text = count ? start : EMPTY_TEXT;
    *length = count;
}

// Every branch consumes at least one byte, so a walk ends after at most as
// many items as the data has bytes. Where a text ends at a delimiter, the
// delimiter is read before the terminating zero overwrites it.
bool IniNext(IniCursor *cursor, bool terminate) {
    if (!cursor->section) cursor->section = EMPTY_TEXT;
    while (cursor->remaining && IsSkipped(cursor->cursor[0])) Step(cursor, 1);
    if (!cursor->remaining) return false;
    SetText(&cursor->key, &cursor->keyLength, EMPTY_TEXT, 0);
    SetText(&cursor->value, &cursor->valueLength, EMPTY_TEXT, 0);

    if (cursor->cursor[0] == ';') {
        // The line feed or zero byte that ends a comment belongs to it.
        cursor->item = INI_COMMENT;
        size_t length = Span(cursor, '\n', '\0');
        char *end = cursor->cursor + length;
        SetText(&cursor->key, &cursor->keyLength, cursor->cursor, length);
        Step(cursor, length);
        if (cursor->remaining) Step(cursor, 1);
        if (terminate) *end = 0;
    } else if (cursor->cursor[0] == '[') {
        // A zero byte ends the name but stays, as it does after a value.
        cursor->item = INI_SECTION;
        Step(cursor, 1);
        size_t length = Span(cursor, ']', '\0');
        char *end = cursor->cursor + length;
        SetText(&cursor->section, &cursor->sectionLength, cursor->cursor, length);
        Step(cursor, length);
        if (cursor->remaining && cursor->cursor[0] == ']') Step(cursor, 1);
        if (terminate) *end = 0;
    } else {
        // A zero byte does not end a key: it is a byte of the key like any other.
        cursor->item = INI_KEY_LINE;
        size_t length = Span(cursor, '=', '\n');
        char *keyEnd = cursor->cursor + length;
        SetText(&cursor->key, &cursor->keyLength, cursor->cursor, length);
        Step(cursor, length);
        bool hasValue = cursor->remaining && cursor->cursor[0] == '=';
        if (cursor->remaining) Step(cursor, 1);  // the "=" or the line feed
        if (hasValue) {
            size_t valueLength = Span(cursor, '\n', '\0');
            char *valueEnd = cursor->cursor + valueLength;
            SetText(&cursor->value, &cursor->valueLength, cursor->cursor, valueLength);
            Step(cursor, valueLength);
            if (cursor->remaining && cursor->cursor[0] == '\n') Step(cursor, 1);
            if (terminate) *valueEnd = 0;
        }
        if (terminate) *keyEnd = 0;
    }
    return true;
}

static size_t Put(char *out, size_t capacity, size_t used, const char *bytes, size_t count) {
    if (count > capacity - used) count = capacity - used;
    if (count) memcpy(out + used, bytes, count);
    return used + count;
}

// Texts are written by their lengths, so a zero byte inside a key survives.
size_t IniFormatItem(const IniCursor *cursor, char *out, size_t capacity) {
    size_t used = 0;
    if (cursor->item == INI_SECTION) {
        used = Put(out, capacity, used, "\n[", 2);
        used = Put(out, capacity, used, cursor->section, cursor->sectionLength);
        used = Put(out, capacity, used, "]\n", 2);
    } else if (cursor->item == INI_COMMENT) {
        used = Put(out, capacity, used, cursor->key, cursor->keyLength);
        used = Put(out, capacity, used, "\n", 1);
    } else {
        used = Put(out, capacity, used, cursor->key, cursor->keyLength);
        used = Put(out, capacity, used, "=", 1);
        used = Put(out, capacity, used, cursor->value, cursor->valueLength);
        used = Put(out, capacity, used, "\n", 1);
    }
    return used;
}
