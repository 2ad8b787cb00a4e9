// The tables the engine carries, made by our generator: the engine's probes on them agree
// with the generator's results and, one ply deep, with the rules of chess.
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

class OurTables : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (!shared_tables_embedded()) GTEST_SKIP() << "data/syzygy held no tables at configure time";
    reset_tables();
  }
};

TEST_P(OurTables, ProbesGiveTheGeneratorsValues) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(7);
  const ProbeComparison c = compare_probes(*thread, GetParam(), 400, true, random);
  EXPECT_GT(c.positions, 0);
  EXPECT_EQ(c.faults, 0);
  for (const std::string& f : c.first_faults) ADD_FAILURE() << f;
}

INSTANTIATE_TEST_SUITE_P(Signatures, OurTables, testing::ValuesIn(QUICK_SIGNATURES),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

class OurTablesOnePly : public OurTables {};

TEST_P(OurTablesOnePly, SampleAgreesWithItsMovesOnePlyDeep) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(11);
  const SweepResult r = sweep_signature(*thread, GetParam(), 300, random);
  EXPECT_GT(r.positions, 0);
  EXPECT_EQ(r.faults, 0);
  for (const std::string& f : r.first_faults) ADD_FAILURE() << f;
}

INSTANTIATE_TEST_SUITE_P(Signatures, OurTablesOnePly, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
