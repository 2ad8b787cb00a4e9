// The trainer's float model: records no game gives, the loss and its target, and the backward
// pass against finite differences. (The features of a record are held to the engine's own, lane
// by lane, by the export's test of folded factors.)
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "common/record_features.h"
#include "common/training_record.h"
#include "helpers/board_fixtures.h"
#include "trainer/float_model.h"

namespace {

TEST(TrainerModel, RecordsThatNoGameGivesAreRefused) {
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
}

TEST(TrainerModel, TargetAndLoss) {
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

}  // namespace
