#pragma once
// Training files in memory, and their split into a training and a validation part.
#include <cstdint>
#include <string>
#include <vector>

#include "common/training_record.h"

// Appends the valid records of each file to records; false (with a message) when a file can't be
// read or isn't a training file. Records that no game gives are dropped and counted on stdout.
bool load_records(const std::vector<std::string>& paths, std::vector<TrainingRecord>& records);

// A fixed share of the records, drawn by seed, for validation; the rest for training. The same
// count, share and seed give the same split.
void split_records(size_t count, double validation_share, uint64_t seed, std::vector<uint32_t>& training,
                   std::vector<uint32_t>& validation);
