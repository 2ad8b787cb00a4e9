#pragma once
// The root list: every legal move of the root, ordered for the first iteration.
#include "board/move.h"
#include "search/history.h"
#include "search/thread_data.h"

// Writes the legal root moves of the thread's current position, best first; returns the end.
// Losing captures and underpromotions score below BAD_CAPTURE_LIMIT.
ScoredMove* build_root_moves(ThreadData& thread, ScoredMove* list);
