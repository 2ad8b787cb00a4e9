// position [startpos | fen FEN] [moves M1 M2 ...], with every outside FEN and move
// checked before the board code sees it: a refused command leaves thread 0 as it was.
#include <cstdio>
#include <cstring>

#include "board/fen_check.h"
#include "board/movegen.h"
#include "board/move_list.h"
#include "board/move_text.h"
#include "protocol/commands.h"
#include "protocol/engine_options.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"
#include "search/thread_data.h"

namespace {

constexpr const char* MOVE_BREAKS = " \t\r\n";

// Thread 0's game before the command, to go back to on a refusal.
struct SavedGame {
  Position stack[POSITION_STACK_SIZE];
  int current;
  Move last_move;
  Move second_last_move;
};

SavedGame saved_game;

void save_game(const ThreadData& thread) {
  saved_game.current = int(thread.current_position - thread.position_stack);
  std::memcpy(saved_game.stack, thread.position_stack, sizeof(Position) * size_t(saved_game.current + 1));
  saved_game.last_move = search_limits.game_last_move;
  saved_game.second_last_move = search_limits.game_second_last_move;
}

void restore_game(ThreadData& thread) {
  std::memcpy(thread.position_stack, saved_game.stack, sizeof(Position) * size_t(saved_game.current + 1));
  thread.current_position = thread.position_stack + saved_game.current;
  search_limits.game_last_move = saved_game.last_move;
  search_limits.game_second_last_move = saved_game.second_last_move;
}

bool well_formed_move(const char* token) {
  const size_t length = std::strlen(token);
  if (length != 4 && length != 5) return false;
  for (int i = 0; i < 4; i += 2)
    if (token[i] < 'a' || token[i] > 'h' || token[i + 1] < '1' || token[i + 1] > '8') return false;
  return length == 4 || std::strchr("qrbn", token[4]);
}

bool is_legal(const Position& pos, Move m) {
  ScoredMove list[MAX_MOVES];
  const ScoredMove* end = generate_legal(pos, list);
  for (const ScoredMove* s = list; s != end; ++s)
    if (same_move(s->move, m)) return true;
  return false;
}

// Plays the list one checked move at a time, each exactly as apply_move_list plays it.
// Null, or the reason for refusing the list (written to reason_text).
const char* play_checked_moves(ThreadData& thread, char* moves, int& count, char* reason_text) {
  char* save = nullptr;
  for (char* token = strtok_r(moves, MOVE_BREAKS, &save); token; token = strtok_r(nullptr, MOVE_BREAKS, &save)) {
    if (!well_formed_move(token)) return "malformed move in the list";
    if (!is_legal(*thread.current_position, parse_move_token(*thread.current_position, token))) {
      std::snprintf(reason_text, 32, "illegal move %s", token);
      return reason_text;
    }
    char single[8];
    std::strcpy(single, token);
    apply_move_list(thread, single);
    ++count;
  }
  return nullptr;
}

void set_start_position() {
  set_position(search_limits.thread_blocks[0], START_FEN, nullptr);
  front_end.moves_played = 0;
  front_end.position_set = true;
}

}  // namespace

void ensure_memory_block() {
  if (search_limits.hash_table) return;
  allocate_memory(front_end.large_page_bytes);
  front_end.position_set = false;
}

void ensure_position() {
  if (!front_end.position_set) set_start_position();
}

void command_position(char* buffer) {
  search_limits.EngineLock.lock();
  ensure_memory_block();

  // "moves" is looked for from byte 18, where it stands behind "position startpos".
  const size_t length = std::strlen(buffer);
  char* moves = nullptr;
  if (length > 18) {
    if (char* found = std::strstr(buffer + 18, "moves")) {
      found[-1] = 0;
      moves = found + 5 + (found[5] != 0);
    }
  }
  char* fen_text = nullptr;  // null: the start position
  char* save = nullptr;
  const char* token = length > 9 ? strtok_r(buffer + 9, " \t\r\n", &save) : nullptr;
  if (token && std::strncmp(token, "fen", 3) == 0) fen_text = buffer + (length >= 13 ? 13 : length);
  const char* fen = fen_text ? fen_text : START_FEN;

  ThreadData& thread = search_limits.thread_blocks[0];
  const bool had_position = front_end.position_set;
  if (had_position) save_game(thread);
  char reason_text[32];
  const char* reason = fen_check(fen);
  int count = 0;
  if (!reason) {
    if (fen_text) drop_unusable_rights(fen_text, engine_options.UCI_Chess960);
    set_position(thread, fen, nullptr);
    if (moves) reason = play_checked_moves(thread, moves, count, reason_text);
  }
  if (reason) {
    std::printf("info string %s\n", reason);
    std::fflush(stdout);
    if (had_position)
      restore_game(thread);
    else
      set_start_position();
  } else {
    front_end.moves_played = count / 2;
    front_end.position_set = true;
  }
  search_limits.EngineLock.unlock();
}
