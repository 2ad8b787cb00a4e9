// The shared hash table: scores adjusted by ply, who may replace whom, keys of singular
// searches, entries torn by two writers, and the info line whose principal variation is
// read back from the table.
#include <gtest/gtest.h>

#include <string>

#include "helpers/board_fixtures.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/hash_store.h"
#include "search/print_info.h"

namespace {

constexpr uint64_t KEY = 0x9E3779B97F4A7C15ull;
constexpr uint32_t NEXT_SEARCH = HASH_GENERATION_STEP;

// A 1 MB table that each test gives back.
class HashTable : public testing::Test {
 protected:
  void SetUp() override {
    engine_options.Hash = 1;
    allocate_memory(large_page_bytes);
  }
  void TearDown() override { release_memory(large_page_bytes); }
  uint64_t large_page_bytes = 0;
};

int32_t score_at(uint64_t key) {
  uint64_t data = 0;
  EXPECT_TRUE(probe_hash(key, data));
  return hash_score(data);
}

TEST_F(HashTable, DecidedScoresCountFromTheEntrysPositionAndTornEntriesMissBothKeys) {
  for (int sign : {1, -1}) {
    EXPECT_EQ(score_to_hash(sign * 31966, 9), sign * 31966);
    EXPECT_EQ(score_from_hash(sign * 31966, 9), sign * 31966);
    EXPECT_EQ(score_to_hash(sign * 31967, 9), sign * 31976);
    EXPECT_EQ(score_from_hash(sign * 31976, 9), sign * 31967);
  }
  // Mate at ply 9 stored from ply 7 reads, at ply 3, four plies nearer than a plain copy.
  store_search_entry(KEY, NODE_PV, 3, 0, BOUND_EXACT, SCORE_MATE - 9, 7, 0);
  EXPECT_EQ(score_at(KEY), SCORE_MATE - 2);
  EXPECT_EQ(score_from_hash(score_at(KEY), 3), SCORE_MATE - 5);
  store_search_entry(KEY, NODE_PV, 3, 0, BOUND_EXACT, 9 - SCORE_MATE, 7, 0);
  EXPECT_EQ(score_from_hash(score_at(KEY), 3), 5 - SCORE_MATE);

  // Two writers in the same slot: the check word of one, the data of the other.
  const uint64_t other = KEY ^ ((search_limits.hash_mask + 1) << 3);
  ASSERT_EQ(&hash_slot(KEY), &hash_slot(other));
  const uint64_t check_of_first = hash_slot(KEY).hash_check.load();
  store_search_entry(other, NODE_PV, 6, 0, BOUND_LOWER, 20, 0, 0);
  hash_slot(KEY).hash_check.store(check_of_first);
  uint64_t data;
  EXPECT_FALSE(probe_hash(KEY, data));
  EXPECT_FALSE(probe_hash(other, data));
}

TEST_F(HashTable, StoreRulesOfEachWriter) {
  search_limits.hash_generation = 3 * NEXT_SEARCH;
  // A same-search exact entry is safe from non-PV nodes, however deep, but not from PV nodes.
  store_search_entry(KEY, NODE_PV, 2, 0, BOUND_EXACT, 50, 0, 0);
  store_search_entry(KEY, NODE_CUT, 20, 0, BOUND_LOWER, 60, 0, 0);
  EXPECT_EQ(score_at(KEY), 50);
  store_search_entry(KEY, NODE_PV, 1, 0, BOUND_UPPER, 51, 0, 0);
  EXPECT_EQ(score_at(KEY), 51);
  // A shallow non-PV bound replaces a deep bound of this search.
  store_search_entry(KEY, NODE_ALL, 1, 0, BOUND_UPPER, 52, 0, 0);
  EXPECT_EQ(score_at(KEY), 52);
  // Quiescence never displaces a main-search entry of this search, whatever its bound.
  store_qsearch_entry(KEY, 0, 0, BOUND_EXACT, 53, 0, 0);
  EXPECT_EQ(score_at(KEY), 52);
  // The root overwrites; in the next search everything of this one gives way.
  store_root_entry(KEY, 1, 0, 54, 0);
  EXPECT_EQ(score_at(KEY), 54);
  search_limits.hash_generation += NEXT_SEARCH;
  store_qsearch_entry(KEY, -1, 0, BOUND_UPPER, 55, 0, 0);
  EXPECT_EQ(score_at(KEY), 55);
  store_search_entry(KEY, NODE_CUT, 1, 0, BOUND_LOWER, 56, 0, 0);
  EXPECT_EQ(score_at(KEY), 56);
  // 128 searches later the generation repeats and the entry counts as current again.
  store_search_entry(KEY, NODE_PV, 3, 0, BOUND_EXACT, 57, 0, 0);
  search_limits.hash_generation += 128 * NEXT_SEARCH;
  store_search_entry(KEY, NODE_CUT, 3, 0, BOUND_LOWER, 58, 0, 0);
  EXPECT_EQ(score_at(KEY), 57);
  // A singular search stores under a key of its own and leaves the position's entry alone.
  const uint64_t singular = excluded_move_key(KEY, make_move_word(KNIGHT, 6, 21));
  EXPECT_NE(singular, excluded_move_key(KEY, make_move_word(KNIGHT, 6, 23)));
  store_search_entry(singular, NODE_ALL, 3, 0, BOUND_UPPER, -40, 0, 0);
  EXPECT_EQ(score_at(KEY), 57);
  EXPECT_EQ(score_at(singular), -40);
}

TEST(ScoreText, MateNumbersCountTheWinnersMoves) {
  const std::pair<int32_t, const char*> cases[] = {
      {32765, "mate 1"},   {32763, "mate 2"},   {-32764, "mate -1"},   {-32762, "mate -2"},   {32526, "mate 120"},
      {31966, "mate 400"}, {31965, "cp 31965"}, {-31965, "cp -31965"}, {-31966, "mate -400"}, {0, "cp 0"}};
  for (const auto& [score, expected] : cases) {
    char text[24];
    score_text(score, text);
    EXPECT_STREQ(text, expected) << score;
  }
}

// An exact entry with the move token for the position reached from fen by path.
void store(const char* fen, const char* path, const char* token, uint32_t bound = BOUND_EXACT) {
  auto at = thread_at(fen, path);
  const Move m = token ? move_named(*at->current_position, token) : 0;
  write_hash(at->current_position->key, make_hash_data(2, short_move_of(m), bound, 0, 0, 0));
}

// The info line of a root whose first move is given; it must leave the root as it was.
std::string line(const char* fen, const char* path, const char* first, int32_t score, int32_t tb_score = SCORE_NONE,
                 int64_t time = 0) {
  auto thread = thread_at(fen, path);
  Position* root = thread->current_position;
  thread->root_moves[0] = {0, move_named(*root, first)};
  thread->root_scores[0] = score;
  testing::internal::CaptureStdout();
  print_info(*thread, 0, tb_score, time, 1234, 5, 7);
  EXPECT_EQ(thread->current_position, root);
  return testing::internal::GetCapturedStdout();
}

TEST_F(HashTable, InfoLineFollowsExactPlayableEntriesUpToARepetitionAndShowsTablebaseScores) {
  store(START_FEN, "e2e4", "e7e5");
  store(START_FEN, "e2e4 e7e5", "g1f3");
  store(START_FEN, "e2e4 e7e5 g1f3", "b8c6", BOUND_LOWER);
  EXPECT_EQ(line(START_FEN, nullptr, "e2e4", 35),
            "info multipv 1 depth 7 time 0 nodes 1234 nps 1234000 tbhits 5 score cp 35 pv e2e4 e7e5 g1f3 \n");
  EXPECT_EQ(line(START_FEN, nullptr, "e2e4", -20, SCORE_NONE, 99),
            "info multipv 1 depth 7 time 99 nodes 1234 nps 12340 tbhits 5 score cp -20 pv e2e4 e7e5 g1f3 \n");
  store(START_FEN, "e2e4 e7e5", "e1e3");  // not playable there
  EXPECT_NE(line(START_FEN, nullptr, "e2e4", 35).find(" pv e2e4 e7e5 \n"), std::string::npos);
  store(START_FEN, "e2e4", nullptr);  // no move
  EXPECT_NE(line(START_FEN, nullptr, "e2e4", 35).find(" pv e2e4 \n"), std::string::npos);
  // After f6g8 the start position stands again: its entry is followed only where it is no repetition.
  store(START_FEN, nullptr, "e2e4");
  EXPECT_NE(line(START_FEN, "g1f3 g8f6 f3g1", "f6g8", 0).find(" pv f6g8 \n"), std::string::npos);
  const char* knight_out = "rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 3 2";
  EXPECT_NE(line(knight_out, nullptr, "f6g8", 0).find(" pv f6g8 e2e4 \n"), std::string::npos);
  // A tablebase score stands in for every search score but a mate.
  const char* rook_up = "8/8/8/8/8/2k5/8/2K1R3 w - - 0 1";
  EXPECT_NE(line(rook_up, nullptr, "e1e2", 12, 32526).find(" score mate 120 pv e1e2 \n"), std::string::npos);
  EXPECT_NE(line(rook_up, nullptr, "e1e2", -31965, 32526).find(" score mate 120 pv "), std::string::npos);
  EXPECT_NE(line(rook_up, nullptr, "e1e2", 32761, 32526).find(" score mate 3 pv "), std::string::npos);
}

}  // namespace
