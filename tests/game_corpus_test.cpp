// The games of the data tools: the 960 Chess960 starts by number and the rules that end a game
// on its board (repetition, fifty moves, mate, stalemate, dead material); the game corpus, where
// every kind of move and score survives the trip through a file and a file cut short or damaged
// keeps its whole games; and games in PGN: SAN both ways for every kind of move, and a tournament
// manager's PGN read into corpus games (book moves, scores, mates, variations, Windows line ends).
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "board/fen_check.h"
#include "board/movegen.h"
#include "common/game_corpus.h"
#include "datagen/san.h"
#include "games/chess960_start.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"
#include "helpers/board_fixtures.h"
#include "helpers/datagen_runs.h"
#include "helpers/scratch_files.h"
#include "helpers/training_fixtures.h"
#include "search/score.h"

namespace {

// A game of random legal moves from fen, with scores from every corner of the range.
CorpusGame random_game(const std::string& fen, bool chess960, uint64_t seed, int plies) {
  SplitMixRng rng{seed};
  CorpusGame game;
  game.seed = seed, game.stream = uint32_t(seed % 3), game.number = seed * 7;
  game.chess960 = chess960;
  game.start_fen = fen;
  game.start_ply = 9;
  game.result = int(seed % 3) - 1;
  GameBoard board;
  const Chess960Option option(chess960);
  start_board(board, fen.c_str());
  for (int ply = 0; ply < plies; ++ply) {
    ScoredMove list[MAX_MOVES];
    const int n = int(generate_legal(board_position(board), list) - list);
    if (n == 0) break;
    // Prefer the rare kinds of move, so that every game has its share of them.
    Move chosen = list[rng.next() % uint64_t(n)].move;
    for (int i = 0; i < n; ++i)
      if ((list[i].move & (MOVE_CASTLING | MOVE_PROMOTION | MOVE_EN_PASSANT)) && rng.next() % 2) chosen = list[i].move;
    static const int16_t EDGES[] = {INT16_MIN, INT16_MAX, -32766, 32766, 0, 1, -1};
    const int16_t score = rng.next() % 4 == 0 ? EDGES[rng.next() % 7] : int16_t(int(rng.next() % 4001) - 2000);
    game.moves.push_back(chosen);
    game.scores.push_back(score);
    play_board_move(board, chosen);
  }
  return game;
}

std::string file_of(const std::vector<CorpusGame>& games) {
  std::string bytes = corpus_header();
  GameBoard board;
  for (const CorpusGame& g : games) bytes += encode_game(g, board);
  return bytes;
}

void expect_same_game(const CorpusGame& a, const CorpusGame& b) {
  const auto fields = [](const CorpusGame& g) {
    return std::tie(g.seed, g.stream, g.number, g.chess960, g.result, g.start_ply, g.start_fen, g.scores);
  };
  EXPECT_EQ(fields(a), fields(b));
  ASSERT_EQ(a.moves.size(), b.moves.size());
  for (size_t i = 0; i < a.moves.size(); ++i)
    ASSERT_TRUE(same_move(a.moves[i], b.moves[i])) << "ply " << i << " of " << a.start_fen;
}

void play_tokens(GameBoard& game, const char* tokens) {
  std::istringstream in(tokens);
  for (std::string t; in >> t;) play_board_move(game, move_named(board_position(game), t.c_str()));
}

TEST(Chess960Start, NumbersGiveTheStandardTable) {
  EXPECT_EQ(chess960_start_fen(518), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w HAha - 0 1");
  std::set<std::string> seen;
  for (int n = 0; n < 960; ++n) {
    const std::string fen = chess960_start_fen(n);
    ASSERT_EQ(fen_check(fen.c_str()), nullptr) << fen;
    const std::string back = fen.substr(fen.find_last_of('/') + 1, 8);
    const size_t b1 = back.find('B'), b2 = back.rfind('B'), r1 = back.find('R'), r2 = back.rfind('R');
    const size_t k = back.find('K');
    EXPECT_EQ((b1 + b2) % 2, 1u) << fen;  // bishops on squares of both colours
    EXPECT_TRUE(r1 < k && k < r2) << fen;
    EXPECT_EQ(seen.count(back), 0u) << fen;
    seen.insert(back);
  }
  std::ifstream table(TESMAR_SHARED_DIR "/openings/chess960_starts.epd");
  if (!table) GTEST_SKIP() << "no Chess960 start table in the shared data";
  std::string line;
  for (int n = 0; n < 960 && std::getline(table, line); ++n)
    EXPECT_EQ(chess960_start_fen(n).substr(0, 56), line.substr(0, 56)) << "number " << n;
}

TEST(GameBoard, RulesEndGames) {
  GameBoard game;
  start_board(game, START_FEN);
  play_tokens(game, "g1f3 g8f6 f3g1 f6g8");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::NONE);  // the start position twice
  play_tokens(game, "g1f3 g8f6 f3g1 f6g8");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::REPETITION);
  EXPECT_EQ(game.ply, 8);

