#pragma once
// How long one move may take: a base share of the clock, capped, and the two deadlines
// and the node count between clock checks that follow from it.
#include <cstdint>

#include "protocol/engine_options.h"

// The clock as the go command gave it for the side to move.
struct TimeControl {
  int64_t time_left;
  int64_t time_increment;
  int64_t node_limit;
  int32_t moves_to_go;  // 0 when the time control has none
  int32_t game_moves;   // full moves played since the position's FEN
};

struct TimeBudget {
  int64_t budget;
  int64_t soft_deadline;   // no new iteration after this time
  int64_t hard_deadline;   // the search ends at this time
  int64_t check_interval;  // thread 0's nodes between two looks at the clock
};

// root_move_count: the root list after every filter; a forced move gets a tenth.
TimeBudget compute_time_budget(const TimeControl& control, const EngineOptions& options, int root_move_count,
                               int64_t start_time);
