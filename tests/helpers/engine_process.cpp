#include "helpers/engine_process.h"

#include <sys/wait.h>

std::string info_field(const std::string& info, const std::string& name) {
  const size_t at = info.find(" " + name + " ");
  if (at == std::string::npos) return "";
  const size_t begin = at + name.size() + 2;
  return info.substr(begin, info.find(' ', begin) - begin);
}

long long info_number(const std::string& info, const std::string& name) { return std::stoll(info_field(info, name)); }

EngineProcess::EngineProcess(const std::vector<std::string>& arguments, uint64_t address_space_limit,
                             const char* binary) {
  start_engine(pipe, binary, arguments, address_space_limit);
}

std::optional<std::string> EngineProcess::read_line(int timeout_ms) {
  std::string line;
  if (::read_line(pipe, now_ms() + timeout_ms, line) != ReadStatus::LINE) return std::nullopt;
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
      out.bestmove = line.substr(9, line.find(' ', 9) - 9), out.line = line;
    else
      out.info.push_back(line);
  }
  return out;
}

int EngineProcess::wait_exit(int timeout_ms) {
  if (!wait_or_kill(pipe, timeout_ms)) return -1;
  return WIFEXITED(pipe.exit_status) ? WEXITSTATUS(pipe.exit_status) : -2;
}
