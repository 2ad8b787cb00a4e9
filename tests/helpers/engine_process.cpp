#include "helpers/engine_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

using Clock = std::chrono::steady_clock;

EngineProcess::EngineProcess(const std::vector<std::string>& arguments, uint64_t address_space_limit,
                             const char* binary) {
  signal(SIGPIPE, SIG_IGN);  // a test may write to an engine that has already exited
  // Everything the child needs is built before the fork: it only calls async-signal-safe functions.
  std::vector<char*> argv{const_cast<char*>(binary)};
  for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  const rlimit limit{address_space_limit, address_space_limit};
  int input[2], output[2];
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) return;
  if ((pid = fork()) == 0) {
    dup2(input[0], 0);
    dup2(output[1], 1);
    if (address_space_limit) setrlimit(RLIMIT_AS, &limit);
    execv(binary, argv.data());
    _exit(127);
  }
  close(input[0]);
  close(output[1]);
  to_engine = input[1];
  from_engine = output[0];
}

EngineProcess::~EngineProcess() {
  close_input();
  if (from_engine >= 0) close(from_engine);
  if (pid > 0 && wait_exit(2000) == -1) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
}

void EngineProcess::send(const std::string& bytes) {
  for (ssize_t done = 0, n; done < ssize_t(bytes.size()); done += n)
    if ((n = write(to_engine, bytes.data() + done, bytes.size() - size_t(done))) <= 0) return;
}

void EngineProcess::close_input() {
  if (to_engine >= 0) close(to_engine);
  to_engine = -1;
}

std::optional<std::string> EngineProcess::read_line(int timeout_ms) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  size_t newline;
  while ((newline = pending.find('\n')) == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd p{from_engine, POLLIN, 0};
    char chunk[4096];
    ssize_t n = 0;
    if (left <= 0 || poll(&p, 1, int(left)) <= 0 || (n = read(from_engine, chunk, sizeof chunk)) <= 0)
      return std::nullopt;
    pending.append(chunk, size_t(n));
  }
  std::string line = pending.substr(0, newline);
  pending.erase(0, newline + 1);
  return line;
}

Lines EngineProcess::read_until(const std::string& prefix, int timeout_ms) {
  Lines lines;
  while (std::optional<std::string> line = read_line(timeout_ms)) {
    lines.push_back(*line);
    if (!prefix.empty() && line->rfind(prefix, 0) == 0) break;
  }
  return lines;
}

SearchOutput EngineProcess::go(const std::string& commands, int timeout_ms) {
  send(commands);
  SearchOutput out;
  for (const std::string& line : read_until("bestmove", timeout_ms)) {
    if (line.rfind("bestmove ", 0) == 0)
      out.bestmove = line.substr(9, line.find(' ', 9) - 9);
    else
      out.info.push_back(line);
  }
  return out;
}

int EngineProcess::wait_exit(int timeout_ms) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (int status = 0; pid > 0 && Clock::now() <= deadline; std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
    if (waitpid(pid, &status, WNOHANG) == pid) {
      pid = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    }
  }
  return -1;
}
