// Whole searches through the engine process: info lines, scores, limits, stopping.
#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "helpers/engine_process.h"

namespace {

using Lines = std::vector<std::string>;

// Exactly the fields of an info line, in order, with at least one move in the line.
const std::regex INFO_LINE(
    "info multipv [0-9]+ depth -?[0-9]+ time [0-9]+ nodes [0-9]+ nps [0-9]+ tbhits [0-9]+ "
    "score (cp|mate) -?[0-9]+ pv ([a-h][1-8][a-h][1-8][qrbn]? )+");

struct Search {
  Lines info;            // every line before the bestmove
  std::string bestmove;  // the move alone, or empty when none came
};

// A fresh engine with a small table, set up by the given commands.
struct Engine {
  EngineProcess process;
  explicit Engine(const std::string& setup = "") { process.send("setoption name Hash value 16\n" + setup); }
  ~Engine() {
    process.send("quit\n");
    process.wait_exit();
  }
  Search go(const std::string& lines, int timeout_ms = 10000) {
    process.send(lines);
    Search s;
    for (const std::string& line : process.read_until("bestmove", timeout_ms)) {
      if (line.rfind("bestmove ", 0) == 0)
        s.bestmove = line.substr(9, line.find(' ', 9) - 9);
      else
        s.info.push_back(line);
    }
    EXPECT_FALSE(s.bestmove.empty()) << lines;
    return s;
  }
};

std::string field(const std::string& info, const std::string& name) {
  const size_t at = info.find(" " + name + " ");
  if (at == std::string::npos) return "";
  const size_t begin = at + name.size() + 2;
  return info.substr(begin, info.find(' ', begin) - begin);
}

long long number(const std::string& info, const std::string& name) { return std::stoll(field(info, name)); }

std::string score_of(const std::string& info) {
  const std::string kind = field(info, "score");
  return "score " + kind + " " + field(info, kind);
}

void expect_info_lines(const Search& s) {
  EXPECT_FALSE(s.info.empty());
  for (const std::string& line : s.info) EXPECT_TRUE(std::regex_match(line, INFO_LINE)) << line;
}

TEST(UciSearch, MatesAreScoredWithTheWinnersMoveCount) {
  const struct {
    const char* fen;
    const char* score;
    const char* best;  // empty when several moves mate as fast
  } cases[] = {
      {"6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", "score mate 1", "a1a8"},
      {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", "score mate 2", "d5f6"},
      {"r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1", "score mate 3", "f8c5"},
      {"8/1k6/8/1K6/8/8/8/7R w - - 2 2", "score mate 4", ""},
      // The side to move loses: negative counts.
      {"7k/5K2/8/8/8/8/8/6R1 b - - 0 1", "score mate -1", "h8h7"},
      {"r1b1k2r/pppp1ppp/5q2/2b1n3/3KP3/2N3PN/PPP4P/R1BQ1B1R w kq - 1 2", "score mate -2", "d4c5"},
      {"k7/8/8/3K4/8/8/8/1R6 b - - 1 1", "score mate -3", "a8a7"},
      {"k7/8/8/1K6/8/8/8/7R b - - 1 1", "score mate -4", "a8b7"},
  };
  for (const auto& c : cases) {
    Engine engine;
    const Search s = engine.go("position fen " + std::string(c.fen) + "\ngo depth 12\n");
    expect_info_lines(s);
    EXPECT_EQ(score_of(s.info.back()), c.score) << c.fen;
    if (*c.best) {
      EXPECT_EQ(s.bestmove, c.best) << c.fen;
    }
  }
}

TEST(UciSearch, DrawsAndForcedMoves) {
  Engine engine;
  // Two rooks down, White checks on f6 and g5 for ever.
  Search s = engine.go("position fen r4r1k/5p1p/8/6Q1/8/q7/6PP/7K w - - 0 1\ngo depth 12\n");
  expect_info_lines(s);
  EXPECT_EQ(score_of(s.info.back()), "score cp 0");
  EXPECT_EQ(s.bestmove, "g5f6");
  // One legal move is still searched through every iteration.
  s = engine.go("position fen k7/8/8/8/8/8/1r6/K7 w - - 0 1\ngo depth 4\n");
  expect_info_lines(s);
  EXPECT_EQ(s.info.size(), 5u);
  EXPECT_EQ(s.bestmove, "a1b2");
}

TEST(UciSearch, NoMoveToPlayAnswersBestmove0000) {
  Engine engine("setoption name MultiPV value 3\n");
  const std::string promotion = "position fen 8/4P3/8/8/8/8/k7/4K3 w - - 0 1\n";
  for (const std::string& lines : {std::string("position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1\ngo depth 3\n"),
                                   std::string("position startpos moves f2f3 e7e5 g2g4 d8h4\ngo infinite\n"),
                                   promotion + "go depth 2 searchmoves e7e8\n", std::string("go searchmoves\n")}) {
    const Search s = engine.go(lines);
    EXPECT_TRUE(s.info.empty()) << lines;
    EXPECT_EQ(s.bestmove, "0000") << lines;
  }
  EXPECT_EQ(engine.go(promotion + "go depth 2 searchmoves e7e8n\n").bestmove, "e7e8n");
  const Search s = engine.go("position startpos\ngo depth 3 searchmoves a2a3 h2h3\n");
  ASSERT_EQ(s.info.size(), 6u);  // two lines an iteration
  for (const std::string& line : s.info)
    EXPECT_TRUE(field(line, "pv") == "a2a3" || field(line, "pv") == "h2h3") << line;
}

TEST(UciSearch, NodeAndDepthLimits) {
  Engine engine;
  Search s = engine.go("position startpos\ngo nodes 5000\n");
  EXPECT_EQ(number(s.info.back(), "nodes"), 5000);
  // 25000 is looked at every 10000 nodes.
  s = engine.go("position startpos moves e2e4\ngo nodes 25000\n");
  EXPECT_EQ(number(s.info.back(), "nodes"), 30000);
  s = engine.go("position startpos\ngo nodes 0\n");
  EXPECT_EQ(number(s.info.back(), "nodes"), 0);
  EXPECT_NE(s.bestmove, "0000");
  // One iteration line and the final one; depth 0 still searches depth 1 and shows the limit last.
  for (int depth : {1, 0}) {
    s = engine.go("position startpos\ngo depth " + std::to_string(depth) + "\n");
    expect_info_lines(s);
    ASSERT_EQ(s.info.size(), 2u);
    EXPECT_EQ(number(s.info[0], "depth"), 1);
    EXPECT_EQ(number(s.info[1], "depth"), depth);
    EXPECT_EQ(field(s.info[1], "pv"), s.bestmove);
  }
  for (const char* go : {"go movetime 100\n", "go wtime 300 btime 300\n", "go wtime 50 winc 10\n"})
    expect_info_lines(engine.go(std::string("position startpos\n") + go, 5000));
  Engine weak("setoption name Strength value 1\n");
  expect_info_lines(weak.go("position startpos\ngo movetime 300\n", 5000));
}

TEST(UciSearch, IterationsRunInOrderAndTheFinalLineRepeatsTheBest) {
  for (const char* threads : {"1", "3"}) {
    Engine engine(std::string("setoption name Threads value ") + threads + "\nucinewgame\n");
    const Search s = engine.go(
        "position fen r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3\ngo depth 7\n");
    expect_info_lines(s);
    ASSERT_EQ(s.info.size(), 8u) << threads;
    for (int d = 1; d <= 7; ++d) EXPECT_EQ(number(s.info[size_t(d - 1)], "depth"), d) << threads;
    EXPECT_EQ(number(s.info[7], "depth"), 7);
    EXPECT_EQ(s.info[7].substr(s.info[7].find(" score ")), s.info[6].substr(s.info[6].find(" score "))) << threads;
    EXPECT_EQ(field(s.info[7], "pv"), s.bestmove);
  }
}

TEST(UciSearch, MultiPVPrintsEachIterationsLinesWorstFirst) {
  Engine engine("setoption name MultiPV value 3\n");
  Search s = engine.go("position startpos\ngo depth 4\n");
  expect_info_lines(s);
  ASSERT_EQ(s.info.size(), 12u);  // no final line with several lines
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
  s = engine.go("position fen 7k/8/8/8/8/8/1r6/K7 w - - 0 1\ngo depth 2\n");
  ASSERT_EQ(s.info.size(), 3u);
  EXPECT_EQ(number(s.info[2], "depth"), 2);
}

TEST(UciSearch, StopQuitPonderhitAndIsreadyDuringASearch) {
  Engine engine("setoption name MultiPV value 4\n");
  engine.process.send("position startpos\ngo infinite\n");
  for (int i = 0; i < 20; ++i) {
    engine.process.send("isready\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  // Nothing but whole info lines and the answers to isready before the stop.
  Search s = engine.go("stop\n", 3000);
  int ready = 0;
  for (const std::string& line : s.info) {
    ready += line == "readyok";
    EXPECT_TRUE(line == "readyok" || std::regex_match(line, INFO_LINE)) << line;
  }
  EXPECT_EQ(ready, 20);

  // The depth limit ends the iterations of an infinite search, not the command.
  engine.process.send("setoption name MultiPV value 1\ngo infinite depth 2\n");
  EXPECT_EQ(engine.process.read_until("bestmove", 300).size(), 2u);
  engine.go("ponderhit\n", 2000);
  // Pondering ignores the deadlines until ponderhit; they count from the go.
  engine.process.send("position startpos moves e2e4\ngo ponder movetime 200\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  const auto sent = std::chrono::steady_clock::now();
  expect_info_lines(engine.go("ponderhit\n", 3000));
  EXPECT_LT(std::chrono::steady_clock::now() - sent, std::chrono::milliseconds(2000));

  // quit: the bestmove of the stopped search comes first.
  engine.process.send("go infinite\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  engine.process.send("quit\n");
  const Lines lines = engine.process.read_all(3000);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back().rfind("bestmove ", 0), 0u);
  EXPECT_EQ(engine.process.wait_exit(), 0);
}

TEST(UciSearch, GoRightAfterUcinewgameSearchesTheStartPosition) {
  Engine engine;
  const Search s = engine.go("position fen 7k/8/8/8/8/8/8/K5R1 w - - 0 1\nucinewgame\ngo depth 3\n");
  expect_info_lines(s);
  Engine fresh;
  EXPECT_EQ(fresh.go("position startpos\ngo depth 3\n").bestmove, s.bestmove);
}

}  // namespace
