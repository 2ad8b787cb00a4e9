// The engine with the published tables inside, through UCI: info lines, SyzygyPath
// folders, broken files, probes in the search, and games of won and drawn endings.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "helpers/engine_process.h"
#include "tablebase/helpers/table_games.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace fs = std::filesystem;

namespace {

struct TableEngine : EngineProcess {
  TableEngine() : EngineProcess({}, 0, TESMAR_TB_ENGINE) {}
};

long long field(const std::string& line, const std::string& name) {
  const size_t at = line.find(" " + name + " ");
  return at == std::string::npos ? -1 : std::stoll(line.substr(at + name.size() + 2));
}

std::string score_of(const std::string& line) {
  const size_t at = line.find(" score ");
  if (at == std::string::npos) return "";
  const size_t end = line.find(" pv ", at);
  return line.substr(at + 7, end - at - 7);
}

class UciTables : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_SHARED_TABLES();
    reset_tables();
  }
};

TEST_F(UciTables, RootInTheTablesShowsTbhitsAndTheTableScoreAndKeepsTheWin) {
  TableEngine engine;
  // KQvK: the two queen moves that let the king take it leave the list.
  const SearchOutput out = engine.go("position fen 4k3/8/8/8/8/8/8/3QK3 w - - 0 1\ngo depth 6\n");
  ASSERT_FALSE(out.info.empty());
  EXPECT_NE(out.bestmove, "d1d7");
  EXPECT_NE(out.bestmove, "d1d8");
  for (const std::string& line : out.info) {
    EXPECT_EQ(field(line, "tbhits"), 21) << line;  // the root moves the filter probed, and no more
    const std::string score = score_of(line);
    EXPECT_EQ(score.rfind("mate ", 0), 0u) << line;
  }
  // The drawn side of KRvKR: the root filter keeps the draw, with the score 0.
  const SearchOutput draw = engine.go("position fen 8/8/3k4/8/8/3K4/r7/7R w - - 0 1\ngo depth 6\n");
  ASSERT_FALSE(draw.info.empty());
  EXPECT_EQ(score_of(draw.info.back()), "cp 0");
  // With SyzygyProbeLimit 0 nothing is probed.
  const SearchOutput off =
      engine.go("setoption name SyzygyProbeLimit value 0\nposition fen 4k3/8/8/8/8/8/8/3QK3 w - - 0 1\ngo depth 4\n");
  ASSERT_FALSE(off.info.empty());
  EXPECT_EQ(field(off.info.back(), "tbhits"), 0);
}

TEST_F(UciTables, SearchProbesBehindCapturesOfFiveMen) {
  TableEngine engine;
  // Five men, no tables for them: the search probes where a capture leaves four.
  const SearchOutput out = engine.go("position fen 8/8/3k4/8/2r5/3K4/8/1R2R3 b - - 0 1\ngo depth 7\n");
  ASSERT_FALSE(out.info.empty());
  EXPECT_GT(field(out.info.back(), "tbhits"), 0);
  // Four threads on a fresh engine: the first uses of the tables race, under the table lock.
  TableEngine threaded;
  const SearchOutput four = threaded.go(
      "setoption name Threads value 4\nucinewgame\nposition fen 8/8/3k4/8/2r5/3K4/8/1R2R3 b - - 0 1\ngo depth 9\n",
      30000);
  ASSERT_FALSE(four.info.empty());
  EXPECT_GT(field(four.info.back(), "tbhits"), 0);
  const SearchOutput limited =
      engine.go("setoption name SyzygyProbeLimit value 3\nposition fen 8/8/3k4/8/2r5/3K4/8/1R2R3 b - - 0 1\ngo depth 7\n");
  EXPECT_FALSE(limited.bestmove.empty());
}

