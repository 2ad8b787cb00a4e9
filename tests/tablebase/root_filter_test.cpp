// The root filter on the published files: which moves stay, and the score, for wins,
// draws and losses under the fifty-move rule, after a repetition, and when a go may or
// may not use the tables at all.
#include <gtest/gtest.h>

#include <algorithm>

#include "board/move_text.h"
#include "board/movegen.h"
#include "helpers/board_fixtures.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/score.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/root_filter.h"

namespace {

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

}  // namespace
