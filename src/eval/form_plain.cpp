// The evaluation's hot loops in plain integers, one lane and one product at a time:
// the reference that every vector form is held to. Built without auto-vectorisation.
#include "eval/eval_forms.h"

namespace {

inline int32_t clip_activation(int32_t v) { return v < 0 ? 0 : v > 127 ? 127 : v; }

}  // namespace

namespace plain_form {

void apply_rows(int16_t* acc, const int16_t* source, const RowBatch& batch) {
  for (int lane = 0; lane < L1_SIZE; ++lane) {
    // Unsigned, so that a lane wraps modulo 2^16 as the accumulators do.
    uint16_t v = uint16_t(source[lane]);
    for (int r = 0; r < batch.added_count; ++r) v = uint16_t(v + uint16_t(batch.added[r][lane]));
    for (int r = 0; r < batch.removed_count; ++r) v = uint16_t(v - uint16_t(batch.removed[r][lane]));
    acc[lane] = int16_t(v);
  }
}

int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w) {
  int32_t x[L2_INPUTS];
  for (int i = 0; i < L1_SIZE; ++i) {
    x[i] = clip_activation(acc_own[i] >> 1);
    x[L1_SIZE + i] = clip_activation(acc_other[i] >> 1);
  }
  int32_t y[L2_SIZE];
  for (int j = 0; j < L2_SIZE; ++j) {
    int32_t sum = w.l2_biases[j];
    for (int i = 0; i < L2_INPUTS; ++i) sum += x[i] * w.l2_row_major[j * L2_INPUTS + i];
    y[j] = clip_activation(sum >> 3);
  }
  int32_t z[L3_SIZE];
  for (int j = 0; j < L3_SIZE; ++j) {
    int32_t sum = w.l3_biases[j];
    for (int i = 0; i < L2_SIZE; ++i) sum += y[i] * w.l3_row_major[j * L2_SIZE + i];
    z[j] = clip_activation(sum >> 3);
  }
  int32_t s = w.l4_bias;
  for (int i = 0; i < L3_SIZE; ++i) s += z[i] * w.l4_weights[i];
  return s / 32;
}

}  // namespace plain_form
