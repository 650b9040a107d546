// Hands a web address to the desktop's opener, `xdg-open`, and forgets it:
// the program has no viewer of its own. Main thread; the caller holds no lock.
#pragma once

// Addresses longer than this are cut.
enum { LAUNCHER_ADDRESS_MAX = 250 };

// Nothing is reported: a failed fork, a missing opener or one that fails
// all pass silently.
void OpenExternal(const char32_t *address);

// Runs the program (found on PATH) with argv and forgets it, the same way:
// nothing waits for it and nothing is left behind when it ends.
void LaunchDetached(const char *program, const char *const argv[]);
