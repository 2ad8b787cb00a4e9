#pragma once
// A slow move generator that shares nothing with the engine's: it reads the Position into a
// square-by-square board, tries every own piece on every square by the rules of chess, plays
// each candidate on a copy and asks a naive attack test about the king.
#include <vector>

#include "board/move.h"
#include "board/position.h"

// All legal moves in the engine's move-word form, the gives-check bit set by playing the move out.
std::vector<Move> reference_legal_moves(const Position& pos);

// Whether the side to move is in check, by the naive test.
bool reference_in_check(const Position& pos);
