#pragma once
// Thread 0's root as think leaves it: the position history and the root list, copied
// by the other search threads when they start.
#include "board/move.h"
#include "board/position.h"

struct ThreadData;

constexpr int SAVED_ROOT_SLOTS = 256;

struct SavedRoot {
  Position position_stack[SAVED_ROOT_SLOTS];
  Position* current_position;  // the root, the top of the copied history
  ScoredMove root_moves[MAX_MOVES];
  ScoredMove* root_end;
};

extern SavedRoot saved_root;

// Copies thread 0's history up to its current position, only the newest slots when it
// is longer than the room, and its root list.
void save_root(const ThreadData& thread);

// Puts the saved history at the bottom of the thread's stack and takes the root list.
void load_saved_root(ThreadData& thread);
