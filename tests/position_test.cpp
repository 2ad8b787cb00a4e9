// Reading FEN into the mover's frame and the key (FEN written out is held by the board sweep,
// which reads back every position it reaches, and by make_move's cases); the checks of outside
// FEN text: what is refused, what is cut down, and that sound FENs pass untouched.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "board/fen_check.h"
#include "helpers/board_fixtures.h"

namespace {

TEST(ReadFen, FramesCastlingEnPassantAndClock) {
  const Position p = position_of(START_FEN);
  EXPECT_EQ(p.key, 0x4E17CA51AE670349ull);
  EXPECT_EQ(p.flags, 0x80);
  EXPECT_EQ(p.bb[OWN], 0xFFFFull);
  // Black to move: Black's pieces are own and stand on their true squares XOR 56.
  const Position b = position_of("r3k3/8/8/8/8/8/3P4/4K2R b Kq - 0 1");
  EXPECT_EQ(b.bb[KING] & b.bb[OWN], bit(square_named("e1")));
  EXPECT_EQ(b.bb[ROOK] & b.bb[OWN], bit(square_named("a1")));
  EXPECT_EQ(b.bb[ROOK] & ~b.bb[OWN], bit(square_named("h8")));
  EXPECT_EQ(b.bb[PAWN], bit(square_named("d7")));
  const struct {
    const char* fen;
    uint16_t castling;
    int ep_file, rule50;
  } cases[] = {
      {START_FEN, 0x0707, 8, 0},
      {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w HAha - 0 1", 0x0707, 8, 0},
      {"1k5r/8/8/8/8/8/8/1K5R w KQkq - 0 1", 0x0707, 8, 0},  // K and Q: the h- and a-rooks
      {"4k3/8/8/8/8/8/8/4K3 w E - 0 1", 0x8848, 8, 0},       // the king's own file is queen side
      {"1rk3r1/8/8/8/8/8/8/1RK3R1 w GBgb - 0 1", 0x1616, 8, 0},
      {"r3k3/8/8/8/8/8/3P4/4K2R b Kq - 0 1", 0x8708, 8, 0},  // own rights first
      // An en-passant file is held only when a pawn of the side to move can take.
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", 0x0707, 8, 0},
      {"4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1", 0x8888, 4, 0},
      {"4k3/8/8/8/3PP3/8/8/4K3 b - e3 0 1", 0x8888, 8, 0},
      {"4k3/8/8/6Pp/8/8/8/4K3 w - h6 0 1", 0x8888, 7, 0},
      {"4k3/8/8/P6p/8/8/8/4K3 w - h6 0 1", 0x8888, 8, 0},
      {"4k3/8/8/8/8/8/8/4K3 w - -", 0x8888, 8, 0},
      {"4k3/8/8/8/8/8/8/4K3 w - - 300 1", 0x8888, 8, 300 & 255},
  };
  for (const auto& c : cases) {
    const Position pos = position_of(c.fen);
    EXPECT_EQ(pos.castling, c.castling) << c.fen;
    EXPECT_EQ(ep_file(pos), c.ep_file) << c.fen;
    EXPECT_EQ(pos.rule50, c.rule50) << c.fen;
    // From the fields as read: rook-file letters or KQkq, an en-passant square nobody can use or none.
    EXPECT_EQ(pos.key, key_from_scratch(pos)) << c.fen;
  }
}

TEST(FenCheck, SoundFensPassAndBoardsTheGeneratorsCannotTakeAreRefused) {
  const std::string sound[] = {
      START_FEN, "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9",
      "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1",
      "4k3/8/8/8/8/8/8/4K3 w - -",                                  // four fields
      "4k3/8/8/8/8/8/8/4K3 w - - 0 1\n",                            // the line's newline still behind it
      "4k3/8/8/8/8/8/8/4K3 w - - 0 1" + std::string(105, ' '),     // 135 characters
      "4k3/8/8/8/8/8/4q3/4K3 w - - 0 1",                            // the side to move in check
      "R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1",       // nine queens: eight promoted
      "4k3/8/8/8/8/8/PPPPPPP1/QQK5 w - -",                          // an extra queen for a missing pawn
      "4k3/8/8/8/8/8/8/4K3 w - e",                                  // fine so far ...
  };
  for (const std::string& fen : sound) EXPECT_EQ(fen_check(fen.c_str()), nullptr) << fen;
  const std::string refused[] = {
      "4k3/8/8/8/8/8/8/4K3 w - 3",  // ... but not a digit
      "4k3/8/8/8/8/8/8/4K3 w - - 0 1" + std::string(107, '0'), "", "4k3/8/8/8/8/8/8/4K3 w -",
      "4k3/8/8/8/8/8/8/4K2x w - -", "4k3/8/8/8/8/8/8/8 w - -",
      "4k3/8/8/8/8/8/8/4K3/8 w - -",  // counter runs to 72
      "4k3/8/8/8/8/8/8/4K3/p w - -",  // a piece past h1
      "4k3/8/8/8/8/8/8/3KK3 w - -", "3kk3/8/8/8/8/8/8/4K3 w - -", "8/8/8/3kK3/8/8/8/8 w - -",
      "4k2P/8/8/8/8/8/8/4K3 w - -", "4k3/8/8/8/8/8/8/4K2p b - -",
      "4k3/8/8/8/8/8/8/4K2r b - -",          // White in check with Black to move
      "4k3/4Q3/8/8/8/8/8/4K3 w - -",         // Black in check with White to move
      "4k3/pppppppp/p7/8/8/8/8/4K3 w - -",   // nine pawns
      "4k3/8/8/8/8/8/PPPPPPPP/QQK5 w - -",   // an extra queen with all pawns on the board
      "qqqqqqqq/qqqqqqqk/8/8/8/8/8/4K3 w - -",
  };
  for (const std::string& fen : refused) EXPECT_NE(fen_check(fen.c_str()), nullptr) << fen;
}

TEST(FenCheck, RightsWithoutTheirPiecesAndEnPassantWithoutItsPawnGo) {
  const struct {
    const char *fen, *clean;
    bool chess960;
  } cases[] = {
      // The king on d1: no castling in standard chess, both rights in Chess960.
      {"r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", "r3k2r/8/8/8/8/8/8/R2K3R w kq - 0 1", false},
      {"r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", "r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", true},
      {"r3k2r/8/8/8/8/8/8/R3K3 w KQkq - 0 1", "r3k2r/8/8/8/8/8/8/R3K3 w Qkq - 0 1", false},
      {"r3k2r/8/8/8/8/8/4K3/R6R w KQkq - 0 1", "r3k2r/8/8/8/8/8/4K3/R6R w kq - 0 1", true},
      // In Chess960 KQkq name the outermost rook on each wing (X-FEN), which is given its
      // file letter where it stands off the a- and h-files.
      {"1r2k2r/8/8/8/8/8/8/4K3 b KQkq - 0 1", "1r2k2r/8/8/8/8/8/8/4K3 b kb - 0 1", true},
      {"bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w KQkq - 0 1",
       "bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w KFkf - 0 1", true},
      {"bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w KQkq - 0 1",
       "bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w - - 0 1", false},
      {"r1r1k3/8/8/8/8/8/8/1RK2RR1 w KQq - 0 1", "r1r1k3/8/8/8/8/8/8/1RK2RR1 w GBq - 0 1", true},
      {"k6r/8/8/8/8/8/8/R3K3 w Hhq - 0 1", "k6r/8/8/8/8/8/8/R3K3 w - - 0 1", true},
      // A second letter for the same right would XOR its key twice.
      {"r3k2r/8/8/8/8/8/8/R3K2R w KHkq - 0 1", "r3k2r/8/8/8/8/8/8/R3K2R w Kkq - 0 1", false},
      {"bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9",
       "bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9", true},
      {"4k3/8/8/8/3pP3/8/8/R3K1R1 b KQkq e3 0 1\n", "4k3/8/8/8/3pP3/8/8/R3K1R1 b Q e3 0 1\n", false},
      {"rnbqkbnr/ppp1pppp/8/4P3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2",
       "rnbqkbnr/ppp1pppp/8/4P3/8/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2", false},
      {"rnbqkbnr/pppppppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2",  // d7 still occupied
       "rnbqkbnr/pppppppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2", false},
  };
  for (const auto& c : cases) {
    char text[160];
    std::snprintf(text, sizeof text, "%s", c.fen);
    drop_unusable_rights(text, c.chess960);
    EXPECT_STREQ(text, c.clean) << c.fen;
  }
}

}  // namespace
