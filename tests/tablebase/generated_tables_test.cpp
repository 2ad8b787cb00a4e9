// The published tables against our generator's results: WDL equal, DTZ equal in sign, and
// equal in plies where both store exact distances (within one ply elsewhere). The suite
// on our own files holds them to the same results, so the two sets agree.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

TEST(PublishedTables, ProbesGiveTheGeneratorsValues) {
  REQUIRE_SHARED_TABLES();
  reset_tables();
  expect_quick_signatures_agree(false, 5);
}

}  // namespace
