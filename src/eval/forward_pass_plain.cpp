#include "eval/forward_pass.h"
#include "eval/network.h"

namespace {

inline int32_t clip_activation(int32_t v) { return v < 0 ? 0 : v > 127 ? 127 : v; }

}  // namespace

int32_t forward_pass_plain(const int16_t* acc_own, const int16_t* acc_other) {
  int32_t x[2 * L1_SIZE];
  for (int i = 0; i < L1_SIZE; ++i) {
    x[i] = clip_activation(acc_own[i] >> 1);
    x[L1_SIZE + i] = clip_activation(acc_other[i] >> 1);
  }
  int32_t y[L2_SIZE];
  for (int j = 0; j < L2_SIZE; ++j) {
    int32_t sum = network_l2_biases()[j];
    for (int i = 0; i < 2 * L1_SIZE; ++i) sum += x[i] * network_weights.l2_weights[j][i];
    y[j] = clip_activation(sum >> 3);
  }
  int32_t z[L3_SIZE];
  for (int j = 0; j < L3_SIZE; ++j) {
    int32_t sum = network_l3_biases()[j];
    for (int i = 0; i < L2_SIZE; ++i) sum += y[i] * network_weights.l3_weights[j][i];
    z[j] = clip_activation(sum >> 3);
  }
  int32_t s = network_l4_bias();
  for (int i = 0; i < L3_SIZE; ++i) s += z[i] * network_weights.l4_weights[i];
  return s / 32;
}
