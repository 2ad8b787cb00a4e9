#include "helpers/reference_moves.h"

#include <cstdlib>

namespace {

struct Board {
  int type[64];  // 0 for an empty square
  bool own[64];
};

Board board_of(const Position& pos) {
  Board b{};
  for (Square s = 0; s < 64; ++s) {
    for (int t = PAWN; t <= KING; ++t)
      if ((pos.bb[t] >> s) & 1) b.type[s] = t;
    b.own[s] = (pos.bb[OWN] >> s) & 1;
  }
  return b;
}

int sign(int x) { return (x > 0) - (x < 0); }

// Squares strictly between a and b are empty; a and b lie on one line.
bool path_clear(const Board& b, Square a, Square c) {
  const int df = sign(file_of(c) - file_of(a)), dr = sign(rank_of(c) - rank_of(a));
  for (Square s = a + df + 8 * dr; s != c; s += df + 8 * dr)
    if (b.type[s]) return false;
  return true;
}

// Whether the piece on from attacks square to (own pawns attack upwards, enemy pawns downwards).
bool attacks(const Board& b, Square from, Square to) {
  const int df = file_of(to) - file_of(from), dr = rank_of(to) - rank_of(from);
  const int adf = std::abs(df), adr = std::abs(dr);
  if (from == to) return false;
  switch (b.type[from]) {
    case PAWN: return adf == 1 && dr == (b.own[from] ? 1 : -1);
    case KNIGHT: return (adf == 1 && adr == 2) || (adf == 2 && adr == 1);
    case BISHOP: return adf == adr && path_clear(b, from, to);
    case ROOK: return (df == 0 || dr == 0) && path_clear(b, from, to);
    case QUEEN: return (adf == adr || df == 0 || dr == 0) && path_clear(b, from, to);
    case KING: return adf <= 1 && adr <= 1;
    default: return false;
  }
}

bool attacked(const Board& b, Square s, bool by_own) {
  for (Square q = 0; q < 64; ++q)
    if (b.type[q] && b.own[q] == by_own && attacks(b, q, s)) return true;
  return false;
}

Square king_of(const Board& b, bool own) {
  for (Square s = 0; s < 64; ++s)
    if (b.type[s] == KING && b.own[s] == own) return s;
  return -1;
}

// The board after the move; the rook of a castling comes from the right's file.
Board play(const Position& pos, const Board& before, Move m) {
  Board b = before;
  const Square from = move_from(m), to = move_to(m);
  if (m & MOVE_CASTLING) {
    const bool king_side = to == 6;
    const Square rook = king_side ? own_king_side_rook(pos) : own_queen_side_rook(pos);
    b.type[from] = b.type[rook] = 0;
    b.type[to] = KING;
    b.own[to] = true;
    b.type[king_side ? 5 : 3] = ROOK;
    b.own[king_side ? 5 : 3] = true;
    return b;
  }
  if (m & MOVE_EN_PASSANT) b.type[to - 8] = 0;
  b.type[to] = (m & MOVE_PROMOTION) ? move_promotion(m) : b.type[from];
  b.own[to] = true;
  b.type[from] = 0;
  return b;
}

bool leaves_king_safe(const Position& pos, const Board& b, Move m) {
  const Board after = play(pos, b, m);
  return !attacked(after, king_of(after, true), false);
}

// Whether a piece of this kind could go from -> to on this board, captures included.
bool reaches(const Board& b, Square from, Square to) {
  if (b.type[to] && b.own[to]) return false;
  return attacks(b, from, to);
}

void add_castlings(const Position& pos, const Board& b, std::vector<Move>& moves) {
  const Square king = king_of(b, true);
  if (attacked(b, king, false)) return;
  for (const bool king_side : {false, true}) {
    const int rook = king_side ? own_king_side_rook(pos) : own_queen_side_rook(pos);
    if (rook == NO_RIGHT || b.type[rook] != ROOK || !b.own[rook]) continue;
    const Square king_to = king_side ? 6 : 2, rook_to = king_side ? 5 : 3;
    // Every square the king or the rook crosses or lands on is empty but for the two of them.
    bool ok = true;
    const auto span_empty = [&](Square a, Square c) {
      for (Square s = std::min(a, c); s <= std::max(a, c); ++s)
        if (b.type[s] && s != king && s != rook) ok = false;
    };
    span_empty(king, king_to);
    span_empty(rook, rook_to);
    // No square of the king's way may be attacked, judged with both pieces lifted.
    Board lifted = b;
    lifted.type[king] = lifted.type[rook] = 0;
    for (Square s = std::min(king, king_to); ok && s <= std::max(king, king_to); ++s)
      if (attacked(lifted, s, false)) ok = false;
    const Move m = make_move_word(KING, king, king_to) | MOVE_CASTLING;
    if (ok && leaves_king_safe(pos, b, m)) moves.push_back(m);
  }
}

}  // namespace

bool reference_gives_check(const Position& pos, Move m) {
  const Board after = play(pos, board_of(pos), m);
  return attacked(after, king_of(after, false), true);
}

bool reference_in_check(const Position& pos) {
  const Board b = board_of(pos);
  return attacked(b, king_of(b, true), false);
}

std::vector<Move> reference_legal_moves(const Position& pos) {
  const Board b = board_of(pos);
  std::vector<Move> candidates;
  const int ep = ep_file(pos);
  for (Square from = 0; from < 64; ++from) {
    if (!b.type[from] || !b.own[from]) continue;
    const int piece = b.type[from];
    for (Square to = 0; to < 64; ++to) {
      Move m = make_move_word(piece, from, to);
      if (piece == PAWN) {
        const bool forward = file_of(to) == file_of(from);
        const bool empty_to = !b.type[to];
        if (forward) {
          const bool single = to == from + 8 && empty_to;
          const bool twice = to == from + 16 && rank_of(from) == 1 && empty_to && !b.type[from + 8];
          if (!single && !twice) continue;
        } else if (!reaches(b, from, to)) {
          continue;
        } else if (empty_to) {
          if (ep == 8 || to != ep + 40) continue;
          m |= Move(PAWN) << 15 | MOVE_CAPTURE | MOVE_EN_PASSANT;
        } else {
          m |= Move(b.type[to]) << 15 | MOVE_CAPTURE;
        }
        if (rank_of(to) == 7) {
          for (int promotion = KNIGHT; promotion <= QUEEN; ++promotion)
            candidates.push_back(m | Move(promotion) << 18 | MOVE_PROMOTION);
          continue;
        }
      } else {
        if (!reaches(b, from, to)) continue;
        if (b.type[to]) m |= Move(b.type[to]) << 15 | MOVE_CAPTURE;
      }
      candidates.push_back(m);
    }
  }
  std::vector<Move> moves;
  for (const Move m : candidates)
    if (leaves_king_safe(pos, b, m)) moves.push_back(m);
  add_castlings(pos, b, moves);
  for (Move& m : moves)
    if (reference_gives_check(pos, m)) m |= MOVE_GIVES_CHECK;
  return moves;
}
