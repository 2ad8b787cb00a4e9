// The 32-byte training record against the board and the network: random games from starts
// with every kind of right pack and unpack to the same men, rights, check and evaluation.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "board/movegen.h"
#include "common/training_record.h"
#include "eval/evaluate.h"
#include "eval/network.h"
#include "games/chess960_start.h"
#include "games/game_board.h"
#include "games/split_mix_rng.h"
#include "helpers/board_fixtures.h"

namespace {

int32_t evaluate_at(ThreadData& scratch, const Position& pos) {
  scratch.position_stack[0] = pos;
  scratch.current_position = scratch.position_stack;
  scratch.ply_records[0].acc_valid = 0;
  return evaluate(scratch, 0);
}

TEST(TrainingRecord, RandomGamesRoundTripBoardRightsAndEvaluation) {
  load_network(tesmar_embedded_network);
  // The start (32 pieces), pawns about to promote, rights on one side only, Chess960 starts
  // with rooks off the a- and h-files.
  const struct {
    std::string fen;
    bool chess960;
  } starts[] = {{START_FEN, false},
                {"r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBP1P/R3K2R w KQkq - 0 1", false},
                {"k7/3PPP2/8/8/8/8/2ppp3/7K w - - 0 1", false},
                {"r3k2r/8/8/8/8/8/8/R3K2R b Kq - 0 1", false},
                {chess960_start_fen(0), true},
                {chess960_start_fen(959), true}};
  auto scratch = std::make_unique<ThreadData>();
  SplitMixRng rng{11};
  std::set<int32_t> evaluations;
  for (const auto& [fen, chess960] : starts) {
    const Chess960Option option(chess960);
    for (int game_index = 0; game_index < 6; ++game_index) {
      GameBoard game;
      start_board(game, fen.c_str());
      for (int ply = 0; ply < 150; ++ply) {
        const Position pos = board_position(game);
        const int score = int(rng.next() % 6001) - 3000, result = int(rng.next() % 3) - 1;
        const TrainingRecord record = pack_record(pos, score, result, game.ply, chess960);
        Position back;
        unpack_record(record, back);
        for (int i = 0; i < 8; ++i) ASSERT_EQ(back.bb[i], pos.bb[i]) << fen_of(pos) << " slot " << i;
        for (int shift = 0; shift < 16; shift += 4)
          ASSERT_EQ((back.castling >> shift & 15) != NO_RIGHT, (pos.castling >> shift & 15) != NO_RIGHT)
              << fen_of(pos);
        ASSERT_EQ(in_check(back), in_check(pos)) << fen_of(pos);
        EXPECT_EQ(record.score, score);
        EXPECT_EQ(record.result, result);
        EXPECT_EQ(record.ply, game.ply);
        EXPECT_EQ(record.flags, chess960 ? RECORD_CHESS960 : 0);
        const int32_t e = evaluate_at(*scratch, pos);
        ASSERT_EQ(evaluate_at(*scratch, back), e) << fen_of(pos);
        evaluations.insert(e);

        ScoredMove list[MAX_MOVES];
        const int count = int(generate_legal(pos, list) - list);
        if (count == 0) break;
        play_board_move(game, list[rng.next() % uint64_t(count)].move);
      }
    }
  }
  EXPECT_GT(evaluations.size(), 100u);  // the network told the positions apart
  EXPECT_EQ(pack_record(position_of(START_FEN), 40000, 0, 0, false).score, 32767);
  EXPECT_EQ(pack_record(position_of(START_FEN), -40000, 0, 0, false).score, -32767);
}

}  // namespace
