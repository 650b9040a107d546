// The opener runs in a grandchild: the child forks it and ends at once, and
// the parent collects the child, so no finished process is left behind and
// the host's own handling of SIGCHLD is not touched.
#include "store/launcher.h"

#include <sys/wait.h>
#include <unistd.h>

void OpenExternal(const char32_t *address) {
    char narrow[LAUNCHER_ADDRESS_MAX + 1];
    int length = 0;
    for (; address && address[length] && length < LAUNCHER_ADDRESS_MAX; length++)
        narrow[length] = (char)address[length];
    narrow[length] = 0;
    const char *const argv[] = {"xdg-open", narrow, nullptr};
    LaunchDetached("xdg-open", argv);
}

void LaunchDetached(const char *program, const char *const argv[]) {
    pid_t child = fork();
    if (child < 0) return;
    if (child == 0) {
        if (fork() == 0) execvp(program, (char *const *)argv);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
}
