#pragma once
// The loss history as a table and as a picture: losses.csv and losses.svg in the output folder.
#include <string>
#include <vector>

#include "trainer/checkpoint.h"

// epoch,train_loss,validation_loss,learning_rate,positions_per_second,seconds
bool write_loss_csv(const std::vector<EpochRow>& history, const std::string& path);

// Both loss curves over the epochs, with axes, ticks, labels and a legend.
bool write_loss_svg(const std::vector<EpochRow>& history, const std::string& path);
