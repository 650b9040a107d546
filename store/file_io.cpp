#include "store/file_io.h"

#include <errno.h>
#include <unistd.h>

ssize_t ReadFull(int fd, void *data, size_t size) {
    size_t done = 0;
    while (done < size) {
        ssize_t got = read(fd, (char *)data + done, size - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        done += (size_t)got;
    }
    return (ssize_t)done;
}

bool WriteFull(int fd, const void *data, size_t size) {
    size_t done = 0;
    while (done < size) {
        ssize_t put = write(fd, (const char *)data + done, size - done);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        done += (size_t)put;
    }
    return true;
}
