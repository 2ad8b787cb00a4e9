#include "tbgen/men_moves.h"

namespace {
constexpr Bitboard FILE_A = 0x0101010101010101ull;
constexpr Bitboard FILE_H = 0x8080808080808080ull;
}  // namespace

Bitboard occupancy(const Layout& l, const int* squares) {
  Bitboard b = 0;
  for (int m = 0; m < l.men; ++m)
    if (squares[m] != NO_SQUARE) b |= bit(squares[m]);
  return b;
}

Bitboard men_of_colour(const Layout& l, const int* squares, int colour) {
  Bitboard b = 0;
  for (int m = 0; m < l.men; ++m)
    if (squares[m] != NO_SQUARE && l.colour[m] == colour) b |= bit(squares[m]);
  return b;
}

Bitboard man_attacks(int kind, int colour, int square, Bitboard occupied) {
  switch (kind) {
    case PAWN: {
      const Bitboard b = bit(square);
      return colour == 0 ? ((b << 7) & ~FILE_H) | ((b << 9) & ~FILE_A) : ((b >> 9) & ~FILE_H) | ((b >> 7) & ~FILE_A);
    }
    case KNIGHT: return KNIGHT_ATTACKS[square];
    case BISHOP: return bishop_attacks(square, occupied);
    case ROOK: return rook_attacks(square, occupied);
    case QUEEN: return queen_attacks(square, occupied);
    default: return KING_ATTACKS[square];
  }
}

bool square_attacked(const Layout& l, const int* squares, Bitboard occupied, int square, int by_colour) {
  for (int m = 0; m < l.men; ++m)
    if (l.colour[m] == by_colour && squares[m] != NO_SQUARE &&
        (man_attacks(l.kind[m], by_colour, squares[m], occupied) & bit(square)))
      return true;
  return false;
}

bool king_attacked(const Layout& l, const int* squares, int colour) {
  // Men 0 and 1 are the white and the black king.
  return square_attacked(l, squares, occupancy(l, squares), squares[colour], colour ^ 1);
}

bool position_valid(const Layout& l, const int* squares, int side) {
  Bitboard seen = 0;
  for (int m = 0; m < l.men; ++m) {
    if (seen & bit(squares[m])) return false;
    seen |= bit(squares[m]);
  }
  return !king_attacked(l, squares, side ^ 1);
}
