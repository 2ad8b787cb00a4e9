#pragma once
// Sets UCI_Chess960 for the life of a scope, so that a test leaves the option as it found it.
#include "protocol/engine_options.h"

struct Chess960Mode {
  bool saved;
  explicit Chess960Mode(bool on) : saved(engine_options.UCI_Chess960) { engine_options.UCI_Chess960 = on; }
  ~Chess960Mode() { engine_options.UCI_Chess960 = saved; }
  Chess960Mode(const Chess960Mode&) = delete;
  Chess960Mode& operator=(const Chess960Mode&) = delete;
};
