#include "board/move_checks.h"

#include "board/castling.h"
#include "search/thread_data.h"

namespace {

// Squares an own pawn on the squares of b attacks.
inline Bitboard pawn_capture_targets(Bitboard b) {
  return ((b << 7) & NOT_FILE_H_NOT_RANK_1) | ((b << 9) & NOT_FILE_A_NOT_RANK_1);
}

// Check by an own slider uncovered or set up along a line to the enemy king k.
inline bool line_check(const Position& pos, Square k, Bitboard occ2) {
  return pos.bb[OWN] & (((pos.bb[BISHOP] | pos.bb[QUEEN]) & bishop_attacks(k, occ2)) |
                        ((pos.bb[ROOK] | pos.bb[QUEEN]) & rook_attacks(k, occ2)));
}

}  // namespace

Bitboard legality_attackers(const Position& pos, Move m) {
  const Square from = move_from(m), t = move_to(m);
  Bitboard occ2 = (pos.bb[OCCUPIED] ^ bit(from)) | bit(t);
  Bitboard enemy2 = enemy_pieces(pos) & ~bit(t);
  Square k;
  Bitboard extra = 0;
  if (move_piece(m) == KING) {
    k = t;
    extra = (pos.bb[KING] & KING_ATTACKS[t]) | (pos.bb[KNIGHT] & KNIGHT_ATTACKS[t]) |
            (pos.bb[PAWN] & enemy_pawn_attackers_of(t));
  } else {
    k = own_king_square(pos);
    if (m & MOVE_EN_PASSANT) {
      occ2 &= ~bit(t - 8);
      enemy2 &= ~bit(t - 8);
    }
  }
  return (((pos.bb[BISHOP] | pos.bb[QUEEN]) & bishop_attacks(k, occ2)) |
          ((pos.bb[ROOK] | pos.bb[QUEEN]) & rook_attacks(k, occ2)) | extra) &
         enemy2;
}

void mark_gives_check(const Position& pos, Move* m) {
  const Bitboard enemy_king = pos.bb[KING] & ~pos.bb[OWN];
  const Square k = lsb(enemy_king);
  const Square from = move_from(*m), to = move_to(*m);
  const Bitboard f = bit(from), t = bit(to);
  Bitboard occ2 = pos.bb[OCCUPIED] ^ f;
  if (!(*m & MOVE_CAPTURE)) occ2 ^= t;
  const int piece = (*m & MOVE_PROMOTION) ? move_promotion(*m) : move_piece(*m);
  const Bitboard queens = pos.bb[QUEEN], rooks = pos.bb[ROOK], bishops = pos.bb[BISHOP];
  bool check = false;
  switch (piece) {
    case PAWN:
      if (pawn_capture_targets(t) & enemy_king) {
        check = true;
        break;
      }
      if (*m & MOVE_EN_PASSANT) occ2 = (occ2 & ~bit(to - 8)) | t;
      check = line_check(pos, k, occ2);
      break;
    case KNIGHT:
      check = (KNIGHT_ATTACKS[k] & t) || line_check(pos, k, occ2);
      break;
    case BISHOP: {
      const Bitboard d = bishop_attacks(k, occ2), l = rook_attacks(k, occ2), own2 = pos.bb[OWN] ^ (f | t);
      check = own2 & (((t | queens | (bishops ^ f)) & d) | ((queens | rooks) & l & ~t));
      break;
    }
    case ROOK: {
      const Bitboard d = bishop_attacks(k, occ2), l = rook_attacks(k, occ2), own2 = pos.bb[OWN] ^ (f | t);
      check = own2 & (((t | queens | (rooks ^ f)) & l) | ((queens | bishops) & d & ~t));
      break;
    }
    case QUEEN: {
      const Bitboard d = bishop_attacks(k, occ2), l = rook_attacks(k, occ2), own2 = pos.bb[OWN] ^ (f | t);
      check = own2 & (((t | (queens ^ f) | bishops) & d) | ((t | (queens ^ f) | rooks) & l));
      break;
    }
    case KING:
      if (!(*m & MOVE_CASTLING)) {
        check = line_check(pos, k, occ2);
      } else {
        // Only the rook can give check: look from its arrival square along rank and file.
        const bool king_side = to == KING_SIDE_KING_TO;
        const int rook_file = king_side ? own_king_side_rook(pos) : own_queen_side_rook(pos);
        const Bitboard occ3 = pos.bb[OCCUPIED] ^ (pos.bb[KING] & pos.bb[OWN]) ^ bit(rook_file);
        if (king_side) {
          const Bitboard up = occ3 & 0x2020202020202000ull, west = occ3 & 0x1Full;
          check = (up && lowest_bit(up) == enemy_king) || (west && bit(msb(west)) == enemy_king);
        } else {
          check = lowest_bit(occ3 & 0xF0ull) == enemy_king || lowest_bit(occ3 & 0x0808080808080800ull) == enemy_king;
        }
      }
      break;
    default:
      break;
  }
  if (check) *m |= MOVE_GIVES_CHECK;
}

