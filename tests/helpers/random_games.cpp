#include "helpers/random_games.h"

#include "board/make_move.h"
#include "board/movegen.h"
#include "helpers/board_fixtures.h"

const char* const CHESS960_STARTS[4] = {
    "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1",  // king f1 and rook g1 swap
    "nbqrbnkr/pppppppp/8/8/8/8/PPPPPPPP/NBQRBNKR w HDhd - 0 1",  // king stays on g1
    "rkbnnqrb/pppppppp/8/8/8/8/PPPPPPPP/RKBNNQRB w GAga - 0 1",  // king b1, rook a1
    "nnrkrbbq/pppppppp/8/8/8/8/PPPPPPPP/NNRKRBBQ w ECec - 0 1",  // king d1 and rook c1 swap
};

void MoveKindCounts::count(Move m) {
  castlings += (m & MOVE_CASTLING) != 0;
  en_passants += (m & MOVE_EN_PASSANT) != 0;
  promotions += (m & MOVE_PROMOTION) != 0;
  captures += (m & MOVE_CAPTURE) != 0;
  checks += (m & MOVE_GIVES_CHECK) != 0;
}

void play_random_games(const char* fen, int plies, uint64_t seed, const RandomGameVisitor& visitor) {
  constexpr int GAME_LENGTH_CAP = 250;
  TestRng rng{seed};
  auto thread = thread_at(fen);
  int game_ply = 0;
  ScoredMove list[MAX_MOVES];
  for (int ply = 0; ply < plies; ++ply) {
    ScoredMove* end = generate_legal(*thread->current_position, list);
    if (end == list || thread->current_position->rule50 >= 100 || game_ply >= GAME_LENGTH_CAP) {
      thread = thread_at(fen);
      game_ply = 0;
      end = generate_legal(*thread->current_position, list);
    }
    if (visitor.at_position) visitor.at_position(*thread, list, end);

    const int count = int(end - list);
    int pick = rng.below(count);
    // Prefer the rarer kinds of move so that every branch of make_move gets walked.
    const int choice = rng.below(4);
    if (choice < 2) {
      const Move wanted = choice == 0 ? MOVE_PROMOTION | MOVE_CASTLING | MOVE_EN_PASSANT : MOVE_CAPTURE;
      int rare[MAX_MOVES], rare_count = 0;
      for (int i = 0; i < count; ++i)
        if (list[i].move & wanted) rare[rare_count++] = i;
      if (rare_count) pick = rare[rng.below(rare_count)];
    }
    const Move m = list[pick].move;
    FeatureDelta delta;
    make_move(*thread, m, &delta);
    ++game_ply;
    if (visitor.after_move) visitor.after_move(*thread, m, delta);
    if (thread->current_position->rule50 == 0) {
      thread->position_stack[0] = *thread->current_position;
      thread->current_position = thread->position_stack;
    }
  }
}
