#pragma once
// A UCI engine as a child process on two pipes. Every read has a deadline, so a
// silent or stuck engine never blocks the match.
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "search/clock.h"

enum class ReadStatus { LINE, TIMEOUT, CLOSED };

struct EnginePipe {
  pid_t pid = -1;
  int to_engine = -1;
  int from_engine = -1;
  std::string pending;  // bytes read but not yet handed out as a line
  int exit_status = 0;  // once reaped: the status from waitpid
  bool reaped = false;
};

// Starts the program with its arguments; its standard error stays the caller's, so
// that crash and sanitizer reports show. A nonzero address_space_limit caps the child's
// virtual memory (RLIMIT_AS) in bytes. False when the pipes or the fork fail.
bool start_engine(EnginePipe& engine, const std::string& program, const std::vector<std::string>& arguments,
                  uint64_t address_space_limit = 0);

// Writes the bytes as they are. False when the engine no longer reads.
bool send_text(EnginePipe& engine, const std::string& bytes);

// Writes one line (the newline is added). False when the engine no longer reads.
inline bool send_line(EnginePipe& engine, const std::string& line) { return send_text(engine, line + "\n"); }

// Closes the engine's standard input: the end of its input.
void close_input(EnginePipe& engine);

// The next line, without its newline and a trailing carriage return, waiting until
// deadline_ms at most (a deadline in the past only takes what is already there).
ReadStatus read_line(EnginePipe& engine, int64_t deadline_ms, std::string& line);

// Reaps the child if it has ended; true once it has.
bool engine_exited(EnginePipe& engine);

// Waits up to timeout_ms for the child to end; kills it if it has not. True when it
// ended by itself.
bool wait_or_kill(EnginePipe& engine, int timeout_ms);

// "exit status N" or "killed by signal N (NAME)".
std::string describe_exit(const EnginePipe& engine);

void close_engine(EnginePipe& engine);
