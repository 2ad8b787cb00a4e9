// The shared hash table: scores adjusted by ply, who may replace whom, keys of
// singular searches, and entries torn by two writers.
#include <gtest/gtest.h>

#include "helpers/search_fixture.h"
#include "protocol/search_limits.h"
#include "search/hash_store.h"

namespace {

constexpr uint64_t KEY = 0x9E3779B97F4A7C15ull;
constexpr uint32_t NEXT_SEARCH = 0x2000000;

int32_t score_at(uint64_t key) {
  uint64_t data = 0;
  EXPECT_TRUE(probe_hash(key, data));
  return hash_score(data);
}

TEST(HashTable, DecidedScoresCountFromTheEntrysPosition) {
  for (int sign : {1, -1}) {
    EXPECT_EQ(score_to_hash(sign * 31966, 9), sign * 31966);
    EXPECT_EQ(score_from_hash(sign * 31966, 9), sign * 31966);
    EXPECT_EQ(score_to_hash(sign * 31967, 9), sign * 31976);
    EXPECT_EQ(score_from_hash(sign * 31976, 9), sign * 31967);
  }
  SearchBlock block;
  // Mate at ply 9 stored from ply 7 reads, at ply 3, four plies nearer than a plain copy.
  store_search_entry(KEY, NODE_PV, 3, 0, BOUND_EXACT, SCORE_MATE - 9, 7, 0);
  EXPECT_EQ(score_at(KEY), SCORE_MATE - 2);
  EXPECT_EQ(score_from_hash(score_at(KEY), 3), SCORE_MATE - 5);
  store_search_entry(KEY, NODE_PV, 3, 0, BOUND_EXACT, 9 - SCORE_MATE, 7, 0);
  EXPECT_EQ(score_from_hash(score_at(KEY), 3), 5 - SCORE_MATE);
}

TEST(HashTable, TornEntryBelongsToNeitherKey) {
  SearchBlock block;
  const uint64_t other = KEY ^ ((search_limits.hash_mask + 1) << 3);  // same slot
  ASSERT_EQ(&hash_slot(KEY), &hash_slot(other));
  store_search_entry(KEY, NODE_PV, 5, 0, BOUND_EXACT, 10, 0, 0);
  const uint64_t check_of_first = hash_slot(KEY).hash_check.load();
  store_search_entry(other, NODE_PV, 6, 0, BOUND_LOWER, 20, 0, 0);
  hash_slot(KEY).hash_check.store(check_of_first);
  uint64_t data;
  EXPECT_FALSE(probe_hash(KEY, data));
  EXPECT_FALSE(probe_hash(other, data));
}

TEST(HashTable, StoreRulesOfEachWriter) {
  SearchBlock block;
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
  store_qsearch_entry(KEY, 128, 0, BOUND_EXACT, 53, 0, 0);
  EXPECT_EQ(score_at(KEY), 52);
  // The root overwrites; in the next search everything of this one gives way.
  store_root_entry(KEY, 1, 0, 54, 0);
  EXPECT_EQ(score_at(KEY), 54);
  search_limits.hash_generation += NEXT_SEARCH;
  store_qsearch_entry(KEY, 127, 0, BOUND_UPPER, 55, 0, 0);
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

}  // namespace
