#include "datagen/datagen_options.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

bool read_integer(const char* text, int64_t low, int64_t high, int64_t& value) {
  errno = 0;
  char* end = nullptr;
  const long long v = std::strtoll(text, &end, 10);
  if (errno || end == text || *end || v < low || v > high) return false;
  value = v;
  return true;
}

bool read_fraction(const char* text, double& value) {
  char* end = nullptr;
  const double v = std::strtod(text, &end);
  if (end == text || *end || !(v >= 0.0 && v <= 1.0)) return false;
  value = v;
  return true;
}

}  // namespace

bool parse_datagen_options(int argc, char** argv, DatagenOptions& options, std::string& error) {
  if (argc < 1) {
    error = "no mode given";
    return false;
  }
  if (std::strcmp(argv[0], "bootstrap") == 0) {
    options.mode = DatagenMode::BOOTSTRAP;
  } else if (std::strcmp(argv[0], "selfplay") == 0) {
    options.mode = DatagenMode::SELFPLAY;
  } else {
    error = std::string("unknown mode ") + argv[0];
    return false;
  }
  const bool selfplay = options.mode == DatagenMode::SELFPLAY;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (i + 1 >= argc) {
      error = name + " needs a value";
      return false;
    }
    const char* value = argv[++i];
    int64_t number = 0;
    bool ok = true;
    if (name == "--out") {
      options.out = value;
    } else if (name == "--openings") {
      options.openings = value;
    } else if (name == "--positions") {
      ok = read_integer(value, 1, int64_t(1) << 40, options.positions);
    } else if (name == "--threads") {
      ok = read_integer(value, 1, 256, number);
      options.threads = int(number);
    } else if (name == "--seed") {
      ok = read_integer(value, 0, INT64_MAX, number);
      options.seed = uint64_t(number);
    } else if (selfplay && name == "--nodes") {
      ok = read_integer(value, 1, int64_t(1) << 40, options.nodes);
    } else if (selfplay && name == "--random-plies") {
      ok = read_integer(value, 0, 200, number);
      options.random_plies = int(number);
    } else if (selfplay && name == "--corpus") {
      options.corpus = value;
    } else if (selfplay && name == "--chess960-share") {
      ok = read_fraction(value, options.chess960_share);
    } else {
      error = "unknown option " + name;
      return false;
    }
    if (!ok) {
      error = "bad value for " + name + ": " + value;
      return false;
    }
  }
  if (options.out.empty()) error = "--out is required";
  else if (options.positions == 0) error = "--positions is required";
  return error.empty();
}
