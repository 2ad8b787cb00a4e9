#pragma once
// The recursive alpha-beta search and the quiescence search at its leaves.
#include <cstdint>

#include "board/move.h"
#include "search/thread_data.h"

int32_t search(ThreadData& thread, uint32_t node_type, int ply, int depth, int32_t alpha, int32_t beta,
               Move excluded_move, Move prev_move, Move prev_prev_move);

int32_t qsearch(ThreadData& thread, uint32_t node_type, int ply, int depth, int32_t alpha, int32_t beta,
                Move prev_move, Move prev_prev_move);
