#pragma once
// The memory block: the hash table and, right behind it, one ThreadData per search
// thread, in one allocation. Called with EngineLock held and no search running.
#include <cstdint>

struct ThreadData;

constexpr int MAX_THREADS = 512;

// Entries for a Hash value in megabytes: 65536 times the largest power of two not above
// it. Values below 1 count as 1.
uint64_t hash_entry_count(int32_t megabytes);

// Replaces the block by a fresh, cleared one for the current Hash, Threads and LargePages.
// large_page_bytes is the size of the block when it came from huge pages, else 0; it tells
// how the block is given back. Ends the process with status 1 when not even 1 MB is granted.
void allocate_memory(uint64_t& large_page_bytes);

// Gives the block back the way it came; nothing happens when there is none.
void release_memory(uint64_t& large_page_bytes);
