#include "tablebase/table_format.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tablebase/index_tables.h"
#include "tablebase/registry.h"

namespace {

uint16_t read16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}
uint32_t read32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
uint32_t read32_big_endian(const uint8_t* p) { return __builtin_bswap32(read32(p)); }
uint64_t read64_big_endian(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return __builtin_bswap64(v);
}

int left_of(const uint8_t* symbol) { return symbol[0] | (symbol[1] & 15) << 8; }
int right_of(const uint8_t* symbol) { return symbol[1] >> 4 | symbol[2] << 4; }
constexpr int LEAF = 4095;

constexpr int NO_ORDER = 15;

}  // namespace

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
  const uint8_t* symbol = decoder.symbols + 3 * s;
  const int right = right_of(symbol);
  if (right == LEAF) {
    decoder.symbol_length[s] = 0;
  } else {
    const int left = left_of(symbol);
    if (left >= n || right >= n) return false;
    for (const int half : {left, right}) {
      if (state[half] == 1) return false;
      if (state[half] == 0 && !measure_symbol(decoder, n, half, state)) return false;
    }
    const int length = decoder.symbol_length[left] + decoder.symbol_length[right] + 1;
    if (length > 255) return false;
    decoder.symbol_length[s] = uint8_t(length);
  }
  state[s] = 2;
  return true;
}

// Code lengths beyond this would not fit the 64-bit window that decode_value refills 32
// bits at a time.
constexpr int LONGEST_CODE = 32;

}  // namespace

SymbolDecoder* setup_decoder(const uint8_t* base, uint64_t size, uint64_t& at, uint64_t table_size,
                             SliceAreas& areas, uint8_t& flags, int kind, FileCheck& check) {
  if (size < at + 2) return cut_short(check, size, at + 2), nullptr;
  const uint8_t* d = base + at;
  flags = d[0];
  if (flags & 0x80) {
    if (kind == WDL && d[1] > 4) return fault(check, "a stored value of %d", int(d[1]) - 2), nullptr;
    auto* decoder = static_cast<SymbolDecoder*>(std::calloc(1, sizeof(SymbolDecoder)));
    decoder->constant[0] = kind == WDL ? d[1] : 0;
    decoder->constant[1] = uint8_t(LEAF << 4);
    decoder->constant[2] = uint8_t(LEAF >> 4);
    at += 2;
    areas = {0, 0, 0};
    return decoder;
  }
  if (size < at + 12) return cut_short(check, size, at + 12), nullptr;
  const int block_size = d[1], index_bits = d[2], extra_blocks = d[3];
  const uint32_t real_blocks = read32(d + 4);
  const int longest = d[8], shortest = d[9];
  if (block_size > 31 || index_bits < 1 || index_bits > 31 || shortest < 1 || longest < shortest ||
      longest > LONGEST_CODE)
    return fault(check, "a compression header with block size %d, index bits %d, code lengths %d to %d",
                 block_size, index_bits, shortest, longest),
           nullptr;
  const int h = longest - shortest + 1;
  if (size < at + 12 + 2 * h) return cut_short(check, size, at + 12 + 2 * h), nullptr;
  const int n = read16(d + 10 + 2 * h);
  const uint64_t header_end = at + 12 + 2 * uint64_t(h) + 3 * uint64_t(n) + (n & 1);
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
  decoder->constant[0] = kind == WDL ? 2 : 0;
  decoder->constant[1] = uint8_t(LEAF << 4);
  decoder->constant[2] = uint8_t(LEAF >> 4);
  decoder->first_symbol = d + 10;
  decoder->symbols = d + 12 + 2 * h;
  decoder->blocks = real_blocks;
  decoder->size_entries = real_blocks + uint32_t(extra_blocks);
  decoder->file_end = base + size;
  at = header_end;

  areas.index_table = ((table_size + (uint64_t(1) << index_bits) - 1) >> index_bits) * 6;
  areas.size_table = (uint64_t(real_blocks) + uint64_t(extra_blocks)) * 2;
  areas.data = uint64_t(real_blocks) << block_size;
  decoder->index_entries = areas.index_table / 6;

  auto* state = static_cast<uint8_t*>(std::calloc(size_t(n), 1));
  bool symbols_sound = true;
  for (int s = 0; s < n && symbols_sound; ++s)
    if (!state[s]) symbols_sound = measure_symbol(*decoder, n, s, state);
  std::free(state);
  // A WDL value is a leaf's first byte: -2..2 stored as 0..4.
  for (int s = 0; s < n && symbols_sound && kind == WDL; ++s)
    symbols_sound = decoder->symbol_length[s] || decoder->symbols[3 * s] <= 4;
  if (!symbols_sound) {
    std::free(decoder);
    return fault(check, "a symbol table that does not describe values"), nullptr;
  }

  // Canonical codes: the limit of each length is the lowest code of that length, counted
  // from the longest code up, and left-aligned so that a 64-bit window compares directly.
  uint64_t* limit = decoder->limit;
  limit[h - 1] = 0;
  for (int i = h - 2; i >= 0; --i)
    limit[i] = (limit[i + 1] + read16(decoder->first_symbol + 2 * i) - read16(decoder->first_symbol + 2 * (i + 1))) / 2;
  for (int i = 0; i < h; ++i) limit[i] <<= (64 - (shortest + i)) & 63;
  // Every window that decode_value can meet gives a symbol of the table: the codes that
  // stop at length shortest + i run from limit[i] to below the limits of shorter lengths.
  uint64_t above = ~uint64_t(0);  // the highest code still possible
  for (int i = 0; i < h; ++i) {
    if (limit[i] <= above) {
      const uint64_t last = read16(decoder->first_symbol + 2 * i) + ((above - limit[i]) >> (64 - (shortest + i)));
      if (last >= uint64_t(n)) {
        std::free(decoder);
        return fault(check, "codes of length %d beyond its %d symbols", shortest + i, n), nullptr;
      }
      if (limit[i] == 0) break;
      above = limit[i] - 1;
    }
  }
  return decoder;
}

