#include "protocol/memory_block.h"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/hash_entry.h"
#include "search/thread_data.h"

namespace {

constexpr uint64_t HUGE_PAGE_SIZE = 2 * 1024 * 1024;
constexpr uint64_t CACHE_LINE = 64;
// A clearing worker only calls memset; it needs no big stack, and 512 of them must fit.
constexpr size_t CLEAR_WORKER_STACK = 256 * 1024;

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

void clear_thread_tables(ThreadData& thread) {
  std::memset(thread.killers, 0, sizeof thread.killers);
  std::memset(thread.counter_moves, 0, sizeof thread.counter_moves);
  std::memset(thread.move_history, 0, sizeof thread.move_history);
  std::memset(thread.reply_history, 0, sizeof thread.reply_history);
  std::memset(thread.followup_history, 0, sizeof thread.followup_history);
}

}  // namespace

uint64_t hash_entry_count(int32_t megabytes) {
  const uint32_t mb = uint32_t(std::max(megabytes, int32_t(1)));
  return uint64_t(65536) << (std::bit_width(mb) - 1);
}

ClearSlice clear_slice(uint64_t entry_count, int thread_count, int index) {
  const uint64_t q = entry_count / uint64_t(thread_count), r = entry_count % uint64_t(thread_count);
  if (index == 0) return {0, q + r};
  return {uint64_t(index) * q + r, uint64_t(index + 1) * q + r};
}

void* clear_worker(void* thread_data) {
  ThreadData& thread = *static_cast<ThreadData*>(thread_data);
  clear_thread_tables(thread);
  const int index = int(&thread - search_limits.thread_blocks);
  const ClearSlice slice = clear_slice(search_limits.hash_mask + 1, search_limits.thread_count, index);
  // The entries are plain words to the clearing: no other thread can see the table yet.
  std::memset(static_cast<void*>(search_limits.hash_table + slice.begin), 0,
              (slice.end - slice.begin) * sizeof(HashEntry));
  return nullptr;
}

void clear_memory_block() {
  ThreadData* threads = search_limits.thread_blocks;
  const int count = search_limits.thread_count;
  bool started[MAX_THREADS] = {};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, CLEAR_WORKER_STACK);
  for (int i = 1; i < count; ++i)
    started[i] = pthread_create(&threads[i].handle, &attributes, clear_worker, &threads[i]) == 0;
  pthread_attr_destroy(&attributes);
  clear_worker(&threads[0]);
  // A worker the system would not start leaves its share to the calling thread.
  for (int i = 1; i < count; ++i) {
    if (started[i])
      pthread_join(threads[i].handle, nullptr);
    else
      clear_worker(&threads[i]);
  }
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
