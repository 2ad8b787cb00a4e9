#pragma once
// The stop check at the head of every node.
#include <csetjmp>
#include <cstdint>

#include "protocol/search_limits.h"
#include "search/clock.h"
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
