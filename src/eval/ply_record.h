#pragma once
// Per-ply record: the accumulators of the position at this ply and the feature
// changes of the move made from it.
#include "board/move.h"
#include "eval/network_shape.h"

struct PlyRecord {
  uint8_t acc_valid;
  FeatureDelta delta;
  alignas(64) int16_t accumulators[2][L1_SIZE];
};
