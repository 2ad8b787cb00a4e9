// Speed of the endgame tables on one thread:
//   bench_tablebase [positions [depth]]
// WDL and DTZ probes per second over random legal positions of every embedded three- and
// four-man signature, tables warm; then a fixed-depth search of endgame positions with
// probing in the search on and off, to show what the tables cost (or save) there.
// Needs a build that carries the tables (-DTESMAR_SYZYGY=FOLDER).
#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench_tablebase/board_text.h"
#include "board/board_tables.h"
#include "common/fixed_search.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/reductions.h"
#include "search/score.h"
#include "search/search.h"
#include "tablebase/embedded_tables.h"
#include "tablebase/index_tables.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"

namespace {

using Clock = std::chrono::steady_clock;
double seconds_since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Processor time of this thread: on a shared machine the wall clock also counts other work.
double thread_seconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// A random legal position of the signature (left side White), as FEN.
std::string random_fen(const std::string& name, bool black_to_move, std::mt19937_64& random) {
  for (;;) {
    char board[64] = {};
    bool black = false, ok = true;
    for (char c : name) {
      if (c == 'v') {
        black = true;
        continue;
      }
      int s = int(random() % 64);
      if (board[s] || (c == 'P' && (s < 8 || s >= 56))) {
        ok = false;
        break;
      }
      board[s] = black ? char(c - 'A' + 'a') : c;
    }
    if (!ok) continue;
    const std::string fen = fen_of_board(board, black_to_move);
    // Legal: the side that has just moved is not in check, kings apart.
    Position pos;
    read_fen(pos, fen.c_str());
    flip_position(pos);
    if (checkers(pos) || (KING_ATTACKS[own_king_square(pos)] & pos.bb[KING] & enemy_pieces(pos))) continue;
    return fen;
  }
}

void bench_probes(ThreadData& thread, int count) {
  std::vector<std::string> names;
  for (const EmbeddedTable& t : EMBEDDED_TABLES)
    if (t.data && std::string(t.name).ends_with(".rtbw")) names.push_back(std::string(t.name, std::string(t.name).size() - 5));
  if (names.empty()) {
    std::printf("this build carries no tables: configure with -DTESMAR_SYZYGY=FOLDER\n");
    return;
  }
  std::mt19937_64 random(1);
  std::vector<Position> positions;
  for (int i = 0; i < count; ++i) {
    const std::string fen = random_fen(names[size_t(i) % names.size()], i & 1, random);
    set_position(thread, fen.c_str(), nullptr);
    positions.push_back(*thread.current_position);
  }
  for (int kind = 0; kind < 2; ++kind) {
    int64_t sum = 0, failed = 0;
    for (int pass = 0; pass < 2; ++pass) {  // the first pass sets the tables up
      const auto start = Clock::now();
      const double cpu_start = thread_seconds();
      for (const Position& p : positions) {
        thread.position_stack[0] = p;
        thread.current_position = thread.position_stack;
        int success;
        sum += kind == 0 ? probe_wdl(thread, success) : probe_dtz(thread, success);
        failed += success == 0;
      }
      if (pass == 1) {
        const double s = seconds_since(start), cpu = thread_seconds() - cpu_start;
        std::printf("%s probes: %d positions in %.3f s (%.3f s of processor time): %.2f million per second, "
                    "%.2f million per processor second (%lld failed, checksum %lld)\n",
                    kind == 0 ? "WDL" : "DTZ", count, s, cpu, count / s / 1e6, count / cpu / 1e6,
                    (long long)failed / 2, (long long)sum);
      }
    }
  }
}

void bench_search(int depth) {
  const char* const POSITIONS[] = {
      "8/8/3k4/8/2r5/3K4/8/1R2R3 b - - 0 1",       // KRRvKR
      "8/5k2/8/4P3/8/3K4/8/r6R w - - 0 1",         // KRPvKR
      "8/8/4k3/3p4/8/2N5/3K4/6B1 w - - 0 1",       // KBNvKP
      "6k1/5p2/8/8/8/8/1Q3K2/7q w - - 0 1",        // KQvKQP
      "8/8/8/2k5/8/2P5/1B1K4/4r3 w - - 0 1",       // KBPvKR
  };
  std::printf("search to depth %d, hash 16 MB, one thread:\n", depth);
  double total[2] = {};
  int64_t total_nodes[2] = {};
  for (const char* fen : POSITIONS) {
    for (int probing = 0; probing < 2; ++probing) {
      uint64_t large_page_bytes;
      ThreadData& thread = prepare_fixed_search(fen, probing ? search_limits.tb_largest : 0, large_page_bytes);
      const auto start = Clock::now();
      int32_t score = 0;
      for (int d = 1; d <= depth; ++d) score = search(thread, NODE_PV, 0, d, -SCORE_INFINITE, SCORE_INFINITE, 0, 0, 0);
      const double s = seconds_since(start);
      std::printf("  %-40s tables %-3s score %6d nodes %9lld tbhits %8lld time %6.3f s nps %.0f\n", fen,
                  probing ? "on" : "off", score, (long long)thread.nodes, (long long)thread.tb_hits, s,
                  double(thread.nodes) / s);
      total[probing] += s;
      total_nodes[probing] += thread.nodes;
      release_memory(large_page_bytes);
    }
  }
  std::printf("total: tables off %lld nodes %.3f s, tables on %lld nodes %.3f s\n", (long long)total_nodes[0], total[0],
              (long long)total_nodes[1], total[1]);
}

}  // namespace

int main(int argc, char** argv) {
  set_default_options(engine_options);
  init_board_tables();
  init_reduction_tables();
  load_network(tesmar_embedded_network);
  tb_tables_init();
  search_limits.tb_largest = tb_init("<empty>");
  const int count = argc > 1 ? std::atoi(argv[1]) : 200000;
  const int depth = argc > 2 ? std::atoi(argv[2]) : 16;
  engine_options.Hash = 16;
  engine_options.Threads = 1;
  {
    uint64_t large_page_bytes = 0;
    allocate_memory(large_page_bytes);
    bench_probes(search_limits.thread_blocks[0], count);
    release_memory(large_page_bytes);
  }
  bench_search(depth);
  return 0;
}
