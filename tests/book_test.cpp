// The Polyglot book: keys against the published vectors, moves from small books written here
// (ties, weights of 0, Black, castling, promotions, damaged files, an oversized position),
// the hook in go through the engine process, the public-domain book, polyglot make-book.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "board/move_text.h"
#include "book/book_move.h"
#include "book/polyglot_key.h"
#include "helpers/board_fixtures.h"
#include "helpers/engine_process.h"
#include "helpers/scratch_files.h"

namespace {

namespace fs = std::filesystem;

struct Entry {
  uint64_t key;
  BookMove move;
  uint16_t weight;
};

uint64_t key_after(const char* moves, const char* fen = START_FEN) {
  return polyglot_key(*thread_at(fen, moves)->current_position);
}

// "e1h1", "a7a8q": squares from White's side, promotion code 1 knight .. 4 queen.
BookMove book_move(const char* text) {
  const int from = (text[1] - '1') * 8 + (text[0] - 'a'), to = (text[3] - '1') * 8 + (text[2] - 'a');
  const char* PROMOTIONS = "nbrq";
  const char* promotion = text[4] ? std::strchr(PROMOTIONS, text[4]) : nullptr;
  return BookMove(to | from << 6 | int(promotion ? promotion - PROMOTIONS + 1 : 0) << 12);
}

// Sorted by key, entries of one key in the order given. Unless told otherwise every key gets
// neighbours one below and one above, so that a search that stops a step off finds the wrong
// moves. cut_bytes tears the last entry.
std::string write_book(const std::string& path, std::vector<Entry> entries, size_t cut_bytes = 0,
                       bool neighbours = true) {
  const size_t real = neighbours ? entries.size() : 0;
  for (size_t i = 0; i < real; ++i) {
    entries.push_back({entries[i].key - 1, book_move("a1a2"), 999});
    entries.push_back({entries[i].key + 1, book_move("a1a3"), 999});
  }
  std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.key < b.key; });
  std::string bytes;
  for (const Entry& e : entries) {
    for (int shift = 56; shift >= 0; shift -= 8) bytes += char(e.key >> shift);
    bytes += {char(e.move >> 8), char(e.move), char(e.weight >> 8), char(e.weight), 0, 0, 0, 0};
  }
  bytes.resize(bytes.size() - std::min(cut_bytes, bytes.size()));
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

// The engine's text of the book's move, empty when there is none.
std::string looked_up(const std::string& book, const char* fen, const char* moves, bool random = false) {
  const auto thread = thread_at(fen, moves);
  const Move m = lookup_book_move(book.c_str(), *thread->current_position, random);
  char text[8] = "";
  if (m) move_text(*thread->current_position, m, text);
  return text;
}

TEST(Book, KeysAreThePublishedOnes) {
  const struct {
    const char* moves;
    uint64_t key;
  } CASES[] = {
      {"", 0x463B96181691FC9Cull},
      {"e2e4", 0x823C9B50FD114196ull},
      {"e2e4 d7d5", 0x0756B94461C50FB0ull},
      {"e2e4 d7d5 e4e5", 0x662FAFB965DB29D4ull},
      {"e2e4 d7d5 e4e5 f7f5", 0x22A48B5A8E47FF78ull},
      {"e2e4 d7d5 e4e5 f7f5 e1e2", 0x652A607CA3F242C1ull},
      {"e2e4 d7d5 e4e5 f7f5 e1e2 e8f7", 0x00FDD303C946BDD9ull},
      {"a2a4 b7b5 h2h4 b5b4 c2c4", 0x3C8123EA7B067637ull},
      {"a2a4 b7b5 h2h4 b5b4 c2c4 b4c3 a1a3", 0x5C3F9B829B279560ull},
  };
  for (const auto& c : CASES) EXPECT_EQ(key_after(c.moves), c.key) << c.moves;
}

