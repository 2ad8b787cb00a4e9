// The network's arithmetic: vector and plain forms, the edge values of each stage,
// the Chess960 corner terms and the clamp.
#include <gtest/gtest.h>

#include <cstring>

#include "eval/evaluate.h"
#include "eval/forward_pass.h"
#include "helpers/board_fixtures.h"
#include "helpers/engine_process.h"
#include "helpers/test_networks.h"

namespace {

struct Accumulators {
  alignas(64) int16_t own[256];
  alignas(64) int16_t other[256];
};

template <typename T>
void put(std::vector<uint8_t>& blob, size_t offset, T value) {
  std::memcpy(blob.data() + offset, &value, sizeof value);
}

TEST(ForwardPass, VectorEqualsPlainOnRandomBlobsAndAccumulators) {
  for (uint64_t seed = 1; seed <= 3; ++seed) {
    std::vector<uint8_t> blob = random_blob(seed);
    NetworkGuard guard(blob);
    uint64_t state = seed;
    Accumulators acc;
    for (int trial = 0; trial < 2000; ++trial) {
      for (int i = 0; i < 256; ++i) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        // Mix full-range lanes with lanes near the clipping edges.
        int16_t wide = int16_t(state >> 48), narrow = int16_t(int(state >> 56) - 8);
        acc.own[i] = (state >> 20) & 1 ? wide : narrow;
        acc.other[i] = (state >> 21) & 1 ? int16_t(state >> 32) : int16_t(int(state >> 40 & 511) - 100);
      }
      ASSERT_EQ(forward_pass(acc.own, acc.other), forward_pass_plain(acc.own, acc.other)) << "seed " << seed;
    }
  }
}

// A blob whose output is the first activation of the side to move, passed through unchanged.
std::vector<uint8_t> pass_through_blob() {
  std::vector<uint8_t> blob = zero_blob();
  put(blob, BLOB_L2_WEIGHTS, int8_t(8));
  put(blob, BLOB_L3_WEIGHTS, int8_t(8));
  put(blob, BLOB_L4_WEIGHTS, int8_t(32));
  return blob;
}

TEST(ForwardPass, FirstLayerShiftsArithmeticallyAndClips) {
  NetworkGuard guard(pass_through_blob());
  Accumulators acc{};
  const int16_t inputs[] = {-1, 0, 1, 2, 3, 253, 254, 255, 1000, -32768, 32767};
  const int32_t outputs[] = {0, 0, 0, 1, 1, 126, 127, 127, 127, 0, 127};
  for (size_t i = 0; i < std::size(inputs); ++i) {
    acc.own[0] = inputs[i];
    EXPECT_EQ(forward_pass(acc.own, acc.other), outputs[i]) << inputs[i];
    EXPECT_EQ(forward_pass_plain(acc.own, acc.other), outputs[i]) << inputs[i];
  }
}

TEST(ForwardPass, OutputDividesTowardZero) {
  std::vector<uint8_t> blob = zero_blob();
  Accumulators acc{};
  for (auto [bias, score] : {std::pair{-31, 0}, {-32, -1}, {-33, -1}, {31, 0}, {32, 1}, {-64, -2}}) {
    put(blob, BLOB_L4_BIAS, int32_t(bias));
    NetworkGuard guard(blob);
    EXPECT_EQ(forward_pass(acc.own, acc.other), score) << bias;
    EXPECT_EQ(forward_pass_plain(acc.own, acc.other), score) << bias;
  }
}

TEST(ForwardPass, HiddenLayersClipAtZeroAndAt127) {
  std::vector<uint8_t> blob = zero_blob();
  // Layer 2 bias alone: y0 = clip(bias >> 3); pass y0 through layer 3 and the output.
  put(blob, BLOB_L3_WEIGHTS, int8_t(8));
  put(blob, BLOB_L4_WEIGHTS, int8_t(32));
  Accumulators acc{};
  for (auto [bias, out] : {std::pair{-9, 0}, {7, 0}, {8, 1}, {1016, 127}, {100000, 127}, {-100000, 0}}) {
    put(blob, BLOB_L2_BIASES, int32_t(bias));
    NetworkGuard guard(blob);
    EXPECT_EQ(forward_pass(acc.own, acc.other), out) << bias;
    EXPECT_EQ(forward_pass_plain(acc.own, acc.other), out) << bias;
  }
}

