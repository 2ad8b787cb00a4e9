#include "protocol/go_command.h"

#include <pthread.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/move_text.h"
#include "protocol/commands.h"
#include "protocol/search_limits.h"
#include "protocol/think.h"
#include "protocol/thread_start.h"
#include "search/root_moves.h"
#include "search/thread_data.h"

namespace {

constexpr const char* TOKEN_BREAKS = " \t\r\n";

enum GoWord { PONDER, WTIME, BTIME, WINC, BINC, MOVESTOGO, DEPTH, NODES, MOVETIME, INFINITE, SEARCHMOVES };

struct GoWordEntry {
  const char* word;  // a token matches when it begins with the word
  GoWord id;
  bool takes_value;
};

constexpr GoWordEntry GO_WORDS[] = {
    {"ponder", PONDER, false},     {"wtime", WTIME, true},       {"btime", BTIME, true},
    {"winc", WINC, true},          {"binc", BINC, true},         {"movestogo", MOVESTOGO, true},
    {"depth", DEPTH, true},        {"nodes", NODES, true},       {"movetime", MOVETIME, true},
    {"infinite", INFINITE, false}, {"searchmoves", SEARCHMOVES, false},
};

int64_t value_64(const char* token) { return std::strtoll(token, nullptr, 10); }

int32_t value_32(const char* token) {
  return int32_t(std::clamp(value_64(token), int64_t(INT32_MIN), int64_t(INT32_MAX)));
}

bool looks_like_move(const char* t) {
  return t[0] >= 'a' && t[0] <= 'h' && t[1] >= '1' && t[1] <= '8' && t[2] >= 'a' && t[2] <= 'h' && t[3] >= '1' &&
         t[3] <= '8';
}

void apply_word(GoWord id, const char* value, bool white_to_move, GoRequest& r) {
  switch (id) {
    case PONDER: r.ponder_mode = PONDER_ON; break;
    case WTIME: if (white_to_move) r.time_left = value_64(value); break;
    case BTIME: if (!white_to_move) r.time_left = value_64(value); break;
    case WINC: if (white_to_move) r.time_increment = value_64(value); break;
    case BINC: if (!white_to_move) r.time_increment = value_64(value); break;
    case MOVESTOGO: r.moves_to_go = value_32(value); break;
    case DEPTH: r.depth_limit = std::min(value_32(value), int32_t(127)); break;
    case NODES: r.node_limit = value_64(value); break;
    case MOVETIME:
      // One move in the given time, spent as if it were an increment on top.
      r.moves_to_go = 1;
      r.time_left = r.time_increment = value_64(value);
      break;
    case INFINITE: r.ponder_mode = PONDER_INFINITE; break;
    case SEARCHMOVES: r.search_moves_given = true; break;
  }
}

}  // namespace

void parse_go_tokens(char* text, bool white_to_move, GoRequest& request) {
  char* save = nullptr;
  for (char* token = strtok_r(text, TOKEN_BREAKS, &save); token; token = strtok_r(nullptr, TOKEN_BREAKS, &save)) {
    const GoWordEntry* entry = std::find_if(std::begin(GO_WORDS), std::end(GO_WORDS), [token](const GoWordEntry& e) {
      return std::strncmp(token, e.word, std::strlen(e.word)) == 0;
    });
    if (entry != std::end(GO_WORDS)) {
      const char* value = nullptr;
      if (entry->takes_value && !(value = strtok_r(nullptr, TOKEN_BREAKS, &save))) return;
      apply_word(entry->id, value, white_to_move, request);
    } else if (std::strlen(token) >= 4 && looks_like_move(token)) {
      if (request.search_move_count < MAX_SEARCH_MOVES) request.search_moves[request.search_move_count++] = token;
    }
  }
}

ScoredMove* filter_search_moves(const Position& pos, ScoredMove* begin, ScoredMove* end, const GoRequest& request) {
  const char* const* tokens = request.search_moves;
  const int count = request.search_move_count;
  return std::remove_if(begin, end, [&](const ScoredMove& s) {
    char text[8];
    move_text(pos, s.move, text);
    return std::none_of(tokens, tokens + count, [&text](const char* t) { return std::strcmp(t, text) == 0; });
  });
}

void command_go(char* buffer) {
  search_limits.EngineLock.lock();
  ensure_memory_block();
  ensure_position();
  if (char* newline = std::strchr(buffer, '\n')) *newline = ' ';

  ThreadData& thread = search_limits.thread_blocks[0];
  thread.root_end = build_root_moves(thread, thread.root_moves);
  GoRequest request;
  if (std::strlen(buffer) > 3) parse_go_tokens(buffer + 3, side_bit(*thread.current_position) == 0, request);
  if (request.search_moves_given)
    thread.root_end = filter_search_moves(*thread.current_position, thread.root_moves, thread.root_end, request);

  // Checkmate, stalemate, or no searchmoves left: nothing to think about.
  if (thread.root_end == thread.root_moves) {
    std::fputs("bestmove 0000\n", stdout);
    std::fflush(stdout);
    search_limits.EngineLock.unlock();
    return;
  }

  search_limits.ponder_mode.store(request.ponder_mode, std::memory_order_relaxed);
  search_limits.time_left = request.time_left;
  search_limits.time_increment = request.time_increment;
  search_limits.node_limit = request.node_limit;
  search_limits.moves_to_go = request.moves_to_go;
  search_limits.depth_limit = request.depth_limit;
  search_limits.game_moves = front_end.moves_played;
  search_limits.stop_flag.store(0, std::memory_order_relaxed);
  // think gives EngineLock back when it has printed bestmove.
  if (start_thread(thread.handle, think_thread, nullptr, SEARCH_STACK_SIZE))
    pthread_detach(thread.handle);
  else
    think();
}
