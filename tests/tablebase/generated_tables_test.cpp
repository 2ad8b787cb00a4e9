// The published tables against our generator's results: WDL equal, DTZ equal in sign, and
// equal in plies where both store exact distances (within one ply elsewhere). The suite
// on our own files holds them to the same results, so the two sets agree.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "helpers/board_fixtures.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

TEST(PublishedTables, ProbesGiveTheGeneratorsValues) {
  REQUIRE_SHARED_TABLES();
  reset_tables();
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(5);
  for (const std::string& name : QUICK_SIGNATURES) {
    const ProbeComparison c = compare_probes(*thread, name, 400, false, random);
    EXPECT_GT(c.positions, 0) << name;
    EXPECT_EQ(c.faults, 0) << name;
    for (const std::string& f : c.first_faults) ADD_FAILURE() << f;
  }
}

}  // namespace