TEST_F(UciTables, SyzygyPathFoldersAndBrokenFiles) {
  if (!fs::exists(TESMAR_SHARED_SYZYGY)) GTEST_SKIP() << TESMAR_SHARED_SYZYGY << " is absent";
  char name[] = "/tmp/tesmar_uci_tb_XXXXXX";
  const fs::path folder = mkdtemp(name);
  fs::copy_file(fs::path(TESMAR_SHARED_SYZYGY) / "KQvK.rtbw", folder / "KQRvKP.rtbw");
  fs::permissions(folder / "KQRvKP.rtbw", fs::perms::owner_read | fs::perms::owner_write);
  {
    std::fstream f(folder / "KQRvKP.rtbw", std::ios::in | std::ios::out | std::ios::binary);
    f.put('X');
  }
  TableEngine engine;
  engine.send("setoption name SyzygyPath value " + folder.string() + ";;/nonexistent;\nisready\n");
  const Lines lines = engine.read_until("readyok");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "info string Found 36 WDL and 35 DTZ tablebase files.");
  engine.send("setoption name SyzygyPath value " + folder.string() + ";;/nonexistent;\nisready\n");
  EXPECT_EQ(engine.read_until("readyok")[0], "info string Found 36 WDL and 35 DTZ tablebase files.");
  // The broken six-man file fails (on standard error) and the engine plays on.
  const SearchOutput out = engine.go("position fen 4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1\ngo depth 5\n");
  EXPECT_FALSE(out.bestmove.empty());
  engine.send("setoption name SyzygyPath value <empty>\nisready\n");
  EXPECT_EQ(engine.read_until("readyok"), Lines{"readyok"});
  fs::remove_all(folder);
}

TableGame play(const char* fen, int max_plies) { return play_table_game(TESMAR_TB_ENGINE, "", fen, max_plies); }

TEST_F(UciTables, EnginesConvertAWonEndingAndHoldADraw) {
  // KQvKR, White wins: mate comes before the fifty-move rule.
  const TableGame won = play("8/8/8/8/3k4/8/2r5/K6Q w - - 0 1", 300);  // 57 plies to the capture
  EXPECT_EQ(won.result, 1) << won.plies << " plies";
  EXPECT_LT(won.max_rule50, 100);
  // KRvK with the count already at 70: the quickest mates stay, in time.
  const TableGame late = play("8/8/8/4k3/8/8/8/R3K3 w - - 70 80", 200);
  EXPECT_EQ(late.result, 1) << late.plies << " plies";
  EXPECT_LT(late.max_rule50, 100);
  // KRvKR, drawn: neither side ever moves into a lost position.
  const TableGame drawn = play("8/8/3k4/8/8/3K4/r7/7R w - - 0 1", 60);
  EXPECT_EQ(drawn.result, 0);
  EXPECT_FALSE(drawn.lost_a_draw);
}

}  // namespace

namespace {

std::string run_tbprobe(const std::string& arguments) {
  std::string output;
  FILE* pipe = popen((std::string(TESMAR_TB_PROBE) + " " + arguments + " 2>&1").c_str(), "r");
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
  pclose(pipe);
  return output;
}

TEST_F(UciTables, TbprobePrintsValuesAndKeptMovesOrSaysItCannot) {
  const std::string out = run_tbprobe("'k7/8/1K6/8/8/8/8/6Q1 w - - 99 100' '4k3/8/8/8/8/8/8/1RRQK3 w - - 0 1' "
                                      "'r3k3/8/8/8/8/8/8/3QK3 w q - 0 1'");
  EXPECT_NE(out.find("k7/8/1K6/8/8/8/8/6Q1 w - - 99 100\n  wdl 2 success 1\n  dtz "), std::string::npos) << out;
  EXPECT_NE(out.find("  kept g1g8:1\n"), std::string::npos) << out;
  EXPECT_NE(out.find("1RRQK3 w - - 0 1\n  not in the tables: a table it needs is missing\n"), std::string::npos) << out;
  EXPECT_NE(out.find("not in the tables: castling rights remain"), std::string::npos) << out;
}

}  // namespace
