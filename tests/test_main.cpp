// Builds the engine's constant tables once before any test runs.
#include <gtest/gtest.h>

#include "board/board_tables.h"
#include "protocol/engine_options.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  set_default_options(engine_options);
  init_board_tables();
  return RUN_ALL_TESTS();
}
