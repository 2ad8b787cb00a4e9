#pragma once
// One engine of the match: its process, what the referee expects of it next, and the
// last lines of its dialogue for the report when something goes wrong.
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "referee/engine_pipe.h"

struct EngineSetup {
  std::string program;
  std::vector<std::pair<std::string, std::string>> options;  // setoption name/value, in order
  std::string label;                                         // short name for the reports
};

struct EngineSeat {
  EngineSetup setup;
  EnginePipe pipe;
  int pending_readyok = 0;           // isready sent and not yet answered
  std::deque<std::string> dialogue;  // last lines both ways, "> " sent, "< " received
};

struct Timeouts {
  int start_ms = 10000;  // start-up up to uciok, and the first readyok
  int ready_ms = 5000;   // any later isready
};

// Records a line of the dialogue; keeps the last few dozen.
void note_dialogue(EngineSeat& seat, const std::string& line);

// Sends a line; an empty result means success, else the failure.
std::string send_to(EngineSeat& seat, const std::string& line);

// The next line from the seat or why there is none: "" and the line in `line`, else the
// failure text (closed output, exit, or silence past the deadline) naming `waiting_for`.
std::string receive_from(EngineSeat& seat, int64_t deadline_ms, const std::string& waiting_for, std::string& line);

// Starts the engine, checks the uci handshake, sets the options, waits for readyok.
std::string open_seat(EngineSeat& seat, const Timeouts& timeouts);

// isready, then readyok within the timeout, with nothing else in between.
std::string ping(EngineSeat& seat, int timeout_ms);

// Any line already sent with no search running is a fault: a late or extra bestmove,
// or output of a search that should have ended.
std::string check_silence(EngineSeat& seat);

// quit, then the process has to end by itself with status 0.
std::string close_seat(EngineSeat& seat, int timeout_ms);

// Kills the process if it still runs, for a seat given up after a failure.
void abandon_seat(EngineSeat& seat);

// The last lines of the dialogue, indented, for a failure report.
std::string dialogue_tail(const EngineSeat& seat);
