#include "datagen/file_commands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "board/board_tables.h"
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

// Games per seed of a corpus file, with the results from White's view.
void print_corpus_seeds(const std::string& path) {
  std::string bytes, error;
  if (!read_whole_file(path, bytes, error) || !is_corpus_header(bytes.data(), bytes.size())) return;
  struct Seed {
    int64_t games = 0, white_wins = 0, draws = 0, black_wins = 0;
  };
  std::map<uint64_t, Seed> seeds;
  GameBoard board;
  CorpusFileInfo info;
  read_corpus(bytes, board, [&](const CorpusGame& game) {
    Seed& seed = seeds[game.seed];
    ++seed.games;
    ++(game.result > 0 ? seed.white_wins : game.result < 0 ? seed.black_wins : seed.draws);
  }, info, error);
  for (const auto& [seed, s] : seeds) {
    const double share = 100.0 / double(s.games);
    std::printf("  seed %llu: %lld games, White won %.1f%%, drawn %.1f%%, Black won %.1f%%\n", (unsigned long long)seed,
                (long long)s.games, double(s.white_wins) * share, double(s.draws) * share, double(s.black_wins) * share);
  }
}

// The seeds of a training file's journal, with their settings, games, results and speed.
void print_journal(const TrainingFile& file) {
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
  if (file.corpus) {
    const CorpusFileInfo& c = file.corpus_info;
    std::printf("%s: game corpus, %lld games, %lld plies, %lld bytes (%.2f per ply, %.2f per training position)\n",
                file.path.c_str(), (long long)c.games, (long long)c.plies, (long long)c.file_bytes,
                c.plies ? double(c.readable_bytes) / double(c.plies) : 0.0,
                file.records ? double(c.readable_bytes) / double(file.records) : 0.0);
    if (file.tail_bytes)
      std::printf("  %lld bytes after the last whole game (a game cut short or damaged) left out\n",
                  (long long)file.tail_bytes);
  }
  std::printf("%s: %lld %s", file.path.c_str(), (long long)file.records,
              file.corpus ? "training positions" : "records");
  if (file.tail_bytes && !file.corpus) std::printf(" and %lld bytes of a record cut short", (long long)file.tail_bytes);
  if (invalid) std::printf(", %lld that are not positions of a game", (long long)invalid);
  std::printf("\n  distinct positions %lld (%.1f%%), Chess960 %.1f%%, mean ply %.1f, mean |score| %.1f\n",
              (long long)distinct, double(distinct) * share, double(chess960) * share, valid > 0 ? ply_sum / valid : 0.0,
              valid > 0 ? score_sum / valid : 0.0);
  std::printf("  results for the side to move: won %.1f%%, drawn %.1f%%, lost %.1f%%\n", double(wins) * share,
              double(draws) * share, double(losses) * share);

  if (file.corpus)
    print_corpus_seeds(file.path);
  else
    print_journal(file);
}

// Joins the whole games of corpus files into a new one: also the way to take a snapshot of a
// corpus that a run is still writing.
int merge_corpus(const std::string& out, const std::vector<std::string>& inputs) {
  std::string merged = corpus_header(), bytes, error;
  for (const std::string& in : inputs) {
    if (!read_whole_file(in, bytes, error) || !is_corpus_header(bytes.data(), bytes.size())) {
      std::fprintf(stderr, "datagen: %s\n", error.empty() ? (in + " is not a game corpus file").c_str() : error.c_str());
      return 1;
    }
    size_t at = CORPUS_HEADER_BYTES, games = 0;
    uint64_t seed, number;
    uint32_t stream;
    for (size_t n; (n = corpus_game_id(bytes.data(), bytes.size(), at, seed, stream, number)) > 0; at += n) ++games;
    merged.append(bytes, CORPUS_HEADER_BYTES, at - CORPUS_HEADER_BYTES);
    std::printf("%s: %zu games", in.c_str(), games);
    if (at < bytes.size()) std::printf(" (%zu bytes after the last whole game left out)", bytes.size() - at);
    std::printf("\n");
  }
  if (int64_t(merged.size()) > CORPUS_FILE_LIMIT) {
    std::fprintf(stderr, "datagen: %s would hold %zu bytes, over the %lld MB of a corpus file\n", out.c_str(),
                 merged.size(), (long long)(CORPUS_FILE_LIMIT >> 20));
    return 1;
  }
  const std::string temporary = out + ".tmp";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  bool ok = file && std::fwrite(merged.data(), 1, merged.size(), file) == merged.size();
  ok = file && std::fclose(file) == 0 && ok;
  if (!ok || std::rename(temporary.c_str(), out.c_str()) != 0) {
    std::fprintf(stderr, "datagen: failed to write %s\n", out.c_str());
    std::remove(temporary.c_str());
    return 1;
  }
  std::printf("%s: %zu bytes\n", out.c_str(), merged.size());
  return 0;
}

}  // namespace

int merge_command(int argc, char** argv) {
  init_board_tables();
  if (argc < 2) {
    std::fprintf(stderr, "usage: datagen merge OUT IN [IN...]\n");
    return 2;
  }
  const std::string out = argv[0];
  if (access(out.c_str(), F_OK) == 0) {
    std::fprintf(stderr, "datagen: %s exists; merge writes a new file\n", out.c_str());
    return 1;
  }
  if (is_corpus_path(out)) return merge_corpus(out, std::vector<std::string>(argv + 1, argv + argc));
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
  init_board_tables();
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
