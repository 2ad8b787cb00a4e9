// The time budget: the base share of the clock, the cap, and what follows from it.
#include <gtest/gtest.h>

#include "protocol/engine_options.h"
#include "protocol/time_budget.h"

namespace {

constexpr int64_t NO_TIME = 1000000000000;
constexpr int64_t NO_LIMIT = INT64_MAX;

EngineOptions options_with(bool ponder, int32_t move_overhead, int32_t strength) {
  EngineOptions options;
  set_default_options(options);
  options.Ponder = ponder;
  options.MoveOverhead = move_overhead;
  options.Strength = strength;
  return options;
}

TEST(TimeBudget, ReproducesTheTableOfResults) {
  struct Case {
    TimeControl control;
    int64_t budget, soft, hard, check_interval;
  } const cases[] = {
      {{60000, 1000, NO_LIMIT, 0, 0}, 3400, 1487, 6800, 10000},
      {{60000, 1000, NO_LIMIT, 0, 80}, 7000, 3062, 14000, 10000},
      {{60000, 0, NO_LIMIT, 0, 0}, 2000, 875, 4000, 10000},
      {{60000, 0, NO_LIMIT, 0, 70}, 4000, 1750, 8000, 10000},
      {{300000, 0, NO_LIMIT, 40, 30}, 13636, 5965, 27272, 10000},
      {{1000, 1000, NO_LIMIT, 1, 75}, 450, 196, 900, 4510},  // movetime 1000
      {{NO_TIME, 0, NO_LIMIT, 0, 0}, 33333333333, 14583333333, 66666666666, 10000},
      {{100, 0, NO_LIMIT, 0, 0}, 0, 0, 0, 10},
  };
  const EngineOptions options = options_with(false, 100, 100);
  for (const Case& c : cases) {
    const TimeBudget b = compute_time_budget(c.control, options, 20, 5000);
    EXPECT_EQ(b.budget, c.budget) << c.control.time_left << " " << c.control.game_moves;
    EXPECT_EQ(b.soft_deadline, 5000 + c.soft) << c.control.time_left;
    EXPECT_EQ(b.hard_deadline, 5000 + c.hard) << c.control.time_left;
    EXPECT_EQ(b.check_interval, c.check_interval) << c.control.time_left;
  }
}

TEST(TimeBudget, PonderForcedMovesOverheadNodeLimitAndStrength) {
  const TimeControl minute{60000, 0, NO_LIMIT, 0, 0}, movetime{1000, 1000, NO_LIMIT, 1, 0};
  // Ponder adds a tenth before the cap; a single root move keeps a tenth after it.
  EXPECT_EQ(compute_time_budget(minute, options_with(true, 100, 100), 20, 0).budget, 2200);
  EXPECT_EQ(compute_time_budget(movetime, options_with(true, 100, 100), 20, 0).budget, 450);
  const TimeBudget forced = compute_time_budget(minute, options_with(false, 100, 100), 1, 100);
  EXPECT_EQ(forced.budget, 200);
  EXPECT_EQ(forced.soft_deadline, 187);
  EXPECT_EQ(forced.check_interval, 2010);
  // The cap never goes below zero; a clock already negative checks at every node.
  EXPECT_EQ(compute_time_budget(movetime, options_with(false, 5000, 100), 20, 0).budget, 0);
  const TimeBudget late = compute_time_budget({-500, 0, NO_LIMIT, 0, 0}, options_with(false, 0, 100), 20, 1000);
  EXPECT_LE(late.check_interval, 0);
  EXPECT_LE(late.hard_deadline, 1000);
  // The node limit bounds the interval; a weaker engine looks at the clock at every node.
  EXPECT_EQ(compute_time_budget({NO_TIME, 0, 5000, 0, 0}, options_with(false, 100, 100), 20, 0).check_interval, 5000);
  EXPECT_EQ(compute_time_budget({NO_TIME, 0, 25000, 0, 0}, options_with(false, 100, 100), 20, 0).check_interval,
            10000);
  EXPECT_EQ(compute_time_budget({NO_TIME, 0, 0, 0, 0}, options_with(false, 100, 99), 20, 0).check_interval, 1);
}

}  // namespace
