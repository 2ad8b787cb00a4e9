// Reading FEN into the mover's frame, the key, and writing FEN back out.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "helpers/board_fixtures.h"

namespace {

TEST(ReadFen, StartPositionAndBlacksFrame) {
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
}

TEST(ReadFen, CastlingEnPassantAndClock) {
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
    const Position p = position_of(c.fen);
    EXPECT_EQ(p.castling, c.castling) << c.fen;
    EXPECT_EQ(ep_file(p), c.ep_file) << c.fen;
    EXPECT_EQ(p.rule50, c.rule50) << c.fen;
    EXPECT_EQ(p.key, key_from_scratch(p)) << c.fen;
  }
  // Fields that say the same give the same key: rook-file letters, an en-passant square nobody can use.
  EXPECT_EQ(position_of(cases[1].fen).key, position_of(START_FEN).key);
  EXPECT_EQ(position_of(cases[6].fen).key,
            position_of("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1").key);
}

TEST(WriteFen, OwnPositionsAndPerftSuites) {
  EXPECT_EQ(fen_of(position_of(START_FEN), false), START_FEN);
  EXPECT_EQ(fen_of(position_of(START_FEN), true), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w HAha - 0 1");
  EXPECT_EQ(fen_of(position_of("4k3/8/8/8/3pP3/8/8/4K3 b - e3 5 30"), false), "4k3/8/8/8/3pP3/8/8/4K3 b - e3 5 1");
  // read -> write -> read keeps the record.
  for (const bool chess960 : {false, true}) {
    std::ifstream in(std::filesystem::path(TESMAR_SHARED_DIR) / "perft" / (chess960 ? "chess960.epd" : "standard.epd"));
    if (!in) GTEST_SKIP() << "perft suites not found under " << TESMAR_SHARED_DIR;
    for (std::string line; std::getline(in, line) && !line.empty();) {
      const Position first = position_of(line.substr(0, line.find(';')).c_str());
      EXPECT_EQ(record_difference(first, position_of(fen_of(first, chess960).c_str())), "") << line;
    }
  }
}

}  // namespace
