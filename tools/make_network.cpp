// Writes a network blob of the engine's layout.
//
//   make_network OUT                      the provisional hand-set network: material and a
//                                         little piece placement, spread over the layers
//   make_network OUT --zero               all weights zero (scores 0 but for the Chess960 terms)
//   make_network OUT --fraction-bits A,B,C,D   header words other than 4,3,3,2 (to test the check)
#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "eval/network.h"

namespace {

template <typename T>
void put(std::vector<uint8_t>& blob, size_t offset, T value) {
  std::memcpy(blob.data() + offset, &value, sizeof value);
}

void set_lane(std::vector<uint8_t>& blob, int row, int lane, int16_t value) {
  put(blob, size_t(row) * L1_SIZE * 2 + size_t(lane) * 2, value);
}

// Lanes of each view: 0..4 count the view's own pawns .. queens (16 per piece),
// 5 the advance of its pawns, 6 the centralisation of its knights and bishops.
void write_material_network(std::vector<uint8_t>& blob) {
  for (int plane = 0; plane < 5; ++plane) {
    for (int s = 0; s < 64; ++s) {
      const int rank = s / 8, file = s % 8;
      if (plane == 0 && (rank == 0 || rank == 7)) continue;  // pawn rows there stay zero
      const int centre_distance = std::max(std::abs(2 * file - 7), std::abs(2 * rank - 7)) / 2;  // 0..3
      for (int king = 0; king < 64; ++king) {
        const int row = plane * 4096 + s * 64 + king;
        set_lane(blob, row, plane, 16);
        if (plane == 0) set_lane(blob, row, 5, int16_t(2 * (rank - 1)));
        if (plane == 1 || plane == 2) set_lane(blob, row, 6, int16_t(6 - 2 * centre_distance));
      }
    }
  }
  // Layer 2: material in thirds of a pawn, then placement, for each view.
  const int8_t values[5] = {3, 10, 10, 15, 28};
  for (int view = 0; view < 2; ++view) {
    for (int t = 0; t < 5; ++t) put(blob, BLOB_L2_WEIGHTS + view * 512 + view * L1_SIZE + t, values[t]);
    put(blob, BLOB_L2_WEIGHTS + (2 + view) * 512 + view * L1_SIZE + 5, int8_t(8));
    put(blob, BLOB_L2_WEIGHTS + (2 + view) * 512 + view * L1_SIZE + 6, int8_t(8));
  }
  // Layer 3: half the outputs carry the balance when it favours the side to move, half when not.
  for (int j = 0; j < L3_SIZE; ++j) {
    const int8_t sign = j < 16 ? 1 : -1;
    const int8_t row[4] = {int8_t(8 * sign), int8_t(-8 * sign), int8_t(2 * sign), int8_t(-2 * sign)};
    for (int i = 0; i < 4; ++i) put(blob, BLOB_L3_WEIGHTS + j * 32 + i, row[i]);
    // Output: 16 units of 67 / 32 each make about 100 per pawn.
    put(blob, BLOB_L4_WEIGHTS + j, int8_t(67 * sign));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: make_network OUT [--zero] [--fraction-bits A,B,C,D]\n");
    return 2;
  }
  std::vector<uint8_t> blob(NETWORK_BLOB_SIZE, 0);
  uint32_t bits[4] = {EXPECTED_FRACTION_BITS[0], EXPECTED_FRACTION_BITS[1], EXPECTED_FRACTION_BITS[2],
                      EXPECTED_FRACTION_BITS[3]};
  bool zero = false;
  for (int i = 2; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--zero")) {
      zero = true;
    } else if (!std::strcmp(argv[i], "--fraction-bits") && i + 1 < argc) {
      if (std::sscanf(argv[++i], "%u,%u,%u,%u", &bits[0], &bits[1], &bits[2], &bits[3]) != 4) return 2;
    } else {
      std::fprintf(stderr, "unknown argument %s\n", argv[i]);
      return 2;
    }
  }
  if (!zero) write_material_network(blob);
  for (int i = 0; i < 4; ++i) put(blob, BLOB_FRACTION_BITS + 4 * i, bits[i]);
  put(blob, BLOB_TRAILER_ONE, uint32_t(1));
  put(blob, BLOB_TRAILER_OFFSET, uint32_t(BLOB_TRAILER_ONE));
  FILE* out = std::fopen(argv[1], "wb");
  if (!out || std::fwrite(blob.data(), 1, blob.size(), out) != blob.size() || std::fclose(out) != 0) {
    std::perror(argv[1]);
    return 1;
  }
  return 0;
}
