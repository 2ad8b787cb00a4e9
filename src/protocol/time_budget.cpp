#include "protocol/time_budget.h"

#include <algorithm>

namespace {

// Clock values are held to about 35,000 years either way: far beyond any game, and far
// enough below the 64-bit limits that no product or sum below can overflow.
constexpr int64_t CLOCK_LIMIT = int64_t(1) << 50;

int64_t base_budget(const TimeControl& c) {
  const int64_t t = std::clamp(c.time_left, -CLOCK_LIMIT, CLOCK_LIMIT);
  const int64_t inc = std::clamp(c.time_increment, -CLOCK_LIMIT, CLOCK_LIMIT);
  const int64_t played = c.game_moves;
  // A negative moves-to-go is no time control at all: it would divide by zero at -4.
  const int64_t moves = std::max(c.moves_to_go, int32_t(0));
  if (moves != 0) return 2 * t / (moves + 4) + inc;
  // Early in the game the clock is spread over more moves than later on.
  if (inc != 0) return 4 * t / (played < 60 ? 100 - played : 40) + inc;
  return 4 * t / (played < 60 ? 120 - played : 60);
}

}  // namespace

TimeBudget compute_time_budget(const TimeControl& control, const EngineOptions& options, int root_move_count,
                               int64_t start_time) {
  int64_t b = base_budget(control);
  // Pondering wins back part of the time spent on the opponent's clock.
  if (options.Ponder) b += b / 10;
  const int64_t cap = std::max(std::min(control.time_left, CLOCK_LIMIT) / 2 - options.MoveOverhead / 2, int64_t(0));
  b = std::min(b, cap);
  if (root_move_count == 1) b /= 10;

  TimeBudget result;
  result.budget = b;
  result.soft_deadline = start_time + 28 * b / 64;
  result.hard_deadline = start_time + 2 * b;
  // Short budgets look at the clock more often; a weakened engine looks at every node. An
  // interval of 0 already checks every node: a negative one would only run the count down.
  result.check_interval = std::max(std::min(b < 1000 ? 10 * b + 10 : int64_t(10000), control.node_limit), int64_t(0));
  if (options.Strength != 100) result.check_interval = 1;
  return result;
}
