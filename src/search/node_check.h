#pragma once
// What search and qsearch do first at every node: the stop check, the count, the draw rules.
#include <csetjmp>
#include <cstdint>

#include "protocol/search_limits.h"
#include "search/clock.h"
#include "search/draw_rules.h"
#include "search/thread_data.h"

// Thread 0's due look at the clock and the node limit; raises stop_flag when either is out.
void check_clock_and_limit(ThreadData& thread);

// Thread 0 looks at the clock and the node limit when its count is due; any thread
// leaves the search through its abort_point once stop_flag is set. Nothing is undone
// on the way out: the root search puts current_position back.
inline void node_check(ThreadData& thread) {
  if (&thread == search_limits.thread_blocks && search_limits.next_check <= thread.nodes)
    check_clock_and_limit(thread);
  if (search_limits.stop_flag.load(std::memory_order_relaxed)) std::longjmp(thread.abort_point, 1);
}

// True with the score when a draw rule ends the node.
inline bool enter_node(ThreadData& thread, int ply, int32_t& score) {
  node_check(thread);
  ++thread.nodes;
  return draw_exit(*thread.current_position, ply, score);
}
