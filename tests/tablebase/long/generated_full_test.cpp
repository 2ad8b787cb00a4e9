// Every legal position of every three- and four-man signature, both sides to move: the
// published tables give our generator's values. Long: run with ctest -L long.
#include <gtest/gtest.h>

#include <cstdio>

#include "helpers/board_fixtures.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class PublishedTablesFull : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    REQUIRE_SHARED_TABLES();
    reset_tables();
  }
};

TEST_P(PublishedTablesFull, EveryPositionGivesTheGeneratorsValues) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 unused;
  const ProbeComparison c = compare_probes(*thread, GetParam(), 0, false, unused);
  EXPECT_GT(c.positions, 0);
  EXPECT_EQ(c.faults, 0);
  for (const std::string& f : c.first_faults) ADD_FAILURE() << f;
  std::printf("%s: %lld positions, %lld distances exact\n", GetParam().c_str(), (long long)c.positions,
              (long long)c.exact);
}

// The same walk for the win-draw-loss values alone: with the round trip of the writer,
// which decodes every stored value of our files, this proves our WDL files equal to the
// published ones everywhere.
TEST_P(PublishedTablesFull, EveryPositionGivesTheGeneratorsWdl) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 unused;
  const ProbeComparison c = compare_probes(*thread, GetParam(), 0, false, unused, true);
  EXPECT_GT(c.positions, 0);
  EXPECT_EQ(c.faults, 0);
  for (const std::string& f : c.first_faults) ADD_FAILURE() << f;
  std::printf("%s: %lld positions\n", GetParam().c_str(), (long long)c.positions);
}

INSTANTIATE_TEST_SUITE_P(Signatures, PublishedTablesFull, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
