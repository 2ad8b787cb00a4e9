#pragma once
// Everything that belongs to one search thread. One block per thread lives in the
// memory block right behind the hash table.
#include <atomic>
#include <csetjmp>
#include <cstdint>
#include <pthread.h>

#include "board/move.h"
#include "board/position.h"
#include "eval/ply_record.h"
#include "eval/refresh_cache.h"

constexpr int MAX_PLY = 512;
// A node this far from the root is a leaf, which keeps every ply row and the position
// stack in bounds however long extensions stretch a line.
constexpr int LEAF_PLY = MAX_PLY - 8;

// A count that only its own thread raises while other threads sum it for output: relaxed
// atomic loads and stores keep those reads defined and cost what plain ones do.
struct RelaxedCounter {
  std::atomic<int64_t> value{0};
  operator int64_t() const { return value.load(std::memory_order_relaxed); }
  RelaxedCounter& operator=(int64_t v) {
    value.store(v, std::memory_order_relaxed);
    return *this;
  }
  RelaxedCounter& operator++() { return *this = int64_t(*this) + 1; }
};

struct ThreadData {
  pthread_t handle;
  std::jmp_buf abort_point;
  Position position_stack[POSITION_STACK_SIZE];
  Position* current_position;
  ScoredMove root_moves[MAX_MOVES];
  ScoredMove* root_end;
  uint32_t result_word;
  RelaxedCounter nodes;
  RelaxedCounter tb_hits;
  int32_t root_scores[MAX_MOVES];
  int32_t static_evals[MAX_PLY];
  Move killers[MAX_PLY][2];
  Move counter_moves[2][7][64][64];
  int16_t move_history[2][7][64][64];
  int16_t reply_history[2][7][64][7][64];
  int16_t followup_history[2][7][64][7][64];
  PlyRecord ply_records[MAX_PLY];
  RefreshCache refresh_cache;
};
