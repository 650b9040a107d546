// The desktop's dialogs: the program has none of its own for messages,
// questions and file choice. It runs `zenity` as a child process and reads
// what comes back; only store/dialogs.cpp knows the tool's command lines.
// Texts are bytes (the program's messages are plain ASCII).
#pragma once
#include <stdbool.h>

struct Plugin;

// Runs on the main thread once a file was chosen: fd is the opened file (the
// completion closes it), or -1 when it could not be opened; path is the
// chosen path, freed after the completion returns. A cancelled choice runs no
// completion: userData, a malloc'd block or null, is freed instead.
typedef void (*DialogCompletion)(Plugin *plugin, void *userData, int fd, const char *path);

// Shows the text and goes on at once. May be called from the bank worker.
void DialogError(const char *text);
// Asks yes or no and waits; true for yes, also when zenity is missing.
bool DialogQuestion(const char *text);
// Starts a file choice in the "UserPatches" folder on a thread of its own.
// save: a save dialog that appends the extension (a static text) when the
// path lacks it.
// False when a dialog is already running (nothing starts then).
bool DialogFile(Plugin *plugin, bool save, const char *filterName, const char *extension,
                bool wantSlash, DialogCompletion completion, void *userData);
// A chosen folder or a line of text, heap-owned, or null; both wait.
char *DialogDirectory(void);
char *DialogEntry(const char *prompt);

// True from DialogFile until its completion has run: the editor takes no
// presses, releases or motion meanwhile.
bool DialogFileRunning(void);
// Main thread: when the file choice's thread has ended, joins it and runs the
// completion. Does nothing otherwise.
void DialogFileSettle(void);
// The instance is going away: a running choice's completion is dropped (its
// file is closed) instead of reaching a freed Plugin.
void DialogFileForget(Plugin *plugin);
