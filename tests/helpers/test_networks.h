#pragma once
// Network blobs made in memory for the evaluation tests, and a guard that puts
// the embedded network back when a test ends.
#include <cstdint>
#include <vector>

#include "eval/network.h"

// A blob with a valid header and everything else zero.
std::vector<uint8_t> zero_blob();

// A blob with random weights over the full ranges of their types (rows, biases and
// the small layers), valid header words.
std::vector<uint8_t> random_blob(uint64_t seed);

// Holds a copy of a blob in use for one scope, then restores the embedded network.
struct NetworkGuard {
  explicit NetworkGuard(std::vector<uint8_t> blob);
  ~NetworkGuard();
  std::vector<uint8_t> blob;
};
