#pragma once
// The first layer kept per ply and per view, updated lazily from the feature
// changes that make_move records, or rebuilt when the view's king has moved.
#include "eval/ply_record.h"

struct ThreadData;
struct Position;

// Brings the accumulators of record ply up to date; current_position must be the position at ply.
void update_accumulators(ThreadData& thread, int ply);

// Writes the accumulator of one view (0: side to move, 1: the other side) from scratch.
void rebuild_accumulator(const Position& pos, int view, int16_t* acc);
