#pragma once
// The values of the UCI options, written by the read loop under EngineLock.
#include <cstdint>

struct EngineOptions {
  int32_t Hash;
  bool Ponder;
  int32_t DrawScore;
  bool OwnBook;
  char BookFile[512];
  bool BookRandom;
  int32_t Strength;
  int32_t Threads;
  int32_t MoveOverhead;
  bool LargePages;
  int32_t MultiPV;
  bool UCI_Chess960;
  bool Syzygy50MoveRule;
  int32_t SyzygyProbeLimit;
};

extern EngineOptions engine_options;

void set_default_options(EngineOptions& options);
