#pragma once
// The info line of one root line: counters, score and the principal variation, which
// is read back from the exact entries of the hash table.
#include <cstdint>

#include "search/thread_data.h"

// "cp N" within the network's range, else "mate N" with N the winner's moves, negative
// when the side to move at the root loses. Writes at most 24 characters.
void score_text(int32_t score, char* text);

// One line under OutputLock, flushed. The thread's current position must be the root;
// tb_score, when not SCORE_NONE, replaces every search score that is not a mate.
void print_info(ThreadData& thread, uint32_t line, int32_t tb_score, int64_t time, int64_t nodes, int64_t tb_hits,
                int32_t depth);
