// Probing on the published files: our generator's values on the quicker signatures, the
// one-ply agreement of every signature's tables with the rules of chess on a sample (with
// colour and file symmetry), the edge cases of captures, en passant, en prise pieces, zeroing
// pawn moves and missing tables; the root filter, which moves stay and the score under the
// fifty-move rule and after a repetition, and when a go may use the tables at all; and the
// reader, each of the 70 embedded files where it stands and where its parsing ends, and the
// king-pair index.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "board/move_text.h"
#include "board/movegen.h"
#include "board/position.h"
#include "helpers/board_fixtures.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/score.h"
#include "tablebase/embedded_tables.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/index_tables.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "tablebase/root_filter.h"
#include "tablebase/table_format.h"

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

class RootFilter : public EmbeddedTablesTest {
 protected:
  void SetUp() override {
    EmbeddedTablesTest::SetUp();
    search_limits.tb_largest = 4;
  }
  void TearDown() override { set_default_options(engine_options); }
};

// The root list as generated, as think has it before the filter.
void set_root(ThreadData& thread) {
  thread.root_end = generate_legal(*thread.current_position, thread.root_moves);
}

std::string moves_of(const ThreadData& thread) {
  std::vector<std::string> names;
  char text[8];
  for (const ScoredMove* m = thread.root_moves; m != thread.root_end; ++m) {
    move_text(*thread.current_position, m->move, text);
    names.push_back(text);
  }
  std::sort(names.begin(), names.end());
  std::string out;
  for (const std::string& n : names) out += (out.empty() ? "" : " ") + n;
  return out;
}

char kind_of_score(int32_t score) {
  if (score == SCORE_NONE) return 'N';
  if (score >= SCORE_DECIDED) return 'W';
  if (score <= -SCORE_DECIDED) return 'L';
  return score == 0 ? '0' : '?';
}

TEST_F(RootFilter, KeepsTheMovesThatHoldTheResult) {
  struct Case {
    const char* fen;
    const char* moves;  // played before the root
    bool rule50;
    char score;        // W win, L loss, 0 draw
    const char* kept;  // sorted; "all" when nothing is struck
    const char* why;
  };
  const Case CASES[] = {
      {"8/8/3k4/8/8/3K4/r7/7R w - - 0 1", nullptr, true, '0',
       "d3c3 d3c4 d3d4 d3e3 d3e4 h1b1 h1c1 h1d1 h1e1 h1f1 h1g1 h1h4 h1h5 h1h6 h1h7 h1h8",
       "a drawn root: the rook moves that lose leave"},
      {"8/8/8/8/1k6/7Q/7R/5K2 b - - 90 100", nullptr, true, 'L', "b4b5 b4c4 b4c5",
       "lost with rule50 90 and worst -6: only the longest defences stay"},
      {"8/8/8/8/1k6/7Q/7R/5K2 b - - 0 1", nullptr, true, 'L', "all", "lost with room: every move stays"},
      {"8/8/8/4k3/8/8/8/R3K3 w - - 70 90", nullptr, true, 'W',
       "a1a2 a1a3 a1a4 a1a5 a1a6 a1a7 a1a8 a1d1 e1d1 e1d2 e1e2 e1f1 e1f2",
       "won with room: every win that zeroes inside the limit stays"},
      {"8/8/8/4k3/8/8/8/R3K3 w - - 80 90", nullptr, true, '0', "a1a5 e1e2",
       "won beyond the fifty-move rule: score 0, the quickest moves still stay"},
      {"8/8/8/4k3/8/8/8/R3K3 w - - 80 90", nullptr, false, 'W', "a1a5 e1e2",
       "the same with the rule off: a win score"},
      {"8/8/8/4k3/8/8/8/R3K3 w - - 0 1", "a1a2 e5e4 a2a1 e4e5", true, 'W', "a1a5 e1e2",
       "after a repetition only the quickest moves stay"},
      {"k7/8/1K6/8/8/8/8/6Q1 w - - 99 100", nullptr, true, 'W', "g1g8", "no room left: the mate in one, the quickest win"},
  };
  for (const Case& c : CASES) {
    SCOPED_TRACE(std::string(c.fen) + ": " + c.why);
    engine_options.Syzygy50MoveRule = c.rule50;
    auto thread = thread_at(c.fen, c.moves);
    set_root(*thread);
    const std::string all = moves_of(*thread);
    const int32_t score = tb_root_filter(*thread, thread->root_moves, &thread->root_end);
    EXPECT_EQ(kind_of_score(score), c.score) << score;
    EXPECT_EQ(moves_of(*thread), std::string(c.kept) == "all" ? all : std::string(c.kept));
  }
}

