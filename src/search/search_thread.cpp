#include "search/search_thread.h"

#include <algorithm>
#include <csetjmp>

#include "board/move_scores.h"
#include "eval/evaluate.h"
#include "protocol/engine_options.h"
#include "protocol/saved_root.h"
#include "protocol/search_limits.h"
#include "search/hash_store.h"
#include "search/history.h"
#include "search/node_check.h"
#include "search/print_info.h"
#include "search/reductions.h"
#include "search/search.h"
#include "search/search_margins.h"

namespace {

// Moves entry i up to the first place whose score it beats; the ones in between move down.
void insert_root_move(ThreadData& thread, int i, int32_t v) {
  int j = 0;
  while (j < i && v <= thread.root_scores[j]) ++j;
  const ScoredMove moved = thread.root_moves[i];
  for (int k = i; k > j; --k) {
    thread.root_moves[k] = thread.root_moves[k - 1];
    thread.root_scores[k] = thread.root_scores[k - 1];
  }
  thread.root_moves[j] = moved;
  thread.root_scores[j] = v;
}

// One pass over the root list in the window (alpha, beta); alpha follows the weakest of
// the shown lines as the pass goes on.
void root_pass(ThreadData& thread, int depth, int32_t& alpha, int32_t beta, bool may_reduce) {
  const Position& root = *thread.current_position;
  const Move last = search_limits.game_last_move;
  const Move reply = counter_move_entry(thread, side_index(root), last);
  const int lines = search_limits.multipv_count;
  const int count = int(thread.root_end - thread.root_moves);
  for (int i = 0; i < count; ++i) {
    const int32_t s = thread.root_moves[i].score;
    const Move m = thread.root_moves[i].move;
    // A check gets a ply more, unless it comes from an underpromotion, which is rarely its point.
    int new_depth = depth - 1;
    if ((m & MOVE_GIVES_CHECK) && (!(m & MOVE_PROMOTION) || move_promotion(m) == QUEEN)) ++new_depth;

    make_child_move(thread, 0, m);
    int32_t& v = thread.root_scores[i];
    if (i < lines) {
      v = -search(thread, NODE_PV, 1, new_depth, -beta, -alpha, 0, m, last);
    } else {
      int r = 0;
      if (may_reduce && !(s >= BAD_CAPTURE_LIMIT && (m & MOVE_FORCING_BITS)) && m != thread.killers[0][0] &&
          m != thread.killers[0][1] && m != reply)
        r = late_move_reduction(true, depth, i + 1, s < BAD_CAPTURE_LIMIT);
      v = -search(thread, NODE_CUT, 1, new_depth - r, -alpha - 1, -alpha, 0, m, last);
      if (r != 0 && new_depth > 0 && v > alpha)
        v = -search(thread, NODE_CUT, 1, new_depth, -alpha - 1, -alpha, 0, m, last);
      if (v > alpha && v < beta) v = -search(thread, NODE_PV, 1, new_depth, -beta, -alpha, 0, m, last);
    }
    const int32_t score = v;
    undo_move(thread);

    if (score > alpha) insert_root_move(thread, i, score);
    thread.result_word = make_result_word(depth, thread.root_scores[0], i + 1);
    if (score >= beta) return;
    if (i >= lines - 1) alpha = thread.root_scores[lines - 1];
  }
}

// The thread that first finishes depth d stores and prints it, and ends the search when
// the soft deadline has passed. Returns the deepest depth claimed so far.
int claim_iteration(ThreadData& thread, int depth) {
  search_limits.DepthLock.lock();
  if (depth > search_limits.completed_depth) {
    search_limits.completed_depth = depth;
    store_root_entry(thread.current_position->key, depth, thread.root_moves[0].move, thread.root_scores[0],
                     thread.static_evals[0]);
    const int64_t now = now_ms();
    int64_t nodes = 0, tb_hits = 0;
    for (int k = 0; k < search_limits.thread_count; ++k) {
      nodes += search_limits.thread_blocks[k].nodes;
      tb_hits += search_limits.thread_blocks[k].tb_hits;
    }
    for (int k = search_limits.multipv_count - 1; k >= 0; --k)
      print_info(thread, uint32_t(k), search_limits.root_tb_score, now - search_limits.start_time, nodes, tb_hits,
                 depth);
    if (search_limits.ponder_mode.load(std::memory_order_relaxed) == PONDER_NONE &&
        now >= search_limits.soft_deadline)
      search_limits.stop_flag.store(1, std::memory_order_relaxed);
  }
  const int completed = search_limits.completed_depth;
  search_limits.DepthLock.unlock();
  return completed;
}

// A weaker setting thinks slower: a pause after each iteration that grows with depth.
void strength_wait(int depth) {
  const int64_t now = now_ms();
  const int64_t pause = int64_t(1200 - 12 * engine_options.Strength) * depth;
  const int64_t until = std::min(now + pause, search_limits.soft_deadline);
  while (now_ms() <= until && !search_limits.stop_flag.load(std::memory_order_relaxed)) {
  }
}

}  // namespace

