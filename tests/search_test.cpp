// The recursive search: exact mate scores, draws by rule with the sign of their ply,
// hash cut-offs, stops, and repeatable node counts.
#include <gtest/gtest.h>

#include "board/move_text.h"
#include "helpers/board_fixtures.h"
#include "helpers/search_fixture.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/score.h"
#include "search/search.h"

namespace {

const char* const KIWIPETE = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";

TEST(Search, ExactMateScoresAtTheRoot) {
  // Mate lengths checked with an outside engine.
  const struct {
    const char* fen;
    int depth;
    int32_t score;
    const char* best;
  } cases[] = {
      {"6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", 3, 32765, "a1a8"},
      {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", 5, 32763, "d5f6"},
      {"r5rk/5p1p/5R2/4B3/8/8/7P/7K w - - 0 1", 7, 32761, "f6a6"},
      {"2r3k1/p4p2/3Rp2p/1p2P1pK/8/1P4P1/P3Q2P/1q6 b - - 0 1", 7, 32761, "b1g6"},
      {"k7/8/8/8/8/3K4/1Q6/8 w - - 0 1", 14, 32759, nullptr},
      {"k7/8/2K5/1Q6/8/8/8/8 b - - 0 1", 4, -32764, "a8a7"},  // every move meets a mate in one
      {"R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", 3, -32766, nullptr},
  };
  SearchBlock block;
  ThreadData& thread = block.thread();
  for (const auto& c : cases) {
    set_search_position(thread, c.fen);
    const DeepeningResult r = deepen(thread, c.depth);
    EXPECT_EQ(r.score, c.score) << c.fen;
    char text[8] = "";
    if (r.best_move) move_text(*thread.current_position, r.best_move, text);
    if (c.best) {
      EXPECT_STREQ(text, c.best) << c.fen;
    }
    EXPECT_EQ(thread.current_position, thread.position_stack) << "the root is left as it was";
  }
}

TEST(Search, DrawsByRuleTakeTheSignOfTheirPly) {
  SearchBlock block;
  ThreadData& thread = block.thread();
  engine_options.DrawScore = 10;
  auto at = [&](const char* fen, const char* moves, int ply, int depth = 3) {
    set_search_position(thread, fen, moves);
    return search(thread, NODE_PV, ply, depth, -SCORE_INFINITE, SCORE_INFINITE, 0, 0, 0);
  };
  const char* back_and_forth = "g1f3 g8f6 f3g1 f6g8";
  EXPECT_EQ(at(START_FEN, back_and_forth, 3), -10);
  EXPECT_EQ(at(START_FEN, back_and_forth, 4), 10);
  EXPECT_EQ(thread.nodes, 1) << "a draw by rule ends the node before the hash probe";
  EXPECT_EQ(qsearch(thread, NODE_ALL, 7, -3, -100, 100, 0, 0), -10);
  const char* stalemate = "k7/8/1QK5/8/8/8/8/8 b - - 0 1";
  EXPECT_EQ(at(stalemate, nullptr, 0), 10);
  EXPECT_EQ(at(stalemate, nullptr, 1), -10);
  EXPECT_EQ(at("4k3/8/8/8/8/8/4Q3/4K3 b - - 100 90", nullptr, 1), -10) << "in check with a way out";
  // Mate on the hundredth half-move beats the fifty-move rule.
  EXPECT_EQ(at("R5k1/5ppp/8/8/8/8/8/6K1 b - - 100 90", nullptr, 3), mated_score(3));
  EXPECT_EQ(at("6k1/5ppp/8/8/8/8/8/R5K1 w - - 99 90", nullptr, 0), -mated_score(1));
  // One minor piece is a draw; two never are, not even a knight each.
  EXPECT_EQ(at("4k3/8/8/8/8/8/8/2B1K3 w - - 0 1", nullptr, 0), 10);
  at("4k1n1/8/8/8/8/8/8/1N2K3 w - - 0 1", nullptr, 0, 2);
  EXPECT_GT(thread.nodes, 1);
}

TEST(Search, StopsAtTheFlagAndAtADueNodeLimit) {
  SearchBlock block(2);
  ThreadData& thread = block.thread();
  set_search_position(thread, KIWIPETE);
  search_limits.stop_flag.store(1);
  DeepeningResult r = deepen(thread, 5);
  EXPECT_TRUE(r.aborted);
  EXPECT_EQ(r.nodes, 0);
  search_limits.stop_flag.store(0);
  // The limit is met at a check only, once the count has reached it.
  search_limits.node_limit = 20000;
  search_limits.check_interval = search_limits.next_check = 10000;
  r = deepen(thread, 30);
  EXPECT_TRUE(r.aborted);
  EXPECT_EQ(r.nodes, 20000);
  EXPECT_EQ(thread.current_position, thread.position_stack);
  // Only thread 0 looks at the limit.
  search_limits.stop_flag.store(0);
  search_limits.next_check = search_limits.node_limit = 0;
  set_search_position(block.thread(1), KIWIPETE);
  EXPECT_FALSE(deepen(block.thread(1), 4).aborted);
}

TEST(Search, SameSearchSameNodeCount) {
  DeepeningResult runs[2];
  for (DeepeningResult& r : runs) {
    SearchBlock block;
    set_search_position(block.thread(), KIWIPETE);
    r = deepen(block.thread(), 9);
  }
  EXPECT_GT(runs[0].nodes, 1000);
  EXPECT_EQ(runs[0].nodes, runs[1].nodes);
  EXPECT_EQ(runs[0].score, runs[1].score);
  EXPECT_EQ(runs[0].best_move, runs[1].best_move);
}

}  // namespace
