#pragma once
// Limits of one go command and the shared state of a running search.
#include <atomic>
#include <cstdint>

#include "board/move.h"
#include "protocol/locks.h"

struct HashEntry;
struct ThreadData;

enum PonderMode : int32_t { PONDER_NONE = 0, PONDER_ON = 1, PONDER_INFINITE = 2 };

struct SearchLimits {
  std::atomic<int32_t> ponder_mode;
  int64_t time_left;
  int64_t time_increment;
  int64_t node_limit;
  int32_t moves_to_go;
  int32_t depth_limit;
  int32_t game_moves;
  std::atomic<uint8_t> stop_flag;
  int64_t soft_deadline;
  int64_t hard_deadline;
  int64_t next_check;
  int64_t check_interval;
  uint64_t hash_mask;
  HashEntry* hash_table;
  ThreadData* thread_blocks;
  int32_t tb_largest;
  int32_t tb_probe_limit;
  int32_t multipv_count;
  Move game_second_last_move;
  Move game_last_move;
  int32_t root_tb_score;
  int64_t start_time;
  int32_t completed_depth;
  SpinLock OutputLock;
  HandOverLock EngineLock;
  SpinLock DepthLock;
  int32_t thread_count;
  uint32_t hash_generation;
};

extern SearchLimits search_limits;
