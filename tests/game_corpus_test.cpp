// The game corpus: every kind of move and score survives the trip through a file, and a file
// cut short or damaged keeps its whole games.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "common/game_corpus.h"
#include "games/chess960_start.h"
#include "games/split_mix_rng.h"
#include "helpers/board_fixtures.h"
#include "helpers/datagen_runs.h"

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
  EXPECT_EQ(a.seed, b.seed);
  EXPECT_EQ(a.stream, b.stream);
  EXPECT_EQ(a.number, b.number);
  EXPECT_EQ(a.chess960, b.chess960);
  EXPECT_EQ(a.result, b.result);
  EXPECT_EQ(a.start_ply, b.start_ply);
  EXPECT_EQ(a.start_fen, b.start_fen);
  ASSERT_EQ(a.moves.size(), b.moves.size());
  for (size_t i = 0; i < a.moves.size(); ++i) {
    ASSERT_TRUE(same_move(a.moves[i], b.moves[i])) << "ply " << i << " of " << a.start_fen;
    ASSERT_EQ(a.scores[i], b.scores[i]) << "ply " << i;
  }
}

}  // namespace

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
  const size_t random_games = games.size();
  {
    const Chess960Option option(true);
    GameBoard board;
    start_board(board, "1r3k2/8/8/8/8/8/8/1R3K1R w Hb - 0 1");
    ScoredMove list[MAX_MOVES];
    const int n = int(generate_legal(board_position(board), list) - list);
    CorpusGame both;
    both.chess960 = true;
    both.start_fen = "1r3k2/8/8/8/8/8/8/1R3K1R w Hb - 0 1";
    for (int i = 0; i < n; ++i)
      if (move_from(list[i].move) == 5 && move_to(list[i].move) == 6) {
        CorpusGame one = both;
        one.moves = {list[i].move};
        one.scores = {int16_t(i)};
        games.push_back(one);
      }
    ASSERT_EQ(games.size() - random_games, 2u) << "the king's step and castling, both to g1";
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
  ASSERT_EQ(later.size(), expected.size());
  for (size_t i = 0; i < later.size(); ++i) EXPECT_EQ(std::memcmp(&later[i], &expected[i], sizeof(TrainingRecord)), 0);
  later.clear();
  game_records(game, board, CorpusFilter{.skip_plies = game.start_ply + int(game.moves.size())}, later);
  EXPECT_TRUE(later.empty());
}
