#pragma once
// Where games start: lines of an EPD file or the start position, Chess960 starts, and
// random plies on top.
#include <string>
#include <vector>

#include "common/game_board.h"
#include "common/split_mix_rng.h"

// The positions of an EPD file: the FEN in the first four fields of a line (six when the
// move counters follow). Lines the board code can't take are skipped; rights that don't fit
// standard chess are dropped. False, with a reason, when the file can't be read or holds
// no usable line.
bool read_openings(const std::string& path, std::vector<std::string>& fens, std::string& error);

// A random line of fens, or the start position when there is none.
const char* pick_opening(const std::vector<std::string>& fens, SplitMixRng& rng);

// Sets game to fen and plays plies random legal moves after which the game goes on.
// Tries again from fen a few times; false when every try ended the game.
bool start_with_random_plies(GameBoard& game, const char* fen, int plies, SplitMixRng& rng);
