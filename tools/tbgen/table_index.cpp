#include "tbgen/table_index.h"

#include <algorithm>
#include <iterator>

#include "board/types.h"
#include "tablebase/index_tables.h"

int file_fold(int file) { return FILE_FOLD[file]; }
int pawn_order(int square) { return PAWN_ORDER[square]; }

// The index tables are the reader's: the files must index as it does.
void init_table_index() { tb_tables_init(); }

uint64_t setup_slice_layout(SliceLayout& slice, const TableShape& shape, int file) {
  const bool two = shape.has_pawns && shape.pawn_count[1] != 0;
  std::fill(std::begin(slice.groups), std::end(slice.groups), 0);
  const int first = shape.has_pawns ? shape.pawn_count[0] : shape.pair_index ? 2 : 3;
  slice.groups[0] = first;
  int i = first;
  if (two) {
    slice.groups[first] = shape.pawn_count[1];
    i = first + shape.pawn_count[1];
  }
  for (int j = i; j < shape.men;) {
    int run = 1;
    while (j + run < shape.men && slice.pieces[j + run] == slice.pieces[j]) ++run;
    slice.groups[j] = run;
    j += run;
  }
  const int order2 = two ? slice.order2 : 15;
  uint64_t f = 1;
  int free = 64 - i;
  for (int k = 0; i < shape.men || k == slice.order || k == order2; ++k) {
    if (k == slice.order) {
      slice.factor[0] = f;
      f *= shape.has_pawns ? PAWN_FACTOR[slice.groups[0] - 1][file] : shape.pair_index ? 462 : 31332;
    } else if (k == order2) {
      slice.factor[first] = f;
      f *= BINOMIAL[slice.groups[first]][48 - first];
    } else {
      slice.factor[i] = f;
      f *= BINOMIAL[slice.groups[i]][free];
      free -= slice.groups[i];
      i += slice.groups[i];
    }
  }
  slice.size = f;
  return f;
}

uint64_t encode_table_index(int* p, const SliceLayout& slice, const TableShape& shape) {
  const int n = shape.men;
  if (file_of(p[0]) >= 4)
    for (int i = 0; i < n; ++i) p[i] ^= 7;
  uint64_t idx;
  int next;
  if (shape.has_pawns) {
    const int c = shape.pawn_count[0];
    std::sort(p + 1, p + c, [](int a, int b) { return PAWN_TWIST[a] > PAWN_TWIST[b]; });
    idx = PAWN_INDEX[c - 1][pawn_order(p[0])];
    for (int i = 1; i < c; ++i) idx += BINOMIAL[c - i][PAWN_TWIST[p[i]]];
    idx *= slice.factor[0];
    next = c;
    if (shape.pawn_count[1]) {
      const int end = c + shape.pawn_count[1];
      std::sort(p + c, p + end);
      uint64_t s = 0;
      for (int i = c; i < end; ++i) {
        int m = 0;
        for (int j = 0; j < c; ++j) m += p[j] < p[i];
        s += BINOMIAL[i - c + 1][p[i] - m - 8];
      }
      idx += s * slice.factor[c];
      next = end;
    }
  } else {
    if (rank_of(p[0]) >= 4)
      for (int i = 0; i < n; ++i) p[i] ^= 56;
    const int lead = shape.pair_index ? 2 : 3;
    for (int i = 0; i < n; ++i) {
      if (on_diagonal(p[i])) continue;
      if (i < lead && rank_of(p[i]) > file_of(p[i]))
        for (int j = 0; j < n; ++j) p[j] = transpose(p[j]);
      break;
    }
    if (shape.pair_index) {
      idx = uint64_t(KING_PAIR_INDEX[TRIANGLE[p[0]]][p[1]]);
      next = 2;
    } else {
      const int a = p[1] > p[0] ? 1 : 0;
      const int b = (p[0] < p[2]) + (p[1] < p[2]);
      if (!on_diagonal(p[0]))
        idx = uint64_t(TRIANGLE[p[0]]) * 3906 + uint64_t(p[1] - a) * 62 + uint64_t(p[2] - b);
      else if (!on_diagonal(p[1]))
        idx = 23436 + uint64_t(diagonal_index(p[0])) * 1736 + uint64_t(LOWER_INDEX[p[1]]) * 62 + uint64_t(p[2] - b);
      else if (!on_diagonal(p[2]))
        idx = 30380 + uint64_t(file_of(p[0])) * 196 + uint64_t(file_of(p[1]) - a) * 28 + uint64_t(LOWER_INDEX[p[2]]);
      else
        idx = 31164 + uint64_t(file_of(p[0])) * 42 + uint64_t(file_of(p[1]) - a) * 6 + uint64_t(file_of(p[2]) - b);
      next = 3;
    }
    idx *= slice.factor[0];
  }
  for (int g = next; g < n;) {
    const int size = slice.groups[g];
    std::sort(p + g, p + g + size);
    uint64_t s = 0;
    for (int i = g; i < g + size; ++i) {
      int m = 0;
      for (int j = 0; j < g; ++j) m += p[j] < p[i];
      s += BINOMIAL[i - g + 1][p[i] - m];
    }
    idx += s * slice.factor[g];
    g += size;
  }
  return idx;
}
