#pragma once
// The key under which a Polyglot book files a position.
#include <cstdint>

#include "board/position.h"

// Computed from the board as White sees it, whoever is to move; the en-passant file counts
// only when an enemy pawn can take, which is what the Position keeps.
uint64_t polyglot_key(const Position& pos);
