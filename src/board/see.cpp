#include "board/see.h"

#include "search/thread_data.h"

namespace {

// The pieces of either side that attack target.
inline Bitboard attackers_of(const Position& pos, Square target) {
  const Bitboard occupied = pos.bb[OCCUPIED];
  return (KNIGHT_ATTACKS[target] & pos.bb[KNIGHT]) | (rook_attacks(target, occupied) & (pos.bb[ROOK] | pos.bb[QUEEN])) |
         (bishop_attacks(target, occupied) & (pos.bb[BISHOP] | pos.bb[QUEEN])) | (KING_ATTACKS[target] & pos.bb[KING]) |
         (own_pawn_attackers_of(target) & pos.bb[OWN] & pos.bb[PAWN]) |
         (enemy_pawn_attackers_of(target) & enemy_pieces(pos) & pos.bb[PAWN]);
}

}  // namespace

int see_position(const Position& pos, Move m) {
  const int piece = move_piece(m);
  // A legal king move can't be answered on its square.
  if (piece == KING) return SEE_VALUES[move_captured(m)];

  const Square target = move_to(m);
  const Bitboard occupied = pos.bb[OCCUPIED];
  const Bitboard bishops_queens = pos.bb[BISHOP] | pos.bb[QUEEN];
  const Bitboard rooks_queens = pos.bb[ROOK] | pos.bb[QUEEN];
  Bitboard attackers = attackers_of(pos, target);
  Bitboard side = enemy_pieces(pos);

  int gain[32];
  gain[0] = SEE_VALUES[move_captured(m)];
  int on_target = SEE_VALUES[piece];
  if (m & MOVE_PROMOTION) {
    on_target = SEE_VALUES[move_promotion(m)];
    gain[0] += on_target - SEE_VALUES[PAWN];
  }

  // The mover leaves; a pawn may have come up the file, so it uncovers both lines.
  const Bitboard from_bit = bit(move_from(m));
  Bitboard occ = occupied & ~from_bit;
  attackers &= ~from_bit;
  if (piece == PAWN || piece == BISHOP || piece == QUEEN) attackers |= bishop_attacks(target, occ) & bishops_queens & occ;
  if (piece == PAWN || piece == ROOK || piece == QUEEN) attackers |= rook_attacks(target, occ) & rooks_queens & occ;

  int n = 1;
  while (Bitboard candidates = side & attackers) {
    int type = PAWN;
    Bitboard of_type = candidates & pos.bb[PAWN];
    while (!of_type) of_type = candidates & pos.bb[++type];
    if (type == KING) {
      // The king may only take last, when nothing guards the square any more.
      if (attackers & ~side) break;
      gain[n] = on_target - gain[n - 1];
      ++n;
      break;
    }
    gain[n] = on_target - gain[n - 1];
    const int value = SEE_VALUES[type];
    // The side that just captured stays ahead even if it loses this piece at once.
    if (gain[n++] > value) break;
    const Bitboard b = lowest_bit(of_type);
    attackers &= ~b;
    occ &= ~b;
    if (type == PAWN || type == BISHOP || type == QUEEN) attackers |= bishop_attacks(target, occ) & bishops_queens & occ;
    if (type == ROOK || type == QUEEN) attackers |= rook_attacks(target, occ) & rooks_queens & occ;
    on_target = value;
    side ^= occupied;
  }

  while (--n > 0) gain[n - 1] = gain[n - 1] < -gain[n] ? gain[n - 1] : -gain[n];
  return gain[0];
}

int see(const ThreadData& thread, Move m) { return see_position(*thread.current_position, m); }
