#include "datagen/teacher.h"

#include <algorithm>

#include "board/make_move.h"
#include "board/move_checks.h"
#include "board/movegen.h"
#include "search/score.h"

namespace {

constexpr int32_t PIECE_VALUES[7] = {0, 100, 320, 330, 500, 950, 0};
// Non-pawn material that makes a full middlegame: the king table blends by it.
constexpr int PHASE_WEIGHTS[7] = {0, 0, 1, 1, 2, 4, 0};
constexpr int PHASE_FULL = 24;
constexpr int32_t BISHOP_PAIR = 30;

// Piece-square tables in the owner's frame, a1 first: each row is one rank, from the
// owner's first rank up. Enemy pieces read them through the mirrored square.
// clang-format off
constexpr int16_t PAWN_TABLE[64] = {
    0,   0,   0,   0,   0,   0,   0,   0,
    0,   0,   0, -10, -10,   0,   0,   0,
    2,   2,   5,   5,   5,   5,   2,   2,
    4,   4,  10,  20,  20,  10,   4,   4,
    8,   8,  15,  25,  25,  15,   8,   8,
   20,  20,  30,  40,  40,  30,  20,  20,
   60,  60,  60,  60,  60,  60,  60,  60,
    0,   0,   0,   0,   0,   0,   0,   0};
constexpr int16_t KNIGHT_TABLE[64] = {
  -50, -35, -25, -20, -20, -25, -35, -50,
  -35, -15,   0,   5,   5,   0, -15, -35,
  -25,   5,  10,  15,  15,  10,   5, -25,
  -20,   5,  15,  20,  20,  15,   5, -20,
  -20,  10,  20,  25,  25,  20,  10, -20,
  -25,   5,  15,  20,  20,  15,   5, -25,
  -35, -15,   0,   5,   5,   0, -15, -35,
  -50, -35, -25, -20, -20, -25, -35, -50};
constexpr int16_t BISHOP_TABLE[64] = {
  -20, -10, -10, -10, -10, -10, -10, -20,
  -10,  10,   0,   5,   5,   0,  10, -10,
  -10,   5,  10,  10,  10,  10,   5, -10,
  -10,   0,  10,  15,  15,  10,   0, -10,
  -10,   5,  10,  15,  15,  10,   5, -10,
  -10,   0,  10,  10,  10,  10,   0, -10,
  -10,   0,   0,   0,   0,   0,   0, -10,
  -20, -10, -10, -10, -10, -10, -10, -20};
constexpr int16_t ROOK_TABLE[64] = {
    0,   0,   5,  10,  10,   5,   0,   0,
   -5,   0,   0,   0,   0,   0,   0,  -5,
   -5,   0,   0,   0,   0,   0,   0,  -5,
   -5,   0,   0,   0,   0,   0,   0,  -5,
   -5,   0,   0,   0,   0,   0,   0,  -5,
   -5,   0,   0,   0,   0,   0,   0,  -5,
   15,  20,  20,  20,  20,  20,  20,  15,
    0,   0,   5,   5,   5,   5,   0,   0};
constexpr int16_t QUEEN_TABLE[64] = {
  -20, -10, -10,  -5,  -5, -10, -10, -20,
  -10,   0,   5,   0,   0,   0,   0, -10,
  -10,   5,   5,   5,   5,   5,   0, -10,
   -5,   0,   5,   5,   5,   5,   0,  -5,
   -5,   0,   5,   5,   5,   5,   0,  -5,
  -10,   0,   5,   5,   5,   5,   0, -10,
  -10,   0,   0,   0,   0,   0,   0, -10,
  -20, -10, -10,  -5,  -5, -10, -10, -20};
constexpr int16_t KING_MIDDLEGAME_TABLE[64] = {
   20,  30,  10,   0,   0,  10,  30,  20,
   10,  10,  -5, -10, -10,  -5,  10,  10,
  -10, -20, -20, -25, -25, -20, -20, -10,
  -20, -30, -30, -40, -40, -30, -30, -20,
  -30, -40, -40, -50, -50, -40, -40, -30,
  -30, -40, -40, -50, -50, -40, -40, -30,
  -30, -40, -40, -50, -50, -40, -40, -30,
  -30, -40, -40, -50, -50, -40, -40, -30};
constexpr int16_t KING_ENDGAME_TABLE[64] = {
  -50, -30, -30, -30, -30, -30, -30, -50,
  -30, -20, -10,  -5,  -5, -10, -20, -30,
  -30, -10,  15,  20,  20,  15, -10, -30,
  -30, -10,  20,  35,  35,  20, -10, -30,
  -30, -10,  20,  35,  35,  20, -10, -30,
  -30, -10,  15,  20,  20,  15, -10, -30,
  -30, -20, -10,  -5,  -5, -10, -20, -30,
  -50, -30, -30, -30, -30, -30, -30, -50};
// clang-format on

// By piece type less one; the king blends its two tables instead.
constexpr const int16_t* PIECE_TABLES[5] = {PAWN_TABLE, KNIGHT_TABLE, BISHOP_TABLE, ROOK_TABLE, QUEEN_TABLE};

// Material and tables of one side's pieces other than the king, seen from that side: flip
// is 0 for the side to move and 56 for the other, whose squares are mirrored.
int32_t side_terms(const Position& pos, Bitboard side, int flip) {
  int32_t score = 0;
  for (int type = PAWN; type <= QUEEN; ++type) {
    const Bitboard pieces = pos.bb[type] & side;
    score += PIECE_VALUES[type] * popcount(pieces);
    for (Bitboard b = pieces; b; b &= b - 1) score += PIECE_TABLES[type - 1][lsb(b) ^ flip];
  }
  if (popcount(pos.bb[BISHOP] & side) >= 2) score += BISHOP_PAIR;
  return score;
}

int32_t king_term(Square king, int phase) {
  return (KING_MIDDLEGAME_TABLE[king] * phase + KING_ENDGAME_TABLE[king] * (PHASE_FULL - phase)) / PHASE_FULL;
}

// Legal moves of a list with an exact gives-check bit, best ordering score first.
int legal_sorted(const Position& pos, ScoredMove* list, ScoredMove* end) {
  ScoredMove* kept = list;
  for (ScoredMove* s = list; s != end; ++s) {
    if (legality_attackers(pos, s->move)) continue;
    *kept = *s;
    mark_gives_check(pos, &kept->move);
    ++kept;
  }
  std::stable_sort(list, kept, [](const ScoredMove& a, const ScoredMove& b) { return a.score > b.score; });
  return int(kept - list);
}

}  // namespace

