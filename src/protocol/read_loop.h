#pragma once
// The main thread's loop over standard input and the state that it owns.
#include <cstdint>

constexpr int COMMAND_BUFFER_SIZE = 8192;

struct FrontEndState {
  uint64_t large_page_bytes;  // size of the memory block when it came from huge pages, else 0
  int32_t moves_played;       // full moves in the move list of the last position command
  bool position_set;          // thread 0 holds a position; a fresh memory block holds none
};

extern FrontEndState front_end;

// Acts on the line in the buffer, matched by its first bytes; true when it was quit.
bool dispatch_command(char* buffer);

// Reads lines until quit or the end of standard input.
void read_loop();

// Stops a running search, waits for its bestmove and gives the memory block back.
void tear_down();
