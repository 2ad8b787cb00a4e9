// The UCI dialogue. The engine runs as a child process where exact output, exits and
// robustness are at stake; the command handlers run in-process for stored values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "board/position.h"
#include "helpers/engine_process.h"
#include "protocol/command_line.h"
#include "protocol/commands.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/thread_data.h"

namespace {

using Lines = std::vector<std::string>;

Lines uci_reply(const std::string& book_file) {
  return {"id name Tesmar 3.1",
          "id author Rostek",
          "option name Hash type spin default 256 min 1 max 1048576",
          "option name Threads type spin default 1 min 1 max 512",
          "option name Ponder type check default false",
          "option name OwnBook type check default false",
          "option name BookFile type string default " + book_file,
          "option name BookRandom type check default false",
          "option name DrawScore type spin default 0 min -100 max 100",
          "option name MoveOverhead type spin default 100 min 0 max 5000",
          "option name Strength type spin default 100 min 1 max 100",
          "option name MultiPV type spin default 1 min 1 max 256",
          "option name LargePages type check default false",
          "option name UCI_Chess960 type check default false",
          "option name SyzygyPath type string default <empty>",
          "option name Syzygy50MoveRule type check default true",
          "option name SyzygyProbeLimit type spin default 7 min 0 max 7",
          "uciok"};
}

// The bestmove of a depth-1 search after one position command on a fresh engine.
std::string bestmove_after(const std::string& position_line) {
  EngineProcess engine;
  engine.send("setoption name Hash value 1\n" + position_line + "\ngo depth 1\n");
  Lines lines = engine.read_until("bestmove");
  engine.send("quit\n");
  return lines.empty() ? "" : lines.back();
}

// The lines of one go without the search's info lines.
Lines without_search_info(Lines lines) {
  std::erase_if(lines, [](const std::string& line) { return line.rfind("info multipv ", 0) == 0; });
  return lines;
}

TEST(UciProcess, UciReplyIsExactAndShowsTheCurrentBookFile) {
  EngineProcess engine;
  engine.send("uci\n");
  EXPECT_EQ(engine.read_until("uciok"), uci_reply("tesmarbook.bin"));
  engine.send("setoption name BookFile value my books/a b.bin\nsetoption name Hash value 64\nuci\n");
  EXPECT_EQ(engine.read_until("uciok"), uci_reply("my books/a b.bin"));
  engine.send("quit\n");
  EXPECT_EQ(engine.wait_exit(), 0);
}

TEST(UciProcess, LinesMatchByTheirFirstBytesOnly) {
  EngineProcess engine;
  engine.send(" isready\nISREADY\nuci \nuci\r\ndebug on\n\nregister later\nisreadyXYZ\nstopnow\nponderhitX\nuci");
  engine.close_input();
  EXPECT_EQ(engine.read_all(), Lines{"readyok"});
  EXPECT_EQ(engine.wait_exit(), 0);
}

TEST(UciProcess, QuitAndEndOfInputExitWithZero) {
  EngineProcess quitting;
  quitting.send("quitting now\nisready\n");  // input stays open: quit alone ends the process
  EXPECT_TRUE(quitting.read_all().empty());
  EXPECT_EQ(quitting.wait_exit(), 0);

  EngineProcess ended;
  ended.send("setoption name Hash value 1\nposition startpos\nisready\n");
  ended.close_input();
  EXPECT_EQ(ended.read_all(), Lines{"readyok"});
  EXPECT_EQ(ended.wait_exit(), 0);
}

TEST(UciProcess, RefusedPositionPrintsOneInfoLineAndKeepsThePreviousOne) {
  const char* kings_only = "position fen 7k/8/8/8/8/8/8/K7 w - - 0 1";
  const std::string kept = bestmove_after(kings_only), start = bestmove_after("position startpos");
  ASSERT_NE(kept, start);
  EngineProcess engine;
  engine.send("setoption name Hash value 1\n" + std::string(kings_only) + "\n");
  const std::string refused[] = {"position fen 8/8/8/8/8/8/8/K7 w - -", "position fen",
                                 "position fen 7k/8 w - - 0 " + std::string(130, '1'),
                                 "position startpos moves e2e4 e7e5 e1e3", "position startpos moves e2e4 \x01\xff",
                                 "position startpos moves e7e5"};
  for (const std::string& line : refused) {
    engine.send(line + "\ngo depth 1\n");
    const Lines lines = without_search_info(engine.read_until("bestmove"));
    ASSERT_EQ(lines.size(), 2u) << line;
    EXPECT_EQ(lines[0].rfind("info string ", 0), 0u) << line;
    EXPECT_EQ(lines[1], kept) << line;
  }
  EXPECT_EQ(bestmove_after("position fen 8/8/8/8 w - -"), start);  // nothing earlier to keep
}

TEST(UciProcess, GoAnswersAfterUcinewgameAndInMatedPositions) {
  EngineProcess engine;
  engine.send("setoption name Hash value 1\nposition fen 7k/8/8/8/8/8/8/K7 w - -\nucinewgame\ngo depth 1\n");
  EXPECT_EQ(without_search_info(engine.read_until("bestmove")), Lines{bestmove_after("position startpos")});
  engine.send("position startpos moves f2f3 e7e5 g2g4 d8h4\ngo\n");
  EXPECT_EQ(engine.read_until("bestmove"), Lines{"bestmove 0000"});
}

TEST(UciProcess, JunkAndOverlongLinesNeverHurt) {
  EngineProcess engine;
  // 8191 bytes fill the buffer, so "isready" arrives as a line of its own.
  std::string input = "setoption name Hash value 1\n" + std::string(8191, 'a') + "isready\n";
  // The go lines carry a depth so that each search ends by itself.
  const char* starts[] = {"position fen ", "position startpos moves ", "setoption name ", "go depth 1 ", "position "};
  const char* fen = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1 moves e1g1";
  uint64_t state = 99;
  auto next = [&state] { return (state = state * 6364136223846793005ull + 1442695040888963407ull) >> 33; };
  for (int i = 0; i < 400; ++i) {
    std::string line = starts[next() % 5];
    if (i % 2) {
      line += fen;  // a valid FEN with a few bytes changed
      for (int k = 0; k < 3; ++k) line[13 + next() % (line.size() - 13)] = "/12345678kqrbnpKQRBNP- wb\0"[next() % 26];
    } else {
      for (unsigned k = next() % 60; k > 0; --k) line += char(next() % 256);  // NUL bytes included
    }
    std::replace(line.begin(), line.end(), '\n', ' ');
    input += line + "\n";
  }
  engine.send(input + "isready\n");
  engine.close_input();
  int ready = 0;
  for (const std::string& line : engine.read_all()) {
    ready += line == "readyok";
    EXPECT_TRUE(line == "readyok" || line.rfind("bestmove ", 0) == 0 || line.rfind("info string ", 0) == 0 ||
                line.rfind("info multipv ", 0) == 0)
        << line;
  }
  EXPECT_EQ(ready, 2);
  EXPECT_EQ(engine.wait_exit(), 0);
}

TEST(UciProcess, MemoryAllocationErrorEndsWithStatusOne) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the address and thread sanitizers need more address space than the limit leaves";
#endif
  EngineProcess engine({}, uint64_t(1) << 30);  // 512 thread blocks need more than this
  engine.send("setoption name Threads value 512\nucinewgame\nisready\n");
  EXPECT_EQ(engine.read_all(), Lines{"Memory allocation error"});
  EXPECT_EQ(engine.wait_exit(), 1);
}

