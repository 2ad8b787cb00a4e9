#pragma once
// Where the games start: EPD lines, built-in Chess960 starts, and a few random plies
// played on top so that pairs of games differ.
#include <cstdint>
#include <string>
#include <vector>

#include "games/split_mix_rng.h"
#include "game_record.h"

// A handful of Shredder-FEN starts used when no file is given for Chess960.
extern const std::vector<std::string> BUILT_IN_CHESS960_STARTS;

// FENs from an EPD file: the four board fields of each line, with the move counters when
// the line has them. Lines that the board code can't take are skipped and counted; rights
// that can't be used in the chosen variant are dropped, as the engine drops them too.
std::vector<std::string> read_epd_openings(const std::string& path, bool chess960, int& skipped);

// Sets game to fen and plays `plies` random legal moves that don't end the game.
// False when no such sequence turned up.
bool start_opening(GameRecord& game, const std::string& fen, int plies, SplitMixRng& rng);
