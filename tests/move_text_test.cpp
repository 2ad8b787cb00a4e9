// Coordinate text of moves, both ways, in both frames and both castling notations.
#include <gtest/gtest.h>

#include <string>

#include "board/fen_write.h"
#include "board/move_text.h"
#include "helpers/board_fixtures.h"
#include "helpers/random_games.h"
#include "protocol/engine_options.h"

namespace {

std::string text_of(const Position& pos, Move m) {
  char text[8];
  move_text(pos, m, text);
  return text;
}

// Every legal move's text reads back as the same move (check bit aside), under each option
// setting given. Castling texts are only unambiguous in the notation of the game being played.
void walk(const char* fen, int plies, uint64_t seed, bool chess960_game) {
  int castlings = 0;
  RandomGameVisitor visitor;
  visitor.at_position = [&](ThreadData& thread, const ScoredMove* begin, const ScoredMove* end) {
    const Position& pos = *thread.current_position;
    for (const ScoredMove* sm = begin; sm != end; ++sm) {
      const Move m = sm->move & MOVE_SAME_MASK;
      castlings += (m & MOVE_CASTLING) != 0;
      for (bool option : {false, true}) {
        if (chess960_game && !option && (m & MOVE_CASTLING)) continue;
        Chess960Option setting(option);
        const std::string text = text_of(pos, m);
        ASSERT_EQ(text.size(), (m & MOVE_PROMOTION) ? 5u : 4u) << text;
        ASSERT_EQ(parse_move_token(pos, text.c_str()), m) << "text " << text << " option " << option;
      }
    }
  };
  Chess960Option game(chess960_game);
  play_random_games(fen, plies, seed, visitor);
  EXPECT_GT(castlings, 40) << fen;
}

TEST(MoveTextRandomGames, StandardChess) { walk(START_FEN, 20000, 21, false); }

TEST(MoveTextRandomGames, Chess960) {
  uint64_t seed = 210;
  for (const char* fen : CHESS960_STARTS) walk(fen, 8000, ++seed, true);
}

TEST(MoveText, CastlingBothNotations) {
  auto thread = thread_at("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
  const Position& pos = *thread->current_position;
  for (bool option : {false, true}) {
    Chess960Option setting(option);
    const Move two_step = parse_move_token(pos, "e1g1"), takes_rook = parse_move_token(pos, "e1h1");
    EXPECT_EQ(two_step, takes_rook) << option;
    EXPECT_EQ(two_step, 0x1000C26u) << option;
    EXPECT_EQ(parse_move_token(pos, "e1c1"), parse_move_token(pos, "e1a1")) << option;
    EXPECT_EQ(text_of(pos, two_step), option ? "e1h1" : "e1g1");
    EXPECT_EQ(text_of(pos, parse_move_token(pos, "e1c1")), option ? "e1a1" : "e1c1");
  }

  // Black's castling: the word is e1g1 in Black's frame, the text is on the eighth rank.
  auto black = thread_at("r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1");
  const Move black_castle = parse_move_token(*black->current_position, "e8g8");
  EXPECT_EQ(black_castle, 0x1000C26u);
  EXPECT_EQ(text_of(*black->current_position, black_castle), "e8g8");
  Chess960Option on(true);
  EXPECT_EQ(text_of(*black->current_position, black_castle), "e8h8");
  EXPECT_EQ(parse_move_token(*black->current_position, "e8a8"), parse_move_token(*black->current_position, "e8c8"));
}

TEST(MoveText, Chess960CastlingReadsAsKingTakesRook) {
  Chess960Option on(true);
  // King f1 with the rook on h1 or on g1.
  auto far = thread_at("5k1r/8/8/8/8/8/8/5K1R w Hh - 0 1");
  const Move far_castle = parse_move_token(*far->current_position, "f1h1");
  EXPECT_EQ(far_castle, make_move_word(KING, square_named("f1"), square_named("g1")) | MOVE_CASTLING);
  EXPECT_EQ(text_of(*far->current_position, far_castle), "f1h1");
  auto near = thread_at("5kr1/8/8/8/8/8/8/5KR1 w Gg - 0 1");
  const Move near_castle = parse_move_token(*near->current_position, "f1g1");
  EXPECT_EQ(near_castle, make_move_word(KING, square_named("f1"), square_named("g1")) | MOVE_CASTLING);
  EXPECT_EQ(text_of(*near->current_position, near_castle), "f1g1");
  // King on b1 castling with the a1 rook: the king's target c1, the text b1a1.
  auto queen_side = thread_at("1k6/8/8/8/8/8/8/RK6 w A - 0 1");
  const Move long_castle = parse_move_token(*queen_side->current_position, "b1a1");
  EXPECT_EQ(move_to(long_castle), square_named("c1"));
  EXPECT_EQ(text_of(*queen_side->current_position, long_castle), "b1a1");
}

TEST(MoveText, PawnMoves) {
  auto thread = thread_at("1n2k3/P7/8/3pP3/8/8/6p1/4K2R w - d6 0 1");
  const Position& pos = *thread->current_position;
  EXPECT_EQ(parse_move_token(pos, "a7a8q"), 0x947181u);
  EXPECT_EQ(text_of(pos, parse_move_token(pos, "a7a8q")), "a7a8q");
  EXPECT_EQ(text_of(pos, parse_move_token(pos, "a7b8n")), "a7b8n");
  EXPECT_EQ(move_captured(parse_move_token(pos, "a7b8n")), KNIGHT);
  EXPECT_EQ(parse_move_token(pos, "e5d6"), 0x60D721u);

  auto black = thread_at("4k3/8/8/8/8/8/6p1/4K2R b - - 0 1");
  const Move under = parse_move_token(*black->current_position, "g2h1r");
  EXPECT_EQ(move_captured(under), ROOK);
  EXPECT_EQ(move_promotion(under), ROOK);
  EXPECT_EQ(text_of(*black->current_position, under), "g2h1r");
  EXPECT_EQ(parse_move_token(*thread_at(START_FEN)->current_position, "e2e4"), 0x3861u);
}

}  // namespace
