#pragma once
// The command lines the engine knows: a single argument beginning with "pgo" asks for the
// fixed profiling run, the single argument "bench" for the same search as a benchmark, and
// a first argument "genfens ..." for start positions (OpenBench adds a second, "quit",
// which the run obeys by ending). Any other command line is ignored.
#include <cstring>

inline bool pgo_run_requested(int argc, const char* const* argv) {
  return argc == 2 && std::strncmp(argv[1], "pgo", 3) == 0;
}

inline bool bench_run_requested(int argc, const char* const* argv) {
  return argc == 2 && std::strcmp(argv[1], "bench") == 0;
}

inline bool genfens_run_requested(int argc, const char* const* argv) {
  return argc >= 2 && std::strncmp(argv[1], "genfens", 7) == 0;
}
