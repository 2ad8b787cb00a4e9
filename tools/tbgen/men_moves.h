#pragma once
// Moves over the generator's list of men: a position is a square per man (NO_SQUARE once
// captured) and a side to move. The attack tables are the engine's own.
#include "board/attacks.h"
#include "tbgen/signature.h"

struct ManMove {
  int man;
  int from;
  int to;
  int victim;     // captured man, or -1
  int promotion;  // piece type, or 0
  bool double_push;
};

Bitboard occupancy(const Layout& l, const int* squares);
Bitboard men_of_colour(const Layout& l, const int* squares, int colour);
Bitboard man_attacks(int kind, int colour, int square, Bitboard occupied);
bool square_attacked(const Layout& l, const int* squares, Bitboard occupied, int square, int by_colour);
// The king of colour `colour` stands attacked.
bool king_attacked(const Layout& l, const int* squares, int colour);
// Two men on one square, or the side not to move in check: no position of the game.
bool position_valid(const Layout& l, const int* squares, int side);

// Calls visit(ManMove) for every legal move of `side` (no castling, no en passant: the
// tables hold positions without an en-passant right).
template <typename Visit>
void for_each_legal_move(const Layout& l, int* squares, int side, Visit visit) {
  const Bitboard occupied = occupancy(l, squares);
  const Bitboard own = men_of_colour(l, squares, side);
  const int up = side == 0 ? 8 : -8;
  for (int m = 0; m < l.men; ++m) {
    if (l.colour[m] != side || squares[m] == NO_SQUARE) continue;
    const int from = squares[m];
    auto play = [&](int to, bool double_push) {
      int victim = -1;
      if (occupied & bit(to))
        for (int v = 0; v < l.men; ++v)
          if (squares[v] == to) victim = v;
      squares[m] = to;
      if (victim >= 0) squares[victim] = NO_SQUARE;
      const bool legal = !king_attacked(l, squares, side);
      squares[m] = from;
      if (victim >= 0) squares[victim] = to;
      if (!legal) return;
      const bool promotes = l.kind[m] == PAWN && (rank_of(to) == 0 || rank_of(to) == 7);
      if (!promotes) {
        visit(ManMove{m, from, to, victim, 0, double_push});
        return;
      }
      for (int k = QUEEN; k >= KNIGHT; --k) visit(ManMove{m, from, to, victim, k, false});
    };
    if (l.kind[m] == PAWN) {
      const int one = from + up;
      if (!(occupied & bit(one))) {
        play(one, false);
        const int start_rank = side == 0 ? 1 : 6;
        if (rank_of(from) == start_rank && !(occupied & bit(one + up))) play(one + up, true);
      }
      Bitboard targets = man_attacks(PAWN, side, from, occupied) & occupied & ~own;
      for (; targets; targets &= targets - 1) play(lsb(targets), false);
    } else {
      Bitboard targets = man_attacks(l.kind[m], side, from, occupied) & ~own;
      for (; targets; targets &= targets - 1) play(lsb(targets), false);
    }
  }
}
