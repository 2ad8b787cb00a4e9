// Legality, gives-check and stored-move tests against slow brute force along random games,
// and the hand-picked positions where a shortcut in these tests would go wrong.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "board/fen_write.h"
#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/movegen.h"
#include "helpers/board_fixtures.h"
#include "helpers/random_games.h"

namespace {

std::string fen_of(const Position& pos) {
  char text[FEN_BUFFER_SIZE];
  position_to_fen(pos, text, true);
  return text;
}

// After the move, is the mover's own king attacked? (Made on the stack, then undone.)
bool leaves_king_attacked(ThreadData& thread, Move m) {
  make_move(thread, m, nullptr);
  const Position& after = *thread.current_position;
  const bool attacked = slow_attackers(after, enemy_king_square(after), after.bb[OWN]) != 0;
  undo_move(thread);
  return attacked;
}

// After the move, is the opponent's king attacked?
bool gives_check_slowly(ThreadData& thread, Move m) {
  make_move(thread, m, nullptr);
  const Position& after = *thread.current_position;
  const bool check = slow_attackers(after, own_king_square(after), enemy_pieces(after)) != 0;
  undo_move(thread);
  return check;
}

// legality_attackers judges every pseudo-legal move as the slow test does, and the legal moves
// carry the check bit of the slow test, both from generate_legal and from mark_gives_check.
void check_position(ThreadData& thread, const ScoredMove* legal_begin, const ScoredMove* legal_end) {
  const Position pos = *thread.current_position;
  ScoredMove pseudo[MAX_MOVES];
  ScoredMove* end;
  if (in_check(pos)) {
    end = generate_evasions(pos, pseudo, true);
  } else {
    end = generate_captures(pos, pseudo);
    end = generate_underpromotions(pos, end);
    end = generate_quiets(pos, end, false);
  }
  for (const ScoredMove* sm = pseudo; sm != end; ++sm) {
    const Move m = sm->move & MOVE_SAME_MASK;
    ASSERT_EQ(legality_attackers(pos, m) != 0, leaves_king_attacked(thread, m)) << fen_of(pos) << " move " << std::hex << m;
  }
  for (const ScoredMove* sm = legal_begin; sm != legal_end; ++sm) {
    Move marked = sm->move & MOVE_SAME_MASK;
    mark_gives_check(pos, &marked);
    const bool slow = gives_check_slowly(thread, marked);
    ASSERT_EQ((marked & MOVE_GIVES_CHECK) != 0, slow) << fen_of(pos) << " move " << std::hex << marked;
    ASSERT_EQ(sm->move, marked) << fen_of(pos);
  }
}

// Pawn moves whose promotion bit disagrees with the target rank are never stored (a move with
// the key of this position was made in it), and is_pseudo_legal does not look at the rank.
bool unstored_pawn_shape(const Position& pos, ShortMove s) {
  const Square f = s & 63, t = (s >> 6) & 63;
  return (pos.bb[PAWN] & pos.bb[OWN] & bit(f)) && (((s & 0x4000) != 0) != (rank_of(t) == 7));
}

// validate_hash_move accepts exactly the short forms of the legal moves and gives the full move back.
void sweep_short_moves(ThreadData& thread, const ScoredMove* begin, const ScoredMove* end) {
  const Position& pos = *thread.current_position;
  std::map<ShortMove, Move> legal;
  for (const ScoredMove* sm = begin; sm != end; ++sm) legal[short_move_of(sm->move)] = sm->move;
  for (int s = 0; s < 32768; ++s) {
    if (unstored_pawn_shape(pos, ShortMove(s))) continue;
    auto it = legal.find(ShortMove(s));
    const Move expected = it == legal.end() ? 0 : it->second;
    ASSERT_EQ(validate_hash_move(thread, ShortMove(s)), expected) << fen_of(pos) << " short move " << std::hex << s;
  }
}

void walk(const char* fen, int plies, uint64_t seed, int sweep_every) {
  int ply = 0;
  RandomGameVisitor visitor;
  visitor.at_position = [&](ThreadData& thread, const ScoredMove* begin, const ScoredMove* end) {
    check_position(thread, begin, end);
    if (++ply % sweep_every == 0) sweep_short_moves(thread, begin, end);
  };
  play_random_games(fen, plies, seed, visitor);
}

TEST(MoveChecksRandomGames, StandardChess) {
  Chess960Option option(false);
  walk(START_FEN, 6000, 7, 20);
}

TEST(MoveChecksRandomGames, Chess960) {
  Chess960Option option(true);
  uint64_t seed = 70;
  for (const char* fen : CHESS960_STARTS) walk(fen, 2000, ++seed, 20);
}

Bitboard attackers_of(const char* fen, const char* token) {
  Position pos;
  read_fen(pos, fen);
  return legality_attackers(pos, move_named(pos, token));
}

TEST(LegalityAttackers, HandPickedPositions) {
  // The knight on e2 is pinned by the rook on e8.
  EXPECT_EQ(attackers_of("4r1k1/8/8/8/8/8/4N3/4K3 w - - 0 1", "e2c3"), bit(square_named("e8")));
  // En passant takes both pawns off the fifth rank and opens it for the rook on h5.
  EXPECT_NE(attackers_of("7k/8/8/KPp4r/8/8/8/8 w - c6 0 1", "b5c6"), 0u);
  EXPECT_EQ(attackers_of("7k/8/8/KPp5/8/8/8/7r w - c6 0 1", "b5c6"), 0u);
  // Black's en passant on the fourth rank, seen in Black's frame.
  EXPECT_NE(attackers_of("8/8/8/8/k2pP2R/8/8/7K b - e3 0 1", "d4e3"), 0u);
  // A king may not step next to the other king.
  EXPECT_NE(attackers_of("8/8/8/3k4/8/3K4/8/8 w - - 0 1", "d3d4"), 0u);
  EXPECT_EQ(attackers_of("8/8/8/3k4/8/3K4/8/8 w - - 0 1", "d3c3"), 0u);
  // Stepping back along the checking rook's file stays in check: the old square is empty now.
  EXPECT_NE(attackers_of("4r2k/8/8/8/4K3/8/8/8 w - - 0 1", "e4e3"), 0u);
  EXPECT_EQ(attackers_of("4r2k/8/8/8/4K3/8/8/8 w - - 0 1", "e4d3"), 0u);
  // Capturing the checker with the king, when something guards it, is refused.
  EXPECT_NE(attackers_of("4r2k/8/8/8/8/8/4r3/4K3 w - - 0 1", "e1e2"), 0u);
  EXPECT_EQ(attackers_of("7k/8/8/8/8/8/4r3/4K3 w - - 0 1", "e1e2"), 0u);
}

bool gives_check(const char* fen, const char* token) {
  Position pos;
  read_fen(pos, fen);
  return move_named(pos, token) & MOVE_GIVES_CHECK;
}

TEST(MarkGivesCheck, PromotionsUseThePromotedPiece) {
  // Rook on b8 sees h8 along the back rank; a knight there does not.
  EXPECT_TRUE(gives_check("7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8r"));
  EXPECT_TRUE(gives_check("7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8q"));
  EXPECT_FALSE(gives_check("7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8n"));
  EXPECT_FALSE(gives_check("7k/1P6/8/8/8/8/8/K7 w - - 0 1", "b7b8b"));
  // The knight on b8 checks d7; the rook does not.
  EXPECT_TRUE(gives_check("8/1P1k4/8/8/8/8/8/K7 w - - 0 1", "b7b8n"));
  EXPECT_FALSE(gives_check("8/1P1k4/8/8/8/8/8/K7 w - - 0 1", "b7b8r"));
  // Black promotes on a1 with check along the first rank.
  EXPECT_TRUE(gives_check("k7/8/8/8/8/8/1p6/7K b - - 0 1", "b2b1q"));
  EXPECT_FALSE(gives_check("k7/8/8/8/8/8/1p6/7K b - - 0 1", "b2b1n"));
  // En passant uncovering a bishop through the captured pawn's square, or a rook through the
  // capturing pawn's square.
  EXPECT_TRUE(gives_check("7k/b7/8/8/3Pp3/8/8/6K1 b - d3 0 1", "e4d3"));
  EXPECT_TRUE(gives_check("4r2k/8/8/8/3Pp3/8/8/4K3 b - d3 0 1", "e4d3"));
  EXPECT_FALSE(gives_check("7k/8/8/8/3Pp3/8/8/4K3 b - d3 0 1", "e4d3"));
}

TEST(MarkGivesCheck, CastlingChecksByTheRook) {
  EXPECT_TRUE(gives_check("5k2/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1"));
  EXPECT_FALSE(gives_check("6k1/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1"));
  EXPECT_TRUE(gives_check("3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1"));
  // The rook on d1 looks along the rank past the empty e1.
  EXPECT_TRUE(gives_check("8/8/8/8/8/8/8/R3K2k w Q - 0 1", "e1c1"));
  Chess960Option option(true);
  EXPECT_TRUE(gives_check("5k2/8/8/8/8/8/8/6KR w H - 0 1", "g1h1"));
  EXPECT_TRUE(gives_check("3k4/8/8/8/8/8/8/1RK5 w B - 0 1", "c1b1"));
}

TEST(StoredMoves, HandPickedPositions) {
  auto thread = thread_at(START_FEN);
  const Position& start = *thread->current_position;
  EXPECT_FALSE(is_pseudo_legal(start, 0));
  EXPECT_EQ(validate_hash_move(*thread, 0), 0u);
  EXPECT_EQ(validate_hash_move(*thread, short_move_of(move_named(start, "e2e4"))), move_named(start, "e2e4"));

  // In check from the rook on e8: a move that ignores the check is refused, a block is not.
  auto checked = thread_at("4r2k/8/8/8/8/8/P7/4K3 w - - 0 1");
  const Position& pos = *checked->current_position;
  EXPECT_EQ(validate_hash_move(*checked, short_move_of(move_named(pos, "a2a3"))), 0u);
  EXPECT_NE(validate_hash_move(*checked, short_move_of(move_named(pos, "e1d1"))), 0u);
  EXPECT_EQ(validate_hash_move(*checked, short_move_of(move_named(pos, "e1e2"))), 0u);

  // A remembered bishop move c1-g5: possible while the diagonal is clear, not once a piece stands
  // on the way or on the target.
  const Move bishop_move = make_move_word(BISHOP, square_named("c1"), square_named("g5"));
  EXPECT_TRUE(is_possible_quiet(*thread_at("4k3/8/8/8/8/8/8/2B1K3 w - - 0 1"), bishop_move));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/6p1/8/8/8/2B1K3 w - - 0 1"), bishop_move));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/6N1/8/8/8/2B1K3 w - - 0 1"), bishop_move));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/8/8/4P3/8/2B1K3 w - - 0 1"), bishop_move));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/8/8/8/8/2N1K3 w - - 0 1"), bishop_move));
  EXPECT_FALSE(is_possible_quiet(*thread_at(START_FEN), 0));
  // Castling as a remembered move needs the right and a free path.
  const Move castle = make_move_word(KING, square_named("e1"), square_named("g1")) | MOVE_CASTLING;
  EXPECT_TRUE(is_possible_quiet(*thread_at("4k3/8/8/8/8/8/8/4K2R w K - 0 1"), castle));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/8/8/8/8/4K2R w - - 0 1"), castle));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/8/8/8/8/4KB1R w K - 0 1"), castle));
  EXPECT_FALSE(is_possible_quiet(*thread_at("4k3/8/8/8/8/4n3/8/4K2R w K - 0 1"), castle));
}

}  // namespace
