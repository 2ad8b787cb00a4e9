// The UCI dialogue. The engine runs as a child process where exact output, exits and
// robustness are at stake; the command handlers run in-process for stored values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "board/position.h"
#include "helpers/engine_process.h"
#include "protocol/commands.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/thread_data.h"

namespace {

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

int count_prefix(const Lines& lines, const std::string& prefix) {
  return int(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(prefix, 0) == 0; }));
}

TEST(UciProcess, UciReplyIsExactAndQuitEndsTheEngine) {
  EngineProcess engine;
  engine.send("uci\n");
  EXPECT_EQ(engine.read_until("uciok"), uci_reply("tesmarbook.bin"));
  // The defaults stay as they are; only the book file shows its new value.
  engine.send("setoption name Hash value 1\nposition startpos\nsetoption name BookFile value my books/a b.bin\n"
              "setoption name Hash value 64\nuci\n");
  EXPECT_EQ(engine.read_until("uciok"), uci_reply("my books/a b.bin"));
  engine.send("quitting now\nisready\n");  // input stays open: quit alone ends the process
  EXPECT_TRUE(engine.read_all().empty());
  EXPECT_EQ(engine.wait_exit(), 0);
}

TEST(UciProcess, LinesMatchByTheirFirstBytesAndJunkNeverHurts) {
  EngineProcess engine;
  // Of these only "isreadyXYZ" answers; "uci" needs its newline, and the last line has none.
  std::string input = " isready\nISREADY\nuci \nuci\r\ndebug on\n\nregister later\nisreadyXYZ\nstopnow\nponderhitX\n";
  // 8191 bytes fill the buffer, so "isready" arrives as a line of its own.
  input += "setoption name Hash value 1\n" + std::string(8191, 'a') + "isready\n";
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
  engine.send(input + "isready\nuci");
  engine.close_input();
  const Lines lines = engine.read_all();
  EXPECT_EQ(count_prefix(lines, "readyok"), 3);
  EXPECT_EQ(count_prefix(lines, "readyok") + count_prefix(lines, "bestmove ") + count_prefix(lines, "info string ") +
                count_prefix(lines, "info multipv "),
            int(lines.size()));
  EXPECT_EQ(engine.wait_exit(), 0);  // the end of input ends the engine
}

TEST(UciProcess, RefusedPositionPrintsOneInfoLineAndKeepsThePreviousOne) {
  EngineProcess engine;
  // With nothing earlier to keep, the start position stands; a block of large pages,
  // granted or refused, searches it the same way.
  SearchOutput s = engine.go("setoption name Hash value 4\nposition fen 8/8/8/8 w - -\ngo depth 1\n");
  EXPECT_EQ(count_prefix(s.info, "info string "), 1);
  const SearchOutput large =
      engine.go("setoption name LargePages value true\nucinewgame\nposition startpos\ngo depth 1\n");
  EXPECT_EQ(large.bestmove, s.bestmove);
  EXPECT_EQ(count_prefix(large.info, "info multipv ") + count_prefix(large.info, "Allocated large pages"),
            int(large.info.size()));
  const std::string kept = engine.go("position fen 7k/8/8/8/8/8/8/K7 w - - 0 1\ngo depth 1\n").bestmove;
  ASSERT_EQ(kept.substr(0, 2), "a1");
  for (const std::string& line : {std::string("position fen 8/8/8/8/8/8/8/K7 w - -"), std::string("position fen"),
                                  "position fen 7k/8 w - - 0 " + std::string(130, '1'),
                                  std::string("position startpos moves e2e4 e7e5 e1e3"),
                                  std::string("position startpos moves e2e4 \x01\xff"),
                                  std::string("position startpos moves e7e5")}) {
    s = engine.go(line + "\ngo depth 1\n");
    EXPECT_EQ(count_prefix(s.info, "info string "), 1) << line;
    EXPECT_EQ(s.bestmove, kept) << line;
  }
  engine.send("ucinewgame\nquit\n");
  EXPECT_EQ(engine.wait_exit(), 0);
}

TEST(UciProcess, ShortMemoryShrinksTheTableAndNoRoomForTheThreadsEndsWithStatusOne) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the address and thread sanitizers need more address space than the limit leaves";
#endif
  EngineProcess engine({}, uint64_t(3) << 27);
  engine.send("setoption name Hash value 4096\nucinewgame\nisready\n");
  EXPECT_EQ(engine.read_line(), "readyok");
  engine.send("setoption name Threads value 512\nucinewgame\nisready\n");  // 512 thread blocks need more
  EXPECT_EQ(engine.read_all(), Lines{"Memory allocation error"});
  EXPECT_EQ(engine.wait_exit(), 1);
}

