// The info line: score forms, and the principal variation read back from the hash table.
#include <gtest/gtest.h>

#include <string>

#include "helpers/board_fixtures.h"
#include "helpers/stdout_capture.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "search/hash_table.h"
#include "search/print_info.h"

namespace {

TEST(ScoreText, MateNumbersCountTheWinnersMoves) {
  const std::pair<int32_t, const char*> cases[] = {
      {32765, "mate 1"},     {32763, "mate 2"},     {-32764, "mate -1"},  {-32762, "mate -2"},   {32526, "mate 120"},
      {31966, "mate 400"},   {31965, "cp 31965"},   {-31965, "cp -31965"}, {-31966, "mate -400"}, {0, "cp 0"}};
  for (const auto& [score, expected] : cases) {
    char text[24];
    score_text(score, text);
    EXPECT_STREQ(text, expected) << score;
  }
}

// A 1 MB table, and threads at positions whose lines are stored in it by hand.
class PrintInfo : public testing::Test {
 protected:
  void SetUp() override {
    set_default_options(engine_options);
    engine_options.Hash = 1;
    allocate_memory(large_page_bytes);
  }
  void TearDown() override {
    release_memory(large_page_bytes);
    set_default_options(engine_options);
  }
  // An entry with the move token for the position reached from fen by path.
  static void store(const char* fen, const char* path, const char* token, uint32_t bound = BOUND_EXACT) {
    auto at = thread_at(fen, path);
    const Move m = token ? move_named(*at->current_position, token) : 0;
    write_hash(at->current_position->key, make_hash_data(130, short_move_of(m), bound, 0, 0, 0));
  }
  static std::string line(ThreadData& thread, int32_t score, int32_t tb_score = SCORE_NONE, int64_t time = 0) {
    thread.root_scores[0] = score;
    Position* root = thread.current_position;
    std::string text = captured_stdout([&] { print_info(thread, 0, tb_score, time, 1234, 5, 7); });
    EXPECT_EQ(thread.current_position, root);
    return text;
  }
  static std::unique_ptr<ThreadData> root_at(const char* fen, const char* path, const char* first) {
    auto thread = thread_at(fen, path);
    thread->root_moves[0] = {0, move_named(*thread->current_position, first)};
    return thread;
  }
  uint64_t large_page_bytes = 0;
};

TEST_F(PrintInfo, TheLineFollowsExactEntriesWithPlayableMoves) {
  auto thread = root_at(START_FEN, nullptr, "e2e4");
  store(START_FEN, "e2e4", "e7e5");
  store(START_FEN, "e2e4 e7e5", "g1f3");
  store(START_FEN, "e2e4 e7e5 g1f3", "b8c6", BOUND_LOWER);
  EXPECT_EQ(line(*thread, 35),
            "info multipv 1 depth 7 time 0 nodes 1234 nps 1234000 tbhits 5 score cp 35 pv e2e4 e7e5 g1f3 \n");
  EXPECT_EQ(line(*thread, -20, SCORE_NONE, 99),
            "info multipv 1 depth 7 time 99 nodes 1234 nps 12340 tbhits 5 score cp -20 pv e2e4 e7e5 g1f3 \n");
  store(START_FEN, "e2e4 e7e5", "e1e3");  // not playable there
  EXPECT_NE(line(*thread, 35).find(" pv e2e4 e7e5 \n"), std::string::npos);
  store(START_FEN, "e2e4", nullptr);  // no move
  EXPECT_NE(line(*thread, 35).find(" pv e2e4 \n"), std::string::npos);
}

TEST_F(PrintInfo, ARepeatedPositionEndsTheLine) {
  // After f6g8 the start position stands again: its entry is not followed.
  store(START_FEN, nullptr, "e2e4");
  auto repeated = root_at(START_FEN, "g1f3 g8f6 f3g1", "f6g8");
  EXPECT_NE(line(*repeated, 0).find(" pv f6g8 \n"), std::string::npos);
  auto fresh = root_at("rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 3 2", nullptr, "f6g8");
  EXPECT_NE(line(*fresh, 0).find(" pv f6g8 e2e4 \n"), std::string::npos);
}

TEST_F(PrintInfo, TablebaseScoreStandsForEverySearchScoreButAMate) {
  auto thread = root_at("8/8/8/8/8/2k5/8/2K1R3 w - - 0 1", nullptr, "e1e2");
  EXPECT_NE(line(*thread, 12, 32526).find(" score mate 120 pv e1e2 \n"), std::string::npos);
  EXPECT_NE(line(*thread, -31965, 32526).find(" score mate 120 pv "), std::string::npos);
  EXPECT_NE(line(*thread, 32761, 32526).find(" score mate 3 pv "), std::string::npos);
}

}  // namespace
