// How the trainer reads its files: a set read in chunks, of whatever size, gives each epoch
// exactly the records that reading the whole files into memory gives, each once; the held-out
// records don't depend on the chunks; torn tails and records that no game gives are left out.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "helpers/training_fixtures.h"
#include "common/record_features.h"
#include "common/training_file.h"
#include "common/training_set.h"

namespace {

namespace fs = std::filesystem;

struct TempDir {
  fs::path path = fs::temp_directory_path() / ("tesmar_tools_common_set_" + std::to_string(getpid()));
  TempDir() { fs::create_directories(path); }
  ~TempDir() { fs::remove_all(path); }
};

// Records as bytes, sorted: two runs of records hold the same positions when these are equal.
std::vector<std::string> sorted_bytes(const std::vector<TrainingRecord>& records) {
  std::vector<std::string> bytes;
  for (const TrainingRecord& r : records) bytes.emplace_back(reinterpret_cast<const char*>(&r), sizeof r);
  std::sort(bytes.begin(), bytes.end());
  return bytes;
}

std::vector<TrainingRecord> read_whole_file(const fs::path& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  std::vector<TrainingRecord> records;
  if (!file || !read_training_header(file, path.c_str())) return records;
  for (TrainingRecord r; std::fread(&r, sizeof r, 1, file) == 1;) records.push_back(r);
  std::fclose(file);
  return records;
}

TEST(TrainingSet, ChunksOfAnEpochHoldEveryTrainingRecordOnce) {
  TempDir dir;
  // Three files: one with records that no game gives, an empty one, and one with a torn tail.
  std::vector<TrainingRecord> first = random_play_records(700, 3), third = random_play_records(555, 4);
  for (int i : {10, 250, 699}) first[size_t(i)].occupied = 0;
  const fs::path paths[3] = {dir.path / "a.bin", dir.path / "empty.bin", dir.path / "c.bin"};
  ASSERT_TRUE(write_training_file(paths[0].string(), first));
  ASSERT_TRUE(write_training_file(paths[1].string(), {}));
  ASSERT_TRUE(write_training_file(paths[2].string(), third));
  std::ofstream(paths[2], std::ios::binary | std::ios::app) << std::string(20, '\x05');

  // What the whole files give, each record with its number in the set.
  std::vector<TrainingRecord> all;
  for (const fs::path& p : paths) {
    const std::vector<TrainingRecord> records = read_whole_file(p);
    all.insert(all.end(), records.begin(), records.end());
  }
  ASSERT_EQ(all.size(), 1255u);
  constexpr uint64_t SEED = 9;
  constexpr double SHARE = 0.1;
  std::vector<TrainingRecord> validation, training;
  for (size_t i = 0; i < all.size(); ++i) {
    if (!record_is_valid(all[i])) continue;
    (held_out(SEED, SHARE, int64_t(i)) ? validation : training).push_back(all[i]);
  }
  ASSERT_GT(validation.size(), 60u);

  const std::vector<std::string> paths_text = {paths[0].string(), paths[1].string(), paths[2].string()};
  for (const int64_t chunk_records : {1, 37, 300, 1255, 100000}) {
    TrainingSet set;
    ASSERT_TRUE(open_training_set(paths_text, SHARE, SEED, chunk_records, set));
    EXPECT_EQ(set.dropped, 3);
    EXPECT_EQ(set.training_positions, int64_t(training.size()));
    ASSERT_EQ(set.validation.size(), validation.size()) << chunk_records;
    EXPECT_EQ(std::memcmp(set.validation.data(), validation.data(), validation.size() * sizeof(TrainingRecord)), 0);
    std::vector<TrainingRecord> epoch_orders[2];
    for (int epoch : {1, 2}) {
      const std::vector<int64_t> blocks = epoch_blocks(set, epoch);
      std::vector<TrainingRecord>& seen = epoch_orders[epoch - 1];
      for (int c = 0; c < epoch_chunks(set, blocks); ++c) {
        Chunk chunk;
        ASSERT_TRUE(load_chunk(set, blocks, epoch, c, chunk));
        ASSERT_LE(int64_t(chunk.records.size()), set.chunk_records);
        ASSERT_EQ(chunk.order.size(), chunk.records.size());
        for (uint32_t index : chunk.order) seen.push_back(chunk.records[index]);
      }
      EXPECT_EQ(sorted_bytes(seen), sorted_bytes(training)) << "chunks of " << chunk_records << ", epoch " << epoch;
    }
    // Each epoch has an order of its own.
    ASSERT_EQ(epoch_orders[0].size(), epoch_orders[1].size());
    EXPECT_NE(std::memcmp(epoch_orders[0].data(), epoch_orders[1].data(), epoch_orders[0].size() * sizeof(TrainingRecord)), 0);
  }
}

TEST(TrainingSet, RefusesFilesThatAreNotTrainingFiles) {
  TempDir dir;
  const fs::path junk = dir.path / "junk.bin", good = dir.path / "good.bin";
  std::ofstream(junk) << "not a training file at all";
  ASSERT_TRUE(write_training_file(good.string(), random_play_records(10, 1)));
  TrainingSet set;
  EXPECT_FALSE(open_training_set({good.string(), junk.string()}, 0.1, 1, 100, set));
  TrainingSet missing;
  EXPECT_FALSE(open_training_set({(dir.path / "none.bin").string()}, 0.1, 1, 100, missing));
}

}  // namespace
