#pragma once
// The recursive alpha-beta search and the quiescence search at its leaves.
#include <cstdint>

#include "board/make_move.h"
#include "board/move.h"
#include "search/hash_table.h"
#include "search/score.h"
#include "search/thread_data.h"

int32_t search(ThreadData& thread, uint32_t node_type, int ply, int depth, int32_t alpha, int32_t beta,
               Move excluded_move, Move prev_move, Move prev_prev_move);

int32_t qsearch(ThreadData& thread, uint32_t node_type, int ply, int depth, int32_t alpha, int32_t beta,
                Move prev_move, Move prev_prev_move);

// Plays m at ply for a child search: the child's static evaluation is not known yet, and
// its accumulators wait for the feature changes recorded at ply.
inline void make_child_move(ThreadData& thread, int ply, Move m) {
  make_move(thread, m, &thread.ply_records[ply].delta);
  prefetch_hash(thread.current_position->key);
  thread.static_evals[ply + 1] = SCORE_NONE;
  thread.ply_records[ply + 1].acc_valid = 0;
}
