#pragma once
// The engine binary as a child process on two pipes, for tests of the UCI dialogue: the
// match runner's EnginePipe with the waits a test wants.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "referee/engine_pipe.h"

using Lines = std::vector<std::string>;

// What one go printed: the lines before bestmove, the move alone (empty when none came) and
// its whole line.
struct SearchOutput {
  Lines info;
  std::string bestmove, line;
};

// The word after " name " in an info line, empty when there is none; the same as a number.
std::string info_field(const std::string& info, const std::string& name);
long long info_number(const std::string& info, const std::string& name);

struct EngineProcess {
  EnginePipe pipe;

  // A nonzero address_space_limit caps the child's virtual memory (RLIMIT_AS) in bytes.
  explicit EngineProcess(const std::vector<std::string>& arguments = {}, uint64_t address_space_limit = 0,
                         const char* binary = TESMAR_BINARY);
  ~EngineProcess() { close_engine(pipe); }
  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;

  void send(const std::string& bytes) { send_text(pipe, bytes); }
  void close_input() { ::close_input(pipe); }
  // The waits only bound a hang: a busy machine or a sanitizer build may be slow to answer,
  // and no test passes by a wait running out.
  static constexpr int LINE_TIMEOUT_MS = 60000;

  // The next line without its newline; nothing when the timeout passes or output ends.
  std::optional<std::string> read_line(int timeout_ms = LINE_TIMEOUT_MS);
  // Lines up to and including the first that starts with prefix; an empty prefix reads to the end.
  Lines read_until(const std::string& prefix, int timeout_ms = LINE_TIMEOUT_MS);
  Lines read_all(int timeout_ms = LINE_TIMEOUT_MS) { return read_until("", timeout_ms); }
  // Sends the commands and reads up to the bestmove.
  SearchOutput go(const std::string& commands, int timeout_ms = LINE_TIMEOUT_MS);
  // The exit status, -2 for a death by signal, -1 when the child still ran after the
  // timeout (it is killed then).
  int wait_exit(int timeout_ms = LINE_TIMEOUT_MS);
};
