#pragma once
// ProbCut: a capture that wins enough material beats beta by a margin in a shallow
// search, which is taken as proof that the full search would cut off too.
#include "board/move.h"
#include "search/thread_data.h"

// True with the score when a capture proves the node; hash_move is the node's validated move.
bool probcut(ThreadData& thread, int ply, int depth, int32_t beta, Move hash_move, Move prev_move, int32_t& score);
