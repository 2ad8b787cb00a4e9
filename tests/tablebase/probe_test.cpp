// Probing on the published files: the one-ply agreement of every signature's tables with
// the rules of chess on a sample, colour and file symmetry, and the edge cases of captures,
// en prise pieces, zeroing pawn moves and missing tables.
#include <gtest/gtest.h>

#include <random>

#include "board/position.h"
#include "helpers/board_fixtures.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/probe.h"
#include "tablebase/table_entry.h"

namespace {

class Probe : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_SHARED_TABLES();
    reset_tables();
  }
};

// The full sweep over every position is the long check; here a sample of each signature.
TEST_F(Probe, TablesAgreeWithTheRulesOnePlyDeepOnASampleOfEverySignature) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(2024);
  int64_t positions = 0;
  for (const std::string& name : embedded_signatures()) {
    const SweepResult result = sweep_signature(*thread, name, 300, random);
    positions += result.positions;
    EXPECT_EQ(result.faults, 0) << name << ", first: " << (result.first_faults.empty() ? "" : result.first_faults[0]);
  }
  EXPECT_EQ(positions, 35 * 2 * 300);
}

std::string file_mirrored_fen(const std::string& fen) {
  std::string out;
  size_t space = fen.find(' ');
  std::string board = fen.substr(0, space);
  size_t start = 0;
  while (start <= board.size()) {
    size_t end = board.find('/', start);
    if (end == std::string::npos) end = board.size();
    std::string rank = board.substr(start, end - start), expanded;
    for (char c : rank) expanded += c >= '1' && c <= '8' ? std::string(size_t(c - '0'), '1') : std::string(1, c);
    std::reverse(expanded.begin(), expanded.end());
    if (!out.empty()) out += '/';
    out += expanded;
    start = end + 1;
  }
  return out + fen.substr(space);  // runs of '1' are valid FEN
}

// The tables fold positions by colour, by file and (without pawns) by rank and diagonal:
// every folding must give the same answer.
TEST_F(Probe, ColourAndFileMirrorsGiveTheSameValues) {
  std::mt19937_64 random(99);
  auto thread = thread_at(START_FEN);
  for (const std::string& name : embedded_signatures()) {
    std::vector<Man> men = men_of_signature(name);
    for (int n = 0; n < 60;) {
      for (Man& m : men) m.square = int(random() % 64);
      const bool black = random() & 1;
      if (!legal_placement(men, black)) continue;
      ++n;
      const std::string fen = fen_of_men(men, black);
      int expected_wdl = 0, expected_dtz = 0;
      bool first = true;
      for (const std::string& variant : {fen, mirrored_fen(fen), file_mirrored_fen(fen)}) {
        set_position(*thread, variant.c_str(), nullptr);
        int s1, s2;
        const int wdl = probe_wdl(*thread, s1), dtz = probe_dtz(*thread, s2);
        ASSERT_TRUE(s1 && s2) << variant;
        if (first) {
          expected_wdl = wdl;
          expected_dtz = dtz;
          first = false;
        }
        EXPECT_EQ(wdl, expected_wdl) << variant << " against " << fen;
        EXPECT_EQ(dtz, expected_dtz) << variant << " against " << fen;
      }
    }
  }
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

// A DTZ file holds one side to move; for the other the engine searches one ply.
TEST_F(Probe, DtzOfTheSideAFileLacksComesFromOnePly) {
  for (const char* fen : {"8/8/8/4k3/8/8/8/R3K3 w - - 0 1", "8/8/8/4k3/8/8/8/R3K3 b - - 0 1"}) {
    auto thread = thread_at(fen);
    int success;
    probe_wdl(*thread, success);
    const int w = probe_wdl(*thread, success);
    ASSERT_NE(w, 0);
    probe_table(*thread, w, success, DTZ);
    if (success != -1) continue;
    EXPECT_EQ(one_ply_fault(*thread), "") << fen;
    return;
  }
  FAIL() << "KRvK stores both sides to move in its DTZ file";
}

}  // namespace
