// Fixed-depth search of one position on one thread, without the root driver: depths
// 1..N at ply 0 with the full window, one line per depth with score, nodes and time.
// Usage: bench_search [depth [fen]]; the start position to depth 10 by default.
#include <chrono>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include "board/board_tables.h"
#include "common/fixed_search.h"
#include "board/move_checks.h"
#include "board/move_text.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"
#include "search/reductions.h"
#include "search/search.h"

int main(int argc, char** argv) {
  set_default_options(engine_options);
  init_board_tables();
  init_reduction_tables();
  load_network(tesmar_embedded_network);
  const int depth = argc > 1 ? std::atoi(argv[1]) : 10;
  const char* fen = argc > 2 ? argv[2] : START_FEN;

  engine_options.Hash = 16;
  engine_options.Threads = 1;
  uint64_t large_page_bytes;
  ThreadData& thread = prepare_fixed_search(fen, 0, large_page_bytes);
  const auto start = std::chrono::steady_clock::now();
  for (int d = 1; d <= depth; ++d) {
    const int32_t score = search(thread, NODE_PV, 0, d, -SCORE_INFINITE, SCORE_INFINITE, 0, 0, 0);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    uint64_t data;
    const Move best = probe_hash(thread.current_position->key, data)
                          ? validate_hash_move(thread, hash_move(data)) : 0;
    char text[8] = "none";
    if (best) move_text(*thread.current_position, best, text);
    std::printf("depth %2d score %6d best %-5s nodes %10lld time %7.3f s nps %.0f\n", d, score, text,
                (long long)thread.nodes, seconds, double(thread.nodes) / seconds);
    std::fflush(stdout);
  }
  release_memory(large_page_bytes);
  return 0;
}
