// The magic attack tables against the slow ray walk. (The line and castling tables meet their
// hand-picked cases in the generators' tests; perft and the board sweep use them at every
// position.)
#include <gtest/gtest.h>

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

}  // namespace
