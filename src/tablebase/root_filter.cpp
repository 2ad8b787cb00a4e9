#include "tablebase/root_filter.h"

#include <algorithm>

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/movegen.h"
#include "protocol/engine_options.h"
#include "protocol/search_limits.h"
#include "search/tablebase_cut.h"
#include "search/score.h"
#include "tablebase/probe.h"

namespace {

bool has_legal_reply(const Position& pos) {
  ScoredMove list[MAX_MOVES];
  ScoredMove* const end = generate_evasions(pos, list, false);
  for (ScoredMove* p = list; p != end; ++p)
    if (!legality_attackers(pos, p->move)) return true;
  return false;
}

// A position the root reached again within the last r half-moves, counting the root itself.
bool repetition_since_zeroing(const ThreadData& thread, int r) {
  const Position* const root = thread.current_position;
  for (const Position* p = root; p >= thread.position_stack && root - p <= r; p -= 2)
    if (p->flags & FLAG_REPETITION) return true;
  return false;
}

}  // namespace

bool root_move_distances(ThreadData& thread, const ScoredMove* root_moves, int count, int d, int32_t* v) {
  int success = 1;
  for (int i = 0; i < count; ++i) {
    make_move(thread, root_moves[i].move, nullptr);
    const Position& after = *thread.current_position;
    if (in_check(after) && d > 0 && !has_legal_reply(after)) {
      v[i] = 1;  // mate: no table has this position, and no move is quicker
    } else if (after.rule50 == 0) {
      const int x = probe_wdl(thread, success);
      v[i] = WDL_TO_DTZ[2 - x];
    } else {
      const int x = probe_dtz(thread, success);
      v[i] = x < 0 ? 1 - x : x > 0 ? -x - 1 : 0;
    }
    undo_move(thread);
    if (!success) return false;
  }
  return true;
}

int32_t tb_root_filter(ThreadData& thread, ScoredMove* root_moves, ScoredMove** root_end) {
  int success;
  const int d = probe_dtz(thread, success);
  if (!success) return SCORE_NONE;
  int32_t v[MAX_MOVES];
  const int count = int(*root_end - root_moves);
  if (!root_move_distances(thread, root_moves, count, d, v)) return SCORE_NONE;

  const Position& root = *thread.current_position;
  const int r = root.rule50;
  const bool rule50 = engine_options.Syzygy50MoveRule;
  int32_t score;
  int low, high;  // the distance values that stay
  if (d > 0) {
    score = rule50 && d + r > 100 ? 0 : tb_score(root, 0, true);
    int best = 0xFFFF;
    for (int i = 0; i < count; ++i)
      if (v[i] > 0) best = std::min(best, v[i]);
    // With room under the fifty-move rule any win that zeroes in time will do, and the
    // search chooses; with none left, or after a repetition, only the quickest stay.
    const int limit = repetition_since_zeroing(thread, r) || best + r >= 100 ? best : 99 - r;
    low = 1;
    high = limit;
  } else if (d == 0) {
    score = 0;
    low = high = 0;
  } else {
    score = rule50 && r - d > 100 ? 0 : tb_score(root, 0, false);
    int worst = 0;
    for (int i = 0; i < count; ++i) worst = std::min(worst, v[i]);
    // Lost: hold out longest once the fifty-move rule comes within reach.
    if (r - 2 * worst < 100) {
      low = -0x7FFFFFFF;
      high = 0x7FFFFFFF;
    } else {
      low = high = worst;
    }
  }

  ScoredMove* kept = root_moves;
  for (int i = 0; i < count; ++i)
    if (v[i] >= low && v[i] <= high) ++kept;
  if (kept != root_moves) {
    kept = root_moves;
    for (int i = 0; i < count; ++i)
      if (v[i] >= low && v[i] <= high) *kept++ = root_moves[i];
    *root_end = kept;
  }
  return score;
}

void apply_root_tables(ThreadData& thread) {
  SearchLimits& limits = search_limits;
  limits.root_tb_score = SCORE_NONE;
  limits.tb_probe_limit = std::min(engine_options.SyzygyProbeLimit, limits.tb_largest);
  const Position& root = *thread.current_position;
  if (limits.tb_probe_limit < popcount(root.bb[OCCUPIED]) || root.castling != NO_CASTLING) return;
  thread.tb_hits = thread.root_end - thread.root_moves;
  const int32_t score = tb_root_filter(thread, thread.root_moves, &thread.root_end);
  if (score == SCORE_NONE) {
    thread.tb_hits = 0;
    return;
  }
  limits.root_tb_score = score;
  limits.tb_probe_limit = 0;
}
