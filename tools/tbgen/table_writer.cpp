#include "tbgen/table_writer.h"

#include <algorithm>

#include "common/parallel_for.h"
#include "tablebase/table_layout.h"
#include "tbgen/compress.h"

namespace {

constexpr uint16_t DONT_CARE = 0xFFFF;
constexpr int DTZ_CLASS_SHIFT = 12;
// Map of a DTZ value by the WDL value of its position: 2, -2, 1, -1.
int dtz_class(int wdl) { return wdl == 2 ? 0 : wdl == -2 ? 1 : wdl == 1 ? 2 : 3; }

// What each stored position asks of the files: the WDL values it may take, and its DTZ
// entry (class and distance) or DONT_CARE.
struct EntryNeeds {
  std::vector<uint8_t> wdl_mask;
  std::vector<uint16_t> dtz;
};

EntryNeeds entry_needs(const TableResult& t, int threads) {
  const Layout& l = t.layout;
  EntryNeeds e;
  e.wdl_mask.assign(l.size, 0);
  e.dtz.assign(l.size, DONT_CARE);
  parallel_for(threads, l.size, [&](uint64_t idx) {
    const uint16_t s = t.state[idx];
    if (s == STATE_INVALID) return;
    int sq[MAX_MEN];
    const int side = l.decode(idx, sq);
    const int v = state_wdl(s);
    const ZeroingMoves z = zeroing_moves(t, t.state.data(), sq, side);
    // The reader takes the better of the stored value and the captures: where a capture
    // already reaches the value, any value not above it reads the same.
    e.wdl_mask[idx] = uint8_t(z.best_capture >= v ? (2 << (v + 2)) - 1 : 1 << (v + 2));
    if (v == 0) return;
    // A win that a capture or a pawn move keeps is answered without the DTZ file.
    if (v > 0 && std::max(z.best_capture, z.best_pawn_move) >= v) return;
    const int metric = s & STATE_METRIC;
    const int stored = std::abs(v) == 2 ? std::max(metric - 1, 0) : metric - CURSED_PLY;
    const int value = std::abs(v) == 2 ? stored : (stored + 1) / 2;
    e.dtz[idx] = uint16_t(dtz_class(v) << DTZ_CLASS_SHIFT | value);
  }, POSITION_GRAIN);
  return e;
}

struct SliceChoice {
  SliceLayout layout;
  CompressedSlice data;
};

struct Writer {
  const TableResult& t;
  const Layout& l;
  TableShape shape;
  std::vector<int> pieces;
  int files;
  int threads;
  EntryNeeds needs;

  Writer(const TableResult& table, int thread_count)
      : t(table), l(table.layout), shape(table_shape(table.layout.material)),
        pieces(table_piece_order(shape, table.layout.material)), files(shape.has_pawns ? 4 : 1),
        threads(thread_count) {
    needs = entry_needs(t, threads);
  }

  // Calls visit(file, index in that file's slice, entry) for each stored position of `side`.
  template <typename Visit>
  void for_each_position(int side, const SliceLayout* by_file, Visit visit) {
    parallel_for(threads, l.per_side, [&](uint64_t i) {
      const uint64_t idx = uint64_t(side) * l.per_side + i;
      if (t.state[idx] == STATE_INVALID) return;
      int sq[MAX_MEN], p[MAX_MEN];
      l.decode(idx, sq);
      const int file = gather_table_squares(l, pieces, shape, sq, p);
      visit(file, encode_table_index(p, by_file[file], shape), idx);
    }, POSITION_GRAIN);
  }

  int order_choices() const {
    int groups = 0;
    const int first = shape.has_pawns ? shape.pawn_count[0] + shape.pawn_count[1] : shape.pair_index ? 2 : 3;
    for (int i = first; i < shape.men; ++i) groups += i == first || pieces[i] != pieces[i - 1];
    return groups + 1;
  }

