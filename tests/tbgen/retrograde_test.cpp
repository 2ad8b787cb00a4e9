// The generator on its own: values of known positions, the index of the file format,
// compression and reproducible files; and the tables the engine carries, made by it, whose
// probes agree with its results and, one ply deep, with the rules of chess. (A material
// against itself gives both sides the same values when the published files agree with the
// generator, which the tablebase suite holds.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "helpers/scratch_files.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tablebase/table_format.h"
#include "tbgen/compress.h"
#include "tbgen/table_index.h"
#include "tbgen/table_writer.h"

namespace {

// Squares a1 = 0 .. h8 = 63.
enum : int { A1 = 0, C1 = 2, D1 = 3, E1 = 4, B6 = 41, E6 = 44, A7 = 48, B7 = 49, C7 = 50, A8 = 56, E8 = 60 };

struct KnownPosition {
  const char* table;
  std::vector<int> squares;  // in the generator's order: white king, black king, pieces, pawns
  int side;
  int wdl;
  int metric;  // -1: not checked
};

TEST(Retrograde, KnownPositions) {
  const KnownPosition cases[] = {
      {"KQvK", {B6, A8, B7}, 1, -2, 0},   // mated
      {"KQvK", {B6, A8, C7}, 1, 0, -1},   // stalemated
      {"KQvK", {B6, A8, C1}, 0, 2, 1},    // mate in one
      {"KQvK", {B6, A8, C7}, 0, 2, 1},    // mate in one again
      {"KQvK", {E1, E8, D1}, 1, -2, -1},  // lost, a long way from mate
      {"KPvK", {E6, A1, C7}, 0, 2, 1},    // promotion into a won KQvK
      {"KPvK", {B6, A8, A7}, 1, 0, -1},   // the rook pawn's stalemate
  };
  for (const KnownPosition& c : cases) {
    const TableResult& t = generated_table(c.table);
    const uint16_t s = table_state(t, c.squares.data(), c.side);
    EXPECT_EQ(state_wdl(s), c.wdl) << c.table << " " << c.squares[0];
    if (c.metric >= 0) {
      EXPECT_EQ(s & STATE_METRIC, c.metric) << c.table << " " << c.squares[0];
    }
  }
}

// A slice as the writer lays it out: the table's shape and piece order, as the file's
// header will hold them.
SliceLayout slice_of(const char* table, int file) {
  const TableShape shape = table_shape(parse_signature(table));
  SliceLayout s;
  const std::vector<int> pieces = table_piece_order(shape, parse_signature(table));
  std::copy(pieces.begin(), pieces.end(), s.pieces);
  setup_slice_layout(s, shape, file);
  return s;
}

// The writer's shapes and piece orders give the sizes and indexes of the published files.
TEST(TableIndex, ExamplesOfTheFormat) {
  init_table_index();
  EXPECT_EQ(slice_of("KQvK", 0).size, 31332u);
  int p[3] = {E8, E1, D1};
  EXPECT_EQ(encode_table_index(p, slice_of("KQvK", 0), table_shape(parse_signature("KQvK"))), 11466u);
  // Two queens: the kings go by the index of their pair.
  EXPECT_TRUE(table_shape(parse_signature("KQQvK")).pair_index);
  EXPECT_EQ(slice_of("KQQvK", 0).size, 462u * 1891);
  for (int file = 0; file < 4; ++file) EXPECT_EQ(slice_of("KPvK", file).size, 23436u);
  // KRvKP: the right side's pawn leads.
  EXPECT_EQ(table_shape(parse_signature("KRvKP")).leading_colour, 1);
}

// A compressed slice laid out as a file holds it (header, index and size tables, data
// block, padding and tail), and the engine's reader set up on it.
struct SliceReadBack {
  std::vector<uint8_t> bytes;
  SymbolDecoder* decoder = nullptr;
  ~SliceReadBack() { std::free(decoder); }
};

void read_back(SliceReadBack& r, const CompressedSlice& c, uint64_t values, int kind) {
  write_compression_header(r.bytes, c, 0, kind == WDL);
  const size_t index_at = r.bytes.size();
  r.bytes.insert(r.bytes.end(), c.index_table.begin(), c.index_table.end());
  const size_t size_at = r.bytes.size();
  r.bytes.insert(r.bytes.end(), c.size_table.begin(), c.size_table.end());
  pad_to(r.bytes, DATA_ALIGNMENT);
  const size_t data_at = r.bytes.size();
  r.bytes.insert(r.bytes.end(), c.data.begin(), c.data.end());
  r.bytes.resize(file_length(r.bytes.size()), 0);
  uint64_t at = 0;
  SliceAreas areas;
  uint8_t flags;
  FileCheck check;
  r.decoder = setup_decoder(r.bytes.data(), r.bytes.size(), at, values, areas, flags, kind, check);
  ASSERT_NE(r.decoder, nullptr) << check.fault;
  EXPECT_EQ(at, c.header_bytes());
  EXPECT_EQ(areas.index_table, c.index_table.size());
  EXPECT_EQ(areas.size_table, c.size_table.size());
  EXPECT_EQ(areas.data, c.data.size());
  r.decoder->index_table = r.bytes.data() + index_at;
  r.decoder->size_table = r.bytes.data() + size_at;
  r.decoder->data = r.bytes.data() + data_at;
}

// Long runs, noise of few values and of many, and tiny slices of one value or two, read
// back by the engine's reader: as WDL values where they fit, as DTZ leaves beyond.
TEST(Compression, EveryValueDecodes) {
  std::vector<uint16_t> runs, noise, wide;
  uint64_t x = 12345;
  for (int i = 0; i < 200000; ++i) {
    x = x * 6364136223846793005ull + 1442695040888963407ull;
    runs.push_back(uint16_t((i / 1000) % 3));
    noise.push_back(uint16_t((x >> 60) % 5));
    wide.push_back(uint16_t((x >> 40) % 700));
  }
  const std::vector<std::vector<uint16_t>> inputs = {runs, noise, wide, {4, 4, 4}, {1, 2}};
  for (const std::vector<uint16_t>& values : inputs) {
    const CompressedSlice c = compress_values(values);
    const int kind = *std::max_element(values.begin(), values.end()) <= 4 ? WDL : DTZ;
    SliceReadBack r;
    read_back(r, c, values.size(), kind);
    ASSERT_NE(r.decoder, nullptr);
    for (size_t i = 0; i < values.size(); ++i) ASSERT_EQ(symbol_left(decode_value(*r.decoder, i)), values[i]) << i;
  }
}

// The files depend on nothing but the table: made on two threads and on one, and made
// again beside the copy the engine carries, they are the same bytes.
TEST(TableWriter, FilesAreReproducible) {
  init_table_index();
  for (const char* name : {"KPvK", "KRvKB"}) {
    const TableResult& t = generated_table(name);
    const TableFiles a = build_table_files(t, 2);
    if (std::string(name) == "KPvK") {
      const TableFiles b = build_table_files(t, 1);
      EXPECT_EQ(a.wdl, b.wdl);
      EXPECT_EQ(a.dtz, b.dtz);
    }
    EXPECT_EQ(a.wdl.size() % 16, 0u);
    const std::string carried = std::string(TESMAR_SOURCE_DIR) + "/data/syzygy/" + name;
    const std::string wdl = file_text(carried + ".rtbw"), dtz = file_text(carried + ".rtbz");
    if (wdl.empty()) continue;
    EXPECT_EQ(std::string(a.wdl.begin(), a.wdl.end()), wdl) << name;
    EXPECT_EQ(std::string(a.dtz.begin(), a.dtz.end()), dtz) << name;
  }
}

// Every reader of the format takes the men, the pawns and the stored sides from byte 4:
// each file the engine carries sets it, and its magic, as the published file of its name
// (FilesAreReproducible holds the writer to these files).
TEST(TableWriter, HeaderFlagsAreThoseOfThePublishedFiles) {
  const std::string published = std::string(TESMAR_SOURCE_DIR) + "/../shared/syzygy/";
  if (file_text(published + "KQvK.rtbw").empty()) GTEST_SKIP() << "no published tables in ../shared/syzygy";
  int compared = 0;
  for (const auto& file : std::filesystem::directory_iterator(std::string(TESMAR_SOURCE_DIR) + "/data/syzygy")) {
    const std::string name = file.path().filename().string();
    if (!name.ends_with(".rtbw") && !name.ends_with(".rtbz")) continue;
    const std::string ours = file_text(file.path()), theirs = file_text(published + name);
    ASSERT_GE(ours.size(), 5u) << name;
    ASSERT_GE(theirs.size(), 5u) << name;
    EXPECT_EQ(ours.substr(0, 5), theirs.substr(0, 5)) << name;
    ++compared;
  }
  EXPECT_EQ(compared, 70);
}

using OurTables = EmbeddedTablesTest;

TEST_F(OurTables, ProbesGiveTheGeneratorsValues) { expect_quick_signatures_agree(true, 7); }

TEST_F(OurTables, SampleOfEverySignatureAgreesWithItsMovesOnePlyDeep) { expect_embedded_signatures_agree(300, 11); }

}  // namespace
