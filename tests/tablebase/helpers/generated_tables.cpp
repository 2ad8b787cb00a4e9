#include "tablebase/helpers/generated_tables.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "bench_tablebase/board_text.h"
#include "board/position.h"
#include "helpers/board_fixtures.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "tbgen/table_index.h"

const TableResult& generated_table(const std::string& name) {
  static TableStore store;
  static std::mutex lock;
  std::lock_guard<std::mutex> guard(lock);
  store.options.verbose = false;
  return solve_table(store, name);
}

GeneratedValue generated_value(uint16_t state) {
  const int w = state_wdl(state);
  const int metric = state & STATE_METRIC;
  if (w == 0) return {0, 0, false};
  // A mated side reads one ply: the mate counts as the move that ends the count.
  if (w < 0) return {w, -std::max(metric, 1), w == -1};
  return {w, metric, w == 1};
}

std::string fen_of_entry(const Layout& l, uint64_t index) {
  int sq[MAX_MEN];
  const int side = l.decode(index, sq);
  char board[64] = {};
  for (int m = 0; m < l.men; ++m) {
    const char letter = " pnbrqk"[l.kind[m]];
    board[sq[m]] = l.colour[m] == 0 ? char(letter - 32) : letter;
  }
  return fen_of_board(board, side != 0);
}

namespace {
// Whether the DTZ file the registry set up for this material stores exact plies for
// wins and losses of value 2 in every leading file.
bool registry_file_exact(const Position& pos) {
  TableEntry* entry = find_table_slot(material_key(pos)).entry.load();
  if (!entry) return false;
  const int files = entry->has_pawns ? 4 : 1;
  for (int f = 0; f < files; ++f)
    if ((entry->dtz_flags[f] & 12) != 12) return false;
  return true;
}
}  // namespace

std::string entry_probe_fault(ThreadData& thread, const TableResult& t, uint64_t idx, bool exact_files, bool* exact) {
  const std::string fen = fen_of_entry(t.layout, idx);
  set_position(thread, fen.c_str(), nullptr);
  const GeneratedValue want = generated_value(t.state[idx]);
  int success = 0;
  const int wdl = probe_wdl(thread, success);
  int dtz_success = 0;
  const int dtz = probe_dtz(thread, dtz_success);
  const bool exact_here = !want.rounded && (exact_files || registry_file_exact(*thread.current_position));
  if (exact) *exact = exact_here;
  bool ok = success && dtz_success && wdl == want.wdl && (dtz > 0) == (want.dtz > 0) && (dtz < 0) == (want.dtz < 0);
  // A mate in one read through the one-ply search of a side the DTZ file doesn't
  // hold counts the mated position's one ply again: 2.
  const bool mate_in_one = want.dtz == 1 && dtz == 2;
  ok = ok && (exact_here && !mate_in_one ? dtz == want.dtz : std::abs(dtz - want.dtz) <= 1);
  if (ok) return "";
  return fen + ": wdl " + std::to_string(wdl) + " dtz " + std::to_string(dtz) + ", solved " +
         std::to_string(want.wdl) + " " + std::to_string(want.dtz);
}

ProbeComparison compare_probes(ThreadData& thread, const std::string& name, int sample, bool exact_files,
                               std::mt19937_64& random) {
  const TableResult& t = generated_table(name);
  const Layout& l = t.layout;
  ProbeComparison result;
  auto check = [&](uint64_t idx) {
    if (t.state[idx] == STATE_INVALID) return;
    ++result.positions;
    bool exact = false;
    const std::string fault = entry_probe_fault(thread, t, idx, exact_files, &exact);
    result.exact += exact;
    if (fault.empty()) return;
    ++result.faults;
    if (result.first_faults.size() < 5) result.first_faults.push_back(fault);
  };
  if (sample == 0) {
    for (uint64_t idx = 0; idx < l.size; ++idx) check(idx);
    return result;
  }
  for (int side = 0; side < 2; ++side)
    for (int found = 0, tries = 0; found < sample && tries < 100 * sample; ++tries) {
      const uint64_t idx = uint64_t(side) * l.per_side + random() % l.per_side;
      if (t.state[idx] == STATE_INVALID) continue;
      check(idx);
      ++found;
    }
  return result;
}

void expect_every_position_agrees(const std::string& name, bool exact_files) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 unused;
  const ProbeComparison c = compare_probes(*thread, name, 0, exact_files, unused);
  expect_no_faults(c, name);
  std::printf("%s: %lld positions, %lld distances exact\n", name.c_str(), (long long)c.positions, (long long)c.exact);
}

void expect_quick_signatures_agree(bool exact_files, uint64_t seed) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(seed);
  for (const std::string& name : QUICK_SIGNATURES)
    expect_no_faults(compare_probes(*thread, name, 400, exact_files, random), name);
}
