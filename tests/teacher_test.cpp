// The bootstrap teacher of datagen: material and squares from the side to move, and a
// quiescence search that takes the captures that pay and answers checks.
#include <gtest/gtest.h>

#include <string>

#include "board/movegen.h"
#include "datagen/teacher.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"
#include "helpers/board_fixtures.h"
#include "search/score.h"

namespace {

TEST(Teacher, CapturesThatPayAreCountedAndOthersStandPat) {
  // A hanging queen: the label is the position after the rook takes it.
  auto hanging = thread_at("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1");
  auto taken = thread_at("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1", "d2d5");
  EXPECT_LT(teacher_eval(*hanging->current_position), -300);
  EXPECT_EQ(teacher_score(*hanging), -teacher_eval(*taken->current_position));
  EXPECT_GT(teacher_score(*hanging), 300);
  // A knight that a pawn guards is left alone: the rook would be lost for it.
  auto guarded = thread_at("4k3/8/4p3/3n4/8/8/3R4/4K3 w - - 0 1");
  EXPECT_EQ(teacher_score(*guarded), teacher_eval(*guarded->current_position));
  // Queen promotion counts as a gain; the thread is left at the labelled position.
  auto promotion = thread_at("7k/P7/8/8/8/8/8/K7 w - - 0 1");
  EXPECT_GT(teacher_score(*promotion), 800);
  EXPECT_EQ(promotion->current_position, promotion->position_stack);
}

TEST(Teacher, ChecksAreAnsweredAndMateIsScored) {
  auto mated = thread_at("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
  EXPECT_EQ(teacher_score(*mated), mated_score(0));
  // In check by an unguarded queen: the king takes it (no standing pat in check).
  auto check = thread_at("4k3/8/8/8/8/8/4q3/4K3 w - - 0 1");
  auto after = thread_at("4k3/8/8/8/8/8/4q3/4K3 w - - 0 1", "e1e2");
  EXPECT_EQ(teacher_score(*check), -teacher_eval(*after->current_position));
}

TEST(Teacher, SymmetricStartIsZeroAndTheSideToMoveSetsTheSign) {
  EXPECT_EQ(teacher_eval(position_of(START_FEN)), 0);
  EXPECT_GT(teacher_eval(position_of("4k3/8/8/8/8/8/8/R3K3 w - - 0 1")), 400);
  EXPECT_LT(teacher_eval(position_of("4k3/8/8/8/8/8/8/R3K3 b - - 0 1")), -400);
  GameBoard game;
  start_board(game, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  SplitMixRng rng{5};
  for (int ply = 0; ply < 60; ++ply) {
    const Position pos = board_position(game);
    const std::string fen = fen_of(pos);
    // The same board from the other side's chair: every term changes sign.
    Position turned = pos;
    flip_position(turned);
    EXPECT_EQ(teacher_eval(turned), -teacher_eval(pos)) << fen;
    ScoredMove list[MAX_MOVES];
    const int count = int(generate_legal(pos, list) - list);
    if (count == 0) break;
    play_board_move(game, list[rng.next() % uint64_t(count)].move);
  }
}

}  // namespace
