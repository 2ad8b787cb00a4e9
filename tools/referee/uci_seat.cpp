#include "uci_seat.h"

#include <algorithm>

void note_dialogue(EngineSeat& seat, const std::string& line) {
  constexpr size_t KEPT = 30;
  seat.dialogue.push_back(line.size() > 300 ? line.substr(0, 300) + " ..." : line);
  if (seat.dialogue.size() > KEPT) seat.dialogue.pop_front();
}

std::string send_to(EngineSeat& seat, const std::string& line) {
  note_dialogue(seat, "> " + line);
  if (send_line(seat.pipe, line)) return "";
  wait_or_kill(seat.pipe, 500);
  return "engine stopped reading its input (" + describe_exit(seat.pipe) + ")";
}

std::string receive_from(EngineSeat& seat, int64_t deadline_ms, const std::string& waiting_for, std::string& line) {
  switch (read_line(seat.pipe, deadline_ms, line)) {
    case ReadStatus::LINE:
      note_dialogue(seat, "< " + line);
      return "";
    case ReadStatus::CLOSED:
      wait_or_kill(seat.pipe, 1000);
      return "engine closed its output while waiting for " + waiting_for + " (" + describe_exit(seat.pipe) + ")";
    case ReadStatus::TIMEOUT:
      break;
  }
  if (engine_exited(seat.pipe))
    return "engine ended while waiting for " + waiting_for + " (" + describe_exit(seat.pipe) + ")";
  return "timed out waiting for " + waiting_for;
}

namespace {

bool starts_with(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// Waits for readyok; anything else in between breaks the protocol.
std::string await_readyok(EngineSeat& seat, int64_t deadline_ms) {
  while (seat.pending_readyok > 0) {
    std::string line;
    const std::string failure = receive_from(seat, deadline_ms, "readyok: engine hangs", line);
    if (!failure.empty()) return failure;
    if (line != "readyok") return "unexpected line with no search running: \"" + line + "\"";
    --seat.pending_readyok;
  }
  return "";
}

}  // namespace

std::string open_seat(EngineSeat& seat, const Timeouts& timeouts) {
  seat.pending_readyok = 0;
  seat.dialogue.clear();
  if (!start_engine(seat.pipe, seat.setup.program, {})) return "cannot start " + seat.setup.program;
  const int64_t deadline = now_ms() + timeouts.start_ms;
  std::string failure = send_to(seat, "uci");
  while (failure.empty()) {
    std::string line;
    failure = receive_from(seat, deadline, "uciok", line);
    if (!failure.empty()) break;
    if (line == "uciok") break;
    if (!starts_with(line, "id name ") && !starts_with(line, "id author ") && !starts_with(line, "option name "))
      failure = "unexpected line in the reply to uci: \"" + line + "\"";
  }
  for (const auto& [name, value] : seat.setup.options)
    if (failure.empty()) failure = send_to(seat, "setoption name " + name + " value " + value);
  if (failure.empty()) failure = send_to(seat, "isready");
  if (failure.empty()) {
    ++seat.pending_readyok;
    failure = await_readyok(seat, now_ms() + timeouts.start_ms);
  }
  return failure;
}

std::string ping(EngineSeat& seat, int timeout_ms) {
  std::string failure = send_to(seat, "isready");
  if (!failure.empty()) return failure;
  ++seat.pending_readyok;
  return await_readyok(seat, now_ms() + timeout_ms);
}

std::string check_silence(EngineSeat& seat) {
  std::string line;
  switch (read_line(seat.pipe, 0, line)) {
    case ReadStatus::LINE:
      note_dialogue(seat, "< " + line);
      return "output with no search running: \"" + line + "\"";
    case ReadStatus::CLOSED:
      wait_or_kill(seat.pipe, 1000);
      return "engine closed its output between moves (" + describe_exit(seat.pipe) + ")";
    case ReadStatus::TIMEOUT:
      break;
  }
  if (engine_exited(seat.pipe)) return "engine ended between moves (" + describe_exit(seat.pipe) + ")";
  return "";
}

std::string close_seat(EngineSeat& seat, int timeout_ms) {
  std::string failure = send_to(seat, "quit");
  // Whatever comes after quit is drained; only the way the process ends counts.
  std::string line;
  const int64_t deadline = now_ms() + timeout_ms;
  while (read_line(seat.pipe, deadline, line) == ReadStatus::LINE) note_dialogue(seat, "< " + line);
  const bool ended = wait_or_kill(seat.pipe, int(std::max<int64_t>(0, deadline - now_ms())));
  if (!ended) failure = "engine did not end after quit";
  else if (describe_exit(seat.pipe) != "exit status 0") failure = "engine ended after quit with " + describe_exit(seat.pipe);
  close_engine(seat.pipe);
  return failure;
}

void abandon_seat(EngineSeat& seat) { close_engine(seat.pipe); }

std::string dialogue_tail(const EngineSeat& seat) {
  std::string text;
  for (const std::string& line : seat.dialogue) text += "    " + line + "\n";
  return text;
}
