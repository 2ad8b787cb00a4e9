#include "referee/engine_pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

bool start_engine(EnginePipe& engine, const std::string& program, const std::vector<std::string>& arguments,
                  uint64_t address_space_limit) {
  // A write to an engine that has just died must come back as an error, not kill the match.
  signal(SIGPIPE, SIG_IGN);
  // The child gets only async-signal-safe calls, so argv is built before the fork.
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  const rlimit limit{address_space_limit, address_space_limit};
  int input[2], output[2];
  if (pipe2(input, O_CLOEXEC) != 0) return false;
  if (pipe2(output, O_CLOEXEC) != 0) {
    close(input[0]);
    close(input[1]);
    return false;
  }
  const pid_t pid = fork();
  if (pid < 0) {
    for (int fd : {input[0], input[1], output[0], output[1]}) close(fd);
    return false;
  }
  if (pid == 0) {
    dup2(input[0], 0);
    dup2(output[1], 1);
    if (address_space_limit) setrlimit(RLIMIT_AS, &limit);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(input[0]);
  close(output[1]);
  engine = EnginePipe{};
  engine.pid = pid;
  engine.to_engine = input[1];
  engine.from_engine = output[0];
  return true;
}

bool send_text(EnginePipe& engine, const std::string& bytes) {
  if (engine.to_engine < 0) return false;
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(engine.to_engine, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += size_t(n);
  }
  return true;
}

void close_input(EnginePipe& engine) {
  if (engine.to_engine >= 0) close(engine.to_engine);
  engine.to_engine = -1;
}

ReadStatus read_line(EnginePipe& engine, int64_t deadline_ms, std::string& line) {
  for (;;) {
    const size_t newline = engine.pending.find('\n');
    if (newline != std::string::npos) {
      line.assign(engine.pending, 0, newline);
      engine.pending.erase(0, newline + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      return ReadStatus::LINE;
    }
    if (engine.from_engine < 0) return ReadStatus::CLOSED;
    const int64_t left = deadline_ms - now_ms();
    pollfd p{engine.from_engine, POLLIN, 0};
    const int ready = poll(&p, 1, left > 0 ? int(left) : 0);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return ReadStatus::TIMEOUT;
    char chunk[4096];
    const ssize_t n = read(engine.from_engine, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      // End of output: a last line without its newline still counts as a line.
      close(engine.from_engine);
      engine.from_engine = -1;
      if (engine.pending.empty()) return ReadStatus::CLOSED;
      engine.pending.push_back('\n');
      continue;
    }
    engine.pending.append(chunk, size_t(n));
  }
}

bool engine_exited(EnginePipe& engine) {
  if (engine.reaped) return true;
  if (engine.pid <= 0) return false;
  int status = 0;
  if (waitpid(engine.pid, &status, WNOHANG) != engine.pid) return false;
  engine.exit_status = status;
  engine.reaped = true;
  return true;
}

bool wait_or_kill(EnginePipe& engine, int timeout_ms) {
  if (engine.pid <= 0) return true;
  const int64_t deadline = now_ms() + timeout_ms;
  while (!engine_exited(engine)) {
    if (now_ms() >= deadline) {
      kill(engine.pid, SIGKILL);
      int status = 0;
      waitpid(engine.pid, &status, 0);
      engine.exit_status = status;
      engine.reaped = true;
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

std::string describe_exit(const EnginePipe& engine) {
  if (!engine.reaped) return "still running";
  if (WIFEXITED(engine.exit_status)) return "exit status " + std::to_string(WEXITSTATUS(engine.exit_status));
  if (WIFSIGNALED(engine.exit_status)) {
    const int sig = WTERMSIG(engine.exit_status);
    return "killed by signal " + std::to_string(sig) + " (" + strsignal(sig) + ")";
  }
  return "ended with wait status " + std::to_string(engine.exit_status);
}

void close_engine(EnginePipe& engine) {
  close_input(engine);
  if (engine.from_engine >= 0) close(engine.from_engine);
  engine.from_engine = -1;
  if (engine.pid > 0 && !engine.reaped) wait_or_kill(engine, 0);
  engine.pid = -1;
}