// The fixed search is the engine's signature: a change that alters the search updates
// tests/pgo_nodes.txt on purpose. bench runs the same search for engine-testing tools.
TEST(UciProcess, FixedRunsSearchTheRecordedNodeCount) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the count is the release build's to keep: under a sanitizer these two searches take minutes";
#endif
  std::ifstream recorded(TESMAR_TESTS_DIR "/pgo_nodes.txt");
  long long nodes = 0;
  ASSERT_TRUE(recorded >> nodes);
  EngineProcess pgo({"pgo"});
  EXPECT_EQ(pgo.read_until("Total nodes searched: ").back(),
            "Total nodes searched: " + std::to_string(nodes));
  EXPECT_EQ(pgo.wait_exit(), 0);
  EngineProcess bench({"bench"});
  const Lines out = bench.read_all();
  ASSERT_GE(out.size(), 2u);
  EXPECT_EQ(out[out.size() - 2], "Nodes searched: " + std::to_string(nodes));
  EXPECT_TRUE(std::regex_match(out.back(), std::regex("Nodes/second: [1-9][0-9]*"))) << out.back();
  EXPECT_EQ(bench.wait_exit(), 0);
}

// The handlers in this process, on a 1 MB block that each test gives back.
class Commands : public testing::Test {
 protected:
  void SetUp() override {
    engine_options.Hash = 1;
    front_end = {};
  }
  void TearDown() override { release_memory(front_end.large_page_bytes); }
  static void run(const std::string& line) {
    static char buffer[COMMAND_BUFFER_SIZE];
    std::memset(buffer, 'x', sizeof buffer);  // stale bytes behind the line must play no part
    std::strcpy(buffer, line.c_str());
    dispatch_command(buffer);
  }
  static ThreadData& thread0() { return search_limits.thread_blocks[0]; }
  // Thread 0's stack holds the game: the same keys, which cover the board, flags and rule50 counts.
  static bool game_is(const std::vector<Position>& game) {
    return thread0().current_position + 1 - thread0().position_stack == long(game.size()) &&
           std::equal(game.begin(), game.end(), thread0().position_stack, [](const Position& a, const Position& b) {
             return a.key == b.key && a.rule50 == b.rule50 && a.flags == b.flags;
           });
  }
};

TEST_F(Commands, OptionValuesAreStoredAsTheyCome) {
  // Integers read like atoi and clamp to 32 bits.
  const std::pair<const char*, int32_t> numbers[] = {
      {" 3", 3}, {"   -12", -12}, {" +34", 34}, {" 7x9", 7}, {" abc", 0}, {"", 0}, {" 5\r", 5},
      {" 99999999999", INT32_MAX}, {" -99999999999", INT32_MIN}};
  for (const auto& [value, expected] : numbers) {
    engine_options.MultiPV = 77;
    run(std::string("setoption name MultiPV value") + value + "\n");
    EXPECT_EQ(engine_options.MultiPV, expected) << value;
  }
  // A boolean is true only for the exact word.
  for (const auto& [value, expected] : {std::pair{"true", true}, {"True", false}, {"true ", false}, {"1", false}}) {
    engine_options.UCI_Chess960 = !expected;
    run(std::string("setoption name UCI_Chess960 value ") + value + "\n");
    EXPECT_EQ(engine_options.UCI_Chess960, expected) << value;
  }
  // Text is kept whole, blanks included, up to the room there is.
  run("setoption name BookFile value my  book.bin \n");
  EXPECT_STREQ(engine_options.BookFile, "my  book.bin ");
  run("setoption name SyzygyPath value /tb/a b;/tb/c\n");
  EXPECT_STREQ(syzygy_path, "/tb/a b;/tb/c");
  run("setoption name BookFile value " + std::string(600, 'b') + "\n");
  EXPECT_EQ(std::strlen(engine_options.BookFile), 511u);
  run("setoption name BookFile value\n");
  EXPECT_STREQ(engine_options.BookFile, "");
  // Lines that don't name an option change nothing; the value token's own text plays no part.
  for (const char* line : {"setoption name Hash\n", "setoption name hash value 8\n", "setoption name  \n",
                           "setoption name Nothing value 8\n", "setoption  name Hash value 8\n"})
    run(line);
  EXPECT_EQ(engine_options.Hash, 1);
  run("setoption name Hash VALUE 8\n");
  EXPECT_EQ(engine_options.Hash, 8);
}

