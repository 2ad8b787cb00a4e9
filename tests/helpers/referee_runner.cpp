#include "helpers/referee_runner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

ToolRun run_referee(const std::string& arguments, bool echo) {
  ToolRun run;
  FILE* pipe = popen((std::string(TESMAR_TOOLS_DIR) + "/referee " + arguments + " 2>&1").c_str(), "r");
  if (!pipe) return run;
  char chunk[4096];
  // Plain reads, not fread, so that each line is passed on as soon as it is written.
  for (ssize_t n; (n = read(fileno(pipe), chunk, sizeof chunk)) > 0;) {
    run.output.append(chunk, size_t(n));
    if (echo) fwrite(chunk, 1, size_t(n), stdout), fflush(stdout);
  }
  const int status = pclose(pipe);
  if (status != -1 && WIFEXITED(status)) run.status = WEXITSTATUS(status);
  return run;
}

std::string write_fake_engine(const std::string& name, const FakeEngine& engine) {
  const std::string path = testing::TempDir() + "tesmar_fake_" + name + ".sh";
  std::ofstream(path) << "#!/bin/sh\n"
                         "moves='" << engine.moves << "'\n"
                         "n=0\n"
                         "play() { set -- $moves; shift $n; echo \"bestmove $1\"; }\n"
                         "while IFS= read -r line; do\n"
                         "  case \"$line\" in\n"
                         "    uci) " << engine.on_uci << " ;;\n"
                         "    isready) " << engine.on_isready << " ;;\n"
                         "    position*) n=0; seen=0\n"
                         "      for w in $line; do [ $seen = 1 ] && n=$((n+1)); [ \"$w\" = moves ] && seen=1; done ;;\n"
                         "    go*) " << engine.on_go << " ;;\n"
                         "    quit) " << engine.on_quit << " ;;\n"
                         "  esac\n"
                         "done\n";
  chmod(path.c_str(), 0755);
  return path;
}

std::string write_opening(const std::string& name, const std::string& fen) {
  const std::string path = testing::TempDir() + "tesmar_opening_" + name + ".epd";
  std::ofstream(path) << fen << "\n";
  return path;
}
