#pragma once
// The layout of a Syzygy table file, the one description that the engine's reader and the
// table generator's writer both follow: the header bytes and their flags, the three-byte
// symbols, the sizes of the index, size and data areas, and where the padding goes.
//
// A file: magic number, flags byte, one piece header per leading file, a compression header
// per slice (then, in a DTZ file, the value maps), and the areas of all slices in slice
// order: every index table, every size table, then the data areas, each data area on a
// multiple of DATA_ALIGNMENT bytes; after the last, padding to that multiple and TAIL_BYTES.
#include <cstdint>
#include <cstring>
#include <vector>

constexpr uint8_t WDL_MAGIC[4] = {0x71, 0xE8, 0x23, 0x5D};
constexpr uint8_t DTZ_MAGIC[4] = {0xD7, 0x66, 0x0C, 0xA5};

// Byte 4 of both files: the number of men in the high four bits, TABLE_HAS_PAWNS, and
// TABLE_TWO_SIDED for a table whose sides differ (whose WDL file then stores both).
constexpr int FLAGS_BYTE = 4;
constexpr uint8_t TABLE_TWO_SIDED = 1;
constexpr uint8_t TABLE_HAS_PAWNS = 2;
constexpr int PIECE_HEADERS_AT = 5;
inline uint8_t table_flags(int men, bool has_pawns, bool two_sided) {
  return uint8_t(men << 4 | (has_pawns ? TABLE_HAS_PAWNS : 0) | (two_sided ? TABLE_TWO_SIDED : 0));
}

// A piece header's order nibble of the other side's pawns in a table where it has none.
constexpr int NO_ORDER = 15;

// The first byte of a compression header: a slice of one value, or the DTZ file's flags.
constexpr uint8_t SINGLE_VALUE = 0x80;
constexpr uint8_t DTZ_SIDE = 1;        // the side to move the DTZ slice stores
constexpr uint8_t DTZ_MAPPED = 2;      // leaves stand for entries of the value maps
constexpr uint8_t DTZ_WIN_PLIES = 4;   // wins the fifty-move rule keeps are stored in plies
constexpr uint8_t DTZ_LOSS_PLIES = 8;  // losses likewise; other distances in moves
constexpr uint8_t DTZ_WIDE_MAP = 16;   // map entries of two bytes, not one

// A symbol is three bytes, two twelve-bit halves, left first. A symbol stands for the
// values of its left half, then those of its right; a right half of LEAF makes a leaf,
// whose left half is the value itself.
constexpr int SYMBOL_BYTES = 3;
constexpr int LEAF = 4095;
// A symbol's length byte holds the values it stands for, minus 1.
constexpr int MAX_SYMBOL_VALUES = 256;
// The reader's 64-bit window, refilled 32 bits at a time, must always hold a whole code.
constexpr int LONGEST_CODE = 32;

inline int symbol_left(const uint8_t* symbol) { return symbol[0] | (symbol[1] & 15) << 8; }
inline int symbol_right(const uint8_t* symbol) { return symbol[1] >> 4 | symbol[2] << 4; }
inline void pack_symbol(uint8_t* symbol, int left, int right) {
  symbol[0] = uint8_t(left & 255);
  symbol[1] = uint8_t(left >> 8 | (right & 15) << 4);
  symbol[2] = uint8_t(right >> 4);
}

// Bytes of a compression header with codes of `lengths` lengths and `symbols` symbols: 12
// fixed bytes, the first symbol of each length, the symbols, and a byte that keeps the
// next header on an even offset.
inline uint64_t compression_header_bytes(int lengths, int symbols) {
  return 12 + 2 * uint64_t(lengths) + uint64_t(SYMBOL_BYTES) * uint64_t(symbols) + uint64_t(symbols & 1);
}
// The header of a slice of one value: the flags byte and the value.
constexpr int SINGLE_HEADER_BYTES = 2;

// The lowest code of each length, counted from the longest code up: from the limit of the
// next longer length and the first symbols of both lengths.
inline uint64_t canonical_limit(uint64_t longer_limit, int first_symbol, int longer_first_symbol) {
  return (longer_limit + uint64_t(first_symbol) - uint64_t(longer_first_symbol)) / 2;
}
// The same limit set at the top of a 64-bit window, so that a window compares directly.
inline uint64_t window_limit(uint64_t limit, int length) { return limit << ((64 - length) & 63); }

// The sparse index: one entry per 2^index_bits values, a 32-bit block number and a 16-bit
// offset in it of the value in the middle of the entry's run; the size table: the values
// of each block, minus 1, in 16 bits; the data: blocks of 2^block_size bytes.
constexpr int INDEX_ENTRY_BYTES = 6;
constexpr int SIZE_ENTRY_BYTES = 2;
constexpr int MAX_BLOCK_VALUES = 65536;
inline uint64_t index_entries(uint64_t values, int index_bits) {
  return (values + (uint64_t(1) << index_bits) - 1) >> index_bits;
}
inline uint64_t index_entry_middle(uint64_t entry, int index_bits) {
  return (entry << index_bits) + (uint64_t(1) << (index_bits - 1));
}

constexpr uint64_t DATA_ALIGNMENT = 64;
constexpr uint64_t TAIL_BYTES = 16;
// `at` rounded up to a multiple of `multiple`, a power of two.
inline uint64_t align_up(uint64_t at, uint64_t multiple) { return (at + multiple - 1) & ~(multiple - 1); }
// The length of a file whose last data area ends at `end`.
inline uint64_t file_length(uint64_t end) { return align_up(end, DATA_ALIGNMENT) + TAIL_BYTES; }

// Numbers in the file are little-endian, the engine's processors too (x86-64, ARMv8), so
// a copy reads them; the code words of the data blocks are big-endian.
inline uint16_t get_le16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}
inline uint32_t get_le32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
inline uint32_t get_be32(const uint8_t* p) { return __builtin_bswap32(get_le32(p)); }
inline uint64_t get_be64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return __builtin_bswap64(v);
}
inline void put_le(std::vector<uint8_t>& out, uint64_t x, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(uint8_t(x >> (8 * i)));
}
// Zeros up to a multiple of `multiple` bytes.
inline void pad_to(std::vector<uint8_t>& out, uint64_t multiple) { out.resize(align_up(out.size(), multiple), 0); }
