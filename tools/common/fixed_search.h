#pragma once
// A bare fixed-depth search for the benchmarks: one thread, no root driver, no clock.
#include <cstdint>

#include "search/thread_data.h"

// Allocates the memory block as the options say, clears the stop, node and time limits,
// sets the table probe limit, and returns the first thread at fen, its root evaluated.
// large_page_bytes is what release_memory later needs back.
ThreadData& prepare_fixed_search(const char* fen, int tb_probe_limit, uint64_t& large_page_bytes);