  std::vector<SliceLayout> candidates(int file) const {
    std::vector<SliceLayout> out;
    const int n = order_choices() + (shape.has_pawns && shape.pawn_count[1] ? 1 : 0);
    const bool two = shape.has_pawns && shape.pawn_count[1];
    for (int order = 0; order < n; ++order)
      for (int order2 = two ? 0 : NO_ORDER; order2 < (two ? n : NO_ORDER + 1); ++order2) {
        if (two && order2 == order) continue;
        SliceLayout s;
        std::copy(pieces.begin(), pieces.end(), s.pieces);
        s.order = order;
        s.order2 = order2;
        setup_slice_layout(s, shape, file);
        out.push_back(s);
        if (shape.men >= 5) return out;  // five men: the first order only, for time
      }
    return out;
  }

  // The WDL slices of one side, each in its best order.
  std::vector<SliceChoice> wdl_slices(int side) {
    std::vector<std::vector<SliceLayout>> cands(files);
    size_t most = 0;
    for (int f = 0; f < files; ++f) cands[f] = candidates(f), most = std::max(most, cands[f].size());
    std::vector<SliceChoice> best(files);
    for (size_t c = 0; c < most; ++c) {
      SliceLayout by_file[4];
      std::vector<std::vector<uint8_t>> masks(files);
      for (int f = 0; f < files; ++f) {
        by_file[f] = cands[f][std::min(c, cands[f].size() - 1)];
        masks[f].assign(by_file[f].size, 0x1F);
      }
      for_each_position(side, by_file, [&](int f, uint64_t i, uint64_t idx) {
        __atomic_fetch_and(&masks[f][i], needs.wdl_mask[idx], __ATOMIC_RELAXED);
      });
      for (int f = 0; f < files; ++f) {
        if (c >= cands[f].size()) continue;
        CompressedSlice data = compress_values(fill_wdl(masks[f]));
        if (c == 0 || data.total_bytes() < best[f].data.total_bytes()) best[f] = {by_file[f], std::move(data)};
      }
    }
    return best;
  }

  static std::vector<uint16_t> fill_wdl(const std::vector<uint8_t>& masks) {
    uint64_t freq[5] = {};
    for (uint8_t m : masks)
      if (m && !(m & (m - 1))) ++freq[std::countr_zero(m)];
    int prefer[5] = {0, 1, 2, 3, 4};
    std::stable_sort(prefer, prefer + 5, [&](int a, int b) { return freq[a] > freq[b]; });
    std::vector<uint16_t> values(masks.size());
    int prev = prefer[0];
    for (size_t i = 0; i < masks.size(); ++i) {
      const uint8_t m = masks[i] ? masks[i] : 0x1F;
      if (!(m >> prev & 1))
        for (int v : prefer)
          if (m >> v & 1) {
            prev = v;
            break;
          }
      values[i] = uint16_t(prev);
    }
    return values;
  }

  struct DtzSlice {
    SliceLayout layout;
    CompressedSlice data;
    int side = 0;
    std::vector<uint16_t> maps[4];
    bool wide = false;
  };

  DtzSlice dtz_slice(int file, int side) {
    std::vector<SliceLayout> cands = candidates(file);
    DtzSlice best;
    bool have = false;
    for (const SliceLayout& cand : cands) {
      SliceLayout by_file[4];
      for (int f = 0; f < files; ++f) by_file[f] = cand;
      std::vector<uint16_t> slots(cand.size, DONT_CARE);
      for_each_position(side, by_file, [&](int f, uint64_t i, uint64_t idx) {
        if (f == file && needs.dtz[idx] != DONT_CARE) __atomic_store_n(&slots[i], needs.dtz[idx], __ATOMIC_RELAXED);
      });
      DtzSlice s;
      s.layout = cand;
      s.side = side;
      // Maps: the values of each class, most frequent first, so that small leaf
      // numbers stand for the common distances of every class at once.
      std::vector<std::vector<uint64_t>> hist(4, std::vector<uint64_t>(1 << DTZ_CLASS_SHIFT, 0));
      for (uint16_t v : slots)
        if (v != DONT_CARE) ++hist[v >> DTZ_CLASS_SHIFT][v & ((1 << DTZ_CLASS_SHIFT) - 1)];
      std::vector<std::vector<uint16_t>> leaf(4, std::vector<uint16_t>(1 << DTZ_CLASS_SHIFT, 0));
      for (int k = 0; k < 4; ++k) {
        for (int v = 0; v < (1 << DTZ_CLASS_SHIFT); ++v)
          if (hist[k][v]) s.maps[k].push_back(uint16_t(v));
        std::stable_sort(s.maps[k].begin(), s.maps[k].end(),
                         [&](uint16_t a, uint16_t b) { return hist[k][a] > hist[k][b]; });
        for (size_t j = 0; j < s.maps[k].size(); ++j) leaf[k][s.maps[k][j]] = uint16_t(j);
        s.wide |= s.maps[k].size() > 255 || (!s.maps[k].empty() && *std::max_element(s.maps[k].begin(), s.maps[k].end()) > 255);
      }
      std::vector<uint16_t> values(slots.size());
      uint16_t prev = 0;
      for (size_t i = 0; i < slots.size(); ++i) {
        if (slots[i] != DONT_CARE) prev = leaf[slots[i] >> DTZ_CLASS_SHIFT][slots[i] & ((1 << DTZ_CLASS_SHIFT) - 1)];
        values[i] = prev;
      }
      s.data = compress_values(values);
      if (!have || s.data.total_bytes() < best.data.total_bytes()) best = std::move(s), have = true;
    }
    return best;
  }

