#include "search/history.h"

#include <algorithm>

namespace {

void update_move_histories(ThreadData& thread, int side, Move m, Move prev_move, Move prev_prev_move, int32_t b) {
  const int p = move_piece(m), to = move_to(m);
  update_history_entry(thread.move_history[side][p][move_from(m)][to], b);
  update_history_entry(thread.reply_history[side][move_piece(prev_move)][move_to(prev_move)][p][to], b);
  update_history_entry(thread.followup_history[side][move_piece(prev_prev_move)][move_to(prev_prev_move)][p][to], b);
}

void halve(int16_t* begin, size_t count) {
  for (size_t i = 0; i < count; ++i) begin[i] = int16_t(begin[i] / 2);
}

}  // namespace

void update_quiet_histories(ThreadData& thread, int ply, int depth, Move best, Move prev_move,
                            Move prev_prev_move, const Move* quiets_tried, int quiet_count, bool in_check) {
  const int side = side_index(*thread.current_position);
  const int32_t bonus = 16 * std::min(depth * depth, 1600);
  update_move_histories(thread, side, best, prev_move, prev_prev_move, bonus);
  for (int i = quiet_count - 1; i >= 0; --i)
    update_move_histories(thread, side, quiets_tried[i], prev_move, prev_prev_move, -bonus);
  if (!in_check) update_killers(thread, ply, side, prev_move, best);
}

void age_move_ordering(ThreadData& thread) {
  thread.killers[0][0] = thread.killers[2][0];
  thread.killers[0][1] = thread.killers[2][1];
  thread.killers[1][0] = thread.killers[1][1] = 0;
  halve(&thread.move_history[0][0][0][0], sizeof thread.move_history / sizeof(int16_t));
  halve(&thread.reply_history[0][0][0][0][0], sizeof thread.reply_history / sizeof(int16_t));
  halve(&thread.followup_history[0][0][0][0][0], sizeof thread.followup_history / sizeof(int16_t));
}
