#pragma once
// Writes a solved table as the two files the engine reads: .rtbw with the values of
// both sides (one for a symmetric material), .rtbz with the distances of one side.
#include <cstdint>
#include <string>
#include <vector>

#include "tbgen/retrograde.h"
#include "tbgen/table_index.h"

constexpr uint8_t WDL_MAGIC[4] = {0x71, 0xE8, 0x23, 0x5D};
constexpr uint8_t DTZ_MAGIC[4] = {0xD7, 0x66, 0x0C, 0xA5};

TableShape table_shape(const Material& m);

// Byte 4 of both files, as every reader of the format expects it: the number of men in the
// high four bits, bit 1 for a table with pawns, bit 0 for one whose sides differ (whose
// WDL file then stores both).
uint8_t table_flags(const TableShape& shape);

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
