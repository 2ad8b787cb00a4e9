#include "eval/network.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

const uint8_t* network_blob = tesmar_embedded_network;
NetworkWeights network_weights;
ForwardWeights forward_weights;
uint32_t network_generation = 0;

namespace {

// Row-major weights [outputs][inputs] to groups of four inputs, all outputs per group.
void arrange_input_major(const int8_t* row_major, int outputs, int inputs, int8_t* out) {
  for (int j = 0; j < outputs; ++j)
    for (int i = 0; i < inputs; ++i)
      out[((i / INPUT_GROUP) * outputs + j) * INPUT_GROUP + i % INPUT_GROUP] = row_major[j * inputs + i];
}

}  // namespace

void load_network(const uint8_t* blob) {
  network_blob = blob;
  ++network_generation;
  NetworkWeights& w = network_weights;
  std::memcpy(w.l2_weights, blob + BLOB_L2_WEIGHTS, sizeof w.l2_weights);
  std::memcpy(w.l3_weights, blob + BLOB_L3_WEIGHTS, sizeof w.l3_weights);
  std::memcpy(w.l4_weights, blob + BLOB_L4_WEIGHTS, sizeof w.l4_weights);
  arrange_input_major(&w.l2_weights[0][0], L2_SIZE, L2_INPUTS, w.l2_input_major);
  arrange_input_major(&w.l3_weights[0][0], L3_SIZE, L2_SIZE, w.l3_input_major);
  forward_weights = {&w.l2_weights[0][0], w.l2_input_major, network_l2_biases(), &w.l3_weights[0][0],
                     w.l3_input_major,    network_l3_biases(), w.l4_weights,      network_l4_bias()};
}

namespace {

// The embedded network is in use from the start, so that nothing evaluates with empty
// weights before an explicit load.
[[maybe_unused]] const bool EMBEDDED_NETWORK_LOADED = (load_network(tesmar_embedded_network), true);

}  // namespace

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
