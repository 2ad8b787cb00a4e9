#include "board/movegen.h"

#include "board/castling.h"
#include "board/move_checks.h"

namespace {

constexpr Bitboard PAWN_RIGHT_NO_PROMOTION = 0x00FEFEFEFEFEFE00ull;
constexpr Bitboard PAWN_LEFT_NO_PROMOTION = 0x007F7F7F7F7F7F00ull;
constexpr Bitboard PAWN_RIGHT_PROMOTION = 0xFE00000000000000ull;
constexpr Bitboard PAWN_LEFT_PROMOTION = 0x7F00000000000000ull;
constexpr Bitboard PUSH_NO_PROMOTION = 0x00FFFFFFFFFFFF00ull;
constexpr Bitboard RANK_3 = 0xFF0000ull;

// The piece types as three bit planes, so the type on a square is read without a branch.
struct TypePlanes {
  Bitboard low, middle, high;
};

inline TypePlanes type_planes(const Position& pos) {
  return {pos.bb[PAWN] | pos.bb[BISHOP] | pos.bb[QUEEN], pos.bb[KNIGHT] | pos.bb[BISHOP] | pos.bb[KING],
          pos.bb[ROOK] | pos.bb[QUEEN] | pos.bb[KING]};
}

inline int type_on(const TypePlanes& planes, Square s) {
  return int(((planes.low >> s) & 1) | ((planes.middle >> s) & 1) << 1 | ((planes.high >> s) & 1) << 2);
}

// All ones when square s is in b, else zero: lets a whole target set be marked at once.
inline Bitboard all_if(Bitboard b, Square s) { return 0 - ((b >> s) & 1); }

template <int PIECE>
inline Bitboard piece_attacks(Square s, Bitboard occ) {
  if constexpr (PIECE == KNIGHT) return KNIGHT_ATTACKS[s];
  else if constexpr (PIECE == BISHOP) return bishop_attacks(s, occ);
  else if constexpr (PIECE == ROOK) return rook_attacks(s, occ);
  else if constexpr (PIECE == QUEEN) return queen_attacks(s, occ);
  else return KING_ATTACKS[s];
}

// One capture per target of a piece whose word (piece and from) is base.
inline ScoredMove* emit_captures(const TypePlanes& planes, Move base, int piece, Bitboard targets,
                                 ScoredMove* list) {
  for (; targets; targets &= targets - 1) {
    const Square to = lsb(targets);
    const int victim = type_on(planes, to);
    *list++ = {capture_score(piece, victim), base | Move(to) << 9 | Move(victim) << 15 | MOVE_CAPTURE};
  }
  return list;
}

// Quiet moves to every target; those in marked get the gives-check bit.
template <bool CHECKS_ONLY>
inline ScoredMove* emit_quiets(Move base, Bitboard targets, Bitboard marked, ScoredMove* list) {
  if constexpr (CHECKS_ONLY) targets = marked;
  for (; targets; targets &= targets - 1) {
    const Square to = lsb(targets);
    *list++ = {0, base | Move(to) << 9 | Move((marked >> to) & 1) << 25};
  }
  return list;
}

inline ScoredMove* emit_underpromotions(Move m, ScoredMove* list) {
  list[0] = {SCORE_KNIGHT_PROMOTION, with_promotion(m, KNIGHT)};
  list[1] = {SCORE_BISHOP_PROMOTION, with_promotion(m, BISHOP)};
  list[2] = {SCORE_ROOK_PROMOTION, with_promotion(m, ROOK)};
  return list + 3;
}

template <int PIECE>
inline ScoredMove* piece_captures(const Position& pos, const TypePlanes& planes, ScoredMove* list) {
  const Bitboard occ = pos.bb[OCCUPIED], enemy = pos.bb[OWN] ^ occ;
  for (Bitboard pieces = pos.bb[PIECE] & pos.bb[OWN]; pieces; pieces &= pieces - 1) {
    const Square from = lsb(pieces);
    list = emit_captures(planes, make_move_word(PIECE, from, 0), PIECE, piece_attacks<PIECE>(from, occ) & enemy, list);
  }
  return list;
}

// Pawn captures of one direction: the origin lies shift squares below each target.
inline ScoredMove* pawn_captures(const TypePlanes& planes, Bitboard targets, int shift, ScoredMove* list) {
  for (; targets; targets &= targets - 1) {
    const Square to = lsb(targets);
    const int victim = type_on(planes, to);
    *list++ = {capture_score(PAWN, victim),
               make_move_word(PAWN, to - shift, to) | Move(victim) << 15 | MOVE_CAPTURE};
  }
  return list;
}

inline ScoredMove* queen_promotion_captures(const TypePlanes& planes, Bitboard targets, int shift, ScoredMove* list) {
  for (; targets; targets &= targets - 1) {
    const Square to = lsb(targets);
    const int victim = type_on(planes, to);
    *list++ = {SCORE_QUEEN_PROMOTION + 8 * victim,
               with_promotion(with_capture(make_move_word(PAWN, to - shift, to), victim), QUEEN)};
  }
  return list;
}

inline ScoredMove* en_passant_captures(Bitboard pawns, int file, ScoredMove* list) {
  const Square to = file + 40;
  for (Bitboard b = EP_RANK5[file] & pawns; b; b &= b - 1)
    *list++ = {SCORE_EN_PASSANT, with_capture(make_move_word(PAWN, lsb(b), to), PAWN) | MOVE_EN_PASSANT};
  return list;
}

template <int PIECE, bool CHECKS_ONLY>
inline ScoredMove* piece_quiets(const Position& pos, Bitboard check_squares, Bitboard discoverers, ScoredMove* list) {
  const Bitboard occ = pos.bb[OCCUPIED];
  for (Bitboard pieces = pos.bb[PIECE] & pos.bb[OWN]; pieces; pieces &= pieces - 1) {
    const Square from = lsb(pieces);
    const Bitboard targets = piece_attacks<PIECE>(from, occ) & ~occ;
    // A piece that screens a line to the enemy king checks wherever it goes.
    const Bitboard marked = targets & (check_squares | all_if(discoverers, from));
    list = emit_quiets<CHECKS_ONLY>(make_move_word(PIECE, from, 0), targets, marked, list);
  }
  return list;
}

// Own pieces that stand first on a line from the enemy king k with an own slider
// right behind them. Rook lines first, then bishop lines; the own king as screen
// is kept apart as king_line, the segment it must leave to uncover the check.
struct Discoverers {
  Bitboard rook_line, bishop_line, king_line;
};

inline Discoverers find_discoverers(const Position& pos, Square k, Bitboard rook_checks, Bitboard bishop_checks) {
  const Bitboard own = pos.bb[OWN], occ = pos.bb[OCCUPIED];
  Discoverers d{0, 0, 0};
  const Bitboard rook_screens = rook_checks & own;
  for (Bitboard s = own & (pos.bb[ROOK] | pos.bb[QUEEN]) & rook_attacks(k, occ ^ rook_screens); s; s &= s - 1) {
    const Square slider = lsb(s);
    const Bitboard segment = BETWEEN[k][slider], screen = segment & rook_screens;
    if (screen & pos.bb[KING])
      d.king_line = segment;
    else if ((screen & (pos.bb[KNIGHT] | pos.bb[BISHOP])) || DIRECTION[k][slider] < 2)
      d.rook_line |= screen;  // a pawn pushed along a file keeps the file closed
  }
  const Bitboard bishop_screens = bishop_checks & own;
  for (Bitboard s = own & (pos.bb[BISHOP] | pos.bb[QUEEN]) & bishop_attacks(k, occ ^ bishop_screens); s;
       s &= s - 1) {
    const Square slider = lsb(s);
    const Bitboard segment = BETWEEN[k][slider], screen = segment & bishop_screens;
    if (screen & pos.bb[KING])
      d.king_line = segment;
    else
      d.bishop_line |= screen;
  }
  return d;
}

// Whether the rook, arriving on d1 (queen side) or f1 (king side), sees the enemy king.
inline bool castling_gives_check(const Position& pos, bool king_side, int rook_file) {
  const Bitboard enemy_king = pos.bb[KING] & ~pos.bb[OWN];
  const Bitboard occ2 = pos.bb[OCCUPIED] ^ (pos.bb[KING] & pos.bb[OWN]) ^ bit(rook_file);
  if (king_side) {
    const Bitboard west = occ2 & 0x1Full;
    return lowest_bit(occ2 & 0x2020202020202000ull) == enemy_king || (west && bit(msb(west)) == enemy_king);
  }
  return lowest_bit(occ2 & 0x0808080808080800ull) == enemy_king || lowest_bit(occ2 & 0xF0ull) == enemy_king;
}

template <bool CHECKS_ONLY>
ScoredMove* quiets(const Position& pos, ScoredMove* list) {
  const Bitboard own = pos.bb[OWN], occ = pos.bb[OCCUPIED], empty = ~occ;
  const Square k = enemy_king_square(pos);
  const Bitboard rook_checks = rook_attacks(k, occ), bishop_checks = bishop_attacks(k, occ);
  const Discoverers d = find_discoverers(pos, k, rook_checks, bishop_checks);

  const Square king = own_king_square(pos);
  const Bitboard king_targets = KING_ATTACKS[king] & empty;
  list = emit_quiets<CHECKS_ONLY>(make_move_word(KING, king, 0), king_targets,
                                  d.king_line ? king_targets & ~d.king_line : 0, list);
  list = piece_quiets<QUEEN, CHECKS_ONLY>(pos, rook_checks | bishop_checks, 0, list);
  list = piece_quiets<ROOK, CHECKS_ONLY>(pos, rook_checks, d.bishop_line, list);
  list = piece_quiets<BISHOP, CHECKS_ONLY>(pos, bishop_checks, d.rook_line, list);
  list = piece_quiets<KNIGHT, CHECKS_ONLY>(pos, KNIGHT_ATTACKS[k], d.rook_line | d.bishop_line, list);

  const Bitboard pawns = pos.bb[PAWN] & own;
  const Bitboard pawn_checks = own_pawn_attackers_of(k), screens = d.rook_line | d.bishop_line;
  Bitboard single = (pawns << 8) & empty & PUSH_NO_PROMOTION;
  Bitboard double_push = ((single & RANK_3) << 8) & empty;
  const Bitboard single_marked = single & (pawn_checks | screens << 8);
  const Bitboard double_marked = double_push & (pawn_checks | screens << 16);
  if constexpr (CHECKS_ONLY) single = single_marked, double_push = double_marked;
  for (; single; single &= single - 1) {
    const Square to = lsb(single);
    *list++ = {0, make_move_word(PAWN, to - 8, to) | Move((single_marked >> to) & 1) << 25};
  }
  for (; double_push; double_push &= double_push - 1) {
    const Square to = lsb(double_push);
    *list++ = {0, make_move_word(PAWN, to - 16, to) | Move((double_marked >> to) & 1) << 25};
  }
  if constexpr (CHECKS_ONLY) return list;

  const int queen_side_rook = own_queen_side_rook(pos), king_side_rook = own_king_side_rook(pos);
  if (queen_side_rook != NO_RIGHT && castling_allowed(pos, false)) {
    const Move m = make_move_word(KING, king, QUEEN_SIDE_KING_TO) | MOVE_CASTLING;
    *list++ = {0, m | Move(castling_gives_check(pos, false, queen_side_rook)) << 25};
  }
  if (king_side_rook != NO_RIGHT && castling_allowed(pos, true)) {
    const Move m = make_move_word(KING, king, KING_SIDE_KING_TO) | MOVE_CASTLING;
    *list++ = {0, m | Move(castling_gives_check(pos, true, king_side_rook)) << 25};
  }
  return list;
}

// Evasions of one piece kind: per piece, first the capture of the checker, then blocks.
template <int PIECE>
inline ScoredMove* piece_evasions(const Position& pos, const TypePlanes& planes, Bitboard enders, ScoredMove* list) {
  const Bitboard occ = pos.bb[OCCUPIED], enemy = pos.bb[OWN] ^ occ;
  for (Bitboard pieces = pos.bb[PIECE] & pos.bb[OWN]; pieces; pieces &= pieces - 1) {
    const Square from = lsb(pieces);
    const Bitboard targets = piece_attacks<PIECE>(from, occ) & enders;
    const Move base = make_move_word(PIECE, from, 0);
    list = emit_captures(planes, base, PIECE, targets & enemy, list);
    list = emit_quiets<false>(base, targets & ~occ, 0, list);
  }
  return list;
}

}  // namespace

