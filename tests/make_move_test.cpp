// make_move in the awkward cases of castling, captures, promotions and passes: the record after
// the move against one read from its FEN, the feature changes it reports (exactly those between
// the two positions, king moves aside), and the repetition flag; castling tokens of both
// notations in both frames (the board sweep reads back the text of every legal move it meets),
// and the game history that a move list leaves behind.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "board/make_move.h"
#include "board/move_text.h"
#include "helpers/board_fixtures.h"
#include "protocol/search_limits.h"

namespace {

TEST(MakeMove, EdgeCases) {
  const struct {
    const char* fen;
    bool chess960;
    const char *move, *after;  // after: written with rook-file rights when chess960
  } cases[] = {
      // Ra1xa8: both queen-side rights go, Black's by the capture and White's by the rook leaving.
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 3 1", false, "a1a8", "R3k2r/8/8/8/8/8/8/4K2R b Kk - 0 1"},
      // A rook taken on b8 held no right.
      {"1r2k2r/8/8/8/8/8/8/1R2K2R w Kk - 0 1", false, "b1b8", "1R2k2r/8/8/8/8/8/8/4K2R b Kk - 0 1"},
      // Black takes on h1: both king-side rights go, each keyed by its colour.
      {"4k2r/8/8/8/8/8/8/4K2R b Kk - 0 1", false, "h8h1", "4k3/8/8/8/8/8/8/4K2r w - - 0 1"},
      // Promotion by capture on a corner: the victim, the right and the pawn go, the queen comes.
      {"r3k3/1P6/8/8/8/8/8/4K3 w q - 0 1", false, "b7a8q", "Q3k3/8/8/8/8/8/8/4K3 b - - 0 1"},
      // Chess960, king g1 stays: the rook's two entries and the right; castling keeps the clock.
      {"6kr/8/8/8/8/8/8/6KR w Hh - 4 1", true, "g1h1", "6kr/8/8/8/8/8/8/5RK1 b h - 5 1"},
      // King and rook swap squares, on either wing and for either colour.
      {"5kr1/8/8/8/8/8/8/5KR1 w Gg - 0 1", true, "f1g1", "5kr1/8/8/8/8/8/8/5RK1 b g - 1 1"},
      {"2rk4/8/8/8/8/8/8/2RK4 w Cc - 0 1", true, "d1c1", "2rk4/8/8/8/8/8/8/2KR4 b c - 1 1"},
      {"2rk4/8/8/8/8/8/8/2RK4 b Cc - 0 1", true, "d8c8", "2kr4/8/8/8/8/8/8/2RK4 w C - 1 1"},
      // With the option off the same word moves the standard pieces.
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 7 1", false, "e1c1", "r3k2r/8/8/8/8/8/8/2KR3R b kq - 8 1"},
      // A double step holds an en-passant file only with an enemy pawn beside it.
      {START_FEN, false, "e2e4", "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1"},
      {"4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1", false, "e2e4", "4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1"},
  };
  for (const auto& c : cases) {
    Chess960Option option(c.chess960);
    auto thread = thread_at(c.fen);
    FeatureDelta delta;
    const Move m = move_named(*thread->current_position, c.move);
    make_move(*thread, m, &delta);
    const Position& after = *thread->current_position;
    EXPECT_EQ(fen_of(after, c.chess960), c.after) << c.fen << " " << c.move;
    EXPECT_EQ(record_difference(after, position_of(c.after)), "") << c.fen << " " << c.move;
    EXPECT_EQ(delta_fault(thread->position_stack[0], after, m, delta), "") << c.fen << " " << c.move;
  }
}

TEST(MakeMove, NullMoveAfterDoubleStep) {
  // The pass takes the en-passant file out and hands the move over; undo gives the record back.
  auto thread = thread_at("4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1", "e2e4");
  const Position before = *thread->current_position;
  make_null_move(*thread);
  const Position& passed = *thread->current_position;
  EXPECT_EQ(record_difference(passed, position_of("4k3/8/8/8/3pP3/8/8/4K3 w - - 0 1")), "");
  undo_move(*thread);
  EXPECT_EQ(record_difference(*thread->current_position, before), "");
}

int slot_of(const ThreadData& thread) { return int(thread.current_position - thread.position_stack); }

bool play(ThreadData& thread, const char* token) {
  make_move(thread, move_named(*thread.current_position, token), nullptr);
  return thread.current_position->flags & FLAG_REPETITION;
}

// Plays the move once to learn the key it leads to, writes that key `distance` plies below
// the new position (as a slot index, which may lie ahead of the stack), and plays it again.
bool flag_with_planted_key(ThreadData& thread, const char* token, int distance) {
  play(thread, token);
  const uint64_t key = thread.current_position->key;
  const std::ptrdiff_t here = slot_of(thread);
  undo_move(thread);
  const std::ptrdiff_t offset = std::ptrdiff_t(offsetof(ThreadData, position_stack) + offsetof(Position, key)) +
                                (here - distance) * std::ptrdiff_t(sizeof(Position));
  std::memcpy(reinterpret_cast<char*>(&thread) + offset, &key, sizeof key);
  return play(thread, token);
}

TEST(Repetition, FlagWithinTheReversiblePliesAndNeverBelowTheStackBase) {
  auto thread = thread_at(START_FEN);
  const char* tokens[] = {"g1f3", "g8f6", "f3g1", "f6g8", "g1f3", "g8f6", "b1c3", "b8c6", "c3b1", "c6b8"};
  const bool expected[] = {false, false, false, true, true, true, false, false, false, true};
  for (int i = 0; i < 10; ++i) EXPECT_EQ(play(*thread, tokens[i]), expected[i]) << tokens[i] << " at ply " << i + 1;

  // After four pawn moves, with rule50 1..3 no slot is looked at, even one four plies down;
  // with rule50 4 it is. Odd distances hold the other side to move and are never compared.
  auto pawns = thread_at(START_FEN);
  for (const char* token : {"e2e4", "e7e5", "d2d4", "d7d5"}) play(*pawns, token);
  for (const char* token : {"g1f3", "g8f6", "b1c3"}) EXPECT_FALSE(flag_with_planted_key(*pawns, token, 4)) << token;
  EXPECT_TRUE(flag_with_planted_key(*pawns, "b8c6", 4));
  EXPECT_FALSE(flag_with_planted_key(*pawns, "f3g5", 5));

  // A capture breaks the chain: the slot before it is out of reach.
  auto capture = thread_at("4k3/8/8/8/8/8/p7/R3K3 w - - 10 1");
  for (const char* token : {"a1a2", "e8e7", "e1e2", "e7e8"}) EXPECT_FALSE(play(*capture, token));
  EXPECT_TRUE(play(*capture, "e2e1"));
  EXPECT_FALSE(flag_with_planted_key(*capture, "e8d8", 6));

  // rule50 40 from the FEN reaches far below slot 0: a key planted where slot -2 would lie
  // (inside the thread record, ahead of the stack) must not be found, but slot 0 itself is.
  static_assert(offsetof(ThreadData, position_stack) >= 2 * sizeof(Position), "room ahead of the stack");
  const char* fen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 40 20";
  auto far = thread_at(fen);
  for (const char* token : {"g1f3", "g8f6", "b1c3", "b8c6", "f3d4", "f6d5"})
    EXPECT_FALSE(flag_with_planted_key(*far, token, slot_of(*far) + 3)) << token;
  auto shuffle = thread_at(fen);
  for (const char* token : {"g1f3", "g8f6", "f3g1"}) EXPECT_FALSE(play(*shuffle, token));
  EXPECT_TRUE(play(*shuffle, "f6g8"));
}

TEST(MoveText, CastlingTokensOfEitherNotation) {
  const char* const castles = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
  const char* const black_castles = "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1";
  const struct {
    const char* fen;
    bool chess960;
    const char *token, *text;
  } cases[] = {
      // The two-step and king-takes-rook tokens give the same castling under either setting;
      // the text follows the setting.
      {castles, false, "e1h1", "e1g1"},
      {castles, true, "e1g1", "e1h1"},
      {castles, false, "e1a1", "e1c1"},
      {castles, true, "e1c1", "e1a1"},
      // Black's castling is e1g1 in Black's frame; the text is on the eighth rank.
      {black_castles, false, "e8g8", "e8g8"},
      {black_castles, true, "e8a8", "e8a8"},
      // Chess960: king f1 with the rook on h1 or g1, king b1 with the rook on a1.
      {"5k1r/8/8/8/8/8/8/5K1R w Hh - 0 1", true, "f1h1", "f1h1"},
      {"5kr1/8/8/8/8/8/8/5KR1 w Gg - 0 1", true, "f1g1", "f1g1"},
      {"1k6/8/8/8/8/8/8/RK6 w A - 0 1", true, "b1a1", "b1a1"},
  };
  for (const auto& c : cases) {
    Chess960Option option(c.chess960);
    const Position pos = position_of(c.fen);
    const Move m = parse_move_token(pos, c.token);
    char text[8];
    move_text(pos, m, text);
    EXPECT_STREQ(text, c.text) << c.fen << " " << c.token;
  }
}

TEST(MoveList, IrreversibleMovesEmptyTheHistory) {
  auto thread = thread_at(START_FEN, "e2e4 e7e5 g1f3");
  EXPECT_EQ(slot_of(*thread), 1);
  const Position after_e5 = position_of("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2");
  EXPECT_EQ(record_difference(thread->position_stack[0], after_e5), "");
  EXPECT_EQ(search_limits.game_last_move, move_named(after_e5, "g1f3"));
  EXPECT_EQ(move_from(search_limits.game_second_last_move), square_named("e7") ^ 56);

  EXPECT_EQ(slot_of(*thread_at(START_FEN, "g1f3 g8f6 e2e4")), 0);  // ending in a pawn move

  // A repetition across the list is seen, back to the last irreversible position.
  auto repeated = thread_at(START_FEN, "e2e4 g8f6 g1f3 f6g8 f3g1");
  EXPECT_EQ(slot_of(*repeated), 4);
  EXPECT_TRUE(repeated->current_position->flags & FLAG_REPETITION);

  // The count of full moves, and no last moves after a position without a list.
  std::string moves = "e2e4 e7e5 g1f3";
  EXPECT_EQ(set_position(*thread, START_FEN, moves.data()), 1);
  EXPECT_EQ(set_position(*thread, START_FEN, nullptr), 0);
  EXPECT_EQ(search_limits.game_last_move, 0u);
  EXPECT_EQ(search_limits.game_second_last_move, 0u);
}

}  // namespace
