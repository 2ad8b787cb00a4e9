#include "protocol/genfens_run.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>
#include <vector>

#include "board/fen_write.h"
#include "games/engine_search.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"
#include "games/start_positions.h"

namespace {

// Tries in a row that bring no new position before the run gives up: far more than a
// book of a few lines with random plies ever needs, and still only seconds of searching.
constexpr int GIVE_UP_TRIES = 1000;

// The FEN with the game's own move number, so that a game manager counts its moves on.
std::string fen_of(const GameBoard& game, bool chess960) {
  char text[FEN_BUFFER_SIZE];
  position_to_fen(board_position(game), text, chess960);
  std::string fen(text);
  return fen.substr(0, fen.rfind(' ') + 1) + std::to_string(game.ply / 2 + 1);
}

}  // namespace

bool parse_genfens(const char* text, GenfensRequest& request) {
  std::istringstream words(text);
  std::string command, seed_word, book_word;
  if (!(words >> command >> request.count >> seed_word >> request.seed >> book_word >> request.book)) return false;
  if (command != "genfens" || seed_word != "seed" || book_word != "book") return false;
  if (request.book == "None") request.book.clear();
  for (std::string word, value; words >> word >> value;) {
    if (word == "random-plies") request.random_plies = std::atoi(value.c_str());
    else if (word == "chess960-share") request.chess960_share = std::atof(value.c_str());
    else if (word == "nodes") request.nodes = std::atoll(value.c_str());
    else if (word == "max-score") request.max_score = std::atoi(value.c_str());
  }
  return true;
}

bool genfens_run(const GenfensRequest& request) {
  std::vector<std::string> openings;
  std::string error;
  if (!request.book.empty() && !read_openings(request.book, openings, error)) {
    std::printf("info string %s\n", error.c_str());
    std::fflush(stdout);
    return false;
  }
  // The judging searches print their info and bestmove lines as any search does: standard
  // output goes to /dev/null while they run, and the positions to the real one.
  std::fflush(stdout);
  FILE* out = fdopen(dup(STDOUT_FILENO), "w");
  if (!out) return false;
  const int null_fd = open("/dev/null", O_WRONLY);
  dup2(null_fd, STDOUT_FILENO);
  close(null_fd);

  prepare_engine();
  SplitMixRng rng{request.seed};
  GameBoard game;
  std::set<std::string> seen;  // FENs without their counters
  int64_t made = 0;
  for (int barren_tries = 0; made < request.count && barren_tries < GIVE_UP_TRIES;) {
    ++barren_tries;
    const GameStart start = start_random_game(game, openings, request.random_plies, request.chess960_share, rng);
    const std::string fen = fen_of(game, start.chess960);
    // A position already printed or already thrown away comes to the same verdict again.
    if (!seen.insert(fen.substr(0, fen.rfind(' ', fen.rfind(' ') - 1))).second) continue;
    // Each judgement on its own, as a new game's first search, so that it doesn't depend on
    // the positions tried before.
    clear_engine();
    const EngineAnswer answer = engine_search(game, request.nodes);
    if (answer.move == 0 || std::abs(answer.score) > request.max_score) continue;
    std::fprintf(out, "info string genfens %s\n", fen.c_str());
    std::fflush(out);
    ++made;
    barren_tries = 0;
  }
  if (made < request.count)
    std::fprintf(out, "info string only %lld of %lld positions: %d tries in a row brought no new one\n", (long long)made,
                 (long long)request.count, GIVE_UP_TRIES);
  std::fclose(out);
  return true;
}

bool genfens_command(const char* text) {
  GenfensRequest request;
  if (parse_genfens(text, request)) return genfens_run(request);
  std::printf("info string usage: genfens N seed S book <None|FILE> [random-plies R] [chess960-share F] [nodes K] "
              "[max-score M]\n");
  std::fflush(stdout);
  return false;
}
