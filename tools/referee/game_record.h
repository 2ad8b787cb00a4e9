#pragma once
// The referee's copy of one game, kept with the engine's own board code: the moves
// played, the key of every position for repetitions, and how the game has ended.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "board/move.h"
#include "board/position.h"
#include "search/thread_data.h"

enum class GameEnd { NONE, CHECKMATE, STALEMATE, REPETITION, FIFTY_MOVES, MATERIAL, MOVE_LIMIT };

struct GameRecord {
  std::string start_fen;                  // FEN the game starts from
  bool from_start_position = false;       // sent as "position startpos"
  std::unique_ptr<ThreadData> board;      // the game; the stack is cut at irreversible moves
  std::unique_ptr<ThreadData> scratch;    // for trying out lines of moves (pv, ponder)
  std::vector<std::string> moves;         // text of every move since start_fen
  std::vector<uint64_t> keys;             // key of every position, the start included
};

// Sets the record to a FEN that the caller has checked; UCI_Chess960 decides the move texts.
void start_game(GameRecord& game, const std::string& fen);

inline const Position& current_position(const GameRecord& game) { return *game.board->current_position; }
inline bool white_to_move(const GameRecord& game) { return !(current_position(game).flags & FLAG_BLACK); }

// The legal move whose text is exactly token, or 0 when there is none.
Move legal_move_named(const Position& pos, const std::string& token);

// Plays a legal move (as legal_move_named gives it).
void play_move(GameRecord& game, Move m);

// How the game stands now: mate and stalemate first, then the draws by rule.
GameEnd game_end(const GameRecord& game);

// Index of the first token of the line that is not a legal move when the tokens are played
// in turn from the current position (after first, if first is not 0); -1 when all are legal.
int first_illegal_in_line(GameRecord& game, Move first, const std::vector<std::string>& tokens);

// "position startpos moves ..." or "position fen ... moves ...".
std::string position_command(const GameRecord& game);

// Start FEN and moves on one line each, for reports of a failed game.
std::string game_transcript(const GameRecord& game);

const char* game_end_text(GameEnd end);
