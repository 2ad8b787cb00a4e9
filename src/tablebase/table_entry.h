#pragma once
// What the engine keeps of one table signature: its key, the bytes of its two files
// once they are in use, and what was derived from their headers.
#include <atomic>
#include <cstdint>

// Reads the values of one compressed slice. The block is allocated at the first use of
// the file, with limit and symbol_length behind the record itself.
struct SymbolDecoder {
  const uint8_t* index_table;   // 6-byte entries: 32-bit block, 16-bit offset
  const uint8_t* size_table;    // 16-bit values per block, minus 1
  const uint8_t* data;          // blocks of 2^block_size bytes
  const uint8_t* first_symbol;  // 16-bit entries, the first for the shortest code
  uint8_t* symbol_length;       // values a symbol stands for, minus 1
  const uint8_t* symbols;       // 3 bytes each: two 12-bit halves
  uint8_t block_size;
  uint8_t index_bits;  // 0 for a slice that holds one value
  uint8_t shortest;
  // For a slice that holds one value: its symbol, a leaf. For the others: the draw that
  // a damaged index or block reads as.
  uint8_t constant[3];
  uint64_t* limit;     // left-aligned lowest code of each length
  // Bounds that keep a damaged file's lookups inside it.
  uint64_t index_entries;  // entries of index_table
  uint32_t size_entries;   // entries of size_table, real blocks and extra ones
  uint32_t blocks;         // real blocks in data
  const uint8_t* file_end;
};

// One side of one leading file of a table file.
struct TableSlice {
  SymbolDecoder* decoder;  // null for a side the file doesn't store
  uint64_t factor[7];      // multiplier of the group that starts at each place
  uint8_t pieces[7];       // man codes in table order: kind, plus 8 for the right side of the name
  uint8_t groups[7];       // size of the group that starts at a place, 0 elsewhere
};

constexpr int WDL = 0;
constexpr int DTZ = 1;

// States of a file of a TableEntry: not yet used, set up, or found unusable at its first
// use (then the material plays as if the file were missing until the registry is rebuilt).
constexpr uint8_t FILE_UNUSED = 0;
constexpr uint8_t FILE_READY = 1;
constexpr uint8_t FILE_FAILED = 2;

struct TableEntry {
  uint64_t key;                      // material key of the name as written, left side as White
  const uint8_t* view[2];            // file bytes, WDL then DTZ; null until first use
  uint64_t mapping[2];               // length of the mapping (or of the embedded file)
  std::atomic<uint8_t> ready[2];     // FILE_UNUSED, FILE_READY (published last) or FILE_FAILED
  uint8_t men;
  uint8_t symmetric;
  uint8_t has_pawns;
  uint8_t has_dtz;
  uint8_t pawn_count[2];  // leading side first
  uint8_t pair_index;     // without pawns: the kings are the only single men
  TableSlice wdl_slices[4][2];
  TableSlice dtz_slices[4];
  const uint8_t* dtz_map;     // value maps of the DTZ file
  uint16_t map_start[4][4];   // start of each map in map entries from dtz_map
  uint16_t map_length[4][4];  // entries of each map
  uint8_t dtz_flags[4];
};
