// Exchange evaluation on hand-built positions, each also played by Black on the mirrored board.
#include <gtest/gtest.h>

#include <string>

#include "board/see.h"
#include "helpers/board_fixtures.h"

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

}  // namespace
