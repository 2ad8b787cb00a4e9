#pragma once
// The index of a position in a published table file: the men's squares in table order
// become one number per leading file and side, folded by the board's symmetries.
#include <cstdint>

#include "tablebase/table_entry.h"
#include "tablebase/table_layout.h"

// Which men lead a table and how its index is shaped, from its material.
struct TableShape {
  bool has_pawns = false;
  bool pair_index = false;  // without pawns: the two kings are the only single men
  bool symmetric = false;
  int men = 0;
  int pawn_count[2] = {0, 0};  // leading side's pawns, the other side's
  int leading_colour = 0;
};

// One side of one leading file: the men in table order and their groups and factors.
struct SliceLayout {
  int pieces[7] = {};  // man codes: piece type, plus 8 for the right side of the name
  int groups[7] = {};
  uint64_t factor[7] = {};
  int order = 0;
  int order2 = NO_ORDER;
  uint64_t size = 0;
  TableSlice reader = {};  // the same layout as the engine's reader holds it
};

void init_table_index();
int pawn_order(int square);
int file_fold(int file);

// Groups and factors of a slice whose pieces and order bytes are set.
uint64_t setup_slice_layout(SliceLayout& slice, const TableShape& shape, int file);

// The index of squares p[0..men-1] in the slice's order, by the reader's own encoding;
// p is reordered and transformed.
uint64_t encode_table_index(int* p, const SliceLayout& slice, const TableShape& shape);