int32_t teacher_eval(const Position& pos) {
  const Bitboard own = pos.bb[OWN], enemy = enemy_pieces(pos);
  int phase = 0;
  for (int type = KNIGHT; type <= QUEEN; ++type) phase += PHASE_WEIGHTS[type] * popcount(pos.bb[type]);
  phase = std::min(phase, PHASE_FULL);
  return side_terms(pos, own, 0) - side_terms(pos, enemy, 56) + king_term(own_king_square(pos), phase) -
         king_term(enemy_king_square(pos) ^ 56, phase);
}

int32_t teacher_qsearch(ThreadData& thread, int32_t alpha, int32_t beta, int ply) {
  const Position& pos = *thread.current_position;
  const bool check = in_check(pos);
  int32_t best;
  ScoredMove list[MAX_MOVES];
  int count;
  if (check && ply < TEACHER_MAX_PLY) {
    // No standing pat in check: every evasion counts, and none means mate.
    best = mated_score(ply);
    count = legal_sorted(pos, list, generate_evasions(pos, list, true));
  } else {
    best = teacher_eval(pos);
    if (best >= beta || ply >= TEACHER_MAX_PLY) return best;
    alpha = std::max(alpha, best);
    count = legal_sorted(pos, list, generate_captures(pos, list));
  }
  for (int i = 0; i < count; ++i) {
    make_move(thread, list[i].move, nullptr);
    const int32_t v = -teacher_qsearch(thread, -beta, -alpha, ply + 1);
    undo_move(thread);
    if (v > best) {
      best = v;
      if (v >= beta) break;
      alpha = std::max(alpha, v);
    }
  }
  return best;
}

int32_t teacher_score(ThreadData& thread) { return teacher_qsearch(thread, -SCORE_INFINITE, SCORE_INFINITE, 0); }
