#pragma once
// Where games start: lines of an EPD file or the start position, Chess960 starts, and
// random plies on top. Datagen's self-play starts its own games this way, and genfens the
// games that other programs play.
#include <string>
#include <vector>

#include "games/game_board.h"
#include "games/split_mix_rng.h"

// Random plies on top of the start or the opening line, unless told otherwise.
constexpr int DEFAULT_RANDOM_PLIES = 8;

// The positions of an EPD file: the FEN in the first four fields of a line (six when the
// move counters follow). Lines the board code can't take are skipped; rights that don't fit
// standard chess are dropped. False, with a reason, when the file can't be read or holds
// no usable line.
bool read_openings(const std::string& path, std::vector<std::string>& fens, std::string& error);

// A random line of fens, or the start position when there is none.
const char* pick_opening(const std::vector<std::string>& fens, SplitMixRng& rng);

struct GameStart {
  bool chess960;
  int random_plies;  // those played: none when every try ended the game
};

// Sets up a game: a Chess960 start for chess960_share of the games, else a random line of
// openings, then random_plies random legal moves after which the game goes on (a few tries;
// the bare start when every try ended the game). Sets the UCI_Chess960 option to the kind of
// game, as make_move plays castling by it.
GameStart start_random_game(GameBoard& game, const std::vector<std::string>& openings, int random_plies,
                            double chess960_share, SplitMixRng& rng);
