#pragma once
// The engine binary as a child process on two pipes, for tests of the UCI dialogue.
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

// What one go printed: the lines before bestmove, and the move alone (empty when none came).
struct SearchOutput {
  Lines info;
  std::string bestmove;
};

struct EngineProcess {
  pid_t pid = -1;
  int to_engine = -1, from_engine = -1;
  std::string pending;  // bytes read but not yet returned as a line

  // A nonzero address_space_limit caps the child's virtual memory (RLIMIT_AS) in bytes.
  explicit EngineProcess(const std::vector<std::string>& arguments = {}, uint64_t address_space_limit = 0,
                         const char* binary = TESMAR_BINARY);
  ~EngineProcess();
  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;

  void send(const std::string& bytes);
  void close_input();
  // The next line without its newline; nothing when the timeout passes or output ends.
  std::optional<std::string> read_line(int timeout_ms = 5000);
  // Lines up to and including the first that starts with prefix; an empty prefix reads to the end.
  Lines read_until(const std::string& prefix, int timeout_ms = 5000);
  Lines read_all(int timeout_ms = 5000) { return read_until("", timeout_ms); }
  // Sends the commands and reads up to the bestmove.
  SearchOutput go(const std::string& commands, int timeout_ms = 10000);
  // The exit status, -2 for a death by signal, -1 when the child still runs after the timeout.
  int wait_exit(int timeout_ms = 5000);
};
