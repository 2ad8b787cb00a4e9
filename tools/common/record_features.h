#pragma once
// The first-layer rows that a training record switches on, for both views, in the row
// numbering of the engine's network (plane x 4096 + square x 64 + own king square, then the
// two castling rows). View 0 is the side to move, view 1 the other side, each in its own frame.
#include <cstdint>

#include "eval/network.h"

struct TrainingRecord;

// Thirty pieces besides the kings and two castling rights.
constexpr int MAX_VIEW_FEATURES = 32;

struct RecordFeatures {
  int count[2];
  uint32_t rows[2][MAX_VIEW_FEATURES];
};

// Row of a piece of plane 0..9 (own pawn..queen, enemy pawn..queen) on square with the own king
// on king_square, all in the view's frame.
constexpr uint32_t piece_row(int plane, int square, int king_square) {
  return uint32_t(plane * 4096 + square * 64 + king_square);
}

// False for a record that no game gives: more than 32 pieces, or not one king a side.
bool record_is_valid(const TrainingRecord& record);

// The rows of both views of a valid record; pieces by square, then the rights.
void record_features(const TrainingRecord& record, RecordFeatures& features);
