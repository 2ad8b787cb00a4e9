#pragma once
// Standard algebraic notation (SAN), as PGN files from GUIs and tournament managers hold it:
// "Nf3", "exd5", "e8=Q+", "O-O", "Raxd1#". Squares are the true board's, whatever the frame.
#include <string>

#include "board/move.h"
#include "board/position.h"

// The SAN of a legal move of pos, with "+" or "#" as it gives check or mate.
std::string move_san(const Position& pos, Move m);

// The legal move of pos that a SAN token names, or 0 when none does or the token is
// ambiguous. Check and annotation marks are ignored; "0-0" is read as "O-O", and coordinate
// text ("e2e4", "e7e8q", a Chess960 castling as the king taking its rook) is read too.
Move move_of_san(const Position& pos, const std::string& token);
