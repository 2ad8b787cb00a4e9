// genfens on the command line, as OpenBench's client runs it and reads it back: the
// lines it takes ("info string genfens FEN"), and what a workload's book needs of them.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen_check.h"
#include "board/movegen.h"
#include "board/position.h"
#include "helpers/engine_process.h"
#include "helpers/scratch_files.h"

namespace {

constexpr const char* GENFENS_PREFIX = "info string genfens ";

struct GenfensOutput {
  std::vector<std::string> fens;  // in the order printed
  Lines other;                    // every other line
  int status;
};

// OpenBench's command: the request as one argument, then "quit".
GenfensOutput run_genfens(const std::string& request) {
  EngineProcess engine({request, "quit"});
  GenfensOutput out;
  for (const std::string& line : engine.read_all()) {
    if (line.rfind(GENFENS_PREFIX, 0) == 0)
      out.fens.push_back(line.substr(std::string(GENFENS_PREFIX).size()));
    else
      out.other.push_back(line);
  }
  out.status = engine.wait_exit();
  return out;
}

std::vector<std::string> fields(const std::string& fen) {
  std::istringstream in(fen);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// A position a game can go on from, in the six fields from which OpenBench writes its EPD
// line (it reads the last two as integers).
void expect_playable(const std::string& fen) {
  const std::vector<std::string> f = fields(fen);
  ASSERT_EQ(f.size(), 6u) << fen;
  EXPECT_EQ(f[4].find_first_not_of("0123456789"), std::string::npos) << fen;
  EXPECT_EQ(f[5].find_first_not_of("0123456789"), std::string::npos) << fen;
  ASSERT_EQ(fen_check(fen.c_str()), nullptr) << fen;
  Position pos;
  read_fen(pos, fen.c_str());
  ScoredMove list[MAX_MOVES];
  EXPECT_NE(generate_legal(pos, list), list) << "no move in " << fen;
}

std::string without_counters(const std::string& fen) {
  const std::vector<std::string> f = fields(fen);
  return f[0] + " " + f[1] + " " + f[2] + " " + f[3];
}

}  // namespace

// The trailing blank is OpenBench's when a workload has no extra words.
TEST(Genfens, PositionsArePlayableDistinctAndFollowTheSeed) {
  const GenfensOutput first = run_genfens("genfens 40 seed 11 book None ");
  EXPECT_EQ(first.status, 0);
  ASSERT_EQ(first.fens.size(), 40u);
  EXPECT_TRUE(first.other.empty()) << first.other.front();
  std::set<std::string> distinct;
  for (const std::string& fen : first.fens) {
    expect_playable(fen);
    distinct.insert(without_counters(fen));
    // Eight random plies from the start position: White to move, at move 5.
    EXPECT_EQ(fields(fen)[1], "w") << fen;
    EXPECT_EQ(fields(fen)[5], "5") << fen;
  }
  EXPECT_EQ(distinct.size(), 40u);

  EXPECT_EQ(run_genfens("genfens 40 seed 11 book None ").fens, first.fens);
  const GenfensOutput other_seed = run_genfens("genfens 40 seed 12 book None ");
  ASSERT_EQ(other_seed.fens.size(), 40u);
  int shared = 0;
  for (const std::string& fen : other_seed.fens) shared += distinct.count(without_counters(fen)) > 0;
  EXPECT_LT(shared, 4);

  // Our own words: Chess960 starts alone, without random plies, are the start rows.
  const GenfensOutput chess960 = run_genfens("genfens 12 seed 3 book None random-plies 0 chess960-share 1");
  ASSERT_EQ(chess960.fens.size(), 12u);
  std::set<std::string> starts;
  for (const std::string& fen : chess960.fens) {
    const std::vector<std::string> f = fields(fen);
    ASSERT_EQ(fen_check(fen.c_str()), nullptr) << fen;
    EXPECT_EQ(f[0].substr(8, 27), "/pppppppp/8/8/8/8/PPPPPPPP/") << fen;
    EXPECT_EQ(f[2].find_first_not_of("ABCDEFGHabcdefgh"), std::string::npos) << fen;
    starts.insert(f[0]);
  }
  EXPECT_EQ(starts.size(), 12u);
}

// Book lines come through as they are when no random ply is asked for; the one a short
// search finds lost for a side is thrown away, and a book too small for the count ends the
// run with the positions it has instead of a hang.
TEST(Genfens, BookLinesPassTheJudgingSearchOrAreThrownAway) {
  TempDir dir;
  const std::string balanced = "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2";
  const std::string queen_up = "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
  const std::string book = dir.file("book.epd");
  std::ofstream(book) << balanced << "\n8/8/8/8 w - -\n" << queen_up << " c0 \"queen odds\";\n";

  const GenfensOutput judged = run_genfens("genfens 3 seed 5 book " + book + " random-plies 0");
  EXPECT_EQ(judged.status, 0);
  EXPECT_EQ(judged.fens, std::vector<std::string>{balanced});
  ASSERT_EQ(judged.other.size(), 1u);
  EXPECT_EQ(judged.other[0].rfind("info string only 1 of 3 positions", 0), 0u) << judged.other[0];

  const GenfensOutput unjudged = run_genfens("genfens 2 seed 5 book " + book + " random-plies 0 max-score 30000");
  EXPECT_EQ(std::set<std::string>(unjudged.fens.begin(), unjudged.fens.end()),
            (std::set<std::string>{balanced, queen_up}));

  // With random plies the book is only where the games begin.
  const GenfensOutput played_on = run_genfens("genfens 10 seed 5 book " + book + " random-plies 2");
  ASSERT_EQ(played_on.fens.size(), 10u);
  for (const std::string& fen : played_on.fens) {
    expect_playable(fen);
    EXPECT_EQ(fields(fen)[5], fields(fen)[0].find('q') == std::string::npos ? "2" : "3") << fen;
  }

  const GenfensOutput missing = run_genfens("genfens 3 seed 5 book " + dir.file("none.epd"));
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(missing.fens.empty());
  const GenfensOutput malformed = run_genfens("genfens 3 seed");
  EXPECT_EQ(malformed.status, 1);
  EXPECT_TRUE(malformed.fens.empty());
}