ScoredMove* generate_captures(const Position& pos, ScoredMove* list) {
  const Bitboard occ = pos.bb[OCCUPIED], enemy = pos.bb[OWN] ^ occ;
  const TypePlanes planes = type_planes(pos);
  const Square king = own_king_square(pos);
  list = emit_captures(planes, make_move_word(KING, king, 0), KING, KING_ATTACKS[king] & enemy, list);
  list = piece_captures<QUEEN>(pos, planes, list);
  list = piece_captures<ROOK>(pos, planes, list);
  list = piece_captures<BISHOP>(pos, planes, list);
  list = piece_captures<KNIGHT>(pos, planes, list);

  const Bitboard pawns = pos.bb[PAWN] & pos.bb[OWN];
  list = pawn_captures(planes, (pawns << 9) & enemy & PAWN_RIGHT_NO_PROMOTION, 9, list);
  list = pawn_captures(planes, (pawns << 7) & enemy & PAWN_LEFT_NO_PROMOTION, 7, list);
  const int e = ep_file(pos);
  if (e != 8) list = en_passant_captures(pawns, e, list);
  if (pawns & RANK_7) {
    for (Bitboard pushes = (pawns << 8) & ~occ & RANK_8; pushes; pushes &= pushes - 1) {
      const Square to = lsb(pushes);
      *list++ = {SCORE_QUEEN_PROMOTION, with_promotion(make_move_word(PAWN, to - 8, to), QUEEN)};
    }
    list = queen_promotion_captures(planes, (pawns << 9) & enemy & PAWN_RIGHT_PROMOTION, 9, list);
    list = queen_promotion_captures(planes, (pawns << 7) & enemy & PAWN_LEFT_PROMOTION, 7, list);
  }
  return list;
}

