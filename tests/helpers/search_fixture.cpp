#include "helpers/search_fixture.h"

#include <csetjmp>
#include <string>

#include "board/move_checks.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"
#include "search/reductions.h"
#include "search/search.h"

SearchBlock::SearchBlock(int threads) {
  load_network(tesmar_embedded_network);
  init_reduction_tables();
  engine_options.Hash = 16;
  engine_options.Threads = threads;
  allocate_memory(large_page_bytes);
  search_limits.stop_flag.store(0);
  search_limits.ponder_mode.store(PONDER_NONE);
  search_limits.node_limit = search_limits.hard_deadline = INT64_MAX;
  search_limits.check_interval = search_limits.next_check = INT64_MAX / 4;
  search_limits.tb_probe_limit = 0;
  search_limits.game_last_move = search_limits.game_second_last_move = 0;
}

SearchBlock::~SearchBlock() {
  release_memory(large_page_bytes);
  set_default_options(engine_options);
}

ThreadData& SearchBlock::thread(int index) { return search_limits.thread_blocks[index]; }

void set_search_position(ThreadData& thread, const char* fen, const char* moves) {
  std::string buffer = moves ? moves : "";
  set_position(thread, fen, moves ? buffer.data() : nullptr);
  // The block is fresh memory: only the tables that learn were cleared.
  thread.nodes = 0;
  for (int i = 0; i < MAX_PLY; ++i) {
    thread.static_evals[i] = SCORE_NONE;
    thread.ply_records[i].acc_valid = 0;
  }
}

DeepeningResult deepen(ThreadData& thread, int depth) {
  // Static, so that what the iterations wrote survives the jump back to the setjmp.
  static DeepeningResult result;
  result = DeepeningResult{};
  DeepeningResult* const out = &result;
  thread.nodes = 0;
  thread.static_evals[0] = in_check(*thread.current_position) ? SCORE_NONE : evaluate(thread, 0);
  Position* const root = thread.current_position;
  if (setjmp(thread.abort_point)) {
    thread.current_position = root;
    out->aborted = true;
  } else {
    for (int d = 1; d <= depth; ++d)
      out->score = search(thread, NODE_PV, 0, d, -SCORE_INFINITE, SCORE_INFINITE, 0, 0, 0);
    uint64_t data;
    if (probe_hash(root->key, data)) out->best_move = validate_hash_move(thread, hash_move(data));
  }
  out->nodes = thread.nodes;
  return result;
}