TEST_F(Commands, PositionsRefusalsAndMemoryOptionsThatWaitForUcinewgame) {
  engine_options.UCI_Chess960 = true;  // e1a1 castles
  run("position startpos\n");         // makes a 1 MB block for one thread
  run("setoption name Hash value 2\n");
  run("setoption name Threads value 2\n");
  // A position command plays its moves as set_position does, in the block there is.
  const char* kiwipete = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";
  char list[] = "a2a4 b4a3 e1a1 e8h8";
  const int full_moves = set_position(thread0(), kiwipete, list);
  const std::vector<Position> played(thread0().position_stack, thread0().current_position + 1);
  run(std::string("position fen ") + kiwipete + " moves a2a4 b4a3 e1a1 e8h8\n");
  EXPECT_TRUE(game_is(played));
  EXPECT_EQ(front_end.moves_played, full_moves);
  EXPECT_EQ(search_limits.hash_mask, 65535u);
  EXPECT_EQ(search_limits.thread_count, 1);
  // A refusal says why and leaves the whole game as it was.
  const Move last = search_limits.game_last_move, second_last = search_limits.game_second_last_move;
  testing::internal::CaptureStdout();
  run("position startpos moves e2e4 e7e5 d1h5 e8e7 h5e5 e7e6\n");  // the king steps next to the queen
  run("position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1 moves e2e4 e2e4\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "info string illegal move e7e6\ninfo string illegal move e2e4\n");
  EXPECT_TRUE(game_is(played));
  EXPECT_EQ(search_limits.game_last_move, last);
  EXPECT_EQ(search_limits.game_second_last_move, second_last);
  EXPECT_EQ(front_end.moves_played, full_moves);

  // 1000 reversible plies: rule50 wraps in eight bits and folds the stack down.
  std::string shuffle = "position startpos moves";
  for (int i = 0; i < 250; ++i) shuffle += " g1f3 g8f6 f3g1 f6g8";
  run(shuffle + "\n");
  EXPECT_LT(thread0().current_position - thread0().position_stack, 256);
  Position start;
  read_fen(start, START_FEN);
  EXPECT_EQ(thread0().current_position->key, start.key);
  EXPECT_EQ(front_end.moves_played, 500);
  run("ucinewgame\n");
  EXPECT_EQ(search_limits.hash_mask, 131071u);
  EXPECT_EQ(search_limits.thread_count, 2);
  EXPECT_FALSE(front_end.position_set);
}

// Chess960 starts with their rights written as rook files and as KQkq (X-FEN) give the same
// game, castling moves in the list included. Standard chess keeps no right of theirs.
TEST_F(Commands, Chess960RightsReadTheSameAsFileLettersAndAsKQkq) {
  std::ifstream starts(TESMAR_SHARED_DIR "/openings/chess960_starts.epd");
  if (!starts) GTEST_SKIP() << TESMAR_SHARED_DIR "/openings/chess960_starts.epd is absent";
  int count = 0;
  for (std::string line; std::getline(starts, line) && !line.empty(); ++count) {
    std::istringstream fields(line);
    std::string board, side, rights;
    fields >> board >> side >> rights;
    engine_options.UCI_Chess960 = true;
    run("position fen " + line + "\n");
    const Position as_files = *thread0().current_position;
    run("position fen " + board + " w KQkq - 0 1\n");
    EXPECT_EQ(thread0().current_position->key, as_files.key) << line;
    EXPECT_EQ(thread0().current_position->castling, as_files.castling) << line;
    EXPECT_EQ(as_files.castling & 0x8888, 0) << line;

    // The back ranks with the king and one rook each, so that both sides castle at once:
    // White with one rook, Black on the other wing. The king's move names its rook.
    const std::string rank = board.substr(board.size() - 8);  // White's; Black's mirrors it
    const int king = int(rank.find('K')), rooks[2] = {int(rank.find('R')), int(rank.rfind('R'))};
    const auto square = [](int file, char rank_digit) { return std::string{char('a' + file), rank_digit}; };
    for (int wing = 0; wing < 2; ++wing) {
      std::string white(8, '1'), black(8, '1');
      white[size_t(king)] = 'K';
      white[size_t(rooks[wing])] = 'R';
      black[size_t(king)] = 'k';
      black[size_t(rooks[1 - wing])] = 'r';
      const std::string fen = black + "/pppppppp/8/8/8/8/PPPPPPPP/" + white + " w ";
      const std::string moves = " - 0 1 moves " + square(king, '1') + square(rooks[wing], '1') + " " +
                                square(king, '8') + square(rooks[1 - wing], '8') + "\n";
      testing::internal::CaptureStdout();
      run("position fen " + fen + "KQkq" + moves);
      const uint64_t x_fen_key = thread0().current_position->key;
      run("position fen " + fen + rights + moves);
      EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << line << moves;
      const Position& pos = *thread0().current_position;
      EXPECT_EQ(pos.key, x_fen_key) << line << moves;
      // White is to move again: its pieces are own, and every square is the true one.
      const bool white_king_side = rooks[wing] > king, black_king_side = rooks[1 - wing] > king;
      EXPECT_EQ(pos.bb[KING] & pos.bb[OWN], bit(white_king_side ? 6 : 2)) << line << moves;
      EXPECT_EQ(pos.bb[ROOK] & pos.bb[OWN], bit(white_king_side ? 5 : 3)) << line << moves;
      EXPECT_EQ(pos.bb[KING] & enemy_pieces(pos), bit(black_king_side ? 62 : 58)) << line << moves;
      EXPECT_EQ(pos.bb[ROOK] & enemy_pieces(pos), bit(black_king_side ? 61 : 59)) << line << moves;
    }
    // Standard chess: KQkq are the h- and a-file rooks beside a king on e1 and e8.
    engine_options.UCI_Chess960 = false;
    run("position fen " + board + " w KQkq - 0 1\n");
    const int king_side = king == 4 && rooks[1] == 7 ? 7 : 8;
    const int queen_side = king == 4 && rooks[0] == 0 ? 0 : 8;
    EXPECT_EQ(thread0().current_position->castling, (king_side | queen_side << 4) * 0x101) << line;
  }
  EXPECT_EQ(count, 960);
}

}  // namespace
