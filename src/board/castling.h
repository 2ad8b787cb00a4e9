#pragma once
// Whether a castling right can be used now: empty squares and an unattacked path.
#include "board/position.h"

// The side is not in check. king_side picks the right; the right must not be 8.
// With Chess960 off the king stands on e1 and the rooks on a1 and h1.
bool castling_allowed(const Position& pos, bool king_side);
