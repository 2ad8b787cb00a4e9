// The reply to uci: identification and the option list. The defaults and limits are
// constants; only BookFile shows its current value.
#include <cstdio>

#include "protocol/commands.h"
#include "protocol/engine_options.h"

void command_uci(char*) {
  std::printf("id name Tesmar 3.1\nid author Rostek\n");
  std::printf("option name Hash type spin default %d min 1 max 1048576\n", 256);
  std::printf("option name Threads type spin default 1 min 1 max %d\n", 512);
  std::printf("option name Ponder type check default false\n");
  std::printf("option name OwnBook type check default false\n");
  std::printf("option name BookFile type string default %s\n", engine_options.BookFile);
  std::printf("option name BookRandom type check default false\n");
  std::printf("option name DrawScore type spin default %d min -100 max 100\n", 0);
  std::printf("option name MoveOverhead type spin default %d min 0 max 5000\n", 100);
  std::printf("option name Strength type spin default %d min 1 max %d\n", 100, 100);
  std::printf("option name MultiPV type spin default 1 min 1 max %d\n", 256);
  std::printf("option name LargePages type check default false\n");
  std::printf("option name UCI_Chess960 type check default false\n");
  std::printf("option name SyzygyPath type string default <empty>\n");
  std::printf("option name Syzygy50MoveRule type check default true\n");
  std::printf("option name SyzygyProbeLimit type spin default 7 min 0 max 7\n");
  std::printf("uciok\n");
  std::fflush(stdout);
}
