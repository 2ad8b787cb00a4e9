#include "board/make_move.h"

#include "board/zobrist.h"
#include "protocol/engine_options.h"

namespace {

// Sets the four-bit rook field at shift to 8: the right is gone.
inline void drop_right(uint16_t& castling, int shift) {
  castling = uint16_t((castling & ~(15u << shift)) | NO_RIGHT << shift);
}

// The first-rank squares that standard castling changes: king e1 to g1 and rook h1 to f1, or
// king e1 to c1 and rook a1 to d1.
constexpr Bitboard KING_SIDE_KING_SQUARES = 0x50, KING_SIDE_ROOK_SQUARES = 0xA0;
constexpr Bitboard QUEEN_SIDE_KING_SQUARES = 0x14, QUEEN_SIDE_ROOK_SQUARES = 0x09;

// With a delta the feature changes are recorded; the game-move path skips them.
template <bool WITH_DELTA>
void make_move_impl(ThreadData& thread, Move m, FeatureDelta* delta) {
  const int p = move_piece(m);
  const Square f = move_from(m), t = move_to(m);
  const Position& old = *thread.current_position;
  const int b = side_bit(old);
  // Right keys are by colour, not by frame: the mover is White when b is 0.
  const int own_king_side_key = ZOBRIST_CASTLING + (b ? 1 : 0);
  const int own_queen_side_key = ZOBRIST_CASTLING + 2 + (b ? 1 : 0);
  const int enemy_king_side_key = ZOBRIST_CASTLING + (b ? 0 : 1);
  const int enemy_queen_side_key = ZOBRIST_CASTLING + 2 + (b ? 0 : 1);

  auto add = [&](uint32_t entry) {
    if constexpr (WITH_DELTA) delta->added[delta->added_count++] = entry;
  };
  auto remove = [&](uint32_t entry) {
    if constexpr (WITH_DELTA) delta->removed[delta->removed_count++] = entry;
  };
  if constexpr (WITH_DELTA) {
    delta->added_count = delta->removed_count = 0;
    delta->king_moved = p == KING && f != t;
  }

  Position& pos = *++thread.current_position;
  pos = old;
  uint8_t flags = uint8_t((pos.flags & ~(FLAG_REPETITION | FLAG_IN_CHECK)) | ((m >> 23) & FLAG_IN_CHECK));
  uint64_t key = pos.key;

  if (m & MOVE_CAPTURE) {
    const int victim = move_captured(m);
    const Square c = (m & MOVE_EN_PASSANT) ? t - 8 : t;
    pos.bb[victim] ^= bit(c);
    pos.bb[OCCUPIED] ^= bit(c);
    key ^= ZOBRIST[enemy_piece_index(victim, c, b)];
    remove(uint32_t((victim + 4) * 64 + c));
    const int enemy_king_side = (pos.castling >> 8) & 15, enemy_queen_side = pos.castling >> 12;
    if (enemy_king_side != NO_RIGHT && c == enemy_king_side + 56) {
      drop_right(pos.castling, 8);
      key ^= ZOBRIST[enemy_king_side_key];
      remove(RIGHT_LOST_ENEMY_KING_SIDE);
    } else if (enemy_queen_side != NO_RIGHT && c == enemy_queen_side + 56) {
      drop_right(pos.castling, 12);
      key ^= ZOBRIST[enemy_queen_side_key];
      remove(RIGHT_LOST_ENEMY_QUEEN_SIDE);
    }
  }

  if (m & MOVE_CASTLING) {
    const bool king_side = t == 6;
    const Square rook_to = king_side ? 5 : 3;
    Square rook_from;
    if (!engine_options.UCI_Chess960) {
      rook_from = king_side ? 7 : 0;
      const Bitboard king = king_side ? KING_SIDE_KING_SQUARES : QUEEN_SIDE_KING_SQUARES;
      const Bitboard rook = king_side ? KING_SIDE_ROOK_SQUARES : QUEEN_SIDE_ROOK_SQUARES;
      pos.bb[KING] ^= king;
      pos.bb[ROOK] ^= rook;
      pos.bb[OWN] ^= king | rook;
      pos.bb[OCCUPIED] ^= king | rook;
    } else {
      rook_from = king_side ? own_king_side_rook(pos) : own_queen_side_rook(pos);
      // XORs let king and rook land on each other's squares.
      const Bitboard rook_change = bit(rook_from) ^ bit(rook_to), king_change = bit(f) ^ bit(t);
      pos.bb[ROOK] ^= rook_change;
      pos.bb[KING] ^= king_change;
      pos.bb[OWN] ^= rook_change ^ king_change;
      pos.bb[OCCUPIED] ^= rook_change ^ king_change;
    }
    key ^= ZOBRIST[own_piece_index(ROOK, rook_from, b)] ^ ZOBRIST[own_piece_index(ROOK, rook_to, b)];
    remove(uint32_t((ROOK - 1) * 64 + rook_from));
    add(uint32_t((ROOK - 1) * 64 + rook_to));
  } else {
    pos.bb[OCCUPIED] ^= bit(f) | bit(t);
    pos.bb[OWN] ^= bit(f) | bit(t);
    pos.bb[p] ^= (m & MOVE_PROMOTION) ? bit(f) : bit(f) | bit(t);
  }

  key ^= ZOBRIST[own_piece_index(p, f, b)];
  const int arriving = (m & MOVE_PROMOTION) ? move_promotion(m) : p;
  if (m & MOVE_PROMOTION) pos.bb[arriving] |= bit(t);
  key ^= ZOBRIST[own_piece_index(arriving, t, b)];
  if (p != KING) {
    remove(uint32_t((p - 1) * 64 + f));
    add(uint32_t((arriving - 1) * 64 + t));
  }

  if (ep_file(old) != NO_EP_FILE) {
    key ^= ZOBRIST[ZOBRIST_EP + ep_file(old)];
    flags = flags_without_ep(flags);
  }

  if (p == ROOK) {
    if (own_king_side_rook(pos) != NO_RIGHT && own_king_side_rook(pos) == f) {
      drop_right(pos.castling, 0);
      key ^= ZOBRIST[own_king_side_key];
      remove(RIGHT_LOST_OWN_KING_SIDE);
    } else if (own_queen_side_rook(pos) != NO_RIGHT && own_queen_side_rook(pos) == f) {
      drop_right(pos.castling, 4);
      key ^= ZOBRIST[own_queen_side_key];
      remove(RIGHT_LOST_OWN_QUEEN_SIDE);
    }
  } else if (p == KING) {
    if (own_king_side_rook(pos) != NO_RIGHT) {
      key ^= ZOBRIST[own_king_side_key];
      remove(RIGHT_LOST_OWN_KING_SIDE);
    }
    if (own_queen_side_rook(pos) != NO_RIGHT) {
      key ^= ZOBRIST[own_queen_side_key];
      remove(RIGHT_LOST_OWN_QUEEN_SIDE);
    }
    pos.castling = uint16_t((pos.castling & 0xFF00) | 0x88);
  } else if (p == PAWN && t == f + 16) {
    if (pos.bb[PAWN] & EP_RANK4[t & 7] & enemy_pieces(pos)) {
      key ^= ZOBRIST[ZOBRIST_EP + (t & 7)];
      flags = uint8_t((flags & ~EP_FIELD) | (t & 7) << 4);
    }
  }

  flip_position(pos);
  pos.flags = flags ^ FLAG_BLACK;
  pos.key = key ^ ZOBRIST[ZOBRIST_SIDE];

  if ((m & MOVE_CAPTURE) || p == PAWN) {
    pos.rule50 = 0;
    return;
  }
  ++pos.rule50;
  // A position can repeat only among the reversible plies, and only 4 or more plies back.
  const int here = int(thread.current_position - thread.position_stack);
  const int bound = here - pos.rule50 > 0 ? here - pos.rule50 : 0;
  for (int i = here - 4; i >= bound; i -= 2) {
    if (thread.position_stack[i].key == pos.key) {
      pos.flags |= FLAG_REPETITION;
      return;
    }
  }
}

}  // namespace

void make_move(ThreadData& thread, Move m, FeatureDelta* delta) {
  if (delta)
    make_move_impl<true>(thread, m, delta);
  else
    make_move_impl<false>(thread, m, nullptr);
}

void make_null_move(ThreadData& thread) {
  const Position& old = *thread.current_position;
  Position& pos = *++thread.current_position;
  pos = old;
  flip_position(pos);
  pos.key ^= ZOBRIST[ZOBRIST_SIDE];
  pos.flags ^= FLAG_BLACK;
  if (ep_file(pos) != NO_EP_FILE) {
    pos.key ^= ZOBRIST[ZOBRIST_EP + ep_file(pos)];
    pos.flags = flags_without_ep(pos.flags);
  }
  pos.flags &= ~FLAG_REPETITION;
}
