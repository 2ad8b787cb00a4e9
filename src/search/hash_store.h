#pragma once
// A search node and the hash table: the reading of its entry, and who may replace what.
// Only the single slot is looked at, never the key of the entry that lives there: an entry
// of an older search always gives way.
#include <algorithm>

#include "search/hash_table.h"
#include "search/thread_data.h"

// A node's reading of its hash entry; all zero on a miss.
struct NodeEntry {
  bool hit;
  int32_t score;  // counted from the root again
  int depth;
  uint32_t bound;
  ShortMove move;
  int32_t static_eval;
};

inline NodeEntry probe_node_entry(uint64_t key, int ply) {
  uint64_t data;
  if (!probe_hash(key, data)) return {};
  return {true,           score_from_hash(hash_score(data), ply), hash_depth(data), hash_bound(data),
          hash_move(data), hash_static_eval(data)};
}

// Whether a stored score with this bound settles the window (the depth is tested by the caller).
inline bool hash_score_cuts(int32_t score, uint32_t bound, int32_t alpha, int32_t beta) {
  return bound == BOUND_EXACT || (bound == BOUND_LOWER ? score >= beta : score <= alpha);
}

// Whether the entry ends a node that needs at least min_depth.
inline bool entry_cuts(const NodeEntry& e, int min_depth, int32_t alpha, int32_t beta) {
  return e.hit && e.depth >= min_depth && hash_score_cuts(e.score, e.bound, alpha, beta);
}

// A node's working value after a hit that did not cut: the stored score when exact (or in check),
// else the stored static evaluation moved toward the stored bound.
inline int32_t value_after_hash_hit(int32_t static_eval, int32_t score, uint32_t bound, bool checked) {
  return checked || bound == BOUND_EXACT ? score
         : bound == BOUND_LOWER          ? std::max(static_eval, score)
                                         : std::min(static_eval, score);
}

// A hit that did not cut: the node takes the stored static evaluation; returns its working value.
inline int32_t adopt_entry(ThreadData& thread, int ply, const NodeEntry& e, bool checked) {
  thread.static_evals[ply] = e.static_eval;
  return value_after_hash_hit(e.static_eval, e.score, e.bound, checked);
}

inline bool is_current_main_entry(uint64_t resident) {
  return hash_generation_of(resident) == (search_limits.hash_generation & HASH_GENERATION_MASK) &&
         hash_depth(resident) >= 1;  // a main-search entry: quiescence stores depths of 0 and below
}

// End of a search node. A PV node always overwrites; any other node leaves an exact
// main-search entry of this search alone.
inline void store_search_entry(uint64_t key, uint32_t node_type, int depth, Move move, uint32_t bound, int32_t score,
                               int ply, int32_t static_eval) {
  if (node_type != NODE_PV) {
    const uint64_t resident = hash_slot(key).hash_data.load(std::memory_order_relaxed);
    if (is_current_main_entry(resident) && (resident & BOUND_EXACT)) return;
  }
  write_hash(key, make_hash_data(depth, short_move_of(move), bound, search_limits.hash_generation,
                                 score_to_hash(score, ply), static_eval));
}

// End of a quiescence node (depth 0, or -1 below the first ply): it never displaces a
// main-search entry of this search.
inline void store_qsearch_entry(uint64_t key, int depth, Move move, uint32_t bound, int32_t score, int ply,
                                int32_t static_eval) {
  if (is_current_main_entry(hash_slot(key).hash_data.load(std::memory_order_relaxed))) return;
  write_hash(key, make_hash_data(depth, short_move_of(move), bound, search_limits.hash_generation,
                                 score_to_hash(score, ply), static_eval));
}

// A completed iteration at the root: exact, unconditional, the score as it stands.
inline void store_root_entry(uint64_t key, int depth, Move first_move, int32_t score, int32_t static_eval) {
  write_hash(key, make_hash_data(depth, short_move_of(first_move), BOUND_EXACT, search_limits.hash_generation, score,
                                 static_eval));
}
