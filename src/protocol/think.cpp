#include "protocol/think.h"

#include <algorithm>
#include <cstdio>

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/move_text.h"
#include "book/book_move.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/saved_root.h"
#include "protocol/search_limits.h"
#include "protocol/thread_start.h"
#include "protocol/time_budget.h"
#include "search/hash_table.h"
#include "search/node_check.h"
#include "search/print_info.h"
#include "search/search_thread.h"
#include "tablebase/root_filter.h"

namespace {

void* search_thread_body(void* thread_data) {
  search_thread(*static_cast<ThreadData*>(thread_data));
  return nullptr;
}

// The move the last search of this position liked goes first: it is searched with the
// full window, and it is what a stop before the first result plays.
void hash_move_to_front(ThreadData& thread) {
  uint64_t data;
  if (!probe_hash(thread.current_position->key, data) || !hash_move(data)) return;
  const Move m = validate_hash_move(thread, hash_move(data));
  if (!m) return;
  ScoredMove* found =
      std::find_if(thread.root_moves, thread.root_end, [m](const ScoredMove& s) { return s.move == m; });
  if (found != thread.root_end) std::rotate(thread.root_moves, found, found + 1);
}

int pick_best_thread() {
  int best = 0;
  for (int i = 1; i < search_limits.thread_count; ++i)
    if (int32_t(search_limits.thread_blocks[i].result_word) > int32_t(search_limits.thread_blocks[best].result_word))
      best = i;
  return best;
}

void print_bestmove(ThreadData& thread) {
  search_limits.OutputLock.lock();
  const Move best = thread.root_moves[0].move;
  char text[8];
  move_text(*thread.current_position, best, text);
  std::printf("bestmove %s", text);
  make_move(thread, best, nullptr);
  uint64_t data;
  if (probe_hash(thread.current_position->key, data) && hash_move(data)) {
    if (const Move reply = validate_hash_move(thread, hash_move(data))) {
      move_text(*thread.current_position, reply, text);
      std::printf(" ponder %s", text);
    }
  }
  undo_move(thread);
  std::fputs("\n", stdout);
  std::fflush(stdout);
  search_limits.OutputLock.unlock();
}

// A book move ends the command: no search, no info line, no ponder move. A pondering go
// still waits for ponderhit or stop, as the GUI expects no answer before either.
void answer_from_book(const ThreadData& thread, Move book_move) {
  while (search_limits.ponder_mode.load(std::memory_order_relaxed) == PONDER_ON &&
         !search_limits.stop_flag.load(std::memory_order_relaxed)) {
  }
  char text[8];
  move_text(*thread.current_position, book_move, text);
  search_limits.OutputLock.lock();
  std::printf("bestmove %s\n", text);
  std::fflush(stdout);
  search_limits.OutputLock.unlock();
}

}  // namespace

void think() {
  SearchLimits& limits = search_limits;
  ThreadData* const threads = limits.thread_blocks;
  ThreadData& main = threads[0];
  if (const Move book_move = probe_book()) {
    answer_from_book(main, book_move);
    limits.EngineLock.unlock();
    return;
  }
  limits.start_time = now_ms();
  for (int i = 0; i < limits.thread_count; ++i) {
    threads[i].result_word = 0;
    threads[i].nodes = 0;
    threads[i].tb_hits = 0;
  }
  apply_root_tables(main);

  hash_move_to_front(main);
  if (limits.thread_count >= 2) save_root(main);

  const int root_count = int(main.root_end - main.root_moves);
  const TimeControl control{limits.time_left, limits.time_increment, limits.node_limit, limits.moves_to_go,
                            limits.game_moves};
  const TimeBudget budget = compute_time_budget(control, engine_options, root_count, limits.start_time);
  limits.soft_deadline = budget.soft_deadline;
  limits.hard_deadline = budget.hard_deadline;
  limits.check_interval = budget.check_interval;
  limits.hash_generation += HASH_GENERATION_STEP;
  // MultiPV below 1 shows one line.
  limits.multipv_count = std::clamp(engine_options.MultiPV, int32_t(1), int32_t(root_count));
  limits.completed_depth = 0;
  limits.DepthLock.unlock();
  limits.next_check = limits.check_interval;

  bool started[MAX_THREADS] = {};
  for (int i = 1; i < limits.thread_count; ++i)
    started[i] = start_thread(threads[i].handle, search_thread_body, &threads[i], SEARCH_STACK_SIZE);
  search_thread(main);
  // A ponder or infinite search answers only after ponderhit or stop.
  while (limits.ponder_mode.load(std::memory_order_relaxed) != PONDER_NONE &&
         !limits.stop_flag.load(std::memory_order_relaxed)) {
  }
  limits.stop_flag.store(1, std::memory_order_relaxed);
  for (int i = 1; i < limits.thread_count; ++i)
    if (started[i]) pthread_join(threads[i].handle, nullptr);

  ThreadData& best = threads[pick_best_thread()];
  if (limits.multipv_count == 1) {
    int64_t nodes = 0, tb_hits = 0;
    for (int i = 0; i < limits.thread_count; ++i) {
      nodes += threads[i].nodes;
      tb_hits += threads[i].tb_hits;
    }
    const int depth = limits.completed_depth < limits.depth_limit ? limits.completed_depth + 1 : limits.depth_limit;
    print_info(best, 0, limits.root_tb_score, now_ms() - limits.start_time, nodes, tb_hits, depth);
  }
  print_bestmove(best);
  limits.EngineLock.unlock();
}

void* think_thread(void*) {
  think();
  return nullptr;
}
