// libFuzzer target: a bank import of any bytes, answered yes, into a patch
// folder and a library of its own. Whatever the bank holds, nothing may
// appear outside "user/fuzz/" but "<16 hex digits>.dat" files and
// "index.ini" in the library; a canary folder beside them stays empty. Both
// folders are emptied after each input.
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "store/bank.h"

static char root[64], user[96], library[96], canary[96], bankPath[96];

static int RemoveOne(const char *path, const struct stat *, int, FTW *) {
    return remove(path);
}

// Empties a folder without following links inside it.
static void Empty(const char *folder) {
    DIR *listing = opendir(folder);
    if (!listing) __builtin_trap();
    while (dirent *entry = readdir(listing)) {
        if (!strcmp(entry->d_name, ".") || !strcmp(entry->d_name, "..")) continue;
        char path[256];
        snprintf(path, sizeof path, "%s/%s", folder, entry->d_name);
        nftw(path, RemoveOne, 16, FTW_DEPTH | FTW_PHYS);
    }
    closedir(listing);
}

// True when every name in the folder passes `allowed`.
static bool Only(const char *folder, bool (*allowed)(const char *name)) {
    DIR *listing = opendir(folder);
    if (!listing) return false;
    bool fine = true;
    while (dirent *entry = readdir(listing)) {
        const char *name = entry->d_name;
        if (!strcmp(name, ".") || !strcmp(name, "..")) continue;
        fine = fine && allowed(name);
    }
    closedir(listing);
    return fine;
}

static bool TargetOnly(const char *name) { return !strcmp(name, "fuzz"); }
static bool Nothing(const char *) { return false; }
static bool RootOnly(const char *name) {
    return !strcmp(name, "user") || !strcmp(name, "lib") || !strcmp(name, "canary") ||
           !strcmp(name, "fuzz.synthbank");
}
static bool LibraryOnly(const char *name) {
    if (!strcmp(name, "index.ini")) return true;
    if (strlen(name) != 20 || strcmp(name + 16, ".dat")) return false;
    for (int i = 0; i < 16; i++)
        if (!strchr("0123456789ABCDEF", name[i])) return false;
    return true;
}

static bool Yes(const char *) { return true; }

static void RemoveRoot() { nftw(root, RemoveOne, 16, FTW_DEPTH | FTW_PHYS); }

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    snprintf(root, sizeof root, "/tmp/bank-fuzz-%d", (int)getpid());
    snprintf(user, sizeof user, "%s/user", root);
    snprintf(library, sizeof library, "%s/lib", root);
    snprintf(canary, sizeof canary, "%s/canary", root);
    snprintf(bankPath, sizeof bankPath, "%s/fuzz.synthbank", root);
    mkdir(root, 0755);
    mkdir(user, 0755);
    mkdir(library, 0755);
    mkdir(canary, 0755);
    atexit(RemoveRoot);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    int fd = open(bankPath, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0 || write(fd, data, size) != (ssize_t)size) __builtin_trap();
    close(fd);
    BankJob job = {};
    job.bankPath = bankPath;
    job.patchFolder = user;
    job.libraryFolder = library;
    job.confirm = Yes;
    BankImport(&job);
    if (!Only(user, TargetOnly) || !Only(canary, Nothing) || !Only(root, RootOnly) ||
        !Only(library, LibraryOnly))
        __builtin_trap();
    Empty(user);
    Empty(library);
    return 0;
}
