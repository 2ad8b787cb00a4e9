#pragma once
// Tables at the root: when the root is in the tables, only the moves that keep its
// result stay in the root list, and the search that follows probes no more.
#include "search/thread_data.h"

// Strikes the moves that don't keep the result from root_moves..*root_end and returns
// the root's table score; SCORE_NONE, with the list untouched, when the tables fail.
int32_t tb_root_filter(ThreadData& thread, ScoredMove* root_moves, ScoredMove** root_end);

// Each root move's distance from the root to the zeroing move that keeps its result:
// positive for a win, 0 for a draw, negative for a loss; d is the root's DTZ value.
// False when a table fails.
bool root_move_distances(ThreadData& thread, const ScoredMove* root_moves, int count, int d, int32_t* v);

// The table step of a go, on thread 0 before the other threads start: sets tb_probe_limit
// and root_tb_score in search_limits and the thread's tb_hits.
void apply_root_tables(ThreadData& thread);
