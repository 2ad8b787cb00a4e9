// The memory block: hash sizes, the clearing slices, the layout, and shrinking when
// memory is short.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/hash_entry.h"
#include "search/thread_data.h"

namespace {

TEST(HashSize, TableIsTheLargestPowerOfTwoOfMegabytes) {
  EXPECT_EQ(hash_entry_count(1), 65536u);
  EXPECT_EQ(hash_entry_count(3), 131072u);
  EXPECT_EQ(hash_entry_count(256), 16777216u);
  EXPECT_EQ(hash_entry_count(1000), 33554432u);
  EXPECT_EQ(hash_entry_count(1048576), 68719476736u);  // the mask needs all 64 bits
  EXPECT_EQ(hash_entry_count(INT32_MAX), uint64_t(65536) << 30);
  EXPECT_EQ(hash_entry_count(0), 65536u);
  EXPECT_EQ(hash_entry_count(-7), 65536u);
}

TEST(ClearSlices, ThreadZeroTakesTheRemainderAndSlicesJoin) {
  EXPECT_EQ(clear_slice(65536, 3, 0).end, 21846u);
  EXPECT_EQ(clear_slice(65536, 3, 1).begin, 21846u);
  EXPECT_EQ(clear_slice(65536, 3, 1).end, 43691u);
  EXPECT_EQ(clear_slice(65536, 3, 2).begin, 43691u);
  EXPECT_EQ(clear_slice(65536, 3, 2).end, 65536u);
  EXPECT_EQ(clear_slice(65536, 1, 0).end, 65536u);
  for (int threads : {1, 2, 3, 7, 100, 511, 512}) {
    for (uint64_t entries : {uint64_t(65536), uint64_t(65536) << 5, uint64_t(65536) << 20}) {
      EXPECT_EQ(clear_slice(entries, threads, 0).begin, 0u);
      for (int i = 1; i < threads; ++i)
        ASSERT_EQ(clear_slice(entries, threads, i).begin, clear_slice(entries, threads, i - 1).end) << threads;
      EXPECT_EQ(clear_slice(entries, threads, threads - 1).end, entries);
    }
  }
}

class MemoryBlock : public testing::Test {
 protected:
  uint64_t large_page_bytes = 0;
  void SetUp() override { set_default_options(engine_options); }
  void TearDown() override {
    release_memory(large_page_bytes);
    set_default_options(engine_options);
  }
};

TEST_F(MemoryBlock, ThreadBlocksFollowTheTableAndEverythingIsCleared) {
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
  auto tables = [](ThreadData& t) {
    return std::vector<std::pair<void*, size_t>>{{t.killers, sizeof t.killers},
                                                 {t.counter_moves, sizeof t.counter_moves},
                                                 {t.move_history, sizeof t.move_history},
                                                 {t.reply_history, sizeof t.reply_history},
                                                 {t.followup_history, sizeof t.followup_history}};
  };
  std::vector<std::pair<void*, size_t>> all{{static_cast<void*>(search_limits.hash_table), 65536 * sizeof(HashEntry)}};
  for (int i = 0; i < 3; ++i)
    for (const auto& table : tables(search_limits.thread_blocks[i])) all.push_back(table);
  for (const auto& [start, size] : all) std::memset(start, 0xA5, size);
  clear_memory_block();
  for (const auto& [start, size] : all) {
    const unsigned char* bytes = static_cast<const unsigned char*>(start);
    EXPECT_EQ(std::count(bytes, bytes + size, 0), ptrdiff_t(size)) << size;
  }
}

TEST_F(MemoryBlock, ValuesBelowOneCountAsOne) {
  engine_options.Hash = 0;
  engine_options.Threads = -3;
  allocate_memory(large_page_bytes);
  EXPECT_EQ(search_limits.hash_mask, 65535u);
  EXPECT_EQ(search_limits.thread_count, 1);
  engine_options.Threads = 0;
  engine_options.LargePages = true;  // refused or granted, the block must work
  allocate_memory(large_page_bytes);
  EXPECT_EQ(search_limits.thread_count, 1);
  search_limits.hash_table[65535].hash_data.store(1);
  search_limits.thread_blocks[0].killers[0][0] = 1;
}

uint64_t virtual_memory_bytes() {
  unsigned long pages = 0;
  if (FILE* f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%lu", &pages) != 1) pages = 0;
    std::fclose(f);
  }
  return uint64_t(pages) * uint64_t(sysconf(_SC_PAGESIZE));
}

// In a child process, so that the address-space limit stays there.
TEST_F(MemoryBlock, ShortMemoryShrinksOnlyTheTableAndTheNextAllocationStartsAgain) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the address and thread sanitizers need more address space than the limit leaves";
#endif
  const uint64_t vm = virtual_memory_bytes();
  if (!vm) GTEST_SKIP() << "no /proc/self/statm";
  int results[2];
  ASSERT_EQ(pipe(results), 0);
  const pid_t child = fork();
  if (child == 0) {
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    const rlim_t hard = limit.rlim_max;
    limit.rlim_cur = vm + (uint64_t(48) << 20);
    setrlimit(RLIMIT_AS, &limit);
    engine_options.Hash = 128;
    engine_options.Threads = 2;
    allocate_memory(large_page_bytes);  // the clearing touches every entry the mask names
    uint64_t report[3] = {search_limits.hash_mask, uint64_t(search_limits.thread_count), 0};
    limit.rlim_cur = hard;
    setrlimit(RLIMIT_AS, &limit);
    engine_options.Hash = 4;
    allocate_memory(large_page_bytes);
    report[2] = search_limits.hash_mask;
    _exit(write(results[1], report, sizeof report) == sizeof report ? 0 : 3);
  }
  close(results[1]);
  uint64_t report[3] = {};
  const ssize_t got = read(results[0], report, sizeof report);
  close(results[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  ASSERT_EQ(got, ssize_t(sizeof report));
  EXPECT_LT(report[0] + 1, hash_entry_count(128));
  EXPECT_GE(report[0] + 1, 65536u);
  EXPECT_EQ(report[0] & (report[0] + 1), 0u);  // still one less than a power of two
  EXPECT_EQ(report[1], 2u);
  EXPECT_EQ(report[2] + 1, hash_entry_count(4));
}

}  // namespace