  start_board(game, "4k3/8/8/8/8/8/8/R3K3 w - - 99 80");
  EXPECT_EQ(game.ply, 158);
  EXPECT_EQ(game_end_by_rule(game), GameEnd::NONE);
  play_tokens(game, "a1a2");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::FIFTY_MOVES);
  // Mate on the hundredth half-move stands.
  start_board(game, "6k1/5ppp/8/8/8/8/8/R5K1 w - - 99 80");
  play_tokens(game, "a1a8");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::CHECKMATE);
  start_board(game, "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
  EXPECT_EQ(game_end_by_rule(game), GameEnd::STALEMATE);

  // A capture empties the history: the stack holds one position again.
  start_board(game, "4k3/8/8/3p4/8/8/3R4/4K3 w - - 5 40");
  play_tokens(game, "d2d3 e8e7 d3d5");
  EXPECT_EQ(game.keys.size(), 1u);
  EXPECT_EQ(game.thread->current_position, game.thread->position_stack);
  EXPECT_EQ(game.ply, 81);

  const struct {
    const char* fen;
    bool dead;
  } material[] = {{"8/8/8/4k3/8/8/8/4K3 w - - 0 1", true},      {"8/8/8/4k3/8/8/8/1N2K3 b - - 0 1", true},
                  {"5b2/8/8/4k3/8/8/8/2B1K3 w - - 0 1", true},  {"5b2/8/8/4k3/8/8/8/3BK3 b - - 0 1", false},
                  {"8/8/8/4k3/8/8/8/1NN1K3 w - - 0 1", false},  {"8/8/8/4k3/8/8/4P3/4K3 w - - 0 1", false},
                  {"8/8/8/4k3/8/8/1B6/2B1K3 b - - 0 1", true},   {"8/8/8/4k3/8/8/8/1N1BK3 w - - 0 1", false}};
  for (const auto& m : material) {
    start_board(game, m.fen);
    EXPECT_EQ(insufficient_material(board_position(game)), m.dead) << m.fen;
    EXPECT_EQ(game_end_by_rule(game) == GameEnd::MATERIAL, m.dead) << m.fen;
  }
}

