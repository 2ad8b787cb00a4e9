#include "bench_tablebase/board_text.h"

std::string fen_of_board(const char* board, bool black_to_move, int rule50) {
  std::string fen;
  for (int rank = 7; rank >= 0; --rank) {
    int empty = 0;
    for (int file = 0; file < 8; ++file) {
      const char c = board[8 * rank + file];
      if (!c) {
        ++empty;
        continue;
      }
      if (empty) fen += char('0' + empty);
      empty = 0;
      fen += c;
    }
    if (empty) fen += char('0' + empty);
    if (rank) fen += '/';
  }
  fen += black_to_move ? " b - - " : " w - - ";
  return fen + std::to_string(rule50) + " 1";
}