TEST(Book, MovesFromSmallBooks) {
  const char* CASTLING = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
  const char* KING_B1 = "rk5r/8/8/8/8/8/8/RK5R w KQkq - 0 1";
  const struct {
    const char* fen;
    const char* moves;
    std::vector<std::pair<const char*, uint16_t>> entries;
    bool chess960;
    const char* expected;
  } CASES[] = {
      {START_FEN, "", {{"d2d4", 100}, {"e2e4", 100}}, false, "d2d4"},  // ties go to the first in the file
      {START_FEN, "", {{"d2d4", 0}, {"e2e4", 0}}, false, ""},          // nothing above 0: no move
      {START_FEN, "", {{"d2d4", 0}, {"e2e4", 3}, {"c2c4", 3}}, false, "e2e4"},
      {START_FEN, "e2e4", {{"e7e5", 7}}, false, "e7e5"},  // Black: mirrored in and out
      {CASTLING, "", {{"e1h1", 1}}, false, "e1g1"},
      {CASTLING, "a2a3", {{"e8h8", 1}}, false, "e8g8"},  // Black's short castling, rights read mirrored
      {CASTLING, "a2a3", {{"e8h8", 1}}, true, "e8h8"},
      {CASTLING, "a2a3", {{"e8a8", 1}}, false, "e8c8"},
      {CASTLING, "h1g1 h8g8 g1h1 g8h8", {{"e1h1", 1}}, false, "e1h1"},  // the right is gone: a king move
      {KING_B1, "", {{"b1a1", 1}}, false, "b1c1"},                     // Chess960: the rook's file decides
      {KING_B1, "", {{"b1a1", 1}}, true, "b1a1"},
      {KING_B1, "", {{"b1h1", 1}}, false, "b1g1"},
      {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "", {{"a7a8q", 1}}, false, "a7a8q"},
      {"4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "", {{"a2a1n", 1}}, false, "a2a1n"},
  };
  TempDir dir;
  for (const auto& c : CASES) {
    const Chess960Option chess960(c.chess960);
    const uint64_t key = key_after(c.moves, c.fen);
    std::vector<Entry> entries;
    for (const auto& [move, weight] : c.entries) entries.push_back({key, book_move(move), weight});
    const std::string book = write_book(dir.file("small.bin"), entries);
    EXPECT_EQ(looked_up(book, c.fen, c.moves), c.expected) << c.fen << " moves " << c.moves;
  }
}

TEST(Book, DrawsByWeightAndNeverAWeightOfZero) {
  BookCandidates found{};
  const uint16_t WEIGHTS[] = {0, 1, 0, 3};
  for (uint16_t w : WEIGHTS) {
    found.list[found.count] = {BookMove(100 + found.count), w};
    found.weight_sum += w;
    ++found.count;
  }
  const BookMove EXPECTED[] = {101, 103, 103, 103};
  for (uint32_t r = 0; r < found.weight_sum; ++r) EXPECT_EQ(weighted_book_move(found, r), EXPECTED[r]) << r;

  TempDir dir;
  const uint64_t key = key_after("");
  const std::string book =
      write_book(dir.file("random.bin"), {{key, book_move("e2e4"), 0}, {key, book_move("d2d4"), 1}});
  for (int i = 0; i < 20; ++i) EXPECT_EQ(looked_up(book, START_FEN, "", true), "d2d4");
}

TEST(Book, DamagedAndOversizedFilesNeverBreakTheLookup) {
  TempDir dir;
  const uint64_t key = key_after("");
  EXPECT_EQ(looked_up(dir.file("missing.bin"), START_FEN, ""), "");
  EXPECT_EQ(looked_up(write_book(dir.file("empty.bin"), {}), START_FEN, ""), "");
  // A torn last entry is not counted, and the end of the file ends the gathering.
  EXPECT_EQ(looked_up(write_book(dir.file("torn.bin"), {{key, book_move("c2c4"), 1}}, 6), START_FEN, ""), "c2c4");
  const std::vector<Entry> LAST = {{key, book_move("d2d4"), 1}, {key, book_move("c2c4"), 5}};
  EXPECT_EQ(looked_up(write_book(dir.file("last.bin"), LAST, 0, false), START_FEN, ""), "c2c4");
  EXPECT_EQ(looked_up(write_book(dir.file("torn_last.bin"), LAST, 6, false), START_FEN, ""), "d2d4");
  EXPECT_EQ(looked_up(write_book(dir.file("torn_only.bin"), {LAST[0]}, 6, false), START_FEN, ""), "");

  // 300 entries for one position: the first 256 are gathered, the heavier ones behind are not.
  std::vector<Entry> entries;
  for (int i = 0; i < 300; ++i) {
    if (i == 7)
      entries.push_back({key, book_move("g1f3"), 50});
    else
      entries.push_back({key, book_move(i < 256 ? "b1c3" : "e2e4"), uint16_t(i < 256 ? 1 : 60000)});
  }
  const std::string book = write_book(dir.file("oversized.bin"), entries);
  std::FILE* file = std::fopen(book.c_str(), "rb");
  BookCandidates found;
  ASSERT_TRUE(read_book_candidates(file, key, found));
  std::fclose(file);
  EXPECT_EQ(found.count, MAX_BOOK_CANDIDATES);
  EXPECT_EQ(found.weight_sum, 255u + 50u);
  EXPECT_EQ(looked_up(book, START_FEN, ""), "g1f3");
}

// The tool names a file that can be no book, where the engine finds nothing in it in
// silence; a usable book, in it or not, answers with status 0.
TEST(Book, BookprobeSaysWhyAFileIsNoBook) {
  TempDir dir;
  const uint64_t start = key_after("");
  write_book(dir.file("good.bin"), {{start, book_move("e2e4"), 10}});
  write_book(dir.file("torn.bin"), {{start, book_move("e2e4"), 10}}, 3);
  write_book(dir.file("empty.bin"), {});
  fs::create_directory(dir.path / "folder.bin");
  std::string unsorted = file_text(dir.path / "good.bin");
  std::rotate(unsorted.begin(), unsorted.begin() + 16, unsorted.end());  // the first key moves to the end
  std::ofstream(dir.file("unsorted.bin"), std::ios::binary) << unsorted;

  const std::string tool = std::string(TESMAR_TOOLS_DIR) + "/bookprobe ";
  struct Case {
    std::string arguments;
    int status;
    const char* says;
  };
  const Case CASES[] = {
      {dir.file("good.bin") + " startpos", 0, "engine plays e2e4"},
      {dir.file("good.bin") + " '8/8/8/8/8/8/8/8 w - - 0 1'", 2, "bad FEN: each side needs exactly one king"},
      {dir.file("torn.bin") + " startpos", 1, "are not whole 16-byte entries"},
      {dir.file("empty.bin") + " startpos", 1, "is no Polyglot book: it is empty"},
      {dir.file("folder.bin") + " startpos", 1, "is no Polyglot book: it is a folder"},
      {dir.file("unsorted.bin") + " startpos", 1, "its keys are not sorted (entry 2 "},
      {dir.file("missing.bin") + " startpos", 1, "cannot open it: No such file"},
      {"--help", 0, "usage: bookprobe BOOK"},
      {"-h", 0, "usage: bookprobe BOOK"},
      {"", 2, "usage: bookprobe BOOK"},
  };
  for (const Case& c : CASES) {
    const CommandRun run = run_command(tool + c.arguments + " 2>&1");
    EXPECT_EQ(run.status, c.status) << c.arguments << "\n" << run.output;
    EXPECT_NE(run.output.find(c.says), std::string::npos) << c.arguments << "\n" << run.output;
  }
}

TEST(Book, GoAnswersFromTheBookAndSearchesOtherwise) {
  TempDir dir;
  const std::string book = write_book(dir.file("go.bin"), {{key_after(""), book_move("e2e4"), 5},
                                                           {key_after("e2e4"), book_move("c7c5"), 5},
                                                           {key_after("d2d4"), book_move("d7d5"), 0}});
  EngineProcess engine;
  engine.send("setoption name Hash value 16\nsetoption name BookFile value " + book + "\n");
  EXPECT_FALSE(engine.go("position startpos\ngo depth 2\n").info.empty());  // OwnBook is off by default
  engine.send("setoption name OwnBook value true\n");
  const SearchOutput hit = engine.go("position startpos\ngo wtime 60000 btime 60000\n");
  EXPECT_EQ(hit.line, "bestmove e2e4");  // no ponder move either
  EXPECT_TRUE(hit.info.empty());
  EXPECT_EQ(engine.go("position startpos moves e2e4\ngo depth 2\n").line, "bestmove c7c5");
  for (const char* go : {"position startpos moves d2d4\ngo depth 2\n",        // weights all 0
                         "position startpos moves g1f3\ngo depth 2\n"}) {  // not in the book
    const SearchOutput a = engine.go(go);
    EXPECT_FALSE(a.info.empty()) << go;
    EXPECT_NE(a.bestmove, "0000") << go;
  }
  // Analysis never opens the book.
  engine.send("position startpos\ngo infinite\n");
  EXPECT_TRUE(engine.read_line(3000).value_or("").rfind("info ", 0) == 0);
  EXPECT_FALSE(engine.go("stop\n").bestmove.empty());
  // Pondering on a book position: silence until ponderhit, then the book move alone.
  engine.send("position startpos\ngo ponder wtime 60000 btime 60000\n");
  EXPECT_FALSE(engine.read_line(300).has_value());
  EXPECT_EQ(engine.go("ponderhit\n").line, "bestmove e2e4");
  engine.send("setoption name BookFile value " + dir.file("missing.bin") + "\n");
  EXPECT_FALSE(engine.go("position startpos\ngo depth 2\n").info.empty());
}

TEST(Book, PublicDomainBookCarriesTheEngineThroughTheOpening) {
  const std::string book = std::string(TESMAR_SHARED_DIR) + "/books/gnuchess-book.bin";
  if (!fs::exists(book)) GTEST_SKIP() << book << " is absent: the public-domain book test is skipped";
  const std::string probe = run_command(std::string(TESMAR_TOOLS_DIR) + "/bookprobe " + book + " startpos").output;
  const size_t plays = probe.find("engine plays ");
  ASSERT_NE(plays, std::string::npos) << probe;
  EXPECT_EQ(probe.rfind("key 463b96181691fc9c\n", 0), 0u) << probe;

  EngineProcess engine;
  engine.send("setoption name Hash value 16\nsetoption name OwnBook value true\nsetoption name BookFile value " +
              book + "\n");
  std::string moves;
  int book_moves = 0;
  SearchOutput a;
  while ((a = engine.go("position startpos moves" + moves + "\ngo depth 1\n")), a.info.empty()) {
    ASSERT_EQ(a.line.size(), 13u) << a.line;  // "bestmove e2e4", never with a ponder move
    if (book_moves == 0) {
      EXPECT_EQ(a.bestmove, probe.substr(plays + 13, 4));
    }
    moves += " " + a.bestmove;
    ASSERT_LT(++book_moves, 100) << moves;
  }
  EXPECT_GE(book_moves, 4) << moves;
  EXPECT_FALSE(a.bestmove.empty());
}

TEST(Book, BooksMadeByPolyglotAgree) {
  const char* polyglot = fs::exists("/usr/games/polyglot") ? "/usr/games/polyglot" : nullptr;
  if (!polyglot) GTEST_SKIP() << "polyglot is not installed: the make-book test is skipped";
  TempDir dir;
  // A draw gives both sides' moves a weight.
  const char* GAME = "e2e4 e7e5 g1f3 b8c6 f1c4 f8c5 e1g1 g8f6 d2d3 e8g8 c2c3 d7d6";
  std::ofstream(dir.file("games.pgn")) << "[Event \"?\"]\n[Result \"1/2-1/2\"]\n\n"
                                          "1. e4 e5 2. Nf3 Nc6 3. Bc4 Bc5 4. O-O Nf6 5. d3 O-O 6. c3 d6 1/2-1/2\n";
  run_command(std::string(polyglot) + " make-book -pgn " + dir.file("games.pgn") + " -bin " + dir.file("made.bin") +
              " -max-ply 20 -min-game 1 > /dev/null 2>&1");
  ASSERT_TRUE(fs::exists(dir.file("made.bin")));
  std::string played;
  for (const char* at = GAME; *at; at += at[4] ? 5 : 4) {
    const std::string move(at, 4);
    EXPECT_EQ(looked_up(dir.file("made.bin"), START_FEN, played.c_str()), move) << "after" << played;
    played += " " + move;
  }
}

}  // namespace
