#include "helpers/reference_moves.h"

#include <algorithm>
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

// Squares strictly between a and c are empty; a and c lie on one line.
bool path_clear(const Board& b, Square a, Square c) {
  auto sign = [](int x) { return (x > 0) - (x < 0); };
  const int step = sign(file_of(c) - file_of(a)) + 8 * sign(rank_of(c) - rank_of(a));
  for (Square s = a + step; s != c; s += step)
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
    case KNIGHT: return adf * adr == 2;
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

bool king_attacked(const Board& b, bool own_king) {
  for (Square s = 0; s < 64; ++s)
    if (b.type[s] == KING && b.own[s] == own_king) return attacked(b, s, !own_king);
  return false;
}

// The board after the move; the rook of a castling comes from the right's file.
Board play(const Position& pos, Board b, Move m) {
  const Square from = move_from(m), to = move_to(m);
  if (m & MOVE_CASTLING) {
    const bool king_side = to == 6;
    b.type[from] = b.type[king_side ? own_king_side_rook(pos) : own_queen_side_rook(pos)] = 0;
    b.type[to] = KING;
    b.type[king_side ? 5 : 3] = ROOK;
    b.own[to] = b.own[king_side ? 5 : 3] = true;
    return b;
  }
  if (m & MOVE_EN_PASSANT) b.type[to - 8] = 0;
  b.type[to] = (m & MOVE_PROMOTION) ? move_promotion(m) : b.type[from];
  b.own[to] = true;
  b.type[from] = 0;
  return b;
}

// Castling by the rules: both squares of arrival free of other pieces, every square the king
// or the rook crosses too, and no square of the king's way attacked (with both pieces lifted).
void add_castlings(const Position& pos, const Board& b, std::vector<Move>& moves) {
  Square king = 0;
  while (!(b.type[king] == KING && b.own[king])) ++king;
  if (attacked(b, king, false)) return;
  for (const bool king_side : {false, true}) {
    const int rook = king_side ? own_king_side_rook(pos) : own_queen_side_rook(pos);
    if (rook == NO_RIGHT || b.type[rook] != ROOK || !b.own[rook]) continue;
    const Square king_to = king_side ? 6 : 2, rook_to = king_side ? 5 : 3;
    Board lifted = b;
    lifted.type[king] = lifted.type[rook] = 0;
    auto span_empty = [&](Square a, Square c) {
      for (Square s = std::min(a, c); s <= std::max(a, c); ++s)
        if (lifted.type[s]) return false;
      return true;
    };
    bool ok = span_empty(king, king_to) && span_empty(rook, rook_to);
    for (Square s = std::min(king, king_to); ok && s <= std::max(king, king_to); ++s)
      if (attacked(lifted, s, false)) ok = false;
    const Move m = make_move_word(KING, king, king_to) | MOVE_CASTLING;
    if (ok && !king_attacked(play(pos, b, m), true)) moves.push_back(m);
  }
}

}  // namespace

bool reference_in_check(const Position& pos) { return king_attacked(board_of(pos), true); }

std::vector<Move> reference_legal_moves(const Position& pos) {
  const Board b = board_of(pos);
  std::vector<Move> moves;
  for (Square from = 0; from < 64; ++from) {
    if (!b.type[from] || !b.own[from]) continue;
    for (Square to = 0; to < 64; ++to) {
      if (b.type[to] && b.own[to]) continue;
      Move m = make_move_word(b.type[from], from, to);
      if (b.type[from] != PAWN) {
        if (!attacks(b, from, to)) continue;
      } else if (file_of(to) == file_of(from)) {
        const bool single = to == from + 8 && !b.type[to];
        if (!single && !(to == from + 16 && rank_of(from) == 1 && !b.type[to] && !b.type[from + 8])) continue;
      } else if (!attacks(b, from, to)) {
        continue;
      } else if (!b.type[to]) {
        if (ep_file(pos) == 8 || to != ep_file(pos) + 40) continue;
        m |= MOVE_EN_PASSANT | Move(PAWN) << 15 | MOVE_CAPTURE;
      }
      if (b.type[to]) m |= Move(b.type[to]) << 15 | MOVE_CAPTURE;
      auto add = [&](Move move) {
        if (!king_attacked(play(pos, b, move), true)) moves.push_back(move);
      };
      if (b.type[from] == PAWN && rank_of(to) == 7) {
        for (int promotion = KNIGHT; promotion <= QUEEN; ++promotion) add(m | Move(promotion) << 18 | MOVE_PROMOTION);
      } else {
        add(m);
      }
    }
  }
  add_castlings(pos, b, moves);
  for (Move& m : moves)
    if (king_attacked(play(pos, b, m), false)) m |= MOVE_GIVES_CHECK;
  return moves;
}
