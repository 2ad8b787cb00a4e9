// The shared perft suites at every listed depth: billions of nodes, minutes of work.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "board/perft.h"
#include "common/perft_suite.h"
#include "helpers/board_fixtures.h"
#include "search/thread_data.h"

namespace {

void check_full_suite(const char* name, bool chess960) {
  const std::filesystem::path path = std::filesystem::path(TESMAR_SHARED_DIR) / "perft" / name;
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no perft suite at " << path;
  std::vector<PerftSuiteLine> lines;
  ASSERT_TRUE(read_perft_suite(path.c_str(), lines));
  Chess960Option option(chess960);
  auto thread = std::make_unique<ThreadData>();
  for (const PerftSuiteLine& line : lines) {
    for (const PerftExpectation& e : line.expected) {
      set_position(*thread, line.fen.c_str(), nullptr);
      EXPECT_EQ(perft(*thread, e.depth), e.nodes) << "line " << line.line_number << ": " << line.fen << " depth "
                                                  << e.depth;
    }
  }
}

TEST(PerftDeep, StandardSuite) { check_full_suite("standard.epd", false); }
TEST(PerftDeep, Chess960Suite) { check_full_suite("chess960.epd", true); }

}  // namespace
