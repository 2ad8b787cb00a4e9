#pragma once
// Training files on disk as runs of whole records. A writer stopped in the middle of a record
// leaves a few bytes behind the last whole one: readers count whole records only, so such a
// tail is never read as a position. A set of files reads as one numbered run of records, and
// any stretch of it can be read on its own, so a large set never has to be in memory at once.
// Game corpus files (.tgc) and folders of them join a set too: their games are decoded and
// filtered once, when the set is opened, and their records kept in memory.
#include <cstdint>
#include <string>
#include <vector>

#include "common/game_corpus.h"
#include "common/training_record.h"

// Whole records in a file of `bytes` bytes (header included).
constexpr int64_t whole_records(int64_t bytes) {
  return bytes < int64_t(TRAINING_HEADER_BYTES) ? 0 : (bytes - int64_t(TRAINING_HEADER_BYTES)) / int64_t(sizeof(TrainingRecord));
}

// Byte offset of record `index` in a file.
constexpr int64_t record_offset(int64_t index) {
  return int64_t(TRAINING_HEADER_BYTES) + index * int64_t(sizeof(TrainingRecord));
}

struct TrainingFile {
  std::string path;
  int fd = -1;
  int64_t records = 0;     // whole records
  int64_t tail_bytes = 0;  // bytes of a record cut short at the end
  // A game corpus: its records, decoded, and what the file held.
  bool corpus = false;
  std::vector<TrainingRecord> decoded;
  CorpusFileInfo corpus_info;
};

struct TrainingFiles {
  std::vector<TrainingFile> files;
  std::vector<int64_t> first;  // number of each file's first record in the set
  int64_t total = 0;

  TrainingFiles() = default;
  TrainingFiles(const TrainingFiles&) = delete;
  TrainingFiles& operator=(const TrainingFiles&) = delete;
  ~TrainingFiles();
};

// Opens the files and checks their headers; false (with a message on stderr) when one can't be
// read or is not a training file. A folder stands for the corpus files in it, in name order;
// filter picks the positions of corpus games.
bool open_training_files(const std::vector<std::string>& paths, TrainingFiles& files,
                         const CorpusFilter& filter = CorpusFilter{});

// Reads records [begin, begin + count) of the set, across file ends; false on a read error.
bool read_training_records(const TrainingFiles& files, int64_t begin, int64_t count, TrainingRecord* out);
