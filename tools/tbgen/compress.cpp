#include "tbgen/compress.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <queue>

namespace {

struct Symbol {
  uint16_t left, right;  // right 4095: a leaf holding the value `left`
  uint16_t length;       // values it stands for, minus 1
};

// Re-Pair: replaces the most frequent adjacent pairs by new symbols, many per pass.
std::vector<Symbol> build_grammar(std::vector<uint16_t>& seq) {
  std::vector<Symbol> symbols;
  std::vector<int> leaf_of(4096, -1);
  for (uint16_t& v : seq) {
    if (leaf_of[v] < 0) {
      leaf_of[v] = int(symbols.size());
      symbols.push_back({v, 4095, 0});
    }
    v = uint16_t(leaf_of[v]);
  }
  std::vector<uint32_t> counts;
  std::vector<uint16_t> pair_symbol;
  for (;;) {
    const size_t n = symbols.size();
    if (n >= MAX_SYMBOLS || seq.size() < 2) break;
    counts.assign(n * n, 0);
    // A run "aaa" holds one pair "aa" that can be replaced, not two.
    for (size_t i = 0; i + 1 < seq.size(); i += seq[i] == seq[i + 1] ? 2 : 1) ++counts[seq[i] * n + seq[i + 1]];
    struct Candidate {
      uint32_t count, pair;
    };
    std::vector<Candidate> best;
    for (uint32_t p = 0; p < counts.size(); ++p)
      if (counts[p] >= 4 && symbols[p / n].length + symbols[p % n].length + 2 <= MAX_SYMBOL_VALUES)
        best.push_back({counts[p], p});
    if (best.empty()) break;
    const size_t take = std::min<size_t>({best.size(), MAX_SYMBOLS - n, std::max<size_t>(2, n / 4)});
    std::partial_sort(best.begin(), best.begin() + take, best.end(), [](const Candidate& a, const Candidate& b) {
      return a.count != b.count ? a.count > b.count : a.pair < b.pair;
    });
    pair_symbol.assign(n * n, 0xFFFF);
    for (size_t k = 0; k < take; ++k) {
      const uint32_t p = best[k].pair;
      pair_symbol[p] = uint16_t(symbols.size());
      symbols.push_back({uint16_t(p / n), uint16_t(p % n), uint16_t(symbols[p / n].length + symbols[p % n].length + 1)});
    }
    size_t out = 0;
    for (size_t i = 0; i < seq.size();) {
      if (i + 1 < seq.size()) {
        const uint16_t s = pair_symbol[seq[i] * n + seq[i + 1]];
        if (s != 0xFFFF) {
          seq[out++] = s;
          i += 2;
          continue;
        }
      }
      seq[out++] = seq[i++];
    }
    seq.resize(out);
  }
  return symbols;
}

// Huffman code lengths of the symbols that occur, none above 32 bits, so that the
// reader's 64-bit window, refilled by 32 bits at a time, always holds a whole code.
std::vector<int> code_lengths(std::vector<uint64_t> freq) {
  const size_t n = freq.size();
  std::vector<int> length(n, 0);
  std::vector<size_t> used;
  for (size_t s = 0; s < n; ++s)
    if (freq[s]) used.push_back(s);
  if (used.size() == 1) {
    length[used[0]] = 1;
    return length;
  }
  for (;;) {
    using Node = std::pair<uint64_t, int>;
    std::priority_queue<Node, std::vector<Node>, std::greater<Node>> heap;
    std::vector<int> parent(2 * used.size(), -1);
    for (size_t i = 0; i < used.size(); ++i) heap.push({freq[used[i]], int(i)});
    int next = int(used.size());
    while (heap.size() > 1) {
      const Node a = heap.top();
      heap.pop();
      const Node b = heap.top();
      heap.pop();
      parent[a.second] = parent[b.second] = next;
      heap.push({a.first + b.first, next++});
    }
    int longest = 0;
    for (size_t i = 0; i < used.size(); ++i) {
      int d = 0;
      for (int x = int(i); parent[x] >= 0; x = parent[x]) ++d;
      length[used[i]] = d;
      longest = std::max(longest, d);
    }
    if (longest <= 32) return length;
    for (size_t s : used) freq[s] = (freq[s] + 1) / 2;
  }
}

struct BitWriter {
  std::vector<uint8_t>* out;
  size_t base;
  uint64_t bit_pos = 0;
  void put(uint64_t code, int bits) {
    for (int b = bits - 1; b >= 0; --b, ++bit_pos)
      if (code >> b & 1) (*out)[base + bit_pos / 8] |= uint8_t(0x80 >> (bit_pos % 8));
  }
};

void put_le(std::vector<uint8_t>& v, uint64_t x, int bytes) {
  for (int i = 0; i < bytes; ++i) v.push_back(uint8_t(x >> (8 * i)));
}

}  // namespace

size_t CompressedSlice::header_bytes() const {
  if (single) return 2;
  const size_t n = symbols.size() / 3;
  return 12 + 2 * first_symbol.size() + 3 * n + (n & 1);
}

