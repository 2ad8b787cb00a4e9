// Builds the engine's constant tables once before any test runs; every test then finds
// the process-wide records as the one before it found them.
#include <gtest/gtest.h>

#include "board/board_tables.h"
#include "helpers/process_records.h"
#include "protocol/engine_options.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  set_default_options(engine_options);
  init_board_tables();
  testing::UnitTest::GetInstance()->listeners().Append(new ProcessRecordsRestorer);
  return RUN_ALL_TESTS();
}
