// Perft from the command line:
//   perft "FEN" DEPTH [--chess960]                 counts below each root move, total, speed
//   perft --suite FILE [--max-nodes N] [--chess960] checks a suite; non-zero exit on a mismatch
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "board/board_tables.h"
#include "board/move_text.h"
#include "board/perft.h"
#include "common/perft_suite.h"
#include "protocol/engine_options.h"
#include "search/thread_data.h"

namespace {

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

int usage() {
  std::fprintf(stderr,
               "usage: perft \"FEN\" DEPTH [--chess960]\n"
               "       perft --suite FILE [--max-nodes N] [--chess960]\n");
  return 2;
}

int divide(ThreadData& thread, const char* fen, int depth) {
  set_position(thread, fen, nullptr);
  PerftDivideEntry entries[MAX_MOVES];
  const auto start = std::chrono::steady_clock::now();
  const int count = depth >= 1 ? perft_divide(thread, depth, entries) : 0;
  const double seconds = seconds_since(start);
  uint64_t total = depth >= 1 ? 0 : 1;
  char text[8];
  for (int i = 0; i < count; ++i) {
    move_text(*thread.current_position, entries[i].move, text);
    std::printf("%s: %llu\n", text, (unsigned long long)entries[i].nodes);
    total += entries[i].nodes;
  }
  std::printf("\nmoves %d\nnodes %llu\ntime %.3f s\nnps %.0f\n", count, (unsigned long long)total, seconds,
              seconds > 0 ? double(total) / seconds : 0.0);
  return 0;
}

int run_suite(ThreadData& thread, const char* path, uint64_t max_nodes) {
  std::vector<PerftSuiteLine> lines;
  if (!read_perft_suite(path, lines)) {
    std::fprintf(stderr, "cannot read %s\n", path);
    return 2;
  }
  int mismatches = 0, checks = 0;
  uint64_t total = 0;
  const auto start = std::chrono::steady_clock::now();
  for (const PerftSuiteLine& line : lines) {
    for (const PerftExpectation& e : perft_checks(line, max_nodes)) {
      set_position(thread, line.fen.c_str(), nullptr);
      const uint64_t got = perft(thread, e.depth);
      total += got;
      ++checks;
      if (got != e.nodes) {
        ++mismatches;
        std::printf("MISMATCH line %d: %s depth %d expected %llu got %llu\n", line.line_number, line.fen.c_str(),
                    e.depth, (unsigned long long)e.nodes, (unsigned long long)got);
      } else {
        std::printf("ok line %d depth %d %llu\n", line.line_number, e.depth, (unsigned long long)got);
      }
      std::fflush(stdout);
    }
  }
  const double seconds = seconds_since(start);
  std::printf("%d checks, %d mismatches, %llu nodes, %.3f s, %.0f nps\n", checks, mismatches,
              (unsigned long long)total, seconds, seconds > 0 ? double(total) / seconds : 0.0);
  return mismatches ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  set_default_options(engine_options);
  init_board_tables();
  const char* suite = nullptr;
  const char* fen = nullptr;
  const char* depth = nullptr;
  uint64_t max_nodes = 0;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--chess960")) {
      engine_options.UCI_Chess960 = true;
    } else if (!std::strcmp(argv[i], "--suite") && i + 1 < argc) {
      suite = argv[++i];
    } else if (!std::strcmp(argv[i], "--max-nodes") && i + 1 < argc) {
      max_nodes = std::strtoull(argv[++i], nullptr, 10);
    } else if (!fen) {
      fen = argv[i];
    } else if (!depth) {
      depth = argv[i];
    } else {
      return usage();
    }
  }
  // A ThreadData is megabytes: never on the stack.
  auto thread = std::make_unique<ThreadData>();
  if (suite) return run_suite(*thread, suite, max_nodes);
  if (!fen || !depth) return usage();
  return divide(*thread, fen, std::atoi(depth));
}
