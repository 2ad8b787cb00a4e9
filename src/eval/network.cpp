#include "eval/network.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

const uint8_t* network_blob = tesmar_embedded_network;
NetworkWeights network_weights;

void load_network(const uint8_t* blob) {
  network_blob = blob;
  std::memcpy(network_weights.l2_weights, blob + BLOB_L2_WEIGHTS, sizeof network_weights.l2_weights);
  std::memcpy(network_weights.l3_weights, blob + BLOB_L3_WEIGHTS, sizeof network_weights.l3_weights);
  std::memcpy(network_weights.l4_weights, blob + BLOB_L4_WEIGHTS, sizeof network_weights.l4_weights);
}

int network_header_fault(const uint8_t* blob) {
  for (int i = 0; i < 4; ++i) {
    uint32_t word;
    std::memcpy(&word, blob + BLOB_FRACTION_BITS + 4 * i, 4);
    if (word != EXPECTED_FRACTION_BITS[i]) return i;
  }
  return -1;
}

void check_network_header_or_exit(const uint8_t* blob) {
  int fault = network_header_fault(blob);
  if (fault < 0) return;
  uint32_t word;
  std::memcpy(&word, blob + BLOB_FRACTION_BITS + 4 * fault, 4);
  std::printf("Bit decimali L%d non corretti! Valore corretto %d\n", fault + 1, int(word));
  std::fflush(stdout);
  std::exit(1);
}