TEST(GameCorpus, EveryKindOfMoveAndScoreRoundTrips) {
  // Castling both ways with rights on both sides, promotions with and without a capture, en
  // passant, and Chess960 starts where castling and a king's step can reach the same square.
  const struct {
    std::string fen;
    bool chess960;
  } starts[] = {{"r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBP1P/R3K2R w KQkq - 0 1", false},
                {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 3 20", false},
                {"n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1", false},
                {"4k3/8/8/2pPp3/8/8/8/4K3 w - e6 0 1", false},
                {chess960_start_fen(0), true},
                {chess960_start_fen(518), true},
                {"1r3kr1/8/8/8/8/8/8/1R3KR1 w GBgb - 0 1", true}};
  int castlings = 0, promotions = 0, en_passants = 0;
  std::vector<CorpusGame> games;
  for (const auto& [fen, chess960] : starts)
    for (uint64_t seed = 1; seed <= 6; ++seed) {
      games.push_back(random_game(fen, chess960, seed * 101 + games.size(), 160));
      for (Move m : games.back().moves) {
        castlings += (m & MOVE_CASTLING) != 0;
        promotions += (m & MOVE_PROMOTION) != 0;
        en_passants += (m & MOVE_EN_PASSANT) != 0;
      }
    }
  EXPECT_GT(castlings, 20);
  EXPECT_GT(promotions, 20);
  EXPECT_GT(en_passants, 3);

  // In 1r3kr1/.../1R3KR1 both f1g1 as a king step (when the rook has gone) and castling king side
  // land on g1; each must come back as itself.
  {
    const Chess960Option option(true);
    const char* both = "1r3k2/8/8/8/8/8/8/1R3K1R w Hb - 0 1";
    for (const char* token : {"f1g1", "f1h1"}) {
      CorpusGame one;
      one.chess960 = true, one.start_fen = both;
      one.moves = {move_named(position_of(both), token)};
      one.scores = {int16_t(token[3])};
      ASSERT_EQ(move_to(one.moves[0]), square_named("g1")) << token;
      games.push_back(one);
    }
  }

  const std::string bytes = file_of(games);
  CorpusFileInfo info;
  const std::vector<CorpusGame> back = corpus_games(bytes, info);
  ASSERT_EQ(back.size(), games.size());
  EXPECT_EQ(info.readable_bytes, int64_t(bytes.size()));
  for (size_t i = 0; i < games.size(); ++i) expect_same_game(games[i], back[i]);
  // A move that is not legal where it stands is no game of ours.
  CorpusGame wrong = games[0];
  wrong.moves[3] = wrong.moves[2];
  GameBoard board;
  EXPECT_TRUE(encode_game(wrong, board).empty());
}

TEST(GameCorpus, FilesCutShortOrDamagedKeepTheirWholeGames) {
  std::vector<CorpusGame> games;
  for (uint64_t seed = 1; seed <= 3; ++seed) games.push_back(random_game(START_FEN, false, seed, 60 + int(seed)));
  const std::string bytes = file_of(games);
  std::vector<size_t> ends{CORPUS_HEADER_BYTES};
  GameBoard board;
  for (const CorpusGame& g : games) ends.push_back(ends.back() + encode_game(g, board).size());
  ASSERT_EQ(ends.back(), bytes.size());

  // Every cut keeps exactly the games that end before it.
  for (size_t cut = CORPUS_HEADER_BYTES; cut <= bytes.size(); ++cut) {
    CorpusFileInfo info;
    const size_t whole = corpus_games(bytes.substr(0, cut), info).size();
    size_t expected = 0;
    while (expected + 1 < ends.size() && ends[expected + 1] <= cut) ++expected;
    ASSERT_EQ(whole, expected) << "cut at " << cut;
    ASSERT_EQ(size_t(info.readable_bytes), ends[expected]);
  }
  // A flipped byte anywhere in the second game, or a garbage tail, ends the file before it.
  for (size_t at = ends[1]; at < ends[2]; at += 7) {
    std::string damaged = bytes;
    damaged[at] = char(damaged[at] ^ 0x20);
    CorpusFileInfo info;
    EXPECT_EQ(corpus_games(damaged, info).size(), 1u) << "byte " << at;
  }
  CorpusFileInfo info;
  EXPECT_EQ(corpus_games(bytes + std::string(40, '\x5a'), info).size(), 3u);
  std::string error;
  EXPECT_FALSE(read_corpus(std::string("TESMARTD") + bytes.substr(8), board, [](const CorpusGame&) {}, info, error));
}

TEST(GameCorpus, SkippingOpeningPliesKeepsTheLaterRecordsAsTheyWere) {
  // The filter counts the game's own plies (book plies included), and a record it keeps
  // carries the same board, score and settled result as without it.
  CorpusGame game = random_game(START_FEN, false, 17, 90);
  game.result = 1;
  for (int16_t& s : game.scores) s = int16_t(s % 1000);
  GameBoard board;
  std::vector<TrainingRecord> all, later;
  game_records(game, board, CorpusFilter{}, all);
  const int skip = game.start_ply + 30;
  game_records(game, board, CorpusFilter{.skip_plies = skip}, later);
  std::vector<TrainingRecord> expected;
  for (const TrainingRecord& r : all)
    if (r.ply >= skip) expected.push_back(r);
  ASSERT_GT(expected.size(), 10u);
  ASSERT_LT(expected.size(), all.size());
  EXPECT_TRUE(same_records(later, expected));
  later.clear();
  game_records(game, board, CorpusFilter{.skip_plies = game.start_ply + int(game.moves.size())}, later);
  EXPECT_TRUE(later.empty());
}

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

}  // namespace
