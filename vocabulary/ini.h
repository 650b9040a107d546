// The ini grammar shared by the settings file and a custom skin's
// "palette.ini": a walker over ini text that reports key lines, comments and
// section headers exactly as written, and a writer of one item in normal form.
#pragma once
#include <stddef.h>
#include <stdint.h>

// What the walker has just passed.
enum { INI_KEY_LINE = 0, INI_COMMENT = 1, INI_SECTION = 2 };

// The walker's state over a buffer of ini text. Start it zeroed with cursor
// and remaining set to the data; after each IniNext the texts describe the
// item passed. Texts are not zero-terminated unless IniNext was told to
// terminate them; an empty text always points to an empty string.
struct IniCursor {
    char *cursor;
    size_t remaining;
    const char *section;  // the last header's name, kept until the next; empty before any
    const char *key;      // a key line's key; a comment's text with its ";"; empty for a header
    const char *value;    // a key line's value; empty for a comment or a header
    size_t sectionLength, keyLength, valueLength;
    uint8_t item;  // INI_KEY_LINE, INI_COMMENT or INI_SECTION
};

// Advances to the next item; false at the end of the data. Nothing is
// trimmed: spaces, tabs and carriage returns belong to keys and values. With
// terminate set it writes a zero byte behind the section, key and value texts
// in the buffer, so the buffer must be writable and hold one byte more than
// the data.
bool IniNext(IniCursor *cursor, bool terminate);

// Writes the present item in normal form: "key=value\n", "comment\n", or
// "\n[section]\n" so that each header follows one empty line. Returns the bytes
// written; an item that does not fit is cut at capacity.
size_t IniFormatItem(const IniCursor *cursor, char *out, size_t capacity);
