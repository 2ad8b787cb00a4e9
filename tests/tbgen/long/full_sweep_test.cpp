// Every legal position of every three- and four-man signature, both sides to move, on the
// tables the engine carries: the probes give the generator's values (and so the published
// tables' values, which the tablebase suite holds to the same generator), and agree one ply
// deep with the rules of chess. Long: run with ctest -L long.
#include <gtest/gtest.h>

#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/probe_cache.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class OurTablesFull : public EmbeddedTablesTest, public testing::WithParamInterface<std::string> {};

TEST_P(OurTablesFull, EveryPositionGivesTheGeneratorsValues) { expect_every_position_agrees(GetParam(), true); }

TEST_P(OurTablesFull, EveryPositionAgreesWithItsMoves) {
  expect_no_faults(sweep_signature_cached(GetParam()), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Signatures, OurTablesFull, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
