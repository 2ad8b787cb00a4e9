// The root that think hands to the other search threads.
#include <gtest/gtest.h>

#include "board/movegen.h"
#include "helpers/board_fixtures.h"
#include "protocol/saved_root.h"

namespace {

TEST(SavedRoot, CopiesTheRootListAndTheNewestHistoryThatFits) {
  for (int plies : {10, 255, 256, 400}) {
    // A history whose positions are told apart by their keys.
    auto from = thread_at(START_FEN);
    for (int i = 1; i <= plies; ++i) {
      from->position_stack[i] = from->position_stack[0];
      from->position_stack[i].key = uint64_t(i);
    }
    from->current_position = from->position_stack + plies;
    from->root_end = generate_legal(*from->current_position, from->root_moves);
    from->root_moves[3].score = 77;
    save_root(*from);
    auto to = std::make_unique<ThreadData>();
    load_saved_root(*to);

    const int kept = std::min(plies + 1, SAVED_ROOT_SLOTS);
    ASSERT_EQ(to->current_position - to->position_stack, kept - 1) << plies;
    for (int i = 0; i < kept; ++i)
      EXPECT_EQ(to->position_stack[i].key, from->position_stack[plies + 1 - kept + i].key) << plies;
    ASSERT_EQ(to->root_end - to->root_moves, from->root_end - from->root_moves);
    for (long i = 0; i < from->root_end - from->root_moves; ++i) {
      EXPECT_EQ(to->root_moves[i].move, from->root_moves[i].move);
      EXPECT_EQ(to->root_moves[i].score, from->root_moves[i].score);
    }
  }
}

}  // namespace
