// Move generation speed: perft 6 of the start position and perft 5 of Kiwipete, one thread.
#include <chrono>
#include <cstdio>
#include <memory>

#include "board/board_tables.h"
#include "board/perft.h"
#include "protocol/engine_options.h"
#include "search/thread_data.h"

int main() {
  set_default_options(engine_options);
  init_board_tables();
  struct Case {
    const char* name;
    const char* fen;
    int depth;
  };
  const Case cases[] = {
      {"start", START_FEN, 6},
      {"kiwipete", "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 5},
  };
  auto thread = std::make_unique<ThreadData>();
  for (const Case& c : cases) {
    set_position(*thread, c.fen, nullptr);
    const auto start = std::chrono::steady_clock::now();
    const uint64_t nodes = perft(*thread, c.depth);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%-9s depth %d nodes %llu time %.3f s nps %.0f\n", c.name, c.depth, (unsigned long long)nodes,
                seconds, double(nodes) / seconds);
  }
  return 0;
}
