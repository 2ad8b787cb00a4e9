#include "trainer/adam.h"

#include <xmmintrin.h>

#include <algorithm>
#include <cmath>

AdamState::AdamState() : row_m(size_t(MODEL_ROWS) * L1_SIZE, 0.0f), row_v(size_t(MODEL_ROWS) * L1_SIZE, 0.0f) {}

float corrected_step_size(float learning_rate, int64_t step) {
  const double t = double(step);
  return float(learning_rate * std::sqrt(1.0 - std::pow(double(ADAM_BETA2), t)) /
               (1.0 - std::pow(double(ADAM_BETA1), t)));
}

void adam_row(float* w, float* m, float* v, float* g, float step_size, float limit) {
  // Three passes, so that the two without a square root vectorise: std::sqrt may set errno, which
  // keeps the compiler from vectorising any loop that calls it.
  alignas(64) float root[L1_SIZE];
  for (int i = 0; i < L1_SIZE; ++i) {
    m[i] = ADAM_BETA1 * m[i] + (1 - ADAM_BETA1) * g[i];
    v[i] = ADAM_BETA2 * v[i] + (1 - ADAM_BETA2) * g[i] * g[i];
    g[i] = 0;
  }
  for (int i = 0; i < L1_SIZE; i += 4) _mm_store_ps(root + i, _mm_sqrt_ps(_mm_loadu_ps(v + i)));
  for (int i = 0; i < L1_SIZE; ++i)
    w[i] = std::min(std::max(w[i] - step_size * m[i] / (root[i] + ADAM_EPSILON), -limit), limit);
}

void adam_dense(DenseParameters& params, AdamState& state, const DenseParameters& grad, float step_size) {
  float* w = dense_floats(params);
  float* m = dense_floats(state.dense_m);
  float* v = dense_floats(state.dense_v);
  const float* g = dense_floats(grad);
  const int output_begin = int(params.l4_weights - w);
  for (int i = 0; i < DENSE_COUNT; ++i) {
    m[i] = ADAM_BETA1 * m[i] + (1 - ADAM_BETA1) * g[i];
    v[i] = ADAM_BETA2 * v[i] + (1 - ADAM_BETA2) * g[i] * g[i];
    const float scale = i >= output_begin ? OUTPUT_STEP_SCALE : 1.0f;
    float low, high;
    dense_limits(i, low, high);
    w[i] = std::clamp(w[i] - scale * step_size * m[i] / (std::sqrt(v[i]) + ADAM_EPSILON), low, high);
  }
}
