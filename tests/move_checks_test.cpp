// The hand-picked positions where a shortcut in the generators (which stage lists which
// move), the legality, gives-check and stored-move tests would go wrong.
#include <gtest/gtest.h>

#include <algorithm>

#include "board/move_checks.h"
#include "board/movegen.h"
#include "helpers/board_fixtures.h"

namespace {

enum Stage { QUIETS, CHECKS_ONLY, EVASIONS, EVASIONS_QUEEN_ONLY };
enum Listed { ABSENT, LISTED, CHECKING };  // CHECKING: listed with the gives-check bit

TEST(MoveGeneration, EdgeCases) {
  const struct {
    const char* fen;
    const char* move;  // castling as the king taking its own rook
    Stage stage;
    Listed expected;
  } cases[] = {
      // Double check by rook e8 and knight d3: only the king moves, nothing takes the knight.
      {"4r2k/8/8/8/8/R2n4/8/4K3 w - - 0 1", "e1f1", EVASIONS, LISTED},
      {"4r2k/8/8/8/8/R2n4/8/4K3 w - - 0 1", "a3d3", EVASIONS, ABSENT},
      // A check by the pawn that has just stepped twice is answered en passant; a check that
      // the step uncovered is not, as the target square blocks nothing.
      {"8/8/8/3pP3/4K3/8/8/7k w - d6 0 1", "e5d6", EVASIONS_QUEEN_ONLY, LISTED},
      {"6b1/8/8/3KPp2/8/8/8/7k w - f6 0 2", "e5f6", EVASIONS, ABSENT},
      // The checker on the last rank taken by a pawn: with the underpromotions, or the queen alone.
      {"7r/6P1/8/8/8/8/8/k6K w - - 0 1", "g7h8q", EVASIONS, LISTED},
      {"7r/6P1/8/8/8/8/8/k6K w - - 0 1", "g7h8n", EVASIONS, LISTED},
      {"7r/6P1/8/8/8/8/8/k6K w - - 0 1", "g7h8q", EVASIONS_QUEEN_ONLY, LISTED},
      {"7r/6P1/8/8/8/8/8/k6K w - - 0 1", "g7h8n", EVASIONS_QUEEN_ONLY, ABSENT},
      // A knight in front of its rook checks wherever it goes.
      {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "e4c3", CHECKS_ONLY, CHECKING},
      {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "g1f1", CHECKS_ONLY, ABSENT},
      // Castling that checks by the rook is marked, but left out of checks only.
      {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", "e1h1", QUIETS, CHECKING},
      {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", "e1h1", CHECKS_ONLY, ABSENT},
      {"8/8/8/8/8/8/8/1k1K3R w H - 0 1", "d1h1", QUIETS, CHECKING},  // along the rank the king left
      {"8/8/8/8/8/8/8/R3K1k1 w Q - 0 1", "e1a1", QUIETS, CHECKING},
      {"3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1a1", QUIETS, CHECKING},
      // Standard chess: a knight on e3 attacks d1 and f1.
      {"r3k2r/8/8/8/8/4n3/8/R3K2R w KQkq - 0 1", "e1a1", QUIETS, ABSENT},
      {"r3k2r/8/8/8/8/4n3/8/R3K2R w KQkq - 0 1", "e1h1", QUIETS, ABSENT},
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1h1", QUIETS, LISTED},
      // Chess960: king b1 and rook a1 need c1 and d1 empty, and c1 unattacked.
      {"1k6/8/8/8/8/8/8/RK6 w A - 0 1", "b1a1", QUIETS, LISTED},
      {"1k6/8/8/8/8/8/8/RK1N4 w A - 0 1", "b1a1", QUIETS, ABSENT},
      {"1kr5/8/8/8/8/8/8/RK6 w A - 0 1", "b1a1", QUIETS, ABSENT},
      {"1k1r4/8/8/8/8/8/8/RK6 w A - 0 1", "b1a1", QUIETS, LISTED},  // d1 is the rook's only
      // An enemy rook on a1, screened by the own rook on b1, sees c1 once the rook has left.
      {"4k3/8/8/8/8/8/8/rRK5 w B - 0 1", "c1b1", QUIETS, ABSENT},
      {"4k3/8/8/8/8/8/8/1RK5 w B - 0 1", "c1b1", QUIETS, LISTED},
      // The same on the king side: king f1 and rook g1 swap, and a rook on h1 sees g1.
      {"4k3/8/8/8/8/8/8/5KRr w G - 0 1", "f1g1", QUIETS, ABSENT},
      // King g1 and rook h1: only f1 must be empty, and the king's way is empty.
      {"4k3/8/8/8/8/8/8/6KR w H - 0 1", "g1h1", QUIETS, LISTED},
      {"4kr2/8/8/8/8/8/8/6KR w H - 0 1", "g1h1", QUIETS, LISTED},
      {"4k3/8/8/8/8/8/8/5NKR w H - 0 1", "g1h1", QUIETS, ABSENT},
  };
  for (const auto& c : cases) {
    const Position pos = position_of(c.fen);
    const Move m = move_named(pos, c.move);
    ScoredMove list[MAX_MOVES];
    const ScoredMove* const begin = list;
    const ScoredMove* const end = c.stage == QUIETS        ? generate_quiets(pos, list, false)
                                  : c.stage == CHECKS_ONLY ? generate_quiets(pos, list, true)
                                                           : generate_evasions(pos, list, c.stage == EVASIONS);
    const ScoredMove* found = std::find_if(begin, end, [m](const ScoredMove& sm) { return same_move(sm.move, m); });
    const Listed listed = found == end ? ABSENT : (found->move & MOVE_GIVES_CHECK) ? CHECKING : LISTED;
    EXPECT_EQ(listed, c.expected) << c.fen << " " << c.move;
  }
}

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
