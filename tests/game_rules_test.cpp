// The games the data tools play: the 960 Chess960 starts by number, and the rules that end
// a game on its board (repetition, fifty moves, mate, stalemate, dead material).
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "board/fen_check.h"
#include "games/chess960_start.h"
#include "games/game_board.h"
#include "helpers/board_fixtures.h"

namespace {

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

}  // namespace
