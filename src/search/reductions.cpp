#include "search/reductions.h"

#include <cmath>

int32_t reduction_table[2][128][128];

// Non-PV nodes reduce a little more than PV nodes; row 0 and column 0 stay 0.
void init_reduction_tables() {
  for (int d = 1; d < 128; ++d)
    for (int c = 1; c < 128; ++c) {
      reduction_table[0][d][c] = int32_t((std::log(double(d)) * 18.0) * std::log(double(c)));
      reduction_table[1][d][c] = int32_t((std::log(double(d)) * 15.0) * std::log(double(c)));
    }
}
