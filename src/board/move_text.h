#pragma once
// Moves as coordinate text, both ways.
#include "board/move.h"
#include "board/position.h"

// Text of a move in the position where it is to be played: "e2e4", "e7e8q";
// a Chess960 castling reads as the king taking its own rook.
// Writes at most five characters and a terminating zero into text.
void move_text(const Position& pos, Move m, char* text);

// The move that the coordinate token names in pos, built without any legality test.
Move parse_move_token(const Position& pos, const char* token);
