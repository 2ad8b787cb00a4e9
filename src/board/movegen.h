#pragma once
// Pseudo-legal move generators, one per stage of the search's move picker.
// Each writes into a caller-owned array (room for MAX_MOVES) and returns the end.
// Nothing here knows pins: every move still has to pass legality_attackers.
#include "board/move.h"
#include "board/position.h"

// First ordering scores. Captures go by most valuable victim, then least valuable
// attacker; underpromotions are negative so that they sort behind every quiet move.
constexpr int32_t SCORE_CAPTURE_BASE = 0x7FFFFF00;
constexpr int32_t SCORE_EN_PASSANT = 0x7FFFFF0E;       // pawn takes pawn
constexpr int32_t SCORE_QUEEN_PROMOTION = 0x7FFFFF2E;  // pawn takes queen, plus 8 per captured type
constexpr int32_t SCORE_KNIGHT_PROMOTION = int32_t(0x80000002u);
constexpr int32_t SCORE_ROOK_PROMOTION = int32_t(0x80000001u);
constexpr int32_t SCORE_BISHOP_PROMOTION = int32_t(0x80000000u);

constexpr int32_t capture_score(int piece, int captured) { return SCORE_CAPTURE_BASE + 8 * captured + 7 - piece; }

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
