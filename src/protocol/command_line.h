#pragma once
// The one command-line form the engine knows: a single argument beginning with "pgo"
// asks for the fixed profiling run. Any other command line is ignored.
#include <cstring>

inline bool pgo_run_requested(int argc, const char* const* argv) {
  return argc == 2 && std::strncmp(argv[1], "pgo", 3) == 0;
}
