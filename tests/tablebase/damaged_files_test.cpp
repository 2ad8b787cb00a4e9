// Published table files damaged the way users' copies are: cut short anywhere, bytes
// flipped in the header, the index, the size tables and the blocks, tails zeroed or
// overwritten. Every cut is refused at the file's first use; other damage may change
// values but never reads outside the file (the sanitizer build shows that) nor gives a
// WDL value outside -2..2. The files are read from ../shared/syzygy at test time.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <set>
#include <sstream>

#include "board/position.h"
#include "helpers/board_fixtures.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "tablebase/table_format.h"

namespace {

std::vector<uint8_t> shared_file(const std::string& name) {
  std::ifstream in(std::string(TESMAR_SHARED_DIR) + "/syzygy/" + name, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

// Random legal men of a material, the left side White or (mirror) Black.
std::vector<Man> random_men(const std::string& name, bool mirror, bool black_to_move, std::mt19937_64& random) {
  std::vector<Man> men = men_of_signature(name);
  if (mirror)
    for (Man& m : men) m.piece = char(m.piece ^ 0x20);
  place_at_random(men, black_to_move, random);
  return men;
}

// Pawns on both sides and one side stored; pawns against pieces; no pawns, the largest
// symbol table of the set.
const char* const MATERIALS[] = {"KPvKP", "KRvKP", "KBNvK"};

class DamagedFiles : public EmbeddedTablesTest {
 protected:
  using Visit = std::function<void(const char* name, int kind, TableEntry& e, const std::vector<uint8_t>& intact,
                                   FileCheck& check, const std::vector<int>& expected)>;
  // Each file of MATERIALS, intact and set up, with its values; the file is dropped after.
  void for_each_file(const Visit& visit) {
    for (const char* name : MATERIALS)
      for (int kind : {WDL, DTZ}) {
        const std::string file_name = std::string(name) + (kind ? ".rtbz" : ".rtbw");
        const std::vector<uint8_t> intact = shared_file(file_name);
        if (intact.empty()) GTEST_SKIP() << "../shared/syzygy/" << file_name << " is missing";
        SCOPED_TRACE(file_name);
        TableEntry& e = entry_of(name);
        FileCheck check;
        ASSERT_TRUE(install(e, kind, intact, check)) << check.fault;
        visit(name, kind, e, intact, check, values(e, kind, name, 5));
        drop_file(e, kind);
      }
  }

  void TearDown() override {
    // The buffers below are the test's own: no rebuild may unmap them.
    for (TableEntry* e : installed)
      for (int kind : {WDL, DTZ}) drop_file(*e, kind);
    reset_tables();
  }

  // The registry's entry of a material, with both files first set up from the embedded bytes.
  TableEntry& entry_of(const std::string& name) {
    std::mt19937_64 random(1);
    thread = thread_at(fen_of_men(random_men(name, false, false, random), false).c_str());
    int success;
    probe_dtz(*thread, success);
    TableEntry* e = find_table_slot(material_key(*thread->current_position)).entry.load();
    installed.push_back(e);
    return *e;
  }

  static void drop_file(TableEntry& e, int kind) {
    if (e.ready[kind].load() == FILE_READY) free_decoders(e, kind);
    e.view[kind] = nullptr;
    e.ready[kind].store(FILE_UNUSED);
  }

  // The bytes as the file of `kind`, set up as a first use would: false when refused.
  static bool install(TableEntry& e, int kind, const std::vector<uint8_t>& bytes, FileCheck& check) {
    drop_file(e, kind);
    e.view[kind] = bytes.data();
    e.mapping[kind] = bytes.size();
    const bool usable = parse_table_file(e, kind, check);
    e.ready[kind].store(usable ? FILE_READY : FILE_FAILED);
    if (!usable) e.view[kind] = nullptr;
    return usable;
  }

  // Values at sampled indices of every slice of the file, then probes of random positions
  // of the material from both colour orders and both sides to move.
  std::vector<int> values(TableEntry& e, int kind, const std::string& name, uint64_t seed) {
    std::mt19937_64 random(seed);
    std::vector<int> out;
    for (int f = 0; f < 4; ++f)
      for (int side = 0; side < 2; ++side) {
        const TableSlice& slice = kind == WDL ? e.wdl_slices[f][side] : e.dtz_slices[f];
        if (!slice.decoder || (kind == DTZ && side)) continue;
        const uint64_t span = std::max<uint64_t>(1, slice.decoder->index_entries << slice.decoder->index_bits);
        for (int i = 0; i < 200; ++i) {
          const uint8_t* symbol = decode_value(*slice.decoder, random() % span);
          const int v = kind == WDL ? wdl_of_symbol(symbol) : dtz_of_symbol(e, f, symbol, int(random() % 2) ? 2 : -2);
          if (kind == WDL) {
            EXPECT_TRUE(v >= -2 && v <= 2) << v;
          }
          out.push_back(v);
        }
      }
    for (int i = 0; i < 24; ++i) {
      const bool mirror = i & 1, black = i & 2;
      set_position(*thread, fen_of_men(random_men(name, mirror, black, random), black).c_str(), nullptr);
      int success;
      const int wdl = probe_wdl(*thread, success);
      EXPECT_TRUE(wdl >= -2 && wdl <= 2) << wdl;
      out.push_back(success ? wdl : 9);
      const int dtz = probe_dtz(*thread, success);
      out.push_back(success ? dtz : 9999);
    }
    return out;
  }

  std::unique_ptr<ThreadData> thread;
  std::vector<TableEntry*> installed;
};

// Where the parts of a set-up file begin and end: header, compression headers, index
// tables, size tables, data areas, the trailing bytes.
std::vector<uint64_t> boundaries(const TableEntry& e, int kind, uint64_t size, uint64_t end) {
  const uint8_t* base = e.view[kind];
  std::set<uint64_t> at = {0, 1, 4, 5, 6, end, size - 16, size - 1};
  for (int f = 0; f < 4; ++f)
    for (int side = 0; side < 2; ++side) {
      const TableSlice& slice = kind == WDL ? e.wdl_slices[f][side] : e.dtz_slices[f];
      const SymbolDecoder* d = slice.decoder;
      if (!d || !d->index_bits) continue;
      for (const uint8_t* p :
           {d->first_symbol - 10, d->first_symbol, d->symbols, d->index_table, d->size_table,
            d->size_table + 2 * uint64_t(d->size_entries), d->data, d->data + (uint64_t(d->blocks) << d->block_size)})
        at.insert(uint64_t(p - base));
    }
  if (kind == DTZ) at.insert(uint64_t(e.dtz_map - base));
  std::vector<uint64_t> out;
  for (uint64_t b : at)
    for (uint64_t cut : {b - 1, b, b + 1})
      if (cut > 0 && cut < size) out.push_back(cut);
  return out;
}

TEST_F(DamagedFiles, EveryCutIsRefusedWithItsSizes) {
  for_each_file([&](const char* name, int kind, TableEntry& e, const std::vector<uint8_t>& intact, FileCheck& check,
                    const std::vector<int>& expected) {
    std::vector<uint64_t> cuts = boundaries(e, kind, intact.size(), check.end);
    std::mt19937_64 random(11);
    for (int i = 0; i < 100; ++i) cuts.push_back(1 + random() % (intact.size() - 1));
    // The padding and the 16 bytes behind the data are never read for a value, but a file
    // without them was cut all the same.
    for (uint64_t back = 1; back <= 64; ++back) cuts.push_back(intact.size() - back);
    for (uint64_t cut : cuts) {
      const std::vector<uint8_t> cut_file(intact.begin(), intact.begin() + std::ptrdiff_t(cut));
      if (install(e, kind, cut_file, check)) {
        ADD_FAILURE() << "cut at " << cut << " is taken for a whole file";
        drop_file(e, kind);
        continue;
      }
      EXPECT_NE(std::string(check.fault).find("cut short: " + std::to_string(cut) + " bytes"), std::string::npos)
          << check.fault;
      if (kind == WDL) {
        // Only a capture that settles the position may answer now.
        int success;
        set_position(*thread, fen_of_men(random_men(name, false, false, random), false).c_str(), nullptr);
        probe_wdl(*thread, success);
        EXPECT_NE(success, 1) << "a cut file still answers";
      }
    }
    // The intact file again: the same values as before.
    ASSERT_TRUE(install(e, kind, intact, check));
    EXPECT_EQ(values(e, kind, name, 5), expected);
  });
}

TEST_F(DamagedFiles, FlippedAndOverwrittenBytesStayInsideTheFile) {
  enum Damage { HEADER, INDEX, SIZES, BLOCKS, ZERO_TAIL, GARBAGE_TAIL, WINDOW, TRAILING, DAMAGES };
  int accepted[DAMAGES] = {}, refused[DAMAGES] = {};
  for_each_file([&](const char* name, int kind, TableEntry& e, const std::vector<uint8_t>& intact, FileCheck& check,
                    const std::vector<int>& expected) {
    // The parts of the file, from the first slice that has them.
    uint64_t index = 0, sizes = 0, data = 0;
    for (int f = 3; f >= 0; --f)
      for (int side = 1; side >= 0; --side) {
        const TableSlice& slice = kind == WDL ? e.wdl_slices[f][side] : e.dtz_slices[f];
        if (!slice.decoder || !slice.decoder->index_bits) continue;
        index = uint64_t(slice.decoder->index_table - e.view[kind]);
        sizes = uint64_t(slice.decoder->size_table - e.view[kind]);
        data = uint64_t(slice.decoder->data - e.view[kind]);
      }
    ASSERT_TRUE(index && sizes > index && data > sizes);
    const uint64_t end = check.end, size = intact.size();
    const uint64_t from[DAMAGES] = {0, index, sizes, data, 5, 5, 0, end};
    const uint64_t to[DAMAGES] = {index, sizes, data, end, size, size, size, size};

    for (uint64_t seed = 0; seed < 120; ++seed) {
      std::mt19937_64 random(seed * 977 + uint64_t(kind));
      const int damage = int(seed % DAMAGES);
      std::vector<uint8_t> bytes = intact;
      const uint64_t at = from[damage] + random() % (to[damage] - from[damage]);
      if (damage == ZERO_TAIL || damage == GARBAGE_TAIL) {
        for (uint64_t i = at; i < size; ++i) bytes[i] = damage == ZERO_TAIL ? 0 : uint8_t(random());
      } else if (damage == WINDOW) {
        for (uint64_t i = at; i < std::min(size, at + 1 + random() % 64); ++i) bytes[i] = uint8_t(random());
      } else {
        for (int flips = 1 + int(random() % 4); flips > 0; --flips)
          bytes[from[damage] + random() % (to[damage] - from[damage])] ^= uint8_t(1 + random() % 255);
      }
      SCOPED_TRACE("damage " + std::to_string(damage) + " at " + std::to_string(at));
      if (!install(e, kind, bytes, check)) {
        ++refused[damage];
        EXPECT_NE(check.fault[0], 0);
        continue;
      }
      ++accepted[damage];
      const std::vector<int> got = values(e, kind, name, 5);
      // The bytes behind the data are never read for a value.
      if (damage == TRAILING) {
        EXPECT_EQ(got, expected);
      }
    }
  });
  std::ostringstream tally;
  for (int damage = 0; damage < DAMAGES; ++damage)
    tally << ' ' << accepted[damage] << '/' << accepted[damage] + refused[damage];
  RecordProperty("set_up_of_damaged_by_kind", tally.str());
  // Each kind of damage was met by files that were set up and probed, not only refused.
  for (int damage = 0; damage < DAMAGES; ++damage)
    if (damage != ZERO_TAIL && damage != GARBAGE_TAIL) {
      EXPECT_GT(accepted[damage], 0) << "damage " << damage;
    }
}

}  // namespace
