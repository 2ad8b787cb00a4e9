#include "openings.h"

#include <cstring>
#include <fstream>
#include <sstream>

#include "board/fen_check.h"
#include "board/movegen.h"

const std::vector<std::string> BUILT_IN_CHESS960_STARTS = {
    "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1",
    "nbqrbnkr/pppppppp/8/8/8/8/PPPPPPPP/NBQRBNKR w HDhd - 0 1",
    "rkbnnqrb/pppppppp/8/8/8/8/PPPPPPPP/RKBNNQRB w GAga - 0 1",
    "nnrkrbbq/pppppppp/8/8/8/8/PPPPPPPP/NNRKRBBQ w ECec - 0 1",
    "qrbkrnnb/pppppppp/8/8/8/8/PPPPPPPP/QRBKRNNB w EBeb - 0 1",
    "brnqknrb/pppppppp/8/8/8/8/PPPPPPPP/BRNQKNRB w GBgb - 0 1",
};

std::vector<std::string> read_epd_openings(const std::string& path, bool chess960, int& skipped) {
  std::vector<std::string> fens;
  skipped = 0;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    std::string field[6];
    int count = 0;
    while (count < 6 && words >> field[count]) ++count;
    if (count == 0 || field[0][0] == '#') continue;
    if (count < 4) {
      ++skipped;
      continue;
    }
    std::string fen = field[0] + " " + field[1] + " " + field[2] + " " + field[3];
    const bool counters = count == 6 && field[4].find_first_not_of("0123456789") == std::string::npos &&
                          field[5].find_first_not_of("0123456789") == std::string::npos;
    fen += counters ? " " + field[4] + " " + field[5] : " 0 1";
    if (fen_check(fen.c_str())) {
      ++skipped;
      continue;
    }
    std::vector<char> text(fen.begin(), fen.end());
    text.push_back(0);
    drop_unusable_rights(text.data(), chess960);
    fens.emplace_back(text.data());
  }
  return fens;
}

bool start_opening(GameRecord& game, const std::string& fen, int plies, SplitMixRng& rng) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    start_game(game, fen);
    bool ended = false;
    for (int ply = 0; ply < plies && !ended; ++ply) {
      ScoredMove list[MAX_MOVES];
      const int count = int(generate_legal(current_position(game), list) - list);
      play_move(game, list[rng.below(count)].move);
      ended = game_end(game) != GameEnd::NONE;
    }
    if (!ended && game_end(game) == GameEnd::NONE) return true;
  }
  return false;
}