bool parse_table_file(TableEntry& entry, int kind, FileCheck& check) {
  const uint8_t* const base = entry.view[kind];
  const uint64_t size = entry.mapping[kind];
  const bool pawns = entry.has_pawns;
  const int files = pawns ? 4 : 1;
  const int header_bytes = entry.men + 1 + (pawns && entry.pawn_count[1] ? 1 : 0);
  check = FileCheck{};
  auto slice_of = [&](int f, int side) -> TableSlice& {
    return kind == WDL ? entry.wdl_slices[f][side] : entry.dtz_slices[f];
  };
  for (int f = 0; f < 4; ++f)
    for (int side = 0; side < (kind == WDL ? 2 : 1); ++side) slice_of(f, side).decoder = nullptr;
  uint64_t at = 5 + uint64_t(files) * header_bytes;
  if (size < at) return cut_short(check, size, at);
  // A table whose sides differ stores both in its WDL file; the probe relies on it.
  const bool two_sided = kind == WDL && (base[4] & 1);
  if (kind == WDL && two_sided == bool(entry.symmetric))
    return fault(check, "flags that store %s where the name needs %s", two_sided ? "two sides" : "one side",
                 two_sided ? "one" : "two");
  const int sides = two_sided ? 2 : 1;

  uint64_t table_size[4][2] = {};
  for (int f = 0; f < files; ++f) {
    const uint8_t* header = base + 5 + f * header_bytes;
    for (int side = 0; side < sides; ++side) {
      TableSlice& slice = slice_of(f, side);
      table_size[f][side] = setup_slice(slice, entry, header, 4 * side, f, pawns);
      const int first = pawns ? entry.pawn_count[0] : 0;
      if (!slice_fits_name(slice, entry, pawns) || !slice.factor[0] || (pawns && entry.pawn_count[1] && !slice.factor[first]))
        return fault(check, "a piece header that does not fit its name");
    }
  }
  at += at & 1;

  SliceAreas areas[4][2] = {};
  for (int f = 0; f < files; ++f)
    for (int side = 0; side < sides; ++side) {
      uint8_t flags;
      slice_of(f, side).decoder = setup_decoder(base, size, at, table_size[f][side], areas[f][side], flags, kind, check);
      if (!slice_of(f, side).decoder) {
        free_decoders(entry, kind);
        return false;
      }
      if (kind == DTZ) entry.dtz_flags[f] = flags;
    }

  auto fail = [&](bool) {
    free_decoders(entry, kind);
    return false;
  };
  if (kind == DTZ) {
    const uint64_t map_area = at;
    entry.dtz_map = base + at;
    for (int f = 0; f < files; ++f) {
      if (!(entry.dtz_flags[f] & 2)) continue;
      const bool wide = entry.dtz_flags[f] & 16;
      if (wide) at += at & 1;
      for (int m = 0; m < 4; ++m) {
        const uint64_t width = wide ? 2 : 1;
        if (size < at + width) return fail(cut_short(check, size, at + width));
        const uint64_t n = wide ? read16(base + at) : base[at];
        at += width;
        if (size < at + width * n) return fail(cut_short(check, size, at + width * n));
        const uint64_t start = (at - map_area) / width;
        if (start + n > 0xFFFF) return fail(fault(check, "value maps of more than 65535 entries"));
        entry.map_start[f][m] = uint16_t(start);
        entry.map_length[f][m] = uint16_t(n);
        at += width * n;
      }
    }
    at += at & 1;
  }

  // The areas in slice order: all index tables, all size tables, then the data areas,
  // each on a multiple of 64 bytes from the start of the file.
  for (int area = 0; area < 3; ++area)
    for (int f = 0; f < files; ++f)
      for (int side = 0; side < sides; ++side) {
        SymbolDecoder& decoder = *slice_of(f, side).decoder;
        const SliceAreas& a = areas[f][side];
        if (area == 2) at = (at + 63) & ~uint64_t(63);
        const uint64_t bytes = area == 0 ? a.index_table : area == 1 ? a.size_table : a.data;
        if (size < at || size - at < bytes) return fail(cut_short(check, size, at + bytes));
        (area == 0 ? decoder.index_table : area == 1 ? decoder.size_table : decoder.data) = base + at;
        at += bytes;
      }
  check.end = at;
  // Every file is padded from its last data area to a multiple of 64 bytes and ends 16
  // bytes behind that; the last block's reads may touch them, and a file that lacks any
  // of them was cut.
  const uint64_t whole = ((at + 63) & ~uint64_t(63)) + 16;
  if (size < whole) return fail(cut_short(check, size, whole));
  return true;
}

