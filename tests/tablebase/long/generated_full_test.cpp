// Every legal position of every three- and four-man signature, both sides to move, on the
// published tables: the probes give our generator's values. The one-ply check against the
// rules of chess runs on a sample of every signature in the quick suite: at every position
// it could only find what the generator and these files both got wrong. Long: run with
// ctest -L long.
#include <gtest/gtest.h>

#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

class PublishedTablesFull : public EmbeddedTablesTest, public testing::WithParamInterface<std::string> {};

TEST_P(PublishedTablesFull, EveryPositionGivesTheGeneratorsValues) { expect_every_position_agrees(GetParam(), false); }

INSTANTIATE_TEST_SUITE_P(Signatures, PublishedTablesFull, testing::ValuesIn(embedded_signatures()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
