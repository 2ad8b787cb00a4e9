// Attack, line and castling tables against the slow ray walk and hand-checked values.
#include <gtest/gtest.h>

#include "board/attacks.h"
#include "board/zobrist.h"

namespace {

constexpr Square A1 = 0, B1 = 1, C3 = 18, A2 = 8, A8 = 56, E1 = 4, F1 = 5, G1 = 6, H1 = 7;

TEST(AttackTables, MagicLookupsEqualRayWalkOnRandomOccupancies) {
  uint64_t state = 12345;
  for (int i = 0; i < 20000; ++i) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    Bitboard occ = state & (state >> 7) & (state << 3);
    Square s = int(state >> 58);
    ASSERT_EQ(bishop_attacks(s, occ), slider_attacks_slow(s, occ, false)) << s;
    ASSERT_EQ(rook_attacks(s, occ), slider_attacks_slow(s, occ, true)) << s;
  }
}

TEST(AttackTables, FixedEntriesAndMasks) {
  EXPECT_EQ(MAGICS[64 + A1].mask, 0x101010101017eull);
  EXPECT_EQ(MAGICS[A1].mask, 0x40201008040200ull);
  EXPECT_EQ(MAGICS[A1].magic, 0x89a1121896040240ull);
  EXPECT_EQ(MAGICS[64 + 63].magic, 0x26002114058042ull);
  EXPECT_EQ(MAGICS[64 + 1].shift, 53u);
  // The slices fill the store exactly.
  EXPECT_EQ(MAGICS[127].attacks + (1 << 12), ATTACK_STORE + ATTACK_STORE_SIZE);
  EXPECT_EQ(KNIGHT_ATTACKS[A1], 0x20400ull);
  EXPECT_EQ(KING_ATTACKS[A1], 0x302ull);
  EXPECT_EQ(EP_RANK5[0], 0x200000000ull);
  EXPECT_EQ(EP_RANK5[1], 0x500000000ull);
  EXPECT_EQ(EP_RANK4[7], 0x40000000ull);
}

TEST(AttackTables, RookOnA1SeesNearestBlockersOnly) {
  Bitboard occ = bit(24) | bit(3);  // a4, d1
  EXPECT_EQ(rook_attacks(A1, occ), bit(8) | bit(16) | bit(24) | bit(1) | bit(2) | bit(3));
  EXPECT_EQ(rook_attacks(A1, 0), rook_attacks(A1, bit(H1) | bit(A8)));
}

TEST(LineTables, BetweenIsOneSidedAndIncludesTarget) {
  EXPECT_EQ(BETWEEN[A1][A1], 0u);
  EXPECT_EQ(DIRECTION[A1][A1], NO_DIRECTION);
  EXPECT_EQ(BETWEEN[A1][A2], bit(A2));
  EXPECT_EQ(BETWEEN[A1][A8], 0x0101010101010100ull);
  EXPECT_EQ(BETWEEN[A8][A1], 0x0001010101010101ull);
  EXPECT_EQ(BETWEEN[B1][C3], 0u);
  EXPECT_EQ(DIRECTION[B1][C3], NO_DIRECTION);
  EXPECT_EQ(DIRECTION[A1][H1], EAST);
  EXPECT_EQ(DIRECTION[H1][A8], NORTH_WEST);
}

TEST(CastlingTables, SquaresThatMustBeEmptyAndBeyond) {
  EXPECT_EQ(CASTLING_CLEAR[E1 - 1][H1].must_be_empty, bit(F1) | bit(G1));
  EXPECT_EQ(CASTLING_CLEAR[E1 - 1][H1].beyond, 0u);
  EXPECT_EQ(CASTLING_CLEAR[E1 - 1][A1].must_be_empty, bit(1) | bit(2) | bit(3));
  EXPECT_EQ(CASTLING_CLEAR[G1 - 1][H1].must_be_empty, bit(F1));
  EXPECT_EQ(CASTLING_CLEAR[F1 - 1][G1].must_be_empty, 0u);
  EXPECT_EQ(CASTLING_CLEAR[F1 - 1][G1].beyond, bit(H1));
  EXPECT_EQ(CASTLING_CLEAR[B1 - 1][A1].must_be_empty, bit(2) | bit(3));
  EXPECT_EQ(CASTLING_GUARD_QUEENSIDE[B1 - 1].path_length, 1);
  EXPECT_EQ(CASTLING_GUARD_QUEENSIDE[G1 - 1].path_length, 4);
  EXPECT_EQ(CASTLING_GUARD_KINGSIDE[B1 - 1].path_length, 5);
  EXPECT_EQ(CASTLING_GUARD_KINGSIDE[G1 - 1].path_length, 0);
}

TEST(Zobrist, GeneratorGivesKnownKeys) {
  EXPECT_EQ(ZOBRIST[0], 0x3E48CA43F3B16D8Cull);
  EXPECT_EQ(ZOBRIST[1], 0x8781D0149AFC367Dull);
  EXPECT_EQ(ZOBRIST[1024], 0x744E3CE0E5E87718ull);
  EXPECT_EQ(ZOBRIST[1036], 0x8C451EA563EF7AA6ull);
}

}  // namespace
