#pragma once
// A network blob as a float model, the way back of the export: a new generation starts from
// the weights of the one before instead of from random numbers.
//
// Each piece row of the blob is the sum of a king row and a factor row in the model. The factor
// row of a (plane, square) group takes the middle of the range of its 64 blob rows, lane by lane,
// and the king rows keep the rest: every model row then stays within the trainer's row limit
// whenever the blob allows it (a blob the trainer exported always does), and the export gives back
// the blob's values exactly.
#include <cstdint>

#include "trainer/float_model.h"

// Fills model from blob (NETWORK_BLOB_SIZE bytes). Returns the count of lanes that had to be
// clipped to the row limit; they are the only values the export would not give back.
int64_t import_network(const uint8_t* blob, FloatModel& model);
