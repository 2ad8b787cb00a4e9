// make_move along random games against positions rebuilt from scratch, and the
// feature changes it reports, plus the awkward cases of castling, captures and passes.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "board/fen_write.h"
#include "board/make_move.h"
#include "board/zobrist.h"
#include "helpers/board_fixtures.h"
#include "helpers/random_games.h"

namespace {

using FeatureSet = std::set<uint32_t>;

// Features of a position in its own frame: planes 0..4 for own pieces, 5..9 for the
// opponent's (kings have none), and the codes of the rights still held.
FeatureSet features_of(const Position& p) {
  FeatureSet s;
  for (int type = PAWN; type < KING; ++type) {
    for (Bitboard b = p.bb[type]; b; b &= b - 1) {
      const Square q = lsb(b);
      const int plane = (p.bb[OWN] & bit(q)) ? type - 1 : type + 4;
      s.insert(uint32_t(plane * 64 + q));
    }
  }
  if ((p.castling & 15) != NO_RIGHT) s.insert(RIGHT_LOST_OWN_KING_SIDE);
  if (((p.castling >> 4) & 15) != NO_RIGHT) s.insert(RIGHT_LOST_OWN_QUEEN_SIDE);
  if (((p.castling >> 8) & 15) != NO_RIGHT) s.insert(RIGHT_LOST_ENEMY_KING_SIDE);
  if ((p.castling >> 12) != NO_RIGHT) s.insert(RIGHT_LOST_ENEMY_QUEEN_SIDE);
  return s;
}

// Applies the delta to the features before the move; it must give those after it,
// both in the frame of the side that moved. Returns what went wrong, or "".
std::string delta_fault(const Position& before, const Position& after, Move m, const FeatureDelta& d) {
  if (d.king_moved != (move_piece(m) == KING && move_from(m) != move_to(m))) return "king_moved";
  if (d.added_count < 0 || d.added_count > 8 || d.removed_count < 0 || d.removed_count > 8) return "counts";
  FeatureSet s = features_of(before);
  for (int i = 0; i < d.removed_count; ++i)
    if (!s.erase(d.removed[i])) return "removed entry not present: " + std::to_string(d.removed[i]);
  for (int i = 0; i < d.added_count; ++i)
    if (!s.insert(d.added[i]).second) return "added entry already present: " + std::to_string(d.added[i]);
  Position mover_view = after;
  flip_position(mover_view);
  if (s != features_of(mover_view)) return "features differ from those of the new position";
  return "";
}

// Every record along the walk agrees with one built afresh from its FEN, and with the delta.
void walk_and_compare(const char* fen, bool chess960, int plies, uint64_t seed) {
  MoveKindCounts counts;
  int faults = 0;
  RandomGameVisitor visitor;
  visitor.after_move = [&](ThreadData& thread, Move m, const FeatureDelta& d) {
    counts.count(m);
    const Position& after = *thread.current_position;
    const Position& before = *(thread.current_position - 1);
    char text[FEN_BUFFER_SIZE];
    position_to_fen(after, text, chess960);
    Position fresh;
    read_fen(fresh, text);
    char before_text[FEN_BUFFER_SIZE];
    position_to_fen(before, before_text, chess960);
    const std::string where = std::string(before_text) + " move " + std::to_string(m);
    const std::string diff = record_difference(after, fresh);
    const std::string delta = delta_fault(before, after, m, d);
    EXPECT_EQ(diff, "") << where;
    EXPECT_EQ(after.key, key_from_scratch(after)) << where;
    EXPECT_EQ(in_check(after), checkers(after) != 0) << where;
    EXPECT_EQ(delta, "") << where;
    if (!diff.empty() || !delta.empty() || after.key != key_from_scratch(after)) ++faults;
    ASSERT_LT(faults, 5) << "stopping this walk";
  };
  play_random_games(fen, plies, seed, visitor);
  // The walk must have reached the rarer branches for the comparisons to mean much.
  EXPECT_GT(counts.castlings, 20) << fen;
  EXPECT_GT(counts.en_passants, 10) << fen;
  EXPECT_GT(counts.promotions, 100) << fen;
  EXPECT_GT(counts.checks, 1000) << fen;
}

TEST(MakeMoveRandomGames, StandardChess) {
  Chess960Option option(false);
  walk_and_compare(START_FEN, false, 100000, 1);
}

TEST(MakeMoveRandomGames, Chess960) {
  Chess960Option option(true);
  uint64_t seed = 100;
  for (const char* fen : CHESS960_STARTS) walk_and_compare(fen, true, 50000, ++seed);
}

// One move from a FEN, with its delta.
struct Played {
  std::unique_ptr<ThreadData> thread;
  FeatureDelta delta;
  const Position& before() const { return thread->position_stack[0]; }
  const Position& after() const { return *thread->current_position; }
};

Played play(const char* fen, const char* token) {
  Played p{thread_at(fen), {}};
  make_move(*p.thread, move_named(*p.thread->current_position, token), &p.delta);
  return p;
}

FeatureSet entries(const uint32_t* e, int n) { return FeatureSet(e, e + n); }
uint32_t feature(int plane, const char* square) { return uint32_t(plane * 64 + square_named(square)); }

TEST(MakeMoveCases, CaptureOfACastlingRook) {
  // Ra1xa8: both queen-side rights go, Black's by the capture and White's by the rook leaving.
  const Played p = play("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 3 1", "a1a8");
  EXPECT_EQ(p.after().castling, 0x8787);
  EXPECT_EQ(p.after().key, key_from_scratch(p.after()));
  EXPECT_EQ(p.after().rule50, 0);
  EXPECT_EQ(entries(p.delta.removed, p.delta.removed_count),
            (FeatureSet{feature(8, "a8"), RIGHT_LOST_ENEMY_QUEEN_SIDE, feature(3, "a1"), RIGHT_LOST_OWN_QUEEN_SIDE}));
  EXPECT_EQ(entries(p.delta.added, p.delta.added_count), FeatureSet{feature(3, "a8")});

  // A rook taken on b8 held no right: Black keeps its king side.
  const Played q = play("1r2k2r/8/8/8/8/8/8/1R2K2R w Kk - 0 1", "b1b8");
  EXPECT_EQ(q.after().castling, q.before().castling >> 8 | (q.before().castling & 0xFF) << 8);
  EXPECT_EQ(q.delta.removed_count, 2);

  // Black's h8 rook takes White's h1 rook: both king-side rights go, each keyed by its colour.
  const Played t = play("4k2r/8/8/8/8/8/8/4K2R b Kk - 0 1", "h8h1");
  EXPECT_EQ(t.after().castling, NO_CASTLING);
  EXPECT_EQ(t.after().key, key_from_scratch(t.after()));
  EXPECT_EQ(entries(t.delta.removed, t.delta.removed_count),
            (FeatureSet{feature(8, "h8"), RIGHT_LOST_ENEMY_KING_SIDE, feature(3, "h1"), RIGHT_LOST_OWN_KING_SIDE}));
}

TEST(MakeMoveCases, PromotionByCaptureOnACorner) {
  const Played p = play("r3k3/1P6/8/8/8/8/8/4K3 w q - 0 1", "b7a8q");
  EXPECT_EQ(entries(p.delta.removed, p.delta.removed_count),
            (FeatureSet{feature(8, "a8"), RIGHT_LOST_ENEMY_QUEEN_SIDE, feature(0, "b7")}));
  EXPECT_EQ(entries(p.delta.added, p.delta.added_count), FeatureSet{feature(4, "a8")});
  EXPECT_EQ(p.after().castling, NO_CASTLING);
  EXPECT_EQ(p.after().key, key_from_scratch(p.after()));
  EXPECT_TRUE(in_check(p.after()));
  EXPECT_EQ(p.after().bb[QUEEN], bit(square_named("a8") ^ 56));
  EXPECT_EQ(p.after().bb[PAWN], 0u);
}

TEST(MakeMoveCases, Chess960Castlings) {
  Chess960Option option(true);
  // King on g1 stays; only the rook's two entries and the rights-lost code.
  const Played stay = play("6kr/8/8/8/8/8/8/6KR w Hh - 4 1", "g1h1");
  EXPECT_EQ(move_from(move_named(stay.before(), "g1h1")), move_to(move_named(stay.before(), "g1h1")));
  EXPECT_EQ(stay.delta.king_moved, 0);
  EXPECT_EQ(entries(stay.delta.removed, stay.delta.removed_count), (FeatureSet{feature(3, "h1"), RIGHT_LOST_OWN_KING_SIDE}));
  EXPECT_EQ(entries(stay.delta.added, stay.delta.added_count), FeatureSet{feature(3, "f1")});
  EXPECT_EQ(stay.after().rule50, 5);  // castling is reversible for the clock

  // King and rook swap squares, on either wing.
  const struct {
    const char *fen, *token, *king, *rook;
  } swaps[] = {
      {"5kr1/8/8/8/8/8/8/5KR1 w Gg - 0 1", "f1g1", "g1", "f1"},
      {"2rk4/8/8/8/8/8/8/2RK4 w Cc - 0 1", "d1c1", "c1", "d1"},
      {"2rk4/8/8/8/8/8/8/2RK4 b Cc - 0 1", "d8c8", "c8", "d8"},
  };
  for (const auto& c : swaps) {
    const Played p = play(c.fen, c.token);
    Position mover_view = p.after();
    flip_position(mover_view);
    const int flip = (p.before().flags & FLAG_BLACK) ? 56 : 0;
    EXPECT_EQ(mover_view.bb[KING] & mover_view.bb[OWN], bit(square_named(c.king) ^ flip)) << c.fen;
    EXPECT_EQ(mover_view.bb[ROOK] & mover_view.bb[OWN], bit(square_named(c.rook) ^ flip)) << c.fen;
    EXPECT_EQ(popcount(mover_view.bb[OCCUPIED]), 4) << c.fen;
    EXPECT_EQ(p.delta.king_moved, 1) << c.fen;
    EXPECT_EQ(p.after().key, key_from_scratch(p.after())) << c.fen;
  }

  // With the option off the same word moves the standard pieces.
  Chess960Option off(false);
  const Played classic = play("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 7 1", "e1c1");
  EXPECT_EQ(classic.after().rule50, 8);
  EXPECT_EQ(classic.after().bb[ROOK] & ~classic.after().bb[OWN], bit(square_named("d1") ^ 56) | bit(square_named("h1") ^ 56));
  EXPECT_EQ(classic.after().key, key_from_scratch(classic.after()));
}

TEST(MakeMoveCases, DoublePushAndNullMove) {
  // No black pawn beside e4: no file, and the key of the same position from a FEN.
  auto thread = thread_at(START_FEN, "e2e4");
  Position from_fen;
  read_fen(from_fen, "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
  EXPECT_EQ(record_difference(*thread->current_position, from_fen), "");
  EXPECT_EQ(ep_file(*thread->current_position), 8);

  // With a pawn on d4 the file is held; the pass takes its key out and puts the side key in.
  auto pushed = thread_at("4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1", "e2e4");
  const Position before = *pushed->current_position;
  ASSERT_EQ(ep_file(before), 4);
  make_null_move(*pushed);
  const Position& passed = *pushed->current_position;
  EXPECT_EQ(passed.key, before.key ^ ZOBRIST[ZOBRIST_EP + 4] ^ ZOBRIST[ZOBRIST_SIDE]);
  EXPECT_EQ(passed.key, key_from_scratch(passed));
  EXPECT_EQ(ep_file(passed), 8);
  EXPECT_EQ(passed.flags & FLAG_BLACK, 0);
  EXPECT_EQ(passed.rule50, before.rule50);
  char text[FEN_BUFFER_SIZE];
  position_to_fen(passed, text, false);
  EXPECT_STREQ(text, "4k3/8/8/8/3pP3/8/8/4K3 w - - 0 1");
  undo_move(*pushed);
  EXPECT_EQ(pushed->current_position->key, before.key);
}

}  // namespace
