// Checks of outside FEN text: what is refused, what is cut down, and that sound FENs
// pass untouched.
#include <gtest/gtest.h>

#include <string>

#include "board/fen_check.h"
#include "board/position.h"

namespace {

TEST(FenCheck, SoundFensPass) {
  const char* fens[] = {
      START_FEN,
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
      "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1",
      "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9",
      "4k3/8/8/8/8/8/8/4K3 w - -",           // four fields
      "4k3/8/8/8/8/8/8/4K3 w - - 0 1\n",     // the line's newline still behind it
      "4k3/8/8/8/8/8/4q3/4K3 w - - 0 1",     // the side to move may be in check
      "R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1",  // nine queens: eight promoted
  };
  for (const char* fen : fens) EXPECT_EQ(fen_check(fen), nullptr) << fen;
  std::string padded = std::string("4k3/8/8/8/8/8/8/4K3 w - - 0 1") + std::string(105, ' ');
  EXPECT_EQ(fen_check(padded.c_str()), nullptr);  // 135 characters
}

TEST(FenCheck, BoardsTheGeneratorsCannotTakeAreRefused) {
  const char* fens[] = {
      "4k3/8/8/8/8/8/8/4K3 w - - 0 100000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000",
      "",
      "4k3/8/8/8/8/8/8/4K3 w -",
      "4k3/8/8/8/8/8/8/4K2x w - -",
      "4k3/8/8/8/8/8/8/4K3/8 w - -",          // counter runs to 72
      "4k3/8/8/8/8/8/8/4K3/p w - -",          // a piece past h1
      "4k3/8/8/8/8/8/8/8 w - -",
      "4k3/8/8/8/8/8/8/3KK3 w - -",
      "3kk3/8/8/8/8/8/8/4K3 w - -",
      "4k2P/8/8/8/8/8/8/4K3 w - -",
      "4k3/8/8/8/8/8/8/4K2p b - -",
      "4k3/8/8/8/8/8/8/4K3 w - e",            // fine so far ...
      "4k3/8/8/8/8/8/8/4K3 w - 3",            // ... but not a digit
      "4k3/8/8/8/8/8/8/4K2r b - -",           // White in check with Black to move
      "4k3/4Q3/8/8/8/8/8/4K3 w - -",          // Black in check with White to move
      "8/8/8/3kK3/8/8/8/8 w - -",
      "4k3/pppppppp/p7/8/8/8/8/4K3 w - -",    // nine pawns
      "4k3/8/8/8/8/8/PPPPPPP1/QQK5 w - -",    // one extra queen for one missing pawn: fine ...
      "4k3/8/8/8/8/8/PPPPPPPP/QQK5 w - -",    // ... but not with all pawns on the board
      "qqqqqqqq/qqqqqqqk/8/8/8/8/8/4K3 w - -",
  };
  const bool refused[] = {true, true, true, true, true, true, true, true, true, true, true, false,
                          true, true, true, true, true, false, true, true};
  for (size_t i = 0; i < std::size(fens); ++i) EXPECT_EQ(fen_check(fens[i]) != nullptr, refused[i]) << fens[i];
}

std::string dropped(const char* fen, bool chess960) {
  char text[160];
  std::snprintf(text, sizeof text, "%s", fen);
  drop_unusable_rights(text, chess960);
  return text;
}

TEST(DropUnusableRights, RightsWithoutTheirKingOrRookGo) {
  // The king on d1: no castling in standard chess, both rights in Chess960.
  EXPECT_EQ(dropped("r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", false), "r3k2r/8/8/8/8/8/8/R2K3R w kq - 0 1");
  EXPECT_EQ(dropped("r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", true), "r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1");
  EXPECT_EQ(dropped("r3k2r/8/8/8/8/8/8/R3K3 w KQkq - 0 1", false), "r3k2r/8/8/8/8/8/8/R3K3 w Qkq - 0 1");
  EXPECT_EQ(dropped("r3k2r/8/8/8/8/8/4K3/R6R w KQkq - 0 1", true), "r3k2r/8/8/8/8/8/4K3/R6R w kq - 0 1");
  EXPECT_EQ(dropped("1r2k2r/8/8/8/8/8/8/4K3 b KQkq - 0 1", true), "1r2k2r/8/8/8/8/8/8/4K3 b k - 0 1");
  EXPECT_EQ(dropped("k6r/8/8/8/8/8/8/R3K3 w Hhq - 0 1", true), "k6r/8/8/8/8/8/8/R3K3 w - - 0 1");
  // A second letter for the same right would XOR its key twice.
  EXPECT_EQ(dropped("r3k2r/8/8/8/8/8/8/R3K2R w KHkq - 0 1", false), "r3k2r/8/8/8/8/8/8/R3K2R w Kkq - 0 1");
  EXPECT_EQ(dropped("bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9", true),
            "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9");
}

TEST(DropUnusableRights, EnPassantNeedsAPawnThatJustMovedTwo) {
  const char* after_e4 = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1";
  EXPECT_EQ(dropped(after_e4, false), after_e4);
  const char* after_d5 = "rnbqkbnr/ppp1pppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2";
  EXPECT_EQ(dropped(after_d5, false), after_d5);
  EXPECT_EQ(dropped("rnbqkbnr/ppp1pppp/8/4P3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2", false),
            "rnbqkbnr/ppp1pppp/8/4P3/8/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2");
  EXPECT_EQ(dropped("rnbqkbnr/pppppppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2", false),
            "rnbqkbnr/pppppppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2");  // d7 still occupied
}

TEST(DropUnusableRights, TheKeyIsThatOfTheCleanFen) {
  char text[] = "4k3/8/8/8/3pP3/8/8/R3K1R1 b KQkq e3 0 1\n";
  drop_unusable_rights(text, false);
  Position got, expected;
  read_fen(got, text);
  read_fen(expected, "4k3/8/8/8/3pP3/8/8/R3K1R1 b Q e3 0 1");
  EXPECT_EQ(got.key, expected.key);
  EXPECT_EQ(got.castling, expected.castling);
  EXPECT_EQ(got.flags, expected.flags);
}

}  // namespace
