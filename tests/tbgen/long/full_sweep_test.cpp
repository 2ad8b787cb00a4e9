// Every legal position of every three- and four-man signature, both sides to move, on the
// tables the engine carries: the probes give the generator's values exactly (and so the
// published tables' values, which the tablebase suite holds to the same generator). Long:
// run with ctest -L long.
#include <gtest/gtest.h>

#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class OurTablesFull : public EmbeddedTablesTest, public testing::WithParamInterface<std::string> {};

TEST_P(OurTablesFull, EveryPositionGivesTheGeneratorsValues) { expect_every_position_agrees(GetParam(), true); }

INSTANTIATE_TEST_SUITE_P(Signatures, OurTablesFull, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
