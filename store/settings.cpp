// The settings file: the reader and the rewriting writer of this program's
// section, on the ini walker.
#include "store/settings.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char SETTINGS_PATH_FORMAT[] = "%s/.config/OrwenAudioPlugins.ini";
static const char SETTINGS_SECTION[] = "LathemoorFX";
static const size_t SETTINGS_SECTION_LENGTH = sizeof SETTINGS_SECTION - 1;

// ---- the file ----

// Heap-owned, or null when HOME is unset: a process without a home has no
// settings file, so reads find nothing and writes store nothing. (Formatting
// the null text would name a folder "(null)" in the working directory.)
char *SettingsPath(void) {
    const char *home = getenv("HOME");
    if (!home) return nullptr;
    int length = snprintf(nullptr, 0, SETTINGS_PATH_FORMAT, home);
    char *path = (char *)malloc((size_t)length + 1);
    snprintf(path, (size_t)length + 1, SETTINGS_PATH_FORMAT, home);
    return path;
}

// Wide text back to bytes by the low 8 bits of each character. The bytes end
// at the terminator or at the first character whose low 8 bits are zero, so
// that this program never puts a zero byte into the file.
static char *Narrow(const char32_t *text, size_t *length) {
    size_t count = 0;
    while (text[count] & 0xFF) count++;
    char *bytes = (char *)malloc(count + 1);
    for (size_t i = 0; i < count; i++) bytes[i] = (char)(text[i] & 0xFF);
    bytes[count] = 0;
    *length = count;
    return bytes;
}

char *TextNarrow(const char32_t *text) {
    size_t length;
    return Narrow(text ? text : U"", &length);
}

