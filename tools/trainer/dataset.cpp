#include "trainer/dataset.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <random>

#include "common/record_features.h"

bool load_records(const std::vector<std::string>& paths, std::vector<TrainingRecord>& records) {
  size_t dropped = 0, expected = records.size();
  std::error_code error;
  for (const std::string& path : paths) {
    const auto bytes = std::filesystem::file_size(path, error);
    if (!error) expected += size_t(bytes / sizeof(TrainingRecord));
  }
  records.reserve(expected);
  for (const std::string& path : paths) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
      std::perror(path.c_str());
      return false;
    }
    if (!read_training_header(file, path.c_str())) {
      std::fclose(file);
      return false;
    }
    std::vector<TrainingRecord> chunk(1 << 16);
    size_t got;
    while ((got = std::fread(chunk.data(), sizeof(TrainingRecord), chunk.size(), file)) > 0) {
      for (size_t i = 0; i < got; ++i) {
        if (record_is_valid(chunk[i]))
          records.push_back(chunk[i]);
        else
          ++dropped;
      }
    }
    const bool failed = std::ferror(file);
    std::fclose(file);
    if (failed) {
      std::perror(path.c_str());
      return false;
    }
  }
  if (dropped) std::printf("dropped %zu records that are not positions of a game\n", dropped);
  return true;
}

void split_records(size_t count, double validation_share, uint64_t seed, std::vector<uint32_t>& training,
                   std::vector<uint32_t>& validation) {
  std::vector<uint32_t> order(count);
  std::iota(order.begin(), order.end(), 0u);
  std::mt19937_64 rng(seed);
  std::shuffle(order.begin(), order.end(), rng);
  const double share = std::clamp(validation_share, 0.0, 1.0);
  const size_t held = size_t(double(count) * share + 0.5);
  validation.assign(order.begin(), order.begin() + held);
  training.assign(order.begin() + held, order.end());
  // Validation in file order: the loss over it then doesn't depend on the shuffle's order.
  std::sort(validation.begin(), validation.end());
}
