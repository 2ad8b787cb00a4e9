#pragma once
// Seeded random games for the board tests: long walks through varied positions.
#include <cstdint>
#include <functional>

#include "board/move.h"
#include "search/thread_data.h"

// Standard start and Chess960 starts that between them castle with the king staying put,
// king and rook swapping, and rooks next to the corner.
extern const char* const CHESS960_STARTS[4];

// Small, fast generator so that a failing game can be replayed from its seed.
struct TestRng {
  uint64_t state;
  uint64_t next() {
    state += 0x9E3779B97F4A7C15ull;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  int below(int n) { return int(next() % uint64_t(n)); }
};

struct RandomGameVisitor {
  // Before a move is chosen: the current position and its legal moves (check bits exact).
  std::function<void(ThreadData&, const ScoredMove* begin, const ScoredMove* end)> at_position;
  // After the move: current_position is the new slot, the one below it the position before.
  std::function<void(ThreadData&, Move, const FeatureDelta&)> after_move;
};

// Plays `plies` random legal moves in all, starting again from fen when a game ends
// (no moves, 100 reversible plies, or a length cap). Captures, promotions, castling and
// en passant are picked more often than their share. After a capture or pawn move the
// stack is cut down to slot 0, as a game's move list is. Chess960 starts need
// engine_options.UCI_Chess960 set by the caller.
void play_random_games(const char* fen, int plies, uint64_t seed, const RandomGameVisitor& visitor);

// Counts of the move kinds played, to show that the walks reached them.
struct MoveKindCounts {
  int castlings = 0, en_passants = 0, promotions = 0, captures = 0, checks = 0;
  void count(Move m);
};