TEST(UciProcess, LargePagesStillGiveAWorkingEngine) {
  EngineProcess engine;
  engine.send(
      "setoption name LargePages value true\nsetoption name Hash value 4\nucinewgame\nposition startpos\ngo depth 1\n");
  Lines lines = without_search_info(engine.read_until("bestmove"));
  if (!lines.empty() && lines[0] == "Allocated large pages") lines.erase(lines.begin());
  EXPECT_EQ(lines, Lines{bestmove_after("position startpos")});
  engine.send("ucinewgame\nquit\n");
  EXPECT_EQ(engine.wait_exit(), 0);
}

TEST(CommandLine, OneArgumentBeginningWithPgoSelectsTheRun) {
  const char* argv[] = {"tesmar", "pgo-run", "pgo"};
  const char* other[] = {"tesmar", "xpgo"};
  EXPECT_TRUE(pgo_run_requested(2, argv));
  EXPECT_FALSE(pgo_run_requested(3, argv));
  EXPECT_FALSE(pgo_run_requested(2, other));
}

// The handlers in this process, on a 1 MB block that each test gives back.
class Commands : public testing::Test {
 protected:
  void SetUp() override {
    set_default_options(engine_options);
    engine_options.Hash = 1;
    front_end = {};
  }
  void TearDown() override {
    release_memory(front_end.large_page_bytes);
    front_end = {};
    set_default_options(engine_options);
  }
  static void run(const std::string& line) {
    static char buffer[COMMAND_BUFFER_SIZE];
    std::memset(buffer, 'x', sizeof buffer);  // stale bytes behind the line must play no part
    std::strcpy(buffer, line.c_str());
    dispatch_command(buffer);
  }
  static ThreadData& thread0() { return search_limits.thread_blocks[0]; }
  static int history_length() { return int(thread0().current_position - thread0().position_stack); }
  // Thread 0's stack agrees, field by field, with the saved game.
  static bool stack_equals(const std::vector<Position>& game) {
    if (size_t(history_length() + 1) != game.size()) return false;
    for (size_t i = 0; i < game.size(); ++i) {
      const Position &a = game[i], &b = thread0().position_stack[i];
      if (std::memcmp(a.bb, b.bb, sizeof a.bb) || a.key != b.key || a.castling != b.castling || a.flags != b.flags ||
          a.rule50 != b.rule50)
        return false;
    }
    return true;
  }
};

