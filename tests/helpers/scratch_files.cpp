#include "helpers/scratch_files.h"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

TempDir::TempDir() {
  std::string name = (std::filesystem::temp_directory_path() / "tesmar_test_XXXXXX").string();
  if (mkdtemp(name.data())) path = name;
}

TempDir::~TempDir() {
  std::error_code ignored;
  if (!path.empty()) std::filesystem::remove_all(path, ignored);
}

std::string file_text(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

CommandRun run_command(const std::string& command) {
  CommandRun run;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return run;
  char buffer[4096];
  for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) run.output.append(buffer, got);
  const int status = pclose(pipe);
  if (status != -1 && WIFEXITED(status)) run.status = WEXITSTATUS(status);
  return run;
}
