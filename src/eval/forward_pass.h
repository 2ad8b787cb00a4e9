#pragma once
// Layers 2 to 4 of the network on the two accumulators of a ply.
#include <cstdint>

// acc: the side to move's 256 lanes, then the other side's. Returns the output sum
// divided by 32 (before the Chess960 terms and the clamp).
int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other);

// The same arithmetic in plain integers; both must give the same number for every blob.
int32_t forward_pass_plain(const int16_t* acc_own, const int16_t* acc_other);
