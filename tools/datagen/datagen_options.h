#pragma once
// The command line of datagen.
#include <cstdint>
#include <string>

enum class DatagenMode { BOOTSTRAP, SELFPLAY };

struct DatagenOptions {
  DatagenMode mode = DatagenMode::BOOTSTRAP;
  std::string out;
  std::string openings;  // EPD file; empty: the start position
  int64_t positions = 0;
  int64_t nodes = 5000;  // self-play: nodes per move
  int threads = 1;
  int random_plies = 8;  // self-play: random plies after the opening line
  double chess960_share = 0.1;
  uint64_t seed = 0;
  bool seed_given = false;
};

constexpr const char* DATAGEN_USAGE =
    "usage: datagen bootstrap --out FILE --positions N [--threads T] [--openings EPD] [--seed S]\n"
    "       datagen selfplay  --out FILE --positions N [--nodes K] [--threads T] [--openings EPD]\n"
    "                         [--random-plies R] [--chess960-share F] [--seed S]\n";

// Reads the arguments after the program name. False with a reason in error when they
// don't make a run.
bool parse_datagen_options(int argc, char** argv, DatagenOptions& options, std::string& error);
