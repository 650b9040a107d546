// Whole reads and writes on a descriptor: a pipe, a slow disk or a signal may
// hand over fewer bytes than asked for, and that must not pass for the end.
#pragma once
#include <stddef.h>
#include <sys/types.h>

// Reads until `size` bytes or the end of the file: the count read, or -1.
ssize_t ReadFull(int fd, void *data, size_t size);
// Writes all `size` bytes; false on any failure.
bool WriteFull(int fd, const void *data, size_t size);
