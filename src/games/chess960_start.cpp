#include "games/chess960_start.h"

#include <cctype>

namespace {

// Where the two knights go among the five files left after bishops and queen.
constexpr int KNIGHT_PLACES[10][2] = {{0, 1}, {0, 2}, {0, 3}, {0, 4}, {1, 2},
                                      {1, 3}, {1, 4}, {2, 3}, {2, 4}, {3, 4}};

// Puts piece on the index-th still empty file.
void place_on_empty(char* rank, int index, char piece) {
  for (int f = 0; f < 8; ++f) {
    if (rank[f] != 0) continue;
    if (index-- == 0) {
      rank[f] = piece;
      return;
    }
  }
}

}  // namespace

std::string chess960_start_fen(int number) {
  char rank[8] = {};
  int n = number;
  rank[2 * (n % 4) + 1] = 'B';  // light-squared bishop: b, d, f or h
  n /= 4;
  rank[2 * (n % 4)] = 'B';  // dark-squared bishop: a, c, e or g
  n /= 4;
  place_on_empty(rank, n % 6, 'Q');
  n /= 6;
  // The right-hand knight first, so that the left-hand one's index still counts the same files.
  place_on_empty(rank, KNIGHT_PLACES[n][1], 'N');
  place_on_empty(rank, KNIGHT_PLACES[n][0], 'N');
  // Rook, king, rook on the last three files, left to right.
  place_on_empty(rank, 0, 'R');
  place_on_empty(rank, 0, 'K');
  place_on_empty(rank, 0, 'R');

  std::string white(rank, 8), black, white_rights, black_rights;
  for (int f = 7; f >= 0; --f) {
    if (rank[f] != 'R') continue;
    white_rights += char('A' + f);
    black_rights += char('a' + f);
  }
  for (char c : white) black += char(std::tolower(c));
  return black + "/pppppppp/8/8/8/8/PPPPPPPP/" + white + " w " + white_rights + black_rights + " - 0 1";
}
