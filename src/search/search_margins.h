#pragma once
// The margins and depth formulas of the search, in the order a node meets them. Depths
// are in plies, margins in centipawns of the network's scale.
#include <cstdint>

// Static cut: this far above beta at a shallow depth, a quiet position rarely falls back.
constexpr int STATIC_CUT_MAX_DEPTH = 5;
constexpr int32_t STATIC_CUT_MARGIN = 55;  // per ply, one ply fewer while the side is improving

// Null move: a position still above beta after passing the move needs no search.
constexpr int NULL_MOVE_MIN_DEPTH = 4;
constexpr int32_t NULL_MOVE_EVAL_MARGIN = 20;  // per ply that the static evaluation may lie below beta
// The further above beta, the more the null-move search is reduced.
constexpr int null_move_depth(int depth, int32_t gain_over_beta) {
  const int bonus = gain_over_beta >= 400 ? 3 : gain_over_beta / 100;
  return 24 * depth / 32 - 3 - bonus;
}

// ProbCut: a capture that beats beta by a margin in a shallow search proves a cut.
constexpr int PROBCUT_MIN_DEPTH = 6;
constexpr int32_t PROBCUT_MARGIN = 150;
constexpr int PROBCUT_PROBE_DEPTH = 2;
constexpr int PROBCUT_CONFIRM_MIN_DEPTH = 7;  // deeper nodes confirm at depth - 4
constexpr int probcut_confirm_depth(int depth) { return depth - 4; }

// Internal iterative deepening: a PV node without a hash move finds one by a shallower search.
constexpr int IID_MIN_DEPTH = 4;
constexpr int iid_depth(int depth) { return 7 * depth / 8 - 2; }

// Late-move pruning and futility: near the leaves, quiet moves after the first few, or far
// below alpha, rarely change the result.
constexpr int LATE_MOVE_MAX_DEPTH = 7;
constexpr int late_move_limit(int depth, bool improving) { return improving ? (depth * 22) >> 2 : (depth * 10) >> 2; }
constexpr int32_t FUTILITY_MARGIN = 55;  // per ply

// History pruning: at the last plies, a quiet move that both histories dislike is dropped.
constexpr int HISTORY_PRUNING_MAX_DEPTH = 2;

// Exchange pruning: a move that loses more material than the depth can win back.
constexpr int EXCHANGE_PRUNING_MAX_DEPTH = 6;
constexpr int32_t EXCHANGE_PRUNING_MARGIN = 75;  // per ply of the floor below 0

// Singular extension: a hash move far better than every other move is worth a ply more.
constexpr int SINGULAR_MIN_DEPTH = 6;
constexpr int SINGULAR_ENTRY_DEPTH_SLACK = 3;  // the entry may be this much shallower than the node
constexpr int32_t SINGULAR_MARGIN = 2;         // per ply below the stored score
constexpr int singular_depth(int depth) { return 6 * depth / 16; }

// Late-move reductions start here; the amounts are in reductions.h.
constexpr int REDUCTION_MIN_DEPTH = 3;

// Underpromotions are generated only where the search still has depth to see their point.
constexpr int UNDERPROMOTION_MIN_DEPTH = 8;

// Quiescence: this deep, a quiet node takes the network's word; delta pruning drops a
// capture that cannot lift the standing score to alpha even with this much for its victim.
constexpr int QSEARCH_DEPTH_FLOOR = -17;
constexpr int32_t DELTA_VALUES[8] = {0, 164, 393, 420, 572, 1061, 0, 0};
