#pragma once
// Adam with sparse first-layer rows: a row's moments move only in the steps whose batch switched
// the row on (lazy Adam), while the dense layers step every time.
#include <cstdint>
#include <vector>

#include "trainer/float_model.h"

constexpr float ADAM_BETA1 = 0.9f;
constexpr float ADAM_BETA2 = 0.999f;
constexpr float ADAM_EPSILON = 1e-8f;

// The output layer works in score units, with weights up to +-32 where the hidden layers keep
// theirs within a unit or two: its steps are this much longer.
constexpr float OUTPUT_STEP_SCALE = 8.0f;

struct AdamState {
  int64_t step = 0;            // steps taken
  std::vector<float> row_m;    // MODEL_ROWS x L1_SIZE, first moments of the rows
  std::vector<float> row_v;    // second moments
  DenseParameters dense_m{};
  DenseParameters dense_v{};

  AdamState();
};

// The learning rate with the bias correction of step (counted from 1).
float corrected_step_size(float learning_rate, int64_t step);

// One row: w -= step_size * m / (sqrt(v) + eps) after folding in gradient g, then w clipped to
// [-limit, limit]; g is cleared for the next batch.
void adam_row(float* w, float* m, float* v, float* g, float step_size, float limit);

// All dense parameters, each clipped to its range afterwards.
void adam_dense(DenseParameters& params, AdamState& state, const DenseParameters& grad, float step_size);
