// The reader on the published files: each of the 70 embedded files where it stands and where
// its parsing ends, and the king-pair index. (Indexes and stored values are held to our
// generator's results and to the rules of chess by the probe tests.)
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
  place_at_random(men, false, random);
  auto thread = thread_at(fen_of_men(men, false).c_str());
  int success;
  probe_table(*thread, 2, success, kind);
  TableEntry* entry = find_table_slot(material_key(*thread->current_position)).entry.load();
  EXPECT_TRUE(entry && entry->ready[kind].load()) << name;
  return *entry;
}

using TableFormat = EmbeddedTablesTest;

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
