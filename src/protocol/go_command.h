#pragma once
// The go line: its tokens read into working values, the root list filtered by searchmoves.
#include <cstdint>

#include "board/move.h"
#include "board/position.h"

constexpr int MAX_SEARCH_MOVES = 256;

struct GoRequest {
  int64_t node_limit = INT64_MAX;
  int64_t time_left = 1000000000000;  // no search reaches it: a plain go needs no special case
  int64_t time_increment = 0;
  int32_t moves_to_go = 0;
  int32_t depth_limit = 127;
  int32_t ponder_mode = 0;
  bool search_moves_given = false;
  int search_move_count = 0;
  const char* search_moves[MAX_SEARCH_MOVES];  // tokens that look like moves, anywhere on the line
};

// Reads the blank-delimited tokens of text, which it cuts in place. A word that takes a
// value consumes the next token; as the last token it has none and is ignored.
void parse_go_tokens(char* text, bool white_to_move, GoRequest& request);

// Keeps, in order, the moves whose text is one of the collected tokens; returns the new end.
ScoredMove* filter_search_moves(const Position& pos, ScoredMove* begin, ScoredMove* end, const GoRequest& request);
