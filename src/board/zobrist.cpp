#include "board/zobrist.h"

uint64_t ZOBRIST[ZOBRIST_SIZE];

void init_zobrist() {
  uint64_t state = 0x89B0DDAA6E490098ull;
  for (int i = 0; i < ZOBRIST_SIZE; ++i) {
    state ^= state >> 12;
    state ^= state << 25;
    state ^= state >> 27;
    ZOBRIST[i] = state * 0x2545F4914F6CDD1Dull;
  }
}