  void piece_header(std::vector<uint8_t>& out, const SliceLayout& s0, const SliceLayout& s1) const {
    out.push_back(uint8_t(s0.order | s1.order << 4));
    if (shape.has_pawns && shape.pawn_count[1]) out.push_back(uint8_t(s0.order2 | s1.order2 << 4));
    for (int i = 0; i < shape.men; ++i) out.push_back(uint8_t(s0.pieces[i] | s1.pieces[i] << 4));
  }

  static void areas(std::vector<uint8_t>& out, const std::vector<const CompressedSlice*>& slices) {
    for (auto* c : slices) out.insert(out.end(), c->index_table.begin(), c->index_table.end());
    for (auto* c : slices) out.insert(out.end(), c->size_table.begin(), c->size_table.end());
    for (auto* c : slices) {
      if (c->single) continue;
      pad_to(out, DATA_ALIGNMENT);
      out.insert(out.end(), c->data.begin(), c->data.end());
    }
  }

  static void finish(std::vector<uint8_t>& out) {
    pad_to(out, DATA_ALIGNMENT);
    // The TAIL_BYTES, which the reader never reads: a checksum of all before them.
    uint64_t a = 0xCBF29CE484222325ull, b = 0x84222325CBF29CE4ull;
    for (uint8_t x : out) a = (a ^ x) * 0x100000001B3ull, b = (b ^ x) * 0x100000001B3ull + 0x9E3779B97F4A7C15ull;
    put_le(out, a, 8);
    put_le(out, b, 8);
  }

  std::vector<uint8_t> wdl_file() {
    const int sides = shape.symmetric ? 1 : 2;
    std::vector<std::vector<SliceChoice>> by_side(sides);
    for (int s = 0; s < sides; ++s) by_side[s] = wdl_slices(s);
    std::vector<uint8_t> out(WDL_MAGIC, WDL_MAGIC + 4);
    out.push_back(table_flags(shape.men, shape.has_pawns, !shape.symmetric));
    for (int f = 0; f < files; ++f) piece_header(out, by_side[0][f].layout, by_side[sides - 1][f].layout);
    pad_to(out, 2);
    std::vector<const CompressedSlice*> order;
    for (int f = 0; f < files; ++f)
      for (int s = 0; s < sides; ++s) {
        write_compression_header(out, by_side[s][f].data, 0, true);
        order.push_back(&by_side[s][f].data);
      }
    areas(out, order);
    finish(out);
    return out;
  }

