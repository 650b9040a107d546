// Every dialog is a run of `zenity`. Messages are forgotten once started;
// questions, folders and text entries wait for the answer on the calling
// thread; a file choice waits on a thread of its own, and the main thread
// picks up its result later (DialogFileSettle), so the host's window keeps
// painting while the user browses.
#include "store/dialogs.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "store/launcher.h"
#include "store/settings.h"

enum { COMMAND_SIZE = 8192, ANSWER_LIMIT = 8092, FOLDER_LIMIT = 4094 };

void DialogError(const char *text) {
    const char *const argv[] = {"zenity", "--error", "--text", text ? text : "", nullptr};
    LaunchDetached("zenity", argv);
}

bool DialogQuestion(const char *text) {
    // `which` prints the tool's path; only its status matters here.
    if (system("which zenity >/dev/null 2>&1") != 0) return true;
    char *narrow = strdup(text ? text : "");
    if (!narrow) return true;
    for (char *c = narrow; *c; c++)
        if (*c == '\r') *c = ' ';
    pid_t child = fork();
    if (child < 0) {
        free(narrow);
        return true;
    }
    if (child == 0) {
        execlp("zenity", "zenity", "--question", "--text", narrow, (char *)nullptr);
        _exit(0);
    }
    free(narrow);
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return true;
    }
    return ((status >> 8) & 0xFF) == 0;
}

// The whole output of a command, at most `limit` bytes, zero-terminated, or
// null when it could not run.
static char *ReadCommand(const char *command, size_t limit) {
    FILE *pipe = popen(command, "r");
    if (!pipe) return nullptr;
    char *answer = (char *)malloc(limit + 1);
    size_t length = 0;
    if (answer) {
        size_t got;
        while (length < limit && (got = fread(answer + length, 1, limit - length, pipe)) > 0)
            length += got;
        answer[length] = 0;
    }
    pclose(pipe);
    return answer;
}

// An answer without one trailing line feed; null for an empty one.
static char *Line(char *answer) {
    if (!answer) return nullptr;
    size_t length = strlen(answer);
    if (length && answer[length - 1] == '\n') answer[--length] = 0;
    if (length) return answer;
    free(answer);
    return nullptr;
}

char *DialogDirectory(void) {
    return Line(ReadCommand("zenity --file-selection --directory", ANSWER_LIMIT));
}

char *DialogEntry(const char *prompt) {
    char command[COMMAND_SIZE];
    snprintf(command, sizeof command, "zenity --entry --text=\"%s\"", prompt ? prompt : "");
    return Line(ReadCommand(command, ANSWER_LIMIT));
}

// ---- the file choice ----

// One choice at a time: the editor takes no new request while one runs.
// `ended` is the only field the thread and the main thread both touch after
// the start; the thread writes fd and path before it sets `ended`.
static struct {
    pthread_t thread;
    uint8_t running;       // main thread: from the start until the completion ran
    uint8_t ended;         // atomic: the thread has its answer
    bool save;
    Plugin *plugin;        // null once the instance went away
    DialogCompletion completion;
    void *userData;
    const char *extension;
    int fd;
    char *path;
} fileDialog;
static char command[COMMAND_SIZE];

static void *FileThread(void *) {
    char *path = Line(ReadCommand(command, ANSWER_LIMIT));
    const char *extension = fileDialog.extension;
    size_t length = path ? strlen(path) : 0, suffix = strlen(extension);
    if (path && fileDialog.save && (length < suffix || strcmp(path + length - suffix, extension))) {
        char *longer = (char *)realloc(path, length + suffix + 1);
        if (longer) memcpy(longer + length, extension, suffix + 1);
        else free(path);
        path = longer;
    }
    fileDialog.fd = !path ? -1
                    : fileDialog.save ? open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)
                                      : open(path, O_RDONLY | O_CLOEXEC);
    fileDialog.path = path;
    __atomic_store_n(&fileDialog.ended, 1, __ATOMIC_RELEASE);
    return nullptr;
}

bool DialogFile(Plugin *plugin, bool save, const char *filterName, const char *extension,
                bool wantSlash, DialogCompletion completion, void *userData) {
    if (!fileDialog.plugin) DialogFileSettle();   // its instance went away: no pump settles it
    if (fileDialog.running) return false;
    // The shell quotes the folder in apostrophes: one inside it, or a path
    // too long for the buffer, starts the choice in the current folder.
    // Without the setting there is no folder to start in either.
    char32_t *wide = SettingsReadText(U"UserPatches", 0);
    char *folder = wide ? TextNarrow(wide) : nullptr;
    free(wide);
    const char *start = folder;
    if (!folder || strchr(folder, '\'') || strlen(folder) > FOLDER_LIMIT) start = ".";
    snprintf(command, sizeof command, "(cd '%s%s'; %s%s%s%s%s", start,
             wantSlash && start == folder ? "/" : "",
             save ? "zenity --file-selection --save --confirm-overwrite --file-filter=\""
                  : "zenity --file-selection --file-filter=\"",
             filterName, "|*", extension, "\")");
    free(folder);
    fileDialog = {};
    fileDialog.save = save;
    fileDialog.plugin = plugin;
    fileDialog.completion = completion;
    fileDialog.userData = userData;
    fileDialog.extension = extension;
    fileDialog.fd = -1;
    if (pthread_create(&fileDialog.thread, nullptr, FileThread, nullptr) != 0) {
        free(userData);
        return false;
    }
    fileDialog.running = 1;
    return true;
}

bool DialogFileRunning(void) {
    return fileDialog.running;
}

void DialogFileSettle(void) {
    if (!fileDialog.running || !__atomic_load_n(&fileDialog.ended, __ATOMIC_ACQUIRE)) return;
    pthread_join(fileDialog.thread, nullptr);
    // Copied out first: the completion may start the next choice.
    Plugin *plugin = fileDialog.plugin;
    DialogCompletion completion = fileDialog.completion;
    void *userData = fileDialog.userData;
    int fd = fileDialog.fd;
    char *path = fileDialog.path;
    fileDialog.running = 0;
    if (path && plugin && completion) {
        completion(plugin, userData, fd, path);
    } else {
        if (fd >= 0) close(fd);
        free(userData);
    }
    free(path);
}

void DialogFileForget(Plugin *plugin) {
    if (fileDialog.running && fileDialog.plugin == plugin) fileDialog.plugin = nullptr;
}
