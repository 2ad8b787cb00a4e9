#pragma once
// Late-move reductions in 1/64 ply, indexed [PV node][depth][move count].
#include <algorithm>
#include <cstdint>

extern int32_t reduction_table[2][128][128];

// Fills the tables once at start-up.
void init_reduction_tables();

// The reduction in whole plies, at least 1, of the move_count-th move of a node (this move
// counted). A capture that loses material, or an underpromotion, is reduced by a sixth:
// such moves are rarely best, but when they are it is by a sacrifice.
inline int late_move_reduction(bool pv, int depth, int move_count, bool bad_capture) {
  int32_t t = reduction_table[pv][depth][std::min(move_count, 127)];
  if (bad_capture) t /= 6;
  return (t + 64) >> 6;
}
