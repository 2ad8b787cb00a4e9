#include "eval/evaluate.h"

#include "eval/accumulator.h"
#include "eval/eval_forms.h"
#include "eval/network.h"
#include "protocol/engine_options.h"
#include "search/thread_data.h"

namespace {

// A bishop in its corner behind its own pawn is shut in; worse when the pawn is blocked.
int32_t corner_bishop_terms(const Position& pos) {
  const Bitboard own = pos.bb[OWN], enemy = enemy_pieces(pos);
  const Bitboard bishops = pos.bb[BISHOP], pawns = pos.bb[PAWN], occ = pos.bb[OCCUPIED];
  int32_t change = 0;
  auto shut_in = [&](Bitboard side, Square corner, Square pawn, Square block) {
    return (bishops & side & bit(corner)) && (pawns & side & bit(pawn)) ? ((occ & bit(block)) ? 80 : 60) : 0;
  };
  change -= shut_in(own, 0, 9, 17);     // a1, b2, b3
  change -= shut_in(own, 7, 14, 22);    // h1, g2, g3
  change += shut_in(enemy, 56, 49, 41); // a8, b7, b6
  change += shut_in(enemy, 63, 54, 46); // h8, g7, g6
  return change;
}

}  // namespace

int32_t finish_score(const Position& pos, int32_t score) {
  if (engine_options.UCI_Chess960) score += corner_bishop_terms(pos);
  return score < -EVAL_LIMIT ? -EVAL_LIMIT : score > EVAL_LIMIT ? EVAL_LIMIT : score;
}

int32_t evaluate(ThreadData& thread, int ply) {
  return evaluate_in_form(thread, ply, *engine_eval_form);
}

int32_t evaluate_in_form(ThreadData& thread, int ply, const EvalForm& form) {
  update_accumulators(thread, ply, form.apply_rows);
  const PlyRecord& r = thread.ply_records[ply];
  return finish_score(*thread.current_position, form.forward_pass(r.accumulators[0], r.accumulators[1], forward_weights));
}
