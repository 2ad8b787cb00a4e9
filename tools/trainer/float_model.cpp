#include "trainer/float_model.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "trainer/fixed_point.h"
#include "trainer/float_vector.h"

FloatModel::FloatModel() : rows(size_t(MODEL_ROWS) * L1_SIZE, 0.0f), dense{} {}

void init_model(FloatModel& model, uint64_t seed) {
  std::mt19937_64 rng(seed);
  auto uniform = [&](float low, float high) { return std::uniform_real_distribution<float>(low, high)(rng); };
  // Some sixty rows add up per view: +-0.1 each spreads the sum by about 0.5 around a bias
  // that keeps most lanes inside the active range at the start.
  for (float& w : model.rows) w = uniform(-0.1f, 0.1f);
  DenseParameters& d = model.dense;
  for (float& b : d.l1_bias) b = uniform(0.5f, 1.0f);
  const float l2_bound = std::sqrt(6.0f / (2 * L1_SIZE)), l3_bound = std::sqrt(6.0f / L2_SIZE);
  for (auto& row : d.l2_weights)
    for (float& w : row) w = uniform(-l2_bound, l2_bound);
  for (float& b : d.l2_bias) b = 0.5f;
  for (auto& row : d.l3_weights)
    for (float& w : row) w = uniform(-l3_bound, l3_bound);
  for (float& b : d.l3_bias) b = 0.5f;
  // The output starts within a few score units of 0, so the first steps see no saturated sigmoid.
  for (float& w : d.l4_weights) w = uniform(-1.0f, 1.0f);
  d.l4_bias = 0;
}

int64_t fold_factors(FloatModel& model) {
  int64_t clipped = 0;
  for (uint32_t row = 0; row < FEATURE_ROWS; ++row) {
    float* king_row = model.row(row);
    const float* factor = model.row(factor_row(row));
    for (int lane = 0; lane < L1_SIZE; ++lane) {
      const float sum = king_row[lane] + factor[lane];
      king_row[lane] = std::clamp(sum, -FOLDED_ROW_LIMIT, FOLDED_ROW_LIMIT);
      clipped += king_row[lane] != sum;
    }
  }
  std::fill(model.rows.begin() + size_t(FACTOR_ROW_BASE) * L1_SIZE, model.rows.end(), 0.0f);
  return clipped;
}

void dense_limits(int i, float& low, float& high) {
  constexpr int l2_weights = L1_SIZE;
  constexpr int l2_bias = l2_weights + L2_SIZE * 2 * L1_SIZE;
  constexpr int l3_weights = l2_bias + L2_SIZE;
  constexpr int l3_bias = l3_weights + L3_SIZE * L2_SIZE;
  constexpr int l4_weights = l3_bias + L3_SIZE;
  constexpr int l4_bias = l4_weights + L3_SIZE;
  if (i < l2_weights) {
    low = -L1_BIAS_LIMIT, high = L1_BIAS_LIMIT;
  } else if (i < l2_bias || (i >= l3_weights && i < l3_bias)) {
    low = L2_WEIGHT_MIN, high = L2_WEIGHT_MAX;
  } else if (i >= l4_weights && i < l4_bias) {
    low = L4_WEIGHT_MIN, high = L4_WEIGHT_MAX;
  } else {
    low = -HIDDEN_BIAS_LIMIT, high = HIDDEN_BIAS_LIMIT;
  }
}

