// The tables the engine carries, made by our generator: the engine's probes on them agree
// with the generator's results and, one ply deep, with the rules of chess.
#include <gtest/gtest.h>

#include "tablebase/helpers/generated_tables.h"
#include "tablebase/helpers/tb_fixtures.h"

namespace {

using OurTables = EmbeddedTablesTest;

TEST_F(OurTables, ProbesGiveTheGeneratorsValues) { expect_quick_signatures_agree(true, 7); }

TEST_F(OurTables, SampleOfEverySignatureAgreesWithItsMovesOnePlyDeep) { expect_embedded_signatures_agree(300, 11); }

}  // namespace
