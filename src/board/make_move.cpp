#include "board/make_move.h"

#include "board/zobrist.h"
#include "protocol/engine_options.h"

namespace {

// Standard castling (Chess960 off): the rooks start on h1 and a1; the first-rank squares that
// change are e1 and g1 with h1 and f1, or e1 and c1 with a1 and d1.
constexpr Square KING_SIDE_ROOK_FROM = 7, QUEEN_SIDE_ROOK_FROM = 0;
constexpr Bitboard KING_SIDE_KING_SQUARES = 0x50, KING_SIDE_ROOK_SQUARES = 0xA0;
constexpr Bitboard QUEEN_SIDE_KING_SQUARES = 0x14, QUEEN_SIDE_ROOK_SQUARES = 0x09;

// The mover's frame: a pawn steps up by 8, the enemy's back rank starts at a8.
constexpr int PAWN_STEP = 8;
constexpr Square ENEMY_BACK_RANK = 56;

// The move word's gives-check bit, shifted down, is the in-check flag of the position it makes.
constexpr int GIVES_CHECK_TO_FLAG_SHIFT = 23;
static_assert(MOVE_GIVES_CHECK >> GIVES_CHECK_TO_FLAG_SHIFT == FLAG_IN_CHECK);

// A move as it is made: the next slot of the stack, with its key and flags built beside it
// and, on the search's path, the feature changes for the accumulators.
struct MoveWork {
  Position& pos;
  uint64_t key;
  uint8_t flags;
  bool black;  // the mover's colour; the castling keys are by colour, not by frame
  int side;    // the mover's side bit, for the piece keys
  FeatureDelta* delta;
};

// With WITH_DELTA the feature changes are recorded; the game-move path skips them.
template <bool WITH_DELTA>
inline void record_added(MoveWork& w, uint32_t entry) {
  if constexpr (WITH_DELTA) w.delta->added[w.delta->added_count++] = entry;
}
template <bool WITH_DELTA>
inline void record_removed(MoveWork& w, uint32_t entry) {
  if constexpr (WITH_DELTA) w.delta->removed[w.delta->removed_count++] = entry;
}

// The right goes, from the word, the key and (as a right-lost code) the accumulators.
template <bool WITH_DELTA>
inline void lose_right(MoveWork& w, int shift, bool own, bool king_side, uint32_t lost_code) {
  set_castling_field(w.pos.castling, shift, NO_RIGHT);
  w.key ^= ZOBRIST[castling_key_index(own ? w.black : !w.black, king_side)];
  record_removed<WITH_DELTA>(w, lost_code);
}

// Takes the victim off its square (behind the target for en passant); a rook taken on its
// own corner takes the enemy's right with it.
template <bool WITH_DELTA>
inline void remove_victim(MoveWork& w, Move m) {
  Position& pos = w.pos;
  const int victim = move_captured(m);
  const Square c = (m & MOVE_EN_PASSANT) ? move_to(m) - PAWN_STEP : move_to(m);
  pos.bb[victim] ^= bit(c);
  pos.bb[OCCUPIED] ^= bit(c);
  w.key ^= ZOBRIST[enemy_piece_index(victim, c, w.side)];
  record_removed<WITH_DELTA>(w, enemy_feature(victim, c));
  const int king_side = enemy_king_side_rook(pos), queen_side = enemy_queen_side_rook(pos);
  if (king_side != NO_RIGHT && c == king_side + ENEMY_BACK_RANK)
    lose_right<WITH_DELTA>(w, ENEMY_KING_SIDE_SHIFT, false, true, RIGHT_LOST_ENEMY_KING_SIDE);
  else if (queen_side != NO_RIGHT && c == queen_side + ENEMY_BACK_RANK)
    lose_right<WITH_DELTA>(w, ENEMY_QUEEN_SIDE_SHIFT, false, false, RIGHT_LOST_ENEMY_QUEEN_SIDE);
}

// The king's and the rook's bitboards and the rook's key and features; the king's key is
// the mover's, as for any move.
template <bool WITH_DELTA>
inline void castle(MoveWork& w, Square f, Square t) {
  Position& pos = w.pos;
  const bool king_side = t == KING_SIDE_KING_TO;
  const Square rook_to = king_side ? KING_SIDE_ROOK_TO : QUEEN_SIDE_ROOK_TO;
  Square rook_from;
  if (!engine_options.UCI_Chess960) {
    rook_from = king_side ? KING_SIDE_ROOK_FROM : QUEEN_SIDE_ROOK_FROM;
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
  w.key ^= ZOBRIST[own_piece_index(ROOK, rook_from, w.side)] ^ ZOBRIST[own_piece_index(ROOK, rook_to, w.side)];
  record_removed<WITH_DELTA>(w, own_feature(ROOK, rook_from));
  record_added<WITH_DELTA>(w, own_feature(ROOK, rook_to));
}

// The moving piece leaves f and arrives on t, promoted or not. The king is no feature.
template <bool WITH_DELTA>
inline void move_mover(MoveWork& w, Move m) {
  Position& pos = w.pos;
  const int p = move_piece(m);
  const Square f = move_from(m), t = move_to(m);
  if (m & MOVE_CASTLING) {
    castle<WITH_DELTA>(w, f, t);
  } else {
    pos.bb[OCCUPIED] ^= bit(f) | bit(t);
    pos.bb[OWN] ^= bit(f) | bit(t);
    pos.bb[p] ^= (m & MOVE_PROMOTION) ? bit(f) : bit(f) | bit(t);
  }
  w.key ^= ZOBRIST[own_piece_index(p, f, w.side)];
  const int arriving = (m & MOVE_PROMOTION) ? move_promotion(m) : p;
  if (m & MOVE_PROMOTION) pos.bb[arriving] |= bit(t);
  w.key ^= ZOBRIST[own_piece_index(arriving, t, w.side)];
  if (p != KING) {
    record_removed<WITH_DELTA>(w, own_feature(p, f));
    record_added<WITH_DELTA>(w, own_feature(arriving, t));
  }
}

// What the mover's own move does to its rights and to the en-passant file: a rook leaving its
// corner loses that right, the king loses both, and a double step opens a file when an enemy
// pawn stands beside the target.
template <bool WITH_DELTA>
inline void after_own_move(MoveWork& w, int p, Square f, Square t) {
  Position& pos = w.pos;
  if (p == ROOK) {
    if (own_king_side_rook(pos) != NO_RIGHT && own_king_side_rook(pos) == f)
      lose_right<WITH_DELTA>(w, OWN_KING_SIDE_SHIFT, true, true, RIGHT_LOST_OWN_KING_SIDE);
    else if (own_queen_side_rook(pos) != NO_RIGHT && own_queen_side_rook(pos) == f)
      lose_right<WITH_DELTA>(w, OWN_QUEEN_SIDE_SHIFT, true, false, RIGHT_LOST_OWN_QUEEN_SIDE);
  } else if (p == KING) {
    if (own_king_side_rook(pos) != NO_RIGHT) {
      w.key ^= ZOBRIST[castling_key_index(w.black, true)];
      record_removed<WITH_DELTA>(w, RIGHT_LOST_OWN_KING_SIDE);
    }
    if (own_queen_side_rook(pos) != NO_RIGHT) {
      w.key ^= ZOBRIST[castling_key_index(w.black, false)];
      record_removed<WITH_DELTA>(w, RIGHT_LOST_OWN_QUEEN_SIDE);
    }
    pos.castling = uint16_t((pos.castling & ~OWN_CASTLING_FIELDS) | (NO_CASTLING & OWN_CASTLING_FIELDS));
  } else if (p == PAWN && t == f + 2 * PAWN_STEP) {
    if (pos.bb[PAWN] & EP_RANK4[file_of(t)] & enemy_pieces(pos)) {
      w.key ^= ZOBRIST[ZOBRIST_EP + file_of(t)];
      w.flags = flags_with_ep(w.flags, file_of(t));
    }
  }
}

// Captures and pawn moves reset the fifty-move count. A position can repeat only among the
// reversible plies, and only 4 or more plies back.
void update_rule50_and_repetition(ThreadData& thread, Position& pos, bool irreversible) {
  if (irreversible) {
    pos.rule50 = 0;
    return;
  }
  ++pos.rule50;
  const int here = int(thread.current_position - thread.position_stack);
  const int bound = here - pos.rule50 > 0 ? here - pos.rule50 : 0;
  for (int i = here - 4; i >= bound; i -= 2) {
    if (thread.position_stack[i].key == pos.key) {
      pos.flags |= FLAG_REPETITION;
      return;
    }
  }
}

template <bool WITH_DELTA>
void make_move_impl(ThreadData& thread, Move m, FeatureDelta* delta) {
  const int p = move_piece(m);
  const Square f = move_from(m), t = move_to(m);
  const Position& old = *thread.current_position;
  if constexpr (WITH_DELTA) {
    delta->added_count = delta->removed_count = 0;
    delta->king_moved = p == KING && f != t;
  }

  Position& pos = *++thread.current_position;
  pos = old;
  const uint8_t flags =
      uint8_t((pos.flags & ~(FLAG_REPETITION | FLAG_IN_CHECK)) | ((m >> GIVES_CHECK_TO_FLAG_SHIFT) & FLAG_IN_CHECK));
  MoveWork w{pos, pos.key, flags, side_bit(old) != 0, side_bit(old), delta};

  if (m & MOVE_CAPTURE) remove_victim<WITH_DELTA>(w, m);
  move_mover<WITH_DELTA>(w, m);
  if (ep_file(old) != NO_EP_FILE) {
    w.key ^= ZOBRIST[ZOBRIST_EP + ep_file(old)];
    w.flags = flags_without_ep(w.flags);
  }
  after_own_move<WITH_DELTA>(w, p, f, t);

  flip_position(pos);
  pos.flags = w.flags ^ FLAG_BLACK;
  pos.key = w.key ^ ZOBRIST[ZOBRIST_SIDE];
  update_rule50_and_repetition(thread, pos, (m & MOVE_CAPTURE) || p == PAWN);
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
