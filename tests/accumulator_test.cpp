// The lazily updated accumulators of every vector form, and the refresh cache by king
// square, against a rebuild from scratch in plain integers, lane by lane, along random
// games that castle, capture, promote and pass.
#include <gtest/gtest.h>

#include <cstring>

#include "board/make_move.h"
#include "board/movegen.h"
#include "eval/accumulator.h"
#include "eval/evaluate.h"
#include "eval/refresh_cache.h"
#include "games/split_mix_rng.h"
#include "helpers/board_fixtures.h"
#include "helpers/every_form.h"
#include "helpers/test_networks.h"

namespace {

// Prefers the moves that stress the feature lists: castling, promotions, captures.
Move pick_move(const ScoredMove* begin, const ScoredMove* end, SplitMixRng& rng) {
  const int count = int(end - begin);
  if (rng.below(3) == 0) {
    for (const ScoredMove* m = begin; m != end; ++m)
      if (m->move & (MOVE_CASTLING | MOVE_PROMOTION)) return m->move;
  }
  if (rng.below(2) == 0) {
    for (int tries = 0; tries < 4; ++tries) {
      const Move m = begin[rng.below(count)].move;
      if (m & MOVE_CAPTURE) return m;
    }
  }
  return begin[rng.below(count)].move;
}

void expect_accumulators_match(ThreadData& thread, int ply, const char* context) {
  alignas(64) int16_t fresh[256];
  for (int view = 0; view < 2; ++view) {
    rebuild_accumulator(*thread.current_position, view, fresh, plain_form::apply_rows);
    ASSERT_EQ(std::memcmp(fresh, thread.ply_records[ply].accumulators[view], sizeof fresh), 0)
        << context << " ply " << ply << " view " << view;
  }
}

// Plays random lines from fen on one thread, whose refresh cache lives through all the
// games, and calls check at each ply before the move.
template <class Check>
void play_games(const char* fen, bool chess960, uint64_t seed, int games, Check check) {
  Chess960Option option(chess960);
  SplitMixRng rng{seed};
  auto thread = thread_at(fen);
  for (int game = 0; game < games; ++game) {
    set_position(*thread, fen, nullptr);
    thread->ply_records[0].acc_valid = 0;
    for (int ply = 0; ply < 300; ++ply) {
      check(*thread, ply, rng);
      if (testing::Test::HasFatalFailure()) return;
      ScoredMove moves[MAX_MOVES];
      ScoredMove* end = generate_legal(*thread->current_position, moves);
      if (end == moves || thread->current_position->rule50 >= 100) break;
      PlyRecord& record = thread->ply_records[ply];
      if (!in_check(*thread->current_position) && rng.below(12) == 0) {
        make_null_move(*thread);
        record.delta.added_count = record.delta.removed_count = 0;
        record.delta.king_moved = 0;
      } else {
        make_move(*thread, pick_move(moves, end, rng), &record.delta);
      }
      thread->ply_records[ply + 1].acc_valid = 0;
    }
  }
}

// Evaluates at random plies only, and checks every update.
void play_and_check(const EvalForm& form, const char* fen, bool chess960, uint64_t seed, int games) {
  play_games(fen, chess960, seed, games, [&](ThreadData& thread, int ply, SplitMixRng& rng) {
    // Long stretches without evaluate force deep walks back to the last valid ply.
    if (rng.below(4) != 0 && ply % 50 != 49) return;
    update_accumulators(thread, ply, form.apply_rows);
    expect_accumulators_match(thread, ply, fen);
    if (testing::Test::HasFatalFailure()) return;
    ASSERT_EQ(evaluate_in_form(thread, ply, form), evaluate_in_form(thread, ply, EVAL_FORMS[0]));
  });
}

// Refreshes both views at every ply, whether the king moved or not: each entry then
// goes from one game's position to another's, far apart, as well as one move on.
void refresh_and_check(const EvalForm& form, const char* fen, bool chess960, uint64_t seed, int games) {
  play_games(fen, chess960, seed, games, [&](ThreadData& thread, int ply, SplitMixRng&) {
    alignas(64) int16_t fresh[256];
    alignas(64) int16_t refreshed[256];
    for (int view = 0; view < 2; ++view) {
      rebuild_accumulator(*thread.current_position, view, fresh, plain_form::apply_rows);
      refresh_accumulator(thread.refresh_cache, *thread.current_position, view, refreshed, form.apply_rows);
      ASSERT_EQ(std::memcmp(fresh, refreshed, sizeof fresh), 0) << fen << " ply " << ply << " view " << view;
    }
  });
}

class AccumulatorGames : public EveryVectorForm {
 protected:
  NetworkGuard guard{random_blob(3)};
  void run_games(const char* fen, bool chess960, uint64_t seed, int games) {
    play_and_check(form(), fen, chess960, seed, games);
    refresh_and_check(form(), fen, chess960, seed + 100, games);
  }
};
TESMAR_FOR_EVERY_VECTOR_FORM(AccumulatorGames);

TEST_P(AccumulatorGames, StandardChessFromTheStartAndFromKiwipete) {
  run_games("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", false, 1, 20);
  run_games("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", false, 2, 20);
  // Promotions with captures on the rook corners.
  run_games("r3k2r/1P4P1/8/8/8/8/1p4p1/R3K2R w KQkq - 0 1", false, 3, 30);
  // En-passant captures on both wings, kings in the open.
  run_games("4k3/8/8/pP4Pp/8/8/8/4K3 w - a6 0 1", false, 8, 20);
}

TEST_P(AccumulatorGames, Chess960CastlingsOfEveryKind) {
  run_games("bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1", true, 4, 15);
  // King on b1 with the rook on a1; king on g1 with the rook on h1 (king stays); rook beside the king.
  run_games("1r4kr/8/8/8/8/8/8/RK4R1 w AGbh - 0 1", true, 5, 20);
  run_games("rk5r/8/8/8/8/8/8/2R3KR w CHah - 0 1", true, 6, 20);
  run_games("2rkr3/pppppppp/8/8/8/8/PPPPPPPP/2RKR3 w CEce - 0 1", true, 7, 15);
}

// Entries built under one network are stale under the next: the refresh starts them again.
TEST_P(AccumulatorGames, RefreshCacheStartsAgainUnderAnotherNetwork) {
  auto thread = thread_at("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  alignas(64) int16_t fresh[256];
  alignas(64) int16_t refreshed[256];
  refresh_accumulator(thread->refresh_cache, *thread->current_position, 0, refreshed, form().apply_rows);
  NetworkGuard other{random_blob(4)};
  for (int view = 0; view < 2; ++view) {
    rebuild_accumulator(*thread->current_position, view, fresh, plain_form::apply_rows);
    refresh_accumulator(thread->refresh_cache, *thread->current_position, view, refreshed, form().apply_rows);
    EXPECT_EQ(std::memcmp(fresh, refreshed, sizeof fresh), 0) << "view " << view;
  }
}

}  // namespace
