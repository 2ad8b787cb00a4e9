#pragma once
// Endings played out through UCI between two engine processes, every position checked
// with the tables of this test process (which must cover the material).
#include <string>

struct TableGame {
  int result = 0;  // for the side to move at the start: 1 it mated, 0 drawn or unfinished, -1 it was mated
  bool finished = false;
  int plies = 0;
  int max_rule50 = 0;         // the highest fifty-move counter of any position reached
  int first_zeroing_ply = 0;  // plies up to and including the first capture or pawn move, 0 if none
  int wdl_after_zeroing = 0;  // the value of the position that move reached, for the side then to move
  bool value_fell = false;    // a move made its side's table value worse (a draw lost, a win spoilt)
  std::string moves;
};

// Two engines (binary, each sent `setup` first) play from fen, `nodes` per move, until mate,
// stalemate, a repetition, the fifty-move rule or max_plies.
TableGame play_table_game(const char* binary, const std::string& setup, const std::string& fen, int max_plies,
                          int nodes = 20000);
