// Stand-in for go until the search exists: answers at once with the first legal move of
// thread 0's position, or 0000 when there is none. The search replaces this file.
#include <cstdio>

#include "board/movegen.h"
#include "board/move_text.h"
#include "protocol/commands.h"
#include "protocol/search_limits.h"
#include "search/thread_data.h"

void command_go(char*) {
  search_limits.EngineLock.lock();
  ensure_memory_block();
  ensure_position();
  const Position& pos = *search_limits.thread_blocks[0].current_position;
  ScoredMove list[MAX_MOVES];
  const ScoredMove* end = generate_legal(pos, list);
  char text[8] = "0000";
  if (end != list) move_text(pos, list[0].move, text);
  search_limits.OutputLock.lock();
  std::printf("bestmove %s\n", text);
  std::fflush(stdout);
  search_limits.OutputLock.unlock();
  search_limits.EngineLock.unlock();
}
