// The go line: its tokens read into working values, and the time budget that follows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "protocol/engine_options.h"
#include "protocol/go_command.h"
#include "protocol/time_budget.h"

namespace {

constexpr int64_t NO_TIME = 1000000000000;
constexpr int64_t NO_LIMIT = INT64_MAX;

GoRequest parse(const std::string& line, bool white_to_move = true) {
  static char buffer[8192];
  std::strcpy(buffer, line.c_str());
  GoRequest request;
  parse_go_tokens(buffer, white_to_move, request);
  return request;
}

// The working values of a request: time left, increment, moves to go, depth and node limits.
std::tuple<int64_t, int64_t, int32_t, int32_t, int64_t> values(const GoRequest& r) {
  return {r.time_left, r.time_increment, r.moves_to_go, r.depth_limit, r.node_limit};
}

TEST(GoTokens, ValuesLimitsAndTheSideToMove) {
  EXPECT_EQ(parse("depth 200").depth_limit, 127);
  EXPECT_EQ(parse("depth -3").depth_limit, -3);
  EXPECT_EQ(parse("nodesx 12 ponderous").node_limit, 12);  // longer tokens match their word
  EXPECT_EQ(parse("ponder infinite").ponder_mode, 2);
  const std::string clock = "wtime 1000 btime 2000 winc 10 binc 20 movestogo 7";
  EXPECT_EQ(values(parse(clock, true)), values(parse("wtime 1000 winc 10 movestogo 7")));
  EXPECT_EQ(values(parse(clock, false)), values(parse("wtime 2000 winc 20 movestogo 7")));
  EXPECT_EQ(parse("wtime 1000 winc 5", false).time_left, NO_TIME);
  // movetime and the clock overwrite each other in line order.
  EXPECT_EQ(values(parse("wtime 60000 winc 500 movestogo 30 movetime 1000")), values(parse("movetime 1000")));
  EXPECT_EQ(values(parse("movetime 1000")), std::tuple(int64_t(1000), int64_t(1000), 1, 127, INT64_MAX));
  EXPECT_EQ(values(parse("movetime 1000 wtime 60000")), std::tuple(int64_t(60000), int64_t(1000), 1, 127, INT64_MAX));
  // The value of a word that does not apply is consumed all the same.
  EXPECT_FALSE(parse("btime searchmoves e2e4", true).search_moves_given);
  // A value word at the end of the line has no value and changes nothing.
  for (const char* word : {"wtime", "winc", "movestogo", "depth", "nodes", "movetime"})
    EXPECT_EQ(values(parse(std::string("depth 5 ") + word)), values(parse("depth 5"))) << word;
  // Tokens that look like moves are collected whole, from anywhere on the line.
  const GoRequest r = parse("e2e4 depth 3 searchmoves e7e8q a1h8xyz i2i4");
  EXPECT_TRUE(r.search_moves_given);
  EXPECT_EQ(std::vector<std::string>(r.search_moves, r.search_moves + r.search_move_count),
            (std::vector<std::string>{"e2e4", "e7e8q", "a1h8xyz"}));
}

TEST(TimeBudget, ReproducesTheTableOfResults) {
  const struct {
    TimeControl control;
    bool ponder;
    int32_t overhead, strength, root_moves;
    int64_t budget, soft, hard, check_interval;
  } cases[] = {
      {{60000, 1000, NO_LIMIT, 0, 0}, false, 100, 100, 20, 3400, 1487, 6800, 10000},
      {{60000, 1000, NO_LIMIT, 0, 80}, false, 100, 100, 20, 7000, 3062, 14000, 10000},
      {{60000, 0, NO_LIMIT, 0, 0}, false, 100, 100, 20, 2000, 875, 4000, 10000},
      {{60000, 0, NO_LIMIT, 0, 70}, false, 100, 100, 20, 4000, 1750, 8000, 10000},
      {{300000, 0, NO_LIMIT, 40, 30}, false, 100, 100, 20, 13636, 5965, 27272, 10000},
      {{1000, 1000, NO_LIMIT, 1, 75}, false, 100, 100, 20, 450, 196, 900, 4510},  // movetime 1000
      {{NO_TIME, 0, NO_LIMIT, 0, 0}, false, 100, 100, 20, 33333333333, 14583333333, 66666666666, 10000},
      {{100, 0, NO_LIMIT, 0, 0}, false, 100, 100, 20, 0, 0, 0, 10},
      // Ponder adds a tenth before the cap; a single root move keeps a tenth after it.
      {{60000, 0, NO_LIMIT, 0, 0}, true, 100, 100, 20, 2200, 962, 4400, 10000},
      {{1000, 1000, NO_LIMIT, 1, 0}, true, 100, 100, 20, 450, 196, 900, 4510},
      {{60000, 0, NO_LIMIT, 0, 0}, false, 100, 100, 1, 200, 87, 400, 2010},
      // The cap never goes below zero.
      {{1000, 1000, NO_LIMIT, 1, 0}, false, 5000, 100, 20, 0, 0, 0, 10},
      // The node limit bounds the interval; a weaker engine looks at the clock at every node.
      {{NO_TIME, 0, 5000, 0, 0}, false, 100, 100, 20, 33333333333, 14583333333, 66666666666, 5000},
      {{NO_TIME, 0, 25000, 0, 0}, false, 100, 100, 20, 33333333333, 14583333333, 66666666666, 10000},
      {{NO_TIME, 0, NO_LIMIT, 0, 0}, false, 100, 99, 20, 33333333333, 14583333333, 66666666666, 1},
  };
  EngineOptions options;
  set_default_options(options);
  for (const auto& c : cases) {
    options.Ponder = c.ponder;
    options.MoveOverhead = c.overhead;
    options.Strength = c.strength;
    const TimeBudget b = compute_time_budget(c.control, options, c.root_moves, 5000);
    const int64_t row = &c - cases;
    EXPECT_EQ(b.budget, c.budget) << row;
    EXPECT_EQ(b.soft_deadline, 5000 + c.soft) << row;
    EXPECT_EQ(b.hard_deadline, 5000 + c.hard) << row;
    EXPECT_EQ(b.check_interval, c.check_interval) << row;
  }
  // A clock already negative checks at every node.
  options.Strength = 100;
  const TimeBudget late = compute_time_budget({-500, 0, NO_LIMIT, 0, 0}, options, 20, 1000);
  EXPECT_LE(late.check_interval, 0);
  EXPECT_LE(late.hard_deadline, 1000);
}

TEST(TimeBudget, ClocksAtTheirExtremesNeitherOverflowNorDivideByZero) {
  // A clock that gives time must not overflow into a move at once; one that gives none has its
  // deadline already passed. Moves to go below zero count as none; a node limit below zero
  // checks at every node.
  const struct {
    TimeControl control;
    bool gives_time;
  } cases[] = {
      {{INT64_MAX, 0, NO_LIMIT, 0, 0}, true},
      {{INT64_MAX, INT64_MAX, NO_LIMIT, 0, 0}, true},
      {{INT64_MAX, INT64_MAX, NO_LIMIT, 1, 0}, true},  // movetime at the limit
      {{INT64_MAX, 0, NO_LIMIT, INT32_MAX, 0}, true},
      {{60000, 0, NO_LIMIT, -4, 0}, true},
      {{60000, 0, NO_LIMIT, INT32_MIN, 0}, true},
      {{INT64_MIN, 0, NO_LIMIT, 0, 0}, false},
      {{INT64_MIN, INT64_MIN, NO_LIMIT, -5, 0}, false},
      {{INT64_MIN, INT64_MAX, NO_LIMIT, 1, 0}, false},
      {{60000, 0, INT64_MIN, 0, 0}, true},
  };
  EngineOptions options;
  set_default_options(options);
  for (const bool ponder : {false, true}) {
    options.Ponder = ponder;
    for (const auto& c : cases) {
      const TimeBudget b = compute_time_budget(c.control, options, 20, 5000);
      const int64_t row = &c - cases;
      EXPECT_GE(b.check_interval, 0) << row;
      if (c.gives_time) {
        EXPECT_GE(b.budget, 2000) << row;
        EXPECT_LT(5000, b.soft_deadline) << row;
        EXPECT_LT(b.soft_deadline, b.hard_deadline) << row;
      } else {
        EXPECT_LE(b.hard_deadline, 5000) << row;
      }
    }
  }
  EXPECT_EQ(compute_time_budget({60000, 0, NO_LIMIT, -4, 0}, options, 20, 0).budget,
            compute_time_budget({60000, 0, NO_LIMIT, 0, 0}, options, 20, 0).budget);
}

}  // namespace
