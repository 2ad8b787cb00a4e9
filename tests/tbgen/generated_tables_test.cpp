// The tables the engine carries, made by our generator: the engine's probes on them agree
// with the generator's results and, one ply deep, with the rules of chess.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "helpers/board_fixtures.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/probe_cache.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class OurTables : public testing::Test {
 protected:
  void SetUp() override {
    if (!shared_tables_embedded()) GTEST_SKIP() << "data/syzygy held no tables at configure time";
    reset_tables();
  }
};

TEST_F(OurTables, ProbesGiveTheGeneratorsValues) { expect_quick_signatures_agree(true, 7); }

class OurTablesOnePly : public OurTables, public testing::WithParamInterface<std::string> {};

TEST_P(OurTablesOnePly, SampleAgreesWithItsMovesOnePlyDeep) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 random(11);
  const SweepResult r = sweep_signature(*thread, GetParam(), 300, random);
  EXPECT_GT(r.positions, 0);
  EXPECT_EQ(r.faults, 0);
  for (const std::string& f : r.first_faults) ADD_FAILURE() << f;
}

// The long walk reads children from cached probes: they must be the children's own
// probes, through promotions into four other tables and both boards' orientations.
TEST_F(OurTables, CachedWalkReadsEveryChildAsItsProbe) {
  const SweepResult r = sweep_signature_cached("KPvK", 2, true);
  EXPECT_GT(r.positions, 100000);
  EXPECT_EQ(r.faults, 0);
  for (const std::string& f : r.first_faults) ADD_FAILURE() << f;
}

INSTANTIATE_TEST_SUITE_P(Signatures, OurTablesOnePly, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
