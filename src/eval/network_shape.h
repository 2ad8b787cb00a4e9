#pragma once
// The network's layer sizes, shared by the blob layout, the per-ply records and
// every instruction-set form of the evaluation.

constexpr int L1_SIZE = 256;  // accumulator lanes per view
constexpr int L2_SIZE = 32;
constexpr int L3_SIZE = 32;
constexpr int L2_INPUTS = 2 * L1_SIZE;  // both views, the side to move first

// The forward pass multiplies groups of four 8-bit inputs at a time (one 32-bit broadcast).
constexpr int INPUT_GROUP = 4;
