#include "board/move_list.h"

#include <cstring>

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/move_text.h"
#include "protocol/search_limits.h"
#include "search/thread_data.h"

int apply_move_list(ThreadData& thread, char* moves) {
  int count = 0;
  char* save = nullptr;
  for (char* token = strtok_r(moves, " \t\r\n", &save); token; token = strtok_r(nullptr, " \t\r\n", &save)) {
    search_limits.game_second_last_move = search_limits.game_last_move;
    Move m = parse_move_token(*thread.current_position, token);
    mark_gives_check(*thread.current_position, &m);
    search_limits.game_last_move = m;
    make_move(thread, m, nullptr);
    if (thread.current_position->rule50 == 0) {
      thread.position_stack[0] = *thread.current_position;
      thread.current_position = thread.position_stack;
    }
    ++count;
  }
  return count / 2;
}