// The first SETTINGS_MAX_SIZE - 1 bytes of the file, or all of a shorter one;
// -1 when a read fails. Regular files give everything to one read, but a
// short read must not pass for the end of the file: the writer would then
// cut the rest off.
static ssize_t ReadHead(int fd, char *buffer) {
    size_t length = 0;
    while (length < SETTINGS_MAX_SIZE - 1) {
        ssize_t got = read(fd, buffer + length, SETTINGS_MAX_SIZE - 1 - length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        length += (size_t)got;
    }
    return (ssize_t)length;
}

static bool InOwnSection(const IniCursor *cursor) {
    return cursor->sectionLength == SETTINGS_SECTION_LENGTH &&
           !memcmp(cursor->section, SETTINGS_SECTION, SETTINGS_SECTION_LENGTH);
}

// Only key lines match: a comment's text or a header's empty key never
// stands for a setting, whatever key is asked for.
static bool IsWantedLine(const IniCursor *cursor, const char *key, size_t keyLength) {
    return cursor->item == INI_KEY_LINE && cursor->keyLength == keyLength &&
           !memcmp(cursor->key, key, keyLength) && InOwnSection(cursor);
}

// The walk shared by both readers. Answers the buffer that holds the value,
// zero-terminated, for the caller to free, or null when the file or the key is
// missing. The first line of the key wins; later duplicates are not seen.
static char *FindValue(const char32_t *key, const char **value, size_t *valueLength) {
    char *path = SettingsPath();
    int fd = path ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    free(path);
    if (fd < 0) return nullptr;
    char *buffer = (char *)malloc(SETTINGS_MAX_SIZE);
    ssize_t length = ReadHead(fd, buffer);
    close(fd);
    size_t wantedLength;
    char *wanted = Narrow(key, &wantedLength);
    bool found = false;
    if (length > 0) {
        buffer[length] = 0;
        IniCursor cursor = {};
        cursor.cursor = buffer;
        cursor.remaining = (size_t)length;
        while (!found && IniNext(&cursor, true))
            found = IsWantedLine(&cursor, wanted, wantedLength);
        *value = cursor.value;
        *valueLength = cursor.valueLength;
    }
    free(wanted);
    if (found) return buffer;
    free(buffer);
    return nullptr;
}

int32_t SettingsReadInt(const char32_t *key) {
    const char *value;
    size_t valueLength;
    char *buffer = FindValue(key, &value, &valueLength);
    if (!buffer) return 0;
    long number = strtol(value, nullptr, 10);
    free(buffer);
    // strtol's long is 64 bits wide; a larger number stays at the nearest end
    // of the range rather than wrapping into some unrelated value.
    if (number > INT32_MAX) return INT32_MAX;
    if (number < INT32_MIN) return INT32_MIN;
    return (int32_t)number;
}

char32_t *SettingsReadText(const char32_t *key, size_t extraBytes) {
    const char *value;
    size_t valueLength;
    char *buffer = FindValue(key, &value, &valueLength);
    if (!buffer) return nullptr;
    char32_t *text = (char32_t *)calloc(1, (valueLength + 1) * sizeof(char32_t) + extraBytes);
    for (size_t i = 0; i < valueLength; i++) text[i] = (char32_t)(int32_t)(signed char)value[i];
    free(buffer);
    return text;
}

// The rewritten file in output: every item in normal form, the key's lines
// given the new value, or the key line added at the end of the section, and
// the section added at the end of the file if it has none. Returns the bytes
// of output used; SETTINGS_MAX_SIZE means the result did not fit.
static size_t Rewrite(char *input, size_t length, const IniCursor *line, char *output) {
    IniCursor cursor = {};
    cursor.cursor = input;
    cursor.remaining = length;
    bool sectionSeen = false, keyWritten = false;
    size_t used = 0;
    while (used < SETTINGS_MAX_SIZE && IniNext(&cursor, true)) {
        if (InOwnSection(&cursor)) {
            sectionSeen = true;
            if (IsWantedLine(&cursor, line->key, line->keyLength)) {
                cursor.value = line->value;
                cursor.valueLength = line->valueLength;
                keyWritten = true;
            }
        } else if (sectionSeen && !keyWritten) {
            // The first item past the section, its next header included.
            used += IniFormatItem(line, output + used, SETTINGS_MAX_SIZE - used);
            keyWritten = true;
        }
        used += IniFormatItem(&cursor, output + used, SETTINGS_MAX_SIZE - used);
    }
    if (!keyWritten) {
        if (!sectionSeen) {
            IniCursor header = {};
            header.item = INI_SECTION;
            header.section = SETTINGS_SECTION;
            header.sectionLength = SETTINGS_SECTION_LENGTH;
            used += IniFormatItem(&header, output + used, SETTINGS_MAX_SIZE - used);
        }
        used += IniFormatItem(line, output + used, SETTINGS_MAX_SIZE - used);
    }
    return used;
}

// Writes over the file from its start and cuts it to the new length. Not
// atomic: a crash between the write and the cut leaves the tail of a longer
// old file. The cut is skipped when the write fails part way.
static bool Store(int fd, const char *output, size_t length) {
    if (lseek(fd, 0, SEEK_SET) != 0) return false;
    size_t done = 0;
    while (done < length) {
        ssize_t wrote = write(fd, output + done, length - done);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) return false;
        done += (size_t)wrote;
    }
    return ftruncate(fd, (off_t)length) == 0;
}

// One descriptor, opened for reading and writing, serves both the read and the
// rewrite: a missing file is created empty, and a file that cannot be written
// is left as it is.
void SettingsWrite(const char32_t *key, const char32_t *value) {
    char *path = SettingsPath();
    if (!path) return;
    int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    free(path);
    if (fd < 0) return;
    char *input = (char *)calloc(SETTINGS_MAX_SIZE, 1);
    char *output = (char *)calloc(SETTINGS_MAX_SIZE, 1);
    ssize_t length = ReadHead(fd, input);
    if (length >= 0) {
        char *keyBytes, *valueBytes;
        IniCursor line = {};
        line.item = INI_KEY_LINE;
        line.key = keyBytes = Narrow(key, &line.keyLength);
        line.value = valueBytes = Narrow(value, &line.valueLength);
        size_t used = Rewrite(input, (size_t)length, &line, output);
        if (used <= SETTINGS_MAX_SIZE - 1) Store(fd, output, used);
        free(keyBytes);
        free(valueBytes);
    }
    close(fd);
    free(input);
    free(output);
}
