// The engine with the published tables inside, through UCI: info lines, SyzygyPath
// folders, broken files, probes in the search, games of won and drawn endings, and the
// report of tbprobe.
#include <gtest/gtest.h>

#include <filesystem>

#include "helpers/engine_process.h"
#include "helpers/scratch_files.h"
#include "tablebase/helpers/table_games.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

struct TableEngine : EngineProcess {
  TableEngine() : EngineProcess({}, 0, TESMAR_TB_ENGINE) {}
};

using UciTables = EmbeddedTablesTest;

TEST_F(UciTables, RootInTheTablesShowsTbhitsAndTheTableScoreAndKeepsTheWin) {
  TableEngine engine;
  // KQvK: the two queen moves that let the king take it leave the list.
  const SearchOutput out = engine.go("position fen 4k3/8/8/8/8/8/8/3QK3 w - - 0 1\ngo depth 6\n");
  ASSERT_FALSE(out.info.empty());
  EXPECT_NE(out.bestmove, "d1d7");
  EXPECT_NE(out.bestmove, "d1d8");
  for (const std::string& line : out.info) {
    EXPECT_EQ(info_number(line, "tbhits"), 21) << line;  // the root moves the filter probed, and no more
    EXPECT_EQ(info_field(line, "score"), "mate") << line;
  }
  // The drawn side of KRvKR: the root filter keeps the draw, with the score 0.
  const SearchOutput draw = engine.go("position fen 8/8/3k4/8/8/3K4/r7/7R w - - 0 1\ngo depth 6\n");
  ASSERT_FALSE(draw.info.empty());
  EXPECT_EQ(info_field(draw.info.back(), "cp"), "0") << draw.info.back();
}

// Five men, no tables for them: the search probes where a capture leaves four. Four threads
// on a fresh engine: the first uses of the tables race, under the table lock.
TEST_F(UciTables, SearchProbesBehindCapturesOfFiveMen) {
  TableEngine engine;
  const SearchOutput out = engine.go(
      "setoption name Threads value 4\nucinewgame\nposition fen 8/8/3k4/8/2r5/3K4/8/1R2R3 b - - 0 1\ngo depth 9\n",
      30000);
  ASSERT_FALSE(out.info.empty());
  EXPECT_GT(info_number(out.info.back(), "tbhits"), 0);
}

// A broken six-man file in a folder among empty pieces and a missing one: it is counted,
// named with its folder and fault in one info string line at its first use, and the
// engine plays on as if it were missing.
TEST_F(UciTables, SyzygyPathFoldersAndBrokenFiles) {
  TempDir folder;
  write_broken_table(folder.path, "KQRvKP.rtbw");
  TableEngine engine;
  engine.send("setoption name SyzygyPath value " + folder.path.string() + ";;/nonexistent;\nisready\n");
  EXPECT_EQ(engine.read_until("readyok"), (Lines{"info string Found 36 WDL and 35 DTZ tablebase files.", "readyok"}));
  const SearchOutput out = engine.go("setoption name Threads value 2\nposition fen 4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1\ngo depth 5\n");
  EXPECT_FALSE(out.bestmove.empty());
  int reports = 0;
  for (const std::string& line : out.info)
    reports += line == "info string Table KQRvKP.rtbw in " + folder.path.string() +
                           " not used: not a WDL table (wrong magic number)";
  EXPECT_EQ(reports, 1);
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
  EXPECT_FALSE(drawn.value_fell);
}

// tbprobe prints the values and the moves the root filter keeps, or says why it cannot: input
// the engine would refuse is refused by name, never probed (boards without kings once ended
// the tool with a signal); each outcome has its own status.
TEST_F(UciTables, TbprobeAnswersOrSaysWhyNot) {
  TempDir folder;
  write_broken_table(folder.path, "KQRvKP.rtbw");
  std::filesystem::create_directory(folder.path / "KRRvKP.rtbw");
  const std::string tool = std::string(TESMAR_TB_PROBE) + " --path " + folder.path.string() + " ";
  struct Case {
    std::string arguments;
    int status;
    std::vector<std::string> says;
  };
  const Case CASES[] = {
      {"'8/8/8/8/8/8/8/8 w - - 0 1'", 2, {"illegal position: each side needs exactly one king"}},
      {"'k7/8/8/8/8/8/8/8 w - - 0 1'", 2, {"illegal position: each side needs exactly one king"}},
      {"'8/8/8/3kK3/8/8/8/8 w - - 0 1'", 2, {"illegal position: kings stand next to each other"}},
      {"'not a fen'", 2, {"illegal position: FEN has fewer than four fields"}},
      {"'4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1'",
       1,
       {"info string Table KQRvKP.rtbw in " + folder.path.string() + " not used: not a WDL table",
        "not in the tables: its table file is unusable"}},
      {"'4k3/4p3/8/8/8/8/8/RR2K3 b - - 0 1'", 1, {"not used: not a file but a folder", "its table file is unusable"}},
      {"'4k3/4p3/8/8/8/8/8/NN2K3 w - - 0 1'", 1, {"not in the tables: no table of this material in the folders"}},
      {"'k7/8/1K6/8/8/8/8/6Q1 w - - 99 100' 'r3k3/8/8/8/8/8/8/3QK3 w q - 0 1'",
       1,
       {"k7/8/1K6/8/8/8/8/6Q1 w - - 99 100\n  wdl 2 success 1\n  dtz ", "  kept g1g8:1\n",
        "not in the tables: castling rights remain"}},
      {"'8/8/8/4k3/8/8/8/3QK3 w - - 0 1' '8/8/8/8/8/8/8/8 w - - 0 1'", 2, {"wdl 2 success 1", "illegal position"}},
      {"--help", 0, {"usage: tbprobe [--path DIRS]"}},
      {"-h", 0, {"usage: tbprobe [--path DIRS]"}},
      {"--bogus", 2, {"usage: tbprobe [--path DIRS]"}},
  };
  for (const Case& c : CASES) {
    const CommandRun run = run_command(tool + c.arguments + " 2>&1");
    EXPECT_EQ(run.status, c.status) << c.arguments << "\n" << run.output;
    for (const std::string& part : c.says)
      EXPECT_NE(run.output.find(part), std::string::npos) << c.arguments << "\n" << run.output;
  }
}

}  // namespace