ScoredMove* generate_underpromotions(const Position& pos, ScoredMove* list) {
  const Bitboard pawns = pos.bb[PAWN] & pos.bb[OWN] & RANK_7;
  if (!pawns) return list;
  const Bitboard occ = pos.bb[OCCUPIED], enemy = pos.bb[OWN] ^ occ;
  const TypePlanes planes = type_planes(pos);
  for (Bitboard t = (pawns << 8) & ~occ; t; t &= t - 1) {
    const Square to = lsb(t);
    list = emit_underpromotions(make_move_word(PAWN, to - 8, to), list);
  }
  for (Bitboard t = (pawns << 9) & enemy & PAWN_RIGHT_PROMOTION; t; t &= t - 1) {
    const Square to = lsb(t);
    list = emit_underpromotions(with_capture(make_move_word(PAWN, to - 9, to), type_on(planes, to)), list);
  }
  for (Bitboard t = (pawns << 7) & enemy & PAWN_LEFT_PROMOTION; t; t &= t - 1) {
    const Square to = lsb(t);
    list = emit_underpromotions(with_capture(make_move_word(PAWN, to - 7, to), type_on(planes, to)), list);
  }
  return list;
}

ScoredMove* generate_quiets(const Position& pos, ScoredMove* list, bool checks_only) {
  return checks_only ? quiets<true>(pos, list) : quiets<false>(pos, list);
}

