// Training data for the network, written as one file of 32-byte records:
//   datagen bootstrap --out FILE --positions N [--threads T] [--openings EPD] [--seed S]
//   datagen selfplay  --out FILE --positions N [--nodes K] [--threads T] [--openings EPD]
//                     [--random-plies R] [--chess960-share F] [--seed S] [--corpus GAMES.tgc]
//   datagen merge OUT IN [IN...]
//   datagen info FILE [FILE...]
//   datagen import-pgn --out FILE PGN [PGN...]
//   datagen pgn GAMES.tgc [GAMES.tgc...]
//   datagen import-records --out GAMES.tgc FILE [FILE...]
// bootstrap labels weighted-random games with a small hand-written teacher; selfplay
// labels the engine's own games with its search scores. A run appends to FILE until it
// holds N positions of its seed, so a stopped run goes on when run again. Progress goes
// to stderr.
#include <cstring>
#include <cstdio>
#include <string>
#include <vector>

#include "board/board_tables.h"
#include "datagen/bootstrap_game.h"
#include "datagen/datagen_options.h"
#include "datagen/file_commands.h"
#include "datagen/game_commands.h"
#include "datagen/selfplay_game.h"
#include "datagen/workers.h"
#include "eval/network.h"
#include "games/engine_search.h"
#include "games/start_positions.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/reductions.h"

namespace {

// FNV-1a of the network the games are played with: the journal names it, so that every
// run of a file can be traced to its network.
uint64_t network_fingerprint(const uint8_t* blob) {
  uint64_t h = 0xCBF29CE484222325ull;
  for (uint32_t i = 0; i < NETWORK_BLOB_SIZE; ++i) h = (h ^ blob[i]) * 0x100000001B3ull;
  return h;
}

std::string file_name(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// What the games of a seed depend on besides the seed, as the journal keeps it.
std::string run_settings(const DatagenOptions& options, size_t opening_count) {
  char text[512];
  const std::string openings =
      options.openings.empty() ? "startpos" : file_name(options.openings) + "/" + std::to_string(opening_count);
  if (options.mode == DatagenMode::SELFPLAY)
    std::snprintf(text, sizeof text, "selfplay nodes %lld random-plies %d chess960-share %g openings %s network %016llx",
                  (long long)options.nodes, options.random_plies, options.chess960_share, openings.c_str(),
                  (unsigned long long)network_fingerprint(tesmar_embedded_network));
  else
    std::snprintf(text, sizeof text, "bootstrap openings %s", openings.c_str());
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 2 && std::strcmp(argv[1], "merge") == 0) return merge_command(argc - 2, argv + 2);
  if (argc >= 2 && std::strcmp(argv[1], "info") == 0) return info_command(argc - 2, argv + 2);
  if (argc >= 2 && std::strcmp(argv[1], "import-pgn") == 0) return import_pgn_command(argc - 2, argv + 2);
  if (argc >= 2 && std::strcmp(argv[1], "pgn") == 0) return pgn_command(argc - 2, argv + 2);
  if (argc >= 2 && std::strcmp(argv[1], "import-records") == 0) return import_records_command(argc - 2, argv + 2);
  DatagenOptions options;
  std::string error;
  if (!parse_datagen_options(argc - 1, argv + 1, options, error)) {
    std::fprintf(stderr, "datagen: %s\n%s", error.c_str(), DATAGEN_USAGE);
    return 2;
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
  if (options.threads == 0) options.threads = available_cores();

  const bool selfplay = options.mode == DatagenMode::SELFPLAY;
  std::fprintf(stderr, "datagen: %s into %s, %lld positions of seed %llu, %d workers, ", selfplay ? "selfplay" : "bootstrap",
               options.out.c_str(), (long long)options.positions, (unsigned long long)options.seed, options.threads);
  if (openings.empty())
    std::fprintf(stderr, "from the start position\n");
  else
    std::fprintf(stderr, "%zu openings from %s\n", openings.size(), options.openings.c_str());
  const RunPlan plan{options.out, options.seed, options.positions, options.threads,
                     run_settings(options, openings.size()), options.corpus};
  if (selfplay) {
    const SelfplaySettings settings{options.nodes, options.random_plies, options.chess960_share};
    return run_workers(plan, prepare_engine,
                       [&openings, settings](GameBoard& game, SplitMixRng& rng, std::vector<TrainingRecord>& records,
                                             CorpusGame& played) {
                         return play_selfplay_game(game, openings, settings, rng, records, played);
                       });
  }
  // Bootstrap games are the teacher's, not the engine's: they stay out of the corpus.
  return run_workers(plan, [] {},
                     [&openings](GameBoard& game, SplitMixRng& rng, std::vector<TrainingRecord>& records, CorpusGame&) {
                       return play_bootstrap_game(game, openings, rng, records);
                     });
}
