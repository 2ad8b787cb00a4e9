#include "protocol/block_clearing.h"

#include <pthread.h>

#include <cstring>

#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "protocol/thread_start.h"
#include "search/hash_table.h"
#include "search/thread_data.h"

namespace {

// A clearing worker only calls memset; it needs no big stack, and 512 of them must fit.
constexpr size_t CLEAR_WORKER_STACK = 256 * 1024;

void clear_thread_tables(ThreadData& thread) {
  std::memset(thread.killers, 0, sizeof thread.killers);
  std::memset(thread.counter_moves, 0, sizeof thread.counter_moves);
  std::memset(thread.move_history, 0, sizeof thread.move_history);
  std::memset(thread.reply_history, 0, sizeof thread.reply_history);
  std::memset(thread.followup_history, 0, sizeof thread.followup_history);
}

}  // namespace

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
  for (int i = 1; i < count; ++i)
    started[i] = start_thread(threads[i].handle, clear_worker, &threads[i], CLEAR_WORKER_STACK);
  clear_worker(&threads[0]);
  // A worker the system would not start leaves its share to the calling thread.
  for (int i = 1; i < count; ++i) {
    if (started[i])
      pthread_join(threads[i].handle, nullptr);
    else
      clear_worker(&threads[i]);
  }
}
