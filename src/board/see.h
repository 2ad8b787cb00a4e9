#pragma once
// Static exchange evaluation: the material outcome of the recaptures on a move's target.
#include "board/move.h"
#include "board/position.h"

struct ThreadData;

// What the move wins (positive) or loses for the side making it, in SEE_VALUES units,
// if both sides recapture with their least valuable piece and may stop at any time.
// Pins are ignored. Works for captures, promotions and quiet moves alike.
int see_position(const Position& pos, Move m);

// see_position on the thread's current position.
int see(const ThreadData& thread, Move m);
