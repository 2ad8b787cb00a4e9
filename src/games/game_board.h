#pragma once
// One game played inside this process, as datagen and genfens play them: the positions on a thread's stack (cut at
// every irreversible move, so that the stack stays short), the keys for repetitions, and
// the draws and mates by the rules of chess. Searches may use the slots above the game.
#include <cstdint>
#include <memory>
#include <vector>

#include "board/move.h"
#include "board/position.h"
#include "search/thread_data.h"

enum class GameEnd { NONE, CHECKMATE, STALEMATE, FIFTY_MOVES, REPETITION, MATERIAL };

struct GameBoard {
  std::unique_ptr<ThreadData> thread = std::make_unique<ThreadData>();
  std::vector<uint64_t> keys;  // every position since the last irreversible move, the current one last
  int ply = 0;                 // half-moves of the whole game before the current position
  Move last_move = 0;          // the moves that led here, as the search's root ordering reads them
  Move second_last_move = 0;
};

inline const Position& board_position(const GameBoard& game) { return *game.thread->current_position; }

// Sets the game to a FEN that fen_check accepts; ply follows the FEN's move number.
void start_board(GameBoard& game, const char* fen);

// Plays a legal move whose gives-check bit is right (as generate_legal gives it). Castling
// follows the UCI_Chess960 option, as make_move does: set it for the whole of a Chess960 game.
void play_board_move(GameBoard& game, Move m);

// Neither side can ever mate: bare kings, a single minor piece, or bishops alone that all
// stand on squares of one colour.
bool insufficient_material(const Position& pos);

// How the game stands by the rules: mate and stalemate first, then the fifty-move rule,
// threefold repetition and dead material.
GameEnd game_end_by_rule(const GameBoard& game);
