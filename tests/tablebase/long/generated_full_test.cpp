// Every legal position of every three- and four-man signature, both sides to move, on the
// published tables: the probes give our generator's values, and agree one ply deep with the
// rules of chess. Long: run with ctest -L long.
#include <gtest/gtest.h>

#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/probe_cache.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class PublishedTablesFull : public EmbeddedTablesTest, public testing::WithParamInterface<std::string> {};

TEST_P(PublishedTablesFull, EveryPositionGivesTheGeneratorsValues) { expect_every_position_agrees(GetParam(), false); }

TEST_P(PublishedTablesFull, EveryPositionAgreesWithItsMoves) {
  expect_no_faults(sweep_signature_cached(GetParam()), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Signatures, PublishedTablesFull, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
