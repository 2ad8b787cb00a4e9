#include "tbgen/retrograde.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "common/parallel_for.h"

namespace {

constexpr int CHILD_SLOTS = (MAX_MEN + 1) * (MAX_MEN + 1) * 7;
constexpr int MAX_METRIC = 0x3FF0;

int child_slot(int victim, int promoting, int promotion) {
  return ((victim + 1) * (MAX_MEN + 1) + (promoting + 1)) * 7 + promotion;
}

int lookup(const ChildMap& cm, const int* squares, int side_to_move) {
  if (!cm.table) return 0;
  const Layout& cl = cm.table->layout;
  int cs[MAX_MEN];
  for (int m = 0; m < MAX_MEN; ++m)
    if (cm.man[m] >= 0) cs[cm.man[m]] = cm.swapped ? squares[m] ^ 56 : squares[m];
  return cm.table->wdl[cl.index(cs, side_to_move ^ int(cm.swapped))];
}

bool update_state(uint16_t* slot, uint16_t& expected, uint16_t desired) {
  return __atomic_compare_exchange_n(slot, &expected, desired, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
}

struct Chunk {
  uint64_t begin, end;
};

// The analysis of one table, pawn configurations of one advancement at a time.
struct Solver {
  TableResult& t;
  const Layout& l;
  uint16_t* state;
  int threads;
  std::vector<Chunk> chunks;
  std::vector<std::atomic<uint64_t>> at_metric;
  std::atomic<bool> any_cursed{false};

  Solver(TableResult& table, int thread_count)
      : t(table), l(table.layout), state(table.state.data()), threads(thread_count), at_metric(MAX_METRIC + 2) {}

  void settle(uint16_t* slot, uint16_t value) {
    *slot = value;
    if (state_decided(value)) at_metric[value & STATE_METRIC].fetch_add(1, std::memory_order_relaxed);
  }

  uint16_t initial_state(uint64_t idx) {
    int sq[MAX_MEN];
    const int side = l.decode(idx, sq);
    if (!position_valid(l, sq, side)) return STATE_INVALID;
    const ZeroingMoves z = zeroing_moves(t, state, sq, side);
    if (z.legal_moves == 0) return king_attacked(l, sq, side) ? STATE_FINAL : STATE_DRAW;
    const int best = std::max(z.best_capture, z.best_pawn_move);
    if (best == 2) return STATE_FINAL | STATE_WIN | 1;
    const int loser_class = z.worst == -1 ? 2 : z.worst == -2 ? 1 : 0;
    if (z.piece_moves == 0 && best < 0) return STATE_FINAL | (loser_class == 2 ? CURSED_PLY : 1);
    uint16_t s = uint16_t(z.piece_moves | loser_class << STATE_LOSER_SHIFT);
    if (best >= 0) s |= STATE_CANNOT_LOSE;
    if (best == 1) {
      s |= STATE_CURSED_EXIT;
      any_cursed = true;
    }
    return s;
  }

  void for_level(auto work) {
    parallel_for(threads, chunks.size(), [&](uint64_t c) {
      for (uint64_t i = chunks[c].begin; i < chunks[c].end; ++i) work(i);
    });
  }

  // A position solved at `metric`: its predecessors by a piece move of the other side.
  void propagate(uint64_t idx, uint16_t solved, int metric) {
    int sq[MAX_MEN];
    const int side = l.decode(idx, sq);
    const int mover = side ^ 1;
    const Bitboard occupied = occupancy(l, sq);
    const bool lost = !(solved & STATE_WIN);
    for (int m = 0; m < l.men; ++m) {
      if (l.colour[m] != mover || l.kind[m] == PAWN) continue;
      const int to = sq[m];
      Bitboard origins = man_attacks(l.kind[m], mover, to, occupied) & ~occupied;
      for (; origins; origins &= origins - 1) {
        sq[m] = lsb(origins);
        const Bitboard before = occupied ^ bit(to) ^ bit(sq[m]);
        if (square_attacked(l, sq, before, sq[side], mover)) continue;
        uint16_t* slot = &state[l.index(sq, mover)];
        uint16_t old = __atomic_load_n(slot, __ATOMIC_RELAXED);
        while (!(old & STATE_FINAL)) {
          uint16_t next;
          if (lost) {
            next = uint16_t(STATE_FINAL | STATE_WIN | (metric + 1));
          } else {
            const int left = (old & STATE_COUNTER) - 1;
            if (left == 0 && !(old & STATE_CANNOT_LOSE)) {
              const int loser_class = old >> STATE_LOSER_SHIFT & 3;
              const int floor = loser_class == 2 ? CURSED_PLY : loser_class == 1 ? 1 : 0;
              next = uint16_t(STATE_FINAL | std::max(metric + 1, floor));
            } else {
              next = uint16_t((old & ~STATE_COUNTER) | left);
            }
          }
          if (update_state(slot, old, next)) {
            if (next & STATE_FINAL) at_metric[next & STATE_METRIC].fetch_add(1, std::memory_order_relaxed);
            break;
          }
        }
      }
      sq[m] = to;
    }
  }

  void solve_level(const std::vector<uint64_t>& configs) {
    chunks.clear();
    const uint64_t step = std::min<uint64_t>(l.per_config, 1 << 15);
    for (int side = 0; side < 2; ++side)
      for (uint64_t c : configs) {
        const uint64_t base = (uint64_t(side) * l.pawn_configs + c) * l.per_config;
        for (uint64_t b = 0; b < l.per_config; b += step) chunks.push_back({base + b, base + b + step});
      }
    for (auto& a : at_metric) a = 0;
    any_cursed = false;
    for_level([&](uint64_t i) {
      const uint16_t s = initial_state(i);
      if (state_decided(s)) at_metric[s & STATE_METRIC].fetch_add(1, std::memory_order_relaxed);
      state[i] = s;
    });
    int metric = 0;
    bool cursed_done = !any_cursed;
    for (;;) {
      if (metric == CURSED_PLY && !cursed_done) {
        cursed_done = true;
        for_level([&](uint64_t i) {
          const uint16_t s = state[i];
          if (!(s & STATE_FINAL) && (s & STATE_CURSED_EXIT)) settle(&state[i], STATE_FINAL | STATE_WIN | CURSED_PLY);
        });
      }
      if (at_metric[metric] > 0)
        for_level([&](uint64_t i) {
          const uint16_t s = state[i];
          if (state_decided(s) && (s & STATE_METRIC) == metric) propagate(i, s, metric);
        });
      int next = metric + 1;
      while (next <= MAX_METRIC && at_metric[next] == 0 && (cursed_done || next < CURSED_PLY)) ++next;
      if (next > MAX_METRIC) break;
      if (!cursed_done && next > CURSED_PLY) next = CURSED_PLY;
      metric = next;
    }
    for_level([&](uint64_t i) {
      if (!(state[i] & STATE_FINAL)) state[i] = STATE_DRAW;
    });
  }

  void solve(bool verbose) {
    std::vector<std::vector<uint64_t>> levels(64);
    for (uint64_t c = 0; c < l.pawn_configs; ++c) {
      int sq[MAX_MEN];
      l.decode(c * l.per_config, sq);
      Bitboard seen = 0;
      int advance = 0;
      bool valid = true;
      for (int p = l.pieces + 1; p < l.men; ++p) {
        valid &= !(seen & bit(sq[p]));
        seen |= bit(sq[p]);
        advance += l.colour[p] == 0 ? rank_of(sq[p]) : 7 - rank_of(sq[p]);
      }
      if (valid) {
        levels[advance].push_back(c);
        continue;
      }
      for (int side = 0; side < 2; ++side)
        std::fill_n(state + (uint64_t(side) * l.pawn_configs + c) * l.per_config, l.per_config, STATE_INVALID);
    }
    int done = 0, total = 0;
    for (auto& level : levels) total += !level.empty();
    const auto start = std::chrono::steady_clock::now();
    for (int a = 63; a >= 0; --a) {
      if (levels[a].empty()) continue;
      solve_level(levels[a]);
      ++done;
      if (verbose && l.men >= 5)
        std::printf("  %s: pawn level %d/%d solved, %.1f s\n", l.name.c_str(), done, total,
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()),
            std::fflush(stdout);
    }
  }
};

}  // namespace

const ChildMap& child_map(const TableResult& t, int victim, int promoting, int promotion) {
  return t.children[child_slot(victim, promoting, promotion)];
}

int child_value(const TableResult& t, const uint16_t* state, const int* squares, int side, const ManMove& mv) {
  const Layout& l = t.layout;
  int after[MAX_MEN];
  std::copy(squares, squares + l.men, after);
  after[mv.man] = mv.to;
  if (mv.victim >= 0) after[mv.victim] = NO_SQUARE;
  if (mv.victim >= 0 || mv.promotion)
    return lookup(child_map(t, mv.victim, mv.promotion ? mv.man : -1, mv.promotion), after, side ^ 1);
  int value = state_wdl(state[l.index(after, side ^ 1)]);
  if (!mv.double_push) return value;
  // The stored value knows no en passant; the double push grants the right to it.
  for (int e = 0; e < l.men; ++e) {
    if (l.kind[e] != PAWN || l.colour[e] == side || after[e] == NO_SQUARE) continue;
    if (rank_of(after[e]) != rank_of(mv.to) || std::abs(file_of(after[e]) - file_of(mv.to)) != 1) continue;
    int taken[MAX_MEN];
    std::copy(after, after + l.men, taken);
    taken[e] = (mv.from + mv.to) / 2;
    taken[mv.man] = NO_SQUARE;
    if (king_attacked(l, taken, side ^ 1)) continue;
    value = std::max(value, -lookup(child_map(t, mv.man, -1, 0), taken, side));
  }
  return value;
}

ZeroingMoves zeroing_moves(const TableResult& t, const uint16_t* state, int* squares, int side) {
  ZeroingMoves z;
  for_each_legal_move(t.layout, squares, side, [&](const ManMove& mv) {
    ++z.legal_moves;
    if (mv.victim < 0 && t.layout.kind[mv.man] != PAWN) {
      ++z.piece_moves;
      return;
    }
    const int v = -child_value(t, state, squares, side, mv);
    if (mv.victim >= 0)
      z.best_capture = std::max(z.best_capture, v);
    else
      z.best_pawn_move = std::max(z.best_pawn_move, v);
    // The losing side's zeroing moves: one into a position lost only without the
    // 50-move rule outweighs all others.
    if (v < 0) z.worst = z.worst == -1 ? -1 : v;
  });
  return z;
}

uint16_t table_state(const TableResult& t, const int* squares, int side) {
  return t.state[t.layout.index(squares, side)];
}

namespace {

// The smaller tables that the table's captures and promotions lead into, solved first, and
// how its men map onto theirs.
void link_children(TableStore& store, TableResult& t) {
  const Layout& l = t.layout;
  t.children.resize(CHILD_SLOTS);
  for (int victim = -1; victim < l.men; ++victim) {
    if (victim >= 0 && l.kind[victim] == KING) continue;
    for (int promoting = -1; promoting < l.men; ++promoting) {
      if (promoting >= 0 && (l.kind[promoting] != PAWN || promoting == victim)) continue;
      if (victim >= 0 && promoting >= 0 && l.colour[victim] == l.colour[promoting]) continue;
      if (victim < 0 && promoting < 0) continue;
      for (int promotion = promoting >= 0 ? KNIGHT : 0; promotion <= (promoting >= 0 ? QUEEN : 0); ++promotion) {
        Material m = l.material;
        if (victim >= 0) --m.count[l.colour[victim]][l.kind[victim]];
        if (promoting >= 0) --m.count[l.colour[promoting]][PAWN], ++m.count[l.colour[promoting]][promotion];
        ChildMap cm;
        const std::string child = canonical_name(m, &cm.swapped);
        if (men_of(m) > 2) cm.table = &solve_table(store, child);
        bool used[MAX_MEN] = {};
        for (int i = 0; i < l.men; ++i) {
          cm.man[i] = -1;
          if (i == victim) continue;
          const int colour = l.colour[i] ^ int(cm.swapped);
          const int kind = i == promoting ? promotion : l.kind[i];
          if (!cm.table) continue;
          for (int j = 0; j < cm.table->layout.men; ++j)
            if (!used[j] && cm.table->layout.colour[j] == colour && cm.table->layout.kind[j] == kind) {
              cm.man[i] = j;
              used[j] = true;
              break;
            }
        }
        t.children[child_slot(victim, promoting, promotion)] = cm;
      }
    }
  }
}

}  // namespace

TableResult& solve_table(TableStore& store, const std::string& name) {
  bool swapped = false;
  const std::string canonical = canonical_name(parse_signature(name), &swapped);
  if (swapped || canonical != signature_name(parse_signature(name)))
    throw std::runtime_error("not a registry name (try " + canonical + "): " + name);
  if (auto it = store.tables.find(canonical); it != store.tables.end()) return *it->second;

  auto result = std::make_unique<TableResult>();
  TableResult& t = *result;
  t.layout = make_layout(canonical);
  link_children(store, t);
  const Layout& l = t.layout;
  const auto start = std::chrono::steady_clock::now();
  t.state.assign(l.size, 0);
  Solver solver(t, std::max(1, store.options.threads));
  solver.solve(store.options.verbose);
  t.wdl.resize(l.size);
  const uint16_t* st = t.state.data();
  int8_t* wdl = t.wdl.data();
  parallel_for(store.options.threads, l.size, [&](uint64_t i) { wdl[i] = int8_t(state_wdl(st[i])); }, POSITION_GRAIN);
  t.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!store.options.keep_states.empty() && !store.options.keep_states.count(canonical)) {
    t.state.clear();
    t.state.shrink_to_fit();
  }
  return *store.tables.emplace(canonical, std::move(result)).first->second;
}
