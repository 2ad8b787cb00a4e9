#include "game_record.h"

#include <cstring>

#include "board/make_move.h"
#include "board/move_text.h"
#include "board/movegen.h"

void start_game(GameRecord& game, const std::string& fen) {
  if (!game.board) game.board = std::make_unique<ThreadData>();
  if (!game.scratch) game.scratch = std::make_unique<ThreadData>();
  game.start_fen = fen;
  game.from_start_position = fen == START_FEN;
  game.moves.clear();
  game.keys.clear();
  game.board->current_position = game.board->position_stack;
  read_fen(game.board->position_stack[0], fen.c_str());
  game.keys.push_back(current_position(game).key);
}

Move legal_move_named(const Position& pos, const std::string& token) {
  if (token.size() < 4 || token.size() > 5) return 0;
  ScoredMove list[MAX_MOVES];
  const ScoredMove* end = generate_legal(pos, list);
  char text[8];
  for (const ScoredMove* m = list; m != end; ++m) {
    move_text(pos, m->move, text);
    if (token == text) return m->move;
  }
  return 0;
}

void play_move(GameRecord& game, Move m) {
  char text[8];
  move_text(current_position(game), m, text);
  game.moves.push_back(text);
  make_move(*game.board, m, nullptr);
  // As the engine does with a move list: an irreversible move starts the stack again.
  if (game.board->current_position->rule50 == 0) {
    game.board->position_stack[0] = *game.board->current_position;
    game.board->current_position = game.board->position_stack;
  }
  game.keys.push_back(current_position(game).key);
}

namespace {

// Threefold: the current position stood twice before with the same side to move, within
// the reversible plies that lead to it.
bool threefold(const GameRecord& game) {
  const size_t last = game.keys.size() - 1;
  const size_t reach = std::min<size_t>(current_position(game).rule50, last);
  int seen = 0;
  for (size_t back = 2; back <= reach; back += 2)
    if (game.keys[last - back] == game.keys[last]) ++seen;
  return seen >= 2;
}

// No mate is possible for either side: bare kings, a single minor piece, or bishops
// that all stand on squares of one colour.
bool insufficient_material(const Position& pos) {
  if (pos.bb[PAWN] | pos.bb[ROOK] | pos.bb[QUEEN]) return false;
  const Bitboard minors = pos.bb[KNIGHT] | pos.bb[BISHOP];
  if (popcount(minors) <= 1) return true;
  if (pos.bb[KNIGHT]) return false;
  constexpr Bitboard DARK_SQUARES = 0xAA55AA55AA55AA55ull;
  return (pos.bb[BISHOP] & DARK_SQUARES) == 0 || (pos.bb[BISHOP] & ~DARK_SQUARES) == 0;
}

}  // namespace

GameEnd game_end(const GameRecord& game) {
  const Position& pos = current_position(game);
  ScoredMove list[MAX_MOVES];
  if (generate_legal(pos, list) == list) return in_check(pos) ? GameEnd::CHECKMATE : GameEnd::STALEMATE;
  if (pos.rule50 >= 100) return GameEnd::FIFTY_MOVES;
  if (threefold(game)) return GameEnd::REPETITION;
  if (insufficient_material(pos)) return GameEnd::MATERIAL;
  return GameEnd::NONE;
}

int first_illegal_in_line(GameRecord& game, Move first, const std::vector<std::string>& tokens) {
  ThreadData& t = *game.scratch;
  t.position_stack[0] = current_position(game);
  t.current_position = t.position_stack;
  if (first) make_move(t, first, nullptr);
  for (size_t i = 0; i < tokens.size(); ++i) {
    // The stack has room for far more plies than any line a search prints.
    if (t.current_position - t.position_stack >= POSITION_STACK_SIZE - 1) return -1;
    const Move m = legal_move_named(*t.current_position, tokens[i]);
    if (!m) return int(i);
    make_move(t, m, nullptr);
  }
  return -1;
}

std::string position_command(const GameRecord& game) {
  std::string line = game.from_start_position ? "position startpos" : "position fen " + game.start_fen;
  if (!game.moves.empty()) {
    line += " moves";
    for (const std::string& m : game.moves) line += " " + m;
  }
  return line;
}

std::string game_transcript(const GameRecord& game) {
  std::string text = "  start: " + game.start_fen + "\n  moves:";
  for (size_t i = 0; i < game.moves.size(); ++i) text += (i % 20 == 0 && i ? "\n         " : " ") + game.moves[i];
  return text + "\n";
}

const char* game_end_text(GameEnd end) {
  switch (end) {
    case GameEnd::CHECKMATE: return "checkmate";
    case GameEnd::STALEMATE: return "stalemate";
    case GameEnd::REPETITION: return "threefold repetition";
    case GameEnd::FIFTY_MOVES: return "fifty-move rule";
    case GameEnd::MATERIAL: return "insufficient material";
    case GameEnd::MOVE_LIMIT: return "adjudicated by move count";
    case GameEnd::NONE: break;
  }
  return "unfinished";
}
