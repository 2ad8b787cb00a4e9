#pragma once
// Records of one game before its end is known. A record's result field first holds the
// side to move (1 White, -1 Black); the game's result from White's view then turns it
// into the result for the side to move.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "board/position.h"
#include "common/training_record.h"
#include "games/game_board.h"

// A game that runs this many plies from its start position is drawn: long shuffles teach little.
constexpr int PLY_CAP = 400;

inline int white_sign(const Position& pos) { return side_bit(pos) ? -1 : 1; }

inline void keep_position(std::vector<TrainingRecord>& records, const Position& pos, int score, int ply,
                          bool chess960) {
  records.push_back(pack_record(pos, score, white_sign(pos), ply, chess960));
}

inline void settle_results(std::vector<TrainingRecord>& records, int white_result) {
  for (TrainingRecord& r : records) r.result = int8_t(r.result * white_result);
}

// The result from White's view of a game that ended by rule: a mate loses for the side to
// move, everything else is drawn.
inline int result_by_rule(GameEnd end, const Position& pos) {
  return end == GameEnd::CHECKMATE ? -white_sign(pos) : 0;
}

// Plies in a row in which a score from White's view has given the game to one side: positive
// counts for White, negative for Black; any ply below the threshold starts the count again.
inline int decisive_run_after(int run, int32_t white_view, int32_t threshold) {
  return white_view >= threshold ? std::max(run, 0) + 1 : white_view <= -threshold ? std::min(run, 0) - 1 : 0;
}

// True when the game has ended by rule or reached the ply cap; white_result is then the result
// from White's view (a game stopped by the cap is drawn).
inline bool game_over(const GameBoard& game, int plies_played, int ply_cap, int& white_result) {
  const GameEnd end = game_end_by_rule(game);
  white_result = end == GameEnd::NONE ? 0 : result_by_rule(end, board_position(game));
  return end != GameEnd::NONE || plies_played >= ply_cap;
}