void check_clock_and_limit(ThreadData& thread) {
  search_limits.next_check += search_limits.check_interval;
  // Pondering and infinite searches wait for a stop: no deadline and no node limit.
  if (search_limits.ponder_mode.load(std::memory_order_relaxed) == PONDER_NONE &&
      (now_ms() > search_limits.hard_deadline || thread.nodes >= search_limits.node_limit))
    search_limits.stop_flag.store(1, std::memory_order_relaxed);
}

void search_thread(ThreadData& thread) {
  if (&thread != search_limits.thread_blocks) load_saved_root(thread);
  Position* const root = thread.current_position;
  // A stop anywhere in the recursion comes back here; nothing of the abandoned frames counts.
  if (setjmp(thread.abort_point)) {
    thread.current_position = root;
    return;
  }
  thread.ply_records[0].acc_valid = 0;
  thread.static_evals[0] = in_check(*root) ? SCORE_NONE : evaluate(thread, 0);
  age_move_ordering(thread);
  thread.root_scores[0] = 0;

  for (int depth = 1;;) {
    int32_t alpha = -SCORE_INFINITE, beta = SCORE_INFINITE;
    if (depth >= 4 && search_limits.multipv_count == 1) {
      const int32_t s = thread.root_scores[0];
      alpha = s <= -32761 ? -SCORE_INFINITE : s - ASPIRATION_WIDTH;
      beta = s >= 32761 ? SCORE_INFINITE : s + ASPIRATION_WIDTH;
    }
    int32_t delta = ASPIRATION_WIDTH;
    const bool may_reduce = depth >= REDUCTION_MIN_DEPTH && !in_check(*root);
    for (;;) {
      const int32_t alpha0 = alpha;
      root_pass(thread, depth, alpha, beta, may_reduce);
      const int32_t best = thread.root_scores[0];
      if (best > alpha0 && best < beta) break;
      thread.result_word = make_result_word(depth, best, 0);
      if (delta > 65533) {
        alpha = -SCORE_INFINITE;
        beta = SCORE_INFINITE;
      } else if (best > alpha0) {
        // Failed high: alpha keeps whatever the pass raised it to.
        beta = std::min(best + delta, SCORE_INFINITE);
      } else {
        beta = (alpha0 + beta) / 2;
        alpha = best - delta < -32766 ? -SCORE_INFINITE : best - delta;
      }
      delta += (delta * 6) >> 3;
    }

    if (engine_options.Strength != 100) strength_wait(depth);
    const int completed = claim_iteration(thread, depth);
    if (completed >= search_limits.depth_limit || search_limits.stop_flag.load(std::memory_order_relaxed)) return;
    depth = completed + 1;
  }
}
