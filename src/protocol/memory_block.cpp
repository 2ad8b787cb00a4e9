#include "protocol/memory_block.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "protocol/block_clearing.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/hash_entry.h"
#include "search/thread_data.h"

namespace {

constexpr uint64_t HUGE_PAGE_SIZE = 2 * 1024 * 1024;
constexpr uint64_t CACHE_LINE = 64;

uint64_t round_up(uint64_t n, uint64_t step) { return (n + step - 1) / step * step; }

// An explicit huge-page mapping; the kernel refuses it when its pool is too small.
void* map_huge_pages(uint64_t size) {
#ifdef MAP_HUGETLB
  void* block = mmap(nullptr, round_up(size, HUGE_PAGE_SIZE), PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_HUGETLB, -1, 0);
  return block == MAP_FAILED ? nullptr : block;
#else
  (void)size;
  return nullptr;
#endif
}

void* allocate_ordinary(uint64_t size) {
  // Big blocks start on a 2 MB boundary so that transparent huge pages can back the table.
  const uint64_t alignment = size >= HUGE_PAGE_SIZE ? HUGE_PAGE_SIZE : CACHE_LINE;
  const uint64_t rounded = round_up(size, alignment);
  void* block = std::aligned_alloc(alignment, rounded);
#ifdef MADV_HUGEPAGE
  if (block && alignment == HUGE_PAGE_SIZE) madvise(block, rounded, MADV_HUGEPAGE);
#endif
  return block;
}

}  // namespace

uint64_t hash_entry_count(int32_t megabytes) {
  const uint32_t mb = uint32_t(std::max(megabytes, int32_t(1)));
  return uint64_t(65536) << (std::bit_width(mb) - 1);
}

void release_memory(uint64_t& large_page_bytes) {
  if (search_limits.hash_table) {
    void* block = search_limits.hash_table;
    if (large_page_bytes)
      munmap(block, round_up(large_page_bytes, HUGE_PAGE_SIZE));
    else
      std::free(block);
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
    if (engine_options.LargePages && (block = map_huge_pages(size))) {
      large_page_bytes = size;
      std::fputs("Allocated large pages\n", stdout);
      break;
    }
    if ((block = allocate_ordinary(size))) break;
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
