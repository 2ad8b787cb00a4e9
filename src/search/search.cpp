#include "search/search.h"

#include <algorithm>
#include <cstdlib>

#include "board/make_move.h"
#include "eval/evaluate.h"
#include "search/hash_store.h"
#include "search/move_picker.h"
#include "search/node_check.h"
#include "search/node_exits.h"
#include "search/reductions.h"
#include "search/search_pruning.h"

namespace {

constexpr int32_t ORDINARY_LIMIT = 31965;  // beyond: mate and tablebase scores, no margins apply
constexpr Move MOVE_ANY_TACTICAL = MOVE_CAPTURE | MOVE_PROMOTION | MOVE_CASTLING | MOVE_GIVES_CHECK;
constexpr int32_t BAD_SCORE_TOP = -2047483646;  // bad captures lie at or below, underpromotions far below
constexpr int32_t BAD_SCORE_BOTTOM = -2147483645;
constexpr ShortMove SHORT_EN_PASSANT_OR_PROMOTION = 0x6000;

inline bool ordinary(int32_t score) { return std::abs(score) <= ORDINARY_LIMIT; }

inline bool is_killer_or_counter(const ThreadData& thread, int ply, Move m, Move counter) {
  return same_move(m, thread.killers[ply][0]) || same_move(m, thread.killers[ply][1]) || same_move(m, counter);
}

// Moves that don't look worth a search at low depth; n is the number of moves picked before.
inline bool prune_move(ThreadData& thread, const ScoredMove& sm, int ply, int depth, int32_t alpha, int n,
                       bool checked, int lmp_limit, int32_t futility_value, int32_t node_value, Move counter,
                       Move prev_move, Move prev_prev_move) {
  const Move m = sm.move;
  const bool tactical = checked || (m & MOVE_ANY_TACTICAL);
  if (!tactical) {
    if (depth <= 7) {
      if (n >= lmp_limit) return true;
      if (!is_killer_or_counter(thread, ply, m, counter) && futility_value < alpha && ordinary(alpha) &&
          ordinary(node_value))
        return true;
    }
    if (depth < 3) {
      const int side = side_index(*thread.current_position), p = move_piece(m), to = move_to(m);
      if (thread.reply_history[side][move_piece(prev_move)][move_to(prev_move)][p][to] < 0 &&
          thread.followup_history[side][move_piece(prev_prev_move)][move_to(prev_prev_move)][p][to] < 0)
        return true;
    }
  }
  if (depth > 6 || checked) return false;
  const int32_t see_floor = -75 * depth;
  if (m & MOVE_TACTICAL) {
    // A capture that failed its exchange test carries the exchange value in its score.
    if (sm.score < BAD_SCORE_BOTTOM || sm.score > BAD_SCORE_TOP) return false;
    return ((sm.score - BAD_SCORE_TOP) >> 7) <= see_floor;
  }
  if (SEE_VALUES[move_piece(m)] < 75 * depth) return false;
  return see(thread, m) <= see_floor;
}

// Static cut and null move, at non-PV nodes out of check; true with the score on a cut.
inline bool prune_node(ThreadData& thread, int ply, int depth, int32_t alpha, int32_t beta, int32_t node_value,
                       bool improving, Move prev_move, int32_t& score) {
  if (depth <= 5 && node_value - 55 * (depth - improving) >= beta && ordinary(beta) && ordinary(node_value)) {
    score = node_value;
    return true;
  }
  const Position& pos = *thread.current_position;
  if (depth >= 4 && prev_move && node_value >= beta && thread.static_evals[ply] >= beta - 20 * depth &&
      (pos.bb[OWN] & (pos.bb[KNIGHT] | pos.bb[BISHOP] | pos.bb[ROOK] | pos.bb[QUEEN]))) {
    make_null_move(thread);
    thread.static_evals[ply + 1] = 5 - thread.static_evals[ply];
    thread.ply_records[ply + 1].acc_valid = 0;
    FeatureDelta& delta = thread.ply_records[ply].delta;
    delta.added_count = delta.removed_count = 0;
    delta.king_moved = 0;
    const int32_t gain = node_value - beta;
    const int bonus = gain >= 400 ? 3 : gain / 100;
    const int32_t v = -search(thread, NODE_ALL, ply + 1, 24 * depth / 32 - 3 - bonus, -beta, -alpha, 0, 0, 0);
    undo_move(thread);
    if (v >= beta) {
      score = ordinary(v) ? v : beta;
      return true;
    }
  }
  return false;
}

}  // namespace

