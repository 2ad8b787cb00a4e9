#pragma once
// The Syzygy file format: header parsing at a file's first use, the index of a list of
// squares, and the decompression of one stored value. Nothing here knows positions.
#include <cstdint>

#include "tablebase/table_entry.h"
#include "tablebase/table_layout.h"

// Fills the slice from a piece header (nibble shift 0 for side 0, 4 for side 1) and
// returns the number of positions it indexes.
uint64_t setup_slice(TableSlice& slice, const TableEntry& entry, const uint8_t* header, int shift, int file,
                     bool has_pawns);

// The three area sizes a slice needs in the file, in bytes.
struct SliceAreas {
  uint64_t index_table, size_table, data;
};

// What the set-up of a file found: where its last data area ends and, for a file that
// can't be used, why, in words for the user (empty when it can be used).
struct FileCheck {
  uint64_t end = 0;
  char fault[112] = {};
};

// Reads a compression header at offset `at` of a file of `size` bytes (at is moved behind
// it); allocates the decoder. Null, with the fault noted, when the header doesn't fit the
// file or describes no possible code.
SymbolDecoder* setup_decoder(const uint8_t* base, uint64_t size, uint64_t& at, uint64_t table_size,
                             SliceAreas& areas, uint8_t& flags, int kind, FileCheck& check);

// Sets up the slices and decoders of a file whose view and length are in the entry.
// Every size and offset the file declares is held to its length and every symbol to the
// symbol table before anything is read through them; false, with the decoders freed and
// the fault noted, when the file can't be used.
bool parse_table_file(TableEntry& entry, int kind, FileCheck& check);

// Frees the decoders of one file's slices.
void free_decoders(TableEntry& entry, int kind);

// The table index of the squares, in the slice's order; reorders and transforms them.
uint64_t encode_index(int* squares, const TableSlice& slice, const TableEntry& entry, bool has_pawns);

// Address of the symbol that holds the value at idx.
const uint8_t* decode_value(const SymbolDecoder& decoder, uint64_t idx);

// The WDL value (-2..2) a symbol stands for.
inline int wdl_of_symbol(const uint8_t* symbol) { return int(symbol[0]) - 2; }

// The DTZ distance a symbol stands for in a position of WDL value w (not 0), never negative.
int dtz_of_symbol(const TableEntry& entry, int file, const uint8_t* symbol, int w);
