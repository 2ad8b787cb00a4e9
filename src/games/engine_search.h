#pragma once
// The engine's own search, run in this process on one thread with a node limit: the moves
// of datagen's games and the verdicts of genfens. The search state is process-wide, so
// each datagen worker is a process of its own.
#include <cstdint>

#include "board/move.h"
#include "games/game_board.h"

struct EngineAnswer {
  Move move;      // 0 when the position has no legal move
  int32_t score;  // side to move's view
};

// A small memory block (16 MB of hash, one thread) for this process.
void prepare_engine();

// Empties the hash table and the history tables, as a new game does.
void clear_engine();

// Searches the current position of game, with its history for repetitions, for `nodes`
// nodes. Whatever think prints goes to standard output.
EngineAnswer engine_search(const GameBoard& game, int64_t nodes);
