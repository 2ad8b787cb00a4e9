#pragma once
// Who may replace what in the hash table. Only the single slot is looked at, never the
// key of the entry that lives there: an entry of an older search always gives way.
#include "search/hash_table.h"

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
  write_hash(key, make_hash_data(depth + HASH_DEPTH_OFFSET, short_move_of(move), bound, search_limits.hash_generation,
                                 score_to_hash(score, ply), static_eval));
}

// End of a quiescence node: it never displaces a main-search entry of this search.
inline void store_qsearch_entry(uint64_t key, int depth_code, Move move, uint32_t bound, int32_t score, int ply,
                                int32_t static_eval) {
  if (is_current_main_entry(hash_slot(key).hash_data.load(std::memory_order_relaxed))) return;
  write_hash(key, make_hash_data(depth_code, short_move_of(move), bound, search_limits.hash_generation,
                                 score_to_hash(score, ply), static_eval));
}

// A completed iteration at the root: exact, unconditional, the score as it stands.
inline void store_root_entry(uint64_t key, int depth, Move first_move, int32_t score, int32_t static_eval) {
  write_hash(key, make_hash_data(depth + HASH_DEPTH_OFFSET, short_move_of(first_move), BOUND_EXACT, search_limits.hash_generation,
                                 score, static_eval));
}