TEST_F(Commands, IntegerValuesReadLikeAtoi) {
  const std::pair<const char*, int32_t> cases[] = {
      {"setoption name MultiPV value 3\n", 3},      {"setoption name MultiPV value   -12\n", -12},
      {"setoption name MultiPV value +34\n", 34},   {"setoption name MultiPV value 7x9\n", 7},
      {"setoption name MultiPV value abc\n", 0},    {"setoption name MultiPV value\n", 0},
      {"setoption name MultiPV value 5\r\n", 5},    {"setoption name MultiPV value 99999999999\n", INT32_MAX},
      {"setoption name MultiPV value -99999999999\n", INT32_MIN},
  };
  for (const auto& [line, value] : cases) {
    engine_options.MultiPV = 77;
    run(line);
    EXPECT_EQ(engine_options.MultiPV, value) << line;
  }
  run("setoption name Hash value 0\n");
  EXPECT_EQ(engine_options.Hash, 0);  // stored as given; the allocation counts it as 1
}

TEST_F(Commands, BooleansAreTrueOnlyForTheExactWord) {
  run("setoption name UCI_Chess960 value true\n");
  EXPECT_TRUE(engine_options.UCI_Chess960);
  for (const char* line : {"setoption name UCI_Chess960 value True\n", "setoption name UCI_Chess960 value true \n",
                           "setoption name UCI_Chess960 value 1\n"}) {
    engine_options.UCI_Chess960 = true;
    run(line);
    EXPECT_FALSE(engine_options.UCI_Chess960) << line;
  }
  run("setoption name Syzygy50MoveRule value false\n");
  EXPECT_FALSE(engine_options.Syzygy50MoveRule);
}

TEST_F(Commands, TextValuesAreStoredWholeAndBadLinesChangeNothing) {
  run("setoption name BookFile value my  book.bin \n");
  EXPECT_STREQ(engine_options.BookFile, "my  book.bin ");
  run("setoption name SyzygyPath value /tb/a b;/tb/c\n");
  EXPECT_STREQ(syzygy_path, "/tb/a b;/tb/c");
  run("setoption name BookFile value " + std::string(600, 'b') + "\n");
  EXPECT_EQ(std::strlen(engine_options.BookFile), 511u);
  run("setoption name BookFile value\n");
  EXPECT_STREQ(engine_options.BookFile, "");

  run("setoption name Hash\n");
  run("setoption name hash value 8\n");
  run("setoption name  \n");
  run("setoption name Nothing value 8\n");
  run("setoption  name Hash value 8\n");
  EXPECT_EQ(engine_options.Hash, 1);
  run("setoption name Hash VALUE 8\n");  // the token's text plays no part
  EXPECT_EQ(engine_options.Hash, 8);
}

