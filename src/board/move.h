#pragma once
// The packed move word and its 15-bit form kept in the hash table.
//
// bits 0..2 piece, 3..8 from, 9..14 to, 15..17 captured type, 18..20 promotion piece,
// 21 capture, 22 en passant, 23 promotion, 24 castling, 25 gives check.
// Squares are in the mover's frame; a castling's target is the king's: g1 or c1.
#include "board/types.h"

// Where castling puts king and rook, in the mover's frame; Chess960 castles to the same squares.
constexpr Square KING_SIDE_KING_TO = 6, KING_SIDE_ROOK_TO = 5;     // g1, f1
constexpr Square QUEEN_SIDE_KING_TO = 2, QUEEN_SIDE_ROOK_TO = 3;   // c1, d1

constexpr Move MOVE_CAPTURE = 1u << 21;
constexpr Move MOVE_EN_PASSANT = 1u << 22;
constexpr Move MOVE_PROMOTION = 1u << 23;
constexpr Move MOVE_CASTLING = 1u << 24;
constexpr Move MOVE_GIVES_CHECK = 1u << 25;
constexpr Move MOVE_SAME_MASK = 0xFDFFFFFFu;  // compares two moves regardless of the check bit
constexpr Move MOVE_TACTICAL = MOVE_CAPTURE | MOVE_PROMOTION;
// Captures, promotions, castling and checks: the moves that pruning and reductions spare.
constexpr Move MOVE_FORCING_BITS = MOVE_TACTICAL | MOVE_CASTLING | MOVE_GIVES_CHECK;

constexpr int move_piece(Move m) { return m & 7; }
constexpr Square move_from(Move m) { return (m >> 3) & 63; }
constexpr Square move_to(Move m) { return (m >> 9) & 63; }
constexpr int move_captured(Move m) { return (m >> 15) & 7; }
constexpr int move_promotion(Move m) { return (m >> 18) & 7; }
constexpr bool same_move(Move a, Move b) { return ((a ^ b) & MOVE_SAME_MASK) == 0; }

constexpr Move make_move_word(int piece, Square from, Square to) {
  return Move(piece) | Move(from) << 3 | Move(to) << 9;
}
constexpr Move with_capture(Move m, int captured) { return m | Move(captured) << 15 | MOVE_CAPTURE; }
constexpr Move with_promotion(Move m, int promotion) { return m | Move(promotion) << 18 | MOVE_PROMOTION; }

constexpr ShortMove short_move_of(Move m) {
  Move base = (m >> 3) & 0xFFF;
  if (!(m & MOVE_PROMOTION)) return ShortMove(base | ((m >> 24) & 1) << 12 | ((m >> 22) & 1) << 13);
  return ShortMove((base + (Move(move_promotion(m) - 2) << 12)) | 0x4000);
}

// Values of pieces for the exchange evaluation and the search's material tests.
constexpr int SEE_VALUES[8] = {0, 100, 300, 300, 500, 1000, 2000, 0};

// One entry of a generated move list.
struct ScoredMove {
  int32_t score;
  Move move;
};

// What one move changed for the network's first layer (entries are features or right-lost codes).
struct FeatureDelta {
  uint8_t king_moved;
  uint32_t added[8];
  uint32_t removed[8];
  int32_t added_count;
  int32_t removed_count;
};

// A feature entry of a delta: the piece's plane (own pawn .. queen 0..4, enemy 5..9) times 64
// plus its square, in the mover's frame.
constexpr uint32_t own_feature(int type, Square s) { return uint32_t((type - 1) * 64 + s); }
constexpr uint32_t enemy_feature(int type, Square s) { return uint32_t((type + 4) * 64 + s); }

constexpr uint32_t RIGHT_LOST_OWN_KING_SIDE = 1024;
constexpr uint32_t RIGHT_LOST_ENEMY_KING_SIDE = 2048;
constexpr uint32_t RIGHT_LOST_OWN_QUEEN_SIDE = 4096;
constexpr uint32_t RIGHT_LOST_ENEMY_QUEEN_SIDE = 8192;
// Any of the four codes above; a removed entry without these bits is a feature number.
constexpr uint32_t RIGHT_LOST_CODES = 0x3C00;
