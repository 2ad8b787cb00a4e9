#pragma once
// The UCI commands, each acting on the whole line in the command buffer, which it may
// cut up in place. read_loop picks them by the first bytes of the line.
#include <cstdint>

#include "protocol/read_loop.h"

void command_uci(char* buffer);
void command_setoption(char* buffer);
void command_ucinewgame(char* buffer);
void command_isready(char* buffer);
void command_ponderhit(char* buffer);
void command_stop(char* buffer);
void command_position(char* buffer);
void command_go(char* buffer);

// An option's integer value: leading blanks, an optional sign, digits up to the first other
// character, 0 without digits; clamped to 32 bits.
int32_t parse_option_integer(const char* text);

// The last SyzygyPath value, kept for the tablebase registry.
extern char syzygy_path[COMMAND_BUFFER_SIZE];

// With EngineLock held: a memory block exists, and thread 0 holds a position (the start
// position when none was set since the block was made).
void ensure_memory_block();
void ensure_position();
