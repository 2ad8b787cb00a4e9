#include "search/print_info.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/move_text.h"
#include "protocol/search_limits.h"
#include "search/hash_table.h"

void score_text(int32_t score, char* text) {
  if (std::abs(score) < SCORE_DECIDED) {
    std::snprintf(text, 24, "cp %d", score);
    return;
  }
  // A mate at ply p scores SCORE_MATE - p for the winner and p - SCORE_MATE for the loser.
  const int32_t moves = score > 0 ? (SCORE_INFINITE - score) / 2 : (-SCORE_MATE - score) / 2;
  std::snprintf(text, 24, "mate %d", moves);
}

void print_info(ThreadData& thread, uint32_t line, int32_t tb_score, int64_t time, int64_t nodes, int64_t tb_hits,
                int32_t depth) {
  search_limits.OutputLock.lock();
  std::printf("info multipv %u depth %d time %" PRId64 " nodes %" PRId64 " nps %" PRId64 " tbhits %" PRId64 " ",
              line + 1, depth, time, nodes, nodes * 1000 / (time + 1), tb_hits);
  const int32_t searched = thread.root_scores[line];
  // A mate found by the search says more than the table's verdict on the root.
  const int32_t shown = tb_score != SCORE_NONE && std::abs(searched) < SCORE_DECIDED ? tb_score : searched;
  char text[24];
  score_text(shown, text);
  std::printf("score %s pv ", text);

  Position* const root = thread.current_position;
  const Move first = thread.root_moves[line].move;
  move_text(*root, first, text);
  std::printf("%s ", text);
  make_move(thread, first, nullptr);
  // The line goes on while the table holds an exact entry with a playable move. It stops at
  // a repetition, which would lead round in a circle, and at the hundredth half-move without
  // a capture or pawn move, where the game is over: the table may still hold moves there from
  // an earlier search, when the count was lower.
  Position* const last_slot = thread.position_stack + POSITION_STACK_SIZE - 1;
  while (thread.current_position < last_slot) {
    const Position& pos = *thread.current_position;
    uint64_t data;
    if ((pos.flags & FLAG_REPETITION) || pos.rule50 >= 100 || !probe_hash(pos.key, data)) break;
    if (!(data & BOUND_EXACT) || !hash_move(data)) break;
    const Move m = validate_hash_move(thread, hash_move(data));
    if (!m) break;
    move_text(pos, m, text);
    std::printf("%s ", text);
    make_move(thread, m, nullptr);
  }
  thread.current_position = root;
  std::fputs("\n", stdout);
  std::fflush(stdout);
  search_limits.OutputLock.unlock();
}
