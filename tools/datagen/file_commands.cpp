#include "datagen/file_commands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "datagen/run_journal.h"
#include "common/record_features.h"
#include "common/training_file.h"

namespace {

constexpr int64_t COPY_RECORDS = 1 << 16;

// Same pieces on the same squares with the same rights: the same position to the network.
uint64_t position_hash(const TrainingRecord& r) {
  uint64_t words[3];
  std::memcpy(words, &r, 24);
  uint64_t h = words[0] * 0x9E3779B97F4A7C15ull;
  h = (h ^ (h >> 29) ^ words[1]) * 0xBF58476D1CE4E5B9ull;
  h = (h ^ (h >> 31) ^ words[2]) * 0x94D049BB133111EBull;
  return (h ^ (h >> 32)) ^ r.rights;
}

void print_file(const TrainingFiles& files, size_t index) {
  const TrainingFile& file = files.files[index];
  int64_t invalid = 0, chess960 = 0, wins = 0, draws = 0, losses = 0;
  double ply_sum = 0, score_sum = 0;
  std::vector<uint64_t> hashes;
  hashes.reserve(size_t(file.records));
  std::vector<TrainingRecord> block(static_cast<size_t>(COPY_RECORDS));
  for (int64_t at = 0; at < file.records; at += COPY_RECORDS) {
    const int64_t n = std::min(COPY_RECORDS, file.records - at);
    if (!read_training_records(files, files.first[index] + at, n, block.data())) return;
    for (int64_t i = 0; i < n; ++i) {
      const TrainingRecord& r = block[size_t(i)];
      if (!record_is_valid(r)) {
        ++invalid;
        continue;
      }
      chess960 += (r.flags & RECORD_CHESS960) != 0;
      ++(r.result > 0 ? wins : r.result < 0 ? losses : draws);
      ply_sum += r.ply;
      score_sum += std::abs(int(r.score));
      hashes.push_back(position_hash(r));
    }
  }
  std::sort(hashes.begin(), hashes.end());
  const int64_t distinct = int64_t(std::unique(hashes.begin(), hashes.end()) - hashes.begin());
  const double valid = double(file.records - invalid), share = valid > 0 ? 100.0 / valid : 0.0;
  std::printf("%s: %lld records", file.path.c_str(), (long long)file.records);
  if (file.tail_bytes) std::printf(" and %lld bytes of a record cut short", (long long)file.tail_bytes);
  if (invalid) std::printf(", %lld that are not positions of a game", (long long)invalid);
  std::printf("\n  distinct positions %lld (%.1f%%), Chess960 %.1f%%, mean ply %.1f, mean |score| %.1f\n",
              (long long)distinct, double(distinct) * share, double(chess960) * share, valid > 0 ? ply_sum / valid : 0.0,
              valid > 0 ? score_sum / valid : 0.0);
  std::printf("  results for the side to move: won %.1f%%, drawn %.1f%%, lost %.1f%%\n", double(wins) * share,
              double(draws) * share, double(losses) * share);

  std::ifstream in(file.path + ".journal", std::ios::binary);
  if (!in) return;
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  JournalState state;
  std::string error;
  if (!read_journal(text, file.records, state, error)) {
    std::printf("  journal: %s\n", error.c_str());
    return;
  }
  std::printf("  journal: %lld records in whole games", (long long)state.records);
  if (state.records < file.records)
    std::printf(", %lld after them that the next run cuts off", (long long)(file.records - state.records));
  std::printf("\n");
  for (const auto& [seed, p] : state.seeds) {
    const double game_share = p.games ? 100.0 / double(p.games) : 0.0;
    std::printf("  seed %llu: %lld positions, %lld games in %zu streams, White won %.1f%%, drawn %.1f%%, Black won %.1f%%\n",
                (unsigned long long)seed, (long long)p.positions, (long long)p.games, p.next_game.size(),
                double(p.white_wins) * game_share, double(p.draws) * game_share, double(p.black_wins) * game_share);
    std::printf("    %s\n", p.settings.c_str());
    if (p.worker_seconds > 0 && p.cpu_seconds > 0)
      std::printf("    %lld finished runs: %.1f positions/s per worker, %.1f per second of processor time\n",
                  (long long)p.runs, p.run_positions / p.worker_seconds, p.run_positions / p.cpu_seconds);
  }
}

}  // namespace

int merge_command(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: datagen merge OUT IN [IN...]\n");
    return 2;
  }
  const std::string out = argv[0];
  if (access(out.c_str(), F_OK) == 0) {
    std::fprintf(stderr, "datagen: %s exists; merge writes a new file\n", out.c_str());
    return 1;
  }
  TrainingFiles files;
  if (!open_training_files(std::vector<std::string>(argv + 1, argv + argc), files)) return 1;
  const std::string temporary = out + ".tmp";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  if (!file) {
    std::perror(temporary.c_str());
    return 1;
  }
  bool ok = write_training_header(file);
  std::vector<TrainingRecord> block(static_cast<size_t>(COPY_RECORDS));
  for (int64_t at = 0; ok && at < files.total; at += COPY_RECORDS) {
    const int64_t n = std::min(COPY_RECORDS, files.total - at);
    ok = read_training_records(files, at, n, block.data()) &&
         std::fwrite(block.data(), sizeof(TrainingRecord), size_t(n), file) == size_t(n);
  }
  ok = std::fclose(file) == 0 && ok;
  if (!ok || std::rename(temporary.c_str(), out.c_str()) != 0) {
    std::fprintf(stderr, "datagen: failed to write %s\n", out.c_str());
    std::remove(temporary.c_str());
    return 1;
  }
  for (const TrainingFile& f : files.files) {
    std::printf("%s: %lld records", f.path.c_str(), (long long)f.records);
    if (f.tail_bytes) std::printf(" (%lld bytes of a record cut short left out)", (long long)f.tail_bytes);
    std::printf("\n");
  }
  std::printf("%s: %lld records\n", out.c_str(), (long long)files.total);
  return 0;
}

int info_command(int argc, char** argv) {
  if (argc < 1) {
    std::fprintf(stderr, "usage: datagen info FILE [FILE...]\n");
    return 2;
  }
  TrainingFiles files;
  if (!open_training_files(std::vector<std::string>(argv, argv + argc), files)) return 1;
  for (size_t i = 0; i < files.files.size(); ++i) print_file(files, i);
  if (files.files.size() > 1) std::printf("all files: %lld records\n", (long long)files.total);
  return 0;
}
