#pragma once
// Compression of one slice of a table file: a grammar of symbol pairs over the values,
// canonical Huffman codes over the symbols, and blocks that each start a fresh code.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tablebase/table_layout.h"

// Symbol numbers stay below the twelve-bit number that marks a leaf.
constexpr int MAX_SYMBOLS = LEAF;

struct CompressedSlice {
  bool single = false;  // every value the same: a two-byte header and nothing else
  int single_value = 0;
  int block_size = 0;   // log2 of the bytes of a block
  int index_bits = 0;
  int extra_blocks = 0;
  uint32_t real_blocks = 0;
  int longest = 0, shortest = 0;
  std::vector<uint16_t> first_symbol;  // by code length, shortest first
  std::vector<uint8_t> symbols;        // SYMBOL_BYTES each
  std::vector<uint8_t> index_table, size_table, data;

  size_t header_bytes() const;
  size_t total_bytes() const { return header_bytes() + index_table.size() + size_table.size() + data.size(); }
};

// Values are leaf numbers below 4096. The result reproduces them through the reader's
// decode; the choices depend on nothing but the values.
CompressedSlice compress_values(const std::vector<uint16_t>& values);

// Appends the slice's compression header; `flags` is its first byte (the DTZ file's flags),
// and a slice of one value stores that value only in a WDL file.
void write_compression_header(std::vector<uint8_t>& out, const CompressedSlice& slice, uint8_t flags, bool wdl);
