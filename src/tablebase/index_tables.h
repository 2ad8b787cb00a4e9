#pragma once
// Tables that turn the squares of a table's men into an index: square orders for pawns,
// the folding of piece positions into the a1-d1-d4 triangle, binomials for groups of
// like men. Squares count a1 = 0 on the real board, file in the low three bits.
#include <array>
#include <cstdint>

// Filled by tb_tables_init: BINOMIAL[k][n] is n over k (0 for n below k);
// PAWN_INDEX and PAWN_FACTOR place one to six leading pawns by their file.
extern uint64_t BINOMIAL[7][64];
extern uint64_t PAWN_INDEX[6][24];
extern uint64_t PAWN_FACTOR[6][4];

void tb_tables_init();

// Order of squares for the pawns behind the leading one; 0 on ranks 1 and 8.
constexpr uint8_t PAWN_TWIST[64] = {
    0,  0,  0,  0,  0,  0,  0,  0,   //
    47, 35, 23, 11, 10, 22, 34, 46,  //
    45, 33, 21, 9,  8,  20, 32, 44,  //
    43, 31, 19, 7,  6,  18, 30, 42,  //
    41, 29, 17, 5,  4,  16, 28, 40,  //
    39, 27, 15, 3,  2,  14, 26, 38,  //
    37, 25, 13, 1,  0,  12, 24, 36,  //
    0,  0,  0,  0,  0,  0,  0,  0,
};

constexpr uint8_t FILE_FOLD[8] = {0, 1, 2, 3, 3, 2, 1, 0};

// Place of a leading pawn: rank first, then the file folded onto a to d.
constexpr std::array<uint8_t, 64> PAWN_ORDER = [] {
  std::array<uint8_t, 64> table{};
  for (int s = 8; s < 56; ++s) table[s] = uint8_t((s / 8 - 1) + 6 * FILE_FOLD[s % 8]);
  return table;
}();

constexpr int transpose(int s) { return (s & 7) << 3 | s >> 3; }

// Squares of the a1-d1-d4 triangle, off-diagonal ones first: b1 c1 d1 c2 d2 d3 a1 b2 c3 d4.
constexpr int TRIANGLE_SQUARES[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};

// Place of a square in TRIANGLE_SQUARES; other squares are never looked up.
constexpr std::array<uint8_t, 64> TRIANGLE = [] {
  std::array<uint8_t, 64> table{};
  for (int i = 0; i < 10; ++i) table[TRIANGLE_SQUARES[i]] = uint8_t(i);
  return table;
}();

// Place of a square on the a1-h8 diagonal: its file.
constexpr int diagonal_index(int s) { return s & 7; }
constexpr bool on_diagonal(int s) { return (s & 7) == (s >> 3); }

// Squares by the unordered pair of file and rank: off-diagonal pairs 0..27, the diagonal 28..35.
constexpr std::array<uint8_t, 64> LOWER_INDEX = [] {
  std::array<uint8_t, 64> table{};
  for (int s = 0; s < 64; ++s) {
    const int a = (s & 7) < (s >> 3) ? s & 7 : s >> 3, b = (s & 7) < (s >> 3) ? s >> 3 : s & 7;
    int place = 28 + a;
    if (a != b) {
      place = 0;
      for (int j = 0; j < a; ++j) place += 7 - j;
      place += b - a - 1;
    }
    table[s] = uint8_t(place);
  }
  return table;
}();

// Two men that may not stand side by side (the kings), the first in the triangle (row by
// TRIANGLE), the second anywhere: 462 placements numbered 0..461, -1 where none exists.
using KingPairIndex = std::array<std::array<int16_t, 64>, 10>;
constexpr KingPairIndex make_king_pair_index() {
  KingPairIndex table{};
  for (auto& row : table)
    for (int16_t& v : row) v = -1;
  auto apart = [](int a, int b) {
    const int df = (a & 7) - (b & 7), dr = (a >> 3) - (b >> 3);
    return df * df > 1 || dr * dr > 1;
  };
  int16_t next = 0;
  for (int row = 0; row < 10; ++row)
    for (int s = 0; s < 64; ++s)
      if (apart(TRIANGLE_SQUARES[row], s) && (row < 6 || (s >> 3) < (s & 7))) table[row][s] = next++;
  for (int row = 6; row < 10; ++row)
    for (int s = 0; s < 64; ++s)
      if (apart(TRIANGLE_SQUARES[row], s) && on_diagonal(s)) table[row][s] = next++;
  return table;
}
constexpr KingPairIndex KING_PAIR_INDEX = make_king_pair_index();
