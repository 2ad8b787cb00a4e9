#include "search/tablebase_cut.h"

#include <algorithm>

#include "protocol/engine_options.h"
#include "tablebase/probe.h"

int32_t tb_score(const Position& pos, int ply, bool win) {
  int32_t balance = 0;
  for (int t = PAWN; t <= QUEEN; ++t)
    balance += SEE_VALUES[t] * (popcount(pos.bb[t] & pos.bb[OWN]) - popcount(pos.bb[t] & enemy_pieces(pos)));
  const int32_t m = std::clamp(balance / 5, -200, 200);
  return win ? 32526 + m - ply : -32526 + m + ply;
}

bool tablebase_cut(ThreadData& thread, int ply, int32_t alpha, int32_t beta, int32_t& score) {
  int success = 0;
  const int wdl = probe_wdl(thread, success);
  if (!success) return false;
  ++thread.tb_hits;
  // With the fifty-move rule on, a win or loss that the rule spoils (+-1) is a draw.
  const int r = engine_options.Syzygy50MoveRule ? 1 : 0;
  const Position& pos = *thread.current_position;
  if (wdl < -r) {
    score = tb_score(pos, ply, false);
    return score <= alpha;
  }
  if (wdl > r) {
    score = tb_score(pos, ply, true);
    return score >= beta;
  }
  score = draw_score(ply);
  return true;
}
