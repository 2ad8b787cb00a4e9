#pragma once
// Zobrist keys: pieces by colour and square, castling rights, en-passant files, side.
#include "board/types.h"

constexpr int ZOBRIST_SIZE = 1037;
constexpr int ZOBRIST_CASTLING = 1024;  // + 0 White king side, 1 Black king side, 2 White queen side, 3 Black queen side
constexpr int ZOBRIST_EP = 1028;        // + file
constexpr int ZOBRIST_SIDE = 1036;      // Black to move

extern uint64_t ZOBRIST[ZOBRIST_SIZE];

// Key index of a castling right, by colour (not by frame) and wing.
inline int castling_key_index(bool black, bool king_side) {
  return ZOBRIST_CASTLING + (black ? 1 : 0) + (king_side ? 0 : 2);
}

void init_zobrist();

// Key index of a piece in the mover's frame; side_bit is 0 (White to move) or 8 (Black to move).
inline int own_piece_index(int type, Square q, int side_bit) { return ((type | side_bit) << 6) | q; }
inline int enemy_piece_index(int type, Square q, int side_bit) { return (((type + 8) ^ side_bit) << 6) | (q ^ 56); }
