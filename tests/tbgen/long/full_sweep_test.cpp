// Every legal position of every three- and four-man signature, both sides to move, on the
// tables the engine carries: the probes give the generator's values (and so the published
// tables' values, which the tablebase suite holds to the same generator), and agree one ply
// deep with the rules of chess. Long: run with ctest -L long.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "helpers/board_fixtures.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/probe_cache.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class OurTablesFull : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (!shared_tables_embedded()) GTEST_SKIP() << "data/syzygy held no tables at configure time";
    reset_tables();
  }
};

TEST_P(OurTablesFull, EveryPositionGivesTheGeneratorsValues) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 unused;
  const ProbeComparison c = compare_probes(*thread, GetParam(), 0, true, unused);
  EXPECT_GT(c.positions, 0);
  EXPECT_EQ(c.faults, 0);
  for (const std::string& f : c.first_faults) ADD_FAILURE() << f;
  std::printf("%s: %lld positions, %lld distances exact\n", GetParam().c_str(), (long long)c.positions,
              (long long)c.exact);
}

TEST_P(OurTablesFull, EveryPositionAgreesWithItsMoves) {
  const SweepResult r = sweep_signature_cached(GetParam(), int(std::max(1u, std::thread::hardware_concurrency())));
  EXPECT_GT(r.positions, 0);
  EXPECT_EQ(r.faults, 0);
  for (const std::string& f : r.first_faults) ADD_FAILURE() << f;
}

// Pawns on both sides: every position of KPvKP against its colours exchanged.
TEST(RetrogradeFull, PawnsOfBothSidesExchangeColours) { EXPECT_EQ(colour_exchange_fault("KPvKP", 1), ""); }

INSTANTIATE_TEST_SUITE_P(Signatures, OurTablesFull, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
