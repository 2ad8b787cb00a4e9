#include "helpers/process_records.h"

#include <cstring>

#include "protocol/commands.h"
#include "protocol/engine_options.h"
#include "protocol/read_loop.h"
#include "protocol/search_limits.h"

namespace {

// The plain fields of SearchLimits; its locks and flags are not for copying, and every
// search sets its flags anew.
struct SavedLimits {
  int64_t time_left, time_increment, node_limit, soft_deadline, hard_deadline, next_check, check_interval,
      start_time;
  int32_t moves_to_go, depth_limit, game_moves, tb_largest, tb_probe_limit, multipv_count, root_tb_score,
      completed_depth, thread_count;
  Move game_second_last_move, game_last_move;
  uint64_t hash_mask;
  HashEntry* hash_table;
  ThreadData* thread_blocks;
  uint32_t hash_generation;
};

EngineOptions saved_options;
FrontEndState saved_front_end;
SavedLimits saved_limits;
char saved_syzygy_path[COMMAND_BUFFER_SIZE];

template <typename From, typename To>
void copy_limits(const From& f, To& t) {
  t.time_left = f.time_left;
  t.time_increment = f.time_increment;
  t.node_limit = f.node_limit;
  t.soft_deadline = f.soft_deadline;
  t.hard_deadline = f.hard_deadline;
  t.next_check = f.next_check;
  t.check_interval = f.check_interval;
  t.start_time = f.start_time;
  t.moves_to_go = f.moves_to_go;
  t.depth_limit = f.depth_limit;
  t.game_moves = f.game_moves;
  t.tb_largest = f.tb_largest;
  t.tb_probe_limit = f.tb_probe_limit;
  t.multipv_count = f.multipv_count;
  t.root_tb_score = f.root_tb_score;
  t.completed_depth = f.completed_depth;
  t.thread_count = f.thread_count;
  t.game_second_last_move = f.game_second_last_move;
  t.game_last_move = f.game_last_move;
  t.hash_mask = f.hash_mask;
  t.hash_table = f.hash_table;
  t.thread_blocks = f.thread_blocks;
  t.hash_generation = f.hash_generation;
}

}  // namespace

void ProcessRecordsRestorer::OnTestStart(const testing::TestInfo&) {
  saved_options = engine_options;
  saved_front_end = front_end;
  copy_limits(search_limits, saved_limits);
  std::memcpy(saved_syzygy_path, syzygy_path, sizeof syzygy_path);
}

void ProcessRecordsRestorer::OnTestEnd(const testing::TestInfo&) {
  engine_options = saved_options;
  front_end = saved_front_end;
  copy_limits(saved_limits, search_limits);
  search_limits.stop_flag.store(0, std::memory_order_relaxed);
  search_limits.ponder_mode.store(PONDER_NONE, std::memory_order_relaxed);
  std::memcpy(syzygy_path, saved_syzygy_path, sizeof syzygy_path);
}
