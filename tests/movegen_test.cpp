// The stage generators against a brute-force reference over random games, their order
// and scores, and the hand-made positions where generators tend to go wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/movegen.h"
#include "helpers/chess960_mode.h"
#include "helpers/reference_moves.h"
#include "search/thread_data.h"

namespace {

using List = std::vector<ScoredMove>;

Position from_fen(const char* fen) {
  Position pos;
  read_fen(pos, fen);
  return pos;
}

template <class Generate>
List run(Generate generate) {
  ScoredMove list[MAX_MOVES];
  return List(list, generate(list));
}
List captures(const Position& p) { return run([&](ScoredMove* l) { return generate_captures(p, l); }); }
List underpromotions(const Position& p) { return run([&](ScoredMove* l) { return generate_underpromotions(p, l); }); }
List quiets(const Position& p, bool checks_only) {
  return run([&](ScoredMove* l) { return generate_quiets(p, l, checks_only); });
}
List evasions(const Position& p, bool under) { return run([&](ScoredMove* l) { return generate_evasions(p, l, under); }); }

std::vector<Move> moves_of(const List& list) {
  std::vector<Move> moves;
  for (const ScoredMove& sm : list) moves.push_back(sm.move);
  return moves;
}

bool contains(const List& list, Move m) {
  return std::any_of(list.begin(), list.end(), [m](const ScoredMove& sm) { return same_move(sm.move, m); });
}

int32_t expected_score(Move m) {
  if (m & MOVE_PROMOTION) {
    switch (move_promotion(m)) {
      case QUEEN: return 0x7FFFFF2E + 8 * move_captured(m);
      case KNIGHT: return int32_t(0x80000002u);
      case ROOK: return int32_t(0x80000001u);
      default: return int32_t(0x80000000u);
    }
  }
  if (m & MOVE_CAPTURE) return 0x7FFFFF00 + 8 * move_captured(m) + 7 - move_piece(m);
  return 0;
}

// Sort keys of the generation order; within a generator they must rise strictly.
using OrderKey = std::array<int, 4>;

OrderKey capture_key(Move m) {
  const int from = move_from(m), to = move_to(m), step = to - from;
  if (m & MOVE_PROMOTION) return {8 + (step == 8 ? 0 : step == 9 ? 1 : 2), to, 0, 0};
  if (m & MOVE_EN_PASSANT) return {7, from, 0, 0};
  if (move_piece(m) == PAWN) return {step == 9 ? 5 : 6, to, 0, 0};
  return {KING - move_piece(m), from, to, 0};  // king, queens, rooks, bishops, knights
}

OrderKey underpromotion_key(Move m) {
  const int step = move_to(m) - move_from(m);
  return {step == 8 ? 0 : step == 9 ? 1 : 2, move_to(m), move_promotion(m) - KNIGHT, 0};
}

OrderKey quiet_key(Move m) {
  if (m & MOVE_CASTLING) return {7 + (move_to(m) == 6), 0, 0, 0};
  if (move_piece(m) == PAWN) return {move_to(m) - move_from(m) == 8 ? 5 : 6, move_to(m), 0, 0};
  return {KING - move_piece(m), move_from(m), move_to(m), 0};
}

OrderKey evasion_key(Move m) {
  const int from = move_from(m), to = move_to(m), piece = move_piece(m);
  const int promotion_rank = move_promotion(m) == QUEEN ? 0 : std::max(move_promotion(m) - 1, 0);  // Q, N, B, R
  const int capture = (m & MOVE_CAPTURE) ? 0 : 1;
  if (piece == KING) return {capture, to, 0, 0};
  if (piece != PAWN) return {2 + QUEEN - piece, from, capture, to};  // queens, rooks, bishops, knights
  if (m & MOVE_EN_PASSANT) return {9, from, 0, 0};
  if (m & MOVE_CAPTURE) return {7, from, promotion_rank, 0};
  return {to - from == 8 ? 6 : 8, to, promotion_rank, 0};
}

template <class Key>
void expect_rising(const List& list, Key key, const char* stage) {
  for (size_t i = 1; i < list.size(); ++i)
    EXPECT_LT(key(list[i - 1].move), key(list[i].move)) << stage << " order broken at entry " << i;
}

// Everything the stages promise in one position, against the reference.
void check_position(const Position& pos) {
  const bool check = reference_in_check(pos);
  ASSERT_EQ(in_check(pos), check);
  List pseudo;
  if (check) {
    pseudo = evasions(pos, true);
    expect_rising(pseudo, evasion_key, "evasions");
    List queen_only = pseudo;
    std::erase_if(queen_only, [](const ScoredMove& sm) { return sm.score < 0; });
    EXPECT_EQ(moves_of(evasions(pos, false)), moves_of(queen_only)) << "evasions without underpromotions";
  } else {
    const List c = captures(pos), u = underpromotions(pos), q = quiets(pos, false);
    expect_rising(c, capture_key, "captures");
    expect_rising(u, underpromotion_key, "underpromotions");
    expect_rising(q, quiet_key, "quiets");
    for (const ScoredMove& sm : c) EXPECT_TRUE((sm.move & MOVE_CAPTURE) || move_promotion(sm.move) == QUEEN);
    for (const ScoredMove& sm : u) EXPECT_TRUE(move_promotion(sm.move) >= KNIGHT && move_promotion(sm.move) <= ROOK);
    for (const ScoredMove& sm : q) EXPECT_FALSE(sm.move & MOVE_TACTICAL);
    // Checks only: exactly the marked quiet moves, castling left out, in the same order.
    List marked;
    for (const ScoredMove& sm : q)
      if ((sm.move & MOVE_GIVES_CHECK) && !(sm.move & MOVE_CASTLING)) marked.push_back(sm);
    EXPECT_EQ(moves_of(quiets(pos, true)), moves_of(marked));
    pseudo = c;
    pseudo.insert(pseudo.end(), u.begin(), u.end());
    pseudo.insert(pseudo.end(), q.begin(), q.end());
  }
  std::vector<Move> legal;
  for (const ScoredMove& sm : pseudo) {
    EXPECT_EQ(sm.score, expected_score(sm.move));
    // Only quiet moves out of check come with the bit; their bit must already be exact.
    if (check || (sm.move & MOVE_TACTICAL)) {
      EXPECT_FALSE(sm.move & MOVE_GIVES_CHECK);
    }
    if (legality_attackers(pos, sm.move)) continue;
    Move m = sm.move;
    if (check || (m & MOVE_TACTICAL)) mark_gives_check(pos, &m);
    legal.push_back(m);
  }
  std::vector<Move> reference = reference_legal_moves(pos);
  std::sort(legal.begin(), legal.end());
  std::sort(reference.begin(), reference.end());
  ASSERT_EQ(legal, reference);  // includes the gives-check bits and rules out duplicates

  ScoredMove list[MAX_MOVES];
  std::vector<Move> convenience = moves_of(List(list, generate_legal(pos, list)));
  std::sort(convenience.begin(), convenience.end());
  EXPECT_EQ(convenience, reference);
}

struct Rng {
  uint64_t state;
  uint64_t next() {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  }
};

// A random Chess960 start: bishops on both colours, the king between the rooks.
std::string chess960_start(Rng& rng) {
  std::string rank(8, ' ');
  rank[2 * (rng.next() % 4)] = 'b';
  rank[2 * (rng.next() % 4) + 1] = 'b';
  auto put = [&](char piece, int free_index) {
    for (char& c : rank)
      if (c == ' ' && free_index-- == 0) c = piece;
  };
  put('q', int(rng.next() % 6));
  put('n', int(rng.next() % 5));
  put('n', int(rng.next() % 4));
  put('r', 0);
  put('k', 0);
  put('r', 0);
  std::string white = rank, rights;
  for (char& c : white) c = char(c - 32);
  for (int f = 7; f >= 0; --f)
    if (rank[f] == 'r') rights += char('A' + f);
  for (int f = 7; f >= 0; --f)
    if (rank[f] == 'r') rights += char('a' + f);
  return rank + "/pppppppp/8/8/8/8/PPPPPPPP/" + white + " w " + rights + " - 0 1";
}

// Uniform most of the time, but checks and pawn double steps are favoured now and
// then, so that double checks and en-passant answers turn up.
Move pick_move(const std::vector<Move>& moves, Rng& rng) {
  std::vector<Move> favoured;
  const uint64_t mood = rng.next() % 4;
  for (const Move m : moves) {
    const bool double_step = move_piece(m) == PAWN && move_to(m) - move_from(m) == 16;
    if ((mood == 0 && (m & MOVE_GIVES_CHECK)) || (mood == 1 && double_step)) favoured.push_back(m);
  }
  const std::vector<Move>& from = favoured.empty() ? moves : favoured;
  return from[rng.next() % from.size()];
}

// Random legal moves from fen; every position on the way goes through check_position.
void playout(const std::string& fen, int plies, Rng& rng) {
  auto thread = std::make_unique<ThreadData>();
  set_position(*thread, fen.c_str(), nullptr);
  for (int ply = 0; ply < plies; ++ply) {
    SCOPED_TRACE("from " + fen + ", ply " + std::to_string(ply));
    const Position& pos = *thread->current_position;
    check_position(pos);
    if (testing::Test::HasFatalFailure()) return;
    const std::vector<Move> moves = reference_legal_moves(pos);
    if (moves.empty()) return;
    make_move(*thread, pick_move(moves, rng), nullptr);
    // Keep the stack shallow: repetitions don't matter here.
    thread->position_stack[0] = *thread->current_position;
    thread->current_position = thread->position_stack;
  }
}

TEST(MoveGeneration, StagesMatchReferenceOverRandomStandardGames) {
  Chess960Mode standard(false);
  Rng rng{0x9E3779B97F4A7C15ull};
  for (int game = 0; game < 10 && !HasFatalFailure(); ++game) playout(START_FEN, 400, rng);
  for (int game = 0; game < 4 && !HasFatalFailure(); ++game)
    playout("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 300, rng);
  for (int game = 0; game < 4 && !HasFatalFailure(); ++game)
    playout("r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", 200, rng);
  // Pawns waiting beside the double steps of the other side, with kings that walk into them.
  for (int game = 0; game < 30 && !HasFatalFailure(); ++game)
    playout("8/pppppppp/3k4/1P1P1P1P/p1p1p1p1/4K3/PPPPPPPP/8 w - - 0 1", 60, rng);
}

TEST(MoveGeneration, StagesMatchReferenceOverRandomChess960Games) {
  Chess960Mode chess960(true);
  Rng rng{0xD1B54A32D192ED03ull};
  for (int game = 0; game < 20 && !HasFatalFailure(); ++game) playout(chess960_start(rng), 300, rng);
}

TEST(MoveGeneration, DoubleCheckOffersOnlyKingMoves) {
  const Position pos = from_fen("4r2k/8/8/8/8/R2n4/8/4K3 w - - 0 1");  // rook e8 and knight d3
  const List list = evasions(pos, true);
  ASSERT_FALSE(list.empty());
  for (const ScoredMove& sm : list) EXPECT_EQ(move_piece(sm.move), KING);
}

TEST(MoveGeneration, DoubleStepCheckIsAnsweredEnPassant) {
  const Position pos = from_fen("8/8/8/3pP3/4K3/8/8/7k w - d6 0 1");
  const Move exd6 = with_capture(make_move_word(PAWN, 36, 43), PAWN) | MOVE_EN_PASSANT;
  const List list = evasions(pos, false);
  ASSERT_TRUE(contains(list, exd6));
  EXPECT_EQ(legality_attackers(pos, exd6), 0u);
}

TEST(MoveGeneration, DoubleStepThatUncoversCheckHasNoEnPassantAnswer) {
  // f7f5 opened the bishop g8 on the king d5; the pawn e5 could take on f6, which blocks nothing.
  const Position pos = from_fen("6b1/8/8/3KPp2/8/8/8/7k w - f6 0 2");
  ASSERT_EQ(ep_file(pos), 5);
  for (const ScoredMove& sm : evasions(pos, true)) EXPECT_FALSE(sm.move & MOVE_EN_PASSANT);
}

TEST(MoveGeneration, CheckerOnLastRankTakenWithOrWithoutUnderpromotions) {
  const Position pos = from_fen("7r/6P1/8/8/8/8/8/k6K w - - 0 1");  // rook h8 checks the king h1
  auto promotions = [](const List& list) {
    std::vector<int> pieces;
    for (const ScoredMove& sm : list)
      if (sm.move & MOVE_PROMOTION) pieces.push_back(move_promotion(sm.move));
    return pieces;
  };
  EXPECT_EQ(promotions(evasions(pos, true)), (std::vector<int>{QUEEN, KNIGHT, BISHOP, ROOK}));
  EXPECT_EQ(promotions(evasions(pos, false)), (std::vector<int>{QUEEN}));
  const Move gxh8q = with_promotion(with_capture(make_move_word(PAWN, 54, 63), ROOK), QUEEN);
  EXPECT_TRUE(contains(evasions(pos, false), gxh8q));
}

TEST(MoveGeneration, UnderpromotionsScoreBelowAnyQuietMove) {
  const List list = underpromotions(from_fen("1r5k/P7/8/8/8/8/8/K7 w - - 0 1"));
  ASSERT_EQ(list.size(), 6u);  // a8 and axb8, each as knight, bishop, rook
  for (const ScoredMove& sm : list) EXPECT_LT(sm.score, -0x7FFFFF00);
}

TEST(MoveGeneration, KnightScreeningRookChecksWhereverItGoes) {
  const Position pos = from_fen("4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1");
  const List checks = quiets(pos, true);
  ASSERT_EQ(checks.size(), 8u);
  for (const ScoredMove& sm : checks) {
    EXPECT_EQ(move_piece(sm.move), KNIGHT);
    EXPECT_TRUE(sm.move & MOVE_GIVES_CHECK);
  }
}

TEST(MoveGeneration, CastlingThatChecksIsMarkedButNotAmongChecksOnly) {
  struct Case {
    const char* fen;
    Square king, to;
  };
  const Case cases[] = {
      {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", 4, 6},    // the rook on f1 looks up the file
      {"8/8/8/8/8/8/8/1k1K3R w H - 0 1", 3, 6},    // ... and along the rank the king has left
      {"8/8/8/8/8/8/8/R3K1k1 w Q - 0 1", 4, 2},    // the rook on d1 looks east
      {"3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", 4, 2},    // ... and up the d-file
  };
  for (const Case& c : cases) {
    const Position pos = from_fen(c.fen);
    const Move castle = make_move_word(KING, c.king, c.to) | MOVE_CASTLING | MOVE_GIVES_CHECK;
    EXPECT_EQ(moves_of(quiets(pos, false)).back(), castle) << c.fen;
    EXPECT_FALSE(contains(quiets(pos, true), castle)) << c.fen;
  }
}

bool can_castle(const char* fen, Square from, Square to) {
  return contains(quiets(from_fen(fen), false), make_move_word(KING, from, to) | MOVE_CASTLING);
}

TEST(MoveGeneration, Chess960KingOnB1CastlesWithRookOnA1) {
  EXPECT_TRUE(can_castle("1k6/8/8/8/8/8/8/RK6 w A - 0 1", 1, 2));
  EXPECT_FALSE(can_castle("1k6/8/8/8/8/8/8/RK1N4 w A - 0 1", 1, 2));  // d1 must be empty
  EXPECT_FALSE(can_castle("1kr5/8/8/8/8/8/8/RK6 w A - 0 1", 1, 2));   // c1 is the king's way
  EXPECT_TRUE(can_castle("1k1r4/8/8/8/8/8/8/RK6 w A - 0 1", 1, 2));   // d1 is only the rook's
}

TEST(MoveGeneration, Chess960RookScreeningEnemyRookOnA1) {
  EXPECT_FALSE(can_castle("4k3/8/8/8/8/8/8/rRK5 w B - 0 1", 2, 2));
  EXPECT_TRUE(can_castle("4k3/8/8/8/8/8/8/1RK5 w B - 0 1", 2, 2));
}

TEST(MoveGeneration, Chess960KingOnG1RookOnH1) {
  EXPECT_TRUE(can_castle("4k3/8/8/8/8/8/8/6KR w H - 0 1", 6, 6));
  EXPECT_TRUE(can_castle("4kr2/8/8/8/8/8/8/6KR w H - 0 1", 6, 6));  // f1 is not on the king's way
  EXPECT_FALSE(can_castle("4k3/8/8/8/8/8/8/5NKR w H - 0 1", 6, 6));
}

TEST(MoveGeneration, KnightOnE3StopsBothCastlings) {
  EXPECT_FALSE(can_castle("r3k2r/8/8/8/8/4n3/8/R3K2R w KQkq - 0 1", 4, 2));
  EXPECT_FALSE(can_castle("r3k2r/8/8/8/8/4n3/8/R3K2R w KQkq - 0 1", 4, 6));
  EXPECT_TRUE(can_castle("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 4, 2));
  EXPECT_TRUE(can_castle("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 4, 6));
}

}  // namespace
