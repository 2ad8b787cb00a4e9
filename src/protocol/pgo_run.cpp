#include "protocol/pgo_run.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "protocol/memory_block.h"
#include "protocol/read_loop.h"
#include "protocol/search_limits.h"
#include "protocol/think.h"
#include "search/node_check.h"
#include "search/root_moves.h"
#include "search/thread_data.h"

namespace {

// Quoted exactly: trailing blanks and the odd en-passant field belong to the run.
constexpr const char* PGO_POSITIONS[10] = {
    "1qr3k1/p3bppp/4pn2/1B2n3/N7/P3P2P/1P2QPP1/2R1B2K w - -",
    "2br2k1/r5p1/4p3/5p2/8/pP3B2/1q2RPPP/Q3R1K1 b - - ",
    "r5k1/5p2/7p/5qP1/1P1QR3/5P2/r4RK1/8 b - - ",
    "r4rk1/1p2bppp/p3bn2/8/Pq1BP3/1BN1Q3/1PP3PP/R3K2R w KQ - ",
    "r2qk2r/3nbpp1/2bBp2p/p3P3/1p6/8/PPPQBPPP/1NKR3R w kq - ",
    "3r4/3r2bk/1p4pp/pN2n3/P6P/4Q1P1/1P2B1K1/8 b - h3",
    "6k1/1b2bp2/p3p2p/4P1p1/1pr5/4BP1P/PP2N1P1/3R2K1 b - - ",
    "1rr3k1/1q3pp1/pnbQp2p/1p2P3/3B1P2/2PB4/P1P2RPP/R5K1 w - - ",
    "2r2rk1/p3qp1p/2b1pp1Q/2b5/1n6/2N2NP1/1P2PPBP/R2R2K1 w - - ",
    "8/p4k2/1p3r2/2pPnb2/2Pr3P/PPK3P1/4B1Q1/8 b - - ",
};

struct FixedRunResult {
  int64_t nodes;
  int64_t search_ms;  // the searches alone, not the allocations between them
};

FixedRunResult search_fixed_positions() {
  FixedRunResult result{0, 0};
  for (const char* fen : PGO_POSITIONS) {
    // A fresh block each time: empty hash table, empty histories.
    allocate_memory(front_end.large_page_bytes);
    ThreadData& thread = search_limits.thread_blocks[0];
    set_position(thread, fen, nullptr);
    thread.root_end = build_root_moves(thread, thread.root_moves);
    search_limits.ponder_mode.store(PONDER_NONE, std::memory_order_relaxed);
    search_limits.time_left = 4000000000;
    search_limits.time_increment = 0;
    search_limits.node_limit = INT64_MAX;
    search_limits.moves_to_go = 0;
    search_limits.depth_limit = 14;
    search_limits.game_moves = 0;
    search_limits.stop_flag.store(0, std::memory_order_relaxed);
    search_limits.EngineLock.lock();
    const int64_t start = now_ms();
    think();
    result.search_ms += now_ms() - start;
    result.nodes += thread.nodes;
  }
  return result;
}

}  // namespace

void pgo_run() {
  std::printf("Total nodes searched: %lld\n", static_cast<long long>(search_fixed_positions().nodes));
  std::fflush(stdout);
}

void bench_run() {
  const FixedRunResult run = search_fixed_positions();
  std::printf("Nodes searched: %lld\nNodes/second: %lld\n", static_cast<long long>(run.nodes),
              static_cast<long long>(run.nodes * 1000 / std::max(run.search_ms, int64_t(1))));
  std::fflush(stdout);
}
