#include "games/game_board.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "board/make_move.h"
#include "board/movegen.h"

namespace {

constexpr Bitboard LIGHT_SQUARES = 0x55AA55AA55AA55AAull;

// Half-moves before the position from the FEN's move-number field, when it has one.
int ply_of_fen(const char* fen, const Position& pos) {
  const char* field = fen;
  for (int i = 0; i < 5 && field; ++i) {
    field = std::strchr(field, ' ');
    if (field) field += std::strspn(field, " ");
  }
  const int move_number = field ? std::atoi(field) : 1;
  return 2 * std::max(move_number - 1, 0) + (side_bit(pos) ? 1 : 0);
}

}  // namespace

void start_board(GameBoard& game, const char* fen) {
  ThreadData& thread = *game.thread;
  thread.current_position = thread.position_stack;
  read_fen(thread.position_stack[0], fen);
  game.keys.assign(1, thread.position_stack[0].key);
  game.ply = ply_of_fen(fen, thread.position_stack[0]);
  game.last_move = game.second_last_move = 0;
}

void play_board_move(GameBoard& game, Move m) {
  ThreadData& thread = *game.thread;
  make_move(thread, m, nullptr);
  ++game.ply;
  game.second_last_move = game.last_move;
  game.last_move = m;
  // No earlier position can come back after a capture or pawn move.
  if (thread.current_position->rule50 == 0) {
    thread.position_stack[0] = *thread.current_position;
    thread.current_position = thread.position_stack;
    game.keys.clear();
  }
  game.keys.push_back(thread.current_position->key);
}

bool insufficient_material(const Position& pos) {
  if (pos.bb[PAWN] | pos.bb[ROOK] | pos.bb[QUEEN]) return false;
  const Bitboard minors = pos.bb[KNIGHT] | pos.bb[BISHOP];
  if (popcount(minors) <= 1) return true;
  // Bishops of one square colour can't mate, whoever owns them. A change of frame swaps the
  // colour of every square alike, so the test holds in either frame.
  const Bitboard bishops = pos.bb[BISHOP];
  return pos.bb[KNIGHT] == 0 && ((bishops & LIGHT_SQUARES) == 0 || (bishops & ~LIGHT_SQUARES) == 0);
}

GameEnd game_end_by_rule(const GameBoard& game) {
  const Position& pos = board_position(game);
  ScoredMove list[MAX_MOVES];
  if (generate_legal(pos, list) == list) return in_check(pos) ? GameEnd::CHECKMATE : GameEnd::STALEMATE;
  if (pos.rule50 >= 100) return GameEnd::FIFTY_MOVES;
  if (std::count(game.keys.begin(), game.keys.end(), pos.key) >= 3) return GameEnd::REPETITION;
  if (insufficient_material(pos)) return GameEnd::MATERIAL;
  return GameEnd::NONE;
}
