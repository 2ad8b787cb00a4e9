#pragma once
// Worker processes: the search keeps its state in process-wide globals, so parallel games
// need separate processes. Each worker writes its share of the positions to a part file;
// the parent shows progress from counters in shared memory and joins the parts into one
// training file at the end.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "common/split_mix_rng.h"
#include "common/training_record.h"

struct SharedProgress {
  std::atomic<int64_t> positions;
  std::atomic<int64_t> games;
  std::atomic<int64_t> white_wins;
  std::atomic<int64_t> draws;
  std::atomic<int64_t> black_wins;
};

struct WorkerTask {
  int index;
  int64_t target;    // positions this worker writes
  int64_t written;   // positions written so far
  SplitMixRng rng;
  std::FILE* out;    // the worker's part file: records only, no header
  SharedProgress* progress;
};

// Plays games until task.written reaches task.target; false on a failure, which it reports.
using WorkerBody = std::function<bool(WorkerTask&)>;

// Writes a finished game's records, as many as the worker's share still takes, and counts
// the game with its result (White's view: 1, 0, -1). False on a write error.
bool write_game(WorkerTask& task, const std::vector<TrainingRecord>& records, int white_result);

// Runs `threads` workers for `positions` positions in all and writes the file `out`
// (header, then the records of worker 0, 1, ...). The seed and a worker's index fix its
// games. Returns the exit status for main.
int run_workers(const std::string& out, int64_t positions, int threads, uint64_t seed, const WorkerBody& body);
