#pragma once
// Counting the leaves of the move tree: the check of generators, legality and make_move together.
#include <cstdint>

#include "board/move.h"

struct ThreadData;

// Leaves below the thread's current position at the given depth, walked through the
// search's own stages and filters.
uint64_t perft(ThreadData& thread, int depth);

struct PerftDivideEntry {
  Move move;  // gives-check bit exact
  uint64_t nodes;
};

// Perft of depth - 1 below each legal root move, in generation order (depth >= 1).
// entries needs room for MAX_MOVES; returns the number of root moves.
int perft_divide(ThreadData& thread, int depth, PerftDivideEntry* entries);
