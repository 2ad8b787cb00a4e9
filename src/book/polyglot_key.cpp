#include "book/polyglot_key.h"

#include "book/polyglot_random.h"

uint64_t polyglot_key(const Position& pos) {
  // The record is in the mover's frame: with Black to move its ranks are mirrored and its
  // own pieces are Black's. The book's numbers belong to White's view.
  const bool black = pos.flags & FLAG_BLACK;
  const int flip = black ? 56 : 0;
  const Bitboard white = black ? enemy_pieces(pos) : pos.bb[OWN];
  uint64_t key = 0;
  for (Bitboard b = pos.bb[OCCUPIED]; b; b &= b - 1) {
    const Square s = lsb(b);
    const int kind = piece_on(pos, s) - PAWN;
    const int colour = int((white >> s) & 1);
    key ^= POLYGLOT_RANDOM[(2 * kind + colour) * 64 + (s ^ flip)];
  }
  const int own_rights = POLYGLOT_CASTLING + (black ? 2 : 0);
  const int enemy_rights = POLYGLOT_CASTLING + (black ? 0 : 2);
  if (own_king_side_rook(pos) != NO_RIGHT) key ^= POLYGLOT_RANDOM[own_rights];
  if (own_queen_side_rook(pos) != NO_RIGHT) key ^= POLYGLOT_RANDOM[own_rights + 1];
  if (enemy_king_side_rook(pos) != NO_RIGHT) key ^= POLYGLOT_RANDOM[enemy_rights];
  if (enemy_queen_side_rook(pos) != NO_RIGHT) key ^= POLYGLOT_RANDOM[enemy_rights + 1];
  if (ep_file(pos) != NO_EP_FILE) key ^= POLYGLOT_RANDOM[POLYGLOT_EP + ep_file(pos)];
  if (!black) key ^= POLYGLOT_RANDOM[POLYGLOT_WHITE_TO_MOVE];
  return key;
}
