#pragma once
// What search and qsearch do alike when they enter a node: the stop check and the count,
// the draw rules, and the reading of the hash entry.
#include "search/draw_rules.h"
#include "search/hash_table.h"
#include "search/node_check.h"
#include "search/thread_data.h"

// True with the score when a draw rule ends the node.
inline bool enter_node(ThreadData& thread, int ply, int32_t& score) {
  node_check(thread);
  ++thread.nodes;
  return draw_exit(*thread.current_position, ply, score);
}

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

// Whether the entry ends a node that needs at least min_depth.
inline bool entry_cuts(const NodeEntry& e, int min_depth, int32_t alpha, int32_t beta) {
  return e.hit && e.depth >= min_depth && hash_score_cuts(e.score, e.bound, alpha, beta);
}

// A hit that did not cut: the node takes the stored static evaluation; returns its working value.
inline int32_t adopt_entry(ThreadData& thread, int ply, const NodeEntry& e, bool checked) {
  thread.static_evals[ply] = e.static_eval;
  return value_after_hash_hit(e.static_eval, e.score, e.bound, checked);
}
