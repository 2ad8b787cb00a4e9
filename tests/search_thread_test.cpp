// The root search on thread 0, run in this process: iterations, the claim of a depth,
// the root's hash entry, and the way out on a stop.
#include <gtest/gtest.h>

#include "board/movegen.h"
#include "board/move_text.h"
#include "helpers/search_fixture.h"
#include "helpers/stdout_capture.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"
#include "search/move_order.h"
#include "search/search_thread.h"

namespace {

// Thread 0 at the FEN with its root list, and the limits that think sets for go depth.
ThreadData& prepare(SearchBlock& block, const char* fen, int depth_limit) {
  ThreadData& thread = block.thread();
  set_search_position(thread, fen);
  thread.root_end = build_root_moves(thread, thread.root_moves);
  thread.result_word = 0;
  search_limits.depth_limit = depth_limit;
  search_limits.start_time = 0;
  search_limits.soft_deadline = INT64_MAX;
  search_limits.multipv_count = 1;
  search_limits.completed_depth = 0;
  search_limits.root_tb_score = SCORE_NONE;
  return thread;
}

TEST(SearchThread, FindsTheMateAndStoresTheRootAtEveryClaimedDepth) {
  SearchBlock block;
  ThreadData& thread = prepare(block, "6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", 4);
  Position* root = thread.current_position;
  const std::string output = captured_stdout([&] { search_thread(thread); });
  EXPECT_EQ(thread.current_position, root);
  char best[8];
  move_text(*root, thread.root_moves[0].move, best);
  EXPECT_STREQ(best, "a1a8");
  EXPECT_EQ(thread.root_scores[0], SCORE_MATE - 1);
  EXPECT_EQ(search_limits.completed_depth, 4);
  EXPECT_EQ(thread.result_word >> 24, 4u);
  EXPECT_EQ(int32_t((thread.result_word >> 8) & 0xFFFF) - 32767, SCORE_MATE - 1);
  uint64_t data;
  ASSERT_TRUE(probe_hash(root->key, data));
  EXPECT_EQ(hash_depth_code(data), 4 + 128);
  EXPECT_EQ(hash_bound(data), BOUND_EXACT);
  EXPECT_EQ(hash_move(data), short_move_of(thread.root_moves[0].move));
  EXPECT_EQ(hash_score(data), SCORE_MATE - 1);
  int lines = 0;
  for (size_t at = 0; (at = output.find("info multipv 1 depth ", at)) != std::string::npos; ++at) ++lines;
  EXPECT_EQ(lines, 4);
}

TEST(SearchThread, AStopBeforeTheFirstNodeLeavesTheListAsItWas) {
  SearchBlock block;
  ThreadData& thread = prepare(block, START_FEN, 10);
  const Move first = thread.root_moves[0].move;
  Position* root = thread.current_position;
  search_limits.stop_flag = 1;
  EXPECT_TRUE(captured_stdout([&] { search_thread(thread); }).empty());
  EXPECT_EQ(thread.current_position, root);
  EXPECT_EQ(thread.result_word, 0u);
  EXPECT_EQ(thread.nodes, 0);
  EXPECT_EQ(thread.root_moves[0].move, first);
  EXPECT_EQ(search_limits.completed_depth, 0);
}

TEST(SearchThread, ANodeLimitAbortsMidIterationAndKeepsTheFinishedPart) {
  SearchBlock block;
  ThreadData& thread = prepare(block, "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3", 127);
  Position* root = thread.current_position;
  search_limits.node_limit = search_limits.check_interval = search_limits.next_check = 20000;
  search_limits.hard_deadline = INT64_MAX;
  captured_stdout([&] { search_thread(thread); });
  EXPECT_EQ(thread.current_position, root);
  EXPECT_EQ(thread.nodes, 20000);
  // The word tells the depth finished, or the unfinished one once a root move of it is done.
  const int word_depth = int(thread.result_word >> 24);
  EXPECT_GE(search_limits.completed_depth, 3);
  EXPECT_GE(word_depth, search_limits.completed_depth);
  EXPECT_LE(word_depth, search_limits.completed_depth + 1);
  // Every legal move is still in the list once.
  ScoredMove legal[MAX_MOVES];
  EXPECT_EQ(generate_legal(*root, legal) - legal, thread.root_end - thread.root_moves);
}

}  // namespace
