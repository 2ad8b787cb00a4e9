// Whole searches through the engine process: info lines, limits, MultiPV and searchmoves,
// stopping and pondering, and node counts that repeat after ucinewgame.
#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <string>
#include <thread>
#include <utility>

#include "helpers/engine_process.h"

namespace {

// Exactly the fields of an info line, in order, with at least one move in the line.
const std::regex INFO_LINE(
    "info multipv [0-9]+ depth -?[0-9]+ time [0-9]+ nodes [0-9]+ nps [0-9]+ tbhits [0-9]+ "
    "score (cp|mate) -?[0-9]+ pv ([a-h][1-8][a-h][1-8][qrbn]? )+");

// A fresh engine with a small table, set up by the given commands; it ends with its input.
struct Engine : EngineProcess {
  explicit Engine(const std::string& setup = "") { send("setoption name Hash value 16\n" + setup); }
};

std::string field(const std::string& info, const std::string& name) {
  const size_t at = info.find(" " + name + " ");
  if (at == std::string::npos) return "";
  const size_t begin = at + name.size() + 2;
  return info.substr(begin, info.find(' ', begin) - begin);
}

long long number(const std::string& info, const std::string& name) { return std::stoll(field(info, name)); }

// The lines of a search that ended with a move; every one of them a well-formed info line.
const SearchOutput& checked(const SearchOutput& s) {
  EXPECT_FALSE(s.info.empty());
  EXPECT_FALSE(s.bestmove.empty() || s.bestmove == "0000");
  for (const std::string& line : s.info) EXPECT_TRUE(std::regex_match(line, INFO_LINE)) << line;
  return s;
}

TEST(UciSearch, LimitsDrawsAndForcedMoves) {
  Engine engine;
  EXPECT_EQ(number(checked(engine.go("position startpos\ngo nodes 5000\n")).info.back(), "nodes"), 5000);
  // 25000 is looked at every 10000 nodes.
  EXPECT_EQ(number(engine.go("position startpos moves e2e4\ngo nodes 25000\n").info.back(), "nodes"), 30000);
  EXPECT_EQ(number(checked(engine.go("position startpos\ngo nodes 0\n")).info.back(), "nodes"), 0);
  // One iteration line and the final one; depth 0 still searches depth 1 and shows the limit last.
  for (int depth : {1, 0}) {
    const SearchOutput s = checked(engine.go("position startpos\ngo depth " + std::to_string(depth) + "\n"));
    ASSERT_EQ(s.info.size(), 2u);
    EXPECT_EQ(number(s.info[0], "depth"), 1);
    EXPECT_EQ(number(s.info[1], "depth"), depth);
    EXPECT_EQ(field(s.info[1], "pv"), s.bestmove);
  }
  for (const char* go : {"go movetime 100\n", "go wtime 300 btime 300\n", "go wtime 50 winc 10\n"})
    checked(engine.go(std::string("position startpos\n") + go));
  checked(engine.go("setoption name Strength value 1\ngo movetime 300\n"));
  // Two rooks down, White checks on f6 and g5 for ever.
  SearchOutput s = checked(engine.go(
      "setoption name Strength value 100\nposition fen r4r1k/5p1p/8/6Q1/8/q7/6PP/7K w - - 0 1\ngo depth 12\n"));
  EXPECT_NE(s.info.back().find(" score cp 0 pv "), std::string::npos);
  EXPECT_EQ(s.bestmove, "g5f6");
  // The line ends where the fifty-move rule ends the game, though the table holds moves from
  // the same positions searched when the count was lower.
  engine.go("position fen 8/8/3k4/8/8/3K4/8/R7 w - - 0 80\ngo depth 10\n");
  s = checked(engine.go("position fen 8/8/3k4/8/8/3K4/8/R7 w - - 99 80\ngo depth 10\n"));
  EXPECT_EQ(field(s.info.back(), "pv") + " ", s.info.back().substr(s.info.back().find(" pv ") + 4));
  // One legal move is still searched through every iteration.
  s = checked(engine.go("position fen k7/8/8/8/8/8/1r6/K7 w - - 0 1\ngo depth 4\n"));
  EXPECT_EQ(s.info.size(), 5u);
  EXPECT_EQ(s.bestmove, "a1b2");
}

TEST(UciSearch, GoTokensAtTheirExtremesEndInAMove) {
  Engine engine("position startpos\n");
  // Each search ends by its own limits; with "depth 2" a clock beyond any game must not
  // overflow into a move at once, so both iterations are printed before the final line.
  const std::pair<const char*, size_t> lines[] = {
      {"go movestogo -4 wtime 1000 btime 1000", 0},
      {"go movestogo -2147483648 wtime 1000 btime 1000", 0},
      {"go movestogo 99999999999 wtime 1000", 0},
      {"go wtime -9223372036854775808 winc -9223372036854775808", 0},
      {"go movetime -99999999999999999999", 0},
      {"go nodes -9223372036854775808", 0},
      {"go depth -2147483648", 0},
      {"go depth 99999999999 nodes 1000", 0},
      {"go wtime 9223372036854775807 winc 9223372036854775807 depth 2", 3},
      {"go movetime 99999999999999999999 depth 2", 3},
      {"go nodes 9223372036854775807 movestogo 2147483647 wtime 9223372036854775807 depth 2", 3},
  };
  for (const auto& [go, info_lines] : lines) {
    const SearchOutput s = checked(engine.go(std::string(go) + "\n"));
    if (info_lines) {
      EXPECT_EQ(s.info.size(), info_lines) << go;
    }
  }
  engine.send("isready\nquit\n");
  EXPECT_EQ(engine.read_line(), "readyok");
  EXPECT_EQ(engine.wait_exit(), 0);
}

TEST(UciSearch, IterationsRunInOrderAndTheFinalLineRepeatsTheBest) {
  for (const int threads : {1, 3}) {
    Engine engine("setoption name Threads value " + std::to_string(threads) + "\nucinewgame\n");
    const SearchOutput s = checked(engine.go(
        "position fen r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3\ngo depth 7\n"));
    ASSERT_EQ(s.info.size(), 8u) << threads;
    for (int d = 1; d <= 7; ++d) EXPECT_EQ(number(s.info[size_t(d - 1)], "depth"), d) << threads;
    const std::string &last_iteration = s.info[6], &final_line = s.info[7];
    EXPECT_EQ(number(final_line, "depth"), 7);
    EXPECT_EQ(field(final_line, "pv"), s.bestmove);
    if (threads == 1) {
      EXPECT_EQ(final_line.substr(final_line.find(" score ")), last_iteration.substr(last_iteration.find(" score ")));
    } else {
      // The final line is the best thread's, which need not have printed the last iteration:
      // a thread still inside depth 7 may stand higher. Only the sums over the threads grow.
      EXPECT_GE(number(final_line, "nodes"), number(last_iteration, "nodes"));
    }
  }
}

TEST(UciSearch, UcinewgameGivesTheStartPositionAndTheSameSearchAgain) {
  Engine engine;
  const SearchOutput first = checked(engine.go("position fen 7k/8/8/8/8/8/8/K5R1 w - -\nucinewgame\ngo depth 10\n"));
  const SearchOutput again = checked(engine.go("ucinewgame\nposition startpos\ngo depth 10\n"));
  EXPECT_GT(number(first.info.back(), "nodes"), 10000);
  EXPECT_EQ(field(first.info.back(), "nodes"), field(again.info.back(), "nodes"));
  EXPECT_EQ(first.info.back().substr(first.info.back().find(" tbhits")),
            again.info.back().substr(again.info.back().find(" tbhits")));
}

TEST(UciSearch, MultiPVAndSearchmoves) {
  Engine engine("setoption name MultiPV value 3\n");
  SearchOutput s = checked(engine.go("position startpos\ngo depth 4\n"));
  ASSERT_EQ(s.info.size(), 12u);  // each iteration worst line first; no final line with several lines
  for (size_t i = 0; i < s.info.size(); ++i) {
    const std::string& line = s.info[i];
    EXPECT_EQ(number(line, "multipv"), 3 - long(i % 3));
    EXPECT_EQ(number(line, "depth"), long(i / 3) + 1);
    if (i % 3 == 0) continue;
    const std::string& worse = s.info[i - 1];
    EXPECT_EQ(field(line, "nodes"), field(worse, "nodes"));
    EXPECT_GE(number(line, "cp"), number(worse, "cp"));
    EXPECT_NE(field(line, "pv"), field(worse, "pv"));
  }
  EXPECT_EQ(field(s.info.back(), "pv"), s.bestmove);
  // One legal move: one line, and then the final line too.
  s = checked(engine.go("position fen 7k/8/8/8/8/8/1r6/K7 w - - 0 1\ngo depth 2\n"));
  ASSERT_EQ(s.info.size(), 3u);
  EXPECT_EQ(number(s.info[2], "depth"), 2);
  // Nothing to play: stalemate, mate, or no move named exactly.
  const std::string promotion = "position fen 8/4P3/8/8/8/8/k7/4K3 w - - 0 1\n";
  for (const std::string& lines : {std::string("position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1\ngo depth 3\n"),
                                   std::string("position startpos moves f2f3 e7e5 g2g4 d8h4\ngo infinite\n"),
                                   promotion + "go depth 2 searchmoves e7e8\n", std::string("go searchmoves\n")}) {
    s = engine.go(lines);
    EXPECT_TRUE(s.info.empty()) << lines;
    EXPECT_EQ(s.bestmove, "0000") << lines;
  }
  EXPECT_EQ(engine.go(promotion + "go depth 2 searchmoves e7e8n\n").bestmove, "e7e8n");
  s = checked(engine.go("position startpos\ngo depth 3 searchmoves a2a3 h2h3\n"));
  ASSERT_EQ(s.info.size(), 6u);  // two lines an iteration
  for (const std::string& line : s.info)
    EXPECT_TRUE(field(line, "pv") == "a2a3" || field(line, "pv") == "h2h3") << line;
}

TEST(UciSearch, StopQuitPonderhitAndIsreadyDuringASearch) {
  Engine engine("setoption name MultiPV value 4\n");
  engine.send("position startpos\ngo infinite\n");
  for (int i = 0; i < 20; ++i) {
    engine.send("isready\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  // Nothing but whole info lines and the answers to isready before the stop.
  int ready = 0;
  for (const std::string& line : engine.go("stop\n").info) {
    ready += line == "readyok";
    EXPECT_TRUE(line == "readyok" || std::regex_match(line, INFO_LINE)) << line;
  }
  EXPECT_EQ(ready, 20);

  // The depth limit ends the iterations of an infinite search, not the command: no bestmove
  // comes before the answer to a later isready.
  engine.send("setoption name MultiPV value 1\ngo infinite depth 2\n");
  for (const std::string d : {"1", "2"}) EXPECT_EQ(field(engine.read_line().value_or(""), "depth"), d);
  engine.send("isready\n");
  EXPECT_EQ(engine.read_line(), "readyok");
  checked(engine.go("ponderhit\n"));
  // Pondering ignores the deadlines until ponderhit, though they have passed long before.
  engine.send("position startpos moves e2e4\ngo ponder movetime 200\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  engine.send("isready\n");
  for (const std::string& line : engine.read_until("readyok"))
    EXPECT_TRUE(line == "readyok" || std::regex_match(line, INFO_LINE)) << line;
  checked(engine.go("ponderhit\n"));

  // quit: the bestmove of the stopped search comes first.
  engine.send("go infinite\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  engine.send("quit\n");
  const Lines lines = engine.read_all();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back().rfind("bestmove ", 0), 0u);
  EXPECT_EQ(engine.wait_exit(), 0);
}

}  // namespace