ScoredMove* generate_evasions(const Position& pos, ScoredMove* list, bool with_underpromotions) {
  const Bitboard own = pos.bb[OWN], occ = pos.bb[OCCUPIED], enemy = own ^ occ;
  const TypePlanes planes = type_planes(pos);
  const Square king = own_king_square(pos);
  // King steps are not tested for attacks here; legality_attackers does that.
  list = emit_captures(planes, make_move_word(KING, king, 0), KING, KING_ATTACKS[king] & enemy, list);
  list = emit_quiets<false>(make_move_word(KING, king, 0), KING_ATTACKS[king] & ~occ, 0, list);
  const Bitboard attackers = checkers(pos);
  if (!attackers || (attackers & (attackers - 1))) return list;  // double check: the king must move

  const Square c = lsb(attackers);
  const Bitboard enders = BETWEEN[king][c] | bit(c);
  list = piece_evasions<QUEEN>(pos, planes, enders, list);
  list = piece_evasions<ROOK>(pos, planes, enders, list);
  list = piece_evasions<BISHOP>(pos, planes, enders, list);
  list = piece_evasions<KNIGHT>(pos, planes, enders, list);

  const Bitboard pawns = pos.bb[PAWN] & own;
  const Bitboard single = (pawns << 8) & ~occ;
  for (Bitboard t = single & enders; t; t &= t - 1) {
    const Square to = lsb(t);
    const Move m = make_move_word(PAWN, to - 8, to);
    if (to >= 56) {
      *list++ = {SCORE_QUEEN_PROMOTION, with_promotion(m, QUEEN)};
      if (with_underpromotions) list = emit_underpromotions(m, list);
    } else {
      *list++ = {0, m};
    }
  }
  const int victim = type_on(planes, c);
  for (Bitboard b = own_pawn_attackers_of(c) & pawns; b; b &= b - 1) {
    const Move m = with_capture(make_move_word(PAWN, lsb(b), c), victim);
    if (c >= 56) {
      *list++ = {SCORE_QUEEN_PROMOTION + 8 * victim, with_promotion(m, QUEEN)};
      if (with_underpromotions) list = emit_underpromotions(m, list);
    } else {
      *list++ = {capture_score(PAWN, victim), m};
    }
  }
  for (Bitboard t = ((single & RANK_3) << 8) & ~occ & enders; t; t &= t - 1) {
    const Square to = lsb(t);
    *list++ = {0, make_move_word(PAWN, to - 16, to)};
  }
  // Only a pawn that has just stepped two squares and gives check itself is taken
  // en passant here; a check uncovered by the step never runs through the target.
  const int e = ep_file(pos);
  if (e != 8 && c == e + 32 && victim == PAWN) list = en_passant_captures(pawns, e, list);
  return list;
}

ScoredMove* generate_legal(const Position& pos, ScoredMove* list) {
  ScoredMove* end;
  const bool check = in_check(pos);
  if (check) {
    end = generate_evasions(pos, list, true);
  } else {
    end = generate_captures(pos, list);
    end = generate_underpromotions(pos, end);
    end = generate_quiets(pos, end, false);
  }
  ScoredMove* kept = list;
  for (ScoredMove* sm = list; sm != end; ++sm) {
    if (legality_attackers(pos, sm->move)) continue;
    *kept = *sm;
    // Quiet moves out of check already carry an exact gives-check bit.
    if (check || (kept->move & MOVE_TACTICAL)) mark_gives_check(pos, &kept->move);
    ++kept;
  }
  return kept;
}
