#include "common/fixed_search.h"

#include <cstdint>

#include "board/move_checks.h"
#include "board/move_text.h"
#include "eval/evaluate.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"
#include "search/score.h"

ThreadData& prepare_fixed_search(const char* fen, int tb_probe_limit, uint64_t& large_page_bytes) {
  large_page_bytes = 0;
  allocate_memory(large_page_bytes);
  search_limits.stop_flag.store(0, std::memory_order_relaxed);
  search_limits.ponder_mode.store(PONDER_NONE, std::memory_order_relaxed);
  search_limits.node_limit = INT64_MAX;
  search_limits.check_interval = search_limits.next_check = INT64_MAX / 4;
  search_limits.hard_deadline = INT64_MAX;
  search_limits.tb_probe_limit = tb_probe_limit;
  search_limits.hash_generation += HASH_GENERATION_STEP;
  ThreadData& thread = search_limits.thread_blocks[0];
  set_position(thread, fen, nullptr);
  thread.nodes = 0;
  thread.tb_hits = 0;
  thread.ply_records[0].acc_valid = 0;
  thread.static_evals[0] = in_check(*thread.current_position) ? SCORE_NONE : evaluate(thread, 0);
  return thread;
}
