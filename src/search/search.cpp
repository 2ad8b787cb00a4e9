#include "search/search.h"

#include <algorithm>

#include "board/make_move.h"
#include "board/move_scores.h"
#include "eval/evaluate.h"
#include "search/hash_store.h"
#include "search/move_picker.h"
#include "search/node_check.h"
#include "search/probcut.h"
#include "search/reductions.h"
#include "search/search_margins.h"
#include "search/tablebase_cut.h"

namespace {

constexpr ShortMove SHORT_EN_PASSANT_OR_PROMOTION = 0x6000;

inline bool is_killer_or_counter(const ThreadData& thread, int ply, Move m, Move counter) {
  return same_move(m, thread.killers[ply][0]) || same_move(m, thread.killers[ply][1]) || same_move(m, counter);
}

// What prune_move needs of its node: fixed before the first move, but for the counter move,
// which the picker finds at its counter-move stage.
struct MoveLoopState {
  int ply;
  int depth;
  bool checked;
  int lmp_limit;           // moves picked before the late-move cut starts
  int32_t futility_value;  // the node's value plus the futility margin at this depth
  int32_t node_value;
  Move prev_move;
  Move prev_prev_move;
  const MovePicker& picker;
};

// Moves that don't look worth a search at low depth; n is the number of moves picked before.
inline bool prune_move(ThreadData& thread, const MoveLoopState& loop, const ScoredMove& sm, int n, int32_t alpha) {
  const Move m = sm.move;
  const int depth = loop.depth;
  const bool forcing = loop.checked || (m & MOVE_FORCING_BITS);
  if (!forcing) {
    if (depth <= LATE_MOVE_MAX_DEPTH) {
      if (n >= loop.lmp_limit) return true;
      if (!is_killer_or_counter(thread, loop.ply, m, loop.picker.counter_move) && loop.futility_value < alpha &&
          is_ordinary(alpha) && is_ordinary(loop.node_value))
        return true;
    }
    if (depth <= HISTORY_PRUNING_MAX_DEPTH) {
      const int side = side_index(*thread.current_position), p = move_piece(m), to = move_to(m);
      const Move prev = loop.prev_move, prev_prev = loop.prev_prev_move;
      if (thread.reply_history[side][move_piece(prev)][move_to(prev)][p][to] < 0 &&
          thread.followup_history[side][move_piece(prev_prev)][move_to(prev_prev)][p][to] < 0)
        return true;
    }
  }
  if (depth > EXCHANGE_PRUNING_MAX_DEPTH || loop.checked) return false;
  const int32_t see_floor = -EXCHANGE_PRUNING_MARGIN * depth;
  if (m & MOVE_TACTICAL) {
    // A capture that failed its exchange test carries the exchange value in its score.
    if (!is_bad_capture_score(sm.score)) return false;
    return bad_capture_exchange(sm.score) <= see_floor;
  }
  if (SEE_VALUES[move_piece(m)] < EXCHANGE_PRUNING_MARGIN * depth) return false;
  return see(thread, m) <= see_floor;
}

// Static cut and null move, at non-PV nodes out of check; true with the score on a cut.
inline bool prune_node(ThreadData& thread, int ply, int depth, int32_t alpha, int32_t beta, int32_t node_value,
                       bool improving, Move prev_move, int32_t& score) {
  if (depth <= STATIC_CUT_MAX_DEPTH && node_value - STATIC_CUT_MARGIN * (depth - improving) >= beta &&
      is_ordinary(beta) && is_ordinary(node_value)) {
    score = node_value;
    return true;
  }
  // Two null moves never follow each other, and a side with pawns alone may be in zugzwang.
  const Position& pos = *thread.current_position;
  if (depth >= NULL_MOVE_MIN_DEPTH && prev_move && node_value >= beta &&
      thread.static_evals[ply] >= beta - NULL_MOVE_EVAL_MARGIN * depth &&
      (pos.bb[OWN] & (pos.bb[KNIGHT] | pos.bb[BISHOP] | pos.bb[ROOK] | pos.bb[QUEEN]))) {
    make_null_move(thread);
    prefetch_hash(thread.current_position->key);
    thread.static_evals[ply + 1] = 5 - thread.static_evals[ply];
    thread.ply_records[ply + 1].acc_valid = 0;
    FeatureDelta& delta = thread.ply_records[ply].delta;
    delta.added_count = delta.removed_count = 0;
    delta.king_moved = 0;
    const int32_t v =
        -search(thread, NODE_ALL, ply + 1, null_move_depth(depth, node_value - beta), -beta, -alpha, 0, 0, 0);
    undo_move(thread);
    if (v >= beta) {
      score = is_ordinary(v) ? v : beta;
      return true;
    }
  }
  return false;
}

}  // namespace

