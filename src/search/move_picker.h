#pragma once
// The staged move picker of search and qsearch: a stage number and a list in the node's
// frame. Nothing is generated before the hash move has had its turn, and no quiet move
// before the killers and the counter move. Every move returned is legal, its check bit exact.
#include <utility>

#include "board/move_checks.h"
#include "board/movegen.h"
#include "board/move_scores.h"
#include "board/see.h"
#include "search/history.h"
#include "search/score.h"
#include "search/search_margins.h"

enum PickStage : int {
  PICK_HASH_MOVE = 0,
  PICK_GENERATE = 1,
  PICK_GOOD_CAPTURES = 2,
  PICK_KILLER_1 = 3,
  PICK_KILLER_2 = 4,
  PICK_COUNTER_MOVE = 5,
  PICK_GENERATE_QUIETS = 6,
  PICK_REMAINING = 7
};

struct MovePicker {
  ScoredMove* end;  // behind the last unpicked entry
  int stage;
  Move hash_move;
  Move counter_move;  // known from the counter-move stage on
  ScoredMove list[MAX_MOVES];
};

inline void start_picker(MovePicker& mp, Move hash_move) {
  mp.end = mp.list;
  mp.stage = PICK_HASH_MOVE;
  mp.hash_move = hash_move;
  mp.counter_move = 0;
}

// Brings the highest-scored unpicked entry, the one nearest the end among equals, to
// the last unpicked place and returns it there. Needs a non-empty range.
inline ScoredMove* select_best(ScoredMove* list, ScoredMove* end) {
  ScoredMove* best = end - 1;
  for (ScoredMove* p = end - 1; p != list;) {
    --p;
    if (p->score > best->score) best = p;
  }
  std::swap(*best, end[-1]);
  return end - 1;
}

// The first two stages, alike in search and qsearch: the hash move, then the first
// generation (evasions in check, else captures and queen promotions). Returns the hash
// move, or move 0 once the list is generated.
inline ScoredMove hash_move_or_generate(MovePicker& mp, const Position& pos, bool checked, bool underpromotions) {
  if (mp.stage == PICK_HASH_MOVE) {
    mp.stage = PICK_GENERATE;
    if (mp.hash_move) return {GOOD_MOVE_SCORE, mp.hash_move};
  }
  mp.end = checked ? generate_evasions(pos, mp.list, underpromotions) : generate_captures(pos, mp.list);
  mp.stage = PICK_GOOD_CAPTURES;
  return {0, 0};
}

// Takes the highest-scored entry out of the list while it is a good capture; passes over
// the hash move and illegal moves. Null when no good capture is left.
inline ScoredMove* next_good_capture(MovePicker& mp, const Position& pos) {
  while (mp.end != mp.list) {
    ScoredMove* p = select_best(mp.list, mp.end);
    if (p->score < GOOD_MOVE_SCORE) return nullptr;
    --mp.end;
    if (!same_move(p->move, mp.hash_move) && !legality_attackers(pos, p->move)) return p;
  }
  return nullptr;
}

// Adds the history score to the quiet moves of the range; captures and promotions keep theirs.
inline void add_quiet_history(const ThreadData& thread, ScoredMove* begin, ScoredMove* end, Move prev_move,
                              Move prev_prev_move) {
  const int side = side_index(*thread.current_position);
  for (ScoredMove* p = begin; p != end; ++p)
    if (!(p->move & MOVE_TACTICAL)) p->score += history_score(thread, side, p->move, prev_move, prev_prev_move);
}

// A killer or counter move, marked for check, if it is still a legal quiet move here; else 0.
inline Move playable_quiet(const ThreadData& thread, const Position& pos, Move m, Move hash_move) {
  if (!m || same_move(m, hash_move) || !is_possible_quiet(thread, m) || legality_attackers(pos, m)) return 0;
  mark_gives_check(pos, &m);
  return m;
}

// The next good capture that also passes the exchange test; one that fails it goes back
// to the list with a bad-capture score, for the last stage. Null when none is left.
inline ScoredMove* next_winning_capture(const ThreadData& thread, MovePicker& mp, const Position& pos) {
  while (ScoredMove* p = next_good_capture(mp, pos)) {
    const Move m = p->move;
    // Only a victim worth less than the attacker leaves the exchange open.
    if (SEE_VALUES[move_piece(m)] > SEE_VALUES[move_captured(m)]) {
      const int v = see(thread, m);
      if (v < 0) {
        p->score = bad_capture_score(v, p->score);
        ++mp.end;
        continue;
      }
    }
    return p;
  }
  return nullptr;
}

