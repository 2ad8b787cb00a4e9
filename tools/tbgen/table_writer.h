#pragma once
// Writes a solved table as the two files the engine reads: .rtbw with the values of
// both sides (one for a symmetric material), .rtbz with the distances of one side.
#include <cstdint>
#include <string>
#include <vector>

#include "tbgen/retrograde.h"
#include "tbgen/table_index.h"

TableShape table_shape(const Material& m);

// The men of a table in the order its slices list them, as man codes.
std::vector<int> table_piece_order(const TableShape& shape, const Material& m);

// Squares of the position in table order (leading pawn first); returns the leading file.
int gather_table_squares(const Layout& l, const std::vector<int>& pieces, const TableShape& shape, const int* squares,
                         int* out);

struct TableFiles {
  std::vector<uint8_t> wdl, dtz;
};

// Both files of a solved table, byte for byte the same for the same table.
TableFiles build_table_files(const TableResult& t, int threads);
