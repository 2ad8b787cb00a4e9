#include "board/board_tables.h"

#include "board/attacks.h"
#include "board/zobrist.h"

void init_board_tables() {
  init_zobrist();
  init_attack_tables();
}
