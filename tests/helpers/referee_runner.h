#pragma once
// Runs build/referee for the tests, and writes small scripted UCI engines that play
// given moves or misbehave on purpose, so that the referee's checks can be proved.
#include <string>

struct ToolRun {
  int status = -1;     // exit status of the referee, -1 if it did not exit normally
  std::string output;  // standard output and error together
};

// The referee with the arguments (a shell word list) appended; with echo, its output also goes
// by as it comes, so that a long match shows its progress.
ToolRun run_referee(const std::string& arguments, bool echo = false);

// A scripted engine in POSIX shell. Each handler is a shell command list; $moves holds the
// scripted moves and $n the number of moves of the last position command, so `play`
// answers with the next scripted move.
struct FakeEngine {
  std::string moves;  // blank-separated
  std::string on_uci = "echo 'id name fake'; echo uciok";
  std::string on_isready = "echo readyok";
  std::string on_go = "play";
  std::string on_quit = "exit 0";
};

// Write the engine as an executable script, or an EPD file with one FEN; both return the path.
std::string write_fake_engine(const std::string& name, const FakeEngine& engine);
std::string write_opening(const std::string& name, const std::string& fen);
