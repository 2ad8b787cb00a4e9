// The hand-picked positions where a shortcut in the legality, gives-check and stored-move
// tests would go wrong.
#include <gtest/gtest.h>

#include "board/move_checks.h"
#include "helpers/board_fixtures.h"

namespace {

TEST(MoveChecks, LegalityAndGivesCheck) {
  const struct {
    const char *fen, *move;
    bool legal, check;
  } cases[] = {
      {"4r1k1/8/8/8/8/8/4N3/4K3 w - - 0 1", "e2c3", false, false},  // knight pinned by the rook
      // En passant takes both pawns off the fifth rank and opens it for the rook on h5.
      {"7k/8/8/KPp4r/8/8/8/8 w - c6 0 1", "b5c6", false, false},
      {"7k/8/8/KPp5/8/8/8/7r w - c6 0 1", "b5c6", true, false},
      {"8/8/8/8/k2pP2R/8/8/7K b - e3 0 1", "d4e3", false, false},  // Black's, in Black's frame
      {"8/8/8/3k4/8/3K4/8/8 w - - 0 1", "d3d4", false, false},     // next to the other king
      {"8/8/8/3k4/8/3K4/8/8 w - - 0 1", "d3c3", true, false},
      // Stepping back along the checking rook's file: the old square no longer shields.
      {"4r2k/8/8/8/4K3/8/8/8 w - - 0 1", "e4e3", false, false},
      {"4r2k/8/8/8/4K3/8/8/8 w - - 0 1", "e4d3", true, false},
      {"4r2k/8/8/8/8/8/4r3/4K3 w - - 0 1", "e1e2", false, false},  // the checker is guarded
      {"7k/8/8/8/8/8/4r3/4K3 w - - 0 1", "e1e2", true, false},
      // Promotions check with the promoted piece.
      {"7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8r", true, true},
      {"7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8q", true, true},
      {"7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8n", true, false},
      {"7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8b", true, false},
      {"8/1P1k4/8/8/8/8/8/K7 w - - 0 1", "b7b8n", true, true},
      {"8/1P1k4/8/8/8/8/8/K7 w - - 0 1", "b7b8r", true, false},
      {"k7/8/8/8/8/8/1p6/7K b - - 0 1", "b2b1q", true, true},
      {"k7/8/8/8/8/8/1p6/7K b - - 0 1", "b2b1n", true, false},
      // En passant uncovering a bishop through the captured pawn's square, or a rook through
      // the capturing pawn's square.
      {"7k/b7/8/8/3Pp3/8/8/6K1 b - d3 0 1", "e4d3", true, true},
      {"4r2k/8/8/8/3Pp3/8/8/4K3 b - d3 0 1", "e4d3", true, true},
      {"7k/8/8/8/3Pp3/8/8/4K3 b - d3 0 1", "e4d3", true, false},
  };
  for (const auto& c : cases) {
    const Position pos = position_of(c.fen);
    const Move m = move_named(pos, c.move);
    EXPECT_EQ(legality_attackers(pos, m) == 0, c.legal) << c.fen << " " << c.move;
    if (c.legal) {
      EXPECT_EQ(bool(m & MOVE_GIVES_CHECK), c.check) << c.fen << " " << c.move;
    }
  }
}

TEST(MoveChecks, StoredMoves) {
  // In check from the rook on e8: a hash move that ignores the check is refused, a step aside is not.
  auto checked = thread_at("4r2k/8/8/8/8/8/P7/4K3 w - - 0 1");
  const Position& pos = *checked->current_position;
  EXPECT_EQ(validate_hash_move(*checked, short_move_of(move_named(pos, "a2a3"))), 0u);
  EXPECT_EQ(validate_hash_move(*checked, short_move_of(move_named(pos, "e1e2"))), 0u);
  EXPECT_EQ(validate_hash_move(*checked, short_move_of(move_named(pos, "e1d1"))), move_named(pos, "e1d1"));
  EXPECT_FALSE(is_pseudo_legal(pos, 0));

  // A remembered bishop move, once a piece stands on its target or its way; a remembered castling
  // once a knight guards the king's way.
  const Move bishop = make_move_word(BISHOP, square_named("c1"), square_named("g5"));
  EXPECT_TRUE(is_possible_quiet(*thread_at("4k3/8/8/8/8/8/8/2B1K3 w - - 0 1"), bishop));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/6p1/8/8/8/2B1K3 w - - 0 1"), bishop));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/8/8/4P3/8/2B1K3 w - - 0 1"), bishop));
  const Move castle = make_move_word(KING, square_named("e1"), square_named("g1")) | MOVE_CASTLING;
  EXPECT_TRUE(is_possible_quiet(*thread_at("4k3/8/8/8/8/8/8/4K2R w K - 0 1"), castle));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/8/8/4n3/8/4K2R w K - 0 1"), castle));
  EXPECT_FALSE(is_possible_quiet(*checked, 0));
}

}  // namespace
