#pragma once
// Training records for the trainer's tests: positions from seeded random games, labelled by
// material so that a small network can learn them.
#include <cstdint>
#include <string>
#include <vector>

#include "common/training_record.h"

// count records from random games (captures preferred, so material varies); the score is the
// mover's material balance in score units, the result its sign beyond a pawn and a half.
std::vector<TrainingRecord> random_play_records(int count, uint64_t seed);

// The same records, byte for byte, in the same order.
bool same_records(const std::vector<TrainingRecord>& a, const std::vector<TrainingRecord>& b);

// A training file: header and records; false on a write error.
bool write_training_file(const std::string& path, const std::vector<TrainingRecord>& records);
