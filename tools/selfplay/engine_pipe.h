#pragma once
// A UCI engine as a child process on two pipes. Every read has a deadline, so a
// silent or stuck engine never blocks the match.
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

enum class ReadStatus { LINE, TIMEOUT, CLOSED };

struct EnginePipe {
  pid_t pid = -1;
  int to_engine = -1;
  int from_engine = -1;
  std::string pending;  // bytes read but not yet handed out as a line
  int exit_status = 0;  // once reaped: the status from waitpid
  bool reaped = false;
};

// Milliseconds on the monotonic clock.
int64_t now_ms();

// Starts the program with its arguments; its standard error stays the caller's, so
// that crash and sanitizer reports show. False when the pipes or the fork fail.
bool start_engine(EnginePipe& engine, const std::string& program, const std::vector<std::string>& arguments);

// Writes one line (the newline is added). False when the engine no longer reads.
bool send_line(EnginePipe& engine, const std::string& line);

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
