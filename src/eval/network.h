#pragma once
// The network blob: its layout, the embedded copy, and the aligned copies of the
// small layers that the forward pass reads.
#include <cstddef>
#include <cstdint>

#include "eval/eval_forms.h"
#include "eval/network_shape.h"

constexpr uint32_t NETWORK_BLOB_SIZE = 0x1404C00;
constexpr uint32_t BLOB_L1_BIAS = 0x1400400;
constexpr uint32_t BLOB_L2_WEIGHTS = 0x1400600;
constexpr uint32_t BLOB_L2_BIASES = 0x1404600;
constexpr uint32_t BLOB_L3_WEIGHTS = 0x1404680;
constexpr uint32_t BLOB_L3_BIASES = 0x1404A80;
constexpr uint32_t BLOB_L4_WEIGHTS = 0x1404B00;
constexpr uint32_t BLOB_L4_BIAS = 0x1404B40;
constexpr uint32_t BLOB_FRACTION_BITS = 0x1404B44;  // four words: layers 1..4
constexpr uint32_t BLOB_TRAILER_ONE = 0x1404B80;
constexpr uint32_t BLOB_TRAILER_OFFSET = 0x1404BC0;
constexpr uint32_t EXPECTED_FRACTION_BITS[4] = {4, 3, 3, 2};

constexpr int FEATURE_ROWS = 40960;
constexpr int ROW_KING_SIDE_RIGHT = 40960;
constexpr int ROW_QUEEN_SIDE_RIGHT = 40961;

// The blob's fields follow each other as the layer sizes say.
constexpr uint32_t ROW_BYTES = L1_SIZE * sizeof(int16_t);
static_assert(ROW_QUEEN_SIDE_RIGHT + 1 == FEATURE_ROWS + 2);
static_assert(BLOB_L1_BIAS == (ROW_QUEEN_SIDE_RIGHT + 1) * ROW_BYTES);
static_assert(BLOB_L2_WEIGHTS == BLOB_L1_BIAS + ROW_BYTES);
static_assert(BLOB_L2_BIASES == BLOB_L2_WEIGHTS + L2_SIZE * L2_INPUTS);
static_assert(BLOB_L3_WEIGHTS == BLOB_L2_BIASES + L2_SIZE * sizeof(int32_t));
static_assert(BLOB_L3_BIASES == BLOB_L3_WEIGHTS + L3_SIZE * L2_SIZE);
static_assert(BLOB_L4_WEIGHTS == BLOB_L3_BIASES + L3_SIZE * sizeof(int32_t));
static_assert(BLOB_L4_BIAS == BLOB_L4_WEIGHTS + 2 * L3_SIZE);  // 32 weights, then 32 zero bytes
static_assert(BLOB_FRACTION_BITS == BLOB_L4_BIAS + 4);

// The blob built into the executable, 64-byte aligned in read-only data.
extern "C" const uint8_t tesmar_embedded_network[] __asm__("tesmar_embedded_network");

// Copies of the small layers in the blob's order, and the same weights input-major
// (see ForwardWeights) for the vector forms.
struct NetworkWeights {
  alignas(64) int8_t l2_weights[L2_SIZE][L2_INPUTS];
  alignas(64) int8_t l3_weights[L3_SIZE][L2_SIZE];
  alignas(64) int8_t l4_weights[L3_SIZE];
  alignas(64) int8_t l2_input_major[L2_SIZE * L2_INPUTS];
  alignas(64) int8_t l3_input_major[L3_SIZE * L2_SIZE];
};

// The blob in use and the copies of its later layers.
extern const uint8_t* network_blob;
extern NetworkWeights network_weights;

// Makes blob the network in use: remembers it and copies the later layers.
void load_network(const uint8_t* blob);

// Counts the loads, so that accumulators kept from an earlier network are known stale.
extern uint32_t network_generation;

// The weights of the network in use as the forward passes read them.
extern ForwardWeights forward_weights;

// Index 0..3 of the first fraction-bit word that differs from the expected value, or -1.
int network_header_fault(const uint8_t* blob);

// Prints the message of a wrong header word and ends the process with status 1.
void check_network_header_or_exit(const uint8_t* blob);

inline const int16_t* network_row(int row) {
  return reinterpret_cast<const int16_t*>(network_blob) + size_t(row) * L1_SIZE;
}
// The first-layer row of a piece on plane (own pawn .. queen 0..4, enemy 5..9) on square,
// seen from a view whose king stands on king_square; squares in the view's frame.
inline int feature_row(int plane, int square, int king_square) { return plane * 4096 + square * 64 + king_square; }
inline const int16_t* network_l1_bias() { return reinterpret_cast<const int16_t*>(network_blob + BLOB_L1_BIAS); }
inline const int32_t* network_l2_biases() { return reinterpret_cast<const int32_t*>(network_blob + BLOB_L2_BIASES); }
inline const int32_t* network_l3_biases() { return reinterpret_cast<const int32_t*>(network_blob + BLOB_L3_BIASES); }
inline int32_t network_l4_bias() { return *reinterpret_cast<const int32_t*>(network_blob + BLOB_L4_BIAS); }
