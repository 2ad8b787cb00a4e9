// The full one-ply check: every legal position of every three- and four-man signature,
// both sides to move, against the rules of chess. Long: run with ctest -L long.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "tablebase/helpers/probe_cache.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class FullSweep : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    REQUIRE_SHARED_TABLES();
    reset_tables();
  }
};

TEST_P(FullSweep, EveryPositionAgreesWithItsMoves) {
  const SweepResult result =
      sweep_signature_cached(GetParam(), int(std::max(1u, std::thread::hardware_concurrency())));
  EXPECT_GT(result.positions, 0);
  EXPECT_EQ(result.faults, 0) << GetParam();
  for (const std::string& f : result.first_faults) ADD_FAILURE() << f;
  std::printf("%s: %lld positions\n", GetParam().c_str(), static_cast<long long>(result.positions));
}

INSTANTIATE_TEST_SUITE_P(Signatures, FullSweep, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