  std::vector<uint8_t> dtz_file() {
    std::vector<DtzSlice> slices(files);
    for (int f = 0; f < files; ++f) {
      slices[f] = dtz_slice(f, 0);
      if (!shape.symmetric) {
        DtzSlice other = dtz_slice(f, 1);
        if (other.data.total_bytes() < slices[f].data.total_bytes()) slices[f] = std::move(other);
      }
    }
    std::vector<uint8_t> out(DTZ_MAGIC, DTZ_MAGIC + 4);
    out.push_back(table_flags(shape.men, shape.has_pawns, !shape.symmetric));
    for (int f = 0; f < files; ++f) piece_header(out, slices[f].layout, slices[f].layout);
    pad_to(out, 2);
    std::vector<const CompressedSlice*> order;
    for (int f = 0; f < files; ++f) {
      const uint8_t flags = uint8_t((slices[f].side ? DTZ_SIDE : 0) | DTZ_MAPPED | DTZ_WIN_PLIES | DTZ_LOSS_PLIES |
                                    (slices[f].wide ? DTZ_WIDE_MAP : 0));
      write_compression_header(out, slices[f].data, flags, false);
      order.push_back(&slices[f].data);
    }
    for (int f = 0; f < files; ++f) {
      if (slices[f].wide) pad_to(out, 2);
      for (int k = 0; k < 4; ++k) {
        put_le(out, slices[f].maps[k].size(), slices[f].wide ? 2 : 1);
        for (uint16_t v : slices[f].maps[k]) put_le(out, v, slices[f].wide ? 2 : 1);
      }
    }
    pad_to(out, 2);
    areas(out, order);
    finish(out);
    return out;
  }
};

}  // namespace

TableShape table_shape(const Material& m) {
  TableShape s;
  s.men = men_of(m);
  s.has_pawns = has_pawns(m);
  s.symmetric = true;
  int singles = 0;
  for (int k = PAWN; k <= KING; ++k) {
    s.symmetric &= m.count[0][k] == m.count[1][k];
    singles += (m.count[0][k] == 1) + (m.count[1][k] == 1);
  }
  const int left = m.count[0][PAWN], right = m.count[1][PAWN];
  s.leading_colour = right && (!left || left > right) ? 1 : 0;
  s.pawn_count[0] = m.count[s.leading_colour][PAWN];
  s.pawn_count[1] = m.count[1 - s.leading_colour][PAWN];
  s.pair_index = !s.has_pawns && singles == 2;
  return s;
}

std::vector<int> table_piece_order(const TableShape& shape, const Material& m) {
  std::vector<int> out;
  auto add = [&](int colour, int kind) { out.insert(out.end(), m.count[colour][kind], kind + 8 * colour); };
  if (shape.has_pawns) {
    add(shape.leading_colour, PAWN);
    add(1 - shape.leading_colour, PAWN);
    add(1, KING);
    add(0, KING);
    for (int colour = 0; colour < 2; ++colour)
      for (int kind = QUEEN; kind >= KNIGHT; --kind) add(colour, kind);
    return out;
  }
  if (shape.pair_index) {
    add(0, KING);
    add(1, KING);
    for (int colour = 0; colour < 2; ++colour)
      for (int kind = QUEEN; kind >= KNIGHT; --kind) add(colour, kind);
    return out;
  }
  // Three single men lead: the kings and the strongest single piece.
  out = {KING + 8, KING};
  for (int colour = 0; colour < 2 && out.size() < 3; ++colour)
    for (int kind = QUEEN; kind >= KNIGHT && out.size() < 3; --kind)
      if (m.count[colour][kind] == 1) out.push_back(kind + 8 * colour);
  for (int colour = 0; colour < 2; ++colour)
    for (int kind = QUEEN; kind >= KNIGHT; --kind)
      if (kind + 8 * colour != out[2]) add(colour, kind);
  return out;
}

int gather_table_squares(const Layout& l, const std::vector<int>& pieces, const TableShape& shape, const int* squares,
                         int* out) {
  int n = 0;
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0 && pieces[i] == pieces[i - 1]) continue;
    const int colour = pieces[i] >> 3, kind = pieces[i] & 7;
    const int start = n;
    for (int m = 0; m < l.men; ++m)
      if (l.colour[m] == colour && l.kind[m] == kind) out[n++] = squares[m];
    std::sort(out + start, out + n);
  }
  if (!shape.has_pawns) return 0;
  for (int i = 1; i < shape.pawn_count[0]; ++i)
    if (pawn_order(out[i]) < pawn_order(out[0])) std::swap(out[0], out[i]);
  return file_fold(file_of(out[0]));
}

TableFiles build_table_files(const TableResult& t, int threads) {
  Writer w(t, threads);
  TableFiles files;
  files.wdl = w.wdl_file();
  files.dtz = w.dtz_file();
  return files;
}
