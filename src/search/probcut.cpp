#include "search/probcut.h"

#include "board/make_move.h"
#include "search/move_picker.h"
#include "search/search.h"
#include "search/search_margins.h"

namespace {

// Searches one capture shallow, and confirms a success deeper where the node is deep.
inline int32_t probe_capture(ThreadData& thread, int ply, int depth, int32_t probe_beta, Move m, Move prev_move) {
  make_child_move(thread, ply, m);
  int32_t value =
      -search(thread, NODE_ALL, ply + 1, PROBCUT_PROBE_DEPTH, -probe_beta, -probe_beta + 1, 0, m, prev_move);
  if (depth >= PROBCUT_CONFIRM_MIN_DEPTH && value >= probe_beta)
    value = -search(thread, NODE_ALL, ply + 1, probcut_confirm_depth(depth), -probe_beta, -probe_beta + 1, 0, m,
                    prev_move);
  undo_move(thread);
  return value;
}

// What the capture or promotion takes, before any recapture.
inline int gross_gain(Move m) {
  int gain = SEE_VALUES[move_captured(m)];
  if (m & MOVE_PROMOTION) gain += SEE_VALUES[move_promotion(m)] - SEE_VALUES[PAWN];
  return gain;
}

}  // namespace

bool probcut(ThreadData& thread, int ply, int depth, int32_t beta, Move hash_move, Move prev_move, int32_t& score) {
  const Position& pos = *thread.current_position;
  const int32_t probe_beta = beta + PROBCUT_MARGIN;
  const int32_t need = probe_beta - thread.static_evals[ply];
  const Move first = (hash_move & MOVE_TACTICAL) ? hash_move : 0;
  if (first && gross_gain(first) >= need && see(thread, first) >= need) {
    score = probe_capture(thread, ply, depth, probe_beta, first, prev_move);
    if (score >= probe_beta) return true;
  }
  ScoredMove list[MAX_MOVES];
  ScoredMove* end = generate_captures(pos, list);
  while (end != list) {
    Move m = select_best(list, end)->move;
    --end;
    if (same_move(m, first) || legality_attackers(pos, m)) continue;
    mark_gives_check(pos, &m);
    if (gross_gain(m) < need || see(thread, m) < need) continue;
    score = probe_capture(thread, ply, depth, probe_beta, m, prev_move);
    if (score >= probe_beta) return true;
  }
  return false;
}