int32_t search(ThreadData& thread, uint32_t node_type, int ply, int depth, int32_t alpha, int32_t beta,
               Move excluded_move, Move prev_move, Move prev_prev_move) {
  if (depth <= 0) return qsearch(thread, node_type, ply, 0, alpha, beta, prev_move, prev_prev_move);
  node_check(thread);
  ++thread.nodes;
  const Position& pos = *thread.current_position;
  int32_t exit_score;
  if (draw_exit(pos, ply, exit_score)) return exit_score;
  const bool checked = in_check(pos);
  if (ply >= LEAF_PLY) return evaluate(thread, ply);

  alpha = std::max(alpha, mated_score(ply));
  beta = std::min(beta, SCORE_MATE - 1 - ply);
  if (alpha >= beta) return alpha;

  const bool pv = node_type == NODE_PV;
  const uint64_t key = excluded_move ? excluded_move_key(pos.key, excluded_move) : pos.key;
  uint64_t data;
  const bool hit = probe_hash(key, data);
  int32_t node_value = thread.static_evals[ply];
  int32_t tt_score = 0;
  int tt_depth = 0;
  uint32_t tt_bound = 0;
  ShortMove stored_move = 0;
  if (hit) {
    tt_score = score_from_hash(hash_score(data), ply);
    tt_depth = hash_depth_code(data) - 128;
    tt_bound = hash_bound(data);
    if (tt_depth >= depth && hash_score_cuts(tt_score, tt_bound, alpha, beta)) {
      const ShortMove s = hash_move(data);
      // A quiet move that cut off in the table teaches the killers as if it had been searched.
      if (!checked && tt_score >= beta && s && !(s & SHORT_EN_PASSANT_OR_PROMOTION) &&
          !(enemy_pieces(pos) & bit((s >> 6) & 63)) && is_pseudo_legal(pos, s))
        update_killers(thread, ply, side_index(pos), prev_move, expand_short_move(thread, s));
      return tt_score;
    }
    thread.static_evals[ply] = hash_static_eval(data);
    node_value = value_after_hash_hit(thread.static_evals[ply], tt_score, tt_bound, checked);
    stored_move = hash_move(data);
  }

  if (!excluded_move && may_probe_tables(pos) && tablebase_cut(thread, ply, alpha, beta, exit_score))
    return exit_score;

  if (thread.static_evals[ply] == SCORE_NONE && !checked)
    thread.static_evals[ply] = node_value = evaluate(thread, ply);
  const bool improving = ply < 2 || thread.static_evals[ply] == SCORE_NONE ||
                         thread.static_evals[ply - 2] == SCORE_NONE ||
                         thread.static_evals[ply] >= thread.static_evals[ply - 2];
  thread.killers[ply + 1][0] = thread.killers[ply + 1][1] = 0;

  if (!excluded_move && !pv && !checked &&
      prune_node(thread, ply, depth, alpha, beta, node_value, improving, prev_move, exit_score))
    return exit_score;
  if (!excluded_move && pv && depth >= 4 && !stored_move) {
    // Internal iterative deepening: a shallower search leaves a move to start with.
    search(thread, NODE_PV, ply, 7 * depth / 8 - 2, alpha, beta, 0, prev_move, prev_prev_move);
    uint64_t again;
    stored_move = probe_hash(key, again) ? hash_move(again) : 0;
  }
  const Move hash_mv = stored_move ? validate_hash_move(thread, stored_move) : 0;
  if (!excluded_move && !pv && !checked && depth >= 6 && ordinary(beta) &&
      probcut(thread, ply, depth, beta, hash_mv, prev_move, exit_score))
    return exit_score;

  // The move loop.
  MovePicker mp;
  start_picker(mp, hash_mv);
  Move quiets_tried[MAX_MOVES];
  int quiet_count = 0;
  int32_t best_score = SCORE_NONE;
  Move best_move = 0;
  int move_count = 0;
  bool searched = false;
  const int lmp_limit = improving ? (depth * 22) >> 2 : (depth * 10) >> 2;
  const int32_t futility_value = node_value + 55 * depth;
  const bool singular_allowed = depth >= 6 && !excluded_move && hit && ordinary(tt_score) &&
                                tt_bound == BOUND_LOWER && tt_depth + 3 >= depth;
  const bool reduction_allowed = !checked && depth >= 3;
  const uint32_t first_type = pv ? NODE_PV : node_type ^ NODE_CUT;
  const uint32_t later_type = pv ? NODE_CUT : node_type ^ NODE_CUT;

  for (;;) {
    const ScoredMove sm = next_move(thread, mp, ply, depth, checked, prev_move, prev_prev_move);
    const Move m = sm.move;
    if (!m) break;
    const int n = move_count++;
    if (same_move(m, excluded_move)) continue;
    if (n && prune_move(thread, sm, ply, depth, alpha, n, checked, lmp_limit, futility_value, node_value,
                        mp.counter_move, prev_move, prev_prev_move))
      continue;

    int extension = 0;
    if (pv && sm.score >= BAD_CAPTURE_LIMIT && (m & MOVE_GIVES_CHECK))
      extension = sm.score >= GOOD_MOVE_SCORE || see(thread, m) >= 0;
    if (singular_allowed && extension == 0 && m == hash_mv) {
      // Is the hash move far better than every other? Then it is worth a ply more.
      const int32_t singular_beta = tt_score - 2 * depth;
      const int32_t v = search(thread, NODE_ALL, ply, 6 * depth / 16, singular_beta - 1, singular_beta, hash_mv,
                               prev_move, prev_prev_move);
      if (v < singular_beta)
        extension = 1;
      else if (singular_beta >= beta)
        return singular_beta;
    }

    make_move(thread, m, &thread.ply_records[ply].delta);
    const int new_depth = depth - 1 + extension;
    thread.static_evals[ply + 1] = SCORE_NONE;
    thread.ply_records[ply + 1].acc_valid = 0;
    int32_t score;
    if (n == 0) {
      score = -search(thread, first_type, ply + 1, new_depth, -beta, -alpha, 0, m, prev_move);
    } else {
      int r = 0;
      if (reduction_allowed && (sm.score < BAD_CAPTURE_LIMIT || !(m & MOVE_ANY_TACTICAL)) &&
          !is_killer_or_counter(thread, ply, m, mp.counter_move)) {
        int t = reduction_table[pv][depth][std::min(move_count, 127)];
        if (sm.score < BAD_CAPTURE_LIMIT) t /= 6;
        r = (t + 64) >> 6;
      }
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
