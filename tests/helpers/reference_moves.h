#pragma once
// A slow move generator that shares nothing with the engine's: it reads the Position
// into a square-by-square board, tries every own piece on every square by the rules of
// chess, plays each candidate on a copy and asks a naive attack test about the king.
#include <vector>

#include "board/move.h"
#include "board/position.h"

// All legal moves in the engine's move-word form, with the gives-check bit set by
// playing the move out. Order: by from, then to, then promotion piece, castlings last.
std::vector<Move> reference_legal_moves(const Position& pos);

// Whether the move, played on a copy, leaves the enemy king attacked.
bool reference_gives_check(const Position& pos, Move m);

// Whether the side to move is in check, by the naive test.
bool reference_in_check(const Position& pos);
