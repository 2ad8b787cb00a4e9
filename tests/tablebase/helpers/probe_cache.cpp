#include "tablebase/helpers/probe_cache.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "board/movegen.h"
#include "board/position.h"
#include "common/parallel_for.h"
#include "helpers/board_fixtures.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/probe.h"

namespace {

// Runs work(thread, first, step) on `threads` threads, each with its own search thread.
template <typename Work>
void on_threads(int threads, Work work) {
  run_threads(threads, [&](int t) {
    auto thread = thread_at(START_FEN);
    work(*thread, uint64_t(t), uint64_t(threads));
  });
}

// Men of each kind, four bits each: the side to move's in the low half, the other's above.
uint64_t material_code(const int own[7], const int enemy[7]) {
  uint64_t code = 0;
  for (int k = PAWN; k <= QUEEN; ++k) code |= uint64_t(own[k]) << (4 * k) | uint64_t(enemy[k]) << (32 + 4 * k);
  return code;
}

uint64_t material_code(const Position& pos) {
  int own[7] = {}, enemy[7] = {};
  for (int k = PAWN; k <= QUEEN; ++k) {
    own[k] = popcount(pos.bb[k] & pos.bb[OWN]);
    enemy[k] = popcount(pos.bb[k] & enemy_pieces(pos));
  }
  return material_code(own, enemy);
}

// A cache seen from the side to move: swapped when the table's White is the side not to move.
struct Orientation {
  uint64_t code;
  const ProbeCache* cache;
  bool swapped;
};

void add_orientations(std::vector<Orientation>& list, const ProbeCache& cache) {
  const Material& m = cache.layout.material;
  list.push_back({material_code(m.count[0], m.count[1]), &cache, false});
  const uint64_t other = material_code(m.count[1], m.count[0]);
  if (other != list.back().code) list.push_back({other, &cache, true});
}

// The cached entry of the position on the thread's stack, or null where no cache holds it.
const CachedProbe* cached_entry(const Position& pos, const std::vector<Orientation>& orientations) {
  const uint64_t code = material_code(pos);
  for (const Orientation& o : orientations) {
    if (o.code != code) continue;
    const Layout& l = o.cache->layout;
    Bitboard left[2][7];
    int squares[MAX_MEN];
    for (int m = 0; m < l.men; ++m) {
      const int c = l.colour[m], k = l.kind[m];
      if (m == 0 || l.colour[m - 1] != c || l.kind[m - 1] != k)
        left[c][k] = pos.bb[k] & ((c == 0) != o.swapped ? pos.bb[OWN] : enemy_pieces(pos));
      const Square s = lsb(left[c][k]);
      left[c][k] &= left[c][k] - 1;
      // Swapped: the table's White is the other side, so the board turns over to put it below.
      squares[m] = o.swapped ? s ^ 56 : s;
    }
    return &o.cache->entries[l.index(squares, o.swapped ? 1 : 0)];
  }
  return nullptr;
}

}  // namespace

const ProbeCache& probe_cache(const std::string& name, int threads) {
  static std::map<std::string, std::unique_ptr<ProbeCache>> caches;
  static std::mutex lock;
  std::lock_guard<std::mutex> guard(lock);
  if (auto it = caches.find(name); it != caches.end()) return *it->second;

  const TableResult& t = generated_table(name);
  auto cache = std::make_unique<ProbeCache>();
  cache->layout = t.layout;
  cache->entries.resize(t.layout.size);
  on_threads(threads, [&](ThreadData& thread, uint64_t first, uint64_t step) {
    for (uint64_t idx = first; idx < t.layout.size; idx += step) {
      if (t.state[idx] == STATE_INVALID) continue;
      CachedProbe& e = cache->entries[idx];
      set_position(thread, fen_of_entry(t.layout, idx).c_str(), nullptr);
      const Position& pos = *thread.current_position;
      ScoredMove list[MAX_MOVES];
      e.flags = CACHED_LEGAL | (in_check(pos) ? CACHED_IN_CHECK : 0) |
                (generate_legal(pos, list) == list ? CACHED_NO_MOVES : 0);
      int s1 = 0, s2 = 0;
      e.wdl = int8_t(probe_wdl(thread, s1));
      e.dtz = int16_t(probe_dtz(thread, s2));
      if (!s1 || !s2) e.flags |= CACHED_FAILED;
    }
  });
  return *caches.emplace(name, std::move(cache)).first->second;
}

SweepResult sweep_signature_cached(const std::string& name, int threads, bool probe_children_too) {
  if (threads == 0) threads = int(std::max(1u, std::thread::hardware_concurrency()));
  const TableResult& t = generated_table(name);
  const ProbeCache& own = probe_cache(name, threads);
  std::vector<Orientation> orientations;
  add_orientations(orientations, own);
  for (const ChildMap& child : t.children)
    if (child.table && child.table != &t) {
      const ProbeCache& c = probe_cache(child.table->layout.name, threads);
      bool known = false;
      for (const Orientation& o : orientations) known |= o.cache == &c;
      if (!known) add_orientations(orientations, c);
    }

  auto child_of = [&](ThreadData& thread, OnePlyChild& c) {
    const Position& pos = *thread.current_position;
    // The stored values leave en passant out; bare kings have no table.
    const CachedProbe* e = ep_file(pos) == 8 ? cached_entry(pos, orientations) : nullptr;
    if (!e) return probe_child(thread, c);
    if (!(e->flags & CACHED_LEGAL) || (e->flags & CACHED_FAILED)) return false;
    if (e->flags & CACHED_NO_MOVES) {
      c.terminal = true;
      c.wdl = (e->flags & CACHED_IN_CHECK) ? 2 : 0;
    } else {
      c.wdl = -e->wdl;
      c.dtz = e->dtz;
    }
    if (!probe_children_too) return true;
    OnePlyChild probed = c;
    return probe_child(thread, probed) && probed.wdl == c.wdl && probed.terminal == c.terminal &&
           (c.terminal || probed.dtz == c.dtz);
  };

  const auto start = std::chrono::steady_clock::now();
  std::vector<SweepResult> parts(threads);
  on_threads(threads, [&](ThreadData& thread, uint64_t first, uint64_t step) {
    SweepResult& r = parts[first];
    for (uint64_t idx = first; idx < t.layout.size; idx += step) {
      const CachedProbe& e = own.entries[idx];
      if (!(e.flags & CACHED_LEGAL)) continue;
      ++r.positions;
      const std::string fen = fen_of_entry(t.layout, idx);
      std::string what = "probe failed";
      if (!(e.flags & CACHED_FAILED)) {
        set_position(thread, fen.c_str(), nullptr);
        what = one_ply_fault(thread, e.wdl, e.dtz, child_of);
      }
      if (what.empty()) continue;
      ++r.faults;
      if (r.first_faults.size() < 10) r.first_faults.push_back(fen + ": " + what);
    }
  });
  SweepResult result;
  for (const SweepResult& r : parts) {
    result.positions += r.positions;
    result.faults += r.faults;
    for (const std::string& f : r.first_faults)
      if (result.first_faults.size() < 10) result.first_faults.push_back(f);
  }
  std::printf("%s: %lld positions checked one ply deep in %.1f s\n", name.c_str(), (long long)result.positions,
              std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return result;
}
