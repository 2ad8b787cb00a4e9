#pragma once
// The network in real numbers, as the trainer learns it. Its forward pass mirrors the engine's
// integer one: acc = bias + sum of rows per view, a = clip(acc) with the side to move first,
// two clipped hidden layers of 32, one output in score units.
//
// First-layer rows: the 40962 rows of the engine's blob, then 640 factor rows, one per
// (plane, square) with no king square. Each piece switches on its king row and its factor row;
// the export folds every factor row into its 64 king rows.
#include <cstdint>
#include <vector>

#include "common/record_features.h"
#include "eval/network.h"

constexpr int BLOB_ROWS = FEATURE_ROWS + 2;
constexpr int FACTOR_ROW_BASE = BLOB_ROWS;
constexpr int FACTOR_ROWS = 10 * 64;
constexpr int MODEL_ROWS = BLOB_ROWS + FACTOR_ROWS;
constexpr float ACTIVATION_MAX = 127.0f / 8;

// The factor row of a piece row (row below FEATURE_ROWS): same plane and square, any king.
constexpr uint32_t factor_row(uint32_t row) { return FACTOR_ROW_BASE + (row >> 6); }

// Everything but the first-layer rows, as one run of floats (the optimiser and the checkpoint
// walk it as an array).
struct DenseParameters {
  float l1_bias[L1_SIZE];
  float l2_weights[L2_SIZE][2 * L1_SIZE];  // row j: weights of output j
  float l2_bias[L2_SIZE];
  float l3_weights[L3_SIZE][L2_SIZE];
  float l3_bias[L3_SIZE];
  float l4_weights[L3_SIZE];
  float l4_bias;
};
constexpr int DENSE_COUNT = L1_SIZE + L2_SIZE * 2 * L1_SIZE + L2_SIZE + L3_SIZE * L2_SIZE + L3_SIZE + L3_SIZE + 1;
static_assert(sizeof(DenseParameters) == DENSE_COUNT * sizeof(float), "dense parameters are packed floats");

inline float* dense_floats(DenseParameters& d) { return reinterpret_cast<float*>(&d); }
inline const float* dense_floats(const DenseParameters& d) { return reinterpret_cast<const float*>(&d); }

struct FloatModel {
  std::vector<float> rows;  // MODEL_ROWS x L1_SIZE
  DenseParameters dense;

  FloatModel();
  float* row(uint32_t r) { return rows.data() + size_t(r) * L1_SIZE; }
  const float* row(uint32_t r) const { return rows.data() + size_t(r) * L1_SIZE; }
};

// What the backward pass needs of one forward pass.
struct ForwardState {
  alignas(64) float acc[2 * L1_SIZE];  // before clipping: view 0 (side to move), then view 1
  alignas(64) float a[2 * L1_SIZE];    // first-layer activations
  alignas(64) float y_sum[L2_SIZE];
  alignas(64) float y[L2_SIZE];
  alignas(64) float z_sum[L3_SIZE];
  alignas(64) float z[L3_SIZE];
  float out;
};

// Ranges that the weights are clipped to after each step, so that every value fits its integer
// type at export and no accumulator lane can overflow 16 bits.
constexpr float ROW_LIMIT = 4.0f;       // each of king row and factor row: folded at most 8 (128)
constexpr float FOLDED_ROW_LIMIT = 2 * ROW_LIMIT;
constexpr float L1_BIAS_LIMIT = 64.0f;  // x16 stays within 16 bits
constexpr float L2_WEIGHT_MIN = -16.0f, L2_WEIGHT_MAX = 15.875f;  // x8 within int8, also layer 3
constexpr float L4_WEIGHT_MIN = -32.0f, L4_WEIGHT_MAX = 31.75f;   // x4 within int8
constexpr float HIDDEN_BIAS_LIMIT = 1.0e6f;                       // int32 at x64: no real bound

// Fills the model with random starting weights: small first-layer rows, scaled uniform weights
// for the hidden layers, and an output layer that starts near 0.
void init_model(FloatModel& model, uint64_t seed);

// Training without the factoriser: each factor row is added into its 64 king rows and set to
// zero, so the model's output stays the same and the king rows alone carry the weights, each
// up to the folded limit. Returns the number of values clipped there.
int64_t fold_factors(FloatModel& model);

// Lower and upper bound of dense parameter i (the optimiser clips to them after each step).
void dense_limits(int i, float& low, float& high);

// Accumulator of one view in real numbers: bias + king rows + factor rows.
void model_accumulator(const FloatModel& model, const RecordFeatures& features, int view, float* acc);

// A forward pass over a model, in one of two arithmetics:
// - real: the model's numbers as they are;
// - fixed point: the engine's integer pass in real units. Each folded row lane and each weight and
//   bias is rounded to the blob's grid as the export rounds it (the biases with their rounding
//   offsets), and each activation is floored to eighths as the engine's shifts do. The output is
//   then the engine's score before its final division truncates. Gradients pass the rounding
//   straight through to the real weights underneath.
struct ForwardNetwork {
  const FloatModel* model;
  bool fixed_point;
  DenseParameters dense;  // the model's dense parameters, on the grid in fixed point
};

// The network for passes over model; build it again after the model changes.
void prepare_forward(const FloatModel& model, bool fixed_point, ForwardNetwork& network);

// The output in score units; state keeps the intermediate values.
float model_forward(const ForwardNetwork& network, const RecordFeatures& features, ForwardState& state);

// For d_out = dLoss/dOut: adds the gradients of the dense parameters (first-layer bias included)
// into grad and writes dLoss/dAcc of both views (2 x L1_SIZE, side to move first) to d_acc. A
// row's gradient is the sum of the d_acc of the views that switch it on.
void model_backward(const ForwardNetwork& network, const ForwardState& state, float d_out, DenseParameters& grad,
                    float* d_acc);

// Loss of one position: p = sigmoid(out / scale) against target; returns (p - target)^2 and
// stores dLoss/dOut in *d_out.
float position_loss(float out, float target, float scale, float* d_out);

// Target of a record: lambda x sigmoid(score / scale) + (1 - lambda) x (result + 1) / 2.
float record_target(int score, int result, float lambda, float scale);
