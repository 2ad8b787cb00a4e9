#include "trainer/training_set.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>

#include "common/record_features.h"
#include "games/split_mix_rng.h"

bool held_out(uint64_t seed, double share, int64_t index) {
  SplitMixRng rng{seed * 0xD1B54A32D192ED03ull ^ uint64_t(index)};
  return rng.uniform() < share;
}

bool open_training_set(const std::vector<std::string>& paths, double validation_share, uint64_t seed,
                       int64_t chunk_records, TrainingSet& set, int64_t validation_limit, const CorpusFilter& filter) {
  if (!open_training_files(paths, set.files, filter)) return false;
  set.validation_share = std::clamp(validation_share, 0.0, 1.0);
  set.seed = seed;
  set.chunk_records = std::max<int64_t>(1, std::min(chunk_records, set.files.total));
  set.block_records = std::clamp<int64_t>(set.chunk_records / 8, 1, MAX_BLOCK_RECORDS);
  std::vector<TrainingRecord> block(static_cast<size_t>(MAX_BLOCK_RECORDS));
  for (int64_t at = 0; at < set.files.total; at += MAX_BLOCK_RECORDS) {
    if (validation_limit >= 0 && int64_t(set.validation.size()) >= validation_limit) break;
    const int64_t n = std::min(MAX_BLOCK_RECORDS, set.files.total - at);
    if (!read_training_records(set.files, at, n, block.data())) return false;
    for (int64_t i = 0; i < n; ++i) {
      const TrainingRecord& r = block[size_t(i)];
      if (!record_is_valid(r))
        ++set.dropped;
      else if (!held_out(seed, set.validation_share, at + i))
        ++set.training_positions;
      else if (validation_limit < 0 || int64_t(set.validation.size()) < validation_limit)
        set.validation.push_back(r);
    }
  }
  for (const TrainingFile& file : set.files.files)
    if (file.tail_bytes)
      std::printf("%s: %lld bytes of a record cut short left out\n", file.path.c_str(), (long long)file.tail_bytes);
  if (set.dropped) std::printf("dropped %lld records that are not positions of a game\n", (long long)set.dropped);
  return true;
}

std::vector<int64_t> epoch_blocks(const TrainingSet& set, int epoch) {
  std::vector<int64_t> blocks;
  for (int64_t at = 0; at < set.files.total; at += set.block_records) blocks.push_back(at);
  std::mt19937_64 rng(set.seed ^ (0x9E3779B97F4A7C15ull * uint64_t(epoch)));
  std::shuffle(blocks.begin(), blocks.end(), rng);
  return blocks;
}

int epoch_chunks(const TrainingSet& set, const std::vector<int64_t>& blocks) {
  const int64_t per_chunk = std::max<int64_t>(1, set.chunk_records / set.block_records);
  return int((int64_t(blocks.size()) + per_chunk - 1) / per_chunk);
}

namespace {
bool mirror_coin(uint64_t seed, int epoch, int64_t index) {
  SplitMixRng rng{seed ^ (0xA0761D6478BD642Full * uint64_t(epoch + 1)) ^ (0xE7037ED1A0B428DBull * uint64_t(index))};
  return rng.next() >> 63;
}
}  // namespace

bool load_chunk(const TrainingSet& set, const std::vector<int64_t>& blocks, int epoch, int index, Chunk& chunk) {
  const int64_t per_chunk = std::max<int64_t>(1, set.chunk_records / set.block_records);
  const size_t first = size_t(index * per_chunk), last = std::min(blocks.size(), size_t((index + 1) * per_chunk));
  chunk.records.clear();
  chunk.records.reserve(size_t(per_chunk * set.block_records));
  std::vector<TrainingRecord> block(size_t(set.block_records));
  for (size_t b = first; b < last; ++b) {
    const int64_t begin = blocks[b], n = std::min(set.block_records, set.files.total - begin);
    if (!read_training_records(set.files, begin, n, block.data())) return false;
    for (int64_t i = 0; i < n; ++i)
      if (record_is_valid(block[size_t(i)]) && !held_out(set.seed, set.validation_share, begin + i)) {
        chunk.records.push_back(block[size_t(i)]);
        if (set.mirror && mirror_coin(set.seed, epoch, begin + i)) mirror_record(chunk.records.back());
      }
  }
  chunk.order.resize(chunk.records.size());
  std::iota(chunk.order.begin(), chunk.order.end(), 0u);
  std::mt19937_64 rng(set.seed ^ (0x9E3779B97F4A7C15ull * uint64_t(epoch)) ^ (0xD1B54A32D192ED03ull * uint64_t(index + 1)));
  std::shuffle(chunk.order.begin(), chunk.order.end(), rng);
  return true;
}
