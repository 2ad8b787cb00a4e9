#include "tablebase/index_tables.h"

uint64_t BINOMIAL[7][64];
uint64_t PAWN_INDEX[6][24];
uint64_t PAWN_FACTOR[6][4];

void tb_tables_init() {
  for (int k = 0; k < 7; ++k)
    for (int n = 0; n < 64; ++n) {
      uint64_t value = n >= k ? 1 : 0;
      for (int i = 0; i < k && value; ++i) value = value * uint64_t(n - i) / uint64_t(i + 1);
      BINOMIAL[k][n] = value;
    }
  // Leading pawns are counted file by file, a to d, each file from rank 2 up.
  for (int c = 1; c <= 6; ++c) {
    uint64_t sum = 0;
    for (int i = 0; i < 24; ++i) {
      const int square = 8 * (2 + i % 6 - 1) + i / 6;
      PAWN_INDEX[c - 1][i] = sum;
      sum += BINOMIAL[c - 1][PAWN_TWIST[square]];
      if (i % 6 == 5) {
        PAWN_FACTOR[c - 1][i / 6] = sum;
        sum = 0;
      }
    }
  }
}