// Long on purpose: entry, pruning, move loop and store share the window and read in the order they happen.
int32_t search(ThreadData& thread, uint32_t node_type, int ply, int depth, int32_t alpha, int32_t beta,
               Move excluded_move, Move prev_move, Move prev_prev_move) {
  if (depth <= 0) return qsearch(thread, node_type, ply, 0, alpha, beta, prev_move, prev_prev_move);

  // Node entry: stop check, draw rules, mate distance, hash table, tables, static evaluation.
  int32_t exit_score;
  if (enter_node(thread, ply, exit_score)) return exit_score;
  const Position& pos = *thread.current_position;
  const bool checked = in_check(pos);
  if (ply >= LEAF_PLY) return evaluate(thread, ply);

  // No line from here can end in a quicker mate than one already in hand.
  alpha = std::max(alpha, mated_score(ply));
  beta = std::min(beta, SCORE_MATE - 1 - ply);
  if (alpha >= beta) return alpha;

  const bool pv = node_type == NODE_PV;
  const uint64_t key = excluded_move ? excluded_move_key(pos.key, excluded_move) : pos.key;
  const NodeEntry entry = probe_node_entry(key, ply);
  int32_t node_value = thread.static_evals[ply];
  if (entry.hit) {
    if (entry_cuts(entry, depth, alpha, beta)) {
      const ShortMove s = entry.move;
      // A quiet move that cut off in the table teaches the killers as if it had been searched.
      if (!checked && entry.score >= beta && s && !(s & SHORT_EN_PASSANT_OR_PROMOTION) &&
          !(enemy_pieces(pos) & bit((s >> 6) & 63)) && is_pseudo_legal(pos, s))
        update_killers(thread, ply, side_index(pos), prev_move, expand_short_move(thread, s));
      return entry.score;
    }
    node_value = adopt_entry(thread, ply, entry, checked);
  }
  ShortMove stored_move = entry.move;

  if (!excluded_move && may_probe_tables(pos) && tablebase_cut(thread, ply, alpha, beta, exit_score))
    return exit_score;

  if (thread.static_evals[ply] == SCORE_NONE && !checked)
    thread.static_evals[ply] = node_value = evaluate(thread, ply);
  const bool improving = ply < 2 || thread.static_evals[ply] == SCORE_NONE ||
                         thread.static_evals[ply - 2] == SCORE_NONE ||
                         thread.static_evals[ply] >= thread.static_evals[ply - 2];
  thread.killers[ply + 1][0] = thread.killers[ply + 1][1] = 0;

  // Before the move loop: static cut, null move and ProbCut at non-PV nodes, internal
  // iterative deepening at PV nodes.
  if (!excluded_move && !pv && !checked &&
      prune_node(thread, ply, depth, alpha, beta, node_value, improving, prev_move, exit_score))
    return exit_score;
  if (!excluded_move && pv && depth >= IID_MIN_DEPTH && !stored_move) {
    search(thread, NODE_PV, ply, iid_depth(depth), alpha, beta, 0, prev_move, prev_prev_move);
    uint64_t again;
    stored_move = probe_hash(key, again) ? hash_move(again) : 0;
  }
  const Move hash_mv = stored_move ? validate_hash_move(thread, stored_move) : 0;
  if (!excluded_move && !pv && !checked && depth >= PROBCUT_MIN_DEPTH && is_ordinary(beta) &&
      probcut(thread, ply, depth, beta, hash_mv, prev_move, exit_score))
    return exit_score;

  // Move loop: per-move pruning, extensions, late-move reductions and re-searches.
  MovePicker mp;
  start_picker(mp, hash_mv);
  Move quiets_tried[MAX_MOVES];
  int quiet_count = 0;
  int32_t best_score = SCORE_NONE;
  Move best_move = 0;
  int move_count = 0;
  bool searched = false;
  const MoveLoopState loop{.ply = ply,
                           .depth = depth,
                           .checked = checked,
                           .lmp_limit = late_move_limit(depth, improving),
                           .futility_value = node_value + FUTILITY_MARGIN * depth,
                           .node_value = node_value,
                           .prev_move = prev_move,
                           .prev_prev_move = prev_prev_move,
                           .picker = mp};
  const bool singular_allowed = depth >= SINGULAR_MIN_DEPTH && !excluded_move && entry.hit &&
                                is_ordinary(entry.score) && entry.bound == BOUND_LOWER &&
                                entry.depth + SINGULAR_ENTRY_DEPTH_SLACK >= depth;
  const bool reduction_allowed = !checked && depth >= REDUCTION_MIN_DEPTH;
  const uint32_t first_type = pv ? NODE_PV : node_type ^ NODE_CUT;
  const uint32_t later_type = pv ? NODE_CUT : node_type ^ NODE_CUT;

  for (;;) {
    const ScoredMove sm = next_move(thread, mp, ply, depth, checked, prev_move, prev_prev_move);
    const Move m = sm.move;
    if (!m) break;
    const int n = move_count++;
    if (same_move(m, excluded_move)) continue;
    if (n && prune_move(thread, loop, sm, n, alpha)) continue;

    // Checks at PV nodes that don't lose material, and a singular hash move, get a ply more.
    int extension = 0;
    if (pv && sm.score >= BAD_CAPTURE_LIMIT && (m & MOVE_GIVES_CHECK))
      extension = sm.score >= GOOD_MOVE_SCORE || see(thread, m) >= 0;
    if (singular_allowed && extension == 0 && m == hash_mv) {
      const int32_t singular_beta = entry.score - SINGULAR_MARGIN * depth;
      const int32_t v = search(thread, NODE_ALL, ply, singular_depth(depth), singular_beta - 1, singular_beta,
                               hash_mv, prev_move, prev_prev_move);
      if (v < singular_beta)
        extension = 1;
      else if (singular_beta >= beta)
        return singular_beta;  // even without the hash move the node cuts
    }

    make_child_move(thread, ply, m);
    const int new_depth = depth - 1 + extension;
    int32_t score;
    if (n == 0) {
      score = -search(thread, first_type, ply + 1, new_depth, -beta, -alpha, 0, m, prev_move);
    } else {
      const bool bad_capture = sm.score < BAD_CAPTURE_LIMIT;
      int r = 0;
      if (reduction_allowed && (bad_capture || !(m & MOVE_FORCING_BITS)) &&
          !is_killer_or_counter(thread, ply, m, mp.counter_move))
        r = late_move_reduction(pv, depth, move_count, bad_capture);
      score = -search(thread, later_type, ply + 1, new_depth - r, -alpha - 1, -alpha, 0, m, prev_move);
      if (r && score > alpha)
        score = -search(thread, later_type, ply + 1, new_depth, -alpha - 1, -alpha, 0, m, prev_move);
      if (pv && score > alpha && score < beta)
        score = -search(thread, NODE_PV, ply + 1, new_depth, -beta, -alpha, 0, m, prev_move);
    }
    undo_move(thread);
    searched = true;

    if (score > best_score) best_score = score;
    if (score > alpha) {
      alpha = score;
      best_move = m;
    }
    if (alpha >= beta) break;
    if (!(m & MOVE_TACTICAL)) quiets_tried[quiet_count++] = m;
  }

  // End of the node: mate or stalemate, the histories after a quiet cut-off, the store.
  if (move_count == 0) return checked ? mated_score(ply) : draw_score(ply);
  const int32_t result = searched ? best_score : alpha;
  if (!excluded_move && alpha >= beta && !(best_move & MOVE_TACTICAL))
    update_quiet_histories(thread, ply, depth, best_move, prev_move, prev_prev_move, quiets_tried, quiet_count,
                           checked);
  const uint32_t bound = !best_move ? BOUND_UPPER : alpha >= beta ? BOUND_LOWER : BOUND_EXACT;
  store_search_entry(key, node_type, depth, best_move ? best_move : hash_mv, bound, result, ply,
                     thread.static_evals[ply]);
  return result;
}
