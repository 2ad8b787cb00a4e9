#include "tbgen/table_index.h"

#include <algorithm>
#include <iterator>

#include "board/types.h"
#include "tablebase/index_tables.h"
#include "tablebase/table_format.h"

int file_fold(int file) { return FILE_FOLD[file]; }
int pawn_order(int square) { return PAWN_ORDER[square]; }

// The index tables are the reader's: the files must index as it does.
void init_table_index() { tb_tables_init(); }

namespace {

// The reader's view of a table's shape: encoding and slice set-up read only these fields.
TableEntry& entry_of(const TableShape& shape) {
  thread_local TableEntry entry{};
  entry.men = uint8_t(shape.men);
  entry.pawn_count[0] = uint8_t(shape.pawn_count[0]);
  entry.pawn_count[1] = uint8_t(shape.pawn_count[1]);
  entry.pair_index = uint8_t(shape.pair_index);
  return entry;
}

}  // namespace

uint64_t setup_slice_layout(SliceLayout& slice, const TableShape& shape, int file) {
  // The piece header as the file will hold it, read back by the reader's own set-up.
  const bool two = shape.has_pawns && shape.pawn_count[1] != 0;
  uint8_t header[1 + 1 + 7] = {};
  header[0] = uint8_t(slice.order);
  if (two) header[1] = uint8_t(slice.order2);
  for (int i = 0; i < shape.men; ++i) header[1 + two + i] = uint8_t(slice.pieces[i]);
  slice.size = setup_slice(slice.reader, entry_of(shape), header, 0, file, shape.has_pawns);
  for (int k = 0; k < 7; ++k) {
    slice.groups[k] = slice.reader.groups[k];
    slice.factor[k] = slice.reader.factor[k];
  }
  return slice.size;
}

uint64_t encode_table_index(int* p, const SliceLayout& slice, const TableShape& shape) {
  return encode_index(p, slice.reader, entry_of(shape), shape.has_pawns);
}