namespace {

const float ZERO_ROW[L1_SIZE] = {};

// Rounds to the nearest integer (ties to even) for |v| < 2^22: adding 1.5 x 2^23 leaves no
// fractional bits. Plain vector arithmetic, so the lane loops stay vectorised.
inline Float16 round_lanes(Float16 v) {
  constexpr float MAGIC = 12582912.0f;
  return (v + MAGIC) - MAGIC;
}

// For each piece of the view its king row and factor row; a right has its row and no factor.
int view_sources(const FloatModel& model, const RecordFeatures& features, int view, const float** rows,
                 const float** factors) {
  for (int k = 0; k < features.count[view]; ++k) {
    const uint32_t r = features.rows[view][k];
    rows[k] = model.row(r);
    factors[k] = r < FEATURE_ROWS ? model.row(factor_row(r)) : ZERO_ROW;
  }
  return features.count[view];
}

// acc = bias + sum of (row + factor) lanes; with grid, each folded lane is rounded to sixteenths
// first, as the blob holds it. 64 lanes at a time stay in registers while all rows are added.
template <bool GRID>
void accumulate(const float* bias, const float* const* rows, const float* const* factors, int n, float* acc) {
  const Float16 scale = Float16{} + (GRID ? L1_SCALE : 1.0f);
  for (int block = 0; block < L1_SIZE; block += 64) {
    Float16 sum[4];
    for (int k = 0; k < 4; ++k) sum[k] = load16(bias + block + 16 * k) * scale;
    for (int s = 0; s < n; ++s) {
      for (int k = 0; k < 4; ++k) {
        const int lane = block + 16 * k;
        const Float16 folded = load16(rows[s] + lane) + load16(factors[s] + lane);
        sum[k] += GRID ? round_lanes(folded * scale) : folded;
      }
    }
    for (int k = 0; k < 4; ++k) store16(acc + block + 16 * k, sum[k] / scale);
  }
}

inline float clip_activation(float v) { return std::min(std::max(v, 0.0f), ACTIVATION_MAX); }
// An activation in fixed point: floored to eighths, then clipped.
inline float activation(float sum, bool grid) {
  return clip_activation(grid ? std::floor(sum * HIDDEN_SCALE) / HIDDEN_SCALE : sum);
}
// Whether the gradient passes the clip of an activation.
inline bool passes(float sum) { return sum > 0.0f && sum < ACTIVATION_MAX; }

// sums[j] = bias[j] + weights[j] . input for outputs j, four outputs per pass over the input.
template <int INPUTS, int OUTPUTS>
void dense_layer(const float (*weights)[INPUTS], const float* bias, const float* input, float* sums) {
  static_assert(INPUTS % 16 == 0 && OUTPUTS % 4 == 0);
  for (int j = 0; j < OUTPUTS; j += 4) {
    Float16 s0 = {}, s1 = {}, s2 = {}, s3 = {};
    for (int i = 0; i < INPUTS; i += 16) {
      const Float16 x = load16(input + i);
      s0 += load16(weights[j] + i) * x, s1 += load16(weights[j + 1] + i) * x;
      s2 += load16(weights[j + 2] + i) * x, s3 += load16(weights[j + 3] + i) * x;
    }
    sums[j] = bias[j] + horizontal_sum(s0), sums[j + 1] = bias[j + 1] + horizontal_sum(s1);
    sums[j + 2] = bias[j + 2] + horizontal_sum(s2), sums[j + 3] = bias[j + 3] + horizontal_sum(s3);
  }
}

}  // namespace

void model_accumulator(const FloatModel& model, const RecordFeatures& features, int view, float* acc) {
  const float *rows[MAX_VIEW_FEATURES], *factors[MAX_VIEW_FEATURES];
  const int n = view_sources(model, features, view, rows, factors);
  accumulate<false>(model.dense.l1_bias, rows, factors, n, acc);
}

void prepare_forward(const FloatModel& model, bool fixed_point, ForwardNetwork& network) {
  network.model = &model;
  network.fixed_point = fixed_point;
  network.dense = model.dense;
  if (!fixed_point) return;
  DenseParameters& d = network.dense;
  auto on_grid = [](float& value, float scale, int offset) { value = (grid_units(value, scale) + offset) / scale; };
  for (float& b : d.l1_bias) on_grid(b, L1_SCALE, L1_BIAS_ROUNDING);
  for (auto& row : d.l2_weights)
    for (float& w : row) on_grid(w, HIDDEN_SCALE, 0);
  for (float& b : d.l2_bias) on_grid(b, HIDDEN_BIAS_SCALE, HIDDEN_BIAS_ROUNDING);
  for (auto& row : d.l3_weights)
    for (float& w : row) on_grid(w, HIDDEN_SCALE, 0);
  for (float& b : d.l3_bias) on_grid(b, HIDDEN_BIAS_SCALE, HIDDEN_BIAS_ROUNDING);
  for (float& w : d.l4_weights) on_grid(w, OUTPUT_SCALE, 0);
  on_grid(d.l4_bias, OUTPUT_BIAS_SCALE, 0);
}

