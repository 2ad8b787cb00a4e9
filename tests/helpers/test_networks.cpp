#include "helpers/test_networks.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

void write_header(std::vector<uint8_t>& blob) {
  std::memcpy(blob.data() + BLOB_FRACTION_BITS, EXPECTED_FRACTION_BITS, sizeof EXPECTED_FRACTION_BITS);
}

}  // namespace

std::vector<uint8_t> zero_blob() {
  std::vector<uint8_t> blob(NETWORK_BLOB_SIZE, 0);
  write_header(blob);
  return blob;
}

std::vector<uint8_t> random_blob(uint64_t seed) {
  std::vector<uint8_t> blob(NETWORK_BLOB_SIZE);
  uint64_t state = seed * 0x9E3779B97F4A7C15ull + 1;
  for (size_t i = 0; i < BLOB_FRACTION_BITS; i += 8) {
    state ^= state >> 12, state ^= state << 25, state ^= state >> 27;
    uint64_t word = state * 0x2545F4914F6CDD1Dull;
    std::memcpy(blob.data() + i, &word, std::min<size_t>(8, BLOB_FRACTION_BITS - i));
  }
  write_header(blob);
  return blob;
}

NetworkGuard::NetworkGuard(std::vector<uint8_t> b) : blob(std::move(b)) { load_network(blob.data()); }
NetworkGuard::~NetworkGuard() { load_network(tesmar_embedded_network); }
