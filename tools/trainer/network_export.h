#pragma once
// The float model as an engine network blob: factor rows folded into their king rows, every
// value scaled to its fixed-point type and rounded to nearest, header and trailer words set.
#include <cstdint>
#include <vector>

#include "trainer/fixed_point.h"
#include "trainer/float_model.h"

// Rows of pawns on the first or last rank: no position switches them on, and the blob holds zeros.
bool unused_pawn_row(int row);

// The value of a row lane of the blob: king row plus factor row, scaled; 0 for the rows of pawns
// on the first and last rank, which no position switches on.
int16_t folded_lane(const FloatModel& model, int row, int lane);

// The whole blob, NETWORK_BLOB_SIZE bytes.
std::vector<uint8_t> export_network(const FloatModel& model);

// Writes or reads a blob file; false or empty (with a message on stderr) on failure or a wrong size.
bool write_network_file(const std::vector<uint8_t>& blob, const char* path);
std::vector<uint8_t> read_network_file(const char* path);
