#pragma once
// Clearing a fresh memory block: the hash table in slices and the history tables of each
// ThreadData, one worker thread per search thread.
#include <cstdint>

// The entries [begin, end) that thread `index` of `thread_count` zeroes; thread 0 takes
// the remainder of the division as well.
struct ClearSlice {
  uint64_t begin;
  uint64_t end;
};
ClearSlice clear_slice(uint64_t entry_count, int thread_count, int index);

// Zeroes the hash table and the history tables of every ThreadData, with one worker per
// thread beyond the first. The last step of allocate_memory.
void clear_memory_block();

// Thread function of that clearing for ThreadData 1 and up.
void* clear_worker(void* thread_data);
