// Training data for the network, written as one file of 32-byte records:
//   datagen bootstrap --out FILE --positions N [--threads T] [--openings EPD] [--seed S]
//   datagen selfplay  --out FILE --positions N [--nodes K] [--threads T] [--openings EPD]
//                     [--random-plies R] [--chess960-share F] [--seed S]
// bootstrap labels weighted-random games with a small hand-written teacher; selfplay
// labels the engine's own games with its search scores. Progress goes to stderr.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "board/board_tables.h"
#include "datagen/bootstrap_game.h"
#include "datagen/datagen_options.h"
#include "datagen/engine_search.h"
#include "datagen/selfplay_game.h"
#include "datagen/start_positions.h"
#include "datagen/workers.h"
#include "eval/network.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/reductions.h"

namespace {

// Plays games of one kind until the worker's share is written.
template <typename PlayGame>
bool play_until_done(WorkerTask& task, PlayGame play) {
  GameBoard game;
  std::vector<TrainingRecord> records;
  while (task.written < task.target) {
    const int result = play(game, records);
    if (!write_game(task, records, result)) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  DatagenOptions options;
  std::string error;
  if (!parse_datagen_options(argc - 1, argv + 1, options, error)) {
    std::fprintf(stderr, "datagen: %s\n%s", error.c_str(), DATAGEN_USAGE);
    return 2;
  }
  // A long run is never overwritten: more data goes into a new file.
  if (access(options.out.c_str(), F_OK) == 0) {
    std::fprintf(stderr, "datagen: %s exists; name a new file for each run\n", options.out.c_str());
    return 1;
  }
  // The opening check reads FENs with the board code, which needs its tables.
  set_default_options(engine_options);
  search_limits.hash_table = nullptr;
  search_limits.thread_blocks = nullptr;
  init_board_tables();
  init_reduction_tables();
  load_network(tesmar_embedded_network);
  check_network_header_or_exit(tesmar_embedded_network);
  std::vector<std::string> openings;
  if (!options.openings.empty() && !read_openings(options.openings, openings, error)) {
    std::fprintf(stderr, "datagen: %s\n", error.c_str());
    return 1;
  }
  if (!options.seed_given)
    options.seed = uint64_t(std::chrono::steady_clock::now().time_since_epoch().count());

  const bool selfplay = options.mode == DatagenMode::SELFPLAY;
  std::fprintf(stderr, "datagen: %s, %lld positions, %d workers, seed %llu, ", selfplay ? "selfplay" : "bootstrap",
               (long long)options.positions, options.threads, (unsigned long long)options.seed);
  if (openings.empty())
    std::fprintf(stderr, "from the start position\n");
  else
    std::fprintf(stderr, "%zu openings from %s\n", openings.size(), options.openings.c_str());
  WorkerBody body;
  if (selfplay) {
    const SelfplaySettings settings{options.nodes, options.random_plies, options.chess960_share};
    body = [&openings, settings](WorkerTask& task) {
      prepare_engine();
      return play_until_done(task, [&](GameBoard& game, std::vector<TrainingRecord>& records) {
        return play_selfplay_game(game, openings, settings, task.rng, records);
      });
    };
  } else {
    body = [&openings](WorkerTask& task) {
      return play_until_done(task, [&](GameBoard& game, std::vector<TrainingRecord>& records) {
        return play_bootstrap_game(game, openings, task.rng, records);
      });
    };
  }
  return run_workers(options.out, options.positions, options.threads, options.seed, body);
}
