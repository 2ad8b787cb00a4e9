#include "protocol/saved_root.h"

#include <algorithm>
#include <cstring>

#include "search/thread_data.h"

SavedRoot saved_root;

void save_root(const ThreadData& thread) {
  // A very long reversible sequence loses its oldest positions: the other threads then miss
  // a repetition that far back. make_move never looks below the bottom of the stack.
  const int used = int(thread.current_position - thread.position_stack) + 1;
  const int kept = std::min(used, SAVED_ROOT_SLOTS);
  std::memcpy(saved_root.position_stack, thread.current_position - (kept - 1), sizeof(Position) * size_t(kept));
  saved_root.current_position = saved_root.position_stack + (kept - 1);
  const size_t moves = size_t(thread.root_end - thread.root_moves);
  std::memcpy(saved_root.root_moves, thread.root_moves, sizeof(ScoredMove) * moves);
  saved_root.root_end = saved_root.root_moves + moves;
}

void load_saved_root(ThreadData& thread) {
  const size_t kept = size_t(saved_root.current_position - saved_root.position_stack) + 1;
  std::memcpy(thread.position_stack, saved_root.position_stack, sizeof(Position) * kept);
  thread.current_position = thread.position_stack + (kept - 1);
  const size_t moves = size_t(saved_root.root_end - saved_root.root_moves);
  std::memcpy(thread.root_moves, saved_root.root_moves, sizeof(ScoredMove) * moves);
  thread.root_end = thread.root_moves + moves;
}
