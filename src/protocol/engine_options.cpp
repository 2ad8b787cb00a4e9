#include "protocol/engine_options.h"

#include <cstring>

EngineOptions engine_options;

void set_default_options(EngineOptions& options) {
  options.Hash = 256;
  options.Ponder = false;
  options.DrawScore = 0;
  options.OwnBook = false;
  std::strcpy(options.BookFile, "tesmarbook.bin");
  options.BookRandom = false;
  options.Strength = 100;
  options.Threads = 1;
  options.MoveOverhead = 100;
  options.LargePages = false;
  options.MultiPV = 1;
  options.UCI_Chess960 = false;
  options.Syzygy50MoveRule = true;
  options.SyzygyProbeLimit = 7;
}
