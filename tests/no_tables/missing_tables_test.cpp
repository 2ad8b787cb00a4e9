// An engine that carries none of the 70 table files (a build whose table folder is empty): a
// signature whose file is missing fails its probes quietly, and the root filter leaves the
// list whole. This binary is built without tables, so the case always runs.
#include <gtest/gtest.h>

#include "board/movegen.h"
#include "helpers/board_fixtures.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/score.h"
#include "tablebase/embedded_tables.h"
#include "tablebase/index_tables.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"
#include "tablebase/root_filter.h"

TEST(MissingTables, ProbesOfAMissingEmbeddedFileFailAndTheRootListStaysWhole) {
  ASSERT_EQ(find_embedded_table("KQvK.rtbw"), nullptr) << "this binary is meant to carry no tables";
  tb_tables_init();
  EXPECT_EQ(tb_init("<empty>"), 4);
  EXPECT_EQ(table_registry.wdl_file_count, 35);
  for (int round = 0; round < 2; ++round) {
    auto thread = thread_at("4k3/8/8/8/8/8/8/3QK3 w - - 0 1");
    int success;
    probe_wdl(*thread, success);
    EXPECT_EQ(success, 0);
    thread->root_end = generate_legal(*thread->current_position, thread->root_moves);
    const ScoredMove* const end = thread->root_end;
    EXPECT_EQ(tb_root_filter(*thread, thread->root_moves, &thread->root_end), SCORE_NONE);
    EXPECT_EQ(thread->root_end, end);
  }
}
