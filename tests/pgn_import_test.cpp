// Games in PGN: SAN both ways for every kind of move, and a tournament manager's PGN read into
// corpus games (book moves, scores, mates, variations, Windows line ends).
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "common/game_corpus.h"
#include "datagen/san.h"
#include "games/chess960_start.h"
#include "games/game_board.h"
#include "helpers/board_fixtures.h"
#include "helpers/datagen_runs.h"
#include "helpers/scratch_files.h"
#include "search/score.h"

namespace {

const std::string DATAGEN = TESMAR_TOOLS_DIR "/datagen ";

}  // namespace

TEST(SanText, EveryLegalMoveReadsBackAndHardCasesAreRight) {
  const struct {
    const char* fen;
    bool chess960;
  } starts[] = {{"r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBP1P/R3K2R w KQkq - 0 1", false},
                {"1N1N4/8/8/4k3/1N6/2K5/1p3p2/8 b - - 0 1", false},
                {"1N1N4/8/8/4k3/1N6/2K5/1p3p2/8 w - - 0 1", false},
                {"4k3/8/8/2pPp3/8/8/8/R3K2R w KQ e6 0 1", false},
                {"1r3kr1/8/8/8/8/8/8/1R3KR1 w GBgb - 0 1", true}};
  int moves = 0;
  for (const auto& [fen, chess960] : starts) {
    const Chess960Option option(chess960);
    const Position pos = position_of(fen);
    ScoredMove list[MAX_MOVES];
    const int n = int(generate_legal(pos, list) - list);
    for (int i = 0; i < n; ++i, ++moves) {
      const std::string san = move_san(pos, list[i].move);
      EXPECT_EQ(move_of_san(pos, san), list[i].move) << fen << " " << san;
    }
  }
  EXPECT_GT(moves, 100);

  // Three knights reach c6: b8 shares its rank with d8 and its file with b4.
  const Position knights = position_of("1N1N4/8/8/4k3/1N6/2K5/1p3p2/8 w - - 0 1");
  EXPECT_EQ(move_san(knights, move_named(knights, "b8c6")), "Nb8c6+");
  EXPECT_EQ(move_san(knights, move_named(knights, "d8c6")), "Ndc6+");
  EXPECT_EQ(move_san(knights, move_named(knights, "b4c6")), "N4c6+");
  EXPECT_EQ(move_of_san(knights, "Nc6"), 0u) << "three knights reach c6";
  EXPECT_EQ(move_of_san(knights, "Nbc6"), 0u) << "two of them on the b-file";
  EXPECT_EQ(move_of_san(knights, "Nb8-c6"), move_named(knights, "b8c6"));
  const Position promotions = position_of("1N1N4/8/8/4k3/1N6/2K5/1p3p2/8 b - - 0 1");
  EXPECT_EQ(move_san(promotions, move_named(promotions, "f2f1n")), "f1=N");
  EXPECT_EQ(move_of_san(promotions, "f1N"), move_named(promotions, "f2f1n"));
  const Position passant = position_of("4k3/8/8/2pPp3/8/8/8/R3K2R w KQ e6 0 1");
  EXPECT_EQ(move_san(passant, move_named(passant, "d5e6")), "dxe6");
  EXPECT_EQ(move_of_san(passant, "0-0-0"), move_named(passant, "e1c1"));
  EXPECT_EQ(move_of_san(passant, "Ke2!?"), move_named(passant, "e1e2"));
  EXPECT_EQ(move_of_san(passant, "Kd8"), 0u);
  const Position mate = position_of("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
  EXPECT_EQ(move_san(mate, move_named(mate, "a1a8")), "Ra8#");
  EXPECT_EQ(move_san(mate, move_named(mate, "a1a7")), "Ra7");
  {
    const Chess960Option option(true);
    const Position castle = position_of("1r3k2/8/8/8/8/8/8/1R3K1R w Hb - 0 1");
    EXPECT_EQ(move_san(castle, move_named(castle, "f1h1")), "O-O+");  // the rook lands on the f-file
    EXPECT_EQ(move_of_san(castle, "f1h1"), move_named(castle, "f1h1"));
    EXPECT_EQ(move_san(castle, move_named(castle, "f1g1")), "Kg1");
  }
}

TEST(PgnImport, TournamentManagerGamesBecomeCorpusGames) {
  TempDir dir;
  // As fastchess writes them, with what other programs add: a variation, a NAG, a comment before
  // the first move, a move without a comment, move numbers glued to moves, Windows line ends.
  const std::string pgn =
      "[Event \"SPRT\"]\r\n[White \"a\"]\r\n[Black \"b\"]\r\n[Result \"0-1\"]\r\n\r\n"
      "{opening} 1. e4 {book} e5 {book} 2. Nf3 {+0.31/14 0.512s, n=8000} Nc6 {-0.25/13 0.4s} "
      "3. Bb5 $1 (3. Bc4 Bc5) a6 4.Ba4 {+0.30/1 0.01s} Nf6 {+M9/20 1s} 5. O-O {-12.50/9 0.2s} "
      "Nxe4 {+1.00/9 0.3s, Black wins by adjudication} 0-1\r\n\r\n"
      "[Event \"SPRT\"]\n[Result \"*\"]\n\n1. d4 {+0.10/5 0.1s} *\n\n"
      "[Event \"SPRT\"]\n[Result \"1/2-1/2\"]\n[FEN \"4k3/8/8/8/8/8/4P3/4K3 w - - 0 1\"]\n[SetUp \"1\"]\n\n"
      "1. e4 {+0.50/30 0.1s} Kd7 {-0.40/30 0.1s} 2. Kd2 {+0.45/30 0.1s} 1/2-1/2\n\n"
      // As an OpenBench server keeps uploaded games: no move numbers, "unknown" for a lost score.
      "[Event \"datagen\"]\n[Result \"1-0\"]\n[ScaleFactor \"1.25\"]\n\n"
      "d4 {book} d5 {book} c4 {+0.21/9} e6 {unknown} Nc3 {+0.30/9} 1-0\n";
  std::ofstream(dir.file("games.pgn"), std::ios::binary) << pgn;
  const CommandRun run = run_command(DATAGEN + "import-pgn --out " + dir.file("games.tgc") + " " + dir.file("games.pgn") + " 2>&1");
  ASSERT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("3 games (1 skipped)"), std::string::npos) << run.output;

  CorpusFileInfo info;
  const std::vector<CorpusGame> games = corpus_games(file_text(dir.file("games.tgc")), info);
  ASSERT_EQ(games.size(), 3u);
  const CorpusGame& first = games[0];
  EXPECT_EQ(first.result, -1);
  EXPECT_EQ(first.start_ply, 2) << "the book moves lead to the start";
  EXPECT_EQ(first.start_fen.substr(0, 47), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR");
  const std::vector<int> expected{31, -25, INT16_MAX, INT16_MAX, 30, SCORE_MATE - 9, -1250, 100};
  ASSERT_EQ(first.scores.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(first.scores[i], expected[i]) << "ply " << i;
  EXPECT_TRUE(first.moves[6] & MOVE_CASTLING);
  EXPECT_EQ(games[1].result, 0);
  EXPECT_EQ(games[1].moves.size(), 3u);
  EXPECT_EQ(games[2].start_ply, 2);
  EXPECT_EQ(games[2].scores, (std::vector<int16_t>{21, INT16_MAX, 30}));

  // Training records keep the quiet positions with a score, not the mate, not the capture.
  const CommandRun records = run_command(DATAGEN + "import-pgn --out " + dir.file("games.bin") + " " + dir.file("games.pgn"));
  ASSERT_EQ(records.status, 0) << records.output;
  EXPECT_EQ(training_records_of(dir.file("games.bin")).size(), 4u + 3u + 2u);
  EXPECT_NE(run_command(DATAGEN + "import-pgn --out " + dir.file("games.bin") + " " + dir.file("games.pgn") + " 2>&1").status, 0)
      << "an existing file is not overwritten";
}
