#include "board/attacks.h"

#include <algorithm>
#include <cstring>

MagicEntry MAGICS[128];
alignas(64) Bitboard ATTACK_STORE[ATTACK_STORE_SIZE];
Bitboard BETWEEN[64][64];
uint32_t DIRECTION[64][64];
CastlingClearEntry CASTLING_CLEAR[6][8];
CastlingGuard CASTLING_GUARD_KINGSIDE[6];
CastlingGuard CASTLING_GUARD_QUEENSIDE[6];

namespace {

// Step of each Direction code, as (file, rank) deltas.
constexpr int DIR_DF[8] = {1, -1, 0, 0, 1, -1, -1, 1};
constexpr int DIR_DR[8] = {0, 0, 1, -1, 1, -1, 1, -1};

Bitboard ray(Square s, int dir) {
  Bitboard b = 0;
  int f = file_of(s) + DIR_DF[dir], r = rank_of(s) + DIR_DR[dir];
  for (; f >= 0 && f < 8 && r >= 0 && r < 8; f += DIR_DF[dir], r += DIR_DR[dir]) b |= bit(r * 8 + f);
  return b;
}

Bitboard first_rank_files(int lo, int hi) {
  Bitboard b = 0;
  for (int f = lo; f <= hi; ++f) b |= bit(f);
  return b;
}

void init_castling_tables() {
  for (int k = 1; k <= 6; ++k) {
    for (int r = 0; r < 8; ++r) {
      CastlingClearEntry& e = CASTLING_CLEAR[k - 1][r];
      e = {0, 0};
      if (r == k) continue;
      int kd = r < k ? 2 : 6, rd = r < k ? 3 : 5;
      Bitboard span = first_rank_files(std::min(k, kd), std::max(k, kd)) |
                      first_rank_files(std::min(r, rd), std::max(r, rd));
      e.must_be_empty = span & ~bit(k) & ~bit(r);
      e.beyond = r < k ? first_rank_files(0, std::min(r, 2) - 1) : first_rank_files(std::max(r, 6) + 1, 7);
    }
    for (int side = 0; side < 2; ++side) {
      CastlingGuard& g = side == 0 ? CASTLING_GUARD_KINGSIDE[k - 1] : CASTLING_GUARD_QUEENSIDE[k - 1];
      std::memset(&g, 0, sizeof g);
      int lo, hi;
      if (side == 0) {
        lo = k + 1, hi = 6;
      } else if (k == 1) {
        lo = 2, hi = 2;  // a king on b1 still crosses c1
      } else {
        lo = 2, hi = k - 1;
      }
      for (int p = lo; p <= hi; ++p) {
        int i = g.path_length++;
        g.enemy_king |= KING_ATTACKS[p];
        g.enemy_knight |= KNIGHT_ATTACKS[p];
        g.enemy_pawn |= (p > 0 ? bit(p + 7) : 0) | (p < 7 ? bit(p + 9) : 0);
        g.file_ray[i] = ray(p, NORTH);
        g.ne_ray[i] = ray(p, NORTH_EAST);
        g.nw_ray[i] = ray(p, NORTH_WEST);
      }
    }
  }
}

}  // namespace

Bitboard slider_attacks_slow(Square s, Bitboard occupied, bool rook) {
  Bitboard result = 0;
  int first = rook ? EAST : NORTH_EAST;
  for (int dir = first; dir < first + 4; ++dir) {
    int f = file_of(s) + DIR_DF[dir], r = rank_of(s) + DIR_DR[dir];
    for (; f >= 0 && f < 8 && r >= 0 && r < 8; f += DIR_DF[dir], r += DIR_DR[dir]) {
      result |= bit(r * 8 + f);
      if (occupied & bit(r * 8 + f)) break;
    }
  }
  return result;
}

Bitboard slider_mask(Square s, bool rook) {
  Bitboard mask = 0;
  int first = rook ? EAST : NORTH_EAST;
  for (int dir = first; dir < first + 4; ++dir) {
    Bitboard r = ray(s, dir);
    if (!r) continue;
    // Drop the last square of the ray: a piece on the edge blocks nothing behind it.
    Square last = (dir == EAST || dir == NORTH || dir == NORTH_EAST || dir == NORTH_WEST) ? msb(r) : lsb(r);
    mask |= r & ~bit(last);
  }
  return mask;
}

Bitboard mask_subset(Bitboard mask, uint64_t index) {
  Bitboard subset = 0;
  for (int j = 0; mask; ++j, mask &= mask - 1)
    if (index >> j & 1) subset |= lowest_bit(mask);
  return subset;
}

void init_attack_tables() {
  Bitboard* store = ATTACK_STORE;
  for (int piece = 0; piece < 2; ++piece) {
    for (Square s = 0; s < 64; ++s) {
      MagicEntry& e = MAGICS[piece * 64 + s];
      bool rook = piece == 1;
      e.mask = slider_mask(s, rook);
      e.magic = MAGIC_MULTIPLIERS[piece * 64 + s];
      int n = popcount(e.mask);
      e.shift = 64 - n;
      e.attacks = store;
      for (uint64_t i = 0; i < (uint64_t(1) << n); ++i) {
        Bitboard subset = mask_subset(e.mask, i);
        store[(subset * e.magic) >> e.shift] = slider_attacks_slow(s, subset, rook);
      }
      store += uint64_t(1) << n;
    }
  }

  for (Square from = 0; from < 64; ++from) {
    for (Square to = 0; to < 64; ++to) {
      BETWEEN[from][to] = 0;
      DIRECTION[from][to] = NO_DIRECTION;
    }
    for (int dir = 0; dir < 8; ++dir) {
      Bitboard seg = 0;
      int f = file_of(from) + DIR_DF[dir], rk = rank_of(from) + DIR_DR[dir];
      for (; f >= 0 && f < 8 && rk >= 0 && rk < 8; f += DIR_DF[dir], rk += DIR_DR[dir]) {
        Square to = rk * 8 + f;
        seg |= bit(to);
        BETWEEN[from][to] = seg;
        DIRECTION[from][to] = dir;
      }
    }
  }
  init_castling_tables();
}
