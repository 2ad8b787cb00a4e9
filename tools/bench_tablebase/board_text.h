#pragma once
// FEN text of a board given square by square, for tools and tests that place men directly.
#include <string>

// board[s] is the FEN letter of the man on square s (a1 = 0), or 0 for an empty square;
// no castling rights and no en-passant square.
std::string fen_of_board(const char* board, bool black_to_move, int rule50 = 0);
