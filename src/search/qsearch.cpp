#include "eval/evaluate.h"
#include "search/hash_store.h"
#include "search/move_picker.h"
#include "search/node_check.h"
#include "search/search.h"
#include "search/search_margins.h"
#include "search/tablebase_cut.h"

namespace {

constexpr Move PLAIN_CAPTURE_MASK = MOVE_CAPTURE | MOVE_PROMOTION | MOVE_GIVES_CHECK;

inline bool plain_capture(Move m) { return (m & PLAIN_CAPTURE_MASK) == MOVE_CAPTURE; }

// A move whose piece is worth more than its victim, and that loses material by exchange.
inline bool losing_exchange(const ThreadData& thread, Move m) {
  return SEE_VALUES[move_piece(m)] > SEE_VALUES[move_captured(m)] && see(thread, m) < 0;
}

// What the move loop of a quiescence node fixes before its first move.
struct QsearchLoopState {
  bool checked;
  bool delta_pruning;   // a non-PV node whose standing value is an ordinary score
  int32_t stand_value;  // the standing score out of check
  Move hash_move;
};

// Moves not worth a node here. In check: losing evasions, once a mate is off the board.
// Out of check: captures that can't lift the standing score to alpha, losing checks, and
// captures that merely trade.
inline bool prune_qsearch_move(const ThreadData& thread, const QsearchLoopState& loop, Move m, int32_t best_score,
                               int32_t alpha) {
  // The first evasion is always searched.
  if (loop.checked) return best_score >= -ORDINARY_LIMIT && losing_exchange(thread, m);
  if (loop.delta_pruning && plain_capture(m) && !same_move(m, loop.hash_move) &&
      loop.stand_value + DELTA_VALUES[move_captured(m)] < alpha && is_ordinary(alpha))
    return true;
  if (m & MOVE_GIVES_CHECK) return losing_exchange(thread, m);
  if (plain_capture(m)) return SEE_VALUES[move_piece(m)] >= SEE_VALUES[move_captured(m)] && see(thread, m) <= 0;
  return false;
}

}  // namespace

// Long on purpose, like search: stand pat, move loop and store share alpha, the best score and the bound.
int32_t qsearch(ThreadData& thread, uint32_t node_type, int ply, int depth, int32_t alpha, int32_t beta,
                Move prev_move, Move prev_prev_move) {
  // Node entry: stop check, draw rules, depth floor, hash table, tables.
  int32_t exit_score;
  if (enter_node(thread, ply, exit_score)) return exit_score;
  const Position& pos = *thread.current_position;
  const bool checked = in_check(pos);
  if ((depth <= QSEARCH_DEPTH_FLOOR && !checked) || ply >= LEAF_PLY) return evaluate(thread, ply);
  // Below the first ply only captures are looked at, and entries of depth -1 are enough;
  // the node stores its own entry with that depth.
  const bool checks_off = depth != 0 && !checked;
  const int stored_depth = checks_off ? -1 : 0;

  const NodeEntry entry = probe_node_entry(pos.key, ply);
  int32_t value = thread.static_evals[ply];
  if (entry.hit) {
    if (entry_cuts(entry, stored_depth, alpha, beta)) return entry.score;
    value = adopt_entry(thread, ply, entry, checked);
  }

  if (may_probe_tables(pos) && tablebase_cut(thread, ply, alpha, beta, exit_score)) return exit_score;

  // The hash move, and stand pat: out of check the side may keep the standing score.
  const Move hash_mv = entry.move ? validate_hash_move(thread, entry.move) : 0;
  int32_t best_score = SCORE_NONE;
  Move best_move = 0;
  bool raised = false;
  if (!checked) {
    if (thread.static_evals[ply] == SCORE_NONE) thread.static_evals[ply] = value = evaluate(thread, ply);
    best_score = value;
    if (value > alpha) {
      alpha = value;
      raised = true;
    }
    if (alpha >= beta) {
      store_qsearch_entry(pos.key, stored_depth, hash_mv, BOUND_LOWER, value, ply, thread.static_evals[ply]);
      return value;
    }
  }

  const bool pv = node_type == NODE_PV;
  const uint32_t child_type = pv ? NODE_PV : node_type ^ NODE_CUT;
  const QsearchLoopState loop{
      .checked = checked, .delta_pruning = !pv && is_ordinary(value), .stand_value = value, .hash_move = hash_mv};
  // Move loop: captures (evasions in check), quiet checks on the first ply; exchange and delta pruning.
  MovePicker mp;
  start_picker(mp, hash_mv);
  int legal_count = 0;
  for (;;) {
    const Move m = next_qsearch_move(thread, mp, checked, checks_off, prev_move, prev_prev_move).move;
    if (!m) break;
    ++legal_count;
    if (prune_qsearch_move(thread, loop, m, best_score, alpha)) continue;

    make_child_move(thread, ply, m);
    const int32_t score = -qsearch(thread, child_type, ply + 1, depth - 1, -beta, -alpha, m, prev_move);
    undo_move(thread);
    if (score >= best_score) best_score = score;
    if (score > alpha) {
      alpha = score;
      best_move = m;
      raised = true;
      if (alpha >= beta) break;
    }
  }

  // End of the node: mate in check, else the store; qsearch never reports stalemate.
  if (checked && legal_count == 0) return mated_score(ply);
  const uint32_t bound = !raised ? BOUND_UPPER : alpha >= beta ? BOUND_LOWER : BOUND_EXACT;
  store_qsearch_entry(pos.key, stored_depth, best_move ? best_move : hash_mv, bound, best_score, ply,
                      thread.static_evals[ply]);
  return best_score;
}
