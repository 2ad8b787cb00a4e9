#pragma once
// The board as seen by the side to move: eight bitboards, key, rights, flags.
#include "board/attacks.h"
#include "board/types.h"

struct ThreadData;

struct Position {
  Bitboard bb[8];     // OCCUPIED, pawns .. kings by type, OWN
  uint64_t key;
  uint16_t castling;  // four rook files (8 = right gone): own king side, own queen side, enemy king side, enemy queen side
  uint8_t flags;      // see the FLAG_ constants; bits 4..7 hold the en-passant file or 8
  uint8_t rule50;
};

constexpr uint8_t FLAG_REPETITION = 1;
constexpr uint8_t FLAG_IN_CHECK = 4;
constexpr uint8_t FLAG_BLACK = 8;
constexpr uint8_t FLAG_NO_EP = 0x80;
constexpr uint8_t EP_FIELD = 0xF0;  // bits 4..7 of flags
constexpr int EP_SHIFT = 4;
constexpr int NO_EP_FILE = 8;       // the en-passant field when no capture en passant is possible

// Flags with the en-passant field cleared to NO_EP_FILE, or set to a file.
constexpr uint8_t flags_without_ep(uint8_t flags) { return uint8_t((flags & ~EP_FIELD) | FLAG_NO_EP); }
constexpr uint8_t flags_with_ep(uint8_t flags, int file) { return uint8_t((flags & ~EP_FIELD) | file << EP_SHIFT); }

// The castling word: four four-bit rook files, NO_RIGHT in a field whose right is gone.
constexpr int OWN_KING_SIDE_SHIFT = 0, OWN_QUEEN_SIDE_SHIFT = 4, ENEMY_KING_SIDE_SHIFT = 8, ENEMY_QUEEN_SIDE_SHIFT = 12;
constexpr uint16_t CASTLING_FIELD = 15;
constexpr uint16_t OWN_CASTLING_FIELDS = 0x00FF;
constexpr uint16_t NO_CASTLING = 0x8888;
constexpr int NO_RIGHT = 8;
constexpr int POSITION_STACK_SIZE = 612;

inline Bitboard enemy_pieces(const Position& p) { return p.bb[OWN] ^ p.bb[OCCUPIED]; }
inline bool in_check(const Position& p) { return p.flags & FLAG_IN_CHECK; }
inline int side_bit(const Position& p) { return p.flags & FLAG_BLACK; }
inline int ep_file(const Position& p) { return p.flags >> EP_SHIFT; }  // 8 when none
inline int castling_field(const Position& p, int shift) { return (p.castling >> shift) & CASTLING_FIELD; }
inline int own_king_side_rook(const Position& p) { return castling_field(p, OWN_KING_SIDE_SHIFT); }
inline int own_queen_side_rook(const Position& p) { return castling_field(p, OWN_QUEEN_SIDE_SHIFT); }
inline int enemy_king_side_rook(const Position& p) { return castling_field(p, ENEMY_KING_SIDE_SHIFT); }
inline int enemy_queen_side_rook(const Position& p) { return castling_field(p, ENEMY_QUEEN_SIDE_SHIFT); }
// Writes one field of the castling word: a rook file, or NO_RIGHT when the right is gone.
inline void set_castling_field(uint16_t& castling, int shift, int rook_file) {
  castling = uint16_t((castling & ~(CASTLING_FIELD << shift)) | rook_file << shift);
}
inline Square own_king_square(const Position& p) { return lsb(p.bb[KING] & p.bb[OWN]); }
inline Square enemy_king_square(const Position& p) { return lsb(p.bb[KING] & ~p.bb[OWN]); }

// Type of the piece on s, tested in the order pawn .. king; 0 if the square is empty.
inline int piece_on(const Position& p, Square s) {
  Bitboard b = bit(s);
  for (int t = PAWN; t <= KING; ++t)
    if (p.bb[t] & b) return t;
  return NONE;
}

// Turns the record over to the other side's frame; flags, key and rule50 stay.
inline void flip_position(Position& p) {
  p.bb[OWN] ^= p.bb[OCCUPIED];
  for (Bitboard& b : p.bb) b = flip_bitboard(b);
  p.castling = uint16_t(p.castling >> 8 | p.castling << 8);
}

// Enemy pawns, knights, bishops, rooks and queens that attack the own king.
inline Bitboard checkers(const Position& p) {
  Square k = own_king_square(p);
  Bitboard occ = p.bb[OCCUPIED];
  Bitboard attackers = (KNIGHT_ATTACKS[k] & p.bb[KNIGHT]) | (enemy_pawn_attackers_of(k) & p.bb[PAWN]) |
                       (bishop_attacks(k, occ) & (p.bb[BISHOP] | p.bb[QUEEN])) |
                       (rook_attacks(k, occ) & (p.bb[ROOK] | p.bb[QUEEN]));
  return attackers & enemy_pieces(p);
}

constexpr const char* START_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

// Resets the thread's position stack to the FEN (trusted) and plays the move list, if any.
// Returns the number of full moves in the list.
int set_position(ThreadData& thread, const char* fen, char* moves);

// Builds slot 0 from a trusted FEN; the first eight steps of set_position.
void read_fen(Position& pos, const char* fen);
