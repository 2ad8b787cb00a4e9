#pragma once
// The draw rules that end a node of search or qsearch before anything else is looked at.
#include "board/position.h"
#include "search/score.h"

// A checkmate found on the hundredth half-move beats the fifty-move rule.
bool has_legal_evasion(const Position& pos);

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