TEST(Evaluate, ZeroNetworkScoresZeroButForShutInChess960Bishops) {
  NetworkGuard guard(zero_blob());
  auto thread = thread_at("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  thread->ply_records[0].acc_valid = 0;
  EXPECT_EQ(evaluate(*thread, 0), 0);

  const char* shut_in = "4k3/8/8/8/8/8/1P6/B3K3 w - - 0 1";
  const char* blocked = "4k3/8/8/8/8/1n6/1P6/B3K3 w - - 0 1";
  const char* theirs = "b3k3/1p6/8/8/8/8/8/4K3 w - - 0 1";
  for (bool chess960 : {false, true}) {
    Chess960Option option(chess960);
    auto expect = [&](const char* fen, int32_t score) {
      auto t = thread_at(fen);
      t->ply_records[0].acc_valid = 0;
      EXPECT_EQ(evaluate(*t, 0), chess960 ? score : 0) << fen;
    };
    expect(shut_in, -60);
    expect(blocked, -80);
    expect(theirs, 60);
    expect(mirrored_fen(shut_in).c_str(), -60);  // the same for Black to move
  }
}

TEST(Evaluate, ScoreIsClampedBothWays) {
  std::vector<uint8_t> blob = zero_blob();
  auto thread = thread_at("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
  for (auto [bias, score] : {std::pair{1 << 30, 30966}, {-(1 << 30), -30966}, {30967 * 32, 30966}}) {
    put(blob, BLOB_L4_BIAS, int32_t(bias));
    NetworkGuard guard(blob);
    thread->ply_records[0].acc_valid = 0;
    EXPECT_EQ(evaluate(*thread, 0), score);
    EXPECT_EQ(evaluate_plain(*thread, 0), score);
  }
}

TEST(Evaluate, ColourMirroredTwinsScoreTheSame) {
  std::vector<uint8_t> blob = random_blob(7);
  NetworkGuard guard(blob);
  const char* fens[] = {
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
      "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3",
      "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
      "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 b - - 0 10",
  };
  for (const char* fen : fens) {
    auto a = thread_at(fen);
    auto b = thread_at(mirrored_fen(fen).c_str());
    a->ply_records[0].acc_valid = b->ply_records[0].acc_valid = 0;
    EXPECT_EQ(evaluate(*a, 0), evaluate(*b, 0)) << fen;
  }
}

TEST(Evaluate, UnreadTrailerBytesChangeNothing) {
  std::vector<uint8_t> blob = random_blob(11);
  auto thread = thread_at("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  int32_t before, after;
  {
    NetworkGuard guard(blob);
    thread->ply_records[0].acc_valid = 0;
    before = evaluate(*thread, 0);
  }
  for (size_t i = BLOB_FRACTION_BITS + 16; i < NETWORK_BLOB_SIZE; ++i) blob[i] = uint8_t(i * 37 + 1);
  {
    NetworkGuard guard(blob);
    EXPECT_EQ(network_header_fault(blob.data()), -1);
    thread->ply_records[0].acc_valid = 0;
    after = evaluate(*thread, 0);
  }
  EXPECT_EQ(before, after);
}

TEST(NetworkHeader, FirstWrongWordIsReported) {
  std::vector<uint8_t> blob = zero_blob();
  EXPECT_EQ(network_header_fault(blob.data()), -1);
  put(blob, BLOB_FRACTION_BITS + 8, uint32_t(2));
  EXPECT_EQ(network_header_fault(blob.data()), 2);
  put(blob, BLOB_FRACTION_BITS, uint32_t(5));
  EXPECT_EQ(network_header_fault(blob.data()), 0);
  EXPECT_EQ(network_header_fault(tesmar_embedded_network), -1);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(tesmar_embedded_network) % 64, 0u);
}

}  // namespace

// An engine built with a network whose third header word is 2 refuses to start.
TEST(NetworkHeader, EngineWithWrongLayer3BitsStopsAtStartUp) {
  EngineProcess engine({}, 0, TESMAR_BAD_L3_BINARY);
  EXPECT_EQ(engine.read_line(), "Bit decimali L3 non corretti! Valore corretto 2");
  EXPECT_EQ(engine.wait_exit(5000), 1);
}
