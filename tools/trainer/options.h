#pragma once
// The command line of `trainer train`, and the settings that a checkpoint carries on.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "common/game_corpus.h"

// What defines a run; kept in the checkpoint, so a resumed run goes on with the same values
// unless the command line names new ones.
struct TrainSettings {
  int32_t epochs = 10;
  int32_t batch = 16384;
  double learning_rate = 1e-3;
  int32_t lr_drop = 4;     // step schedule: the rate is multiplied by lr_gamma every lr_drop epochs
  double lr_gamma = 0.3;
  int32_t cosine = 0;      // 1: cosine decay from learning_rate to learning_rate * lr_gamma over the epochs
  int32_t fixed_point = 1;  // train through the engine's fixed-point arithmetic (0: real numbers)
  double lambda = 0.7;
  double scale = 400.0 / std::log(10.0);
  double validation_share = 0.01;
  uint64_t seed = 1;
};

// Records read and shuffled together: 512 MB of them, two chunks at a time in memory.
constexpr int64_t DEFAULT_CHUNK_RECORDS = int64_t(1) << 24;

struct TrainOptions {
  TrainSettings settings;
  std::vector<std::string> data;
  std::string out;
  std::string resume;
  std::string init;  // a network blob to start from
  int threads = 1;
  int64_t chunk = DEFAULT_CHUNK_RECORDS;
  bool mirror = false;  // positions without castling rights turned left to right at random
  bool factoriser = true;  // false: no shared king-independent rows (for measuring what they bring)
  CorpusFilter corpus_filter;  // which positions of corpus games are read
};

// Reads the arguments after "train" over options (so the settings of a checkpoint can be the
// base); false with a message on a bad argument.
bool parse_train_options(int argc, char** argv, TrainOptions& options);

// The learning rate of epoch (counted from 1).
double learning_rate(const TrainSettings& settings, int epoch);

// The usage text of all commands.
extern const char* const TRAINER_USAGE;
