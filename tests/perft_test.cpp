// Perft through the search's stages against published counts and the shared suites.
#include <gtest/gtest.h>

#include <filesystem>

#include "board/perft.h"
#include "common/perft_suite.h"
#include "helpers/board_fixtures.h"

namespace {

TEST(Perft, PublishedCounts) {
  const struct {
    const char* fen;
    bool chess960;
    int depth;
    uint64_t nodes;
  } cases[] = {
      {START_FEN, false, 0, 1},
      {START_FEN, false, 5, 4865609},
      {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", false, 4, 4085603},
      {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", false, 5, 674624},
      {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", false, 4, 422333},
      {"r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ - 0 1", false, 4, 422333},
      {"rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8", false, 4, 2103487},
      {"bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9", true, 4, 326672},
  };
  for (const auto& c : cases) {
    Chess960Option option(c.chess960);
    EXPECT_EQ(perft(*thread_at(c.fen), c.depth), c.nodes) << c.fen << " depth " << c.depth;
  }
}

TEST(Perft, DivideSumsToPerft) {
  auto thread = thread_at("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  PerftDivideEntry entries[MAX_MOVES];
  const int count = perft_divide(*thread, 3, entries);
  ASSERT_EQ(count, 48);
  uint64_t total = 0;
  for (int i = 0; i < count; ++i) total += entries[i].nodes;
  EXPECT_EQ(total, 97862u);
  EXPECT_EQ(thread->current_position, thread->position_stack);  // every move was taken back
}

// Every line of the shared suites at the deepest listed depth of at most 200000 leaves.
TEST(PerftSuite, ShallowDepths) {
  const PerftSuiteLine line{1, "fen", {{1, 20}, {2, 400}, {3, 8902}}};
  ASSERT_EQ(perft_checks(line, 1000).size(), 1u);
  EXPECT_EQ(perft_checks(line, 1000)[0].depth, 2);
  EXPECT_EQ(perft_checks(line, 0).size(), 3u);
  EXPECT_TRUE(perft_checks(line, 10).empty());

  for (const bool chess960 : {false, true}) {
    const auto path = std::filesystem::path(TESMAR_SHARED_DIR) / "perft" / (chess960 ? "chess960.epd" : "standard.epd");
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "no perft suite at " << path;
    std::vector<PerftSuiteLine> lines;
    ASSERT_TRUE(read_perft_suite(path.string().c_str(), lines));
    ASSERT_FALSE(lines.empty());
    Chess960Option option(chess960);
    for (const PerftSuiteLine& l : lines)
      for (const PerftExpectation& e : perft_checks(l, 200000))
        EXPECT_EQ(perft(*thread_at(l.fen.c_str()), e.depth), e.nodes)
            << path << ":" << l.line_number << " depth " << e.depth;
  }
}

}  // namespace
