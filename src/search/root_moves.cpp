#include "search/root_moves.h"

#include "board/move_checks.h"
#include "board/movegen.h"
#include "board/move_scores.h"
#include "board/see.h"
#include "protocol/search_limits.h"
#include "search/move_picker.h"

namespace {

// The last search's ply-2 killers and the answer to the opponent's last move come first
// among the quiet moves; the rest go by history, each table counted once.
int32_t root_quiet_score(const ThreadData& thread, int side, const ScoredMove& sm) {
  const Move m = sm.move & MOVE_SAME_MASK;
  const Move last = search_limits.game_last_move, second_last = search_limits.game_second_last_move;
  if (m == thread.killers[2][0]) return ROOT_KILLER_1_SCORE;
  if (m == thread.killers[2][1]) return ROOT_KILLER_2_SCORE;
  if (m == thread.counter_moves[side][move_piece(last)][move_from(last)][move_to(last)]) return ROOT_COUNTER_SCORE;
  const int p = move_piece(m), to = move_to(m);
  return sm.score + thread.move_history[side][p][move_from(m)][to] +
         thread.reply_history[side][move_piece(last)][move_to(last)][p][to] +
         thread.followup_history[side][move_piece(second_last)][move_to(second_last)][p][to];
}

}  // namespace

ScoredMove* build_root_moves(ThreadData& thread, ScoredMove* list) {
  const Position& pos = *thread.current_position;
  const bool checked = in_check(pos);
  const int side = side_index(pos);
  ScoredMove moves[MAX_MOVES];
  ScoredMove* end;
  if (checked) {
    end = generate_evasions(pos, moves, true);
  } else {
    end = generate_underpromotions(pos, moves);
    end = generate_quiets(pos, end, false);
    end = generate_captures(pos, end);
  }

  // Keep the legal moves in generator order, each with its first score.
  ScoredMove* kept = moves;
  for (ScoredMove* p = moves; p != end; ++p) {
    ScoredMove sm = *p;
    if (legality_attackers(pos, sm.move)) continue;
    const bool tactical = sm.move & MOVE_TACTICAL;
    if (tactical || checked) mark_gives_check(pos, &sm.move);
    if (tactical) {
      const int promotion = (sm.move & MOVE_PROMOTION) ? move_promotion(sm.move) : QUEEN;
      if (promotion == QUEEN) {
        const int v = see(thread, sm.move);
        if (v < 0) sm.score = bad_capture_score(v, sm.score);
      }
    } else {
      sm.score = root_quiet_score(thread, side, sm);
    }
    *kept++ = sm;
  }

  // Selection from the back, the entry nearest the end winning ties.
  ScoredMove* out = list;
  for (end = kept; end != moves; --end) *out++ = *select_best(moves, end);
  return out;
}
