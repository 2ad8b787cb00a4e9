#pragma once
// Pseudo-legal move generators, one per stage of the search's move picker.
// Each writes into a caller-owned array (room for MAX_MOVES) and returns the end.
// Nothing here knows pins: every move still has to pass legality_attackers.
// Captures and promotions carry their first ordering score (move_scores.h), quiet moves 0.
#include "board/move.h"
#include "board/move_scores.h"
#include "board/position.h"

// Captures, en passant and queen promotions; gives-check bit clear.
ScoredMove* generate_captures(const Position& pos, ScoredMove* list);

// Knight, bishop and rook promotions, with and without capture; gives-check bit clear.
ScoredMove* generate_underpromotions(const Position& pos, ScoredMove* list);

// Non-capturing, non-promoting moves with castling, the gives-check bit exact for a legal
// position not in check. With checks_only: only the checking ones, and no castling.
ScoredMove* generate_quiets(const Position& pos, ScoredMove* list, bool checks_only);

// Answers to a check: king moves, then (single check only) captures of the checker and
// blocks. Only for a side in check; gives-check bit clear.
ScoredMove* generate_evasions(const Position& pos, ScoredMove* list, bool with_underpromotions);

// Every legal move in stage order, gives-check bit exact. For the protocol, tools and
// tests; the search walks the stages itself.
ScoredMove* generate_legal(const Position& pos, ScoredMove* list);
