#pragma once
// Win/draw/loss and distance-to-zeroing probes of the current position of a thread.
// A stored value is the best the side to move can do without a capture, so every answer
// is put together from the tables and a small search of the captures. The position
// must have no castling rights; the position stack is left as it was found.
//
// WDL values, from the side to move: -2 loss, -1 loss the fifty-move rule spoils, 0 draw,
// 1 win the rule spoils, 2 win.
//
// success: 0 a needed table is missing or unusable (the result means nothing), 1 the
// result comes from the tables, 2 it comes from a capture that is the best move.
// probe_table alone may set -1: the DTZ file holds the other side to move.
#include "search/thread_data.h"

// Distance value of a WDL result reached by a zeroing move, by w + 2.
constexpr int WDL_TO_DTZ[5] = {-1, -101, 0, 101, 1};

int probe_wdl(ThreadData& thread, int& success);

// Plies to the next capture or pawn move that keeps the result, signed like the WDL
// value; results the fifty-move rule spoils count from 101.
int probe_dtz(ThreadData& thread, int& success);

// The best WDL value within alpha..beta with captures resolved.
int probe_captures(ThreadData& thread, int alpha, int beta, int& success);

// The stored value of the position: kind WDL gives -2..2, kind DTZ the stored distance
// for a position of WDL value w (never 0 for DTZ), never negative.
int probe_table(ThreadData& thread, int w, int& success, int kind);
