#pragma once
// The clock of the search and its tools: milliseconds on the monotonic clock.
#include <ctime>

#include <cstdint>

inline int64_t now_ms() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return int64_t(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}
