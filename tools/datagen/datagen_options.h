#pragma once
// The command line of datagen.
#include <cstdint>
#include <string>

#include "games/start_positions.h"

enum class DatagenMode { BOOTSTRAP, SELFPLAY };

struct DatagenOptions {
  DatagenMode mode = DatagenMode::BOOTSTRAP;
  std::string out;
  std::string openings;  // EPD file; empty: the start position
  std::string corpus;    // self-play: game corpus file that every game also goes to
  int64_t positions = 0;
  int64_t nodes = 5000;  // self-play: nodes per move
  int threads = 0;  // 0: every core the process may run on
  int random_plies = DEFAULT_RANDOM_PLIES;  // self-play: random plies after the opening line
  double chess960_share = 0.1;
  // Fixed by default, so that the same command run again goes on with the same games.
  uint64_t seed = 1;
};

constexpr const char* DATAGEN_USAGE =
    "usage: datagen bootstrap --out FILE --positions N [--threads T] [--openings EPD] [--seed S]\n"
    "       datagen selfplay  --out FILE --positions N [--nodes K] [--threads T] [--openings EPD]\n"
    "                         [--random-plies R] [--chess960-share F] [--seed S] [--corpus GAMES.tgc]\n"
    "       datagen merge OUT IN [IN...]\n"
    "       datagen info FILE [FILE...]\n"
    "       datagen import-pgn --out FILE PGN [PGN...]   (FILE.tgc: corpus games, else training records)\n"
    "       datagen pgn GAMES.tgc [GAMES.tgc...]\n"
    "       datagen import-records --out GAMES.tgc FILE [FILE...]\n"
    "A run goes on where FILE stopped: N positions of seed S in all, kept in FILE.journal.\n";

// Reads the arguments after the program name. False with a reason in error when they
// don't make a run.
bool parse_datagen_options(int argc, char** argv, DatagenOptions& options, std::string& error);
