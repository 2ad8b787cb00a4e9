#pragma once
// A one-thread search without the root driver: a fresh memory block with every limit
// open, and a plain iterative deepening that calls search at ply 0 with the full window.
#include <cstdint>

#include "search/thread_data.h"

// Allocates 16 MB of hash and `threads` ThreadData, loads the embedded network and the
// reduction tables; gives the block back on destruction.
struct SearchBlock {
  explicit SearchBlock(int threads = 1);
  ~SearchBlock();
  ThreadData& thread(int index = 0);
  uint64_t large_page_bytes = 0;
};

// Sets the thread to the FEN and moves, and clears the ply rows that a node reads
// before writing, so that search and qsearch may be called at any ply.
void set_search_position(ThreadData& thread, const char* fen, const char* moves = nullptr);

struct DeepeningResult {
  int32_t score = 0;  // of the last finished depth
  Move best_move = 0;  // from the root's hash entry
  int64_t nodes = 0;
  bool aborted = false;  // current_position is then back at the root
};

// Depths 1..depth at the root on the thread's current position.
DeepeningResult deepen(ThreadData& thread, int depth);
