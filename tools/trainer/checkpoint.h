#pragma once
// Everything a run needs to go on: settings, epoch, weights, optimiser state and the loss
// history, in one binary file of this build's float layout.
#include <string>
#include <vector>

#include "trainer/adam.h"
#include "trainer/float_model.h"
#include "trainer/options.h"

struct EpochRow {
  int32_t epoch;
  double train_loss;
  double validation_loss;
  double learning_rate;
  double positions_per_second;
  double seconds;
};

struct Checkpoint {
  TrainSettings settings;
  int32_t epoch = 0;  // epochs finished
  FloatModel model;
  AdamState adam;
  std::vector<EpochRow> history;
};

// Writes path by way of a temporary file, so a crash leaves the previous checkpoint whole.
bool save_checkpoint(const Checkpoint& checkpoint, const std::string& path);

// False (with a message) when the file can't be read or was written with another layout.
bool load_checkpoint(const std::string& path, Checkpoint& checkpoint);
