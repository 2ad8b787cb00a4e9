#include "tbgen/compress.h"

#include <algorithm>
#include <functional>
#include <queue>

namespace {

struct Symbol {
  uint16_t left, right;  // right LEAF: a leaf holding the value `left`
  uint16_t length;       // values it stands for, minus 1
};

// Re-Pair: replaces the most frequent adjacent pairs by new symbols, many per pass.
std::vector<Symbol> build_grammar(std::vector<uint16_t>& seq) {
  std::vector<Symbol> symbols;
  std::vector<int> leaf_of(LEAF + 1, -1);  // by value, twelve bits
  for (uint16_t& v : seq) {
    if (leaf_of[v] < 0) {
      leaf_of[v] = int(symbols.size());
      symbols.push_back({v, LEAF, 0});
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

// Huffman code lengths of the symbols that occur, none above LONGEST_CODE bits.
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
    if (longest <= LONGEST_CODE) return length;
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

// The grammar of a slice and the canonical code of the symbols of its top sequence.
struct Coding {
  std::vector<uint16_t> seq;  // the values as symbols of the grammar
  std::vector<Symbol> grammar;
  std::vector<int> length;    // code length by symbol, 0 for one that is never coded
  std::vector<int> number;    // the symbol's number in the file
  std::vector<uint64_t> code;
};

// Canonical codes: symbol numbers for those without a code first, then by falling code
// length, which is the order the reader's limits assume; the first symbol of each length.
void assign_codes(CompressedSlice& c, Coding& k) {
  const size_t n = k.grammar.size();
  const std::vector<int>& length = k.length;
  std::vector<int> order(n);
  for (size_t i = 0; i < n; ++i) order[i] = int(i);
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
    const int la = length[a] ? length[a] : 99, lb = length[b] ? length[b] : 99;
    return la > lb;
  });
  k.number.assign(n, 0);
  for (size_t i = 0; i < n; ++i) k.number[order[i]] = int(i);
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
  for (int i = h - 2; i >= 0; --i) limit[i] = canonical_limit(limit[i + 1], c.first_symbol[i], c.first_symbol[i + 1]);
  k.code.assign(n, 0);
  for (size_t s = 0; s < n; ++s)
    if (length[s]) {
      const int i = length[s] - c.shortest;
      k.code[s] = limit[i] + uint64_t(k.number[s] - c.first_symbol[i]);
    }
}

void store_symbols(CompressedSlice& c, const Coding& k) {
  c.symbols.assign(SYMBOL_BYTES * k.grammar.size(), 0);
  for (size_t s = 0; s < k.grammar.size(); ++s) {
    const Symbol& symbol = k.grammar[s];
    const bool leaf = symbol.right == LEAF;
    pack_symbol(&c.symbols[SYMBOL_BYTES * size_t(k.number[s])], leaf ? symbol.left : k.number[symbol.left],
                leaf ? LEAF : k.number[symbol.right]);
  }
}

// Where each block starts: its first symbol in the sequence and its first value, and
// behind the last block the sequence's end and the number of values. A block holds the
// codes that fit its 2^block_size bytes, and at most MAX_BLOCK_VALUES values.
struct BlockStarts {
  std::vector<size_t> symbol;
  std::vector<uint64_t> value;
  uint64_t blocks() const { return symbol.size() - 1; }
};

BlockStarts split_blocks(const Coding& k, int block_size) {
  const uint64_t capacity = uint64_t(8) << block_size;
  BlockStarts b{{0}, {0}};
  uint64_t bits = 0, in_block = 0, values = 0;
  for (size_t i = 0; i < k.seq.size(); ++i) {
    const uint16_t s = k.seq[i];
    const uint64_t vals = k.grammar[s].length + 1u;
    if (in_block && (bits + k.length[s] > capacity || in_block + vals > MAX_BLOCK_VALUES)) {
      b.symbol.push_back(i);
      b.value.push_back(values);
      bits = in_block = 0;
    }
    bits += k.length[s];
    in_block += vals;
    values += vals;
  }
  b.symbol.push_back(k.seq.size());
  b.value.push_back(values);
  return b;
}

// Blocks: a few sizes tried, the one of the smallest file part kept.
BlockStarts choose_blocks(CompressedSlice& c, const Coding& k) {
  BlockStarts best;
  size_t best_bytes = SIZE_MAX;
  for (int bs = 5; bs <= 8; ++bs) {
    BlockStarts b = split_blocks(k, bs);
    const size_t bytes = (b.blocks() << bs) + 8 * b.blocks();
    if (bytes < best_bytes) best_bytes = bytes, c.block_size = bs, best = std::move(b);
  }
  return best;
}

// The data blocks and the size table.
void write_blocks(CompressedSlice& c, const Coding& k, const BlockStarts& b) {
  c.real_blocks = uint32_t(b.blocks());
  c.data.assign(size_t(c.real_blocks) << c.block_size, 0);
  for (uint64_t block = 0; block < b.blocks(); ++block) {
    BitWriter w{&c.data, size_t(block) << c.block_size};
    for (size_t i = b.symbol[block]; i < b.symbol[block + 1]; ++i) w.put(k.code[k.seq[i]], k.length[k.seq[i]]);
    put_le(c.size_table, b.value[block + 1] - b.value[block] - 1, SIZE_ENTRY_BYTES);
  }
}

// The sparse index: for the middle value of each entry's run, its block and its place there.
void write_index(CompressedSlice& c, const std::vector<uint64_t>& starts, uint64_t total) {
  const uint64_t per_block = std::max<uint64_t>(1, total / c.real_blocks);
  c.index_bits = 1;
  while (c.index_bits < 17 && (uint64_t(1) << c.index_bits) <= per_block) ++c.index_bits;
  const uint64_t entries = index_entries(total, c.index_bits);
  for (uint64_t k = 0; k < entries; ++k) {
    const uint64_t mid = index_entry_middle(k, c.index_bits);
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
  if (c.extra_blocks) put_le(c.size_table, 0, SIZE_ENTRY_BYTES);
}

}  // namespace

size_t CompressedSlice::header_bytes() const {
  if (single) return SINGLE_HEADER_BYTES;
  return compression_header_bytes(int(first_symbol.size()), int(symbols.size() / SYMBOL_BYTES));
}

CompressedSlice compress_values(const std::vector<uint16_t>& values) {
  CompressedSlice c;
  if (std::all_of(values.begin(), values.end(), [&](uint16_t v) { return v == values[0]; })) {
    c.single = true;
    c.single_value = values.empty() ? 0 : values[0];
    return c;
  }
  Coding k;
  k.seq = values;
  k.grammar = build_grammar(k.seq);
  std::vector<uint64_t> freq(k.grammar.size(), 0);
  for (uint16_t s : k.seq) ++freq[s];
  k.length = code_lengths(freq);
  assign_codes(c, k);
  store_symbols(c, k);
  const BlockStarts blocks = choose_blocks(c, k);
  write_blocks(c, k, blocks);
  write_index(c, blocks.value, values.size());
  return c;
}

void write_compression_header(std::vector<uint8_t>& out, const CompressedSlice& c, uint8_t flags, bool wdl) {
  if (c.single) {
    out.push_back(uint8_t(SINGLE_VALUE | flags));
    out.push_back(uint8_t(wdl ? c.single_value : 0));
    return;
  }
  out.push_back(flags);
  out.push_back(uint8_t(c.block_size));
  out.push_back(uint8_t(c.index_bits));
  out.push_back(uint8_t(c.extra_blocks));
  put_le(out, c.real_blocks, 4);
  out.push_back(uint8_t(c.longest));
  out.push_back(uint8_t(c.shortest));
  for (uint16_t f : c.first_symbol) put_le(out, f, 2);
  const size_t n = c.symbols.size() / SYMBOL_BYTES;
  put_le(out, n, 2);
  out.insert(out.end(), c.symbols.begin(), c.symbols.end());
  if (n & 1) out.push_back(0);
}
