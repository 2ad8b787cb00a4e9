// Move ordering: exchange evaluation on hand-built positions (each also played by Black on the
// mirrored board), the staged picker and the root list against the legal moves, the history
// rule, killers and counter moves.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "board/see.h"
#include "helpers/board_fixtures.h"
#include "protocol/search_limits.h"
#include "search/move_picker.h"
#include "search/root_moves.h"

namespace {

TEST(See, ExchangesForBothColours) {
  const struct {
    const char* what;
    const char* fen;  // White to move
    const char* move;
    int expected;
  } cases[] = {
      {"queen takes undefended pawn", "4k3/8/8/3p4/8/8/8/3QK3 w - - 0 1", "d1d5", 100},
      {"pawn takes pawn defended by pawn", "4k3/8/2p5/3p4/4P3/8/8/4K3 w - - 0 1", "e4d5", 0},
      {"rook takes pawn defended by pawn", "4k3/8/2p5/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", -400},
      // Without the early exit the knight's recapture would turn this into +100.
      {"rook takes defended pawn, knight also bearing", "4k3/8/2p5/3p4/5N2/8/8/3RK3 w - - 0 1", "d1d5", -400},
      {"knight takes bishop defended by pawn", "4k3/8/2p5/3b4/8/4N3/8/4K3 w - - 0 1", "e3d5", 0},
      // The rook's recapture gains exactly a rook: no early exit, and the bishop wins it back.
      {"queen takes rook, rook recaptures, bishop follows", "3rk3/8/8/3r4/8/1B6/8/3QK3 w - - 0 1", "d1d5", 0},
      {"each piece recaptures once", "4k3/8/4p3/3p4/2P5/4N3/8/4K3 w - - 0 1", "c4d5", 100},
      {"en passant gains a pawn on the target square", "4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 100},
      {"en passant into a pawn guard", "4k3/2p5/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 0},
      // The rear rook only joins once the front rook has gone: 100, 400, 100 folds to +100.
      {"doubled rooks x-ray", "3rk3/8/8/3p4/8/8/3R4/3RK3 w - - 0 1", "d2d5", 100},
      {"single rook against rook guard", "3rk3/8/8/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", -400},
      // A pushed pawn uncovers its own rook on the file; otherwise the knight wins it (-100).
      {"pawn push uncovers rook on the file", "4k3/8/5n2/8/8/4P3/8/4RK2 w - - 0 1", "e3e4", 0},
      // A recapturing pawn opens the bishop diagonal behind it; without that, +100.
      {"recapturing pawn uncovers bishop", "6k1/5b2/4p3/3p4/2P5/5B2/8/6K1 w - - 0 1", "c4d5", 0},
      {"capturing pawn uncovers bishop", "6k1/5b2/4p3/3p4/2P5/1B6/8/6K1 w - - 0 1", "c4d5", 0},
      {"queen behind bishop joins", "3rk3/8/8/3p4/8/1B6/Q7/4K3 w - - 0 1", "b3d5", 100},
      {"pinned defender counts", "8/4k3/5n2/3p4/7B/8/8/3QK3 w - - 0 1", "d1d5", -900},
      {"king recaptures when nothing else guards", "8/8/4k3/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", -400},
      {"king can't recapture a guarded square", "8/8/4k3/3p4/8/5B2/8/3RK3 w - - 0 1", "d1d5", 100},
      {"own king finishes the exchange", "3r3k/8/4K3/3p4/8/2N5/8/8 w - - 0 1", "c3d5", 100},
      {"own king stopped by a second defender", "b2r3k/8/4K3/3p4/8/2N5/8/8 w - - 0 1", "c3d5", -200},
      {"king as mover returns the captured value", "7k/8/2p5/3p4/4K3/8/8/8 w - - 0 1", "e4d5", 100},
      {"king as mover, quiet", "7k/8/2p5/8/4K3/8/8/8 w - - 0 1", "e4d5", 0},
      {"knight to a pawn-attacked square", "4k3/8/8/8/4p3/8/8/4K1N1 w - - 0 1", "g1f3", -300},
      {"knight to a safe square", "4k3/8/8/8/8/8/8/4K1N1 w - - 0 1", "g1f3", 0},
      {"queen promotion on a free square", "8/P7/4k3/8/8/8/8/4K3 w - - 0 1", "a7a8q", 900},
      {"queen promotion under a rook", "7r/P7/4k3/8/8/8/8/4K3 w - - 0 1", "a7a8q", -100},
      {"knight promotion under a rook", "7r/P7/4k3/8/8/8/8/4K3 w - - 0 1", "a7a8n", -100},
      {"promotion by capture of a rook", "1r6/P7/4k3/8/8/8/8/4K3 w - - 0 1", "a7b8q", 1400},
  };
  for (const auto& c : cases) {
    for (const bool black : {false, true}) {
      const std::string fen = black ? mirrored_fen(c.fen) : c.fen;
      const std::string move = black ? mirrored_move(c.move) : c.move;
      auto thread = thread_at(fen.c_str());
      EXPECT_EQ(see(*thread, move_named(*thread->current_position, move.c_str())), c.expected)
          << c.what << (black ? " (Black)" : " (White)") << ": " << fen << " " << move;
    }
  }
}

const char* const FENS[] = {
    START_FEN,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",                        // underpromotions
    "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3",  // en passant
    "4k3/8/8/2pP4/1K6/8/8/8 w - c6 0 1",                              // pawn check, en passant evasion
    "4k3/3R4/8/8/1b6/8/2N5/R3K2R w KQ - 0 1",                         // block, capture or step
    "4k3/8/8/8/8/5n2/4r3/4K3 w - - 0 1",                              // double check
    "r3k3/1P6/8/8/8/8/8/K7 w - - 0 1",                                // promotions that answer a check
    "2r3k1/1q3ppp/8/8/8/6p1/PPQ2PPP/6K1 w - - 0 1",                   // losing queen captures
};

// The legal moves, check bits exact; underpromotions only where the picker generates them.
std::vector<Move> legal_moves(const Position& pos, bool with_underpromotions) {
  ScoredMove list[MAX_MOVES];
  std::vector<Move> out;
  for (ScoredMove *p = list, *end = generate_legal(pos, list); p != end; ++p)
    if (with_underpromotions || !(p->move & MOVE_PROMOTION) || move_promotion(p->move) == QUEEN)
      out.push_back(p->move);
  std::sort(out.begin(), out.end());
  return out;
}

TEST(MoveOrder, PickerAndRootListGiveEveryLegalMoveOnceInOrder) {
  const Move prev = make_move_word(PAWN, 12, 28);
  for (const char* fen : FENS) {
    auto thread = thread_at(fen);
    const Position& pos = *thread->current_position;
    const std::vector<Move> legal = legal_moves(pos, true);
    // The root list: every legal move, best first; losing captures behind every quiet move.
    ScoredMove list[MAX_MOVES];
    ScoredMove* const end = build_root_moves(*thread, list);
    std::vector<Move> words;
    for (ScoredMove* p = list; p != end; ++p) {
      words.push_back(p->move);
      EXPECT_TRUE(p == list || p[-1].score >= p->score) << fen;
    }
    std::sort(words.begin(), words.end());
    EXPECT_EQ(words, legal) << fen;
    if (fen == FENS[8]) {
      EXPECT_EQ(std::vector<Move>({end[-2].move, end[-1].move}),
                std::vector<Move>({move_named(pos, "c2c8"), move_named(pos, "c2h7")}));
      EXPECT_LT(end[-2].score, BAD_CAPTURE_LIMIT);
      EXPECT_GE(end[-3].score, BAD_CAPTURE_LIMIT);
    }
    std::vector<Move> quiets, tacticals;
    for (Move m : legal) ((m & MOVE_TACTICAL) ? tacticals : quiets).push_back(m);
    int16_t* history = &thread->move_history[0][0][0][0];
    for (size_t i = 0; i < sizeof thread->move_history / 2; ++i) history[i] = int16_t(i * 7919 % 65535 - 32767);
    for (int config = 0; config < 10; ++config) {
      const int depth = config % 2 ? 9 : 3;  // underpromotions from depth 8
      const Move hash = config % 3 == 1 && !quiets.empty() ? quiets.back()
                        : config % 3 == 2 && !tacticals.empty() ? tacticals.front() : 0;
      // Killers and counter move: usable, stale (a knight from an empty corner), or the hash move.
      const Move pool[] = {quiets.empty() ? 0 : quiets[0] & MOVE_SAME_MASK,
                           quiets.size() < 2 ? 0 : quiets[1] & MOVE_SAME_MASK, make_move_word(KNIGHT, 0, 17),
                           hash & MOVE_SAME_MASK, 0};
      thread->killers[4][0] = pool[config % 5];
      thread->killers[4][1] = pool[(config + 1) % 5];
      counter_move_entry(*thread, side_index(pos), prev) = config == 5 ? pool[0] : pool[(config + 3) % 4];

      MovePicker mp;
      start_picker(mp, hash);
      std::vector<ScoredMove> picked;
      std::vector<Move> expected = legal_moves(pos, depth >= 8);
      words.clear();
      for (ScoredMove sm; picked.size() < 300 && (sm = next_move(*thread, mp, 4, depth, in_check(pos), prev, 0)).move;)
        picked.push_back(sm), words.push_back(sm.move);
      std::sort(words.begin(), words.end());
      // A hash move is tried whatever its kind.
      if (hash && !std::binary_search(expected.begin(), expected.end(), hash))
        expected.insert(std::upper_bound(expected.begin(), expected.end(), hash), hash);
      ASSERT_EQ(words, expected) << fen << " config " << config;
      EXPECT_EQ(hash ? picked[0].move : 0, hash);
      // Behind the hash move scores never rise: good captures, killers and counter move,
      // quiets by history, then bad captures and underpromotions.
      for (size_t i = hash ? 1 : 0; i + 1 < picked.size(); ++i) {
        EXPECT_GE(picked[i].score, picked[i + 1].score) << fen << " config " << config << " at " << i;
        EXPECT_TRUE(picked[i].score >= BAD_CAPTURE_LIMIT || (picked[i + 1].move & MOVE_TACTICAL)) << fen;
      }
    }
  }
}

TEST(MoveOrder, HistoryStaysInRangeAndRewardsBeforeItPunishes) {
  int16_t h = 32767;
  update_history_entry(h, 25600);
  EXPECT_EQ(h, 32767);
  h = 0;
  update_history_entry(h, 16);
  EXPECT_EQ(h, 16);
  for (int i = 0; i < 20000; ++i) {
    update_history_entry(h, (i * 13 % 5 < 2 ? -16 : 16) * std::min(i * 7 % 61 * (i * 7 % 61), 1600));
    ASSERT_GE(h, -32767);
  }
  auto thread = thread_at("4k3/8/8/8/8/8/8/R4RK1 w - - 0 1");
  const Position& pos = *thread->current_position;
  const Move best = move_named(pos, "a1d1"), tried = move_named(pos, "f1d1"), prev = make_move_word(KING, 4, 3);
  update_quiet_histories(*thread, 3, 50, best, prev, 0, &tried, 1, false);
  EXPECT_EQ(thread->move_history[0][ROOK][0][3], 25600) << "depth 50 counts as depth 40";
  EXPECT_EQ(thread->move_history[0][ROOK][5][3], -25600);
  // Both rook moves share their reply entry: the reward comes first, then the penalty.
  EXPECT_EQ(thread->reply_history[0][KING][3][ROOK][3], -(25600 * 25600) / 32767);
  EXPECT_EQ(thread->killers[3][0], best);
  EXPECT_EQ(counter_move_entry(*thread, 0, prev), best);
  update_quiet_histories(*thread, 3, 2, tried, prev, 0, nullptr, 0, false);
  EXPECT_EQ(thread->killers[3][0], tried);
  EXPECT_EQ(thread->killers[3][1], best);
  update_quiet_histories(*thread, 3, 2, best, 0, 0, nullptr, 0, true);  // in check: histories only
  EXPECT_EQ(thread->killers[3][0], tried);
}

}  // namespace
