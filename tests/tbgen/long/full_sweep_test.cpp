// Every legal position of every three- and four-man signature, both sides to move, on the
// tables the engine carries: the probes give the generator's values (and so the published
// tables' values, which the tablebase suite holds to the same generator), and agree one ply
// deep with the rules of chess. Long: run with ctest -L long.
#include <gtest/gtest.h>

#include <cstdio>

#include "helpers/board_fixtures.h"
#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/probe_cache.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class OurTablesFull : public EmbeddedTablesTest, public testing::WithParamInterface<std::string> {};

TEST_P(OurTablesFull, EveryPositionGivesTheGeneratorsValues) {
  auto thread = thread_at(START_FEN);
  std::mt19937_64 unused;
  const ProbeComparison c = compare_probes(*thread, GetParam(), 0, true, unused);
  expect_no_faults(c, GetParam());
  std::printf("%s: %lld positions, %lld distances exact\n", GetParam().c_str(), (long long)c.positions,
              (long long)c.exact);
}

TEST_P(OurTablesFull, EveryPositionAgreesWithItsMoves) {
  expect_no_faults(sweep_signature_cached(GetParam()), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Signatures, OurTablesFull, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
