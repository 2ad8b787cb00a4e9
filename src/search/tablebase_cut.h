#pragma once
// The endgame tables inside the search: when a node asks them, and what their verdict
// does to its window.
#include "board/position.h"
#include "protocol/search_limits.h"
#include "search/score.h"
#include "search/thread_data.h"

// Tablebase scores rank a win higher, and a loss less low, with more material on the board.
int32_t tb_score(const Position& pos, int ply, bool win);

// Probes the tables (the caller has checked the conditions); true with the score when the node ends.
bool tablebase_cut(ThreadData& thread, int ply, int32_t alpha, int32_t beta, int32_t& score);

// Tables are asked only with few pieces, after a capture or pawn move, and with no castling left.
inline bool may_probe_tables(const Position& pos) {
  return popcount(pos.bb[OCCUPIED]) <= search_limits.tb_probe_limit && pos.rule50 == 0 &&
         pos.castling == NO_CASTLING;
}