float model_forward(const ForwardNetwork& network, const RecordFeatures& features, ForwardState& state) {
  const DenseParameters& d = network.dense;
  const bool grid = network.fixed_point;
  for (int view = 0; view < 2; ++view) {
    const float *rows[MAX_VIEW_FEATURES], *factors[MAX_VIEW_FEATURES];
    const int n = view_sources(*network.model, features, view, rows, factors);
    float* acc = state.acc + view * L1_SIZE;
    if (grid)
      accumulate<true>(d.l1_bias, rows, factors, n, acc);
    else
      accumulate<false>(d.l1_bias, rows, factors, n, acc);
  }
  for (int i = 0; i < 2 * L1_SIZE; ++i) state.a[i] = activation(state.acc[i], grid);
  dense_layer<2 * L1_SIZE, L2_SIZE>(d.l2_weights, d.l2_bias, state.a, state.y_sum);
  for (int j = 0; j < L2_SIZE; ++j) state.y[j] = activation(state.y_sum[j], grid);
  dense_layer<L2_SIZE, L3_SIZE>(d.l3_weights, d.l3_bias, state.y, state.z_sum);
  for (int j = 0; j < L3_SIZE; ++j) state.z[j] = activation(state.z_sum[j], grid);
  float out = d.l4_bias;
  for (int i = 0; i < L3_SIZE; ++i) out += d.l4_weights[i] * state.z[i];
  state.out = out;
  return out;
}

void model_backward(const ForwardNetwork& network, const ForwardState& state, float d_out, DenseParameters& grad,
                    float* d_acc) {
  const DenseParameters& d = network.dense;
  grad.l4_bias += d_out;
  alignas(64) float dz[L3_SIZE];
  for (int i = 0; i < L3_SIZE; ++i) {
    grad.l4_weights[i] += d_out * state.z[i];
    dz[i] = passes(state.z_sum[i]) ? d_out * d.l4_weights[i] : 0.0f;
  }
  alignas(64) float dy[L2_SIZE] = {};
  for (int j = 0; j < L3_SIZE; ++j) {
    if (dz[j] == 0.0f) continue;
    grad.l3_bias[j] += dz[j];
    for (int i = 0; i < L2_SIZE; ++i) {
      grad.l3_weights[j][i] += dz[j] * state.y[i];
      dy[i] += dz[j] * d.l3_weights[j][i];
    }
  }
  for (int i = 0; i < L2_SIZE; ++i)
    if (!passes(state.y_sum[i])) dy[i] = 0.0f;
  alignas(64) float da[2 * L1_SIZE] = {};
  for (int j = 0; j < L2_SIZE; ++j) {
    if (dy[j] == 0.0f) continue;
    grad.l2_bias[j] += dy[j];
    const float g = dy[j];
    float* gw = grad.l2_weights[j];
    const float* w = d.l2_weights[j];
    for (int i = 0; i < 2 * L1_SIZE; ++i) {
      gw[i] += g * state.a[i];
      da[i] += g * w[i];
    }
  }
  for (int i = 0; i < 2 * L1_SIZE; ++i) d_acc[i] = passes(state.acc[i]) ? da[i] : 0.0f;
  for (int i = 0; i < L1_SIZE; ++i) grad.l1_bias[i] += d_acc[i] + d_acc[L1_SIZE + i];
}

float position_loss(float out, float target, float scale, float* d_out) {
  const float p = 1.0f / (1.0f + std::exp(-out / scale));
  const float diff = p - target;
  *d_out = 2.0f * diff * p * (1.0f - p) / scale;
  return diff * diff;
}

float record_target(int score, int result, float lambda, float scale) {
  const float from_score = 1.0f / (1.0f + std::exp(-float(score) / scale));
  return lambda * from_score + (1.0f - lambda) * float(result + 1) * 0.5f;
}
