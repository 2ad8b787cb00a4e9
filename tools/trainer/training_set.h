#pragma once
// The training files as the trainer reads them. A fixed share of the records, drawn record by
// record from the seed, is held out for validation and kept in memory. The rest is read afresh
// each epoch, in chunks: the epoch cuts the set into blocks of consecutive records, shuffles the
// blocks, takes them a chunk's worth at a time and shuffles the positions within each chunk. A
// chunk as large as the set is a shuffle of all of it; a smaller one bounds the memory to two
// chunks (the one in use and the next one, read meanwhile), however large the files.
#include <cstdint>
#include <string>
#include <vector>

#include "common/training_file.h"
#include "common/training_record.h"

// Blocks are this long at most, and an eighth of a chunk when chunks are small: long enough
// for reads of whole stretches of a file, short enough to mix the games of many blocks.
constexpr int64_t MAX_BLOCK_RECORDS = 1 << 16;

struct TrainingSet {
  TrainingFiles files;
  double validation_share = 0;
  uint64_t seed = 0;
  int64_t chunk_records = 0;  // records read for one chunk
  int64_t block_records = 0;
  std::vector<TrainingRecord> validation;  // in file order
  int64_t training_positions = 0;          // valid records that are not held out
  int64_t dropped = 0;                     // records that no game gives
  // Training records without castling rights are turned left to right by a coin that the
  // seed, the epoch and the record's number toss: each epoch sees about half of them mirrored,
  // not the same half. The held-out records stay as they are.
  bool mirror = false;
};

// Whether record `index` of the set is held out for validation.
bool held_out(uint64_t seed, double share, int64_t index);

// Opens the files and reads them once, for the held-out records (at most validation_limit of
// them; -1: all) and the counts. False (with a message) when a file can't be read or isn't a
// training file.
bool open_training_set(const std::vector<std::string>& paths, double validation_share, uint64_t seed,
                       int64_t chunk_records, TrainingSet& set, int64_t validation_limit = -1,
                       const CorpusFilter& filter = CorpusFilter{});

// The first record of each block in the order of an epoch, which the seed and the epoch fix.
std::vector<int64_t> epoch_blocks(const TrainingSet& set, int epoch);

// Chunks in an epoch.
int epoch_chunks(const TrainingSet& set, const std::vector<int64_t>& blocks);

struct Chunk {
  std::vector<TrainingRecord> records;  // valid training records of the chunk's blocks
  std::vector<uint32_t> order;          // the order in which the steps take them
};

// Reads chunk `index` of an epoch; false on a read error.
bool load_chunk(const TrainingSet& set, const std::vector<int64_t>& blocks, int epoch, int index, Chunk& chunk);
