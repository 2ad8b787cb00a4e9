// Perft through the search's stages against published counts and the shared suites.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "board/perft.h"
#include "board/perft_suite.h"
#include "helpers/chess960_mode.h"
#include "search/thread_data.h"

namespace {

uint64_t perft_of(const char* fen, int depth) {
  auto thread = std::make_unique<ThreadData>();
  set_position(*thread, fen, nullptr);
  return perft(*thread, depth);
}

TEST(Perft, PublishedCounts) {
  Chess960Mode standard(false);
  EXPECT_EQ(perft_of(START_FEN, 5), 4865609u);
  EXPECT_EQ(perft_of("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 4), 4085603u);
  EXPECT_EQ(perft_of("8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 5), 674624u);
  EXPECT_EQ(perft_of("r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", 4), 422333u);
  EXPECT_EQ(perft_of("r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ - 0 1", 4), 422333u);
  EXPECT_EQ(perft_of("rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8", 4), 2103487u);
}

TEST(Perft, PublishedChess960Counts) {
  Chess960Mode chess960(true);
  EXPECT_EQ(perft_of("bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9", 4), 326672u);
}

TEST(Perft, DepthZeroIsOneNode) {
  EXPECT_EQ(perft_of(START_FEN, 0), 1u);
}

TEST(Perft, DivideSumsToPerftAndListsEachRootMoveOnce) {
  auto thread = std::make_unique<ThreadData>();
  set_position(*thread, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", nullptr);
  PerftDivideEntry entries[MAX_MOVES];
  const int count = perft_divide(*thread, 3, entries);
  ASSERT_EQ(count, 48);
  uint64_t total = 0;
  for (int i = 0; i < count; ++i) {
    total += entries[i].nodes;
    for (int j = 0; j < i; ++j) EXPECT_FALSE(same_move(entries[i].move, entries[j].move));
  }
  EXPECT_EQ(total, 97862u);
  EXPECT_EQ(thread->current_position, thread->position_stack);  // every move was taken back
}

TEST(PerftSuite, ChecksDeepestDepthUnderTheNodeLimit) {
  const PerftSuiteLine line{1, "fen", {{1, 20}, {2, 400}, {3, 8902}}};
  ASSERT_EQ(perft_checks(line, 1000).size(), 1u);
  EXPECT_EQ(perft_checks(line, 1000)[0].depth, 2);
  EXPECT_EQ(perft_checks(line, 0).size(), 3u);
  EXPECT_TRUE(perft_checks(line, 10).empty());
}

// Every line of a shared suite, at the deepest depth of at most max_nodes leaves.
void check_suite(const char* name, bool chess960, uint64_t max_nodes) {
  const std::filesystem::path path = std::filesystem::path(TESMAR_SHARED_DIR) / "perft" / name;
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no perft suite at " << path;
  std::vector<PerftSuiteLine> lines;
  ASSERT_TRUE(read_perft_suite(path.c_str(), lines));
  ASSERT_FALSE(lines.empty());
  Chess960Mode mode(chess960);
  auto thread = std::make_unique<ThreadData>();
  for (const PerftSuiteLine& line : lines) {
    for (const PerftExpectation& e : perft_checks(line, max_nodes)) {
      set_position(*thread, line.fen.c_str(), nullptr);
      EXPECT_EQ(perft(*thread, e.depth), e.nodes) << "line " << line.line_number << ": " << line.fen << " depth "
                                                  << e.depth;
    }
  }
}

TEST(PerftSuite, StandardAtShallowDepth) { check_suite("standard.epd", false, 200000); }
TEST(PerftSuite, Chess960AtShallowDepth) { check_suite("chess960.epd", true, 200000); }

}  // namespace
