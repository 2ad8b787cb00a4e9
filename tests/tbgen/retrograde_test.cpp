// The generator on its own: values of known positions, symmetry, the index of the file
// format, compression and reproducible files.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tablebase/helpers/generated_tables.h"
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

// A material against itself: exchanging the colours (and turning the board over) gives
// the other side the same value. Pawns on both sides (KPvKP, whose promotions need a
// dozen tables) are walked in full by the long checks.
TEST(Retrograde, ColoursExchangedGiveTheSameValue) {
  for (const char* name : {"KRvKR", "KNvKN"}) EXPECT_EQ(colour_exchange_fault(name, 97), "");
}

TEST(TableIndex, ExamplesOfTheFormat) {
  init_table_index();
  const TableShape kqk = table_shape(parse_signature("KQvK"));
  SliceLayout s;
  const std::vector<int> pieces = table_piece_order(kqk, parse_signature("KQvK"));
  std::copy(pieces.begin(), pieces.end(), s.pieces);
  EXPECT_EQ(setup_slice_layout(s, kqk, 0), 31332u);
  int p[3] = {E8, E1, D1};
  EXPECT_EQ(encode_table_index(p, s, kqk), 11466u);
  const TableShape kqqk = table_shape(parse_signature("KQQvK"));
  EXPECT_TRUE(kqqk.pair_index);
  SliceLayout q;
  const std::vector<int> qp = table_piece_order(kqqk, parse_signature("KQQvK"));
  std::copy(qp.begin(), qp.end(), q.pieces);
  EXPECT_EQ(setup_slice_layout(q, kqqk, 0), 873642u);
  const TableShape kpk = table_shape(parse_signature("KPvK"));
  SliceLayout k;
  const std::vector<int> kp = table_piece_order(kpk, parse_signature("KPvK"));
  std::copy(kp.begin(), kp.end(), k.pieces);
  for (int file = 0; file < 4; ++file) EXPECT_EQ(setup_slice_layout(k, kpk, file), 23436u);
  // KRvKP: the right side's pawn leads.
  EXPECT_EQ(table_shape(parse_signature("KRvKP")).leading_colour, 1);
}

TEST(Compression, EveryValueDecodes) {
  std::vector<std::vector<uint16_t>> inputs;
  std::vector<uint16_t> runs, noise, wide;
  uint64_t x = 12345;
  for (int i = 0; i < 200000; ++i) {
    x = x * 6364136223846793005ull + 1442695040888963407ull;
    runs.push_back(uint16_t((i / 1000) % 3));
    noise.push_back(uint16_t((x >> 60) % 5));
    wide.push_back(uint16_t((x >> 40) % 700));
  }
  inputs = {runs, noise, wide, {4, 4, 4}, {1, 2}};
  for (const auto& values : inputs) {
    const CompressedSlice c = compress_values(values);
    const SliceDecoder d = make_slice_decoder(c);
    for (size_t i = 0; i < values.size(); ++i) ASSERT_EQ(decode_compressed(d, i), values[i]) << i;
  }
}

std::vector<uint8_t> read_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
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
    const std::vector<uint8_t> wdl = read_bytes(carried + ".rtbw"), dtz = read_bytes(carried + ".rtbz");
    if (wdl.empty()) continue;
    EXPECT_EQ(a.wdl, wdl) << name;
    EXPECT_EQ(a.dtz, dtz) << name;
  }
}

}  // namespace
