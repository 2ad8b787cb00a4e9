#pragma once
// Iterative deepening at the root, run by every search thread on its own ThreadData.
#include <cstdint>

#include "search/thread_data.h"

constexpr int32_t ASPIRATION_WIDTH = 7;

// The number by which think picks the best thread: depth, then score, then root moves
// finished in the pass (0 after a failed pass).
constexpr uint32_t make_result_word(int depth, int32_t best_score, int moves_finished) {
  return uint32_t(depth) << 24 | uint32_t(best_score + 32767) << 8 | uint32_t(moves_finished);
}

// Thread 0 searches the position and root list that think left; the others copy
// saved_root first. Returns when the iterations end or the search is stopped; the
// thread's current position is then the root again.
void search_thread(ThreadData& thread);
