// The system's memory and files as the engine takes them: the memory block (hash sizes, the
// clearing slices, the layout, values below one) with and without large pages, and table
// files found along SyzygyPath, mapped whole, read after their handle is closed, and given
// back, on whichever platform the binary was built for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "helpers/board_fixtures.h"
#include "platform/file_map.h"
#include "platform/memory_pages.h"
#include "protocol/block_clearing.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"
#include "search/thread_data.h"
#include "tablebase/index_tables.h"
#include "tablebase/probe.h"
#include "tablebase/registry.h"

namespace fs = std::filesystem;

namespace {

TEST(MemoryBlock, SizesSlicesLayoutAndClearing) {
  const std::pair<int32_t, uint64_t> sizes[] = {
      {1, 65536}, {3, 131072}, {256, 16777216}, {1000, 33554432}, {0, 65536}, {-7, 65536},
      {1048576, uint64_t(65536) << 20}, {INT32_MAX, uint64_t(65536) << 30}};
  for (const auto& [megabytes, entries] : sizes) EXPECT_EQ(hash_entry_count(megabytes), entries) << megabytes;
  // The slices follow each other without a gap, even but for thread 0, which takes the remainder.
  for (int threads : {1, 2, 3, 7, 100, 512}) {
    for (uint64_t entries : {uint64_t(65536), uint64_t(65536) << 20}) {
      EXPECT_EQ(clear_slice(entries, threads, 0).begin, 0u);
      for (int i = 0; i < threads; ++i) {
        const ClearSlice s = clear_slice(entries, threads, i);
        if (i > 0) {
          ASSERT_EQ(s.begin, clear_slice(entries, threads, i - 1).end) << threads;
        }
        ASSERT_EQ(s.end - s.begin, entries / threads + (i ? 0 : entries % threads)) << threads << " slice " << i;
      }
      EXPECT_EQ(clear_slice(entries, threads, threads - 1).end, entries);
    }
  }

  // The thread blocks follow the table, everything is cleared, and values below one count as one.
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

// Writes over every byte of the block and reads each back: all of it is the engine's.
void expect_whole_block_writable(uint64_t entries, int threads) {
  unsigned char* bytes = reinterpret_cast<unsigned char*>(search_limits.hash_table);
  const size_t size = entries * sizeof(HashEntry) + size_t(threads) * sizeof(ThreadData);
  std::memset(bytes, 0x5A, size);
  size_t wrong = 0;
  for (size_t i = 0; i < size; i += 4093) wrong += bytes[i] != 0x5A;
  EXPECT_EQ(wrong + (bytes[size - 1] != 0x5A), 0u);
}

TEST(PlatformMemory, LargePagesAreGrantedOrRefusedSilentlyAndEitherBlockIsWhole) {
  uint64_t large_page_bytes = 0;
  engine_options.Hash = 16;
  engine_options.Threads = 2;
  engine_options.LargePages = true;
  testing::internal::CaptureStdout();
  allocate_memory(large_page_bytes);
  const std::string said = testing::internal::GetCapturedStdout();
  // Without the right to lock pages (or a pool of huge pages) the ordinary block comes
  // at the same size, and nothing is said.
  EXPECT_EQ(said, large_page_bytes ? "Allocated large pages\n" : "");
  EXPECT_EQ(search_limits.hash_mask, 16u * 65536 - 1);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(search_limits.hash_table) % 64, 0u);
  expect_whole_block_writable(16 * 65536, 2);

  // Given back the way it came, and taken again as an ordinary block: 16 MB and more
  // start on a huge-page boundary, so transparent huge pages can back the table.
  engine_options.LargePages = false;
  allocate_memory(large_page_bytes);
  EXPECT_EQ(large_page_bytes, 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(search_limits.hash_table) % HUGE_PAGE_SIZE, 0u);
  expect_whole_block_writable(16 * 65536, 2);
  release_memory(large_page_bytes);
  EXPECT_EQ(search_limits.hash_table, nullptr);
  release_memory(large_page_bytes);  // nothing to give back: nothing happens
}

// Two folders of table files under the system's temporary folder, named in one SyzygyPath.
class PlatformTableFiles : public testing::Test {
 protected:
  fs::path first, second;
  void SetUp() override {
    // Other builds may run the same test at the same time.
    const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
    const fs::path base = fs::temp_directory_path() / (name + "_" + std::to_string(std::random_device()()));
    first = base / "first";
    second = base / "second";
    fs::create_directories(first);
    fs::create_directories(second);
    tb_tables_init();
  }
  void TearDown() override {
    tb_init("<empty>");
    fs::remove_all(first.parent_path());
  }
  // tb_init with both folders, ';' between them, as a GUI gives the option.
  void register_folders() {
    testing::internal::CaptureStdout();
    tb_init((first.string() + ";" + second.string()).c_str());
    testing::internal::GetCapturedStdout();
  }
};

TEST_F(PlatformTableFiles, AFileIsFoundAlongThePathMappedWholeAndReadAfterItsHandleCloses) {
  std::vector<char> bytes(300000);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = char(i * 7 + i / 1000);
  std::ofstream(second / "KQRvKP.rtbw", std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
  std::ofstream(second / "KQRvKN.rtbw", std::ios::binary);  // empty
  register_folders();

  char path[TABLE_NAME_LIMIT];
  ASSERT_NE(find_table_file("KQRvKP", ".rtbw", path), nullptr);
  EXPECT_EQ(path_kind(path), PathKind::FILE);
  const FileHandle file = open_file_to_read(path);
  ASSERT_NE(file, NO_FILE);
  // Another reader may open the file meanwhile: a second engine on the same tables.
  const FileHandle other = open_file_to_read(path);
  ASSERT_NE(other, NO_FILE);
  close_file(other);
  const uint64_t size = file_size(file);
  EXPECT_EQ(size, bytes.size());
  const uint8_t* view = map_file(file, size);
  close_file(file);
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(std::memcmp(view, bytes.data(), bytes.size()), 0);
  unmap_file(view, size);

  EXPECT_EQ(find_table_file("KQRvKB", ".rtbw", path), nullptr);
  EXPECT_EQ(path_kind(second.string().c_str()), PathKind::FOLDER);
  EXPECT_EQ(path_kind((second / "KQRvKB.rtbw").string().c_str()), PathKind::MISSING);
  ASSERT_NE(find_table_file("KQRvKN", ".rtbw", path), nullptr);
  const FileHandle empty = open_file_to_read(path);
  ASSERT_NE(empty, NO_FILE);
  EXPECT_EQ(file_size(empty), 0u);
  EXPECT_EQ(map_file(empty, 0), nullptr);  // nothing to map: the registry's failure path
  close_file(empty);
}

// A file that holds no table is given back at its first use (the registry's tests check
// what is said and that play goes on): nothing holds it open, so it can be replaced at once,
// which Windows refuses while a view or a handle lives.
TEST_F(PlatformTableFiles, AProbedFileThatHoldsNoTableIsGivenBack) {
  std::ofstream(first / "KQRvKP.rtbw", std::ios::binary) << "not a table, but long enough to map";
  register_folders();
  testing::internal::CaptureStdout();
  int success = 1;
  probe_wdl(*thread_at("4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1"), success);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(success, 0);
  EXPECT_TRUE(fs::remove(first / "KQRvKP.rtbw"));
}

}  // namespace
