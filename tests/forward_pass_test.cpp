// The network's arithmetic: vector and plain forms, the edge values of each stage,
// the Chess960 corner terms and the clamp.
#include <gtest/gtest.h>

#include <cstring>

#include "eval/evaluate.h"
#include "eval/eval_forms.h"
#include "helpers/board_fixtures.h"
#include "helpers/engine_process.h"
#include "helpers/every_form.h"
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

int32_t plain_pass(const Accumulators& acc) { return plain_form::forward_pass(acc.own, acc.other, forward_weights); }

class ForwardPass : public EveryVectorForm {
 protected:
  int32_t pass(const Accumulators& acc) const { return form().forward_pass(acc.own, acc.other, forward_weights); }
};
TESMAR_FOR_EVERY_VECTOR_FORM(ForwardPass);

TEST_P(ForwardPass, EqualsPlainOnRandomBlobsAndAccumulators) {
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
      ASSERT_EQ(pass(acc), plain_pass(acc)) << "seed " << seed;
    }
  }
}

// Each stage's edge values, one blob field at a time; the vector and plain forms agree on all.
TEST_P(ForwardPass, ShiftsClipsAndTheFinalDivision) {
  struct Case {
    uint32_t offset;  // the bias or lane under test
    int32_t value;
    int32_t score;
  };
  // L1: the first lane passes through layers 2-4 unchanged (weights 8, 8, 32): -1 and 1 give 0,
  // 2 gives 1, 254 and above 127. L2 bias alone: clip(bias >> 3). Output bias: divided by 32
  // toward zero.
  const Case cases[] = {{0, -1, 0},         {0, 1, 0},          {0, 2, 1},           {0, 253, 126},
                        {0, 254, 127},      {0, 32767, 127},    {0, -32768, 0},      {BLOB_L2_BIASES, -9, 0},
                        {BLOB_L2_BIASES, 8, 1}, {BLOB_L2_BIASES, 100000, 127}, {BLOB_L4_BIAS, -31, 0},
                        {BLOB_L4_BIAS, -32, -1}, {BLOB_L4_BIAS, 31, 0},  {BLOB_L4_BIAS, 32, 1}};
  for (const Case& c : cases) {
    std::vector<uint8_t> blob = zero_blob();
    Accumulators acc{};
    if (c.offset == 0) {
      put(blob, BLOB_L2_WEIGHTS, int8_t(8));
      acc.own[0] = int16_t(c.value);
    } else {
      put(blob, c.offset, c.value);
    }
    if (c.offset != BLOB_L4_BIAS) {
      put(blob, BLOB_L3_WEIGHTS, int8_t(8));
      put(blob, BLOB_L4_WEIGHTS, int8_t(32));
    }
    NetworkGuard guard(std::move(blob));
    EXPECT_EQ(pass(acc), c.score) << c.offset << " " << c.value;
    EXPECT_EQ(plain_pass(acc), c.score) << c.offset << " " << c.value;
  }
}

// The network's score of the position, its accumulators built afresh.
int32_t evaluate_fen(const char* fen) {
  auto thread = thread_at(fen);
  thread->ply_records[0].acc_valid = 0;
  return evaluate(*thread, 0);
}

TEST(Evaluate, ZeroNetworkScoresZeroButForShutInChess960Bishops) {
  NetworkGuard guard(zero_blob());
  EXPECT_EQ(evaluate_fen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"), 0);
  const char* shut_in = "4k3/8/8/8/8/8/1P6/B3K3 w - - 0 1";
  const std::pair<std::string, int32_t> cases[] = {{shut_in, -60},
                                                   {"4k3/8/8/8/8/1n6/1P6/B3K3 w - - 0 1", -80},  // blocked
                                                   {"b3k3/1p6/8/8/8/8/8/4K3 w - - 0 1", 60},     // theirs
                                                   {mirrored_fen(shut_in), -60}};  // the same for Black to move
  for (bool chess960 : {false, true}) {
    Chess960Option option(chess960);
    for (const auto& [fen, score] : cases) EXPECT_EQ(evaluate_fen(fen.c_str()), chess960 ? score : 0) << fen;
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
    EXPECT_EQ(evaluate_in_form(*thread, 0, EVAL_FORMS[0]), score);
  }
}

TEST(Evaluate, ColourMirroredTwinsScoreTheSame) {
  NetworkGuard guard(random_blob(7));
  for (const char* fen : {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                          "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3",
                          "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
                          "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 b - - 0 10"})
    EXPECT_EQ(evaluate_fen(fen), evaluate_fen(mirrored_fen(fen).c_str())) << fen;
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
