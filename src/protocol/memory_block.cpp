#include "protocol/memory_block.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "platform/memory_pages.h"
#include "protocol/block_clearing.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"
#include "search/thread_data.h"

uint64_t hash_entry_count(int32_t megabytes) {
  const uint32_t mb = uint32_t(std::max(megabytes, int32_t(1)));
  return uint64_t(65536) << (std::bit_width(mb) - 1);
}

void release_memory(uint64_t& large_page_bytes) {
  if (search_limits.hash_table) {
    void* block = search_limits.hash_table;
    if (large_page_bytes)
      release_large_pages(block, large_page_bytes);
    else
      release_aligned(block);
  }
  search_limits.hash_table = nullptr;
  search_limits.thread_blocks = nullptr;
  large_page_bytes = 0;
}

void allocate_memory(uint64_t& large_page_bytes) {
  search_limits.hash_generation = 0;
  release_memory(large_page_bytes);
  const int thread_count = std::clamp(engine_options.Threads, int32_t(1), int32_t(MAX_THREADS));
  search_limits.thread_count = thread_count;

  // Only the table shrinks when memory is short; the thread count stays.
  int32_t megabytes = std::max(engine_options.Hash, int32_t(1));
  void* block = nullptr;
  uint64_t entries = 0;
  for (;;) {
    entries = hash_entry_count(megabytes);
    const uint64_t size = entries * sizeof(HashEntry) + uint64_t(thread_count) * sizeof(ThreadData);
    if (engine_options.LargePages && (block = allocate_large_pages(size))) {
      large_page_bytes = size;
      std::fputs("Allocated large pages\n", stdout);
      break;
    }
    if ((block = allocate_aligned(size))) break;
    if (megabytes <= 1) {
      std::fputs("Memory allocation error\n", stdout);
      std::fflush(stdout);
      std::exit(1);
    }
    megabytes >>= 1;
  }

  search_limits.hash_table = static_cast<HashEntry*>(block);
  search_limits.hash_mask = entries - 1;
  search_limits.thread_blocks = reinterpret_cast<ThreadData*>(search_limits.hash_table + entries);
  for (int i = 0; i < thread_count; ++i) ::new (static_cast<void*>(&search_limits.thread_blocks[i])) ThreadData;
  clear_memory_block();
}
