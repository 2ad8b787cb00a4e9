// Probing on the published files: our generator's values on the quicker signatures, the
// one-ply agreement of every signature's tables with the rules of chess on a sample (with
// colour and file symmetry), and the edge cases of captures, en passant, en prise pieces,
// zeroing pawn moves and missing tables.
#include <gtest/gtest.h>

#include "board/position.h"
#include "helpers/board_fixtures.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/probe.h"

namespace {

using Probe = EmbeddedTablesTest;

// WDL equal, DTZ equal in sign and within a ply (the published files round some distances).
// The suite on our own files holds them to the same results, so the two sets agree.
TEST_F(Probe, PublishedTablesGiveTheGeneratorsValues) { expect_quick_signatures_agree(false, 5); }

// The full sweep over every position is the long check; here a sample of each signature.
TEST_F(Probe, TablesAgreeWithTheRulesOnePlyDeepOnASampleOfEverySignature) {
  expect_embedded_signatures_agree(300, 2024);
}

TEST_F(Probe, EdgeCases) {
  struct Case {
    const char* fen;
    int wdl, wdl_success;  // success 0: nothing else is compared
    int dtz;               // 999: not compared
    const char* why;
  };
  const Case CASES[] = {
      {"8/8/8/4k3/8/8/8/4K3 w - - 0 1", 0, 1, 0, "bare kings need no table"},
      {"8/8/8/8/8/8/3kQ3/7K b - - 0 1", 0, 1, 0, "the queen en prise: taking it draws"},
      {"8/8/8/8/8/8/1k6/1R5K b - - 0 1", 0, 1, 0, "in check, the checking rook can be taken"},
      {"k7/8/8/8/8/8/8/R6K b - - 0 1", -2, 1, 999, "in check, the rook out of reach"},
      {"8/4P3/8/8/8/8/k7/4K3 w - - 0 1", 2, 1, 1, "promotion wins: one ply to the zeroing move"},
      {"8/8/8/8/8/8/3q4/3K2k1 w - - 0 1", 0, 1, 0, "the king takes the queen that checks it"},
      {"8/8/8/8/8/2k5/3q4/3K4 w - - 0 1", -2, 1, 999, "mate: the checking queen is protected"},
      {"8/8/8/8/8/2k5/8/K1q5 w - - 0 1", -2, 1, 999, "lost: the checking queen is out of reach"},
      {"k7/8/1K6/8/8/8/8/1Q6 w - - 0 1", 2, 1, 999, "a mate in one is a win"},
      {"k7/2Q5/1K6/8/8/8/8/8 b - - 0 1", 0, 1, 0, "stalemate"},
      {"8/8/8/2k5/3pP3/K7/8/8 b - e3 0 1", 2, 1, 1, "only the capture en passant wins: drawn without the right"},
      {"k7/8/8/8/6Pp/7K/8/8 b - g3 0 1", 0, 1, 0, "only the capture en passant saves: lost without the right"},
      {"4k3/8/8/8/8/8/8/1RQ1K1P1 w - - 0 1", 0, 0, 999, "five men and no SyzygyPath: no table"},
  };
  for (const Case& c : CASES) {
    SCOPED_TRACE(std::string(c.fen) + ": " + c.why);
    auto thread = thread_at(c.fen);
    const Position* const before = thread->current_position;
    int success;
    const int wdl = probe_wdl(*thread, success);
    EXPECT_EQ(thread->current_position, before) << "the stack stands as it was found";
    EXPECT_EQ(success != 0, c.wdl_success != 0);
    if (!c.wdl_success) continue;
    EXPECT_EQ(wdl, c.wdl);
    const int dtz = probe_dtz(*thread, success);
    EXPECT_EQ(thread->current_position, before);
    EXPECT_TRUE(success);
    if (c.dtz != 999) {
      EXPECT_EQ(dtz, c.dtz);
    }
    EXPECT_EQ(one_ply_fault(*thread), "");
  }
}

}  // namespace
