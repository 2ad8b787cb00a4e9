// The memory block: hash sizes, the clearing slices, the layout, and values below one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "protocol/block_clearing.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"
#include "search/thread_data.h"

namespace {

TEST(MemoryBlock, HashIsTheLargestPowerOfTwoOfMegabytesAndThreadZeroClearsTheRemainder) {
  const std::pair<int32_t, uint64_t> sizes[] = {
      {1, 65536}, {3, 131072}, {256, 16777216}, {1000, 33554432}, {0, 65536}, {-7, 65536},
      {1048576, uint64_t(65536) << 20}, {INT32_MAX, uint64_t(65536) << 30}};
  for (const auto& [megabytes, entries] : sizes) EXPECT_EQ(hash_entry_count(megabytes), entries) << megabytes;
  const ClearSlice expected[] = {{0, 21846}, {21846, 43691}, {43691, 65536}};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(clear_slice(65536, 3, i).begin, expected[i].begin);
    EXPECT_EQ(clear_slice(65536, 3, i).end, expected[i].end);
  }
  for (int threads : {1, 2, 7, 100, 512}) {
    for (uint64_t entries : {uint64_t(65536), uint64_t(65536) << 20}) {
      EXPECT_EQ(clear_slice(entries, threads, 0).begin, 0u);
      for (int i = 1; i < threads; ++i)
        ASSERT_EQ(clear_slice(entries, threads, i).begin, clear_slice(entries, threads, i - 1).end) << threads;
      EXPECT_EQ(clear_slice(entries, threads, threads - 1).end, entries);
    }
  }
}

TEST(MemoryBlock, ThreadBlocksFollowTheTableEverythingIsClearedAndValuesBelowOneCountAsOne) {
  uint64_t large_page_bytes = 0;
  engine_options.Hash = 1;
  engine_options.Threads = 3;
  search_limits.hash_generation = 9;
  allocate_memory(large_page_bytes);
  EXPECT_EQ(search_limits.hash_generation, 0u);
  EXPECT_EQ(search_limits.hash_mask, 65535u);
  EXPECT_EQ(search_limits.thread_count, 3);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(search_limits.hash_table) % 64, 0u);
  EXPECT_EQ(static_cast<void*>(search_limits.thread_blocks), static_cast<void*>(search_limits.hash_table + 65536));
  // Junk everywhere, then the clearing must leave no byte of the tables behind.
  std::vector<std::pair<void*, size_t>> all{{static_cast<void*>(search_limits.hash_table), 65536 * sizeof(HashEntry)}};
  for (int i = 0; i < 3; ++i) {
    ThreadData& t = search_limits.thread_blocks[i];
    all.insert(all.end(), {{t.killers, sizeof t.killers},
                           {t.counter_moves, sizeof t.counter_moves},
                           {t.move_history, sizeof t.move_history},
                           {t.reply_history, sizeof t.reply_history},
                           {t.followup_history, sizeof t.followup_history}});
  }
  for (const auto& [start, size] : all) std::memset(start, 0xA5, size);
  clear_memory_block();
  for (const auto& [start, size] : all) {
    const unsigned char* bytes = static_cast<const unsigned char*>(start);
    EXPECT_EQ(std::count(bytes, bytes + size, 0), ptrdiff_t(size)) << size;
  }

  engine_options.Hash = 0;
  engine_options.Threads = -3;
  allocate_memory(large_page_bytes);
  EXPECT_EQ(search_limits.hash_mask, 65535u);
  EXPECT_EQ(search_limits.thread_count, 1);
  release_memory(large_page_bytes);
}

}  // namespace
