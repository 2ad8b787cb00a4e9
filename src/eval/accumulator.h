#pragma once
// The first layer kept per ply and per view, updated lazily from the feature
// changes that make_move records; a view whose king has moved is rebuilt by way of
// the thread's refresh cache.
#include "eval/eval_forms.h"
#include "eval/ply_record.h"

struct ThreadData;
struct Position;

// Brings the accumulators of record ply up to date; current_position must be the position at ply.
// apply_rows is the form that adds the rows: the engine's unless a test or benchmark picks one.
void update_accumulators(ThreadData& thread, int ply, ApplyRows apply_rows = engine_eval_form->apply_rows);

// Writes the accumulator of one view (0: side to move, 1: the other side) from scratch.
void rebuild_accumulator(const Position& pos, int view, int16_t* acc, ApplyRows apply_rows = engine_eval_form->apply_rows);
