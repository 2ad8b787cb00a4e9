#include "board/perft.h"

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/movegen.h"
#include "search/thread_data.h"

namespace {

// The pseudo-legal moves in the order of the search's stages.
inline ScoredMove* generate_stages(const Position& pos, ScoredMove* list) {
  if (in_check(pos)) return generate_evasions(pos, list, true);
  list = generate_captures(pos, list);
  list = generate_underpromotions(pos, list);
  return generate_quiets(pos, list, false);
}

// make_move copies the gives-check bit into the child's in-check flag, so it must be
// exact; quiet moves out of check come with it from the generator.
inline Move with_exact_check(const Position& pos, Move m) {
  if (in_check(pos) || (m & MOVE_TACTICAL)) mark_gives_check(pos, &m);
  return m;
}

uint64_t perft_inner(ThreadData& thread, int depth) {
  const Position& pos = *thread.current_position;
  ScoredMove list[MAX_MOVES];
  const ScoredMove* end = generate_stages(pos, list);
  uint64_t nodes = 0;
  if (depth == 1) {
    // Bulk count: the last ply only needs the legality test.
    for (const ScoredMove* sm = list; sm != end; ++sm) nodes += legality_attackers(pos, sm->move) == 0;
    return nodes;
  }
  for (const ScoredMove* sm = list; sm != end; ++sm) {
    if (legality_attackers(pos, sm->move)) continue;
    make_move(thread, with_exact_check(pos, sm->move), nullptr);
    nodes += perft_inner(thread, depth - 1);
    undo_move(thread);
  }
  return nodes;
}

}  // namespace

uint64_t perft(ThreadData& thread, int depth) { return depth <= 0 ? 1 : perft_inner(thread, depth); }

int perft_divide(ThreadData& thread, int depth, PerftDivideEntry* entries) {
  const Position& pos = *thread.current_position;
  ScoredMove list[MAX_MOVES];
  const ScoredMove* end = generate_stages(pos, list);
  int count = 0;
  for (const ScoredMove* sm = list; sm != end; ++sm) {
    if (legality_attackers(pos, sm->move)) continue;
    const Move m = with_exact_check(pos, sm->move);
    make_move(thread, m, nullptr);
    entries[count++] = {m, perft(thread, depth - 1)};
    undo_move(thread);
  }
  return count;
}
