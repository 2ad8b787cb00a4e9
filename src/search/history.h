#pragma once
// The tables that learn from cut-offs: killers, counter moves and three histories.
// Squares are those of the move words, each in the frame of the side that moved.
#include <cstdlib>

#include "board/move.h"
#include "board/position.h"
#include "search/thread_data.h"

// Side index of the tables: 0 for White to move, 1 for Black.
inline int side_index(const Position& pos) { return side_bit(pos) >> 3; }

// Saturating update: a bonus moves a large value little, so no clamp is needed.
inline void update_history_entry(int16_t& h, int32_t b) {
  const int32_t v = h;
  h = int16_t(v + b - (std::abs(b) * v) / 32767);
}

// The ordering score of a quiet move from its three histories.
inline int32_t history_score(const ThreadData& thread, int side, Move m, Move prev_move, Move prev_prev_move) {
  const int p = move_piece(m), to = move_to(m);
  return thread.move_history[side][p][move_from(m)][to] +
         2 * (thread.reply_history[side][move_piece(prev_move)][move_to(prev_move)][p][to] +
              thread.followup_history[side][move_piece(prev_prev_move)][move_to(prev_prev_move)][p][to]);
}

inline Move& counter_move_entry(ThreadData& thread, int side, Move prev_move) {
  return thread.counter_moves[side][move_piece(prev_move)][move_from(prev_move)][move_to(prev_move)];
}

// A quiet move that cut off becomes the first killer of its ply and the answer to prev_move.
inline void update_killers(ThreadData& thread, int ply, int side, Move prev_move, Move best) {
  const Move m = best & ~MOVE_GIVES_CHECK;
  Move* row = thread.killers[ply];
  if (m != row[0]) {
    row[1] = row[0];
    row[0] = m;
  }
  counter_move_entry(thread, side, prev_move) = m;
}

// Rewards the quiet move that cut off and punishes the quiet moves searched before it in vain;
// killers and the counter move learn it too unless the side is in check.
void update_quiet_histories(ThreadData& thread, int ply, int depth, Move best, Move prev_move,
                            Move prev_prev_move, const Move* quiets_tried, int quiet_count, bool in_check);

// Start of a search: killers of ply 0 take the old ply-2 pair, histories are halved.
void age_move_ordering(ThreadData& thread);
