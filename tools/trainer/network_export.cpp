#include "trainer/network_export.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

int32_t quantize(float value, float scale, int32_t low, int32_t high) {
  const float v = grid_units(value, scale);
  return v < float(low) ? low : v > float(high) ? high : int32_t(v);
}

template <typename T>
void put(std::vector<uint8_t>& blob, size_t offset, T value) {
  std::memcpy(blob.data() + offset, &value, sizeof value);
}

}  // namespace

bool unused_pawn_row(int row) {
  const int plane = row / 4096, rank = (row / 64) % 64 / 8;
  return (plane == 0 || plane == 5) && (rank == 0 || rank == 7);
}

int16_t folded_lane(const FloatModel& model, int row, int lane) {
  float value = model.row(row)[lane];
  if (row < FEATURE_ROWS) {
    if (unused_pawn_row(row)) return 0;
    value += model.row(factor_row(row))[lane];
  }
  return int16_t(quantize(value, L1_SCALE, INT16_MIN, INT16_MAX));
}

std::vector<uint8_t> export_network(const FloatModel& model) {
  std::vector<uint8_t> blob(NETWORK_BLOB_SIZE, 0);
  for (int row = 0; row < BLOB_ROWS; ++row)
    for (int lane = 0; lane < L1_SIZE; ++lane)
      put(blob, (size_t(row) * L1_SIZE + lane) * 2, folded_lane(model, row, lane));
  const DenseParameters& d = model.dense;
  for (int lane = 0; lane < L1_SIZE; ++lane)
    put(blob, BLOB_L1_BIAS + 2 * lane,
        int16_t(quantize(d.l1_bias[lane], L1_SCALE, INT16_MIN, INT16_MAX - L1_BIAS_ROUNDING) + L1_BIAS_ROUNDING));
  for (int j = 0; j < L2_SIZE; ++j) {
    for (int i = 0; i < 2 * L1_SIZE; ++i)
      put(blob, BLOB_L2_WEIGHTS + j * 2 * L1_SIZE + i, int8_t(quantize(d.l2_weights[j][i], HIDDEN_SCALE, -128, 127)));
    put(blob, BLOB_L2_BIASES + 4 * j,
        quantize(d.l2_bias[j], HIDDEN_BIAS_SCALE, INT32_MIN / 2, INT32_MAX / 2) + HIDDEN_BIAS_ROUNDING);
  }
  for (int j = 0; j < L3_SIZE; ++j) {
    for (int i = 0; i < L2_SIZE; ++i)
      put(blob, BLOB_L3_WEIGHTS + j * L2_SIZE + i, int8_t(quantize(d.l3_weights[j][i], HIDDEN_SCALE, -128, 127)));
    put(blob, BLOB_L3_BIASES + 4 * j,
        quantize(d.l3_bias[j], HIDDEN_BIAS_SCALE, INT32_MIN / 2, INT32_MAX / 2) + HIDDEN_BIAS_ROUNDING);
  }
  for (int i = 0; i < L3_SIZE; ++i)
    put(blob, BLOB_L4_WEIGHTS + i, int8_t(quantize(d.l4_weights[i], OUTPUT_SCALE, -128, 127)));
  put(blob, BLOB_L4_BIAS, quantize(d.l4_bias, OUTPUT_BIAS_SCALE, INT32_MIN / 2, INT32_MAX / 2));
  for (int i = 0; i < 4; ++i) put(blob, BLOB_FRACTION_BITS + 4 * i, EXPECTED_FRACTION_BITS[i]);
  put(blob, BLOB_TRAILER_ONE, uint32_t(1));
  put(blob, BLOB_TRAILER_OFFSET, BLOB_TRAILER_ONE);
  return blob;
}

bool write_network_file(const std::vector<uint8_t>& blob, const char* path) {
  std::FILE* file = std::fopen(path, "wb");
  if (!file) {
    std::perror(path);
    return false;
  }
  const bool written = std::fwrite(blob.data(), 1, blob.size(), file) == blob.size();
  if (std::fclose(file) != 0 || !written) {
    std::perror(path);
    return false;
  }
  return true;
}

std::vector<uint8_t> read_network_file(const char* path) {
  std::vector<uint8_t> blob(NETWORK_BLOB_SIZE);
  std::FILE* file = std::fopen(path, "rb");
  if (!file) {
    std::perror(path);
    return {};
  }
  const size_t got = std::fread(blob.data(), 1, blob.size(), file);
  const bool longer = std::fgetc(file) != EOF;
  std::fclose(file);
  if (got != blob.size() || longer) {
    std::fprintf(stderr, "%s: a network blob has exactly %u bytes\n", path, NETWORK_BLOB_SIZE);
    return {};
  }
  return blob;
}
