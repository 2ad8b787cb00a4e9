// The reader on the published files: index and stored-value examples, and each of the 70
// embedded files where it stands and where its parsing ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "helpers/board_fixtures.h"
#include "tablebase/embedded_tables.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/index_tables.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "tablebase/table_format.h"

namespace {

// The entry of a signature with the file of `kind` set up, through a probe of some legal
// position of that material, White on the left.
TableEntry& ready_entry(const std::string& name, int kind) {
  std::mt19937_64 random(7);
  std::vector<Man> men = men_of_signature(name);
  do {
    for (Man& m : men) m.square = int(random() % 64);
  } while (!legal_placement(men, false));
  auto thread = thread_at(fen_of_men(men, false).c_str());
  int success;
  probe_table(*thread, 2, success, kind);
  TableEntry* entry = find_table_slot(material_key(*thread->current_position)).entry.load();
  EXPECT_TRUE(entry && entry->ready[kind].load()) << name;
  return *entry;
}

using TableFormat = EmbeddedTablesTest;

TEST_F(TableFormat, IndexesAndStoredValuesOfKnownPositions) {
  struct Case {
    const char* table;
    const char* squares[4];
    int file;
    uint64_t index;
    int side0, side1;  // stored WDL value with the table's left side to move, and with the right; 9: not stated
  };
  const Case CASES[] = {
      {"KQvK", {"e8", "e1", "d1"}, 0, 11466, 2, -2},
      {"KPvK", {"e4", "e5", "e7"}, 3, 10933, 0, -2},
      {"KPvK", {"g2", "b1", "f7"}, 1, 3030, 0, 0},
      {"KQQvK", {"a1", "h7", "b3", "c4"}, 0, 146357, 2, 9},
      {"KRPvK", {"a2", "h1", "e1", "e8"}, 0, 222901, 2, 9},
      {"KBNvK", {"f6", "b2", "d2", "c3"}, 0, 1887078, 2, 9},
      {"KPvKP", {"e4", "d5", "d7", "e2"}, 3, 458354, -2, 9},
  };
  for (const Case& c : CASES) {
    SCOPED_TRACE(c.table);
    TableEntry& entry = ready_entry(c.table, WDL);
    for (int side = 0; side < 2; ++side) {
      const int expected = side ? c.side1 : c.side0;
      if (expected == 9) continue;
      const TableSlice& slice = entry.wdl_slices[c.file][side];
      ASSERT_TRUE(slice.decoder);
      int squares[4];
      for (int i = 0; i < entry.men; ++i) squares[i] = square_named(c.squares[i]);
      const uint64_t idx = encode_index(squares, slice, entry, entry.has_pawns);
      EXPECT_EQ(idx, c.index);
      EXPECT_EQ(wdl_of_symbol(decode_value(*slice.decoder, idx)), expected) << "side " << side;
    }
  }
  // The same first position in the DTZ file: 14 plies with w = 2.
  TableEntry& dtz = ready_entry("KQvK", DTZ);
  int squares[3] = {square_named("e8"), square_named("e1"), square_named("d1")};
  const uint64_t idx = encode_index(squares, dtz.dtz_slices[0], dtz, false);
  EXPECT_EQ(dtz_of_symbol(dtz, 0, decode_value(*dtz.dtz_slices[0].decoder, idx), 2), 14);
}

// Each of the 70 files is found by its name, stands on a 64-byte boundary, and is the one
// the registry reads; parsing ends where its trailing bytes begin.
TEST_F(TableFormat, EveryFileParsesToItsTrailingBytesAndSymmetricTablesStoreOneSide) {
  for (const std::string& name : embedded_signatures()) {
    for (int kind : {WDL, DTZ}) {
      const std::string file_name = name + (kind ? ".rtbz" : ".rtbw");
      const EmbeddedTable* file = find_embedded_table(file_name.c_str());
      ASSERT_TRUE(file) << file_name;
      EXPECT_EQ(reinterpret_cast<uintptr_t>(file->data) % 64, 0u) << file_name;
      TableEntry& entry = ready_entry(name, kind);
      EXPECT_EQ(entry.view[kind], file->data) << file_name;
      free_decoders(entry, kind);
      FileCheck check;
      ASSERT_TRUE(parse_table_file(entry, kind, check)) << file_name << ": " << check.fault;
      const uint64_t rest = entry.mapping[kind] - check.end;
      EXPECT_TRUE(rest == 16 || rest == 48) << file_name << " leaves " << rest;
      EXPECT_EQ(entry.mapping[kind], ((check.end + 63) & ~uint64_t(63)) + 16) << file_name;
    }
    TableEntry& entry = ready_entry(name, WDL);
    if (entry.symmetric) {
      EXPECT_EQ(entry.view[WDL][4] & 1, 0) << name;
    }
    EXPECT_EQ(entry.wdl_slices[0][1].decoder != nullptr, bool(entry.view[WDL][4] & 1)) << name;
  }
}

TEST(TableIndexTables, KingPairsNumberEachPlacementOnce) {
  std::vector<int> seen(462);
  for (const auto& row : KING_PAIR_INDEX)
    for (int16_t v : row)
      if (v >= 0) ++seen.at(size_t(v));
  EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), 462);
}

}  // namespace
