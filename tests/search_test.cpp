// Searches in this process and the hash table they share: exact mate scores through the root
// search with the claim of each depth and the root's hash entry, draws by rule at any ply, the
// way out on a stop, and the root that the other threads copy; in the table, scores adjusted by
// ply, who may replace whom, keys of singular searches, entries torn by two writers, and the
// info line whose principal variation is read back from the table.
#include <gtest/gtest.h>

#include <string>

#include "board/move_text.h"
#include "board/movegen.h"
#include "eval/network.h"
#include "helpers/board_fixtures.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/saved_root.h"
#include "protocol/search_limits.h"
#include "search/hash_store.h"
#include "search/hash_table.h"
#include "search/print_info.h"
#include "search/reductions.h"
#include "search/root_moves.h"
#include "search/score.h"
#include "search/search.h"
#include "search/search_thread.h"

namespace {

// A fresh memory block of 16 MB with every limit open, the embedded network and the reduction tables.
struct SearchBlock {
  uint64_t large_page_bytes = 0;
  explicit SearchBlock(int threads = 1) {
    load_network(tesmar_embedded_network);
    init_reduction_tables();
    engine_options.Hash = 16;
    engine_options.Threads = threads;
    allocate_memory(large_page_bytes);
    search_limits.stop_flag = 0;
    search_limits.ponder_mode = PONDER_NONE;
    search_limits.node_limit = search_limits.hard_deadline = search_limits.soft_deadline = INT64_MAX;
    search_limits.check_interval = search_limits.next_check = INT64_MAX / 4;
    search_limits.tb_probe_limit = 0;
    search_limits.root_tb_score = SCORE_NONE;
    search_limits.game_last_move = search_limits.game_second_last_move = 0;
  }
  ~SearchBlock() { release_memory(large_page_bytes); }
  ThreadData& thread(int index = 0) { return search_limits.thread_blocks[index]; }
};

// Sets the thread to the FEN and moves, and clears the ply rows that a node reads
// before writing, so that search and qsearch may be called at any ply.
void set_search_position(ThreadData& thread, const char* fen, const char* moves = nullptr) {
  std::string buffer = moves ? moves : "";
  set_position(thread, fen, moves ? buffer.data() : nullptr);
  // The block is fresh memory: only the tables that learn were cleared.
  thread.nodes = 0;
  for (int i = 0; i < MAX_PLY; ++i) {
    thread.static_evals[i] = SCORE_NONE;
    thread.ply_records[i].acc_valid = 0;
  }
}

// Thread 0 at the FEN with its root list as think leaves it, to search to depth_limit showing one line.
ThreadData& prepare_root(SearchBlock& block, const char* fen, int depth_limit) {
  ThreadData& thread = block.thread();
  set_search_position(thread, fen);
  thread.root_end = build_root_moves(thread, thread.root_moves);
  thread.result_word = 0;
  search_limits.depth_limit = depth_limit;
  search_limits.start_time = 0;
  search_limits.multipv_count = 1;
  search_limits.completed_depth = 0;
  return thread;
}

// search_thread on the thread; returns what it printed.
std::string run_root_search(ThreadData& thread) {
  testing::internal::CaptureStdout();
  search_thread(thread);
  return testing::internal::GetCapturedStdout();
}

const char* const KIWIPETE = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";

TEST(Search, MatesAreFoundStoredAndPrintedWithTheWinnersMoveCount) {
  // Mate lengths checked with an outside engine; the side to move loses where N < 0.
  const struct {
    const char* fen;
    int depth, mate;
    const char* best;  // nullptr when several moves mate as fast
  } cases[] = {
      {"6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", 3, 1, "a1a8"},
      {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", 5, 2, "d5f6"},
      {"r5rk/5p1p/5R2/4B3/8/8/7P/7K w - - 0 1", 7, 3, "f6a6"},
      {"2r3k1/p4p2/3Rp2p/1p2P1pK/8/1P4P1/P3Q2P/1q6 b - - 0 1", 7, 3, "b1g6"},
      {"k7/8/8/8/8/3K4/1Q6/8 w - - 0 1", 14, 4, nullptr},
      {"7k/5K2/8/8/8/8/8/6R1 b - - 0 1", 4, -1, "h8h7"},
      {"r1b1k2r/pppp1ppp/5q2/2b1n3/3KP3/2N3PN/PPP4P/R1BQ1B1R w kq - 1 2", 6, -2, "d4c5"},
      {"k7/8/8/3K4/8/8/8/1R6 b - - 1 1", 10, -3, "a8a7"},
      {"k7/8/8/1K6/8/8/8/7R b - - 1 1", 14, -4, "a8b7"},
  };
  SearchBlock block;
  for (const auto& c : cases) {
    ThreadData& thread = prepare_root(block, c.fen, c.depth);
    Position* const root = thread.current_position;
    const std::string output = run_root_search(thread);
    ASSERT_EQ(thread.current_position, root) << c.fen;
    // Mate at ply p: SCORE_MATE - p for the winner, p - SCORE_MATE for the loser.
    const int32_t score = c.mate > 0 ? SCORE_MATE + 1 - 2 * c.mate : -SCORE_MATE - 2 * c.mate;
    EXPECT_EQ(thread.root_scores[0], score) << c.fen;
    char text[24];
    move_text(*root, thread.root_moves[0].move, text);
    EXPECT_STREQ(c.best ? text : nullptr, c.best) << c.fen;
    // One line per claimed depth; the root's entry is exact and holds the result.
    EXPECT_EQ(search_limits.completed_depth, c.depth);
    EXPECT_EQ(thread.result_word >> 8, make_result_word(c.depth, score, 0) >> 8) << c.fen;
    EXPECT_NE(output.find(" score mate " + std::to_string(c.mate) + " pv "), std::string::npos) << output;
    int lines = 0;
    for (size_t at = 0; (at = output.find("info multipv 1 depth ", at)) != std::string::npos; ++at) ++lines;
    EXPECT_EQ(lines, c.depth) << c.fen;
    uint64_t data;
    ASSERT_TRUE(probe_hash(root->key, data));
    EXPECT_EQ(data, make_hash_data(c.depth, short_move_of(thread.root_moves[0].move), BOUND_EXACT,
                                   search_limits.hash_generation, score, thread.static_evals[0]));
  }
}

TEST(Search, DrawsByRuleTakeTheSignOfTheirPly) {
  SearchBlock block;
  ThreadData& thread = block.thread();
  engine_options.DrawScore = 10;
  auto at = [&](const char* fen, const char* moves, int ply, int depth = 3) {
    set_search_position(thread, fen, moves);
    return search(thread, NODE_PV, ply, depth, -SCORE_INFINITE, SCORE_INFINITE, 0, 0, 0);
  };
  const char* back_and_forth = "g1f3 g8f6 f3g1 f6g8";
  EXPECT_EQ(at(START_FEN, back_and_forth, 3), -10);
  EXPECT_EQ(at(START_FEN, back_and_forth, 4), 10);
  EXPECT_EQ(thread.nodes, 1) << "a draw by rule ends the node before the hash probe";
  EXPECT_EQ(qsearch(thread, NODE_ALL, 7, -3, -100, 100, 0, 0), -10);
  const char* stalemate = "k7/8/1QK5/8/8/8/8/8 b - - 0 1";
  EXPECT_EQ(at(stalemate, nullptr, 0), 10);
  EXPECT_EQ(at(stalemate, nullptr, 1), -10);
  EXPECT_EQ(at("4k3/8/8/8/8/8/4Q3/4K3 b - - 100 90", nullptr, 1), -10) << "in check with a way out";
  // Mate on the hundredth half-move beats the fifty-move rule.
  EXPECT_EQ(at("R5k1/5ppp/8/8/8/8/8/6K1 b - - 100 90", nullptr, 3), 3 - SCORE_MATE);
  EXPECT_EQ(at("6k1/5ppp/8/8/8/8/8/R5K1 w - - 99 90", nullptr, 0), SCORE_MATE - 1);
  // One minor piece is a draw; two never are, not even a knight each.
  EXPECT_EQ(at("4k3/8/8/8/8/8/8/2B1K3 w - - 0 1", nullptr, 0), 10);
  at("4k1n1/8/8/8/8/8/8/1N2K3 w - - 0 1", nullptr, 0, 2);
  EXPECT_GT(thread.nodes, 1);
}

TEST(Search, StopsKeepTheRootAndTheFinishedPart) {
  SearchBlock block(2);
  ThreadData& thread = prepare_root(block, KIWIPETE, 127);
  Position* const root = thread.current_position;
  const Move first = thread.root_moves[0].move;
  search_limits.stop_flag = 1;  // before the first node: nothing printed, claimed or moved
  EXPECT_TRUE(run_root_search(thread).empty());
  EXPECT_TRUE(thread.current_position == root && thread.result_word == 0 && thread.root_moves[0].move == first);

  // The limit is met at a check only, once the count has reached it.
  search_limits.stop_flag = 0;
  search_limits.node_limit = search_limits.check_interval = search_limits.next_check = 20000;
  run_root_search(thread);
  EXPECT_EQ(thread.current_position, root);
  EXPECT_EQ(thread.nodes, 20000);
  // The word tells the depth finished, or the unfinished one once a root move of it is done.
  const int word_depth = int(thread.result_word >> 24);
  EXPECT_GE(search_limits.completed_depth, 3);
  EXPECT_GE(word_depth, search_limits.completed_depth);
  EXPECT_LE(word_depth, search_limits.completed_depth + 1);
  ScoredMove legal[MAX_MOVES];
  EXPECT_EQ(generate_legal(*root, legal) - legal, thread.root_end - thread.root_moves);

  // Only thread 0 looks at the limit; thread 1 starts from the saved root.
  search_limits.stop_flag = 0;
  search_limits.next_check = search_limits.node_limit = 0;
  search_limits.depth_limit = 4;
  search_limits.completed_depth = 0;
  save_root(thread);
  run_root_search(block.thread(1));
  EXPECT_EQ(search_limits.completed_depth, 4);
  EXPECT_EQ(block.thread(1).current_position->key, root->key);
}

TEST(Search, SavedRootHoldsTheRootListAndTheNewestHistoryThatFits) {
  for (int plies : {10, 255, 256, 400}) {
    auto from = thread_at(START_FEN);
    for (int i = 1; i <= plies; ++i) {  // positions told apart by their keys
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
    EXPECT_TRUE(std::equal(from->root_moves, from->root_end, to->root_moves, to->root_end,
                           [](ScoredMove a, ScoredMove b) { return a.move == b.move && a.score == b.score; }));
  }
}

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
