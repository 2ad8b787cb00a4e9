#pragma once
// Late-move reductions in 1/64 ply, indexed [PV node][depth][move count].
#include <cstdint>

extern int32_t reduction_table[2][128][128];

// Fills the tables once at start-up.
void init_reduction_tables();
