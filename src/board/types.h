#pragma once
// Basic vocabulary of the board: squares, bitboards, piece types, scores.
#include <bit>
#include <cstdint>

using Bitboard = uint64_t;
using Square = int;
using Move = uint32_t;
using ShortMove = uint16_t;

// Piece types double as indexes into the bitboard array of a Position:
// slot 0 holds every occupied square and slot 7 the pieces of the side to move.
enum PieceType : int { NONE = 0, PAWN = 1, KNIGHT = 2, BISHOP = 3, ROOK = 4, QUEEN = 5, KING = 6 };
constexpr int OCCUPIED = 0;
constexpr int OWN = 7;

constexpr int file_of(Square s) { return s & 7; }
constexpr int rank_of(Square s) { return s >> 3; }
constexpr Bitboard bit(Square s) { return Bitboard(1) << s; }

inline int popcount(Bitboard b) { return std::popcount(b); }
inline Square lsb(Bitboard b) { return std::countr_zero(b); }
inline Square msb(Bitboard b) { return 63 - std::countl_zero(b); }
inline Bitboard lowest_bit(Bitboard b) { return b & (0 - b); }
// Changes the frame of a bitboard: rank r becomes rank 7 - r.
inline Bitboard flip_bitboard(Bitboard b) { return __builtin_bswap64(b); }

constexpr Bitboard RANK_1 = 0xFFull;
constexpr Bitboard RANK_7 = 0x00FF000000000000ull;
constexpr Bitboard RANK_8 = 0xFF00000000000000ull;
constexpr Bitboard NOT_FILE_A_NOT_RANK_1 = 0xFEFEFEFEFEFEFE00ull;  // targets of a capture up and right
constexpr Bitboard NOT_FILE_H_NOT_RANK_1 = 0x7F7F7F7F7F7F7F00ull;  // targets of a capture up and left
constexpr Bitboard NOT_FILE_A_NOT_RANK_8 = 0x00FEFEFEFEFEFEFEull;  // origins seen by shifting down 7
constexpr Bitboard NOT_FILE_H_NOT_RANK_8 = 0x007F7F7F7F7F7F7Full;  // origins seen by shifting down 9

// Own pawns (in the mover's frame) that attack square s.
inline Bitboard own_pawn_attackers_of(Square s) {
  return ((bit(s) >> 9) & NOT_FILE_H_NOT_RANK_8) | ((bit(s) >> 7) & NOT_FILE_A_NOT_RANK_8);
}
// Squares from which an enemy pawn attacks square s.
inline Bitboard enemy_pawn_attackers_of(Square s) {
  return ((bit(s) << 7) & NOT_FILE_H_NOT_RANK_1) | ((bit(s) << 9) & NOT_FILE_A_NOT_RANK_1);
}

constexpr int MAX_MOVES = 256;
