#include "helpers/process_records.h"

#include <cstring>

#include "protocol/commands.h"
#include "protocol/engine_options.h"
#include "protocol/read_loop.h"
#include "protocol/search_limits.h"

namespace {

// The plain fields of SearchLimits, once for the copy and once for its type; its locks and
// flags are not for copying, and every search sets its flags anew.
#define PLAIN_LIMITS(X)                                                                                           \
  X(time_left) X(time_increment) X(node_limit) X(soft_deadline) X(hard_deadline) X(next_check)                    \
  X(check_interval) X(start_time) X(moves_to_go) X(depth_limit) X(game_moves) X(tb_largest) X(tb_probe_limit)     \
  X(multipv_count) X(root_tb_score) X(completed_depth) X(thread_count) X(game_second_last_move)                   \
  X(game_last_move) X(hash_mask) X(hash_table) X(thread_blocks) X(hash_generation)

struct SavedLimits {
#define DECLARE_FIELD(name) decltype(SearchLimits::name) name;
  PLAIN_LIMITS(DECLARE_FIELD)
#undef DECLARE_FIELD
};

EngineOptions saved_options;
FrontEndState saved_front_end;
SavedLimits saved_limits;
char saved_syzygy_path[COMMAND_BUFFER_SIZE];

template <typename From, typename To>
void copy_limits(const From& f, To& t) {
#define COPY_FIELD(name) t.name = f.name;
  PLAIN_LIMITS(COPY_FIELD)
#undef COPY_FIELD
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