bool is_pseudo_legal(const Position& pos, ShortMove s) {
  const Square f = s & 63, t = (s >> 6) & 63;
  const Bitboard own = pos.bb[OWN], enemy = enemy_pieces(pos);
  // A Chess960 king may castle onto its own rook's square or stay where it is; the
  // castling test below proves the squares that matter empty.
  const bool castling = (s & 0x5000) == 0x1000;
  if (!(own & bit(f)) || ((own & bit(t)) && !castling)) return false;
  const bool pawn = pos.bb[PAWN] & bit(f);
  const bool pawn_capture_shape = pawn_capture_targets(bit(f)) & bit(t);
  if (s & 0x4000) {
    if (!pawn) return false;
    return (enemy & bit(t)) ? pawn_capture_shape : t - f == 8;
  }
  if (s & 0x1000) {
    // No move word carries castling and en passant together; refuse it rather than expand it.
    if ((s & 0x2000) || in_check(pos) || !(pos.bb[KING] & bit(f)) || (t != 6 && t != 2)) return false;
    const int right = t == KING_SIDE_KING_TO ? own_king_side_rook(pos) : own_queen_side_rook(pos);
    if (right == NO_RIGHT) return false;
    return castling_allowed(pos, t == KING_SIDE_KING_TO);
  }
  if (s & 0x2000) {
    const int e = ep_file(pos);
    if (e == 8 || !(EP_RANK5[e] & bit(f)) || t != e + 40 || !pawn) return false;
    return pawn_capture_shape;
  }
  if (pawn) {
    if (enemy & bit(t)) return pawn_capture_shape;
    if (t - f == 8) return true;
    return t - f == 16 && rank_of(f) == 1 && !(pos.bb[OCCUPIED] & (bit(f + 8) | bit(f + 16)));
  }
  const Bitboard target = bit(t), occ = pos.bb[OCCUPIED];
  switch (piece_on(pos, f)) {
    case KNIGHT: return KNIGHT_ATTACKS[f] & target;
    case BISHOP: return bishop_attacks(f, occ) & target;
    case ROOK: return rook_attacks(f, occ) & target;
    case QUEEN: return queen_attacks(f, occ) & target;
    case KING: return KING_ATTACKS[f] & target;
    default: return false;
  }
}

Move validate_hash_move(const ThreadData& thread, ShortMove s) {
  const Position& pos = *thread.current_position;
  if (!is_pseudo_legal(pos, s)) return 0;
  Move m = expand_short_move(thread, s);
  // Stricter than legality_attackers: a stored move may meet a position in check.
  const Square from = move_from(m), t = move_to(m);
  Bitboard occ2 = (pos.bb[OCCUPIED] ^ bit(from)) | bit(t);
  Bitboard enemy2 = enemy_pieces(pos) & ~bit(t);
  Square k = t;
  if (move_piece(m) != KING) {
    k = own_king_square(pos);
    if (m & MOVE_EN_PASSANT) {
      occ2 &= ~bit(t - 8);
      enemy2 &= ~bit(t - 8);
    }
  }
  const Bitboard attackers = ((pos.bb[BISHOP] | pos.bb[QUEEN]) & bishop_attacks(k, occ2)) |
                             ((pos.bb[ROOK] | pos.bb[QUEEN]) & rook_attacks(k, occ2)) |
                             (pos.bb[KING] & KING_ATTACKS[k]) | (pos.bb[KNIGHT] & KNIGHT_ATTACKS[k]) |
                             (pos.bb[PAWN] & enemy_pawn_attackers_of(k));
  if (attackers & enemy2) return 0;
  mark_gives_check(pos, &m);
  return m;
}

bool is_possible_quiet(const ThreadData& thread, Move m) {
  const Position& pos = *thread.current_position;
  const Square from = move_from(m), to = move_to(m);
  const int piece = move_piece(m);
  if (piece == NONE || piece == 7) return false;
  const bool on_from = pos.bb[piece] & pos.bb[OWN] & bit(from);
  switch (piece) {
    case KNIGHT:
      return on_from && !(pos.bb[OCCUPIED] & bit(to));
    case KING:
      if (m & MOVE_CASTLING) {
        const int right = to == KING_SIDE_KING_TO ? own_king_side_rook(pos) : own_queen_side_rook(pos);
        return right != NO_RIGHT && castling_allowed(pos, to == KING_SIDE_KING_TO);
      }
      return on_from && !(pos.bb[OCCUPIED] & bit(to));
    default:
      // The one-sided segment includes the target, so this also proves it empty.
      return on_from && !(BETWEEN[from][to] & pos.bb[OCCUPIED]);
  }
}

Move expand_short_move(const ThreadData& thread, ShortMove s) {
  const Position& pos = *thread.current_position;
  const Square f = s & 63, t = (s >> 6) & 63;
  if (s & 0x4000) {
    const int captured = piece_on(pos, t);
    Move m = make_move_word(PAWN, f, t) | MOVE_PROMOTION | Move(((s >> 12) & 3) + 2) << 18;
    return captured ? with_capture(m, captured) : m;
  }
  if (s & 0x2000) return make_move_word(0, f, t) | 0x608001u;
  Move m = make_move_word(piece_on(pos, f), f, t);
  if (s & 0x1000) return m | MOVE_CASTLING;
  const int captured = piece_on(pos, t);
  return captured ? with_capture(m, captured) : m;
}
