#pragma once
// A thread's accumulators by king square: for each side and each square of its king, the
// accumulator last built there and the pieces it was built from. A view whose king moved
// starts from that entry and changes only the rows of the pieces that differ, which after
// a king step back and forth in the search are few instead of every piece on the board.
#include <cstdint>

#include "board/types.h"
#include "eval/eval_forms.h"
#include "eval/network_shape.h"

struct Position;

// The rows a view holds, in the view's frame: own pawns to queens (planes 0..4), enemy
// pawns to queens (planes 5..9), and bit 0 / bit 1 for the own king- / queen-side right.
struct ViewPieces {
  Bitboard planes[10];
  uint32_t rights;
};

struct RefreshEntry {
  alignas(64) int16_t accumulator[L1_SIZE];
  ViewPieces pieces;
  // The network_generation the entry was built under; any other value: never built, and
  // the entry starts again from the biases. A zeroed or new entry is therefore empty.
  uint32_t network_stamp = 0;
};

struct RefreshCache {
  RefreshEntry entries[2][64];  // [colour][own king square in the view's frame]
};

// Writes the accumulator of one view (0: side to move) of pos into acc by way of the
// entry of its king square, and leaves the entry holding pos.
void refresh_accumulator(RefreshCache& cache, const Position& pos, int view, int16_t* acc,
                         ApplyRows apply_rows = engine_eval_form->apply_rows);