// Whether the tables are asked at the root of a go at all, and what the search may probe.
TEST_F(RootFilter, GoUsesTheTablesOnlyWhenTheyCanAnswer) {
  struct Case {
    const char* fen;
    int32_t probe_limit_option;
    bool filtered;
    int32_t search_limit;  // tb_probe_limit left for the search
    const char* why;
  };
  const Case CASES[] = {
      {"4k3/8/8/8/8/8/8/3QK3 w - - 0 1", 7, true, 0, "four men, no SyzygyPath: the search probes no more"},
      {"4k3/8/8/8/8/8/8/3QK3 w - - 0 1", 0, false, 0, "SyzygyProbeLimit 0: no probe at all"},
      {"4k3/8/8/8/8/8/8/2RQK3 w - - 0 1", 3, false, 3, "limit 3 with four men: only the search, behind captures"},
      {"r3k3/8/8/8/8/8/8/3QK3 w q - 0 1", 7, false, 4, "a castling right: no root filter"},
      {"4k3/8/8/8/8/8/8/1RRQK3 w - - 0 1", 7, false, 4, "five men without their table: the filter fails"},
  };
  for (const Case& c : CASES) {
    SCOPED_TRACE(std::string(c.fen) + ": " + c.why);
    engine_options.SyzygyProbeLimit = c.probe_limit_option;
    auto thread = thread_at(c.fen);
    set_root(*thread);
    thread->tb_hits = 0;
    apply_root_tables(*thread);
    EXPECT_EQ(search_limits.root_tb_score != SCORE_NONE, c.filtered);
    EXPECT_EQ(search_limits.tb_probe_limit, c.search_limit);
    EXPECT_EQ(thread->tb_hits > 0, c.filtered);
  }
}

// The entry of a signature with the file of `kind` set up, through a probe of some legal
// position of that material, White on the left.
TableEntry& ready_entry(const std::string& name, int kind) {
  std::mt19937_64 random(7);
  std::vector<Man> men = men_of_signature(name);
  place_at_random(men, false, random);
  auto thread = thread_at(fen_of_men(men, false).c_str());
  int success;
  probe_table(*thread, 2, success, kind);
  TableEntry* entry = find_table_slot(material_key(*thread->current_position)).entry.load();
  EXPECT_TRUE(entry && entry->ready[kind].load()) << name;
  return *entry;
}

using TableFormat = EmbeddedTablesTest;

// Each of the 70 files is found by its name, stands on a 64-byte boundary, and is the one
// the registry reads; parsing ends where its trailing bytes begin.
TEST_F(TableFormat, EveryFileParsesToItsTrailingBytesAndSymmetricTablesStoreOneSide) {
  for (const std::string& name : embedded_signatures()) {
    for (int kind : {WDL, DTZ}) {
      const std::string file_name = name + (kind ? ".rtbz" : ".rtbw");
      const EmbeddedTable* file = find_embedded_table(file_name.c_str());
      ASSERT_TRUE(file) << file_name;
      EXPECT_EQ(reinterpret_cast<uintptr_t>(file->data) % 64, 0u) << file_name;
      TableEntry& entry = ready_entry(name, kind);
      EXPECT_EQ(entry.view[kind], file->data) << file_name;
      free_decoders(entry, kind);
      FileCheck check;
      ASSERT_TRUE(parse_table_file(entry, kind, check)) << file_name << ": " << check.fault;
      const uint64_t rest = entry.mapping[kind] - check.end;
      EXPECT_TRUE(rest == 16 || rest == 48) << file_name << " leaves " << rest;
      EXPECT_EQ(entry.mapping[kind], ((check.end + 63) & ~uint64_t(63)) + 16) << file_name;
    }
    TableEntry& entry = ready_entry(name, WDL);
    if (entry.symmetric) {
      EXPECT_EQ(entry.view[WDL][4] & 1, 0) << name;
    }
    EXPECT_EQ(entry.wdl_slices[0][1].decoder != nullptr, bool(entry.view[WDL][4] & 1)) << name;
  }
}

TEST(TableIndexTables, KingPairsNumberEachPlacementOnce) {
  std::vector<int> seen(462);
  for (const auto& row : KING_PAIR_INDEX)
    for (int16_t v : row)
      if (v >= 0) ++seen.at(size_t(v));
  EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), 462);
}

}  // namespace
