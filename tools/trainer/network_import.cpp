#include "trainer/network_import.h"

#include <algorithm>
#include <cstring>

#include "trainer/fixed_point.h"
#include "trainer/network_export.h"

namespace {

template <typename T>
T get(const uint8_t* blob, size_t offset) {
  T value;
  std::memcpy(&value, blob + offset, sizeof value);
  return value;
}

float blob_lane(const uint8_t* blob, int row, int lane) {
  return float(get<int16_t>(blob, (size_t(row) * L1_SIZE + lane) * 2)) / L1_SCALE;
}

}  // namespace

int64_t import_network(const uint8_t* blob, FloatModel& model) {
  int64_t clipped = 0;
  auto keep = [&](float value) {
    const float limited = std::clamp(value, -ROW_LIMIT, ROW_LIMIT);
    clipped += limited != value;
    return limited;
  };
  std::fill(model.rows.begin(), model.rows.end(), 0.0f);
  for (int group = 0; group < FACTOR_ROWS; ++group) {
    const int first = group * 64;
    if (unused_pawn_row(first)) continue;
    float* factor = model.row(uint32_t(FACTOR_ROW_BASE + group));
    for (int lane = 0; lane < L1_SIZE; ++lane) {
      float low = blob_lane(blob, first, lane), high = low;
      for (int king = 1; king < 64; ++king) {
        low = std::min(low, blob_lane(blob, first + king, lane));
        high = std::max(high, blob_lane(blob, first + king, lane));
      }
      factor[lane] = std::clamp((low + high) / 2, -ROW_LIMIT, ROW_LIMIT);
      for (int king = 0; king < 64; ++king)
        model.row(uint32_t(first + king))[lane] = keep(blob_lane(blob, first + king, lane) - factor[lane]);
    }
  }
  for (int row = FEATURE_ROWS; row < BLOB_ROWS; ++row)
    for (int lane = 0; lane < L1_SIZE; ++lane) model.row(uint32_t(row))[lane] = keep(blob_lane(blob, row, lane));

  // Each value back from its grid, less the rounding offset that the export added.
  DenseParameters& d = model.dense;
  for (int lane = 0; lane < L1_SIZE; ++lane)
    d.l1_bias[lane] = float(get<int16_t>(blob, BLOB_L1_BIAS + 2 * lane) - L1_BIAS_ROUNDING) / L1_SCALE;
  for (int j = 0; j < L2_SIZE; ++j) {
    for (int i = 0; i < 2 * L1_SIZE; ++i)
      d.l2_weights[j][i] = float(get<int8_t>(blob, BLOB_L2_WEIGHTS + j * 2 * L1_SIZE + i)) / HIDDEN_SCALE;
    d.l2_bias[j] = float(get<int32_t>(blob, BLOB_L2_BIASES + 4 * j) - HIDDEN_BIAS_ROUNDING) / HIDDEN_BIAS_SCALE;
  }
  for (int j = 0; j < L3_SIZE; ++j) {
    for (int i = 0; i < L2_SIZE; ++i)
      d.l3_weights[j][i] = float(get<int8_t>(blob, BLOB_L3_WEIGHTS + j * L2_SIZE + i)) / HIDDEN_SCALE;
    d.l3_bias[j] = float(get<int32_t>(blob, BLOB_L3_BIASES + 4 * j) - HIDDEN_BIAS_ROUNDING) / HIDDEN_BIAS_SCALE;
  }
  for (int i = 0; i < L3_SIZE; ++i) d.l4_weights[i] = float(get<int8_t>(blob, BLOB_L4_WEIGHTS + i)) / OUTPUT_SCALE;
  d.l4_bias = float(get<int32_t>(blob, BLOB_L4_BIAS)) / OUTPUT_BIAS_SCALE;
  return clipped;
}
