#pragma once
// Fills every table of the board: Zobrist keys, slider attacks, lines, castling.
#include "board/attacks.h"
#include "board/zobrist.h"

inline void init_board_tables() {
  init_zobrist();
  init_attack_tables();
}
