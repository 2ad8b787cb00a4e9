#pragma once
// The score scale of the search and the node types, whose numbers double as hash bounds.
#include <cstdint>

#include "protocol/engine_options.h"

constexpr int32_t SCORE_INFINITE = 32767;
constexpr int32_t SCORE_NONE = -32767;
constexpr int32_t SCORE_MATE = 32766;
constexpr int32_t SCORE_DECIDED = 31966;  // beyond this: mate and tablebase scores
// The largest magnitude that margins and pruning rules take as an ordinary score.
constexpr int32_t ORDINARY_LIMIT = SCORE_DECIDED - 1;
constexpr bool is_ordinary(int32_t score) { return score >= -ORDINARY_LIMIT && score <= ORDINARY_LIMIT; }

constexpr uint32_t NODE_PV = 0x1000000;
constexpr uint32_t NODE_CUT = 0x800000;
constexpr uint32_t NODE_ALL = 0;
constexpr uint32_t BOUND_EXACT = NODE_PV;
constexpr uint32_t BOUND_LOWER = NODE_CUT;
constexpr uint32_t BOUND_UPPER = NODE_ALL;

// The score of the side that is checkmated at ply.
constexpr int32_t mated_score(int ply) { return ply - SCORE_MATE; }

// DrawScore belongs to the side to move at the root: its sign turns with every ply.
inline int32_t draw_score(int ply) { return (ply & 1) ? -engine_options.DrawScore : engine_options.DrawScore; }
