// Coordinate text of moves, both ways, in both frames and both castling notations, and the
// game history that a move list leaves behind.
#include <gtest/gtest.h>

#include "board/move_text.h"
#include "helpers/board_fixtures.h"
#include "protocol/search_limits.h"

namespace {

TEST(MoveText, WordsAndTexts) {
  const char* const castles = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
  const char* const black_castles = "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1";
  const struct {
    const char* fen;
    bool chess960;
    const char* token;
    Move word;  // 0: not checked
    const char* text;
  } cases[] = {
      {START_FEN, false, "e2e4", 0x3861, "e2e4"},
      // The two-step and king-takes-rook tokens give the same word under either setting;
      // the text follows the setting.
      {castles, false, "e1h1", 0x1000C26, "e1g1"},
      {castles, true, "e1g1", 0x1000C26, "e1h1"},
      {castles, false, "e1a1", 0x1000426, "e1c1"},
      {castles, true, "e1c1", 0x1000426, "e1a1"},
      // Black's castling is e1g1 in Black's frame; the text is on the eighth rank.
      {black_castles, false, "e8g8", 0x1000C26, "e8g8"},
      {black_castles, true, "e8a8", 0x1000426, "e8a8"},
      // Chess960: king f1 with the rook on h1 or g1, king b1 with the rook on a1.
      {"5k1r/8/8/8/8/8/8/5K1R w Hh - 0 1", true, "f1h1", 0x1000C2E, "f1h1"},
      {"5kr1/8/8/8/8/8/8/5KR1 w Gg - 0 1", true, "f1g1", 0x1000C2E, "f1g1"},
      {"1k6/8/8/8/8/8/8/RK6 w A - 0 1", true, "b1a1", 0x100040E, "b1a1"},
      // Pawns: en passant, promotions with and without capture, in both frames.
      {"1n2k3/P7/8/3pP3/8/8/8/4K3 w - d6 0 1", false, "e5d6", 0x60D721, "e5d6"},
      {"1n2k3/P7/8/3pP3/8/8/8/4K3 w - d6 0 1", false, "a7a8q", 0x947181, "a7a8q"},
      {"1n2k3/P7/8/3pP3/8/8/8/4K3 w - d6 0 1", false, "a7b8n", 0, "a7b8n"},
      {"4k3/8/8/8/8/8/6p1/4K2R b - - 0 1", false, "g2h1r", 0, "g2h1r"},
  };
  for (const auto& c : cases) {
    Chess960Option option(c.chess960);
    const Position pos = position_of(c.fen);
    const Move m = parse_move_token(pos, c.token);
    if (c.word) {
      EXPECT_EQ(m, c.word) << c.fen << " " << c.token;
    }
    char text[8];
    move_text(pos, m, text);
    EXPECT_STREQ(text, c.text) << c.fen << " " << c.token;
  }
}

int stack_slot(const ThreadData& thread) { return int(thread.current_position - thread.position_stack); }

TEST(MoveList, IrreversibleMovesEmptyTheHistory) {
  auto thread = thread_at(START_FEN, "e2e4 e7e5 g1f3");
  EXPECT_EQ(stack_slot(*thread), 1);
  const Position after_e5 = position_of("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2");
  EXPECT_EQ(record_difference(thread->position_stack[0], after_e5), "");
  EXPECT_EQ(search_limits.game_last_move, move_named(after_e5, "g1f3"));
  EXPECT_EQ(move_from(search_limits.game_second_last_move), square_named("e7") ^ 56);

  EXPECT_EQ(stack_slot(*thread_at(START_FEN, "g1f3 g8f6 e2e4")), 0);  // ending in a pawn move

  // A repetition across the list is seen, back to the last irreversible position.
  auto repeated = thread_at(START_FEN, "e2e4 g8f6 g1f3 f6g8 f3g1");
  EXPECT_EQ(stack_slot(*repeated), 4);
  EXPECT_TRUE(repeated->current_position->flags & FLAG_REPETITION);

  // The count of full moves, and no last moves after a position without a list.
  std::string moves = "e2e4 e7e5 g1f3";
  EXPECT_EQ(set_position(*thread, START_FEN, moves.data()), 1);
  EXPECT_EQ(set_position(*thread, START_FEN, nullptr), 0);
  EXPECT_EQ(search_limits.game_last_move, 0u);
  EXPECT_EQ(search_limits.game_second_last_move, 0u);
}

}  // namespace