CompressedSlice compress_values(const std::vector<uint16_t>& values) {
  CompressedSlice c;
  if (std::all_of(values.begin(), values.end(), [&](uint16_t v) { return v == values[0]; })) {
    c.single = true;
    c.single_value = values.empty() ? 0 : values[0];
    return c;
  }
  std::vector<uint16_t> seq = values;
  std::vector<Symbol> grammar = build_grammar(seq);
  const size_t n = grammar.size();
  std::vector<uint64_t> freq(n, 0);
  for (uint16_t s : seq) ++freq[s];
  const std::vector<int> length = code_lengths(freq);

  // Symbol numbers: those without a code first, then by falling code length, which is
  // the order the reader's limits assume.
  std::vector<int> order(n);
  for (size_t i = 0; i < n; ++i) order[i] = int(i);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    const int la = length[a] ? length[a] : 99, lb = length[b] ? length[b] : 99;
    return la > lb;
  });
  std::vector<int> number(n);
  for (size_t i = 0; i < n; ++i) number[order[i]] = int(i);
  c.longest = 0;
  c.shortest = 64;
  for (size_t s = 0; s < n; ++s)
    if (length[s]) c.longest = std::max(c.longest, length[s]), c.shortest = std::min(c.shortest, length[s]);
  const int h = c.longest - c.shortest + 1;
  std::vector<int> count_of(h, 0);
  for (size_t s = 0; s < n; ++s)
    if (length[s]) ++count_of[length[s] - c.shortest];
  c.first_symbol.assign(h, 0);
  int uncoded = 0;
  for (size_t s = 0; s < n; ++s) uncoded += length[s] == 0;
  c.first_symbol[h - 1] = uint16_t(uncoded);
  for (int i = h - 2; i >= 0; --i) c.first_symbol[i] = uint16_t(c.first_symbol[i + 1] + count_of[i + 1]);
  std::vector<uint64_t> limit(h, 0);
  for (int i = h - 2; i >= 0; --i) limit[i] = (limit[i + 1] + c.first_symbol[i] - c.first_symbol[i + 1]) / 2;
  std::vector<uint64_t> code(n, 0);
  for (size_t s = 0; s < n; ++s)
    if (length[s]) code[s] = limit[length[s] - c.shortest] + uint64_t(number[s] - c.first_symbol[length[s] - c.shortest]);

  c.symbols.assign(3 * n, 0);
  for (size_t s = 0; s < n; ++s) {
    const int left = grammar[s].right == 4095 ? grammar[s].left : number[grammar[s].left];
    const int right = grammar[s].right == 4095 ? 4095 : number[grammar[s].right];
    uint8_t* b = &c.symbols[3 * size_t(number[s])];
    b[0] = uint8_t(left & 255);
    b[1] = uint8_t(left >> 8 | (right & 15) << 4);
    b[2] = uint8_t(right >> 4);
  }

  // Blocks: try a few sizes and keep the smallest file part.
  auto pack = [&](int block_size, std::vector<uint64_t>* starts) {
    const uint64_t capacity = uint64_t(8) << block_size;
    uint64_t bits = 0, in_block = 0, blocks = 0, start = 0;
    if (starts) starts->push_back(0);
    for (uint16_t s : seq) {
      const uint64_t vals = grammar[s].length + 1u;
      if (in_block && (bits + length[s] > capacity || in_block + vals > MAX_BLOCK_VALUES)) {
        ++blocks;
        start += in_block;
        if (starts) starts->push_back(start);
        bits = in_block = 0;
      }
      bits += length[s];
      in_block += vals;
    }
    return blocks + 1;
  };
  size_t best_bytes = SIZE_MAX;
  for (int bs = 5; bs <= 8; ++bs) {
    const uint64_t blocks = pack(bs, nullptr);
    const size_t bytes = (blocks << bs) + 8 * blocks;
    if (bytes < best_bytes) best_bytes = bytes, c.block_size = bs;
  }
  std::vector<uint64_t> starts;
  c.real_blocks = uint32_t(pack(c.block_size, &starts));
  c.data.assign(size_t(c.real_blocks) << c.block_size, 0);
  {
    const uint64_t capacity = uint64_t(8) << c.block_size;
    uint64_t bits = 0, in_block = 0, block = 0;
    BitWriter w{&c.data, 0};
    for (uint16_t s : seq) {
      const uint64_t vals = grammar[s].length + 1u;
      if (in_block && (bits + length[s] > capacity || in_block + vals > MAX_BLOCK_VALUES)) {
        c.size_table.push_back(uint8_t((in_block - 1) & 255));
        c.size_table.push_back(uint8_t((in_block - 1) >> 8));
        ++block;
        w = BitWriter{&c.data, size_t(block) << c.block_size};
        bits = in_block = 0;
      }
      w.put(code[s], length[s]);
      bits += length[s];
      in_block += vals;
    }
    c.size_table.push_back(uint8_t((in_block - 1) & 255));
    c.size_table.push_back(uint8_t((in_block - 1) >> 8));
  }
  const uint64_t total = values.size();
  const uint64_t per_block = std::max<uint64_t>(1, total / c.real_blocks);
  c.index_bits = 1;
  while (c.index_bits < 17 && (uint64_t(1) << c.index_bits) <= per_block) ++c.index_bits;
  const uint64_t entries = (total + (uint64_t(1) << c.index_bits) - 1) >> c.index_bits;
  for (uint64_t k = 0; k < entries; ++k) {
    const uint64_t mid = (k << c.index_bits) + (uint64_t(1) << (c.index_bits - 1));
    uint64_t block, offset;
    if (mid < total) {
      block = uint64_t(std::upper_bound(starts.begin(), starts.end(), mid) - starts.begin()) - 1;
      offset = mid - starts[block];
    } else {
      // Past the last value: a block behind the real ones, from which the reader
      // steps back.
      block = c.real_blocks;
      offset = mid - total;
      c.extra_blocks = 1;
    }
    put_le(c.index_table, block, 4);
    put_le(c.index_table, offset, 2);
  }
  if (c.extra_blocks) put_le(c.size_table, 0, 2);
  return c;
}

