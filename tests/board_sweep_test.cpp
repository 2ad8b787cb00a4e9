// Seeded random games in standard chess and Chess960, and at every position on the way all that
// the board code promises about it: the generators against a brute-force move list, the check
// bits, the record and key against ones built afresh, the feature changes of each move, the move
// text both ways, and the tests of stored moves. Beside them the magic attack tables against the
// slow ray walk.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/move_text.h"
#include "board/movegen.h"
#include "helpers/board_fixtures.h"
#include "helpers/reference_moves.h"

namespace {

using Moves = std::vector<Move>;

Moves sorted_moves(const ScoredMove* begin, const ScoredMove* end, bool (*keep)(Move) = [](Move) { return true; }) {
  Moves moves;
  for (const ScoredMove* sm = begin; sm != end; ++sm)
    if (keep(sm->move)) moves.push_back(sm->move);
  std::sort(moves.begin(), moves.end());
  return moves;
}

bool underpromotion(Move m) { return (m & MOVE_PROMOTION) && move_promotion(m) != QUEEN; }

int32_t expected_score(Move m) {
  if (m & MOVE_PROMOTION) {
    const int32_t under[3] = {SCORE_KNIGHT_PROMOTION, SCORE_BISHOP_PROMOTION, SCORE_ROOK_PROMOTION};
    return move_promotion(m) == QUEEN ? SCORE_QUEEN_PROMOTION + 8 * move_captured(m) : under[move_promotion(m) - KNIGHT];
  }
  return (m & MOVE_CAPTURE) ? capture_score(move_piece(m), move_captured(m)) : 0;
}

// The stages as the search runs them: evasions in check, else captures, underpromotions and
// quiet moves. Filtered by legality_attackers and marked by mark_gives_check, they must give the
// reference list, check bits included; quiet moves out of check come with that bit already.
void check_generators(const Position& pos, const Moves& reference) {
  ScoredMove list[MAX_MOVES], other[MAX_MOVES];
  ScoredMove* end;
  if (in_check(pos)) {
    end = generate_evasions(pos, list, true);
    EXPECT_EQ(sorted_moves(other, generate_evasions(pos, other, false)),
              sorted_moves(list, end, [](Move m) { return !underpromotion(m); }))
        << "without underpromotions";
  } else {
    ScoredMove* const captures_end = generate_captures(pos, list);
    ScoredMove* const under_end = generate_underpromotions(pos, captures_end);
    end = generate_quiets(pos, under_end, false);
    for (const ScoredMove* sm = list; sm != end; ++sm) {
      const bool tactical = sm->move & MOVE_TACTICAL, under = underpromotion(sm->move);
      EXPECT_EQ(sm < captures_end, tactical && !under) << std::hex << sm->move;
      EXPECT_EQ(sm >= captures_end && sm < under_end, under) << std::hex << sm->move;
    }
    // Checks only: the marked quiet moves, castling left out.
    EXPECT_EQ(sorted_moves(other, generate_quiets(pos, other, true)),
              sorted_moves(under_end, end, [](Move m) { return (m & MOVE_GIVES_CHECK) && !(m & MOVE_CASTLING); }))
        << "checks only";
  }
  Moves legal;
  for (const ScoredMove* sm = list; sm != end; ++sm) {
    EXPECT_EQ(sm->score, expected_score(sm->move)) << std::hex << sm->move;
    const bool bit_left_to_caller = in_check(pos) || (sm->move & MOVE_TACTICAL);
    if (bit_left_to_caller) {
      EXPECT_FALSE(sm->move & MOVE_GIVES_CHECK) << std::hex << sm->move;
    }
    if (legality_attackers(pos, sm->move)) continue;
    Move m = sm->move & MOVE_SAME_MASK;
    mark_gives_check(pos, &m);
    if (!bit_left_to_caller) {
      EXPECT_EQ(sm->move, m) << "check bit of a quiet move";
    }
    legal.push_back(m);
  }
  std::sort(legal.begin(), legal.end());
  ASSERT_EQ(legal, reference);  // duplicates would show here too
  EXPECT_EQ(sorted_moves(other, generate_legal(pos, other)), reference);
}

// Every legal move's text reads back as the same move, under both settings of the option; a
// castling text is only unambiguous in the notation of the game being played.
void check_move_text(const Position& pos, const Moves& legal, bool chess960_game) {
  for (const Move m : legal) {
    for (const bool option : {false, true}) {
      if (chess960_game && !option && (m & MOVE_CASTLING)) continue;
      Chess960Option setting(option);
      char text[8];
      move_text(pos, m, text);
      ASSERT_EQ(std::string(text).size(), (m & MOVE_PROMOTION) ? 5u : 4u) << text;
      ASSERT_EQ(parse_move_token(pos, text), m & MOVE_SAME_MASK) << text << " option " << option;
    }
  }
}

// Pawn moves whose promotion bit disagrees with the target rank are never stored (a move with
// the key of this position was made in it), and is_pseudo_legal does not look at the rank.
bool unstored_pawn_shape(const Position& pos, ShortMove s) {
  const Square f = s & 63, t = (s >> 6) & 63;
  return (pos.bb[PAWN] & pos.bb[OWN] & bit(f)) && (((s & 0x4000) != 0) != (rank_of(t) == 7));
}

// validate_hash_move accepts exactly the short forms of the legal moves and gives the full move back.
void check_short_moves(const ThreadData& thread, const Moves& legal) {
  const Position& pos = *thread.current_position;
  std::map<ShortMove, Move> by_short;
  for (const Move m : legal) by_short[short_move_of(m)] = m;
  for (int s = 0; s < 32768; ++s) {
    if (unstored_pawn_shape(pos, ShortMove(s))) continue;
    const auto it = by_short.find(ShortMove(s));
    ASSERT_EQ(validate_hash_move(thread, ShortMove(s)), it == by_short.end() ? 0 : it->second)
        << "short move " << std::hex << s;
  }
}

// A quiet move remembered from an earlier position of the same side may be tried exactly when
// the generator would list it here.
void check_remembered_quiets(const ThreadData& thread, const Moves& remembered) {
  const Position& pos = *thread.current_position;
  if (in_check(pos)) return;
  ScoredMove list[MAX_MOVES];
  const ScoredMove *begin = list, *end = generate_quiets(pos, list, false);
  for (const Move m : remembered) {
    if (m & MOVE_TACTICAL) continue;
    const bool listed = std::any_of(begin, end, [m](const ScoredMove& sm) { return same_move(sm.move, m); });
    ASSERT_EQ(is_possible_quiet(thread, m), listed) << "remembered move " << std::hex << m;
  }
}

// Kinds of move that the walk must reach often for the comparisons to mean much, and how often.
constexpr Move RARE_KINDS[4] = {MOVE_CASTLING, MOVE_EN_PASSANT, MOVE_PROMOTION, MOVE_GIVES_CHECK};
constexpr int LEAST_REACHED[4] = {150, 60, 400, 4000};

// Plays random legal moves from fen, starting again when a game ends, until `plies` positions
// have been checked. Rare kinds of move, checks and double steps are favoured, so that every
// branch gets walked; after a capture or pawn move the stack is cut down to slot 0, as a game's
// move list is. Every 25th position also gets the 32768 short moves.
void sweep(const char* fen, bool chess960, int plies, uint64_t seed, int (&reached)[4]) {
  Chess960Option option(chess960);
  std::mt19937_64 rng(seed);
  auto thread = thread_at(fen);
  Moves earlier[2];  // the legal moves of the last two positions
  for (int ply = 0, game_ply = 0; ply < plies && !testing::Test::HasFatalFailure(); ++ply, ++game_ply) {
    const Position& pos = *thread->current_position;
    SCOPED_TRACE(fen_of(pos) + " (game from " + fen + ", ply " + std::to_string(game_ply) + ")");
    Moves legal = reference_legal_moves(pos);
    std::sort(legal.begin(), legal.end());
    ASSERT_EQ(in_check(pos), reference_in_check(pos));
    EXPECT_EQ(pos.key, key_from_scratch(pos));
    EXPECT_EQ(record_difference(pos, position_of(fen_of(pos, chess960).c_str())), "");
    check_generators(pos, legal);
    check_move_text(pos, legal, chess960);
    check_remembered_quiets(*thread, earlier[1]);
    if (ply % 25 == 0) check_short_moves(*thread, legal);
    earlier[1] = earlier[0];
    earlier[0] = legal;

    if (legal.empty() || pos.rule50 >= 100 || game_ply >= 250) {
      thread = thread_at(fen);
      game_ply = -1;
      earlier[0].clear(), earlier[1].clear();
      continue;
    }
    Moves favoured;
    const uint64_t mood = rng() % 8;
    for (const Move m : legal) {
      const bool double_step = move_piece(m) == PAWN && move_to(m) - move_from(m) == 16;
      if ((mood < 2 && (m & (MOVE_PROMOTION | MOVE_CASTLING | MOVE_EN_PASSANT))) || (mood == 2 && (m & MOVE_CAPTURE)) ||
          ((mood == 3 || mood == 4) && (m & MOVE_GIVES_CHECK)) || (mood == 5 && double_step))
        favoured.push_back(m);
    }
    const Moves& from = favoured.empty() ? legal : favoured;
    const Move m = from[rng() % from.size()];
    for (int k = 0; k < 4; ++k) reached[k] += (m & RARE_KINDS[k]) != 0;

    FeatureDelta delta;
    make_move(*thread, m, &delta);
    EXPECT_EQ(delta_fault(thread->current_position[-1], *thread->current_position, m, delta), "") << std::hex << m;
    if (thread->current_position->rule50 == 0) {
      thread->position_stack[0] = *thread->current_position;
      thread->current_position = thread->position_stack;
    }
  }
}

TEST(BoardSweep, RandomGames) {
  const struct {
    const char* fen;
    bool chess960;
  } starts[] = {
      {START_FEN, false},
      {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", false},
      {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", false},
      // Pawns waiting beside the double steps of the other side, with kings that walk into them.
      {"8/pppppppp/3k4/1P1P1P1P/p1p1p1p1/4K3/PPPPPPPP/8 w - - 0 1", false},
      // Chess960 castlings with the king staying put, king and rook swapping, rooks in the corner.
      {"bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1", true},  // king f1 and rook g1 swap
      {"nbqrbnkr/pppppppp/8/8/8/8/PPPPPPPP/NBQRBNKR w HDhd - 0 1", true},  // king stays on g1
      {"rkbnnqrb/pppppppp/8/8/8/8/PPPPPPPP/RKBNNQRB w GAga - 0 1", true},  // king b1, rook a1
      {"nnrkrbbq/pppppppp/8/8/8/8/PPPPPPPP/NNRKRBBQ w ECec - 0 1", true},  // king d1 and rook c1 swap
  };
  int reached[4] = {};
  uint64_t seed = 1;
  for (const auto& s : starts) sweep(s.fen, s.chess960, 6000, ++seed, reached);
  for (int k = 0; k < 4; ++k) EXPECT_GT(reached[k], LEAST_REACHED[k]) << "kind of move " << std::hex << RARE_KINDS[k];
}

// The tables are filled from the ray walk, so this holds the magic indexing; the walk itself
// is held by the sweep above, whose reference generator shares nothing with it.
TEST(AttackTables, MagicLookupsEqualRayWalk) {
  uint64_t state = 12345;
  for (int i = 0; i < 20000; ++i) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    const Bitboard occ = state & (state >> 7) & (state << 3);
    const Square s = int(state >> 58);
    ASSERT_EQ(bishop_attacks(s, occ), slider_attacks_slow(s, occ, false)) << s;
    ASSERT_EQ(rook_attacks(s, occ), slider_attacks_slow(s, occ, true)) << s;
  }
}

}  // namespace
