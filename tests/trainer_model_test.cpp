// The trainer's float model and its way to and from the engine's blob: records no game gives,
// the loss and its target, the backward pass against finite differences; the export, rounding
// to the blob's grid, factor rows folded into king rows so that the engine's accumulators equal
// the trained ones (which holds the features of a record to the engine's own, lane by lane), and
// the engine's score equal to the fixed-point forward pass of the model it came from, which holds
// every field to the offset the engine reads it from; the import, whose blob exports as the same
// blob, the engine's own included, header, trailer and padding byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "common/record_features.h"
#include "common/training_record.h"
#include "eval/accumulator.h"
#include "helpers/board_fixtures.h"
#include "helpers/test_networks.h"
#include "helpers/training_fixtures.h"
#include "trainer/export_check.h"
#include "trainer/float_model.h"
#include "trainer/network_export.h"
#include "trainer/network_import.h"

namespace {

TEST(TrainerModel, RecordsThatNoGameGivesAreRefusedAndTheLossFollowsItsTarget) {
  TrainingRecord record = pack_record(position_of("4k3/8/8/8/8/8/8/4K3 w - - 0 1"), 0, 0, 0, false);
  EXPECT_TRUE(record_is_valid(record));
  TrainingRecord no_king = record;
  no_king.pieces[0] = 0x8E;  // both nibbles claim the enemy king
  EXPECT_FALSE(record_is_valid(no_king));
  TrainingRecord empty_code = record;
  empty_code.pieces[0] = 0xE0;
  EXPECT_FALSE(record_is_valid(empty_code));
  TrainingRecord crowded = record;
  crowded.occupied = ~0ull;
  EXPECT_FALSE(record_is_valid(crowded));

  const float k = 400.0f / std::log(10.0f);
  EXPECT_NEAR(record_target(0, 1, 0.7f, k), 0.65f, 1e-6f);
  EXPECT_NEAR(record_target(400, -1, 1.0f, k), 10.0f / 11.0f, 1e-6f);  // sigmoid(ln 10) = 10/11
  EXPECT_NEAR(record_target(100000, 0, 0.5f, k), 0.75f, 1e-6f);
  for (float out : {-300.0f, 0.0f, 55.0f}) {
    float d_out, ignored;
    const float loss = position_loss(out, 0.8f, k, &d_out);
    const float p = 1 / (1 + std::exp(-out / k));
    EXPECT_NEAR(loss, (p - 0.8f) * (p - 0.8f), 1e-6f);
    const float h = 0.5f;
    const float numeric = (position_loss(out + h, 0.8f, k, &ignored) - position_loss(out - h, 0.8f, k, &ignored)) / (2 * h);
    EXPECT_NEAR(d_out, numeric, 1e-6f) << "out " << out;
  }
}

// Output of the model for one record, for finite differences.
float output(const FloatModel& model, bool fixed_point, const RecordFeatures& f) {
  auto network = std::make_unique<ForwardNetwork>();
  prepare_forward(model, fixed_point, *network);
  ForwardState state;
  return model_forward(*network, f, state);
}

// dOut/dParameter by the backward pass against central differences in real arithmetic, for
// parameters of every layer. (The fixed-point pass runs the same backward code on its own
// activations; the training-run test shows that it learns.)
TEST(TrainerModel, BackwardPassAgreesWithFiniteDifferences) {
  auto model = std::make_unique<FloatModel>();
  init_model(*model, 3);
  for (float& w : model->dense.l4_weights) w *= 8;  // an output of some size
  for (float& b : model->dense.l1_bias) b -= 0.75f;  // some lanes below the clip
  // Both sides hold both rights: each castling row is in both views.
  const TrainingRecord record =
      pack_record(position_of("r3k2r/pppq1ppp/2n2n2/3pp3/3PP3/2N2N2/PPPQ1PPP/R3K2R w KQkq - 0 1"), 0, 0, 0, false);
  RecordFeatures f;
  record_features(record, f);
  auto network = std::make_unique<ForwardNetwork>();
  prepare_forward(*model, false, *network);
  ForwardState state;
  model_forward(*network, f, state);
  auto grad = std::make_unique<DenseParameters>();
  float d_acc[2 * L1_SIZE];
  model_backward(*network, state, 1.0f, *grad, d_acc);

  auto check = [&](float& parameter, float analytic, const char* what) {
    const float saved = parameter, h = 1e-2f;
    parameter = saved + h;
    const float up = output(*model, false, f);
    parameter = saved - h;
    const float down = output(*model, false, f);
    parameter = saved;
    EXPECT_NEAR(analytic, (up - down) / (2 * h), 2e-2f + 2e-2f * std::fabs(analytic)) << what;
  };
  DenseParameters& d = model->dense;
  check(d.l4_bias, grad->l4_bias, "output bias");
  for (int i : {0, 7, 31}) check(d.l4_weights[i], grad->l4_weights[i], "output weight");
  for (int j : {1, 17}) {
    check(d.l3_bias[j], grad->l3_bias[j], "layer 3 bias");
    for (int i : {0, 5, 30}) check(d.l3_weights[j][i], grad->l3_weights[j][i], "layer 3 weight");
    check(d.l2_bias[j], grad->l2_bias[j], "layer 2 bias");
    for (int i = 0; i < 2 * L1_SIZE; ++i) check(d.l2_weights[j][i], grad->l2_weights[j][i], "layer 2 weight");
  }
  // A row's gradient: d_acc of each view that switches it on, as a king row or as a factor row.
  auto row_gradient = [&](uint32_t row, int lane) {
    float sum = 0;
    for (int view = 0; view < 2; ++view)
      for (int k = 0; k < f.count[view]; ++k) {
        const uint32_t r = f.rows[view][k];
        if (r == row || (r < FEATURE_ROWS && factor_row(r) == row)) sum += d_acc[view * L1_SIZE + lane];
      }
    return sum;
  };
  int nonzero = 0;
  for (int lane : {0, 63, 128, 255}) {
    check(d.l1_bias[lane], grad->l1_bias[lane], "first-layer bias");
    // Rows of pieces of both views and the factor rows that go with them; both castling rows.
    for (uint32_t row : {f.rows[0][0], f.rows[0][5], f.rows[1][9]}) {
      check(model->row(row)[lane], row_gradient(row, lane), "king row");
      check(model->row(factor_row(row))[lane], row_gradient(factor_row(row), lane), "factor row");
      nonzero += row_gradient(row, lane) != 0;
    }
    check(model->row(ROW_KING_SIDE_RIGHT)[lane], row_gradient(ROW_KING_SIDE_RIGHT, lane), "castling row");
    check(model->row(ROW_QUEEN_SIDE_RIGHT)[lane], row_gradient(ROW_QUEEN_SIDE_RIGHT, lane), "castling row");
  }
  EXPECT_GT(nonzero, 3) << "lanes with a gradient";
}

template <typename T>
T read_at(const std::vector<uint8_t>& blob, size_t offset) {
  T value;
  std::memcpy(&value, blob.data() + offset, sizeof value);
  return value;
}

int16_t row_lane(const std::vector<uint8_t>& blob, int row, int lane) {
  return read_at<int16_t>(blob, (size_t(row) * L1_SIZE + lane) * 2);
}

// Values that tell each field and each index apart, all on the blob's grid.
std::unique_ptr<FloatModel> distinctive_model() {
  auto model = std::make_unique<FloatModel>();
  for (int row = 0; row < MODEL_ROWS; ++row)
    for (int lane = 0; lane < L1_SIZE; ++lane) model->row(row)[lane] = float((row * 7 + lane) % 61 - 30) / 16;
  DenseParameters& d = model->dense;
  for (int l = 0; l < L1_SIZE; ++l) d.l1_bias[l] = float(l % 50 - 25) / 16;
  for (int j = 0; j < L2_SIZE; ++j) {
    for (int i = 0; i < 2 * L1_SIZE; ++i) d.l2_weights[j][i] = float((j * 512 + i) % 255 - 127) / 8;
    d.l2_bias[j] = float(1000 * j - 7) / 64;
  }
  for (int j = 0; j < L3_SIZE; ++j) {
    for (int i = 0; i < L2_SIZE; ++i) d.l3_weights[j][i] = float((j * 32 + i) % 251 - 125) / 8;
    d.l3_bias[j] = float(-300 * j + 11) / 64;
  }
  for (int i = 0; i < L3_SIZE; ++i) d.l4_weights[i] = float(8 * i - 128) / 4;
  d.l4_bias = 99.0f / 32;
  return model;
}

// Off-grid values go to the nearest step, never towards zero or down, and the largest weights
// fill their byte.
TEST(TrainerExport, RoundsToNearest) {
  auto model = std::make_unique<FloatModel>();
  DenseParameters& d = model->dense;
  const int row = 4096 + 100;    // a knight on b1
  model->row(row)[0] = 0.1f;     // 1.6 sixteenths
  model->row(row)[1] = -0.1f;
  model->row(row)[2] = 0.07f;    // 1.12
  d.l1_bias[0] = -0.07f;         // -1.12, then the rounding offset
  d.l2_weights[0][0] = 15.875f;  // 127
  d.l2_weights[0][1] = -16.0f;   // -128
  d.l2_weights[0][2] = -0.2f;    // -1.6 eighths
  d.l2_bias[0] = 0.3f;           // 19.2 sixty-fourths
  d.l4_weights[0] = 31.75f;
  d.l4_weights[1] = -0.6f;       // -2.4 quarters
  d.l4_bias = -1.0f / 64;        // -0.5 of a 32nd: ties go to even
  const std::vector<uint8_t> blob = export_network(*model);
  EXPECT_EQ(row_lane(blob, row, 0), 2);
  EXPECT_EQ(row_lane(blob, row, 1), -2);
  EXPECT_EQ(row_lane(blob, row, 2), 1);
  EXPECT_EQ(read_at<int16_t>(blob, BLOB_L1_BIAS), -1 + 1);
  EXPECT_EQ(read_at<int8_t>(blob, BLOB_L2_WEIGHTS), 127);
  EXPECT_EQ(read_at<int8_t>(blob, BLOB_L2_WEIGHTS + 1), -128);
  EXPECT_EQ(read_at<int8_t>(blob, BLOB_L2_WEIGHTS + 2), -2);
  EXPECT_EQ(read_at<int32_t>(blob, BLOB_L2_BIASES), 19 + 4);
  EXPECT_EQ(read_at<int8_t>(blob, BLOB_L4_WEIGHTS), 127);
  EXPECT_EQ(read_at<int8_t>(blob, BLOB_L4_WEIGHTS + 1), -2);
  EXPECT_EQ(read_at<int32_t>(blob, BLOB_L4_BIAS), 0);
}

// Random-play positions, and positions with each mix of one right or none a side.
std::vector<TrainingRecord> fold_records() {
  std::vector<TrainingRecord> records = random_play_records(300, 11);
  const char* fens[] = {
      "r3k2r/pppq1ppp/2n2n2/3pp3/3PP3/2N2N2/PPPQ1PPP/R3K2R w KQkq - 0 1",
      "r3k2r/8/8/8/8/8/8/R3K2R b Kq - 0 1",
      "r3k2r/8/8/8/8/8/8/R3K2R w Kk - 0 1",
      "r3k2r/8/8/8/8/8/8/R3K2R w Qq - 0 1",
      "4k2r/6P1/8/8/8/8/1p6/R3K3 b Qk - 0 1",
      "r3k3/8/8/8/8/8/8/4K2R w Kq - 0 1",
  };
  for (const char* fen : fens) records.push_back(pack_record(position_of(fen), 0, 0, 0, false));
  return records;
}

// A model whose every number is on the blob's grid, with moderate values so that few
// activations stick at their clips.
std::unique_ptr<FloatModel> grid_model(uint64_t seed) {
  auto model = std::make_unique<FloatModel>();
  std::mt19937_64 rng(seed);
  auto steps = [&](int low, int high, float scale) {
    return float(std::uniform_int_distribution<int>(low, high)(rng)) / scale;
  };
  for (float& w : model->rows) w = steps(-6, 6, 16);
  DenseParameters& d = model->dense;
  for (float& b : d.l1_bias) b = steps(0, 48, 16);
  for (auto& row : d.l2_weights)
    for (float& w : row) w = steps(-3, 3, 8);
  for (float& b : d.l2_bias) b = steps(-2000, 2000, 64);
  for (auto& row : d.l3_weights)
    for (float& w : row) w = steps(-24, 24, 8);
  for (float& b : d.l3_bias) b = steps(-2000, 2000, 64);
  for (float& w : d.l4_weights) w = steps(-128, 127, 4);
  d.l4_bias = steps(-3000, 3000, 32);
  return model;
}

TEST(TrainerExport, FoldedFactorsGiveTheTrainedAccumulators) {
  auto model = grid_model(5);
  NetworkGuard guard(export_network(*model));
  int rights_seen[16] = {};
  RecordFeatures features;
  for (const TrainingRecord& record : fold_records()) {
    ++rights_seen[record.rights];
    Position pos;
    unpack_record(record, pos);
    record_features(record, features);
    for (int view = 0; view < 2; ++view) {
      alignas(64) int16_t engine[L1_SIZE];
      alignas(64) float trained[L1_SIZE];
      rebuild_accumulator(pos, view, engine);
      model_accumulator(*model, features, view, trained);
      for (int lane = 0; lane < L1_SIZE; ++lane)
        ASSERT_EQ(engine[lane], int(trained[lane] * 16) + 1)
            << "view " << view << " lane " << lane << " rights " << int(record.rights);
    }
  }
  for (int rights : {15, 5, 6, 9, 10, 0}) EXPECT_GT(rights_seen[rights], 0) << "rights " << rights;
}

// The engine on the exported blob scores what the fixed-point pass scores, up to the truncation of
// the final division; the real-valued pass differs by what rounding the activations costs.
TEST(TrainerExport, EngineScoresTheFixedPointPass) {
  auto model = grid_model(8);
  const std::vector<TrainingRecord> records = fold_records();
  const std::vector<uint8_t> blob = export_network(*model);
  const ExportCheck fixed = compare_with_engine(*model, true, blob, records.data(), records.size());
  EXPECT_EQ(fixed.positions, records.size());
  EXPECT_LT(fixed.max_difference, 1.0);
  const ExportCheck real = compare_with_engine(*model, false, blob, records.data(), records.size());
  EXPECT_GT(real.max_difference, 1.0) << "the real pass should not floor its activations";
  // The engine's own network is back in place afterwards.
  EXPECT_EQ(network_blob, tesmar_embedded_network);
}

// Blobs read into a model and exported again, byte for byte: the engine's own network, one with
// a value in every field, and one whose rows stand at the trainer's limits (king and factor row
// both at +-4, which only a factor that takes the middle of its group's range can hold).
TEST(TrainerImport, ExportGivesBackTheBlob) {
  auto at_limits = distinctive_model();
  for (int row = 0; row < MODEL_ROWS; ++row)
    for (int lane = 0; lane < L1_SIZE; ++lane)
      at_limits->row(row)[lane] = (row < FEATURE_ROWS ? ((row & 63) + lane) % 3 - 1 : (lane % 2 ? 1 : -1)) * ROW_LIMIT;
  const std::vector<uint8_t> blobs[] = {
      std::vector<uint8_t>(tesmar_embedded_network, tesmar_embedded_network + NETWORK_BLOB_SIZE),
      export_network(*distinctive_model()), export_network(*at_limits)};
  for (size_t b = 0; b < std::size(blobs); ++b) {
    auto model = std::make_unique<FloatModel>();
    EXPECT_EQ(import_network(blobs[b].data(), *model), 0) << "blob " << b;
    const std::vector<uint8_t> again = export_network(*model);
    const auto differ = std::mismatch(again.begin(), again.end(), blobs[b].begin());
    EXPECT_TRUE(differ.first == again.end()) << "blob " << b << " differs at byte 0x" << std::hex << (differ.first - again.begin());
  }
}

// A group whose king rows differ by more than two row limits can't be held: those lanes are
// clipped and counted, and nothing else changes.
TEST(TrainerImport, RowsBeyondTheLimitsAreClippedAndCounted) {
  std::vector<uint8_t> blob = export_network(*distinctive_model());
  const int16_t low = -120, high = 120;  // 15 apart in row units, where 8 is the most
  std::memcpy(blob.data() + (size_t(4096 + 64 * 20 + 3) * L1_SIZE + 5) * 2, &low, 2);
  std::memcpy(blob.data() + (size_t(4096 + 64 * 20 + 9) * L1_SIZE + 5) * 2, &high, 2);
  auto model = std::make_unique<FloatModel>();
  EXPECT_GT(import_network(blob.data(), *model), 0);
  const std::vector<uint8_t> again = export_network(*model);
  size_t differing = 0;
  for (size_t i = 0; i < NETWORK_BLOB_SIZE; ++i) differing += again[i] != blob[i];
  EXPECT_GE(differing, 1u);
  EXPECT_LE(differing, 2u * 64);  // lane 5 of that group's rows, two bytes each at most
}

}  // namespace
