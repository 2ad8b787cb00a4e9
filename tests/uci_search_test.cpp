// The go command: its tokens read into working values and the time budget that follows, in
// this process; whole searches through the engine process: info lines, limits, MultiPV and
// searchmoves, stopping and pondering, and node counts that repeat after ucinewgame.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "helpers/engine_process.h"
#include "protocol/engine_options.h"
#include "protocol/go_command.h"
#include "protocol/time_budget.h"

namespace {

constexpr int64_t NO_TIME = 1000000000000;
constexpr int64_t NO_LIMIT = INT64_MAX;

GoRequest parse(const std::string& line, bool white_to_move = true) {
  static char buffer[8192];
  std::strcpy(buffer, line.c_str());
  GoRequest request;
  parse_go_tokens(buffer, white_to_move, request);
  return request;
}

// The working values of a request: time left, increment, moves to go, depth and node limits.
std::tuple<int64_t, int64_t, int32_t, int32_t, int64_t> values(const GoRequest& r) {
  return {r.time_left, r.time_increment, r.moves_to_go, r.depth_limit, r.node_limit};
}

TEST(GoTokens, ValuesLimitsAndTheSideToMove) {
  EXPECT_EQ(parse("depth 200").depth_limit, 127);
  EXPECT_EQ(parse("depth -3").depth_limit, -3);
  EXPECT_EQ(parse("nodesx 12 ponderous").node_limit, 12);  // longer tokens match their word
  EXPECT_EQ(parse("ponder infinite").ponder_mode, 2);
  const std::string clock = "wtime 1000 btime 2000 winc 10 binc 20 movestogo 7";
  EXPECT_EQ(values(parse(clock, true)), values(parse("wtime 1000 winc 10 movestogo 7")));
  EXPECT_EQ(values(parse(clock, false)), values(parse("wtime 2000 winc 20 movestogo 7")));
  EXPECT_EQ(parse("wtime 1000 winc 5", false).time_left, NO_TIME);
  // movetime and the clock overwrite each other in line order.
  EXPECT_EQ(values(parse("wtime 60000 winc 500 movestogo 30 movetime 1000")), values(parse("movetime 1000")));
  EXPECT_EQ(values(parse("movetime 1000")), std::tuple(int64_t(1000), int64_t(1000), 1, 127, INT64_MAX));
  EXPECT_EQ(values(parse("movetime 1000 wtime 60000")), std::tuple(int64_t(60000), int64_t(1000), 1, 127, INT64_MAX));
  // The value of a word that does not apply is consumed all the same.
  EXPECT_FALSE(parse("btime searchmoves e2e4", true).search_moves_given);
  // A value word at the end of the line has no value and changes nothing.
  for (const char* word : {"wtime", "winc", "movestogo", "depth", "nodes", "movetime"})
    EXPECT_EQ(values(parse(std::string("depth 5 ") + word)), values(parse("depth 5"))) << word;
  // Tokens that look like moves are collected whole, from anywhere on the line.
  const GoRequest r = parse("e2e4 depth 3 searchmoves e7e8q a1h8xyz i2i4");
  EXPECT_TRUE(r.search_moves_given);
  EXPECT_EQ(std::vector<std::string>(r.search_moves, r.search_moves + r.search_move_count),
            (std::vector<std::string>{"e2e4", "e7e8q", "a1h8xyz"}));
}

TEST(TimeBudget, ReproducesTheTableOfResults) {
  const struct {
    TimeControl control;
    bool ponder;
    int32_t overhead, strength, root_moves;
    int64_t budget, soft, hard, check_interval;
  } cases[] = {
      {{60000, 1000, NO_LIMIT, 0, 0}, false, 100, 100, 20, 3400, 1487, 6800, 10000},
      {{60000, 1000, NO_LIMIT, 0, 80}, false, 100, 100, 20, 7000, 3062, 14000, 10000},
      {{60000, 0, NO_LIMIT, 0, 0}, false, 100, 100, 20, 2000, 875, 4000, 10000},
      {{60000, 0, NO_LIMIT, 0, 70}, false, 100, 100, 20, 4000, 1750, 8000, 10000},
      {{300000, 0, NO_LIMIT, 40, 30}, false, 100, 100, 20, 13636, 5965, 27272, 10000},
      {{1000, 1000, NO_LIMIT, 1, 75}, false, 100, 100, 20, 450, 196, 900, 4510},  // movetime 1000
      {{NO_TIME, 0, NO_LIMIT, 0, 0}, false, 100, 100, 20, 33333333333, 14583333333, 66666666666, 10000},
      {{100, 0, NO_LIMIT, 0, 0}, false, 100, 100, 20, 0, 0, 0, 10},
      // Ponder adds a tenth before the cap; a single root move keeps a tenth after it.
      {{60000, 0, NO_LIMIT, 0, 0}, true, 100, 100, 20, 2200, 962, 4400, 10000},
      {{1000, 1000, NO_LIMIT, 1, 0}, true, 100, 100, 20, 450, 196, 900, 4510},
      {{60000, 0, NO_LIMIT, 0, 0}, false, 100, 100, 1, 200, 87, 400, 2010},
      // The cap never goes below zero.
      {{1000, 1000, NO_LIMIT, 1, 0}, false, 5000, 100, 20, 0, 0, 0, 10},
      // The node limit bounds the interval; a weaker engine looks at the clock at every node.
      {{NO_TIME, 0, 5000, 0, 0}, false, 100, 100, 20, 33333333333, 14583333333, 66666666666, 5000},
      {{NO_TIME, 0, 25000, 0, 0}, false, 100, 100, 20, 33333333333, 14583333333, 66666666666, 10000},
      {{NO_TIME, 0, NO_LIMIT, 0, 0}, false, 100, 99, 20, 33333333333, 14583333333, 66666666666, 1},
  };
  EngineOptions options;
  set_default_options(options);
  for (const auto& c : cases) {
    options.Ponder = c.ponder;
    options.MoveOverhead = c.overhead;
    options.Strength = c.strength;
    const TimeBudget b = compute_time_budget(c.control, options, c.root_moves, 5000);
    const int64_t row = &c - cases;
    EXPECT_EQ(b.budget, c.budget) << row;
    EXPECT_EQ(b.soft_deadline, 5000 + c.soft) << row;
    EXPECT_EQ(b.hard_deadline, 5000 + c.hard) << row;
    EXPECT_EQ(b.check_interval, c.check_interval) << row;
  }
  // A clock already negative checks at every node.
  options.Strength = 100;
  const TimeBudget late = compute_time_budget({-500, 0, NO_LIMIT, 0, 0}, options, 20, 1000);
  EXPECT_LE(late.check_interval, 0);
  EXPECT_LE(late.hard_deadline, 1000);
}

TEST(TimeBudget, ClocksAtTheirExtremesNeitherOverflowNorDivideByZero) {
  // A clock that gives time must not overflow into a move at once; one that gives none has its
  // deadline already passed. Moves to go below zero count as none; a node limit below zero
  // checks at every node.
  const struct {
    TimeControl control;
    bool gives_time;
  } cases[] = {
      {{INT64_MAX, 0, NO_LIMIT, 0, 0}, true},
      {{INT64_MAX, INT64_MAX, NO_LIMIT, 0, 0}, true},
      {{INT64_MAX, INT64_MAX, NO_LIMIT, 1, 0}, true},  // movetime at the limit
      {{INT64_MAX, 0, NO_LIMIT, INT32_MAX, 0}, true},
      {{60000, 0, NO_LIMIT, -4, 0}, true},
      {{60000, 0, NO_LIMIT, INT32_MIN, 0}, true},
      {{INT64_MIN, 0, NO_LIMIT, 0, 0}, false},
      {{INT64_MIN, INT64_MIN, NO_LIMIT, -5, 0}, false},
      {{INT64_MIN, INT64_MAX, NO_LIMIT, 1, 0}, false},
      {{60000, 0, INT64_MIN, 0, 0}, true},
  };
  EngineOptions options;
  set_default_options(options);
  for (const bool ponder : {false, true}) {
    options.Ponder = ponder;
    for (const auto& c : cases) {
      const TimeBudget b = compute_time_budget(c.control, options, 20, 5000);
      const int64_t row = &c - cases;
      EXPECT_GE(b.check_interval, 0) << row;
      if (c.gives_time) {
        EXPECT_GE(b.budget, 2000) << row;
        EXPECT_LT(5000, b.soft_deadline) << row;
        EXPECT_LT(b.soft_deadline, b.hard_deadline) << row;
      } else {
        EXPECT_LE(b.hard_deadline, 5000) << row;
      }
    }
  }
  EXPECT_EQ(compute_time_budget({60000, 0, NO_LIMIT, -4, 0}, options, 20, 0).budget,
            compute_time_budget({60000, 0, NO_LIMIT, 0, 0}, options, 20, 0).budget);
}

// Exactly the fields of an info line, in order, with at least one move in the line.
const std::regex INFO_LINE(
    "info multipv [0-9]+ depth -?[0-9]+ time [0-9]+ nodes [0-9]+ nps [0-9]+ tbhits [0-9]+ "
    "score (cp|mate) -?[0-9]+ pv ([a-h][1-8][a-h][1-8][qrbn]? )+");

// A fresh engine with a small table, set up by the given commands; it ends with its input.
struct Engine : EngineProcess {
  explicit Engine(const std::string& setup = "") { send("setoption name Hash value 16\n" + setup); }
};

// The lines of a search that ended with a move; every one of them a well-formed info line.
const SearchOutput& checked(const SearchOutput& s) {
  EXPECT_FALSE(s.info.empty());
  EXPECT_FALSE(s.bestmove.empty() || s.bestmove == "0000");
  for (const std::string& line : s.info) EXPECT_TRUE(std::regex_match(line, INFO_LINE)) << line;
  return s;
}

TEST(UciSearch, LimitsDrawsAndForcedMoves) {
  Engine engine;
  EXPECT_EQ(info_number(checked(engine.go("position startpos\ngo nodes 5000\n")).info.back(), "nodes"), 5000);
  // 25000 is looked at every 10000 nodes.
  EXPECT_EQ(info_number(engine.go("position startpos moves e2e4\ngo nodes 25000\n").info.back(), "nodes"), 30000);
  EXPECT_EQ(info_number(checked(engine.go("position startpos\ngo nodes 0\n")).info.back(), "nodes"), 0);
  // One iteration line and the final one; depth 0 still searches depth 1 and shows the limit last.
  for (int depth : {1, 0}) {
    const SearchOutput s = checked(engine.go("position startpos\ngo depth " + std::to_string(depth) + "\n"));
    ASSERT_EQ(s.info.size(), 2u);
    EXPECT_EQ(info_number(s.info[0], "depth"), 1);
    EXPECT_EQ(info_number(s.info[1], "depth"), depth);
    EXPECT_EQ(info_field(s.info[1], "pv"), s.bestmove);
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
  EXPECT_EQ(info_field(s.info.back(), "pv") + " ", s.info.back().substr(s.info.back().find(" pv ") + 4));
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
    for (int d = 1; d <= 7; ++d) EXPECT_EQ(info_number(s.info[size_t(d - 1)], "depth"), d) << threads;
    const std::string &last_iteration = s.info[6], &final_line = s.info[7];
    EXPECT_EQ(info_number(final_line, "depth"), 7);
    EXPECT_EQ(info_field(final_line, "pv"), s.bestmove);
    if (threads == 1) {
      EXPECT_EQ(final_line.substr(final_line.find(" score ")), last_iteration.substr(last_iteration.find(" score ")));
    } else {
      // The final line is the best thread's, which need not have printed the last iteration:
      // a thread still inside depth 7 may stand higher. Only the sums over the threads grow.
      EXPECT_GE(info_number(final_line, "nodes"), info_number(last_iteration, "nodes"));
    }
  }
}

TEST(UciSearch, UcinewgameGivesTheStartPositionAndTheSameSearchAgain) {
  Engine engine;
  const SearchOutput first = checked(engine.go("position fen 7k/8/8/8/8/8/8/K5R1 w - -\nucinewgame\ngo depth 10\n"));
  const SearchOutput again = checked(engine.go("ucinewgame\nposition startpos\ngo depth 10\n"));
  EXPECT_GT(info_number(first.info.back(), "nodes"), 10000);
  EXPECT_EQ(info_field(first.info.back(), "nodes"), info_field(again.info.back(), "nodes"));
  EXPECT_EQ(first.info.back().substr(first.info.back().find(" tbhits")),
            again.info.back().substr(again.info.back().find(" tbhits")));
}

TEST(UciSearch, MultiPVAndSearchmoves) {
  Engine engine("setoption name MultiPV value 3\n");
  SearchOutput s = checked(engine.go("position startpos\ngo depth 4\n"));
  ASSERT_EQ(s.info.size(), 12u);  // each iteration worst line first; no final line with several lines
  for (size_t i = 0; i < s.info.size(); ++i) {
    const std::string& line = s.info[i];
    EXPECT_EQ(info_number(line, "multipv"), 3 - long(i % 3));
    EXPECT_EQ(info_number(line, "depth"), long(i / 3) + 1);
    if (i % 3 == 0) continue;
    const std::string& worse = s.info[i - 1];
    EXPECT_EQ(info_field(line, "nodes"), info_field(worse, "nodes"));
    EXPECT_GE(info_number(line, "cp"), info_number(worse, "cp"));
    EXPECT_NE(info_field(line, "pv"), info_field(worse, "pv"));
  }
  EXPECT_EQ(info_field(s.info.back(), "pv"), s.bestmove);
  // One legal move: one line, and then the final line too.
  s = checked(engine.go("position fen 7k/8/8/8/8/8/1r6/K7 w - - 0 1\ngo depth 2\n"));
  ASSERT_EQ(s.info.size(), 3u);
  EXPECT_EQ(info_number(s.info[2], "depth"), 2);
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
    EXPECT_TRUE(info_field(line, "pv") == "a2a3" || info_field(line, "pv") == "h2h3") << line;
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
  for (const std::string d : {"1", "2"}) EXPECT_EQ(info_field(engine.read_line().value_or(""), "depth"), d);
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
