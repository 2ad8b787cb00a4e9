#include "tablebase/table_format.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "tablebase/index_tables.h"

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

void measure_symbol(SymbolDecoder& decoder, int s, bool* done) {
  const uint8_t* symbol = decoder.symbols + 3 * s;
  const int right = right_of(symbol);
  if (right == LEAF) {
    decoder.symbol_length[s] = 0;
  } else {
    const int left = left_of(symbol);
    if (!done[left]) measure_symbol(decoder, left, done);
    if (!done[right]) measure_symbol(decoder, right, done);
    decoder.symbol_length[s] = uint8_t(decoder.symbol_length[left] + decoder.symbol_length[right] + 1);
  }
  done[s] = true;
}

SymbolDecoder* setup_decoder(const uint8_t*& read, uint64_t table_size, SliceAreas& areas, uint8_t& flags,
                             int kind) {
  const uint8_t* d = read;
  flags = d[0];
  if (flags & 0x80) {
    auto* decoder = static_cast<SymbolDecoder*>(std::calloc(1, sizeof(SymbolDecoder)));
    decoder->constant[0] = kind == WDL ? d[1] : 0;
    decoder->constant[1] = uint8_t(LEAF << 4);
    decoder->constant[2] = uint8_t(LEAF >> 4);
    read = d + 2;
    areas = {0, 0, 0};
    return decoder;
  }
  const int block_size = d[1], index_bits = d[2], extra_blocks = d[3];
  const uint32_t real_blocks = read32(d + 4);
  const int longest = d[8], shortest = d[9];
  const int h = longest - shortest + 1;
  const int n = read16(d + 10 + 2 * h);

  auto* block = static_cast<uint8_t*>(std::malloc(sizeof(SymbolDecoder) + 8 * size_t(h) + size_t(n)));
  auto* decoder = reinterpret_cast<SymbolDecoder*>(block);
  *decoder = SymbolDecoder{};
  decoder->limit = reinterpret_cast<uint64_t*>(block + sizeof(SymbolDecoder));
  decoder->symbol_length = block + sizeof(SymbolDecoder) + 8 * size_t(h);
  decoder->block_size = uint8_t(block_size);
  decoder->index_bits = uint8_t(index_bits);
  decoder->shortest = uint8_t(shortest);
  decoder->first_symbol = d + 10;
  decoder->symbols = d + 12 + 2 * h;
  read = d + 12 + 2 * h + 3 * n + (n & 1);

  areas.index_table = ((table_size + (uint64_t(1) << index_bits) - 1) >> index_bits) * 6;
  areas.size_table = (uint64_t(real_blocks) + uint64_t(extra_blocks)) * 2;
  areas.data = uint64_t(real_blocks) << block_size;

  bool* done = static_cast<bool*>(std::calloc(size_t(n), 1));
  for (int s = 0; s < n; ++s)
    if (!done[s]) measure_symbol(*decoder, s, done);
  std::free(done);

  // Canonical codes: the limit of each length is the lowest code of that length, counted
  // from the longest code up, and left-aligned so that a 64-bit window compares directly.
  uint64_t* limit = decoder->limit;
  limit[h - 1] = 0;
  for (int i = h - 2; i >= 0; --i)
    limit[i] = (limit[i + 1] + read16(decoder->first_symbol + 2 * i) - read16(decoder->first_symbol + 2 * (i + 1))) / 2;
  for (int i = 0; i < h; ++i) limit[i] <<= (64 - (shortest + i)) & 63;
  return decoder;
}

uint64_t parse_table_file(TableEntry& entry, int kind) {
  const uint8_t* const base = entry.view[kind];
  const bool pawns = entry.has_pawns;
  const int files = pawns ? 4 : 1;
  const bool two_sided = kind == WDL && (base[4] & 1);
  const int sides = two_sided ? 2 : 1;
  auto slice_of = [&](int f, int side) -> TableSlice& {
    return kind == WDL ? entry.wdl_slices[f][side] : entry.dtz_slices[f];
  };

  uint64_t table_size[4][2] = {};
  const uint8_t* p = base + 5;
  for (int f = 0; f < files; ++f) {
    for (int side = 0; side < sides; ++side) table_size[f][side] = setup_slice(slice_of(f, side), entry, p, 4 * side, f, pawns);
    if (kind == WDL && !two_sided) entry.wdl_slices[f][1].decoder = nullptr;
    p += entry.men + 1 + (pawns && entry.pawn_count[1] ? 1 : 0);
  }
  p += (p - base) & 1;

  SliceAreas areas[4][2] = {};
  for (int f = 0; f < files; ++f)
    for (int side = 0; side < sides; ++side) {
      uint8_t flags;
      slice_of(f, side).decoder = setup_decoder(p, table_size[f][side], areas[f][side], flags, kind);
      if (kind == DTZ) entry.dtz_flags[f] = flags;
    }

  if (kind == DTZ) {
    entry.dtz_map = p;
    for (int f = 0; f < files; ++f) {
      if (!(entry.dtz_flags[f] & 2)) continue;
      const bool wide = entry.dtz_flags[f] & 16;
      if (wide) p += (p - base) & 1;
      for (int m = 0; m < 4; ++m) {
        if (wide) {
          const int n = read16(p);
          p += 2;
          entry.map_start[f][m] = uint16_t((p - entry.dtz_map) / 2);
          p += 2 * n;
        } else {
          const int n = *p++;
          entry.map_start[f][m] = uint16_t(p - entry.dtz_map);
          p += n;
        }
      }
    }
    p += (p - base) & 1;
  }

  for (int f = 0; f < files; ++f)
    for (int side = 0; side < sides; ++side) {
      slice_of(f, side).decoder->index_table = p;
      p += areas[f][side].index_table;
    }
  for (int f = 0; f < files; ++f)
    for (int side = 0; side < sides; ++side) {
      slice_of(f, side).decoder->size_table = p;
      p += areas[f][side].size_table;
    }
  for (int f = 0; f < files; ++f)
    for (int side = 0; side < sides; ++side) {
      p = reinterpret_cast<const uint8_t*>((reinterpret_cast<uintptr_t>(p) + 63) & ~uintptr_t(63));
      slice_of(f, side).decoder->data = p;
      p += areas[f][side].data;
    }
  return uint64_t(p - base);
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
  const uint64_t main = idx >> decoder.index_bits;
  int32_t x = int32_t(idx & ((uint64_t(1) << decoder.index_bits) - 1)) - (int32_t(1) << (decoder.index_bits - 1));
  const uint8_t* entry = decoder.index_table + 6 * main;
  uint32_t block = read32(entry);
  x += read16(entry + 4);

  // The index table points near the value; the sizes of the blocks say where exactly.
  while (x < 0) {
    --block;
    x += read16(decoder.size_table + 2 * block) + 1;
  }
  while (x > int32_t(read16(decoder.size_table + 2 * block))) {
    x -= read16(decoder.size_table + 2 * block) + 1;
    ++block;
  }

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
    const int at = entry.map_start[file][MAP_OF_WDL[w + 2]] + v;
    v = flags & 16 ? read16(entry.dtz_map + 2 * at) : entry.dtz_map[at];
  }
  const bool exact = (w == 2 && (flags & 4)) || (w == -2 && (flags & 8));
  if (!exact) v *= 2;
  return v;
}
