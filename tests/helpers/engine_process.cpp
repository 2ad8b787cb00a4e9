#include "helpers/engine_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

EngineProcess::EngineProcess(const std::vector<std::string>& arguments, uint64_t address_space_limit,
                             const char* binary) {
  signal(SIGPIPE, SIG_IGN);  // a test may write to an engine that has already exited
  // Everything the child needs is built before the fork: it only calls async-signal-safe functions.
  std::vector<char*> argv{const_cast<char*>(binary)};
  for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  int input[2], output[2];
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) return;
  pid = fork();
  if (pid == 0) {
    dup2(input[0], 0);
    dup2(output[1], 1);
    if (address_space_limit) {
      rlimit limit{address_space_limit, address_space_limit};
      setrlimit(RLIMIT_AS, &limit);
    }
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
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(to_engine, bytes.data() + done, bytes.size() - done);
    if (n <= 0) return;
    done += size_t(n);
  }
}

void EngineProcess::close_input() {
  if (to_engine >= 0) close(to_engine);
  to_engine = -1;
}

std::optional<std::string> EngineProcess::read_line(int timeout_ms) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    const size_t newline = pending.find('\n');
    if (newline != std::string::npos) {
      std::string line = pending.substr(0, newline);
      pending.erase(0, newline + 1);
      return line;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd p{from_engine, POLLIN, 0};
    if (left.count() <= 0 || poll(&p, 1, int(left.count())) <= 0) return std::nullopt;
    char chunk[4096];
    const ssize_t n = read(from_engine, chunk, sizeof chunk);
    if (n <= 0) return std::nullopt;
    pending.append(chunk, size_t(n));
  }
}

std::vector<std::string> EngineProcess::read_until(const std::string& prefix, int timeout_ms) {
  std::vector<std::string> lines;
  while (std::optional<std::string> line = read_line(timeout_ms)) {
    lines.push_back(*line);
    if (line->rfind(prefix, 0) == 0) break;
  }
  return lines;
}

std::vector<std::string> EngineProcess::read_all(int timeout_ms) {
  std::vector<std::string> lines;
  while (std::optional<std::string> line = read_line(timeout_ms)) lines.push_back(*line);
  return lines;
}

int EngineProcess::wait_exit(int timeout_ms) {
  if (pid <= 0) return -1;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) == pid) {
      pid = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    }
    if (std::chrono::steady_clock::now() > deadline) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}
