#pragma once
// Scratch folders and files for the tests that run the tools: a folder that lives as long as
// the test, a file's whole text, and what a command printed.
#include <filesystem>
#include <string>

// A fresh folder under the system's temporary folder, removed with all it holds at the end.
struct TempDir {
  std::filesystem::path path;
  TempDir();
  ~TempDir();
  std::string file(const std::string& name) const { return (path / name).string(); }
};

// The file's bytes; empty when it cannot be read.
std::string file_text(const std::filesystem::path& path);

struct CommandRun {
  int status = -1;  // the exit status, -1 when the command did not exit by itself
  std::string output;
};

// Runs a shell command line and collects its standard output; add "2>&1" to collect errors too.
CommandRun run_command(const std::string& command);
