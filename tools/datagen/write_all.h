#pragma once
// A whole buffer written to a file descriptor, through short writes and interrupted calls: the
// parent of a run writes each game whole or reports the failure.
#include <unistd.h>

#include <cerrno>
#include <cstddef>

inline bool write_all(int fd, const void* data, size_t bytes) {
  const char* p = static_cast<const char*>(data);
  while (bytes > 0) {
    const ssize_t n = write(fd, p, bytes);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n, bytes -= size_t(n);
  }
  return true;
}
