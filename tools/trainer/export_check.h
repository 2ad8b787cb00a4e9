#pragma once
// "Exported equals trained": the engine's own evaluate on a blob against the float model it came
// from, position by position.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trainer/float_model.h"

struct TrainingRecord;

struct ExportCheck {
  size_t positions = 0;         // valid records compared
  double mean_difference = 0;   // mean of |engine score - model output|, score units
  double max_difference = 0;
};

// Loads blob into the engine for the time of the call (then puts the previous network back) and
// scores each valid record with the engine (Chess960 off) and with the model's forward pass in
// the given arithmetic (see ForwardNetwork). Needs the board tables built.
ExportCheck compare_with_engine(const FloatModel& model, bool fixed_point, const std::vector<uint8_t>& blob,
                                const TrainingRecord* records, size_t count);
