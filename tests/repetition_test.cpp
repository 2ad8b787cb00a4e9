// The repetition flag of make_move and the game history that apply_move_list leaves.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "board/fen_write.h"
#include "board/make_move.h"
#include "helpers/board_fixtures.h"
#include "protocol/search_limits.h"

namespace {

int slot_of(const ThreadData& thread) { return int(thread.current_position - thread.position_stack); }

bool play(ThreadData& thread, const char* token) {
  make_move(thread, move_named(*thread.current_position, token), nullptr);
  return thread.current_position->flags & FLAG_REPETITION;
}

// Plays the move once to learn the key it leads to, writes that key into the slot
// `distance` plies below the new position, and plays it again: is the flag set?
bool flag_with_planted_key(ThreadData& thread, const char* token, int distance) {
  play(thread, token);
  const uint64_t key = thread.current_position->key;
  const int here = slot_of(thread);
  undo_move(thread);
  thread.position_stack[here - distance].key = key;
  return play(thread, token);
}

TEST(Repetition, KnightShufflesRepeatAfterFourPlies) {
  auto thread = thread_at(START_FEN);
  const char* tokens[] = {"g1f3", "g8f6", "f3g1", "f6g8", "g1f3", "g8f6", "b1c3", "b8c6", "c3b1"};
  const bool expected[] = {false, false, false, true, true, true, false, false, false};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(play(*thread, tokens[i]), expected[i]) << tokens[i] << " at ply " << i + 1;
  // c6b8 brings back the position after g8f6 above, six plies earlier.
  EXPECT_TRUE(play(*thread, "c6b8"));
  EXPECT_EQ(thread->current_position->rule50, 10);
}

TEST(Repetition, OnlyTheReversiblePliesAreSearched) {
  // Four pawn moves, then three reversible plies: with rule50 1..3 no slot is looked at,
  // even one four plies down that holds the same key.
  // Played one by one (a move list would cut the stack down), so slots 0..4 all exist.
  auto thread = thread_at(START_FEN);
  for (const char* token : {"e2e4", "e7e5", "d2d4", "d7d5"}) play(*thread, token);
  ASSERT_EQ(slot_of(*thread), 4);
  for (const char* token : {"g1f3", "g8f6", "b1c3"}) {
    EXPECT_FALSE(flag_with_planted_key(*thread, token, 4)) << token;
  }
  EXPECT_EQ(thread->current_position->rule50, 3);
  // With rule50 4 the slot four plies down is in reach: the planted key is found.
  EXPECT_TRUE(flag_with_planted_key(*thread, "b8c6", 4));
  // Odd distances hold the other side to move and are never compared.
  EXPECT_FALSE(flag_with_planted_key(*thread, "f3g5", 5));
}

TEST(Repetition, ACaptureBreaksTheChain) {
  auto thread = thread_at("4k3/8/8/8/8/8/p7/R3K3 w - - 10 1");
  EXPECT_FALSE(play(*thread, "a1a2"));  // capture, rule50 0
  EXPECT_FALSE(play(*thread, "e8e7"));
  EXPECT_FALSE(play(*thread, "e1e2"));
  EXPECT_FALSE(play(*thread, "e7e8"));
  EXPECT_TRUE(play(*thread, "e2e1"));  // the position right after the capture again
  // The slot below the capture, six plies down, is out of reach: rule50 is 5.
  EXPECT_FALSE(flag_with_planted_key(*thread, "e8d8", 6));
}

TEST(Repetition, NoSlotBelowTheStackBaseIsRead) {
  // rule50 40 from the FEN reaches far below slot 0. Plant each new key where slot -2 would
  // lie (inside the thread record, ahead of the stack) and expect no flag.
  const std::ptrdiff_t planted = std::ptrdiff_t(offsetof(ThreadData, position_stack)) -
                                 2 * std::ptrdiff_t(sizeof(Position)) + std::ptrdiff_t(offsetof(Position, key));
  if (planted < 0) GTEST_SKIP() << "no room ahead of the stack in this layout";
  auto thread = thread_at("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 40 20");
  for (const char* token : {"g1f3", "g8f6", "b1c3", "b8c6", "f3d4", "f6d5"}) {
    play(*thread, token);
    const uint64_t key = thread->current_position->key;
    undo_move(*thread);
    std::memcpy(reinterpret_cast<char*>(thread.get()) + planted, &key, sizeof key);
    EXPECT_FALSE(play(*thread, token)) << token;
  }
  // Slot 0 itself is in reach: back to the start position after four plies.
  auto shuffle = thread_at("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 40 20");
  for (const char* token : {"g1f3", "g8f6", "f3g1"}) EXPECT_FALSE(play(*shuffle, token));
  EXPECT_TRUE(play(*shuffle, "f6g8"));
}

TEST(MoveList, IrreversibleMovesEmptyTheHistory) {
  auto thread = thread_at(START_FEN, "e2e4 e7e5 g1f3");
  EXPECT_EQ(slot_of(*thread), 1);
  Position after_e5;
  read_fen(after_e5, "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2");
  EXPECT_EQ(record_difference(thread->position_stack[0], after_e5), "");
  EXPECT_EQ(search_limits.game_last_move, move_named(after_e5, "g1f3"));
  EXPECT_EQ(move_from(search_limits.game_second_last_move), square_named("e7") ^ 56);

  // Ending in a pawn move leaves only slot 0.
  auto pawn_last = thread_at(START_FEN, "g1f3 g8f6 e2e4");
  EXPECT_EQ(slot_of(*pawn_last), 0);
  EXPECT_EQ(pawn_last->current_position->rule50, 0);

  // A repetition across the list is seen, back to the last irreversible position.
  auto repeated = thread_at(START_FEN, "e2e4 g8f6 g1f3 f6g8 f3g1");
  EXPECT_EQ(slot_of(*repeated), 4);
  EXPECT_TRUE(repeated->current_position->flags & FLAG_REPETITION);
  EXPECT_EQ(repeated->position_stack[0].key, repeated->current_position->key);
}

TEST(MoveList, CountsFullMovesAndResetsTheLastMoves) {
  std::vector<char> moves{'e', '2', 'e', '4', ' ', 'e', '7', 'e', '5', ' ', 'g', '1', 'f', '3', 0};
  auto thread = std::make_unique<ThreadData>();
  EXPECT_EQ(set_position(*thread, START_FEN, moves.data()), 1);
  EXPECT_NE(search_limits.game_last_move, 0u);
  EXPECT_EQ(set_position(*thread, START_FEN, nullptr), 0);
  EXPECT_EQ(search_limits.game_last_move, 0u);
  EXPECT_EQ(search_limits.game_second_last_move, 0u);
}

}  // namespace
