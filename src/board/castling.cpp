#include "board/castling.h"

bool castling_allowed(const Position& pos, bool king_side) {
  const int rook_file = king_side ? own_king_side_rook(pos) : own_queen_side_rook(pos);
  const int king_file = file_of(own_king_square(pos));
  const CastlingClearEntry& e = CASTLING_CLEAR[king_file - 1][rook_file];
  const CastlingGuard& g = king_side ? CASTLING_GUARD_KINGSIDE[king_file - 1] : CASTLING_GUARD_QUEENSIDE[king_file - 1];
  const Bitboard occ = pos.bb[OCCUPIED];
  if (e.must_be_empty & occ) return false;

  // Once the rook has left, a rook or queen further out on the rank may see the king's path.
  Bitboard rook_liners = e.beyond & occ;
  if (!king_side && rook_liners) rook_liners = bit(msb(rook_liners));
  Bitboard bishop_liners = 0;
  for (int i = 0; i < g.path_length; ++i) {
    rook_liners |= lowest_bit(g.file_ray[i] & occ);
    bishop_liners |= lowest_bit(g.ne_ray[i] & occ) | lowest_bit(g.nw_ray[i] & occ);
  }
  const Bitboard attackers = (g.enemy_king & pos.bb[KING]) | (g.enemy_pawn & pos.bb[PAWN]) |
                             (g.enemy_knight & pos.bb[KNIGHT]) | (rook_liners & (pos.bb[ROOK] | pos.bb[QUEEN])) |
                             (bishop_liners & (pos.bb[BISHOP] | pos.bb[QUEEN]));
  return (attackers & enemy_pieces(pos)) == 0;
}
