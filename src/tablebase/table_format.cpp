#include "tablebase/table_format.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tablebase/index_tables.h"
#include "tablebase/registry.h"
#include "tablebase/table_layout.h"

uint64_t setup_slice(TableSlice& slice, const TableEntry& entry, const uint8_t* header, int shift, int file,
                     bool has_pawns) {
  const int two = has_pawns && entry.pawn_count[1] ? 1 : 0;
  const int men = entry.men;
  for (int i = 0; i < men; ++i) slice.pieces[i] = (header[1 + two + i] >> shift) & 15;
  std::fill(std::begin(slice.groups), std::end(slice.groups), 0);
  std::fill(std::begin(slice.factor), std::end(slice.factor), 0);
  const int order = (header[0] >> shift) & 15;
  const int order2 = two ? (header[1] >> shift) & 15 : NO_ORDER;

  const int first = has_pawns ? entry.pawn_count[0] : entry.pair_index ? 2 : 3;
  slice.groups[0] = uint8_t(first);
  int i = first;
  if (two) {
    slice.groups[first] = entry.pawn_count[1];
    i = first + entry.pawn_count[1];
  }
  for (int run = i; run < men;) {
    int length = 1;
    while (run + length < men && slice.pieces[run + length] == slice.pieces[run]) ++length;
    slice.groups[run] = uint8_t(length);
    run += length;
  }

  // The groups take their factors in the order the header gives, the leading group at
  // `order`, the other side's pawns at `order2`, and the rest as they come.
  uint64_t f = 1;
  int free = 64 - i;
  for (int k = 0; i < men || k == order || k == order2; ++k) {
    if (k == order) {
      slice.factor[0] = f;
      f *= has_pawns ? PAWN_FACTOR[slice.groups[0] - 1][file] : entry.pair_index ? 462 : 31332;
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
  return f;
}

namespace {

// Notes why a file can't be used; always false, for the caller to return.
[[gnu::format(printf, 2, 3)]] bool fault(FileCheck& check, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(check.fault, sizeof check.fault, format, arguments);
  va_end(arguments);
  return false;
}

bool cut_short(FileCheck& check, uint64_t size, uint64_t needed) {
  return fault(check, "cut short: %llu bytes where its header needs at least %llu", (unsigned long long)size,
               (unsigned long long)needed);
}

// Whether a slice lists exactly the men of the entry's name, like men side by side, with
// the men the index places first where it expects them: the leading pawns (then the other
// side's pawns), or two or three single men. The probe gathers the men of one code at a
// time, so a header that breaks this would make it gather too many or too few.
bool slice_fits_name(const TableSlice& slice, const TableEntry& entry, bool has_pawns) {
  int expected[16] = {};
  for (int colour = 0; colour < 2; ++colour) {
    for (int kind = 1; kind < 6; ++kind)
      expected[8 * colour + kind] = int(entry.key >> __builtin_ctzll(MATERIAL_KEY[colour][kind] - 1) & 15);
    expected[8 * colour + 6] = 1;
  }
  int seen[16] = {};
  for (int i = 0; i < entry.men; ++i) {
    const int code = slice.pieces[i];
    if (i > 0 && code != slice.pieces[i - 1] && seen[code]) return false;
    ++seen[code];
  }
  if (!std::equal(std::begin(seen), std::end(seen), std::begin(expected))) return false;
  if (has_pawns) {
    // The leading side is the left one unless the right has fewer pawns, or the left none.
    const int left = expected[1], right = expected[9];
    const int lead = right && (!left || left > right) ? 9 : 1;
    for (int i = 0; i < entry.pawn_count[0]; ++i)
      if (slice.pieces[i] != lead) return false;
    for (int i = 0; i < entry.pawn_count[1]; ++i)
      if (slice.pieces[entry.pawn_count[0] + i] != (lead ^ 8)) return false;
    return true;
  }
  for (int i = 0; i < (entry.pair_index ? 2 : 3); ++i)
    if (expected[slice.pieces[i]] != 1) return false;
  return true;
}

// Number of values symbol s stands for, minus 1, after those of its halves; state 1 marks
// a symbol being measured, 2 one done. False when a half names no symbol, a symbol
// contains itself, or one stands for more values than a length byte holds.
bool measure_symbol(SymbolDecoder& decoder, int n, int s, uint8_t* state) {
  state[s] = 1;
  const uint8_t* symbol = decoder.symbols + SYMBOL_BYTES * s;
  const int right = symbol_right(symbol);
  if (right == LEAF) {
    decoder.symbol_length[s] = 0;
  } else {
    const int left = symbol_left(symbol);
    if (left >= n || right >= n) return false;
    for (const int half : {left, right}) {
      if (state[half] == 1) return false;
      if (state[half] == 0 && !measure_symbol(decoder, n, half, state)) return false;
    }
    const int length = decoder.symbol_length[left] + decoder.symbol_length[right] + 1;
    if (length >= MAX_SYMBOL_VALUES) return false;
    decoder.symbol_length[s] = uint8_t(length);
  }
  state[s] = 2;
  return true;
}

// Measures the n symbols of a decoder; false when they don't describe values, or, in a
// WDL file, a leaf holds a value beyond -2..2 (stored as 0..4).
bool measure_symbols(SymbolDecoder& decoder, int n, int kind) {
  auto* state = static_cast<uint8_t*>(std::calloc(size_t(n), 1));
  bool sound = true;
  for (int s = 0; s < n && sound; ++s)
    if (!state[s]) sound = measure_symbol(decoder, n, s, state);
  std::free(state);
  for (int s = 0; s < n && sound && kind == WDL; ++s)
    sound = decoder.symbol_length[s] || decoder.symbols[SYMBOL_BYTES * s] <= 4;
  return sound;
}

// Canonical codes: the limit of each of the h lengths is the lowest code of that length,
// counted from the longest code up, and set at the top of a 64-bit window. False, with the
// fault noted, when some window that decode_value can meet gives no symbol of the n.
bool set_code_limits(SymbolDecoder& decoder, int h, int n, FileCheck& check) {
  uint64_t* limit = decoder.limit;
  const int shortest = decoder.shortest;
  auto first_symbol = [&](int i) { return int(get_le16(decoder.first_symbol + 2 * i)); };
  limit[h - 1] = 0;
  for (int i = h - 2; i >= 0; --i) limit[i] = canonical_limit(limit[i + 1], first_symbol(i), first_symbol(i + 1));
  for (int i = 0; i < h; ++i) limit[i] = window_limit(limit[i], shortest + i);
  // The codes that stop at length shortest + i run from limit[i] to below the limits of
  // shorter lengths.
  uint64_t above = ~uint64_t(0);  // the highest code still possible
  for (int i = 0; i < h; ++i) {
    if (limit[i] <= above) {
      const uint64_t last = uint64_t(first_symbol(i)) + ((above - limit[i]) >> (64 - (shortest + i)));
      if (last >= uint64_t(n)) return fault(check, "codes of length %d beyond its %d symbols", shortest + i, n);
      if (limit[i] == 0) break;
      above = limit[i] - 1;
    }
  }
  return true;
}

// The decoder of a slice that holds one value: its header is the flags and the value.
SymbolDecoder* single_value_decoder(const uint8_t* d, uint64_t& at, SliceAreas& areas, int kind, FileCheck& check) {
  if (kind == WDL && d[1] > 4) return fault(check, "a stored value of %d", int(d[1]) - 2), nullptr;
  auto* decoder = static_cast<SymbolDecoder*>(std::calloc(1, sizeof(SymbolDecoder)));
  pack_symbol(decoder->constant, kind == WDL ? d[1] : 0, LEAF);
  at += SINGLE_HEADER_BYTES;
  areas = {0, 0, 0};
  return decoder;
}

// Code lengths beyond LONGEST_CODE would not fit the 64-bit window that decode_value
// refills 32 bits at a time.
bool header_fields_sound(int block_size, int index_bits, int shortest, int longest) {
  return block_size <= 31 && index_bits >= 1 && index_bits <= 31 && shortest >= 1 && longest >= shortest &&
         longest <= LONGEST_CODE;
}

}  // namespace

SymbolDecoder* setup_decoder(const uint8_t* base, uint64_t size, uint64_t& at, uint64_t table_size,
                             SliceAreas& areas, uint8_t& flags, int kind, FileCheck& check) {
  if (size < at + SINGLE_HEADER_BYTES) return cut_short(check, size, at + SINGLE_HEADER_BYTES), nullptr;
  const uint8_t* d = base + at;
  flags = d[0];
  if (flags & SINGLE_VALUE) return single_value_decoder(d, at, areas, kind, check);
  const uint64_t fixed = compression_header_bytes(0, 0);
  if (size < at + fixed) return cut_short(check, size, at + fixed), nullptr;
  const int block_size = d[1], index_bits = d[2], extra_blocks = d[3];
  const uint32_t real_blocks = get_le32(d + 4);
  const int longest = d[8], shortest = d[9];
  if (!header_fields_sound(block_size, index_bits, shortest, longest))
    return fault(check, "a compression header with block size %d, index bits %d, code lengths %d to %d",
                 block_size, index_bits, shortest, longest),
           nullptr;
  const int h = longest - shortest + 1;
  const uint64_t symbol_count_end = at + compression_header_bytes(h, 0);
  if (size < symbol_count_end) return cut_short(check, size, symbol_count_end), nullptr;
  const int n = get_le16(d + 10 + 2 * h);
  const uint64_t header_end = at + compression_header_bytes(h, n);
  if (size < header_end) return cut_short(check, size, header_end), nullptr;
  if (n == 0) return fault(check, "a compression header without symbols"), nullptr;

  auto* block = static_cast<uint8_t*>(std::malloc(sizeof(SymbolDecoder) + 8 * size_t(h) + size_t(n)));
  auto* decoder = reinterpret_cast<SymbolDecoder*>(block);
  *decoder = SymbolDecoder{};
  decoder->limit = reinterpret_cast<uint64_t*>(block + sizeof(SymbolDecoder));
  decoder->symbol_length = block + sizeof(SymbolDecoder) + 8 * size_t(h);
  decoder->block_size = uint8_t(block_size);
  decoder->index_bits = uint8_t(index_bits);
  decoder->shortest = uint8_t(shortest);
  pack_symbol(decoder->constant, kind == WDL ? 2 : 0, LEAF);
  decoder->first_symbol = d + 10;
  decoder->symbols = d + compression_header_bytes(h, 0);
  decoder->blocks = real_blocks;
  decoder->size_entries = real_blocks + uint32_t(extra_blocks);
  decoder->file_end = base + size;
  at = header_end;

  decoder->index_entries = index_entries(table_size, index_bits);
  areas.index_table = decoder->index_entries * INDEX_ENTRY_BYTES;
  areas.size_table = (uint64_t(real_blocks) + uint64_t(extra_blocks)) * SIZE_ENTRY_BYTES;
  areas.data = uint64_t(real_blocks) << block_size;

  if (!measure_symbols(*decoder, n, kind)) {
    std::free(decoder);
    return fault(check, "a symbol table that does not describe values"), nullptr;
  }
  if (!set_code_limits(*decoder, h, n, check)) {
    std::free(decoder);
    return nullptr;
  }
  return decoder;
}

namespace {

TableSlice& slice_of(TableEntry& entry, int kind, int file, int side) {
  return kind == WDL ? entry.wdl_slices[file][side] : entry.dtz_slices[file];
}

// What parse_table_file learns of a file as it goes: its slices and where it has read to.
struct FileWalk {
  const uint8_t* base;
  uint64_t size;
  int files, sides;
  uint64_t at;
  uint64_t table_size[4][2] = {};
  SliceAreas areas[4][2] = {};
};

// Sets up the slices from the piece headers, one per leading file, each for both sides.
bool setup_slices(TableEntry& entry, int kind, FileWalk& walk, int header_bytes, FileCheck& check) {
  const bool pawns = entry.has_pawns;
  for (int f = 0; f < walk.files; ++f) {
    const uint8_t* header = walk.base + PIECE_HEADERS_AT + f * header_bytes;
    for (int side = 0; side < walk.sides; ++side) {
      TableSlice& slice = slice_of(entry, kind, f, side);
      walk.table_size[f][side] = setup_slice(slice, entry, header, 4 * side, f, pawns);
      const int first = pawns ? entry.pawn_count[0] : 0;
      if (!slice_fits_name(slice, entry, pawns) || !slice.factor[0] || (pawns && entry.pawn_count[1] && !slice.factor[first]))
        return fault(check, "a piece header that does not fit its name");
    }
  }
  walk.at = align_up(walk.at, 2);
  return true;
}

bool setup_decoders(TableEntry& entry, int kind, FileWalk& walk, FileCheck& check) {
  for (int f = 0; f < walk.files; ++f)
    for (int side = 0; side < walk.sides; ++side) {
      uint8_t flags;
      TableSlice& slice = slice_of(entry, kind, f, side);
      slice.decoder = setup_decoder(walk.base, walk.size, walk.at, walk.table_size[f][side], walk.areas[f][side],
                                    flags, kind, check);
      if (!slice.decoder) return false;
      if (kind == DTZ) entry.dtz_flags[f] = flags;
    }
  return true;
}

// The value maps of a DTZ file: for each leading file whose flags say so, four maps (wins,
// losses, wins and losses the rule spoils), each its length and its entries.
bool read_value_maps(TableEntry& entry, FileWalk& walk, FileCheck& check) {
  const uint8_t* base = walk.base;
  const uint64_t size = walk.size, map_area = walk.at;
  uint64_t& at = walk.at;
  entry.dtz_map = base + at;
  for (int f = 0; f < walk.files; ++f) {
    if (!(entry.dtz_flags[f] & DTZ_MAPPED)) continue;
    const bool wide = entry.dtz_flags[f] & DTZ_WIDE_MAP;
    if (wide) at = align_up(at, 2);
    for (int m = 0; m < 4; ++m) {
      const uint64_t width = wide ? 2 : 1;
      if (size < at + width) return cut_short(check, size, at + width);
      const uint64_t n = wide ? get_le16(base + at) : base[at];
      at += width;
      if (size < at + width * n) return cut_short(check, size, at + width * n);
      const uint64_t start = (at - map_area) / width;
      if (start + n > 0xFFFF) return fault(check, "value maps of more than 65535 entries");
      entry.map_start[f][m] = uint16_t(start);
      entry.map_length[f][m] = uint16_t(n);
      at += width * n;
    }
  }
  at = align_up(at, 2);
  return true;
}

// The areas in slice order: all index tables, all size tables, then the data areas.
bool place_areas(TableEntry& entry, int kind, FileWalk& walk, FileCheck& check) {
  uint64_t& at = walk.at;
  for (int area = 0; area < 3; ++area)
    for (int f = 0; f < walk.files; ++f)
      for (int side = 0; side < walk.sides; ++side) {
        SymbolDecoder& decoder = *slice_of(entry, kind, f, side).decoder;
        const SliceAreas& a = walk.areas[f][side];
        if (area == 2) at = align_up(at, DATA_ALIGNMENT);
        const uint64_t bytes = area == 0 ? a.index_table : area == 1 ? a.size_table : a.data;
        if (walk.size < at || walk.size - at < bytes) return cut_short(check, walk.size, at + bytes);
        (area == 0 ? decoder.index_table : area == 1 ? decoder.size_table : decoder.data) = walk.base + at;
        at += bytes;
      }
  // The last block's reads may touch the padding and the tail behind the last data area,
  // and a file that lacks any of them was cut.
  check.end = at;
  if (walk.size < file_length(at)) return cut_short(check, walk.size, file_length(at));
  return true;
}

}  // namespace

bool parse_table_file(TableEntry& entry, int kind, FileCheck& check) {
  const bool pawns = entry.has_pawns;
  FileWalk walk{entry.view[kind], entry.mapping[kind], pawns ? 4 : 1, 1, 0};
  const int header_bytes = entry.men + 1 + (pawns && entry.pawn_count[1] ? 1 : 0);
  check = FileCheck{};
  for (int f = 0; f < 4; ++f)
    for (int side = 0; side < (kind == WDL ? 2 : 1); ++side) slice_of(entry, kind, f, side).decoder = nullptr;
  walk.at = PIECE_HEADERS_AT + uint64_t(walk.files) * header_bytes;
  if (walk.size < walk.at) return cut_short(check, walk.size, walk.at);
  // A table whose sides differ stores both in its WDL file; the probe relies on it.
  const bool two_sided = kind == WDL && (walk.base[FLAGS_BYTE] & TABLE_TWO_SIDED);
  if (kind == WDL && two_sided == bool(entry.symmetric))
    return fault(check, "flags that store %s where the name needs %s", two_sided ? "two sides" : "one side",
                 two_sided ? "one" : "two");
  walk.sides = two_sided ? 2 : 1;
  if (!setup_slices(entry, kind, walk, header_bytes, check)) return false;
  if (setup_decoders(entry, kind, walk, check) && (kind == WDL || read_value_maps(entry, walk, check)) &&
      place_areas(entry, kind, walk, check))
    return true;
  free_decoders(entry, kind);
  return false;
}

void free_decoders(TableEntry& entry, int kind) {
  for (int f = 0; f < 4; ++f)
    for (int side = 0; side < (kind == WDL ? 2 : 1); ++side) {
      TableSlice& slice = slice_of(entry, kind, f, side);
      std::free(slice.decoder);
      slice.decoder = nullptr;
    }
}

namespace {

// The index of the leading pawns, the other side's pawns after them; `next` is set to the
// first man behind them.
uint64_t pawn_lead_index(int* p, const TableSlice& slice, const TableEntry& entry, int& next) {
  const int c = entry.pawn_count[0];
  std::sort(p + 1, p + c, [](int a, int b) { return PAWN_TWIST[a] > PAWN_TWIST[b]; });
  uint64_t idx = PAWN_INDEX[c - 1][PAWN_ORDER[p[0]]];
  for (int i = 1; i < c; ++i) idx += BINOMIAL[c - i][PAWN_TWIST[p[i]]];
  idx *= slice.factor[0];
  next = c;
  if (const int other = entry.pawn_count[1]) {
    std::sort(p + c, p + c + other);
    uint64_t sum = 0;
    for (int i = c; i < c + other; ++i) {
      int below = 0;
      for (int j = 0; j < c; ++j) below += p[j] < p[i];
      sum += BINOMIAL[i - c + 1][p[i] - below - 8];
    }
    idx += sum * slice.factor[c];
    next = c + other;
  }
  return idx;
}

// The index of the leading men of a table without pawns, the board folded onto the
// triangle a1-d1-d4 first: the king pair, or three single men; `next` as above.
uint64_t piece_lead_index(int* p, const TableSlice& slice, const TableEntry& entry, int& next) {
  const int men = entry.men;
  if (p[0] & 32)
    for (int i = 0; i < men; ++i) p[i] ^= 56;
  const int singles = entry.pair_index ? 2 : 3;
  for (int i = 0; i < singles; ++i) {
    if (on_diagonal(p[i])) continue;
    if ((p[i] >> 3) > (p[i] & 7))
      for (int j = 0; j < men; ++j) p[j] = transpose(p[j]);
    break;
  }
  uint64_t idx;
  if (entry.pair_index) {
    idx = uint64_t(KING_PAIR_INDEX[TRIANGLE[p[0]]][p[1]]);
    next = 2;
  } else {
    const int a = p[1] > p[0] ? 1 : 0;
    const int b = (p[2] > p[0]) + (p[2] > p[1]);
    if (!on_diagonal(p[0]))
      idx = uint64_t(TRIANGLE[p[0]]) * 3906 + uint64_t(p[1] - a) * 62 + uint64_t(p[2] - b);
    else if (!on_diagonal(p[1]))
      idx = 23436 + uint64_t(diagonal_index(p[0])) * 1736 + uint64_t(LOWER_INDEX[p[1]]) * 62 + uint64_t(p[2] - b);
    else if (!on_diagonal(p[2]))
      idx = 30380 + uint64_t(diagonal_index(p[0])) * 196 + uint64_t(diagonal_index(p[1]) - a) * 28 +
            LOWER_INDEX[p[2]];
    else
      idx = 31164 + uint64_t(diagonal_index(p[0])) * 42 + uint64_t(diagonal_index(p[1]) - a) * 6 +
            uint64_t(diagonal_index(p[2]) - b);
    next = 3;
  }
  return idx * slice.factor[0];
}

}  // namespace

uint64_t encode_index(int* p, const TableSlice& slice, const TableEntry& entry, bool has_pawns) {
  const int men = entry.men;
  if (p[0] & 4)
    for (int i = 0; i < men; ++i) p[i] ^= 7;
  int next;
  uint64_t idx = has_pawns ? pawn_lead_index(p, slice, entry, next) : piece_lead_index(p, slice, entry, next);

  // The other groups of like men: each a combination of the squares the earlier men left.
  while (next < men) {
    const int n = slice.groups[next];
    std::sort(p + next, p + next + n);
    uint64_t sum = 0;
    for (int i = next; i < next + n; ++i) {
      int below = 0;
      for (int j = 0; j < next; ++j) below += p[j] < p[i];
      sum += BINOMIAL[i - next + 1][p[i] - below];
    }
    idx += sum * slice.factor[next];
    next += n;
  }
  return idx;
}

const uint8_t* decode_value(const SymbolDecoder& decoder, uint64_t idx) {
  if (decoder.index_bits == 0) return decoder.constant;
  // Past any bound below, the file is damaged; it then reads as the draw in `constant`.
  const uint64_t main = idx >> decoder.index_bits;
  if (main >= decoder.index_entries) return decoder.constant;
  int32_t x = int32_t(idx - index_entry_middle(main, decoder.index_bits));
  const uint8_t* entry = decoder.index_table + INDEX_ENTRY_BYTES * main;
  uint32_t block = get_le32(entry);
  x += get_le16(entry + 4);

  // The index table points near the value; the sizes of the blocks say where exactly.
  while (x < 0) {
    if (block == 0 || block > decoder.size_entries) return decoder.constant;
    --block;
    x += get_le16(decoder.size_table + SIZE_ENTRY_BYTES * block) + 1;
  }
  for (;;) {
    if (block >= decoder.size_entries) return decoder.constant;
    const int32_t values = get_le16(decoder.size_table + SIZE_ENTRY_BYTES * block);
    if (x <= values) break;
    x -= values + 1;
    ++block;
  }
  if (block >= decoder.blocks) return decoder.constant;

  const uint8_t* read = decoder.data + (uint64_t(block) << decoder.block_size);
  uint64_t code = get_be64(read);
  read += 8;
  int bits = 0;
  const int shortest = decoder.shortest;
  int s;
  for (;;) {
    int l = shortest;
    while (code < decoder.limit[l - shortest]) ++l;
    s = get_le16(decoder.first_symbol + 2 * (l - shortest)) + int((code - decoder.limit[l - shortest]) >> (64 - l));
    if (x <= int32_t(decoder.symbol_length[s])) break;
    x -= decoder.symbol_length[s] + 1;
    code <<= l;
    bits += l;
    if (bits >= 32) {
      // A block holds the codes of its values; reading on to the file's end means damage.
      if (decoder.file_end - read < 4) return decoder.constant;
      bits -= 32;
      code |= uint64_t(get_be32(read)) << bits;
      read += 4;
    }
  }
  // A pair symbol stands for its left half's values, then its right half's.
  while (decoder.symbol_length[s]) {
    const uint8_t* symbol = decoder.symbols + SYMBOL_BYTES * s;
    const int left = symbol_left(symbol);
    if (x <= int32_t(decoder.symbol_length[left])) {
      s = left;
    } else {
      x -= decoder.symbol_length[left] + 1;
      s = symbol_right(symbol);
    }
  }
  return decoder.symbols + SYMBOL_BYTES * s;
}

int dtz_of_symbol(const TableEntry& entry, int file, const uint8_t* symbol, int w) {
  const uint8_t flags = entry.dtz_flags[file];
  int v = symbol_left(symbol);
  if (flags & DTZ_MAPPED) {
    // Maps by value: 2 wins, -2 losses, 1 wins the rule spoils, -1 losses it spoils.
    static constexpr int MAP_OF_WDL[5] = {1, 3, 0, 2, 0};
    const int m = MAP_OF_WDL[w + 2];
    // A value beyond its map comes only from a damaged block.
    if (v >= entry.map_length[file][m]) return 0;
    const int at = entry.map_start[file][m] + v;
    v = flags & DTZ_WIDE_MAP ? get_le16(entry.dtz_map + 2 * at) : entry.dtz_map[at];
  }
  const bool exact = (w == 2 && (flags & DTZ_WIN_PLIES)) || (w == -2 && (flags & DTZ_LOSS_PLIES));
  if (!exact) v *= 2;
  return v;
}