// The last stage of a search node: the rest of the list, best first, without the moves
// that earlier stages returned; move 0 when none is left.
inline ScoredMove next_remaining_move(const ThreadData& thread, MovePicker& mp, const Position& pos, int ply,
                                      bool checked) {
  while (mp.end != mp.list) {
    const ScoredMove* p = select_best(mp.list, mp.end);
    --mp.end;
    Move m = p->move;
    if (!checked && (same_move(m, thread.killers[ply][0]) || same_move(m, thread.killers[ply][1]) ||
                     same_move(m, mp.counter_move)))
      continue;
    if (same_move(m, mp.hash_move) || legality_attackers(pos, m)) continue;
    if (checked || (m & MOVE_TACTICAL)) mark_gives_check(pos, &m);
    return {p->score, m};
  }
  return {0, 0};
}

// The next move of a search node, or move 0 when none is left.
inline ScoredMove next_move(ThreadData& thread, MovePicker& mp, int ply, int depth, bool checked, Move prev_move,
                            Move prev_prev_move) {
  const Position& pos = *thread.current_position;
  switch (mp.stage) {
    case PICK_HASH_MOVE:
    case PICK_GENERATE:
      if (const ScoredMove sm = hash_move_or_generate(mp, pos, checked, depth >= UNDERPROMOTION_MIN_DEPTH); sm.move)
        return sm;
      [[fallthrough]];
    case PICK_GOOD_CAPTURES:
      if (ScoredMove* p = next_winning_capture(thread, mp, pos)) {
        Move m = p->move;
        mark_gives_check(pos, &m);
        return {p->score, m};
      }
      if (checked) {
        add_quiet_history(thread, mp.list, mp.end, prev_move, prev_prev_move);
        mp.stage = PICK_REMAINING;
        return next_remaining_move(thread, mp, pos, ply, checked);
      }
      [[fallthrough]];
    case PICK_KILLER_1:
      mp.stage = PICK_KILLER_2;
      if (Move k = playable_quiet(thread, pos, thread.killers[ply][0], mp.hash_move)) return {KILLER_SCORE, k};
      [[fallthrough]];
    case PICK_KILLER_2:
      mp.stage = PICK_COUNTER_MOVE;
      if (Move k = playable_quiet(thread, pos, thread.killers[ply][1], mp.hash_move)) return {KILLER_SCORE, k};
      [[fallthrough]];
    case PICK_COUNTER_MOVE: {
      mp.stage = PICK_GENERATE_QUIETS;
      const Move c = mp.counter_move = counter_move_entry(thread, side_index(pos), prev_move);
      if (!same_move(c, thread.killers[ply][0]) && !same_move(c, thread.killers[ply][1]))
        if (Move m = playable_quiet(thread, pos, c, mp.hash_move)) return {KILLER_SCORE, m};
    }
      [[fallthrough]];
    case PICK_GENERATE_QUIETS:
      if (depth >= UNDERPROMOTION_MIN_DEPTH) mp.end = generate_underpromotions(pos, mp.end);
      mp.end = generate_quiets(pos, mp.end, false);
      add_quiet_history(thread, mp.list, mp.end, prev_move, prev_prev_move);
      mp.stage = PICK_REMAINING;
      [[fallthrough]];
    case PICK_REMAINING:
      return next_remaining_move(thread, mp, pos, ply, checked);
  }
  return {0, 0};
}

// The next move of a quiescence node: hash move, captures (evasions in check), then,
// on the first ply only, quiet checks; or move 0 when none is left.
inline ScoredMove next_qsearch_move(ThreadData& thread, MovePicker& mp, bool checked, bool checks_off,
                                    Move prev_move, Move prev_prev_move) {
  const Position& pos = *thread.current_position;
  switch (mp.stage) {
    case PICK_HASH_MOVE:
    case PICK_GENERATE:
      if (const ScoredMove sm = hash_move_or_generate(mp, pos, checked, false); sm.move) return sm;
      [[fallthrough]];
    case PICK_GOOD_CAPTURES:
      if (ScoredMove* p = next_good_capture(mp, pos)) {
        Move m = p->move;
        mark_gives_check(pos, &m);
        return {p->score, m};
      }
      if (!checked && !checks_off) mp.end = generate_quiets(pos, mp.end, true);
      {
        // Every remaining entry, whatever its kind, is ordered by history here.
        const int side = side_index(pos);
        for (ScoredMove* p = mp.list; p != mp.end; ++p)
          p->score += history_score(thread, side, p->move, prev_move, prev_prev_move);
      }
      mp.stage = PICK_REMAINING;
      [[fallthrough]];
    default:
      while (mp.end != mp.list) {
        const ScoredMove* p = select_best(mp.list, mp.end);
        --mp.end;
        Move m = p->move;
        if (same_move(m, mp.hash_move) || legality_attackers(pos, m)) continue;
        if (!(m & MOVE_GIVES_CHECK)) mark_gives_check(pos, &m);
        return {p->score, m};
      }
      return {0, 0};
  }
}
