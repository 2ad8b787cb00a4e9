#pragma once
// "tesmar 'genfens N seed S book <None|FILE> [extra]'": N start positions for games that
// other programs play (OpenBench builds the opening book of a data-generation workload this
// way), made as datagen's self-play makes its own, one line "info string genfens FEN" each.
#include <cstdint>
#include <string>

#include "games/start_positions.h"

// The judging search and the verdict it must give, unless told otherwise: at this many
// nodes a position two pawns or more down for one side is no opening for a fair game.
constexpr int64_t GENFENS_NODES = 5000;
constexpr int32_t GENFENS_MAX_SCORE = 200;

struct GenfensRequest {
  int64_t count = 0;
  uint64_t seed = 0;
  std::string book;  // EPD file; empty for None: the start position
  // Our own words in extra, each followed by its value:
  int random_plies = DEFAULT_RANDOM_PLIES;  // random-plies: random plies on top of the start or book line
  double chess960_share = 0.0;              // chess960-share: the share of Chess960 starts
  int64_t nodes = GENFENS_NODES;            // nodes: the short search that judges a position
  int32_t max_score = GENFENS_MAX_SCORE;    // max-score: positions it scores beyond this are thrown away
};

// Reads the text of the command; false when it lacks N, the seed or the book. Words of
// extra that we don't know are passed over, so that a workload's other words do no harm.
bool parse_genfens(const char* text, GenfensRequest& request);

// Prints the positions: legal, distinct, the same for the same request. Stops early, with a
// line that says so, when a long run of tries brings no new position (a small book without
// random plies). False, after a line that says why, when the book can't be read.
bool genfens_run(const GenfensRequest& request);

// The command-line run: parse_genfens, then genfens_run; false, after a line that says why,
// when either fails.
bool genfens_command(const char* text);
