#include "protocol/read_loop.h"

#include <cstdio>
#include <cstring>

#include "protocol/commands.h"
#include "protocol/memory_block.h"
#include "protocol/search_limits.h"

FrontEndState front_end;

namespace {

struct CommandEntry {
  const char* prefix;  // compared byte for byte with the start of the line
  void (*handler)(char* buffer);
};

// In the order of testing; "uci\n" takes the newline so that "ucinewgame" and "uci " don't match it.
constexpr CommandEntry COMMANDS[] = {
    {"uci\n", command_uci},           {"setoption name ", command_setoption},
    {"ucinewgame", command_ucinewgame}, {"isready", command_isready},
    {"ponderhit", command_ponderhit},   {"stop", command_stop},
    {"position", command_position},     {"go", command_go},
};

}  // namespace

bool dispatch_command(char* buffer) {
  for (const CommandEntry& command : COMMANDS) {
    if (std::strncmp(buffer, command.prefix, std::strlen(command.prefix)) == 0) {
      command.handler(buffer);
      break;
    }
  }
  return std::strncmp(buffer, "quit", 4) == 0;
}

void read_loop() {
  char buffer[COMMAND_BUFFER_SIZE];
  buffer[0] = 0;
  // The end of input ends the loop as quit does; the old line is never acted on again.
  while (std::fgets(buffer, sizeof buffer, stdin))
    if (dispatch_command(buffer)) return;
}

void command_isready(char*) {
  search_limits.OutputLock.lock();
  std::fputs("readyok\n", stdout);
  std::fflush(stdout);
  search_limits.OutputLock.unlock();
}

void command_ponderhit(char*) { search_limits.ponder_mode = PONDER_NONE; }

void command_stop(char*) { search_limits.stop_flag = 1; }

void command_ucinewgame(char*) {
  search_limits.EngineLock.lock();
  allocate_memory(front_end.large_page_bytes);
  front_end.position_set = false;
  search_limits.EngineLock.unlock();
}

void tear_down() {
  search_limits.stop_flag = 1;
  // Waits for a running search to print its bestmove and give the lock back.
  search_limits.EngineLock.lock();
  search_limits.EngineLock.unlock();
  release_memory(front_end.large_page_bytes);
}
