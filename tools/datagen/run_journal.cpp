#include "datagen/run_journal.h"

#include <cinttypes>
#include <cstdio>
#include <sstream>

namespace {

// One game line; false when the line isn't a whole one.
bool parse_game(const std::string& line, uint64_t& seed, int& stream, int64_t& game, int64_t& positions, int& result,
                int64_t& end) {
  int used = 0;
  const int fields = std::sscanf(line.c_str(), "game %" SCNu64 " %d %" SCNd64 " %" SCNd64 " %d %" SCNd64 "%n", &seed,
                                 &stream, &game, &positions, &result, &end, &used);
  return fields == 6 && size_t(used) == line.size() && stream >= 0 && game >= 0 && positions >= 0 && result >= -1 &&
         result <= 1;
}

}  // namespace

bool read_journal(const std::string& text, int64_t data_records, JournalState& state, std::string& error) {
  state = JournalState{};
  size_t at = 0;
  for (size_t newline; (newline = text.find('\n', at)) != std::string::npos; at = newline + 1) {
    const std::string line = text.substr(at, newline - at);
    if (line.rfind("run ", 0) == 0) {
      std::istringstream words(line.substr(4));
      uint64_t seed;
      std::string settings;
      if (!(words >> seed) || !std::getline(words >> std::ws, settings)) break;
      SeedProgress& progress = state.seeds[seed];
      if (progress.settings.empty()) progress.settings = settings;
    } else if (line.rfind("game ", 0) == 0) {
      uint64_t seed;
      int stream, result;
      int64_t game, positions, end;
      if (!parse_game(line, seed, stream, game, positions, result, end)) break;
      if (end != state.records + positions || end > data_records) break;
      SeedProgress& progress = state.seeds[seed];
      int64_t& next = progress.next_game[stream];
      if (game != next) {
        error = "game " + std::to_string(game) + " of stream " + std::to_string(stream) + " of seed " +
                std::to_string(seed) + " follows game " + std::to_string(next - 1) + " in the journal";
        return false;
      }
      ++next;
      ++progress.games;
      progress.positions += positions;
      ++(result > 0 ? progress.white_wins : result < 0 ? progress.black_wins : progress.draws);
      state.records = end;
    } else if (line.rfind("speed ", 0) == 0) {
      uint64_t seed;
      int workers;
      double positions, seconds, cpu_seconds;
      if (std::sscanf(line.c_str(), "speed %" SCNu64 " %d %lf %lf %lf", &seed, &workers, &positions, &seconds,
                      &cpu_seconds) != 5)
        break;
      SeedProgress& progress = state.seeds[seed];
      ++progress.runs;
      progress.run_positions += positions;
      progress.worker_seconds += seconds * workers;
      progress.cpu_seconds += cpu_seconds;
    } else if (!line.empty() && line[0] != '#') {
      break;
    }
    state.bytes = int64_t(newline + 1);
  }
  return true;
}

std::string run_line(uint64_t seed, const std::string& settings) {
  return "run " + std::to_string(seed) + " " + settings + "\n";
}

std::string game_line(uint64_t seed, int stream, int64_t game, int64_t positions, int result, int64_t end) {
  char line[160];
  std::snprintf(line, sizeof line, "game %" PRIu64 " %d %" PRId64 " %" PRId64 " %d %" PRId64 "\n", seed, stream, game,
                positions, result, end);
  return line;
}

std::string speed_line(uint64_t seed, int workers, int64_t positions, double seconds, double cpu_seconds) {
  char line[160];
  std::snprintf(line, sizeof line, "speed %" PRIu64 " %d %" PRId64 " %.1f %.1f\n", seed, workers, positions, seconds,
                cpu_seconds);
  return line;
}
