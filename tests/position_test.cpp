// Reading FEN into the mover's frame, the key, and writing FEN back out.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen_write.h"
#include "board/zobrist.h"
#include "helpers/board_fixtures.h"

namespace {

Position read(const char* fen) {
  Position p;
  read_fen(p, fen);
  return p;
}

std::string written(const Position& p, bool chess960) {
  char text[FEN_BUFFER_SIZE];
  position_to_fen(p, text, chess960);
  return text;
}

constexpr uint64_t START_KEY = 0x4E17CA51AE670349ull;

TEST(ReadFen, StartPosition) {
  const Position p = read(START_FEN);
  EXPECT_EQ(p.key, START_KEY);
  EXPECT_EQ(p.castling, 0x0707);
  EXPECT_EQ(p.flags, 0x80);
  EXPECT_EQ(p.rule50, 0);
  EXPECT_EQ(p.bb[OWN], 0xFFFFull);
  EXPECT_EQ(p.bb[PAWN], 0x00FF00000000FF00ull);
  EXPECT_EQ(p.bb[QUEEN], bit(square_named("d1")) | bit(square_named("d8")));
  EXPECT_EQ(key_from_scratch(p), START_KEY);
}

TEST(ReadFen, CastlingFields) {
  // Shredder letters and the classic letters name the same rooks.
  const Position classic = read(START_FEN);
  const Position shredder = read("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w HAha - 0 1");
  EXPECT_EQ(shredder.castling, classic.castling);
  EXPECT_EQ(shredder.key, START_KEY);

  // K and Q mean the h- and a-rooks wherever the king stands.
  EXPECT_EQ(read("r2k3r/8/8/8/8/8/8/R2K3R w KQkq - 0 1").castling, 0x0707);
  EXPECT_EQ(read("1k5r/8/8/8/8/8/8/1K5R w KQkq - 0 1").castling, 0x0707);

  // A rook file equal to the king's counts as queen side; the key still takes one right.
  const Position same_file = read("4k3/8/8/8/8/8/8/4K3 w E - 0 1");
  EXPECT_EQ(same_file.castling, 0x8848);
  EXPECT_EQ(same_file.key, read("4k3/8/8/8/8/8/8/4K3 w - - 0 1").key ^ ZOBRIST[ZOBRIST_CASTLING + 2]);

  // Chess960 rooks inside: king on c1 with rooks on b1 and g1.
  const Position inner = read("1rk3r1/8/8/8/8/8/8/1RK3R1 w GBgb - 0 1");
  EXPECT_EQ(inner.castling, 0x1616);
  EXPECT_EQ(key_from_scratch(inner), inner.key);

  EXPECT_EQ(read("4k3/8/8/8/8/8/8/4K3 w - - 0 1").castling, NO_CASTLING);
}

TEST(ReadFen, BlackToMoveIsStoredInBlacksFrame) {
  const Position p = read("r3k3/8/8/8/8/8/3P4/4K2R b Kq - 0 1");
  EXPECT_EQ(p.flags & FLAG_BLACK, FLAG_BLACK);
  // Black's king on e8 stands on e1 of its own frame, and is own.
  EXPECT_EQ(p.bb[KING] & p.bb[OWN], bit(square_named("e1")));
  EXPECT_EQ(p.bb[ROOK] & p.bb[OWN], bit(square_named("a1")));
  EXPECT_EQ(p.bb[ROOK] & ~p.bb[OWN], bit(square_named("h8")));
  EXPECT_EQ(p.bb[PAWN], bit(square_named("d7")));
  // Own rights first: Black keeps queen side (a), White keeps king side (h).
  EXPECT_EQ(p.castling, 0x8708);
  EXPECT_EQ(p.key, key_from_scratch(p));
  EXPECT_EQ(p.key, read("r3k3/8/8/8/8/8/3P4/4K2R w Kq - 0 1").key ^ ZOBRIST[ZOBRIST_SIDE]);
}

TEST(ReadFen, EnPassantFileNeedsACapturer) {
  // After 1. e4 nobody can take on e3: no file, and the key of the same board without the field.
  const Position with_field = read("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
  const Position without = read("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
  EXPECT_EQ(ep_file(with_field), 8);
  EXPECT_EQ(with_field.key, without.key);
  EXPECT_EQ(with_field.flags, without.flags);

  // A black pawn on d4 can take: the file is held and keyed.
  const Position held = read("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1");
  EXPECT_EQ(ep_file(held), 4);
  EXPECT_EQ(held.key, read("4k3/8/8/8/3pP3/8/8/4K3 b - - 0 1").key ^ ZOBRIST[ZOBRIST_EP + 4]);
  EXPECT_EQ(held.key, key_from_scratch(held));

  // White to move: the capturer is looked for on the fifth rank; a pawn on the h-file has one neighbour.
  EXPECT_EQ(ep_file(read("4k3/8/8/6Pp/8/8/8/4K3 w - h6 0 1")), 7);
  EXPECT_EQ(ep_file(read("4k3/8/8/P6p/8/8/8/4K3 w - h6 0 1")), 8);
  // A pawn of the side that just pushed does not count.
  EXPECT_EQ(ep_file(read("4k3/8/8/8/3PP3/8/8/4K3 b - e3 0 1")), 8);
}

TEST(ReadFen, HalfMoveClockAndCheck) {
  EXPECT_EQ(read("4k3/8/8/8/8/8/8/4K3 w - -").rule50, 0);
  EXPECT_EQ(read("4k3/8/8/8/8/8/8/4K3 w - - 37 80").rule50, 37);
  EXPECT_EQ(read("4k3/8/8/8/8/8/8/4K3 w - - 300 1").rule50, 300 & 255);

  EXPECT_FALSE(in_check(read(START_FEN)));
  EXPECT_TRUE(in_check(read("4k3/8/8/8/8/8/8/r3K3 w - - 0 1")));
  EXPECT_TRUE(in_check(read("4k3/8/8/1B6/8/8/8/4K3 b - - 0 1")));
  EXPECT_TRUE(in_check(read("4k3/3P4/8/8/8/8/8/4K3 b - - 0 1")));
  EXPECT_TRUE(in_check(read("4k3/8/8/8/8/8/5p2/4K3 w - - 0 1")));
  EXPECT_FALSE(in_check(read("4k3/8/8/8/8/8/4p3/4K3 w - - 0 1")));
}

// FEN of our own making for the round trips, so that the suite runs without the shared files.
const char* const ROUND_TRIP_FENS[] = {
    START_FEN,
    "r3k2r/1bppqpb1/pn2pnp1/3PN3/Pp2P3/2N2Q1p/1PPBBPPP/R3K2R b KQkq a3 0 3",
    "8/8/3k4/2pP4/8/8/8/4K3 w - c6 0 40",
    "rn1qkb1r/pp2pppp/5n2/2pp4/3P1Bb1/2N2N2/PPP1PPPP/R2QKB1R w Kq - 4 6",
    "4k3/8/8/8/8/8/8/4K3 b - - 99 1",
};

const char* const CHESS960_ROUND_TRIP_FENS[] = {
    "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1",
    "rk2r3/pppppppp/8/8/8/8/PPPPPPPP/RK2R3 b EAea - 0 1",
    "1r3kr1/pppppppp/8/8/8/8/PPPPPPPP/1R3KR1 w GBgb - 2 1",
    "rkr5/pppppppp/8/8/8/8/PPPPPPPP/RKR5 w Cc - 0 1",
};

// read -> write -> read keeps the record; board, side and rule50 fields come back as given.
void expect_round_trip(const std::string& fen, bool chess960) {
  const Position first = read(fen.c_str());
  const std::string text = written(first, chess960);
  const Position second = read(text.c_str());
  EXPECT_EQ(record_difference(first, second), "") << fen << " -> " << text;

  std::istringstream given(fen), got(text);
  std::string g[5], w[5];
  for (auto& f : g) given >> f;
  for (auto& f : w) got >> f;
  EXPECT_EQ(w[0], g[0]) << fen;
  EXPECT_EQ(w[1], g[1]) << fen;
  std::sort(g[2].begin(), g[2].end());
  std::sort(w[2].begin(), w[2].end());
  EXPECT_EQ(w[2], g[2]) << fen;
  EXPECT_EQ(w[3], ep_file(first) == 8 ? "-" : g[3]) << fen;
  EXPECT_EQ(w[4], g[4].empty() ? "0" : g[4]) << fen;
}

TEST(WriteFen, RoundTripsOfOwnPositions) {
  for (const char* fen : ROUND_TRIP_FENS) expect_round_trip(fen, false);
  for (const char* fen : CHESS960_ROUND_TRIP_FENS) expect_round_trip(fen, true);
  EXPECT_EQ(written(read(START_FEN), false), START_FEN);
  // The same rights written for Chess960 use the rook files.
  EXPECT_EQ(written(read(START_FEN), true), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w HAha - 0 1");
  EXPECT_EQ(written(read("4k3/8/8/8/3pP3/8/8/4K3 b - e3 5 30"), false), "4k3/8/8/8/3pP3/8/8/4K3 b - e3 5 1");
}

std::vector<std::string> shared_fens(const char* file) {
  std::vector<std::string> fens;
  std::ifstream in(std::string(TESMAR_SHARED_DIR) + "/perft/" + file);
  for (std::string line; std::getline(in, line);)
    if (!line.empty()) fens.push_back(line.substr(0, line.find(';')));
  return fens;
}

TEST(WriteFen, RoundTripsOfPerftSuites) {
  const auto standard = shared_fens("standard.epd");
  const auto chess960 = shared_fens("chess960.epd");
  if (standard.empty() || chess960.empty()) GTEST_SKIP() << "perft suites not found under " << TESMAR_SHARED_DIR;
  for (const auto& fen : standard) expect_round_trip(fen, false);
  for (const auto& fen : chess960) expect_round_trip(fen, true);
  for (const auto& fen : standard) {
    const Position p = read(fen.c_str());
    EXPECT_EQ(p.key, key_from_scratch(p)) << fen;
  }
}

}  // namespace
