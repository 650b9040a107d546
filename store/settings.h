// The user's settings: one ini file, "$HOME/.config/OrwenAudioPlugins.ini",
// shared by all of the maker's plug-ins and by every process of the user. This
// program reads and rewrites only its own section, "LathemoorFX"; everything
// else in the file survives a rewrite. Nothing is cached: each call opens and
// parses the file anew. Main thread only.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "vocabulary/ini.h"

// The reader and the writer each take at most SETTINGS_MAX_SIZE - 1 bytes of
// the file, and the writer stores no result longer than that.
enum { SETTINGS_MAX_SIZE = 1000000 };

// The decimal value of key in this program's section, read as strtol reads it
// (leading spaces and trailing text allowed) and held to the int32_t range;
// 0 when the file, the key or a number is missing.
int32_t SettingsReadInt(const char32_t *key);

// The text of key in this program's section, widened, zero-terminated and
// followed by extraBytes zeroed bytes so that the caller can append in place;
// the caller frees it. Null when the file or the key is missing; an empty value
// gives an empty string.
char32_t *SettingsReadText(const char32_t *key, size_t extraBytes);

// Sets key to value in this program's section and rewrites the whole file in
// normal form: every line of key is given the value, or a new line goes at the
// end of the section (which is added at the end of the file if missing). The
// file is created when its folder exists. Neither text may hold a line feed,
// nor key an "=". A failure changes nothing and is not reported.
void SettingsWrite(const char32_t *key, const char32_t *value);

// The settings file's path, heap-owned, or null when HOME is unset.
char *SettingsPath(void);

// Wide text back to bytes, keeping the low 8 bits of each character (null
// reads as empty); the caller frees the result.
char *TextNarrow(const char32_t *text);
