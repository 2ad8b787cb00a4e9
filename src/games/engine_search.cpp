#include "games/engine_search.h"

#include <cstring>

#include "protocol/block_clearing.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "protocol/think.h"
#include "search/root_moves.h"
#include "search/thread_data.h"

namespace {

constexpr int32_t WORKER_HASH_MB = 16;
// A clock that no node-limited search reaches, as a plain go has it.
constexpr int64_t UNLIMITED_TIME = 1000000000000;

uint64_t large_page_bytes = 0;

}  // namespace

void prepare_engine() {
  engine_options.Hash = WORKER_HASH_MB;
  engine_options.Threads = 1;
  engine_options.LargePages = false;
  allocate_memory(large_page_bytes);
}

void clear_engine() {
  clear_memory_block();
  search_limits.hash_generation = 0;
}

EngineAnswer engine_search(const GameBoard& game, int64_t nodes) {
  ThreadData& thread = search_limits.thread_blocks[0];
  const ThreadData& source = *game.thread;
  const size_t depth = size_t(source.current_position - source.position_stack);
  std::memcpy(thread.position_stack, source.position_stack, (depth + 1) * sizeof(Position));
  thread.current_position = thread.position_stack + depth;
  search_limits.game_last_move = game.last_move;
  search_limits.game_second_last_move = game.second_last_move;

  thread.root_end = build_root_moves(thread, thread.root_moves);
  if (thread.root_end == thread.root_moves) return {0, 0};
  search_limits.ponder_mode.store(PONDER_NONE, std::memory_order_relaxed);
  search_limits.time_left = UNLIMITED_TIME;
  search_limits.time_increment = 0;
  search_limits.node_limit = nodes;
  search_limits.moves_to_go = 0;
  search_limits.depth_limit = 127;
  search_limits.game_moves = game.ply / 2;
  search_limits.stop_flag.store(0, std::memory_order_relaxed);
  // think gives the lock back when it has printed its bestmove.
  search_limits.EngineLock.lock();
  think();
  return {thread.root_moves[0].move, thread.root_scores[0]};
}
