#include "games/start_positions.h"

#include <fstream>
#include <sstream>

#include "board/fen_check.h"
#include "board/movegen.h"
#include "games/chess960_start.h"
#include "protocol/engine_options.h"

namespace {

constexpr int RANDOM_OPENING_TRIES = 100;

bool all_digits(const std::string& s) { return s.find_first_not_of("0123456789") == std::string::npos; }

// Sets game to fen and plays plies random legal moves after which the game goes on.
// Tries again from fen a few times; false when every try ended the game.
bool start_with_random_plies(GameBoard& game, const char* fen, int plies, SplitMixRng& rng) {
  for (int attempt = 0; attempt < RANDOM_OPENING_TRIES; ++attempt) {
    start_board(game, fen);
    bool ended = game_end_by_rule(game) != GameEnd::NONE;
    for (int i = 0; i < plies && !ended; ++i) {
      ScoredMove list[MAX_MOVES];
      const int count = int(generate_legal(board_position(game), list) - list);
      play_board_move(game, list[rng.below(count)].move);
      ended = game_end_by_rule(game) != GameEnd::NONE;
    }
    if (!ended) return true;
  }
  return false;
}

}  // namespace

bool read_openings(const std::string& path, std::vector<std::string>& fens, std::string& error) {
  std::ifstream in(path);
  if (!in) {
    error = "can't read " + path;
    return false;
  }
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    std::string field[6];
    int count = 0;
    while (count < 6 && words >> field[count]) ++count;
    if (count < 4 || field[0][0] == '#') continue;
    std::string fen = field[0] + " " + field[1] + " " + field[2] + " " + field[3];
    fen += count == 6 && all_digits(field[4]) && all_digits(field[5]) ? " " + field[4] + " " + field[5] : " 0 1";
    if (fen_check(fen.c_str())) continue;
    std::vector<char> text(fen.begin(), fen.end());
    text.push_back(0);
    drop_unusable_rights(text.data(), false);
    fens.emplace_back(text.data());
  }
  if (fens.empty()) error = "no usable position in " + path;
  return !fens.empty();
}

const char* pick_opening(const std::vector<std::string>& fens, SplitMixRng& rng) {
  return fens.empty() ? START_FEN : fens[size_t(rng.below(int(fens.size())))].c_str();
}


GameStart start_random_game(GameBoard& game, const std::vector<std::string>& openings, int random_plies,
                            double chess960_share, SplitMixRng& rng) {
  const bool chess960 = rng.uniform() < chess960_share;
  const std::string fen = chess960 ? chess960_start_fen(rng.below(960)) : pick_opening(openings, rng);
  engine_options.UCI_Chess960 = chess960;
  if (start_with_random_plies(game, fen.c_str(), random_plies, rng)) return {chess960, random_plies};
  start_board(game, fen.c_str());
  return {chess960, 0};
}
