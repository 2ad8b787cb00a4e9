// Perft through the search's stages against published counts and the shared suites.
#include <gtest/gtest.h>

#include <filesystem>

#include "board/perft.h"
#include "common/perft_suite.h"
#include "helpers/board_fixtures.h"

namespace {

// A Chess960 middle game one ply deeper than the shared suite is walked here.
TEST(Perft, PublishedChess960Count) {
  Chess960Option option(true);
  EXPECT_EQ(perft(*thread_at("bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9"), 4), 326672u);
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

// Every line of the shared suites at the deepest listed depth of at most 200000 leaves, and the
// six classic positions that open the standard suite at up to five million, deep enough for the
// rarer meetings of castling, promotion, en passant and discovered checks.
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
      for (const PerftExpectation& e : perft_checks(l, !chess960 && l.line_number <= 6 ? 5000000 : 200000))
        EXPECT_EQ(perft(*thread_at(l.fen.c_str()), e.depth), e.nodes)
            << path << ":" << l.line_number << " depth " << e.depth;
  }
}

}  // namespace