TEST_F(Commands, MemoryOptionsWaitForTheNextUcinewgame) {
  run("position startpos\n");
  ASSERT_NE(search_limits.hash_table, nullptr);
  EXPECT_EQ(search_limits.hash_mask, 65535u);
  run("setoption name Hash value 2\n");
  run("setoption name Threads value 2\n");
  run("position startpos moves e2e4\n");
  EXPECT_EQ(search_limits.hash_mask, 65535u);
  EXPECT_EQ(search_limits.thread_count, 1);
  testing::internal::CaptureStdout();
  run("uci\n");
  EXPECT_NE(testing::internal::GetCapturedStdout().find("default 256 min 1"), std::string::npos);
  run("ucinewgame\n");
  EXPECT_EQ(search_limits.hash_mask, 131071u);
  EXPECT_EQ(search_limits.thread_count, 2);
  EXPECT_FALSE(front_end.position_set);
}

TEST_F(Commands, ValidPositionsGiveTheRecordsOfSetPosition) {
  engine_options.UCI_Chess960 = true;
  const char* cases[][2] = {
      {"position startpos moves e2e4 c7c5 g1f3 d7d6 f1b5 c8d7 e1h1\n", START_FEN},
      {"position fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1 moves a2a4 b4a3 e1a1 e8h8\n",
       "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1"},
      {"position fen 4k3/1P6/8/8/8/8/8/4K3 w - - 5 40\n", "4k3/1P6/8/8/8/8/8/4K3 w - - 5 40\n"},
  };
  for (const auto& c : cases) {
    run(c[0]);
    const char* moves = std::strstr(c[0], "moves");
    std::vector<Position> got(thread0().position_stack, thread0().current_position + 1);
    const Move last = search_limits.game_last_move, second_last = search_limits.game_second_last_move;
    char list[256] = "";
    if (moves) std::strcpy(list, moves + 6);
    const int full_moves = set_position(thread0(), c[1], moves ? list : nullptr);
    EXPECT_EQ(front_end.moves_played, full_moves) << c[0];
    EXPECT_TRUE(stack_equals(got)) << c[0];
    EXPECT_EQ(last, search_limits.game_last_move);
    EXPECT_EQ(second_last, search_limits.game_second_last_move);
  }
}

TEST_F(Commands, RefusalRestoresTheWholeGame) {
  run("position startpos moves g1f3 g8f6 f3g1\n");
  std::vector<Position> before(thread0().position_stack, thread0().current_position + 1);
  const Move last = search_limits.game_last_move;
  testing::internal::CaptureStdout();
  run("position startpos moves e2e4 e7e5 d1h5 e8e7 h5e5 e7e6\n");  // the king steps next to the queen
  run("position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1 moves e2e4 e2e4\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "info string illegal move e7e6\ninfo string illegal move e2e4\n");
  EXPECT_TRUE(stack_equals(before));
  EXPECT_EQ(search_limits.game_last_move, last);
  EXPECT_EQ(front_end.moves_played, 1);
}

TEST_F(Commands, LongGamesStayOnTheStack) {
  std::string shuffle = "position startpos moves";
  for (int i = 0; i < 250; ++i) shuffle += " g1f3 g8f6 f3g1 f6g8";  // 1000 reversible plies
  run(shuffle + "\n");
  EXPECT_LT(history_length(), 256);  // rule50 wraps in eight bits and folds the stack down
  Position start;
  read_fen(start, START_FEN);
  EXPECT_EQ(thread0().current_position->key, start.key);
  EXPECT_EQ(front_end.moves_played, 500);
}

}  // namespace
