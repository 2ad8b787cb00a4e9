// A five-man table made by our generator and read the way a user reads one, from a
// folder named by SyzygyPath: KBBvKN, whose captures lead only into tables the engine
// carries, and which is rich in wins and losses that the fifty-move rule turns into draws.
// The table is solved once per process (minutes on two cores), so ctest runs this binary
// as one long test: ctest -L long -R FiveMenTables.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

#include "helpers/board_fixtures.h"
#include "helpers/engine_process.h"
#include "helpers/scratch_files.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/table_games.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "tbgen/table_index.h"
#include "tbgen/table_writer.h"

namespace {

const char* const NAME = "KBBvKN";

// Positions pinned by the values our files gave them, White the bishops; the distance in
// plies to the knight's capture (or the mate), where a spoilt result may be a ply off.
struct KnownPosition {
  const char* fen;
  int wdl;  // for the side to move
  int dtz;
  const char* what;
};
const KnownPosition KNOWN[] = {
    {"1K2B3/B7/8/8/2k5/8/4n3/8 w - - 0 1", 1, 113, "won in 113 plies to the capture: a draw under the rule"},
    {"8/8/6k1/8/8/5n2/2BB4/7K b - - 0 1", -1, -114, "lost in 114 plies to the capture: saved by the rule"},
    {"2BK4/8/8/1n6/8/8/1k1B4/8 w - - 0 1", 1, 101,
     "won in 101 plies, one too many, although the best move reaches a loss within 100 for Black"},
    {"8/8/8/5B1K/2n5/k7/5B2/8 w - - 0 1", 2, 99, "won with the capture on the 99th ply: no move to spare"},
};

class GeneratedFiveMen : public EmbeddedTablesTest {
 protected:
  static inline std::unique_ptr<TempDir> folder;

  static void SetUpTestSuite() {
    folder = std::make_unique<TempDir>();
    // The writer indexes with the reader's tables.
    init_table_index();
    const TableFiles files = build_table_files(generated_table(NAME), 2);
    for (auto [suffix, bytes] : {std::pair{".rtbw", &files.wdl}, std::pair{".rtbz", &files.dtz}}) {
      std::ofstream out(folder->path / (std::string(NAME) + suffix), std::ios::binary);
      out.write(reinterpret_cast<const char*>(bytes->data()), std::streamsize(bytes->size()));
    }
  }
  static void TearDownTestSuite() { folder.reset(); }

  void SetUp() override {
    EmbeddedTablesTest::SetUp();
    if (IsSkipped()) return;
    ASSERT_EQ(tb_init(folder->path.c_str()), 5);
  }
};

TEST_F(GeneratedFiveMen, SyzygyPathFindsTheFilesAndTheirValuesHoldOnePlyDeep) {
  EngineProcess engine;
  engine.send("setoption name SyzygyPath value " + folder->path.string() + "\nisready\n");
  // The 35 materials the engine carries, and the two files of the folder.
  EXPECT_EQ(engine.read_until("readyok"), (Lines{"info string Found 36 WDL and 36 DTZ tablebase files.", "readyok"}));

  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(17);
  expect_no_faults(sweep_signature(*thread, NAME, 400, random), NAME);
  const ProbeComparison c = compare_probes(*thread, NAME, 2000, false, random);
  EXPECT_GT(c.exact, 0);
  expect_no_faults(c, NAME);
}

TEST_F(GeneratedFiveMen, FiftyMoveRuleSpoilsSomeWinsAndSavesSomeLosses) {
  const TableResult& t = generated_table(NAME);
  // Every stored position by value, and a reservoir of each value but the draw.
  constexpr size_t KEPT = 150;
  std::array<int64_t, 5> count{};
  std::array<std::vector<uint64_t>, 5> sample;
  std::mt19937_64 random(23);
  for (uint64_t idx = 0; idx < t.layout.size; ++idx) {
    if (t.state[idx] == STATE_INVALID) continue;
    const int v = state_wdl(t.state[idx]) + 2;
    const int64_t n = ++count[v];
    if (v == 2) continue;
    if (sample[v].size() < KEPT)
      sample[v].push_back(idx);
    else if (uint64_t(random() % uint64_t(n)) < KEPT)
      sample[v][random() % KEPT] = idx;
  }
  const char* names[5] = {"lost", "lost, saved by the rule", "drawn", "won, spoilt by the rule", "won"};
  for (int v = 0; v < 5; ++v) std::printf("%s %-24s %11lld\n", NAME, names[v], (long long)count[v]);
  ASSERT_GT(count[3], 0) << "no cursed win";
  ASSERT_GT(count[1], 0) << "no blessed loss";

  auto thread = thread_at(START_FEN);
  for (int v : {0, 1, 3, 4}) {
    const int wdl = v - 2;
    int faults = 0;
    for (uint64_t idx : sample[v]) {
      std::string fault = entry_probe_fault(*thread, t, idx, false);
      if (fault.empty()) fault = one_ply_fault(*thread);
      // A win or loss the rule decides lies within 100 plies of its zeroing move, one it
      // spoils or saves beyond them; one_ply_fault holds the files' distances to the same.
      const int plies = std::abs(generated_value(t.state[idx]).dtz);
      if (fault.empty() && (std::abs(wdl) == 2) != (plies <= 100))
        fault = "solved in " + std::to_string(plies) + " plies";
      if (!fault.empty() && ++faults <= 5)
        ADD_FAILURE() << names[v] << ": " << fen_of_entry(t.layout, idx) << ": " << fault;
    }
    EXPECT_EQ(faults, 0) << names[v];
  }
}

TEST_F(GeneratedFiveMen, KnownPositionsReadTheirValues) {
  for (const KnownPosition& k : KNOWN) {
    auto thread = thread_at(k.fen);
    int success;
    EXPECT_EQ(probe_wdl(*thread, success), k.wdl) << k.fen << ": " << k.what;
    EXPECT_EQ(success, 1) << k.fen;
    const int dtz = probe_dtz(*thread, success);
    EXPECT_LE(std::abs(dtz - k.dtz), std::abs(k.wdl) == 2 ? 0 : 1) << k.fen << ": " << k.what;
    EXPECT_EQ(one_ply_fault(*thread), "") << k.fen;
  }
}

TEST_F(GeneratedFiveMen, EnginesConvertAWinWithinTheFiftyMoveRule) {
  const KnownPosition& won = KNOWN[std::size(KNOWN) - 1];  // the win with no move to spare
  // Default options: the root filter on, the fifty-move rule scored.
  const TableGame game =
      play_table_game(TESMAR_BINARY, "setoption name SyzygyPath value " + folder->path.string() + "\n", won.fen, 400);
  std::printf("%s: %d plies, the first capture or pawn move at ply %d\n  %s\n", won.fen, game.plies,
              game.first_zeroing_ply, game.moves.c_str());
  // The knight falls while the count allows, into a KBBvK still lost for the knight's
  // side, or the mate comes first.
  if (game.first_zeroing_ply) {
    EXPECT_LE(game.first_zeroing_ply, 100);
    EXPECT_EQ(game.wdl_after_zeroing, -2);
  }
  EXPECT_TRUE(game.finished);
  EXPECT_EQ(game.result, 1) << game.moves;
  EXPECT_LT(game.max_rule50, 100);
  EXPECT_FALSE(game.value_fell) << game.moves;
}

}  // namespace
