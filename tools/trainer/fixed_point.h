#pragma once
// The fixed-point grid of the engine's network blob: each field is its real value times a power
// of two, rounded to nearest (ties to even). The export and the trainer's fixed-point forward pass
// round with the same function, so both land on the same integers.
#include <cmath>

constexpr float L1_SCALE = 16;           // rows and first-layer biases: 4 fractional bits
constexpr float HIDDEN_SCALE = 8;        // second- and third-layer weights, and every activation
constexpr float HIDDEN_BIAS_SCALE = 64;  // biases of the hidden layers: 6 fractional bits
constexpr float OUTPUT_SCALE = 4;        // output weights
constexpr float OUTPUT_BIAS_SCALE = 32;  // output bias: 5 fractional bits

// The integer pass shifts right, which rounds down; these offsets make its shifts round to
// nearest: half of 2 on each first-layer lane (for acc >> 1), half of 8 on each hidden bias
// (for sum >> 3).
constexpr int L1_BIAS_ROUNDING = 1;
constexpr int HIDDEN_BIAS_ROUNDING = 4;

// value x scale rounded to the nearest integer, as a float.
inline float grid_units(float value, float scale) { return std::nearbyint(value * scale); }
