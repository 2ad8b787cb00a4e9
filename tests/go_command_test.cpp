// The go line: token parsing into working values, and the searchmoves filter.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "board/move_text.h"
#include "helpers/board_fixtures.h"
#include "protocol/go_command.h"

namespace {

constexpr int64_t NO_TIME = 1000000000000;

GoRequest parse(const std::string& line, bool white_to_move = true) {
  static char buffer[8192];
  std::strcpy(buffer, line.c_str());
  GoRequest request;
  parse_go_tokens(buffer, white_to_move, request);
  return request;
}

TEST(GoTokens, ValuesLimitsAndTheSideToMove) {
  EXPECT_EQ(parse("depth 200").depth_limit, 127);
  EXPECT_EQ(parse("depth -3").depth_limit, -3);
  EXPECT_EQ(parse("nodesx 12 ponderous").node_limit, 12);  // longer tokens match their word
  EXPECT_EQ(parse("ponder infinite").ponder_mode, 2);
  const std::string clock = "wtime 1000 btime 2000 winc 10 binc 20 movestogo 7";
  EXPECT_EQ(parse(clock, true).time_left, 1000);
  EXPECT_EQ(parse(clock, false).time_left, 2000);
  EXPECT_EQ(parse(clock, false).time_increment, 20);
  EXPECT_EQ(parse("wtime 1000 winc 5", false).time_left, NO_TIME);
  // The value of a word that does not apply is consumed all the same.
  EXPECT_FALSE(parse("btime searchmoves e2e4", true).search_moves_given);
  // A value word at the end of the line has no value and changes nothing.
  for (const char* word : {"wtime", "winc", "movestogo", "depth", "nodes", "movetime"}) {
    const GoRequest r = parse(std::string("depth 5 ") + word);
    EXPECT_EQ(r.time_left, NO_TIME) << word;
    EXPECT_EQ(r.time_increment + r.moves_to_go, 0) << word;
    EXPECT_EQ(r.depth_limit, 5) << word;
    EXPECT_EQ(r.node_limit, INT64_MAX) << word;
  }
}

TEST(GoTokens, MovetimeAndClockOverwriteEachOtherInLineOrder) {
  const GoRequest after = parse("wtime 60000 winc 500 movestogo 30 movetime 1000");
  EXPECT_EQ(after.time_left, 1000);
  EXPECT_EQ(after.time_increment, 1000);
  EXPECT_EQ(after.moves_to_go, 1);
  const GoRequest before = parse("movetime 1000 wtime 60000");
  EXPECT_EQ(before.time_left, 60000);
  EXPECT_EQ(before.time_increment, 1000);
  EXPECT_EQ(before.moves_to_go, 1);
}

std::set<std::string> filtered(const char* fen, const std::string& line) {
  auto thread = thread_at(fen);
  const Position& pos = *thread->current_position;
  ScoredMove list[MAX_MOVES];
  const GoRequest r = parse(line);
  ScoredMove* end = filter_search_moves(pos, list, generate_legal(pos, list), r);
  std::set<std::string> texts;
  for (const ScoredMove* s = list; s != end; ++s) {
    char text[8];
    move_text(pos, s->move, text);
    texts.insert(text);
  }
  return texts;
}

TEST(SearchMoves, TokensAreCollectedWholeAndMatchExactly) {
  const GoRequest r = parse("e2e4 depth 3 searchmoves e7e8q a1h8xyz i2i4");
  EXPECT_TRUE(r.search_moves_given);
  EXPECT_EQ(std::vector<std::string>(r.search_moves, r.search_moves + r.search_move_count),
            (std::vector<std::string>{"e2e4", "e7e8q", "a1h8xyz"}));
  const char* promotion = "8/4P3/8/8/8/8/k7/4K3 w - - 0 1";
  EXPECT_EQ(filtered(promotion, "searchmoves e7e8q e1d1"), (std::set<std::string>{"e7e8q", "e1d1"}));
  EXPECT_TRUE(filtered(promotion, "searchmoves e7e8").empty());
  EXPECT_TRUE(filtered(START_FEN, "searchmoves e2e4x e2e5").empty());
}

}  // namespace
