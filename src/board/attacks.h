#pragma once
// Attack tables built once at start-up and shared read-only by every thread.
#include <array>

#include "board/types.h"

struct MagicEntry {
  Bitboard mask;
  uint64_t magic;
  uint64_t shift;  // only the low byte is read
  const Bitboard* attacks;
};

constexpr int ATTACK_STORE_SIZE = 107648;

// Bishops by square at 0..63, rooks by square at 64..127.
extern MagicEntry MAGICS[128];
extern Bitboard ATTACK_STORE[ATTACK_STORE_SIZE];
extern const uint64_t MAGIC_MULTIPLIERS[128];

namespace attack_detail {
constexpr std::array<Bitboard, 64> leaper_table(const int (&deltas)[8][2]) {
  std::array<Bitboard, 64> t{};
  for (int s = 0; s < 64; ++s)
    for (const auto& d : deltas) {
      int f = s % 8 + d[0], r = s / 8 + d[1];
      if (f >= 0 && f < 8 && r >= 0 && r < 8) t[s] |= Bitboard(1) << (r * 8 + f);
    }
  return t;
}
constexpr int KNIGHT_DELTAS[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
constexpr int KING_DELTAS[8][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};
// The squares of one rank on the files beside f.
constexpr std::array<Bitboard, 8> neighbour_files(int rank) {
  std::array<Bitboard, 8> t{};
  for (int f = 0; f < 8; ++f) {
    if (f > 0) t[f] |= Bitboard(1) << (rank * 8 + f - 1);
    if (f < 7) t[f] |= Bitboard(1) << (rank * 8 + f + 1);
  }
  return t;
}
}  // namespace attack_detail

inline constexpr std::array<Bitboard, 64> KNIGHT_ATTACKS = attack_detail::leaper_table(attack_detail::KNIGHT_DELTAS);
inline constexpr std::array<Bitboard, 64> KING_ATTACKS = attack_detail::leaper_table(attack_detail::KING_DELTAS);
// Fifth and fourth rank squares beside a file: where an en-passant capturer or victim stands.
inline constexpr std::array<Bitboard, 8> EP_RANK5 = attack_detail::neighbour_files(4);
inline constexpr std::array<Bitboard, 8> EP_RANK4 = attack_detail::neighbour_files(3);

extern Bitboard BETWEEN[64][64];
extern uint32_t DIRECTION[64][64];

enum Direction : uint32_t { EAST, WEST, NORTH, SOUTH, NORTH_EAST, SOUTH_WEST, NORTH_WEST, SOUTH_EAST, NO_DIRECTION };

struct CastlingClearEntry {
  Bitboard must_be_empty;
  Bitboard beyond;
};

struct CastlingGuard {
  Bitboard enemy_king;
  Bitboard enemy_pawn;
  Bitboard enemy_knight;
  Bitboard file_ray[5];
  Bitboard ne_ray[5];
  Bitboard nw_ray[5];
  int32_t path_length;
};

// Indexed [king file - 1][rook file]; a king holding a right stands on files b..g.
extern CastlingClearEntry CASTLING_CLEAR[6][8];
extern CastlingGuard CASTLING_GUARD_KINGSIDE[6];
extern CastlingGuard CASTLING_GUARD_QUEENSIDE[6];

inline Bitboard bishop_attacks(Square s, Bitboard occupied) {
  const MagicEntry& e = MAGICS[s];
  return e.attacks[((occupied & e.mask) * e.magic) >> (e.shift & 0xFF)];
}
inline Bitboard rook_attacks(Square s, Bitboard occupied) {
  const MagicEntry& e = MAGICS[64 + s];
  return e.attacks[((occupied & e.mask) * e.magic) >> (e.shift & 0xFF)];
}
inline Bitboard queen_attacks(Square s, Bitboard occupied) {
  return bishop_attacks(s, occupied) | rook_attacks(s, occupied);
}

// Slow ray walk; the reference for the magic tables and the magic search.
Bitboard slider_attacks_slow(Square s, Bitboard occupied, bool rook);
// The relevant occupancy: every square reachable on an empty board but the last of each ray.
Bitboard slider_mask(Square s, bool rook);
// The subset of mask chosen by the bits of index (bit j picks the j-th lowest square of mask).
Bitboard mask_subset(Bitboard mask, uint64_t index);

// Fills the slider store, BETWEEN, DIRECTION and the castling tables.
void init_attack_tables();
