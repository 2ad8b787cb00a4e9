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

// Signatures whose solving, smaller tables included, takes seconds; the long checks walk
// all 35.
const std::vector<std::string> QUICK_SIGNATURES = {"KQvK",  "KRvK",  "KPvK",  "KBvKN", "KNvKN",
                                                   "KRvKR", "KRvKB", "KBBvK", "KBNvK"};

class PublishedTables : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    REQUIRE_SHARED_TABLES();
    reset_tables();
  }
};

TEST_P(PublishedTables, ProbesGiveTheGeneratorsValues) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(5);
  const ProbeComparison c = compare_probes(*thread, GetParam(), 400, false, random);
  EXPECT_GT(c.positions, 0);
  EXPECT_EQ(c.faults, 0);
  for (const std::string& f : c.first_faults) ADD_FAILURE() << f;
}

INSTANTIATE_TEST_SUITE_P(Signatures, PublishedTables, testing::ValuesIn(QUICK_SIGNATURES),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
