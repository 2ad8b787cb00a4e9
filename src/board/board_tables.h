#pragma once
// Fills every table of the board: Zobrist keys, slider attacks, lines, castling.
void init_board_tables();
