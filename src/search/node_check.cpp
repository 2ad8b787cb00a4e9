#include "search/node_check.h"

void check_clock_and_limit(ThreadData& thread) {
  search_limits.next_check += search_limits.check_interval;
  // Pondering and infinite searches wait for a stop: no deadline and no node limit.
  if (search_limits.ponder_mode.load(std::memory_order_relaxed) == PONDER_NONE &&
      (now_ms() > search_limits.hard_deadline || thread.nodes >= search_limits.node_limit))
    search_limits.stop_flag.store(1, std::memory_order_relaxed);
}
