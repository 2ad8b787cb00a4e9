#pragma once
// Tests that make generated and remembered moves safe to play.
#include "board/position.h"

struct ThreadData;

// The enemy pieces that would attack the own king after the move; 0 means legal.
// In check, only evasions or king moves may be passed.
Bitboard legality_attackers(const Position& pos, Move m);

// Sets the gives-check bit of *m if the move checks the enemy king; never clears it.
void mark_gives_check(const Position& pos, Move* m);

// Whether a move from the hash table has a shape that can be played here.
bool is_pseudo_legal(const Position& pos, ShortMove s);

// The full move for a hash move, legality and check bit settled; 0 if it can't be played.
Move validate_hash_move(const ThreadData& thread, ShortMove s);

// Whether a remembered quiet move (killer or counter move) can be tried here.
bool is_possible_quiet(const ThreadData& thread, Move m);

// The move word of a ShortMove in the thread's current position, check bit clear.
Move expand_short_move(const ThreadData& thread, ShortMove s);
