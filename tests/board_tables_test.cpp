// Attack, line and castling tables against the slow ray walk and hand-checked values.
#include <gtest/gtest.h>

#include <tuple>

#include "board/attacks.h"
#include "helpers/board_fixtures.h"

namespace {

Bitboard squares(std::initializer_list<const char*> names) {
  Bitboard b = 0;
  for (const char* name : names) b |= bit(square_named(name));
  return b;
}

TEST(AttackTables, MagicLookupsEqualRayWalk) {
  uint64_t state = 12345;
  for (int i = 0; i < 20000; ++i) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    const Bitboard occ = state & (state >> 7) & (state << 3);
    const Square s = int(state >> 58);
    ASSERT_EQ(bishop_attacks(s, occ), slider_attacks_slow(s, occ, false)) << s;
    ASSERT_EQ(rook_attacks(s, occ), slider_attacks_slow(s, occ, true)) << s;
  }
  // The walk itself: a rook on a1 sees the nearest blockers, and squares outside its mask don't matter.
  EXPECT_EQ(rook_attacks(0, squares({"a4", "d1"})), squares({"a2", "a3", "a4", "b1", "c1", "d1"}));
  EXPECT_EQ(rook_attacks(0, 0), rook_attacks(0, squares({"h1", "a8"})));
}

TEST(LineTables, BetweenIsOneSidedAndIncludesTarget) {
  const Square a1 = 0, a8 = 56, b1 = 1, c3 = 18;
  EXPECT_EQ(BETWEEN[a1][a1] | BETWEEN[b1][c3], 0u);
  EXPECT_EQ(DIRECTION[a1][a1], NO_DIRECTION);
  EXPECT_EQ(DIRECTION[b1][c3], NO_DIRECTION);  // knight-distance pairs share no line
  EXPECT_EQ(BETWEEN[a1][8], squares({"a2"}));
  EXPECT_EQ(BETWEEN[a1][a8], 0x0101010101010100ull);
  EXPECT_EQ(BETWEEN[a8][a1], 0x0001010101010101ull);
}

TEST(CastlingTables, SquaresThatMustBeEmptyAndBeyond) {
  // {king, rook, must_be_empty, beyond}
  const std::tuple<const char*, const char*, Bitboard, Bitboard> cases[] = {
      {"e1", "h1", squares({"f1", "g1"}), 0},  {"e1", "a1", squares({"b1", "c1", "d1"}), 0},
      {"g1", "h1", squares({"f1"}), 0},        {"f1", "g1", 0, squares({"h1"})},
      {"b1", "a1", squares({"c1", "d1"}), 0},  {"c1", "b1", squares({"d1"}), squares({"a1"})},
  };
  for (const auto& [king, rook, must_be_empty, beyond] : cases) {
    const CastlingClearEntry& e = CASTLING_CLEAR[square_named(king) - 1][square_named(rook)];
    EXPECT_EQ(e.must_be_empty, must_be_empty) << king << " " << rook;
    EXPECT_EQ(e.beyond, beyond) << king << " " << rook;
  }
  // A king on b1 still crosses c1 on the queen side; one on g1 crosses nothing on the king side.
  EXPECT_EQ(CASTLING_GUARD_QUEENSIDE[0].path_length, 1);
  EXPECT_EQ(CASTLING_GUARD_KINGSIDE[5].path_length, 0);
}

}  // namespace
