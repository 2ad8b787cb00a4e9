#pragma once
// Compression of one slice of a table file: a grammar of symbol pairs over the values,
// canonical Huffman codes over the symbols, and blocks that each start a fresh code.
#include <cstddef>
#include <cstdint>
#include <vector>

constexpr int MAX_SYMBOLS = 4095;   // the twelve-bit number 4095 marks a leaf
constexpr int MAX_SYMBOL_VALUES = 256;
constexpr int MAX_BLOCK_VALUES = 65536;

struct CompressedSlice {
  bool single = false;  // every value the same: a two-byte header and nothing else
  int single_value = 0;
  int block_size = 0;   // log2 of the bytes of a block
  int index_bits = 0;
  int extra_blocks = 0;
  uint32_t real_blocks = 0;
  int longest = 0, shortest = 0;
  std::vector<uint16_t> first_symbol;  // by code length, shortest first
  std::vector<uint8_t> symbols;        // three bytes each
  std::vector<uint8_t> index_table, size_table, data;

  size_t header_bytes() const;
  size_t total_bytes() const { return header_bytes() + index_table.size() + size_table.size() + data.size(); }
};

// Values are leaf numbers below 4096. The result reproduces them through the reader's
// decode; the choices depend on nothing but the values.
CompressedSlice compress_values(const std::vector<uint16_t>& values);

// The reader's decoding of one value, for checking a compressed slice. The decoder holds
// what every lookup needs (code limits, symbol lengths, the data padded as the reader
// expects) and points at the slice, which must outlive it.
struct SliceDecoder {
  const CompressedSlice* slice = nullptr;
  std::vector<uint64_t> limit;
  std::vector<int> length;
  std::vector<uint8_t> padded;
};
SliceDecoder make_slice_decoder(const CompressedSlice& slice);
int decode_compressed(const SliceDecoder& decoder, uint64_t index);
