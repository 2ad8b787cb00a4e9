#pragma once
// The 960 start positions of Chess960, by their standard number 0..959.
#include <string>

// FEN of start position `number` (518 is the classical one), castling rights named by rook
// files ("HAha"), White to move.
std::string chess960_start_fen(int number);
