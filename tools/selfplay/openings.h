#pragma once
// Where the games start: EPD lines, built-in Chess960 starts, and a few random plies
// played on top so that pairs of games differ.
#include <cstdint>
#include <string>
#include <vector>

#include "game_record.h"

struct OpeningRng {
  uint64_t state;
  uint64_t next() {
    state += 0x9E3779B97F4A7C15ull;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  int below(int n) { return int(next() % uint64_t(n)); }
};

// A handful of Shredder-FEN starts used when no file is given for Chess960.
extern const std::vector<std::string> BUILT_IN_CHESS960_STARTS;

// FENs from an EPD file: the four board fields of each line, with the move counters when
// the line has them. Lines that the board code can't take are skipped and counted; rights
// that can't be used in the chosen variant are dropped, as the engine drops them too.
std::vector<std::string> read_epd_openings(const std::string& path, bool chess960, int& skipped);

// Sets game to fen and plays `plies` random legal moves that don't end the game.
// False when no such sequence turned up.
bool start_opening(GameRecord& game, const std::string& fen, int plies, OpeningRng& rng);
