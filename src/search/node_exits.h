#pragma once
// The exits that search and qsearch share at the head of a node: draws by rule, and
// the endgame tables.
#include "board/position.h"
#include "protocol/search_limits.h"
#include "search/score.h"
#include "search/thread_data.h"

// A checkmate found on the hundredth half-move beats the fifty-move rule.
bool has_legal_evasion(const Position& pos);

// Tablebase scores rank a win higher, and a loss less low, with more material on the board.
int32_t tb_score(const Position& pos, int ply, bool win);

// Probes the tables (the caller has checked the conditions); true with the score when the node ends.
bool tablebase_cut(ThreadData& thread, int ply, int32_t alpha, int32_t beta, int32_t& score);

// Repetition, the fifty-move rule and bare minor pieces; true with the score when the node ends.
inline bool draw_exit(const Position& pos, int ply, int32_t& score) {
  if (pos.flags & FLAG_REPETITION) {
    score = draw_score(ply);
    return true;
  }
  if (pos.rule50 >= 100) {
    score = in_check(pos) && !has_legal_evasion(pos) ? mated_score(ply) : draw_score(ply);
    return true;
  }
  // Two minor pieces never count as a draw here, not even a knight each.
  if (!(pos.bb[PAWN] | pos.bb[ROOK] | pos.bb[QUEEN]) && popcount(pos.bb[KNIGHT] | pos.bb[BISHOP]) <= 1) {
    score = draw_score(ply);
    return true;
  }
  return false;
}

// Tables are asked only with few pieces, after a capture or pawn move, and with no castling left.
inline bool may_probe_tables(const Position& pos) {
  return popcount(pos.bb[OCCUPIED]) <= search_limits.tb_probe_limit && pos.rule50 == 0 &&
         pos.castling == NO_CASTLING;
}

// A node this far from the root is a leaf, which keeps every ply row and the position
// stack in bounds however long extensions stretch a line.
constexpr int LEAF_PLY = MAX_PLY - 8;
