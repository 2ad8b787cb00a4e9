#pragma once
// Copy-make: a move writes the next slot of the thread's position stack; undo
// only steps current_position back.
#include "board/move.h"
#include "board/position.h"
#include "search/thread_data.h"

// Plays a legal move whose gives-check bit is right. With a delta, also records
// the feature changes for the network's accumulators.
void make_move(ThreadData& thread, Move m, FeatureDelta* delta);

// The pass of the null-move search; the caller clears the ply's delta.
void make_null_move(ThreadData& thread);

inline void undo_move(ThreadData& thread) { --thread.current_position; }
