#pragma once
// One game between two seats under a clock with increment, refereed move by move.
#include <cstdint>
#include <string>

#include "game_record.h"
#include "uci_seat.h"

struct GameSettings {
  int64_t base_ms = 1000;
  int64_t increment_ms = 50;
  int64_t grace_ms = 200;  // lateness past the clock that still counts as in time
  int max_plies = 300;     // then the game is adjudicated a draw
  int ping_every = 7;      // an isready in the middle of every n-th search; 0 never
  Timeouts timeouts;
};

struct GameResult {
  GameEnd end = GameEnd::NONE;
  int winner = -1;       // 0 White, 1 Black, -1 a draw
  std::string failure;   // empty unless the game broke down
  int failed_side = -1;  // 0 White, 1 Black, the engine at fault
  int late_moves = 0;    // moves past the clock but within the grace
  int64_t longest_overrun_ms = 0;
};

// Plays from the position in game (already set up with its opening) until it ends.
// seats[0] has White. Each engine's clock runs from the go until its bestmove is read.
GameResult play_game(EngineSeat* seats[2], GameRecord& game, const GameSettings& settings);

// Whether an info line is well formed for the position being searched: known fields,
// numbers where numbers belong, and a pv and currmove of legal moves. "" when it is.
std::string check_info_line(GameRecord& game, const std::string& line);
