#pragma once
// The move list of a position command, played onto a thread's position stack.

struct ThreadData;

// Plays a trusted move list on the thread's stack, folding the stack down at every capture
// or pawn move, and keeps the list's last two moves for move ordering at the root.
// Returns the moves divided by two.
int apply_move_list(ThreadData& thread, char* moves);