namespace {
// A stored symbol is three bytes: two twelve-bit halves, left first.
int symbol_left(const CompressedSlice& c, size_t s) { return c.symbols[3 * s] | (c.symbols[3 * s + 1] & 15) << 8; }
int symbol_right(const CompressedSlice& c, size_t s) { return c.symbols[3 * s + 1] >> 4 | c.symbols[3 * s + 2] << 4; }
}  // namespace

SliceDecoder make_slice_decoder(const CompressedSlice& c) {
  SliceDecoder d;
  d.slice = &c;
  if (c.single) return d;
  const int h = c.longest - c.shortest + 1;
  const size_t n = c.symbols.size() / 3;
  d.limit.assign(size_t(h), 0);
  for (int i = h - 2; i >= 0; --i) d.limit[i] = (d.limit[i + 1] + c.first_symbol[i] - c.first_symbol[i + 1]) / 2;
  for (int i = 0; i < h; ++i) d.limit[i] = d.limit[i] << ((64 - (c.shortest + i)) & 63);
  d.length.assign(n, -1);
  std::function<int(size_t)> measure = [&](size_t s) -> int {
    if (d.length[s] >= 0) return d.length[s];
    return d.length[s] = symbol_right(c, s) == 4095 ? 0 : measure(symbol_left(c, s)) + measure(symbol_right(c, s)) + 1;
  };
  for (size_t s = 0; s < n; ++s) measure(s);
  // The reader loads whole words ahead of the bits it has used, past a block's last code.
  d.padded = c.data;
  d.padded.resize(d.padded.size() + 16, 0);
  return d;
}

int decode_compressed(const SliceDecoder& d, uint64_t idx) {
  const CompressedSlice& c = *d.slice;
  if (c.single) return c.single_value;
  const auto& len = d.length;
  const auto& limit = d.limit;
  const auto& padded = d.padded;
  auto rd = [&](const std::vector<uint8_t>& v, size_t at, int bytes) {
    uint64_t x = 0;
    for (int i = 0; i < bytes; ++i) x |= uint64_t(v[at + i]) << (8 * i);
    return x;
  };
  const uint64_t main = idx >> c.index_bits;
  int64_t x = int64_t(idx & ((uint64_t(1) << c.index_bits) - 1)) - (int64_t(1) << (c.index_bits - 1));
  int64_t b = int64_t(rd(c.index_table, 6 * main, 4));
  x += int64_t(rd(c.index_table, 6 * main + 4, 2));
  auto size_of = [&](int64_t block) { return int64_t(rd(c.size_table, 2 * size_t(block), 2)); };
  while (x < 0) --b, x += size_of(b) + 1;
  while (x > size_of(b)) x -= size_of(b) + 1, ++b;
  size_t at = size_t(b) << c.block_size;
  uint64_t code = 0;
  for (int i = 0; i < 8; ++i) code = code << 8 | padded[at + i];
  at += 8;
  int bits = 0;
  size_t s;
  for (;;) {
    int l = c.shortest;
    while (code < limit[l - c.shortest]) ++l;
    s = c.first_symbol[l - c.shortest] + ((code - limit[l - c.shortest]) >> (64 - l));
    if (x <= len[s]) break;
    x -= len[s] + 1;
    code <<= l;
    bits += l;
    if (bits >= 32) {
      bits -= 32;
      uint64_t word = 0;
      for (int i = 0; i < 4; ++i) word = word << 8 | padded[at + i];
      at += 4;
      code |= word << bits;
    }
  }
  while (symbol_right(c, s) != 4095) {
    if (x <= len[symbol_left(c, s)]) {
      s = symbol_left(c, s);
    } else {
      x -= len[symbol_left(c, s)] + 1;
      s = symbol_right(c, s);
    }
  }
  return symbol_left(c, s);
}
