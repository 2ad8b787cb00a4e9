#pragma once
// The ladder of move-ordering scores, highest first. The generators give captures and
// promotions their first scores; the pickers of the search write the rest.
//
//   GOOD_MOVE_SCORE and up    the hash move, captures and queen promotions that keep material
//   KILLER_SCORE              killers and the counter move (in the root list: ROOT_*_SCORE)
//   around 0                  quiet moves, by history
//   below BAD_CAPTURE_LIMIT   captures that lose material, by how much they lose
//   the three lowest values   underpromotions: knight above rook above bishop
#include <cstdint>

#include "board/types.h"

constexpr int32_t GOOD_MOVE_SCORE = 0x7FFFFF00;

// Most valuable victim first, then least valuable attacker: less than 128 above GOOD_MOVE_SCORE.
constexpr int32_t capture_score(int piece, int captured) { return GOOD_MOVE_SCORE + 8 * captured + 7 - piece; }
constexpr int32_t SCORE_EN_PASSANT = capture_score(PAWN, PAWN);
// A queen promotion ranks as a pawn taking a queen; one that captures adds 8 per victim type.
constexpr int32_t SCORE_QUEEN_PROMOTION = capture_score(PAWN, QUEEN);

// Killers and the counter move come before every quiet move, whose history score is at
// most five times 32767.
constexpr int32_t KILLER_SCORE = 5 * 32767;
// The root list's quiet moves: the last search's ply-2 killers, then the reply to the
// opponent's last move.
constexpr int32_t ROOT_KILLER_1_SCORE = KILLER_SCORE + 3;
constexpr int32_t ROOT_KILLER_2_SCORE = KILLER_SCORE + 2;
constexpr int32_t ROOT_COUNTER_SCORE = KILLER_SCORE + 1;

// Underpromotions sort behind everything: a knight may still be worth a look, a bishop hardly.
constexpr int32_t SCORE_KNIGHT_PROMOTION = INT32_MIN + 2;
constexpr int32_t SCORE_ROOK_PROMOTION = INT32_MIN + 1;
constexpr int32_t SCORE_BISHOP_PROMOTION = INT32_MIN;

// A capture that loses material scores 128 times its (negative) exchange value plus the
// low bits of its capture score above BAD_CAPTURE_BASE, so losing captures sort behind
// every quiet move, the cheapest loss first.
constexpr int32_t BAD_CAPTURE_BASE = -2047483773;
constexpr int32_t bad_capture_score(int see_value, int32_t capture_score) {
  return see_value * 128 + (capture_score & 127) + BAD_CAPTURE_BASE;
}
// Below this: a capture that lost its exchange test, or an underpromotion.
constexpr int32_t BAD_CAPTURE_LIMIT = BAD_CAPTURE_BASE + 128;
// Whether a capture's score is that of a lost exchange test, and the exchange value it
// carries, as exchange pruning reads it back.
constexpr bool is_bad_capture_score(int32_t score) {
  return score > SCORE_KNIGHT_PROMOTION && score < BAD_CAPTURE_LIMIT;
}
constexpr int32_t bad_capture_exchange(int32_t score) { return (score - (BAD_CAPTURE_LIMIT - 1)) >> 7; }