void free_decoders(TableEntry& entry, int kind) {
  for (int f = 0; f < 4; ++f) {
    TableSlice* slices = kind == WDL ? entry.wdl_slices[f] : &entry.dtz_slices[f];
    for (int side = 0; side < (kind == WDL ? 2 : 1); ++side) {
      std::free(slices[side].decoder);
      slices[side].decoder = nullptr;
    }
  }
}

uint64_t encode_index(int* p, const TableSlice& slice, const TableEntry& entry, bool has_pawns) {
  const int men = entry.men;
  if (p[0] & 4)
    for (int i = 0; i < men; ++i) p[i] ^= 7;

  uint64_t idx;
  int next;
  if (has_pawns) {
    const int c = entry.pawn_count[0];
    std::sort(p + 1, p + c, [](int a, int b) { return PAWN_TWIST[a] > PAWN_TWIST[b]; });
    idx = PAWN_INDEX[c - 1][PAWN_ORDER[p[0]]];
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
  } else {
    if (p[0] & 32)
      for (int i = 0; i < men; ++i) p[i] ^= 56;
    const int singles = entry.pair_index ? 2 : 3;
    for (int i = 0; i < singles; ++i) {
      if (on_diagonal(p[i])) continue;
      if ((p[i] >> 3) > (p[i] & 7))
        for (int j = 0; j < men; ++j) p[j] = transpose(p[j]);
      break;
    }
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
    idx *= slice.factor[0];
  }

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
  int32_t x = int32_t(idx & ((uint64_t(1) << decoder.index_bits) - 1)) - (int32_t(1) << (decoder.index_bits - 1));
  const uint8_t* entry = decoder.index_table + 6 * main;
  uint32_t block = read32(entry);
  x += read16(entry + 4);

  // The index table points near the value; the sizes of the blocks say where exactly.
  while (x < 0) {
    if (block == 0 || block > decoder.size_entries) return decoder.constant;
    --block;
    x += read16(decoder.size_table + 2 * block) + 1;
  }
  for (;;) {
    if (block >= decoder.size_entries) return decoder.constant;
    const int32_t values = read16(decoder.size_table + 2 * block);
    if (x <= values) break;
    x -= values + 1;
    ++block;
  }
  if (block >= decoder.blocks) return decoder.constant;

  const uint8_t* read = decoder.data + (uint64_t(block) << decoder.block_size);
  uint64_t code = read64_big_endian(read);
  read += 8;
  int bits = 0;
  const int shortest = decoder.shortest;
  int s;
  for (;;) {
    int l = shortest;
    while (code < decoder.limit[l - shortest]) ++l;
    s = read16(decoder.first_symbol + 2 * (l - shortest)) + int((code - decoder.limit[l - shortest]) >> (64 - l));
    if (x <= int32_t(decoder.symbol_length[s])) break;
    x -= decoder.symbol_length[s] + 1;
    code <<= l;
    bits += l;
    if (bits >= 32) {
      // A block holds the codes of its values; reading on to the file's end means damage.
      if (decoder.file_end - read < 4) return decoder.constant;
      bits -= 32;
      code |= uint64_t(read32_big_endian(read)) << bits;
      read += 4;
    }
  }
  // A pair symbol stands for its left half's values, then its right half's.
  while (decoder.symbol_length[s]) {
    const uint8_t* symbol = decoder.symbols + 3 * s;
    const int left = left_of(symbol);
    if (x <= int32_t(decoder.symbol_length[left])) {
      s = left;
    } else {
      x -= decoder.symbol_length[left] + 1;
      s = right_of(symbol);
    }
  }
  return decoder.symbols + 3 * s;
}

int dtz_of_symbol(const TableEntry& entry, int file, const uint8_t* symbol, int w) {
  const uint8_t flags = entry.dtz_flags[file];
  int v = left_of(symbol);
  if (flags & 2) {
    // Maps by value: 2 wins, -2 losses, 1 wins the rule spoils, -1 losses it spoils.
    static constexpr int MAP_OF_WDL[5] = {1, 3, 0, 2, 0};
    const int m = MAP_OF_WDL[w + 2];
    // A value beyond its map comes only from a damaged block.
    if (v >= entry.map_length[file][m]) return 0;
    const int at = entry.map_start[file][m] + v;
    v = flags & 16 ? read16(entry.dtz_map + 2 * at) : entry.dtz_map[at];
  }
  const bool exact = (w == 2 && (flags & 4)) || (w == -2 && (flags & 8));
  if (!exact) v *= 2;
  return v;
}
